// How log lines name an element of an item's array that the SDK cannot use.
//
// A null element stands where the reference platform's arrays would hold
// their null marker, so it is named the way that marker is: class "NSNull",
// description "<null>".
#ifndef TESSARIN_ITEMS_LOG_NAMES_H_
#define TESSARIN_ITEMS_LOG_NAMES_H_

#include <string>

#include "tessarin/items.h"

namespace tessarin::items {

inline constexpr const char* kNullElementClassName = "NSNull";
inline constexpr const char* kNullElementDescription = "<null>";

inline std::string ElementClassName(const TSRItem* element) {
  return element ? element->className() : kNullElementClassName;
}

inline std::string ElementDescription(const TSRItem* element) {
  return element ? element->description() : kNullElementDescription;
}

}  // namespace tessarin::items

#endif  // TESSARIN_ITEMS_LOG_NAMES_H_

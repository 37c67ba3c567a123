// TSRUtilityColor: the colours of in-app message data, written as
// "#RRGGBB" (opaque) or "#RRGGBBAA" (alpha last).
//
// Thread contract: pure, any thread.
#ifndef TESSARIN_UI_UTILITY_COLOR_H_
#define TESSARIN_UI_UTILITY_COLOR_H_

#include <optional>
#include <string>

#include "platform/ui/color.h"

namespace tessarin {

class TSRUtilityColor {
 public:
  // The colour, or nothing (logged) for a string it cannot read. The test
  // of the form is loose on purpose: any string of 7 or 9 characters, or
  // any that starts with "#", is scanned from its second character on.
  static std::optional<platform::ui::Color> colorFromHexString(const std::optional<std::string>& string);
};

}  // namespace tessarin

#endif  // TESSARIN_UI_UTILITY_COLOR_H_

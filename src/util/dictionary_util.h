// TSRUtilityDictionary: typed look-ups in JSON dictionaries, so that a value
// of the wrong kind counts as absent instead of being misread.
#ifndef TESSARIN_UTIL_DICTIONARY_UTIL_H_
#define TESSARIN_UTIL_DICTIONARY_UTIL_H_

#include <string_view>

#include "tessarin/json.h"

namespace tessarin {

class TSRUtilityDictionary {
 public:
  // The value at `keyPath` when it is of `kind`, else nothing. Dots in the
  // key path descend into nested dictionaries; a path that runs into
  // anything other than a dictionary, or a missing key, finds nothing
  // silently. A value of another kind is logged, except a JSON null when
  // `logNull` is false. The result points into `dictionary`.
  static const Json* objectOfType(JsonKind kind, std::string_view keyPath, const Json& dictionary,
                                  bool logNull = true);
  // The result would point into a temporary.
  static const Json* objectOfType(JsonKind kind, std::string_view keyPath, const Json&& dictionary,
                                  bool logNull = true) = delete;

  // A copy with every string value trimmed (one level deep); anything that
  // is not a dictionary comes back unchanged.
  static Json trimDictionaryStrings(const Json& dictionary);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_DICTIONARY_UTIL_H_

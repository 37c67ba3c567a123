// TSRUtilityString: trimming, white space, hex text and push platform names.
// Text is UTF-8; white space is the Unicode White_Space set, which is what
// the reference platform's white-space-and-newline set holds.
#ifndef TESSARIN_UTIL_STRING_UTIL_H_
#define TESSARIN_UTIL_STRING_UTIL_H_

#include <optional>
#include <string>
#include <string_view>

namespace tessarin {

class TSRUtilityString {
 public:
  // White space and newlines removed from both ends; logs the untrimmed
  // string when anything was removed.
  static std::optional<std::string> trimString(const std::optional<std::string>& string);
  // Every match of the regular expression "\s" removed.
  static std::optional<std::string> removeAllWhitespaceFromString(const std::optional<std::string>& string);
  // True for an empty or missing string, else whether it matches
  // "^[a-zA-Z0-9]*$" case-insensitively. The regular-expression engine's
  // rules apply as they are: "$" also matches before a final newline, and
  // case folding lets the Kelvin sign count as a "k".
  static bool onlyAlphaNumericCharsInString(const std::optional<std::string>& string);
  // Lower-case hexadecimal, two digits per byte (an APNs token as text).
  static std::string stringFromData(std::string_view data);
  // 0 "APNS", 1 "APNS_SANDBOX", 2 "GCM"; nothing for any other number.
  static std::optional<std::string> stringFromPushPlatform(int platform);
  // The inverse, ignoring case; -1 for anything else.
  static int pushPlatformFromString(const std::optional<std::string>& string);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_STRING_UTIL_H_

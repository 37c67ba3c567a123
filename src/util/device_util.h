// TSRUtilityDevice: facts about the device that every event carries. The
// device is asked for through the environment, so a test can replace it.
#ifndef TESSARIN_UTIL_DEVICE_UTIL_H_
#define TESSARIN_UTIL_DEVICE_UTIL_H_

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace tessarin {

class Environment;

class TSRUtilityDevice {
 public:
  // Lower-case UUID texts, or nothing.
  static std::optional<std::string> identifierForVendor(Environment& di);
  static std::optional<std::string> advertisingIdentifier(Environment& di);
  // False when there is no advertising framework or no answer.
  static bool advertisingTrackingEnabled(Environment& di);
  // The hardware machine name; a simulator reports its host's processor,
  // so it is named after the simulated idiom instead.
  static std::string machine(Environment& di);
  static std::string model(Environment& di);
  static std::string osVersion(Environment& di);

  // Orders two dotted version strings: each is padded with ".0" to at least
  // three parts, then runs of digits compare by value and everything else
  // character by character ("12" == "12.0.0", "12.9" < "12.10").
  static std::strong_ordering compareOsVersion(std::string_view version, std::string_view to);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_DEVICE_UTIL_H_

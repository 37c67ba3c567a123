// TSRUtilityDateTime: times as events carry them (milliseconds since 1970)
// and the device's time zone. Dates are seconds since 1970, as doubles.
#ifndef TESSARIN_UTIL_DATE_TIME_UTIL_H_
#define TESSARIN_UTIL_DATE_TIME_UTIL_H_

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace tessarin {

class TSRUtilityDateTime {
 public:
  // Now, on the platform's wall clock.
  static std::uint64_t currentTimeEpochMillis(platform::Platform& platform);
  // Truncated towards zero; a date before 1970 gives 0.
  static std::uint64_t epochMillisFromDate(double seconds);
  static double dateFromEpochMillis(std::uint64_t millis);
  // The local time zone's identifier ("Europe/Berlin"), or nothing.
  static std::optional<std::string> timeZoneString(platform::Platform& platform);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_DATE_TIME_UTIL_H_

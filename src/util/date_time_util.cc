#include "util/date_time_util.h"

#include <cmath>
#include <limits>

namespace tessarin {

std::uint64_t TSRUtilityDateTime::currentTimeEpochMillis(platform::Platform& platform) {
  return epochMillisFromDate(platform.now(platform::Clock::kWall));
}

std::uint64_t TSRUtilityDateTime::epochMillisFromDate(double seconds) {
  double millis = seconds * 1000;
  // Out-of-range conversions saturate (NaN gives 0), as the reference
  // hardware's conversion does, instead of being undefined.
  if (!(millis > 0)) return 0;
  if (millis >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(millis);
}

double TSRUtilityDateTime::dateFromEpochMillis(std::uint64_t millis) {
  return static_cast<double>(millis) / 1000;
}

std::optional<std::string> TSRUtilityDateTime::timeZoneString(platform::Platform& platform) {
  return platform.device().localTimeZoneName();
}

}  // namespace tessarin

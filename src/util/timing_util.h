// TSRUtilityTiming: timers on a queue whose every firing is guarded, so an
// exception in a timer block is logged and never ends the timer's owner.
#ifndef TESSARIN_UTIL_TIMING_UTIL_H_
#define TESSARIN_UTIL_TIMING_UTIL_H_

#include <functional>
#include <memory>
#include <string>

#include "platform/platform.h"

namespace tessarin {

class TSRUtilityTiming {
 public:
  // A running timer on `queue`: first firing `startDelay` seconds from now
  // on the wall clock (`useWallTime`) or the monotonic clock, then every
  // `interval` seconds, or only once when the interval is 0 or less. Times
  // are kept in whole nanoseconds. Nothing when no timer can be made.
  static std::shared_ptr<platform::Timer> createAndScheduleTimer(
      platform::Platform& platform, std::string logTag, const std::shared_ptr<platform::DispatchQueue>& queue,
      bool useWallTime, double startDelay, double interval, double leeway, std::function<void()> block);
  // Cancels the timer; nothing happens for no timer.
  static void invalidateTimer(const std::shared_ptr<platform::Timer>& timer);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_TIMING_UTIL_H_

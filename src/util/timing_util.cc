#include "util/timing_util.h"

#include <algorithm>
#include <cmath>

#include "util/safety.h"

namespace tessarin {
namespace {

// Seconds as a timer keeps them: a whole number of nanoseconds.
double WholeNanoseconds(double seconds) { return std::trunc(seconds * 1e9) / 1e9; }

}  // namespace

std::shared_ptr<platform::Timer> TSRUtilityTiming::createAndScheduleTimer(
    platform::Platform& platform, std::string logTag, const std::shared_ptr<platform::DispatchQueue>& queue,
    bool useWallTime, double startDelay, double interval, double leeway, std::function<void()> block) {
  if (!queue || !block) return nullptr;
  platform::TimerSpec spec;
  spec.clock = useWallTime ? platform::Clock::kWall : platform::Clock::kMonotonic;
  spec.startDelay = WholeNanoseconds(startDelay);
  // A repeat shorter than a nanosecond is no repeat at all.
  double repeat = WholeNanoseconds(interval);
  spec.interval = repeat > 0 ? repeat : 0;
  spec.leeway = std::max(0.0, WholeNanoseconds(leeway));
  return platform.scheduleTimer(queue, spec, [tag = std::move(logTag), block = std::move(block)] {
    TSRUtilitySafety::runWithTag(tag.c_str(), block);
  });
}

void TSRUtilityTiming::invalidateTimer(const std::shared_ptr<platform::Timer>& timer) {
  if (timer) timer->cancel();
}

}  // namespace tessarin

// Helpers for tests that deal with time: waiting on real threads with a
// deadline, and describing timers.
#ifndef TESSARIN_TESTS_SUPPORT_TIMING_H_
#define TESSARIN_TESTS_SUPPORT_TIMING_H_

#include <chrono>
#include <functional>
#include <thread>

#include "platform/platform.h"

namespace tessarin::testing {

// Real threads: an expectation about another thread waits for a condition
// with a deadline, never for a fixed time.
inline bool WaitUntil(const std::function<bool()>& done, double seconds = 10.0) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return done();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline platform::TimerSpec Spec(platform::Clock clock, double delay, double interval = 0, double leeway = 0) {
  platform::TimerSpec spec;
  spec.clock = clock;
  spec.startDelay = delay;
  spec.interval = interval;
  spec.leeway = leeway;
  return spec;
}

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_TIMING_H_

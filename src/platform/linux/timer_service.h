// Timers for every queue of the Linux host, kept by one thread.
//
// Deadlines are held on their own clock: a monotonic timer in seconds of the
// steady clock, a wall timer in seconds since 1970. When a timer is due its
// block is queued on its target queue, and whether it was cancelled is asked
// again when the block is about to run. A repeating timer's next deadline
// follows from its previous deadline, not from when it happened to fire, so
// lateness never accumulates; one whose firings were missed (the wall clock
// jumped ahead) fires once and resumes on its schedule. As with dispatch
// sources, a firing whose block has not run yet absorbs the next one, so a
// busy queue never builds a backlog of one timer's blocks.
//
// The wall clock may be set at any time. While a wall timer is pending the
// thread looks at the wall clock at least every `wall_check_interval`
// seconds, so a jump is noticed within that time. Leeway is accepted and
// not used: every timer fires as close to its deadline as the thread wakes.
#ifndef TESSARIN_PLATFORM_LINUX_TIMER_SERVICE_H_
#define TESSARIN_PLATFORM_LINUX_TIMER_SERVICE_H_

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"

namespace tessarin::platform::linux_host {

struct TimerClocks {
  std::function<double()> monotonic;  // seconds, never jumps
  std::function<double()> wall;       // seconds since 1970
  double wall_check_interval = 1.0;
  // The steady clock and the system clock.
  static TimerClocks System();
};

// A pending timer, for tests that check how one was made.
struct LinuxTimerInfo {
  std::string queue;
  Clock clock;
  double deadline;  // on its own clock
  double interval;
  double leeway;
};

class TimerService {
 public:
  explicit TimerService(TimerClocks clocks = TimerClocks::System());
  ~TimerService();

  // The timer starts at once. After `stop`, the timer returned is already
  // cancelled and never fires.
  std::shared_ptr<Timer> schedule(std::shared_ptr<DispatchQueue> queue, const TimerSpec& spec,
                                  Task block);
  double now(Clock clock) const;
  std::vector<LinuxTimerInfo> activeTimers() const;

  // Cancels every timer and waits for the thread. Blocks already queued on
  // their queues find their timer cancelled and do nothing. Idempotent.
  void stop();

 private:
  struct Core;
  class Handle;
  static void Run(std::shared_ptr<Core> core);

  std::shared_ptr<Core> core_;
  std::mutex join_mutex_;
  std::thread thread_;
};

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_TIMER_SERVICE_H_

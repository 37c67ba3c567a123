#include "platform/linux/timer_service.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/linux/queues.h"

#include "support/timing.h"

namespace tessarin::platform::linux_host {
namespace {


using testing::Spec;
using testing::WaitUntil;

// The system's clocks, except that the test can set the wall clock the way
// a user (or time synchronisation) would.
class SettableWallClock {
 public:
  TimerClocks clocks() {
    TimerClocks clocks = TimerClocks::System();
    clocks.wall = [this, system = clocks.wall] { return system() + offset_.load(); };
    clocks.wall_check_interval = 0.05;
    return clocks;
  }
  void jump(double seconds) { offset_ = offset_.load() + seconds; }

 private:
  std::atomic<double> offset_{0};
};

// Returns once the service's thread has fired a probe and gone back to
// sleep (to within a moment) with every earlier timer in view, so that a
// clock change afterwards has to be noticed by the sleeping thread.
void LetServiceSleep(TimerService& service, const std::shared_ptr<DispatchQueue>& queue) {
  std::atomic<bool> probed{false};
  service.schedule(queue, Spec(Clock::kMonotonic, 0.01), [&] { probed = true; });
  ASSERT_TRUE(WaitUntil([&] { return probed.load(); }));
  std::this_thread::yield();
}

TEST(LinuxTimerService, WallClockJumpFiresDueWallTimersOnly) {
  SettableWallClock wall_clock;
  TimerService service(wall_clock.clocks());
  auto queue = std::make_shared<ThreadQueue>("com.tessarin.test.timers");
  std::atomic<int> wall{0}, monotonic{0};
  service.schedule(queue, Spec(Clock::kWall, 600), [&] { ++wall; });
  service.schedule(queue, Spec(Clock::kMonotonic, 600), [&] { ++monotonic; });
  LetServiceSleep(service, queue);
  wall_clock.jump(3600);
  // Noticed within the check interval, without waiting for the old deadline.
  ASSERT_TRUE(WaitUntil([&] { return wall == 1; }, 5.0));
  queue->sync([] {});
  EXPECT_EQ(monotonic, 0);
  auto left = service.activeTimers();
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].clock, Clock::kMonotonic);
}

TEST(LinuxTimerService, RepeatingTimerThatMissedFiringsFiresOnceAndResumesOnSchedule) {
  SettableWallClock wall_clock;
  TimerService service(wall_clock.clocks());
  auto queue = std::make_shared<ThreadQueue>("com.tessarin.test.timers");
  std::atomic<int> fired{0};
  service.schedule(queue, Spec(Clock::kWall, 10, 10), [&] { ++fired; });
  const double first = service.activeTimers().at(0).deadline;
  LetServiceSleep(service, queue);
  // Deadlines first, +10, +20 are all past after the jump; +30 is not.
  wall_clock.jump(35);
  ASSERT_TRUE(WaitUntil([&] { return fired >= 1; }, 5.0));
  queue->sync([] {});  // any second firing would have been queued with the first
  EXPECT_EQ(fired, 1);
  EXPECT_NEAR(service.activeTimers().at(0).deadline, first + 30, 1e-6);
}

TEST(LinuxTimerService, FiringsOfABusyQueueDoNotPileUp) {
  TimerService service;
  auto queue = std::make_shared<ThreadQueue>("com.tessarin.test.busy");
  std::atomic<bool> release{false};
  std::atomic<int> fired{0};
  queue->async([&] { WaitUntil([&] { return release.load(); }); });
  auto timer = service.schedule(queue, Spec(Clock::kMonotonic, 0, 0.001), [&] { ++fired; });
  const double first = service.activeTimers().at(0).deadline;
  // Twenty periods pass while the queue is held; the thread has queued the
  // first firing before it moved the deadline on again.
  ASSERT_TRUE(WaitUntil([&] { return service.activeTimers().at(0).deadline > first + 0.02; }));
  std::atomic<int> at_marker{-1};
  queue->async([&] { at_marker = fired.load(); });
  release = true;
  ASSERT_TRUE(WaitUntil([&] { return at_marker >= 0; }));
  // Only the one waiting firing ran ahead of the marker.
  EXPECT_EQ(at_marker, 1);
  // And the timer goes on firing once the queue is free.
  ASSERT_TRUE(WaitUntil([&] { return fired >= 3; }));
  timer->cancel();
}

TEST(LinuxTimerService, StoppedServiceHandsOutCancelledTimersAndReleasesBlocks) {
  TimerService service;
  auto queue = std::make_shared<ThreadQueue>("com.tessarin.test.timers");
  auto token = std::make_shared<int>(0);
  auto pending = service.schedule(queue, Spec(Clock::kWall, 3600), [token] {});
  service.stop();
  EXPECT_TRUE(pending->cancelled());
  auto late = service.schedule(queue, Spec(Clock::kMonotonic, 0), [token] {});
  EXPECT_TRUE(late->cancelled());
  EXPECT_TRUE(service.activeTimers().empty());
  EXPECT_EQ(token.use_count(), 1);
}

}  // namespace
}  // namespace tessarin::platform::linux_host

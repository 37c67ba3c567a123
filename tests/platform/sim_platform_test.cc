#include "platform/sim/sim_platform.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/timing.h"

namespace tessarin::platform::sim {
namespace {

using testing::Spec;

TEST(SimPlatformTimers, FireInDeadlineOrderAndOneShotsFireOnce) {
  SimPlatform sim;
  std::vector<std::string> fired;
  auto main = sim.mainQueue();
  auto worker = sim.createSerialQueue("worker");
  sim.scheduleTimer(main, Spec(Clock::kMonotonic, 3), [&] { fired.push_back("c3"); });
  sim.scheduleTimer(worker, Spec(Clock::kMonotonic, 1), [&] { fired.push_back("a1"); });
  sim.scheduleTimer(main, Spec(Clock::kWall, 2), [&] { fired.push_back("b2"); });
  sim.scheduleTimer(main, Spec(Clock::kMonotonic, 0, 0), [&] { fired.push_back("zero"); });
  sim.advance(10);
  EXPECT_EQ(fired, (std::vector<std::string>{"zero", "a1", "b2", "c3"}));
  sim.advance(100);
  EXPECT_EQ(fired.size(), 4u);
  EXPECT_TRUE(sim.activeTimers().empty());
}

TEST(SimPlatformTimers, WallClockJumpFiresWallTimersOnly) {
  SimPlatform sim;
  int wall = 0, mono = 0;
  sim.scheduleTimer(sim.mainQueue(), Spec(Clock::kWall, 600, 0, 2), [&] { ++wall; });
  sim.scheduleTimer(sim.mainQueue(), Spec(Clock::kMonotonic, 600), [&] { ++mono; });
  auto timers = sim.activeTimers();
  ASSERT_EQ(timers.size(), 2u);
  EXPECT_DOUBLE_EQ(timers[0].leeway, 2);
  sim.jumpWallClock(3600);
  EXPECT_EQ(wall, 1);
  EXPECT_EQ(mono, 0);
  sim.advance(600);
  EXPECT_EQ(mono, 1);
  EXPECT_EQ(wall, 1);
}

TEST(SimPlatformQueues, MainThreadIsTheDriverOutsideOtherQueues) {
  SimPlatform sim;
  auto worker = sim.createSerialQueue("worker");
  EXPECT_TRUE(sim.isMainThread());
  bool main_inside_worker = true, worker_current = false;
  worker->async([&] {
    main_inside_worker = sim.isMainThread();
    worker_current = worker->isCurrent();
  });
  EXPECT_EQ(sim.pendingTaskCount(), 1u);
  sim.runUntilIdle();
  EXPECT_FALSE(main_inside_worker);
  EXPECT_TRUE(worker_current);
  // sync runs earlier queued work of that queue first.
  std::vector<int> order;
  worker->async([&] { order.push_back(1); });
  worker->sync([&] { order.push_back(2); });
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(SimPlatformQueues, RunUntilWaitsForTasksFromOtherThreads) {
  SimPlatform sim;
  bool delivered = false;
  std::thread network([&] { sim.mainQueue()->async([&] { delivered = sim.isMainThread(); }); });
  EXPECT_TRUE(sim.runUntil([&] { return delivered; }, 5.0));
  network.join();
}

TEST(SimPlatformPerformance, TwentyFourVirtualHoursOfOneSecondTimer) {
  SimPlatform sim;
  long count = 0;
  sim.scheduleTimer(sim.mainQueue(), Spec(Clock::kMonotonic, 1, 1), [&] { ++count; });
  sim.advance(24 * 3600);
  EXPECT_EQ(count, 24 * 3600);
}

}  // namespace
}  // namespace tessarin::platform::sim

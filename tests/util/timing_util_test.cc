#include "util/timing_util.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using platform::Clock;
using platform::sim::SimPlatform;
using testing::LogCapture;

TEST(TimingTimer, ZeroOrNegativeIntervalFiresExactlyOnceAfterTheDelay) {
  for (double interval : {0.0, -1.0}) {
    SimPlatform sim;
    int fired = 0;
    auto timer = TSRUtilityTiming::createAndScheduleTimer(sim, "Test: once", sim.mainQueue(), false, 2, interval, 0,
                                                          [&] { ++fired; });
    ASSERT_NE(timer, nullptr);
    sim.advance(1.5);
    EXPECT_EQ(fired, 0);
    sim.advance(0.5);
    EXPECT_EQ(fired, 1);
    sim.advance(1000);
    EXPECT_EQ(fired, 1) << "interval " << interval;
    EXPECT_TRUE(sim.activeTimers().empty());
  }
}

TEST(TimingTimer, RepeatsOnItsQueueUntilInvalidated) {
  SimPlatform sim;
  auto worker = sim.createSerialQueue("worker");
  std::vector<double> at;
  bool on_worker = true;
  double start = sim.now(Clock::kMonotonic);
  auto timer = TSRUtilityTiming::createAndScheduleTimer(sim, "Test: repeat", worker, false, 1, 2, 0, [&] {
    on_worker = on_worker && worker->isCurrent();
    at.push_back(sim.now(Clock::kMonotonic) - start);
  });
  sim.advance(6);
  EXPECT_EQ(at, (std::vector<double>{1, 3, 5}));
  EXPECT_TRUE(on_worker);
  TSRUtilityTiming::invalidateTimer(timer);
  EXPECT_TRUE(timer->cancelled());
  sim.advance(10);
  EXPECT_EQ(at.size(), 3u);
  TSRUtilityTiming::invalidateTimer(nullptr);
}

TEST(TimingTimer, TimesAreKeptInWholeNanosecondsOnTheChosenClock) {
  SimPlatform sim;
  double wall = sim.now(Clock::kWall);
  TSRUtilityTiming::createAndScheduleTimer(sim, "Test: precision", sim.mainQueue(), true, 30.0000000019, 1.5000000009,
                                           0.1234567891, [] {});
  TSRUtilityTiming::createAndScheduleTimer(sim, "Test: precision", sim.mainQueue(), false, 1, 0.0000000004, -2, [] {});
  auto timers = sim.activeTimers();
  ASSERT_EQ(timers.size(), 2u);
  EXPECT_EQ(timers[0].clock, Clock::kWall);
  EXPECT_NEAR(timers[0].deadline - wall, 30.000000001, 1e-7);
  EXPECT_DOUBLE_EQ(timers[0].interval, 1.500000000);
  EXPECT_DOUBLE_EQ(timers[0].leeway, 0.123456789);
  EXPECT_EQ(timers[1].clock, Clock::kMonotonic);
  // Less than a nanosecond of interval is no repeat; a negative leeway is none.
  EXPECT_EQ(timers[1].interval, 0);
  EXPECT_EQ(timers[1].leeway, 0);
}

TEST(TimingTimer, AFiringThatThrowsIsReportedAndLaterFiringsRun) {
  LogCapture capture;
  SimPlatform sim;
  int fired = 0;
  TSRUtilityTiming::createAndScheduleTimer(sim, std::string("Queue: ") + "flush", sim.mainQueue(), false, 1, 1, 0,
                                           [&] {
                                             if (++fired == 1) throw std::runtime_error("flush failed");
                                           });
  sim.advance(3);
  EXPECT_EQ(fired, 3);
  EXPECT_EQ(capture.countContaining("Exception:\n  Tag: Queue: flush\n"), 1);
  EXPECT_EQ(capture.countContaining("Reason: flush failed\n"), 1);
}

TEST(TimingTimer, NothingIsMadeWithoutAQueueOrABlock) {
  SimPlatform sim;
  EXPECT_EQ(TSRUtilityTiming::createAndScheduleTimer(sim, "Test: none", nullptr, false, 1, 0, 0, [] {}), nullptr);
  EXPECT_EQ(TSRUtilityTiming::createAndScheduleTimer(sim, "Test: none", sim.mainQueue(), false, 1, 0, 0, nullptr),
            nullptr);
  EXPECT_TRUE(sim.activeTimers().empty());
}

}  // namespace
}  // namespace tessarin

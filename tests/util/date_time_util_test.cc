#include "util/date_time_util.h"

#include <gtest/gtest.h>

#include "platform/sim/sim_platform.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;

TEST(DateTimeMillis, TruncatedTowardsZero) {
  EXPECT_EQ(TSRUtilityDateTime::epochMillisFromDate(0.0019999), 1u);
  EXPECT_EQ(TSRUtilityDateTime::epochMillisFromDate(1767225600.1239), 1767225600123u);
  EXPECT_EQ(TSRUtilityDateTime::epochMillisFromDate(0), 0u);
  // Before 1970 there is nothing to count.
  EXPECT_EQ(TSRUtilityDateTime::epochMillisFromDate(-5), 0u);
  EXPECT_DOUBLE_EQ(TSRUtilityDateTime::dateFromEpochMillis(1500), 1.5);
  EXPECT_DOUBLE_EQ(TSRUtilityDateTime::dateFromEpochMillis(1767225600123u), 1767225600.123);
}

TEST(DateTimeNow, FollowsThePlatformWallClock) {
  SimPlatform sim;
  std::uint64_t start = TSRUtilityDateTime::currentTimeEpochMillis(sim);
  EXPECT_EQ(start, TSRUtilityDateTime::epochMillisFromDate(sim.now(platform::Clock::kWall)));
  sim.advance(1.5);
  EXPECT_EQ(TSRUtilityDateTime::currentTimeEpochMillis(sim), start + 1500);
  // A user's clock change moves it; the monotonic clock does not count.
  sim.jumpWallClock(-3600);
  EXPECT_EQ(TSRUtilityDateTime::currentTimeEpochMillis(sim), start + 1500 - 3600000);
}

}  // namespace
}  // namespace tessarin

#include "transport/reachability_manager.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using platform::ReachabilityFlags;
using platform::sim::SimPlatform;
using testing::LogCapture;

// Raw values as the reference platform defines them, so the table below
// also pins the constants.
constexpr ReachabilityFlags kTransient = 1, kReachable = 2, kConnectionRequired = 4, kOnTraffic = 8,
                            kIntervention = 16, kOnDemand = 32, kLocal = 65536, kDirect = 131072,
                            kWWAN = 262144;

TEST(ReachabilityStatusTest, StatusForFlags) {
  struct Case {
    ReachabilityFlags flags;
    long status;
  } cases[] = {
      {0, 0},
      {kWWAN, 0},
      {kConnectionRequired | kOnTraffic, 0},
      {kReachable, 2},
      {kReachable | kTransient | kLocal | kDirect, 2},
      {kReachable | kWWAN, 1},
      {kReachable | kWWAN | kConnectionRequired | kIntervention, 1},
      {kReachable | kConnectionRequired, 0},
      {kReachable | kConnectionRequired | kIntervention, 0},
      {kReachable | kConnectionRequired | kOnTraffic, 2},
      {kReachable | kConnectionRequired | kOnDemand, 2},
      {kReachable | kConnectionRequired | kOnTraffic | kIntervention, 0},
      {kReachable | kConnectionRequired | kOnDemand | kIntervention, 0},
      {kReachable | kIntervention, 2},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(TSRReachabilityManager::statusForFlags(c.flags), c.status) << "flags " << c.flags;
  }
}

class ReachabilityManagerTest : public ::testing::Test {
 protected:
  std::shared_ptr<TSRReachabilityManager> Make() {
    return TSRReachabilityManager::initWithStatusChangeBlock(sim, [this](int status) {
      statuses.push_back(status);
      on_main.push_back(sim->isMainThread());
    });
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  LogCapture log{TSRLogLevelDebug};
  std::vector<int> statuses;
  std::vector<bool> on_main;
};

TEST_F(ReachabilityManagerTest, WithoutBlockThereIsNoManager) {
  EXPECT_EQ(TSRReachabilityManager::initWithStatusChangeBlock(sim, nullptr), nullptr);
  EXPECT_EQ(log.count("Reachability: No block specified", TSRLogLevelError), 1);
  EXPECT_TRUE(sim->reachabilityTargets().empty());
}

TEST_F(ReachabilityManagerTest, WatchesTheInternetOnItsOwnQueue) {
  auto manager = Make();
  ASSERT_NE(manager, nullptr);
  ASSERT_EQ(sim->reachabilityTargets().size(), 1u);
  EXPECT_EQ(sim->reachabilityTargets()[0].kind, platform::ReachabilityTarget::Kind::kInternet);
  EXPECT_EQ(manager->dispatchQueue()->label(), "com.tessarin.sdk.TSRReachabilityManager");
  EXPECT_FALSE(manager->monitoring());
  EXPECT_EQ(manager->lastFlags(), 0u);
  EXPECT_EQ(sim->startedReachabilitySources(), 0u);
}

TEST_F(ReachabilityManagerTest, StartReportsThePresentStatusOnceOnMain) {
  sim->simNetwork().flags = kReachable | kWWAN;
  auto manager = Make();
  manager->startMonitoring();
  manager->startMonitoring();  // attaches once
  EXPECT_TRUE(statuses.empty()) << "the report hops through the manager's queue first";
  sim->runUntilIdle();

  EXPECT_EQ(sim->startedReachabilitySources(), 1u);
  EXPECT_EQ(statuses, std::vector<int>{1});
  EXPECT_EQ(on_main, std::vector<bool>{true});
  EXPECT_EQ(log.messages(),
            (std::vector<std::string>{"Reachability: Start monitoring", "Reachability: Status 1 flags 262146"}));
  EXPECT_TRUE(manager->reachable());
  EXPECT_EQ(manager->lastStatus(), 1);
  EXPECT_EQ(manager->lastFlags(), kReachable | kWWAN);
}

TEST_F(ReachabilityManagerTest, ReportsEachChangeAsReachableOrNot) {
  auto manager = Make();
  manager->startMonitoring();
  sim->runUntilIdle();
  sim->setReachabilityFlags(kReachable | kConnectionRequired | kIntervention);
  sim->runUntilIdle();
  sim->setReachabilityFlags(kReachable | kConnectionRequired | kOnDemand);
  sim->runUntilIdle();
  sim->setReachabilityFlags(kReachable | kConnectionRequired | kOnDemand);  // no change, no report
  sim->runUntilIdle();

  EXPECT_EQ(statuses, (std::vector<int>{1, 0, 1}));
  EXPECT_EQ(log.count("Reachability: Status 0 flags 22", TSRLogLevelDebug), 1);
  EXPECT_EQ(log.count("Reachability: Status 2 flags 38", TSRLogLevelDebug), 1);
  EXPECT_EQ(manager->lastStatus(), 2);
}

TEST_F(ReachabilityManagerTest, NothingReachesTheOwnerAfterStop) {
  auto manager = Make();
  manager->startMonitoring();
  sim->runUntilIdle();
  log.clear();

  // A change already on its way when monitoring stops is dropped on main.
  sim->setReachabilityFlags(0);
  manager->stopMonitoring();
  sim->runUntilIdle();
  sim->setReachabilityFlags(kReachable | kWWAN);
  sim->runUntilIdle();

  EXPECT_EQ(statuses, std::vector<int>{1});
  EXPECT_FALSE(manager->monitoring());
  EXPECT_EQ(manager->lastFlags(), 0u);
  EXPECT_FALSE(manager->reachable());
  EXPECT_EQ(sim->startedReachabilitySources(), 0u);
  EXPECT_EQ(log.messages(), std::vector<std::string>{"Reachability: Stop monitoring"});

  log.clear();
  manager->stopMonitoring();  // not monitoring: nothing to say
  EXPECT_TRUE(log.messages().empty());

  manager->startMonitoring();  // a restart reports the present status again
  sim->runUntilIdle();
  EXPECT_EQ(statuses, (std::vector<int>{1, 1}));
}

TEST_F(ReachabilityManagerTest, AHostWithoutSourceGivesAManagerThatNeverReports) {
  sim->simNetwork().available = false;
  auto manager = Make();
  ASSERT_NE(manager, nullptr);
  EXPECT_EQ(log.messages(), std::vector<std::string>{"Reachability: Could not create reference"});
  log.clear();

  manager->startMonitoring();
  sim->runUntilIdle();
  manager->stopMonitoring();
  EXPECT_FALSE(manager->monitoring());
  EXPECT_TRUE(statuses.empty());
  EXPECT_TRUE(log.messages().empty());
  EXPECT_EQ(manager->flagsSyncBlocking(), 0u);
}

TEST_F(ReachabilityManagerTest, SourceFaults) {
  auto manager = Make();
  sim->simNetwork().start_fails = true;
  manager->startMonitoring();
  sim->runUntilIdle();
  EXPECT_FALSE(manager->monitoring());
  EXPECT_TRUE(statuses.empty());
  EXPECT_EQ(log.messages(),
            std::vector<std::string>{"Reachability: Start monitoring fail, cannot set dispatch queue"});

  // Flags that cannot be read read as 0: the owner hears "not reachable".
  sim->simNetwork().start_fails = false;
  sim->simNetwork().read_fails = true;
  EXPECT_EQ(manager->flagsSyncBlocking(), 0u);
  manager->startMonitoring();
  sim->runUntilIdle();
  EXPECT_EQ(statuses, std::vector<int>{0});

  log.clear();
  sim->simNetwork().stop_fails = true;
  manager->stopMonitoring();
  EXPECT_FALSE(manager->monitoring());
  EXPECT_EQ(log.messages(), (std::vector<std::string>{"Reachability: Could not remove dispatch queue",
                                                      "Reachability: Stop monitoring"}));
  EXPECT_EQ(log.count("Reachability: Could not remove dispatch queue", TSRLogLevelError), 1);
}

TEST_F(ReachabilityManagerTest, AnOwnerBlockThatThrowsIsContained) {
  auto manager = TSRReachabilityManager::initWithStatusChangeBlock(
      sim, [](int) { throw std::runtime_error("owner failed"); });
  manager->startMonitoring();
  sim->runUntilIdle();
  EXPECT_EQ(log.countContaining("Tag: -[TSRReachabilityManager handleUpdatedFlags:]"), 1);
  EXPECT_EQ(log.countContaining("Reason: owner failed"), 1);
}

TEST_F(ReachabilityManagerTest, ReleasedManagerStopsItsSourceAndIgnoresLateReports) {
  auto manager = Make();
  manager->startMonitoring();
  sim->setReachabilityFlags(0);  // queued before the manager goes
  manager.reset();
  sim->runUntilIdle();

  EXPECT_TRUE(statuses.empty());
  EXPECT_EQ(sim->startedReachabilitySources(), 0u);
  EXPECT_EQ(log.count("Reachability: Stop monitoring"), 1);
}

TEST_F(ReachabilityManagerTest, LocalOrDirectNeedsReachableAndALocalOrDirectRoute) {
  auto manager = Make();
  EXPECT_TRUE(manager->localOrDirect(kReachable | kLocal));
  EXPECT_TRUE(manager->localOrDirect(kReachable | kDirect));
  EXPECT_FALSE(manager->localOrDirect(kLocal | kDirect));
  EXPECT_FALSE(manager->localOrDirect(kReachable | kWWAN));
}

}  // namespace
}  // namespace tessarin

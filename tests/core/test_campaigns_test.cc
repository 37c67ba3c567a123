#include <gtest/gtest.h>

#include "core/tessarin_impl.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::sim::SimAlert;
using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::LogCapture;

class TestCampaignsTest : public ::testing::Test {
 protected:
  void SetUp() override { Make(false); }

  // The swizzling switch is read once per host, so it is set before the
  // façade exists.
  void Make(bool swizzling) {
    sim->app().info["TessarinSwizzlingEnabled"] = swizzling;
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
    facade->startWithConfiguration(Json{{"account", "acme"},
                                        {"dataset", "shop"},
                                        {"usePushNotifications", false},
                                        {"useDesignMode", false}});
    sim->runUntilIdle();
    log.clear();
  }
  bool Open(const std::string& url) {
    bool mine = facade->handleOpenURL(url);
    sim->runUntilIdle();
    return mine;
  }
  std::vector<std::string> AlertMessages() const {
    std::vector<std::string> messages;
    for (const auto& alert : sim->alerts().shown()) messages.push_back(alert->request().message);
    return messages;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(TestCampaignsTest, OnlyUrlsWithTheSdkSchemeAreClaimed) {
  EXPECT_FALSE(Open("https://test/all"));
  EXPECT_FALSE(Open("shop://test/all"));
  EXPECT_FALSE(Open("not a url"));
  EXPECT_FALSE(facade->handleOpenURL(std::nullopt));
  EXPECT_TRUE(AlertMessages().empty());

  EXPECT_TRUE(Open("TSRshop://TEST/all"));
  EXPECT_EQ(facade->testExperienceId(), "true");
}

TEST_F(TestCampaignsTest, SelectionRidesOnEveryEventUntilNone) {
  ASSERT_TRUE(Open("tsrdemo://test/ALL"));
  EXPECT_TRUE(log.contains("Testing: Including all test campaigns", TSRLogLevelInfo));
  auto event = facade->buildFullEventParams();
  ASSERT_TRUE(event);
  EXPECT_EQ((*event)[TSREvent_testMessages], "true");

  ASSERT_TRUE(Open("tsrdemo://test/aB3x9"));
  EXPECT_EQ(facade->testExperienceId(), "aB3x9");
  EXPECT_TRUE(log.contains("Testing: Including specific campaign experience: aB3x9", TSRLogLevelInfo));
  EXPECT_EQ((*facade->buildFullEventParams())[TSREvent_testMessages], "aB3x9");

  ASSERT_TRUE(Open("tsrdemo://test/none"));
  EXPECT_FALSE(facade->testExperienceId());
  EXPECT_FALSE(facade->buildFullEventParams()->contains(TSREvent_testMessages));
  EXPECT_EQ(AlertMessages(), (std::vector<std::string>{"Including all test campaigns",
                                                       "Including specific campaign experience: aB3x9",
                                                       "Not including any test campaigns"}));
}

TEST_F(TestCampaignsTest, MalformedSelectionsAreRefusedAndKeepTheCurrentOne) {
  ASSERT_TRUE(Open("tsrdemo://test/all"));
  for (std::string id : {"abcd", "ab-cd", "abcdef"}) {
    log.clear();
    ASSERT_TRUE(Open("tsrdemo://test/" + id));
    EXPECT_TRUE(log.contains("Testing: Invalid experience id: " + id, TSRLogLevelWarn)) << id;
    EXPECT_TRUE(log.contains("Testing: Ignoring invalid campaign experience: " + id, TSRLogLevelInfo)) << id;
  }
  EXPECT_EQ(facade->testExperienceId(), "true");

  // Wrong host, a third path component, or no selection at all.
  for (std::string url : {"tsrdemo://open/all", "tsrdemo://test/all/extra", "tsrdemo://test", "tsrdemo://test/"}) {
    log.clear();
    ASSERT_TRUE(Open(url));
    EXPECT_TRUE(log.contains("Testing: Unrecognized URL: " + url, TSRLogLevelInfo)) << url;
  }
  EXPECT_EQ(facade->testExperienceId(), "true");
}

TEST_F(TestCampaignsTest, ExperienceIdsAreFiveLettersOrDigitsOfAnyScript) {
  EXPECT_EQ(TessarinImpl::validateTestExperienceId(" Ab3Z9\n"), "Ab3Z9");
  EXPECT_EQ(TessarinImpl::validateTestExperienceId("ÄbçdÉ"), "ÄbçdÉ");
  EXPECT_FALSE(TessarinImpl::validateTestExperienceId("ab cd"));
  EXPECT_FALSE(TessarinImpl::validateTestExperienceId("ab_cd"));
  // Five code points but six UTF-16 units.
  EXPECT_FALSE(TessarinImpl::validateTestExperienceId("abcd\U0001D400"));
  EXPECT_FALSE(TessarinImpl::validateTestExperienceId(std::nullopt));
  EXPECT_EQ(log.count("Testing: Invalid experience id: (null)", TSRLogLevelWarn), 1);
}

TEST_F(TestCampaignsTest, SelectionExpiresOnTheMonotonicClockAndEachUrlRestartsIt) {
  ASSERT_TRUE(Open("tsrdemo://test/all"));
  sim->advance(1000);
  ASSERT_TRUE(Open("tsrdemo://test/abcde"));
  // The wall clock jumping changes nothing.
  sim->jumpWallClock(5000);
  sim->advance(1799);
  EXPECT_EQ(facade->testExperienceId(), "abcde");
  sim->advance(2.5);  // within the 2-second leeway
  EXPECT_FALSE(facade->testExperienceId());
  EXPECT_TRUE(log.contains("Testing: No longer including any test campaigns. Reopen URL to start again.",
                           TSRLogLevelInfo));
  EXPECT_EQ(AlertMessages().back(), "No longer including any test campaigns. Reopen URL to start again.");
}

TEST_F(TestCampaignsTest, ZeroTimeoutKeepsTheSelectionUntilStop) {
  facade->config().replaceConfiguration(Json{{"testExperienceTimeout", 0}}, TSRConfig::kLayerServer);
  ASSERT_TRUE(Open("tsrdemo://test/all"));
  sim->advance(100000);
  EXPECT_EQ(facade->testExperienceId(), "true");

  log.clear();
  facade->stop();
  sim->runUntilIdle();
  EXPECT_FALSE(facade->testExperienceId());
  EXPECT_TRUE(log.contains("Testing: Not including any test campaigns", TSRLogLevelInfo));

  // Stopping again, with no selection, shows nothing.
  log.clear();
  facade->stop();
  sim->runUntilIdle();
  EXPECT_EQ(log.countContaining("Testing:"), 0);
}

TEST_F(TestCampaignsTest, DisabledFacadeRefusesEverySelection) {
  ASSERT_TRUE(Open("tsrdemo://test/abcde"));
  facade->setDisabled(true);
  sim->runUntilIdle();
  log.clear();
  for (std::string url : {"tsrdemo://test/all", "tsrdemo://test/none", "tsrdemo://test/zzzzz"}) {
    ASSERT_TRUE(Open(url));
  }
  EXPECT_EQ(log.count("Testing: Ignoring test campaigns, Tessarin is currently disabled.", TSRLogLevelInfo), 3);
  EXPECT_EQ(facade->testExperienceId(), "abcde");
}

TEST_F(TestCampaignsTest, AlertCarriesTheDesignerTitleAndLeavesAfterItsTime) {
  ASSERT_TRUE(Open("tsrdemo://test/all"));
  ASSERT_EQ(sim->alerts().shown().size(), 1u);
  std::shared_ptr<SimAlert> first = sim->alerts().shown()[0];
  EXPECT_EQ(first->request().title, "Tessarin Designer");
  EXPECT_EQ(first->request().buttons, std::vector<std::string>{"OK"});
  EXPECT_FALSE(first->request().activityIndicator);

  // A new message replaces the alert at once, without animation.
  sim->advance(1);
  ASSERT_TRUE(Open("tsrdemo://test/none"));
  EXPECT_EQ(first->dismissedAnimated(), false);
  std::shared_ptr<SimAlert> second = sim->alerts().shown().back();
  EXPECT_EQ(facade->alertView(), second);

  // The first alert's pending dismissal must not touch the second.
  sim->advance(2.5);
  EXPECT_TRUE(second->visible());
  sim->advance(0.5);
  EXPECT_FALSE(second->visible());
  EXPECT_EQ(second->dismissedAnimated(), true);
  EXPECT_FALSE(facade->alertView());
}

TEST_F(TestCampaignsTest, NoAlertWhenAlertTimeIsZeroButTheLineIsStillLogged) {
  facade->config().replaceConfiguration(Json{{"designerAlertTime", 0}}, TSRConfig::kLayerServer);
  ASSERT_TRUE(Open("tsrdemo://test/all"));
  EXPECT_TRUE(sim->alerts().shown().empty());
  EXPECT_TRUE(log.contains("Testing: Including all test campaigns", TSRLogLevelInfo));
  EXPECT_EQ(facade->testExperienceId(), "true");
}

TEST_F(TestCampaignsTest, EachUrlIsActedOnByExactlyOnePath) {
  // Swizzling off: the app's own call acts, the delegate path does not.
  EXPECT_TRUE(facade->handleURL("tsrdemo://test/all", true));
  sim->runUntilIdle();
  EXPECT_FALSE(facade->testExperienceId());
  EXPECT_TRUE(Open("tsrdemo://test/all"));
  EXPECT_EQ(facade->testExperienceId(), "true");

  // Swizzling on: the other way round.
  sim = std::make_shared<SimPlatform>();
  Make(true);
  EXPECT_TRUE(Open("tsrdemo://test/all"));
  EXPECT_FALSE(facade->testExperienceId());
  EXPECT_TRUE(facade->handleURL("tsrdemo://test/all", true));
  sim->runUntilIdle();
  EXPECT_EQ(facade->testExperienceId(), "true");
}

}  // namespace
}  // namespace tessarin

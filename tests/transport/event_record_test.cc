#include <gtest/gtest.h>

#include "core/tessarin_impl.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"
#include "transport/events_util.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::LogCapture;

class EventRecordTest : public ::testing::Test {
 protected:
  void SetUp() override {
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
  }
  void Start() {
    facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}});
    sim->runUntilIdle();
    // The launch and install the start tracks are not what these tests read.
    env->queue->events.clear();
  }
  const std::vector<Json>& Events() { return env->queue->events; }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env = std::make_shared<FakeEnvironment>(sim);
  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<TessarinImpl> facade;
};

TEST_F(EventRecordTest, BaseRecordCarriesDeviceAppAndIdentity) {
  EXPECT_FALSE(TSRUtilityEvents::buildBaseParams(*facade));
  EXPECT_TRUE(log.contains(
      "Events: Ignoring event, SDK not started. Call -startWithClientConfiguration: after obtaining user consent.",
      TSRLogLevelDebug));
  Start();
  auto anonymous = TSRUtilityEvents::buildBaseParams(*facade);
  ASSERT_TRUE(anonymous);
  EXPECT_EQ((*anonymous)[".mbv"], "1.5.0");
  EXPECT_EQ((*anonymous)[".anonId"], "6f9619ff-8b86-d011-b42d-00c04fc964ff");
  EXPECT_EQ((*anonymous)["_anon"], "true");
  EXPECT_FALSE(anonymous->contains("userId"));
  EXPECT_FALSE(anonymous->contains(".aaId"));
  EXPECT_EQ((*anonymous)[".d"], "iPhone15,2");
  EXPECT_EQ((*anonymous)[".on"], "iOS");
  EXPECT_EQ((*anonymous)[".ov"], "17.2");
  EXPECT_EQ((*anonymous)[".an"], "com.tessarin.simhost");
  EXPECT_EQ((*anonymous)[".av"], "1.0");
  EXPECT_EQ((*anonymous)["timestamp"], static_cast<std::uint64_t>(sim->now(platform::Clock::kWall) * 1000));

  facade->setUserId("u-1");
  facade->setAccountId("c-1");
  auto known = TSRUtilityEvents::buildBaseParams(*facade);
  EXPECT_EQ((*known)["userId"], "u-1");
  EXPECT_EQ((*known)["company"], "c-1");
  EXPECT_FALSE(known->contains("_anon"));

  sim->simDevice().vendor_id.reset();
  EXPECT_FALSE(TSRUtilityEvents::buildBaseParams(*facade));
  EXPECT_TRUE(log.contains("Cannot build event, no anonId", TSRLogLevelError));
}

TEST_F(EventRecordTest, ActionsCarryPendingAttributesOnceAndCallerFieldsWin) {
  facade->sendAction("Early", "Global", Json::object());
  Start();
  EXPECT_TRUE(Events().empty());  // dropped before start

  facade->setUserAttribute("gold", "tier");
  facade->setUserAttribute(std::nullopt, "old");
  facade->sendAction("View Screen", "7", Json{{".pv", ""}, {"tier", "silver"}});
  facade->sendAction("Second", "7", Json::object());
  ASSERT_EQ(Events().size(), 2u);
  const Json& first = Events()[0];
  EXPECT_EQ(first["action"], "View Screen");
  EXPECT_EQ(first[".ri"], "7");
  EXPECT_EQ(first["tier"], "silver");
  EXPECT_TRUE(first["old"].is_null());
  EXPECT_FALSE(Events()[1].contains("tier"));
  EXPECT_TRUE(log.contains("Action: [View Screen] contextId [7]", TSRLogLevelDebug));

  facade->sendAction("Lost", "", Json::object());
  EXPECT_TRUE(log.contains("Action: Ignoring since incomplete: action [Lost] contextId []", TSRLogLevelError));
  EXPECT_EQ(Events().size(), 2u);
}

TEST_F(EventRecordTest, NothingIsSentOrSaidWhileDisabled) {
  Start();
  facade->config().replaceConfiguration(Json{{"disable", true}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  log.clear();
  facade->sendAction("Quiet", "", Json::object());
  facade->sendPingForItem(Json{{"id", "p1"}}, 3);
  facade->sendCampaignStats(Json{{"i", 1}}, false);
  EXPECT_TRUE(log.records().empty());
}

TEST_F(EventRecordTest, PingsAndCampaignStatistics) {
  Json item = {{"type", "product"}, {"id", "p1"}};
  facade->sendPingForItem(item, 2.5);
  EXPECT_TRUE(log.contains(R"(Ping: Ignoring, Tessarin not started or in design mode, 2.500 {"type":"product","id":"p1"})",
                           TSRLogLevelWarn));
  Start();
  facade->sendPingForItem(nullptr, 2.5);
  facade->sendPingForItem(item, 0);
  EXPECT_TRUE(log.contains("Ping: Ignoring, invalid, 2.500 (null)", TSRLogLevelWarn));
  EXPECT_TRUE(log.contains(R"(Ping: Ignoring, invalid, 0.000 {"type":"product","id":"p1"})"));

  facade->sendPingForItem(item, 1.2349);
  ASSERT_EQ(Events().size(), 1u);
  EXPECT_EQ(Events()[0][".top"], 1234);
  EXPECT_EQ(Events()[0][".se"], "p");
  EXPECT_EQ(Events()[0][".item"], item);
  EXPECT_FALSE(Events()[0].contains("action"));

  facade->sendCampaignStats(Json{{"type", "i"}, {"campaignId", "c9"}}, true);
  ASSERT_EQ(Events().size(), 2u);
  EXPECT_EQ(Events()[1][".cStat"], R"({"type":"i","campaignId":"c9"})");
  EXPECT_EQ(Events()[1][".se"], "m");
  EXPECT_EQ(Events()[1][".test"], "true");
}

TEST_F(EventRecordTest, EventResponsesAreReadInOrder) {
  Json responses = Json::array({
      "not an object",
      {{"anonAffinityId", "aff-1"}, {"errorCode", 3}, {"campaignResponses", Json::array({7})}},
      {{"errorCode", 5}, {"validationErrors", Json::array({"bad"})}},
      {{"errorCode", 4}, {"campaignResponses", Json::array({8})}},
      {{"errorCode", 42}},
  });
  facade->handleEventResponses(responses);
  EXPECT_TRUE(log.contains("Event Responses: Ignoring, Tessarin not started or in design mode", TSRLogLevelDebug));
  Start();
  log.clear();
  facade->handleEventResponses(responses);
  EXPECT_TRUE(log.contains("Event Response: Unexpected event class: NSString event: not an object", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Event Response: Contained the error code [busy]", TSRLogLevelError));
  EXPECT_TRUE(log.contains(R"(Event Response: Contained the error code [invalid event] with the validation errors: ["bad"])"));
  EXPECT_TRUE(log.contains("An event response contained an anonymous id correction", TSRLogLevelInfo));
  EXPECT_TRUE(log.contains("Event Response: Contained the error code [42]"));
  // A "busy" response still reads its campaigns; the correction skips them.
  EXPECT_EQ(log.count("Campaign: ignoring, expected NSDictionary but found NSNumber", TSRLogLevelWarn), 1);

  EXPECT_EQ(facade->config().stringForKey("__visitorAffinityId"), "aff-1");
  facade->sendAction("After", "Global", Json::object());
  EXPECT_EQ(Events().back()[".aaId"], "aff-1");
}

TEST_F(EventRecordTest, ResponseCampaignsBecomeCampaignsForTheDispatcher) {
  Start();
  Json good = {{"campaignId", "c1"}, {"campaignName", "Spring"}, {"experienceId", "e1"},
               {"experienceName", "A"}, {"userGroup", "Default"}, {"routingId", "7"},
               {"mobileDataMessages",
                Json::array({{{"id", "m1"}, {"type", "tsr_md"}, {"targetName", "hero"}, {"dataMap", {{"k", "v"}}}}})}};
  Json incomplete = good;
  incomplete.erase("experienceName");
  facade->handleEventResponses(Json::array({{{"campaignResponses", Json::array({good, incomplete, "text"})}}}));
  ASSERT_EQ(env->dispatcher->campaigns.size(), 1u);
  const auto& campaign = env->dispatcher->campaigns[0];
  EXPECT_EQ(campaign->contextId(), "7");
  EXPECT_EQ(campaign->target(), "hero");
  EXPECT_EQ(campaign->json(), good);
  EXPECT_TRUE(log.contains(R"(Campaign: JSON, missing required elements: ["experienceName"])", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Campaign: ignoring, expected NSDictionary but found NSString", TSRLogLevelWarn));
}

}  // namespace
}  // namespace tessarin

// Campaigns that reach the app through an event response, and what the app
// reports back about them: the statistics events of a context, and the
// guard around the app's campaign handler.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/campaign.h"
#include "tracking/context_impl.h"
#include "tessarin/events.h"
#include "util/config.h"
#include "util/host_app.h"
#include "util/safety.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::LogCapture;

// The recording fakes, but the real campaign dispatcher, so that campaigns
// in a response reach the handlers the app set on its contexts.
class DispatchingEnvironment : public FakeEnvironment {
 public:
  using FakeEnvironment::FakeEnvironment;
  std::shared_ptr<CampaignRouter> campaignDispatcherWithConfig(const TSRConfig& config) override {
    return TSRUtilityDI::campaignDispatcherWithConfig(config);
  }
};

// A data campaign for the global context as the service sends it.
Json DataCampaign(const std::string& id, const std::string& target = "hero") {
  Json message = Json::object();
  message["id"] = id + "-msg";
  message["type"] = "tsr_md";
  message["targetName"] = target;
  message["promotedItemKeys"] = Json::array({Json{{"sku", "42"}}});
  message["dataMap"] = Json{{"headline", "Sale"}};
  Json campaign = Json::object();
  campaign["campaignId"] = id;
  campaign["campaignName"] = "Spring " + id;
  campaign["experienceId"] = id + "-exp";
  campaign["experienceName"] = "Banner " + id;
  campaign["routingId"] = "Global";
  campaign["userGroup"] = "Default";
  campaign["mobileDataMessages"] = Json::array({message});
  return campaign;
}

// The experience-level and the message-level payload of one statistic of
// DataCampaign(id).
Json Payloads(const std::string& id, const std::string& stat, bool control = false) {
  Json experience = Json::object();
  experience["id"] = id + "-exp";
  experience["type"] = "e";
  experience["piks"] = Json::array({Json{{"sku", "42"}}});
  experience["stat"] = stat;
  Json message = Json::object();
  message["id"] = id + "-msg";
  message["eid"] = id + "-exp";
  message["type"] = "m";
  message["piks"] = Json::array({Json{{"sku", "42"}}});
  message["stat"] = stat;
  if (control) experience["ug"] = message["ug"] = "Control";
  return Json::array({experience, message});
}

class ContextCampaignTest : public ::testing::Test {
 protected:
  void TearDown() override { TSRUtilitySafety::setThrowExceptions(false); }

  // Started in the foreground by a user who has just touched the app, so
  // the global context is active and campaigns are dispatched at once.
  void Start(const Json& client = Json::object()) {
    env = std::make_shared<DispatchingEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
    env->hostApp().setLastEventDate(sim->now(platform::Clock::kWall));
    Json configuration = {{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false},
                          {"useDesignMode", false}};
    configuration.update(client);
    facade->startWithConfiguration(configuration);
    sim->runUntilIdle();
    global = facade->globalTrackingContext();
    ASSERT_NE(global, nullptr);
    global->setCampaignHandler([this](const std::shared_ptr<TSRCampaign>& campaign) { received.push_back(campaign); },
                               "hero");
    sim->runUntilIdle();
  }
  // The service answers a batch with these campaigns.
  void Respond(const Json& campaigns) {
    env->queue->success(env->queue.get(), "batch", std::nullopt,
                        Json::array({Json{{"campaignResponses", campaigns}}}));
    sim->runUntilIdle();
  }
  // The campaign as the app's handler was given it.
  std::shared_ptr<TSRCampaign> Deliver(const Json& campaign) {
    received.clear();
    Respond(Json::array({campaign}));
    return received.size() == 1 ? received[0] : nullptr;
  }
  std::vector<Json> StatEvents() const {
    std::vector<Json> out;
    for (const Json& event : env->queue->events) {
      if (event.contains(TSREvent_campaignStats)) out.push_back(event);
    }
    return out;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<DispatchingEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  std::shared_ptr<TSRContextImpl> global;
  std::vector<std::shared_ptr<TSRCampaign>> received;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(ContextCampaignTest, ImpressionClickthroughAndDismissalReportTheirStatForExperienceAndMessage) {
  Start();
  // A campaign carrying the "test" key is a test campaign, whatever its value.
  for (bool test : {false, true}) {
    SCOPED_TRACE(test ? "test campaign" : "campaign");
    const std::string id = test ? "cmp-t" : "cmp-1";
    Json json = DataCampaign(id);
    if (test) json["test"] = false;
    auto campaign = Deliver(json);
    ASSERT_NE(campaign, nullptr);
    env->queue->events.clear();

    global->trackImpression(campaign);
    global->trackClickthrough(campaign);
    global->trackDismissal(campaign);
    sim->runUntilIdle();

    std::vector<Json> stats = StatEvents();
    ASSERT_EQ(stats.size(), 3u);
    const char* kinds[] = {"i", "c", "d"};
    for (std::size_t i = 0; i < 3; ++i) {
      SCOPED_TRACE(kinds[i]);
      EXPECT_EQ(Json::parse(stats[i][TSREvent_campaignStats].get<std::string>()), Payloads(id, kinds[i]));
      EXPECT_EQ(stats[i][TSREvent_simulatedEndpoint], "m");
      if (test) {
        EXPECT_EQ(stats[i].value(TSREvent_test, ""), "true");
      } else {
        EXPECT_FALSE(stats[i].contains(TSREvent_test));
      }
    }
    EXPECT_TRUE(log.contains("Context: [Global] Tracking " + std::string(test ? "test " : "") +
                                 "stats: " + JsonDump(Payloads(id, "d")),
                             TSRLogLevelInfo));
  }
}

TEST_F(ContextCampaignTest, AControlGroupCampaignReportsOnlyImpressions) {
  Start();
  Json json = DataCampaign("cmp-c");
  json["userGroup"] = "Control";
  auto campaign = Deliver(json);
  ASSERT_NE(campaign, nullptr);
  env->queue->events.clear();

  global->trackClickthrough(campaign);
  global->trackDismissal(campaign);
  sim->runUntilIdle();
  EXPECT_TRUE(StatEvents().empty());
  EXPECT_EQ(log.countContaining("Context: [Global] Dropping stat, control group with non-impression type: "), 4);

  global->trackImpression(campaign);
  sim->runUntilIdle();
  std::vector<Json> stats = StatEvents();
  ASSERT_EQ(stats.size(), 1u);
  EXPECT_EQ(Json::parse(stats[0][TSREvent_campaignStats].get<std::string>()), Payloads("cmp-c", "i", true));
}

TEST_F(ContextCampaignTest, AHandlerThrowingSomethingOtherThanAnExceptionIsReportedAndTheAppGoesOn) {
  Start(Json{{"callHandlersSafely", true}});
  global->setCampaignHandler([](const std::shared_ptr<TSRCampaign>&) { throw 7; }, "broken");
  sim->runUntilIdle();

  // The throwing handler does not keep the next campaign from its handler.
  Respond(Json::array({DataCampaign("cmp-x", "broken"), DataCampaign("cmp-y")}));
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0]->campaignId(), "cmp-y");
  EXPECT_EQ(log.count("Exception:\n  Tag: Campaign handler for target [broken] campaignId [cmp-x] experienceId "
                      "[cmp-x-exp] messageId [cmp-x-msg] data: {\"headline\":\"Sale\"}\n  Name: unknown exception\n"
                      "  Reason: a non-standard exception was thrown\n  Info: (null)\n  Symbols: (null)",
                      TSRLogLevelError),
            1);

  // During development the app asks to have it raised again.
  TSRUtilitySafety::setThrowExceptions(true);
  EXPECT_THROW(Respond(Json::array({DataCampaign("cmp-z", "broken")})), int);
  EXPECT_EQ(log.countContaining("Tag: Campaign handler for target [broken] campaignId [cmp-z]"), 1);
}

}  // namespace
}  // namespace tessarin

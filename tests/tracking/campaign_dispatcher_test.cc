#include "tracking/campaign_dispatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "tracking/campaign_impl.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::Clock;
using platform::sim::SimPlatform;
using testing::LogCapture;

class CampaignDispatcherTest : public ::testing::Test {
 protected:
  // A data campaign for context "1" unless told otherwise, made at the
  // simulated wall clock's present.
  std::shared_ptr<TSRCampaign> Campaign(const std::string& id, const std::string& target = "hero",
                                        const std::string& contextId = "1", Json ttl = 30) {
    Json message = {{"id", "m-" + id}, {"type", "tsr_md"}, {"targetName", target}, {"ttl", ttl},
                    {"dataMap", {{"title", "Hi"}}}};
    Json json = {{"campaignId", id},          {"campaignName", "Spring"}, {"experienceId", "e1"},
                 {"experienceName", "Banner"}, {"routingId", contextId},   {"userGroup", "Default"},
                 {"mobileDataMessages", Json::array({message})}};
    return TSRCampaignImpl::campaignWithJSON(json, config, sim->now(Clock::kWall));
  }
  TSRCampaignHandler Recorder(std::string name = "") {
    return [this, name](const std::shared_ptr<TSRCampaign>& campaign) {
      delivered.push_back(name + campaign->campaignId());
      on_main.push_back(sim->isMainThread());
    };
  }
  // The lines logged since the last look, each led by its level, which
  // are then forgotten.
  std::vector<std::string> Lines() {
    std::vector<std::string> lines;
    for (const auto& record : log.records()) lines.push_back(record.label + " " + record.message);
    log.clear();
    return lines;
  }
  void RegisterAndAllow(const std::string& contextId) {
    dispatcher->registerContextIdIfNecessary(contextId);
    dispatcher->setDispatchingAllowed(true, contextId);
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  TSRConfig config{std::make_shared<TSRUtilityDI>(sim)};
  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<TSRCampaignDispatcher> dispatcher = std::make_shared<TSRCampaignDispatcher>(config, sim);
  std::vector<std::string> delivered;
  std::vector<bool> on_main;
};

using Texts = std::vector<std::string>;

TEST_F(CampaignDispatcherTest, CampaignBeforeHandlerIsDeliveredWhenTheHandlerComes) {
  RegisterAndAllow("1");
  auto campaign = Campaign("c1");
  Lines();
  dispatcher->handleCampaign(campaign);
  EXPECT_EQ(dispatcher->campaignHeldForContextId("1", "hero"), campaign);
  dispatcher->setHandler(Recorder(), "1", "hero");
  EXPECT_EQ(Lines(), (Texts{
                         "Info Campaign: Hold for delivery, no handler, contextId: 1, target: hero, "
                         "campaign: [Spring:c1]",
                         "Info Campaign: Set handler for target hero, contextId 1",
                         "Info Campaign: Dispatch campaign held for handler",
                         "Info Campaign: Dispatching to handler, contextId 1, target hero, campaign: [Spring:c1]",
                     }));
  EXPECT_EQ(delivered, Texts{"c1"});
  EXPECT_EQ(on_main, std::vector<bool>{true});
  EXPECT_FALSE(dispatcher->campaignHeldForContextId("1", "hero"));

  // With both in place, the next one goes straight through.
  dispatcher->handleCampaign(Campaign("c2"));
  EXPECT_EQ(delivered, (Texts{"c1", "c2"}));
}

TEST_F(CampaignDispatcherTest, HeldCampaignsAreReleasedOnlyOnTheTransitionToAllowed) {
  auto first = Campaign("c1"), second = Campaign("c2");
  Lines();
  dispatcher->registerContextIdIfNecessary("1");
  dispatcher->registerContextIdIfNecessary("1");  // silent, changes nothing
  dispatcher->handleCampaign(first);
  dispatcher->setHandler(Recorder(), "1", "hero");
  dispatcher->handleCampaign(second);  // replaces the first
  EXPECT_EQ(Lines(), (Texts{
                         "Debug Campaign: Register contextId 1",
                         "Info Campaign: Hold for delivery, no handler, not yet allowed, contextId: 1, target: hero, "
                         "campaign: [Spring:c1]",
                         "Info Campaign: Set handler for target hero, contextId 1",
                         "Info Campaign: Ignoring campaign held for handler, dispatching not yet allowed for "
                         "contextId 1, campaign: [Spring:c1]",
                         "Info Campaign: Replacing existing held campaign: [Spring:c1]",
                         "Info Campaign: Hold for delivery, not yet allowed, contextId: 1, target: hero, campaign: "
                         "[Spring:c2]",
                     }));
  dispatcher->setDispatchingAllowed(true, "1");
  dispatcher->setDispatchingAllowed(true, "1");
  EXPECT_EQ(delivered, Texts{"c2"});
  EXPECT_EQ(Lines(), (Texts{"Debug Campaign: Allow dispatching, contextId 1",
                            "Info Campaign: Dispatching to handler, contextId 1, target hero, campaign: [Spring:c2]"}));

  // Disallowed again, a campaign waits for the next transition.
  dispatcher->setDispatchingAllowed(false, "1");
  dispatcher->setDispatchingAllowed(false, "1");
  dispatcher->handleCampaign(Campaign("c3"));
  EXPECT_EQ(log.count("Campaign: Disallow dispatching, contextId 1"), 1);
  EXPECT_EQ(delivered, Texts{"c2"});
  dispatcher->setDispatchingAllowed(true, "1");
  EXPECT_EQ(delivered, (Texts{"c2", "c3"}));
}

TEST_F(CampaignDispatcherTest, AllowReleasesTargetsInTheOrderTheyWereFirstSeen) {
  dispatcher->registerContextIdIfNecessary("1");
  for (const char* target : {"zeta", "alpha", "mid", "beta"}) dispatcher->handleCampaign(Campaign(target, target));
  dispatcher->setHandler(Recorder(), "1", "mid");
  dispatcher->setHandler(Recorder(), "1", "beta");
  dispatcher->setHandler(Recorder(), "1", "zeta");
  Lines();
  dispatcher->setDispatchingAllowed(true, "1");
  EXPECT_EQ(delivered, (Texts{"zeta", "mid", "beta"}));
  EXPECT_EQ(Lines(), (Texts{
                         "Debug Campaign: Allow dispatching, contextId 1",
                         "Info Campaign: Dispatching to handler, contextId 1, target zeta, campaign: [Spring:zeta]",
                         "Info Campaign: Campaign still held for handler, target alpha, campaign: [Spring:alpha]",
                         "Info Campaign: Dispatching to handler, contextId 1, target mid, campaign: [Spring:mid]",
                         "Info Campaign: Dispatching to handler, contextId 1, target beta, campaign: [Spring:beta]",
                     }));
  EXPECT_TRUE(dispatcher->campaignHeldForContextId("1", "alpha"));
}

TEST_F(CampaignDispatcherTest, ExpiryIsJudgedAtDeliveryOnTheWallClock) {
  dispatcher->registerContextIdIfNecessary("1");
  dispatcher->setHandler(Recorder(), "1", "hero");
  dispatcher->setHandler(Recorder(), "1", "side");
  dispatcher->setHandler(Recorder(), "1", "forever");
  dispatcher->handleCampaign(Campaign("late", "hero", "1", 30));
  dispatcher->handleCampaign(Campaign("edge", "side", "1", 45));
  dispatcher->handleCampaign(Campaign("never", "forever", "1", 0));
  // The monotonic clock alone does not age a campaign.
  sim->advance(15);
  sim->jumpWallClock(30);
  Lines();
  dispatcher->setDispatchingAllowed(true, "1");
  EXPECT_EQ(delivered, (Texts{"edge", "never"}));  // expiring exactly now is still in time
  EXPECT_EQ(Lines()[1], "Info Campaign: Dispatch fail, campaign expired 15.000 seconds ago, campaign:[Spring:late]");
  // Lost, not kept: it had already left the held slot.
  EXPECT_FALSE(dispatcher->campaignHeldForContextId("1", "hero"));
}

TEST_F(CampaignDispatcherTest, ClearingAHandlerKeepsTheHeldCampaign) {
  auto campaign = Campaign("c1");
  Lines();
  RegisterAndAllow("1");
  dispatcher->setHandler(Recorder("old:"), "1", "hero");
  dispatcher->setHandler(Recorder("new:"), "1", "hero");
  dispatcher->setHandler(nullptr, "1", "hero");
  dispatcher->setHandler(nullptr, "1", "hero");  // nothing left to clear
  dispatcher->handleCampaign(campaign);
  EXPECT_EQ(Lines(), (Texts{
                         "Debug Campaign: Register contextId 1",
                         "Debug Campaign: Allow dispatching, contextId 1",
                         "Info Campaign: Set handler for target hero, contextId 1",
                         "Info Campaign: Replaced handler for target hero, contextId 1",
                         "Info Campaign: Cleared handler for target hero, contextId 1",
                         "Info Campaign: Hold for delivery, no handler, contextId: 1, target: hero, "
                         "campaign: [Spring:c1]",
                     }));
  EXPECT_FALSE(dispatcher->handlerForContextId("1", "hero"));
  dispatcher->setHandler(Recorder("again:"), "1", "hero");
  EXPECT_EQ(delivered, Texts{"again:c1"});
}

TEST_F(CampaignDispatcherTest, ClearingAndUnregisteringContexts) {
  auto c1 = Campaign("c1", "b"), c2 = Campaign("c2", "c"), c3 = Campaign("c3", "a", "2"), late = Campaign("c4");
  dispatcher->registerContextIdIfNecessary("1");
  dispatcher->registerContextIdIfNecessary("2");
  dispatcher->setHandler(Recorder(), "1", "a");
  dispatcher->setHandler(Recorder(), "1", "b");
  for (const auto& campaign : {c1, c2, c3}) dispatcher->handleCampaign(campaign);
  Lines();
  dispatcher->clearAllCampaignsHeld();
  auto lines = Lines();
  std::sort(lines.begin(), lines.end());  // contexts come in no particular order
  EXPECT_EQ(lines, (Texts{"Debug Campaign: Clear 1 campaigns held, contextId 2",
                          "Debug Campaign: Clear 2 campaigns held, contextId 1"}));
  EXPECT_TRUE(dispatcher->handlerForContextId("1", "b"));  // handlers stay

  dispatcher->handleCampaign(c1);
  Lines();
  dispatcher->clearContextId("1");
  dispatcher->setDispatchingAllowed(true, "1");  // nothing left to release
  EXPECT_FALSE(dispatcher->handlerForContextId("1", "a"));
  EXPECT_TRUE(dispatcher->dispatchAllowedForContextId("1"));  // the context itself survives
  dispatcher->unregisterContextId("1");
  dispatcher->unregisterContextId("9");  // unknown: silent
  EXPECT_FALSE(dispatcher->dispatchAllowedForContextId("1"));
  // A late answer for a context that is gone is dropped, not kept for later.
  dispatcher->handleCampaign(late);
  EXPECT_EQ(Lines(), (Texts{
                         "Debug Campaign: Clear contextId 1, 3 targets 2 handlers 1 campaigns held",
                         "Debug Campaign: Allow dispatching, contextId 1",
                         "Debug Campaign: Unregister contextId 1",
                         "Debug Campaign: Clear contextId 1, 0 targets 0 handlers 0 campaigns held",
                         "Warn Campaign: Dispatch fail, contextId 1 not found (may be late response), campaign: "
                         "[Spring:c4]",
                     }));
  RegisterAndAllow("1");
  dispatcher->setHandler(Recorder(), "1", "hero");
  EXPECT_TRUE(delivered.empty());
}

TEST_F(CampaignDispatcherTest, RefusalsAreLoggedAndChangeNothing) {
  auto campaign = Campaign("c1");
  Lines();
  dispatcher->handleCampaign(nullptr);
  dispatcher->setHandler(Recorder(), "1", "hero");
  dispatcher->setHandler(Recorder(), std::nullopt, "hero");
  dispatcher->registerContextIdIfNecessary(std::nullopt);
  dispatcher->registerContextIdIfNecessary("1");
  dispatcher->setHandler(Recorder(), "1", "");
  dispatcher->unregisterContextId(std::nullopt);
  dispatcher->clearContextId(std::nullopt);
  dispatcher->clearContextId("9");
  dispatcher->setDispatchingAllowed(true, std::nullopt);
  dispatcher->setDispatchingAllowed(false, "9");
  dispatcher->dispatchCampaign(campaign, nullptr);
  EXPECT_EQ(Lines(), (Texts{
                         "Error Campaign: Dispatch fail, campaign nil",
                         "Error Campaign: Set handler fail, target hero, contextId 1 not found",
                         "Error Campaign: Set handler fail, incomplete: target hero, contextId (null)",
                         "Error Campaign: Register contextId fail, nil",
                         "Debug Campaign: Register contextId 1",
                         "Error Campaign: Set handler fail, incomplete: target , contextId 1",
                         "Error Campaign: Unregister contextId fail, nil",
                         "Error Campaign: Clear contextId fail, nil",
                         "Warn Campaign: Clear contextId 9 fail, not found",
                         "Error Campaign: Allow dispatching fail, contextId nil",
                         "Debug Campaign: Disallow dispatching fail, did not find contextId 9",
                         "Error Campaign: Dispatch fail, no handler, contextId 1, target hero, campaign: [Spring:c1]",
                     }));
  EXPECT_FALSE(dispatcher->handlerForContextId("1", "hero"));
  EXPECT_FALSE(dispatcher->dispatchAllowedForContextId("1"));
}

TEST_F(CampaignDispatcherTest, DisabledRefusesEverythingForGood) {
  RegisterAndAllow("1");
  dispatcher->setHandler(Recorder(), "1", "hero");
  dispatcher->setDispatchingAllowed(false, "1");
  dispatcher->handleCampaign(Campaign("c1"));
  auto campaign = Campaign("c2");
  Lines();
  dispatcher->unregisterAllAndDisable();
  dispatcher->unregisterAllAndDisable();
  dispatcher->handleCampaign(campaign);
  dispatcher->setHandler(Recorder(), "1", "hero");
  dispatcher->registerContextIdIfNecessary("1");
  dispatcher->unregisterContextId("1");
  dispatcher->setDispatchingAllowed(true, "1");
  dispatcher->setDispatchingAllowed(false, "1");
  EXPECT_EQ(Lines(), (Texts{
                         "Debug Campaign: Unregister all and disable",
                         "Debug Campaign: Dispatch fail, disabled, ignoring campaign: [Spring:c2]",
                         "Debug Campaign: Set handler fail, disabled, ignoring target hero contextId 1",
                         "Debug Campaign: Register contextId fail, disabled, 1",
                         "Debug Campaign: Allow dispatching fail, disabled, contextId 1",
                         "Debug Campaign: Disallow dispatching fail, disabled, contextId 1",
                     }));
  EXPECT_TRUE(dispatcher->disabled());
  EXPECT_FALSE(dispatcher->campaignHeldForContextId("1", "hero"));
  EXPECT_FALSE(dispatcher->handlerForContextId("1", "hero"));
  EXPECT_TRUE(delivered.empty());

  // A dispatcher going away disables itself on the way.
  auto other = std::make_shared<TSRCampaignDispatcher>(config, sim);
  other.reset();
  EXPECT_EQ(Lines(), Texts{"Debug Campaign: Unregister all and disable"});
}

TEST_F(CampaignDispatcherTest, HandlerExceptionsAreCaughtOnlyWhenHandlersRunSafely) {
  auto throwing = [](const std::shared_ptr<TSRCampaign>&) { throw std::runtime_error("bad render"); };
  dispatcher->registerContextIdIfNecessary("1");
  dispatcher->setHandler(throwing, "1", "hero");
  dispatcher->setHandler(Recorder(), "1", "side");

  config.setConfiguration(Json{{"callHandlersSafely", true}}, TSRConfig::kLayerRuntime);
  dispatcher->handleCampaign(Campaign("c1"));
  dispatcher->handleCampaign(Campaign("c2", "side"));
  Lines();
  dispatcher->setDispatchingAllowed(true, "1");
  EXPECT_EQ(delivered, Texts{"c2"});  // the walk went on past the failing handler
  EXPECT_EQ(log.count("Exception:\n  Tag: Campaign handler for target [hero] campaignId [c1] experienceId [e1] "
                      "messageId [m-c1] data: {\"title\":\"Hi\"}\n  Name: std::runtime_error\n  Reason: bad render\n"
                      "  Info: (null)\n  Symbols: (null)",
                      TSRLogLevelError),
            1);

  // Off the main thread the guarded run is queued with its own tag.
  auto worker = sim->createSerialQueue("worker");
  worker->async([&] { dispatcher->handleCampaign(Campaign("c3")); });
  sim->runUntilIdle();
  EXPECT_EQ(log.countContaining("Tag: Campaign handler for target [hero] campaignId [c3]"), 1);

  // Unguarded, the exception leaves the main queue's run; the campaign has
  // been taken out of its slot and the queue goes on at the next run.
  config.setConfiguration(Json{{"callHandlersSafely", false}}, TSRConfig::kLayerRuntime);
  dispatcher->setDispatchingAllowed(false, "1");
  dispatcher->handleCampaign(Campaign("c4"));
  bool later_ran = false;
  sim->mainQueue()->async([&] { dispatcher->setDispatchingAllowed(true, "1"); });
  sim->mainQueue()->async([&] { later_ran = true; });
  log.clear();
  EXPECT_THROW(sim->runUntilIdle(), std::runtime_error);
  EXPECT_EQ(log.countContaining("Exception:"), 0);
  EXPECT_FALSE(dispatcher->campaignHeldForContextId("1", "hero"));
  EXPECT_FALSE(later_ran);
  sim->runUntilIdle();
  EXPECT_TRUE(later_ran);
}

TEST_F(CampaignDispatcherTest, HandlersMayReenterTheDispatcher) {
  dispatcher->registerContextIdIfNecessary("1");
  // The first handler replaces itself, then switches the SDK off as the
  // façade does (disable, then drop the dispatcher): the walk must stop
  // there without touching what is gone.
  dispatcher->setHandler(
      [this](const std::shared_ptr<TSRCampaign>& campaign) {
        delivered.push_back(campaign->campaignId());
        dispatcher->setHandler(Recorder("self:"), "1", "a");
        dispatcher->unregisterAllAndDisable();
        dispatcher.reset();
      },
      "1", "a");
  dispatcher->setHandler(Recorder(), "1", "b");
  dispatcher->handleCampaign(Campaign("c1", "a"));
  dispatcher->handleCampaign(Campaign("c2", "b"));
  dispatcher->setDispatchingAllowed(true, "1");
  EXPECT_EQ(delivered, Texts{"c1"});
  EXPECT_FALSE(dispatcher);
  EXPECT_EQ(log.count("Campaign: Unregister all and disable"), 1);
}

TEST_F(CampaignDispatcherTest, EnvironmentBuildsADispatcherOverItsPlatform) {
  auto router = std::make_shared<TSRUtilityDI>(sim)->campaignDispatcherWithConfig(config);
  ASSERT_TRUE(std::dynamic_pointer_cast<TSRCampaignDispatcher>(router));
  router->registerContextIdIfNecessary("1");
  router->setHandler(Recorder(), "1", "hero");
  router->setDispatchingAllowed(true, "1");
  router->handleCampaign(Campaign("c1"));
  EXPECT_EQ(delivered, Texts{"c1"});
}

}  // namespace
}  // namespace tessarin

// Campaigns answered by the local Tessarin service reach the handler that
// the app registered, and the statistics the handler reports go back to the
// service: real HTTP(S) on loopback, virtual time for the rest.
#include <gtest/gtest.h>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "service/local_service.h"
#include "support/log_capture.h"
#include "tracking/context_impl.h"
#include "tessarin/events.h"
#include "util/config.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using service::Endpoint;
using service::LocalService;
using testing::LogCapture;

class CampaignRoundTrip : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    LocalService::Options options;
    options.https = GetParam();
    service = std::make_unique<LocalService>(options);
    ASSERT_TRUE(service->start());
    service->setAppConfig("shop", Json::object());
    if (options.https) {
      platform::curl::CurlTransportOptions transport;
      transport.caInfoPath = service->certificatePath();
      sim->setTransportOptions(transport);
    }
    auto environment = std::make_shared<TSRUtilityDI>(sim);
    facade = TessarinImpl::createWithEnvironment(environment);
    sim->launchApp();
    facade->startWithConfiguration(Json{{"account", "acme"},
                                        {"dataset", "shop"},
                                        {"domain", "127.0.0.1"},
                                        {"protocol", GetParam() ? "https" : "http"},
                                        {"port", service->port()},
                                        {"useCDN", false}});
    // The user touches the app, so contexts may become active.
    sim->app().sendEvent();
    ASSERT_TRUE(sim->runUntil([&] { return facade->isServerConfigLoaded(); }, 15.0));
  }
  void TearDown() override {
    facade.reset();
    sim.reset();
    service.reset();
  }

  // The statistics events the service has received.
  std::vector<Json> StatEvents() const {
    std::vector<Json> out;
    for (const auto& batch : service->requests(Endpoint::kEvents)) {
      for (const Json& event : batch.body) {
        if (event.contains(TSREvent_campaignStats)) out.push_back(event);
      }
    }
    return out;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::unique_ptr<LocalService> service;
  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<TessarinImpl> facade;
};

TEST_P(CampaignRoundTrip, DataCampaignReachesTheHandlerAndItsImpressionTheService) {
  auto global = facade->globalContext();
  ASSERT_NE(global, nullptr);
  ASSERT_TRUE(global->isActive());

  std::vector<std::shared_ptr<TSRCampaign>> received;
  bool on_main = true;
  global->setCampaignHandler(
      [&](const std::shared_ptr<TSRCampaign>& campaign) {
        on_main = on_main && sim->isMainThread();
        received.push_back(campaign);
        global->trackImpression(campaign);
      },
      "hero");
  // A campaign for a target nobody handles stays held; the reserved one is
  // never made into a campaign at all.
  service->queueCampaigns(Json::array({LocalService::DataCampaign("hero", Json{{"headline", "Spring sale"}}, "cmp-1", "Global"),
                                       LocalService::DataCampaign("footer", Json{{"x", 1}}, "cmp-2", "Global"),
                                       LocalService::DataCampaign("TSR_internal", Json::object(), "cmp-3", "Global")}));
  global->trackAction("Open Home");

  ASSERT_TRUE(sim->runUntil([&] { return !StatEvents().empty(); }, 15.0));
  ASSERT_EQ(received.size(), 1u);
  EXPECT_TRUE(on_main);
  EXPECT_EQ(received[0]->target(), "hero");
  EXPECT_EQ(received[0]->contextId(), "Global");
  EXPECT_EQ(received[0]->data(), (Json{{"headline", "Spring sale"}}));

  auto stats = StatEvents();
  ASSERT_EQ(stats.size(), 1u);
  EXPECT_EQ(stats[0][TSREvent_simulatedEndpoint], "m");
  Json payloads = Json::parse(stats[0][TSREvent_campaignStats].get<std::string>());
  EXPECT_EQ(payloads, Json::parse(R"([{"id":"cmp-1-exp","type":"e","stat":"i"},
                                      {"id":"cmp-1-msg","eid":"cmp-1-exp","type":"m","stat":"i"}])"));

  EXPECT_TRUE(log.contains("Campaign: Dropping data campaign intended for internal target: TSR_internal",
                           TSRLogLevelWarn));
  EXPECT_TRUE(log.contains("Campaign: Hold for delivery, no handler, contextId: Global, target: footer, campaign: "
                           "[Campaign cmp-2:cmp-2]",
                           TSRLogLevelInfo));
}

TEST_P(CampaignRoundTrip, CampaignForAnotherContextWaitsForItsHandler) {
  auto screen = TSRContextImpl::initWithIdentifier("7", facade);
  sim->runUntilIdle();
  sim->notificationCenter().post(TessarinNotificationStartAsNecessary, nullptr);
  ASSERT_TRUE(screen->isActive());

  service->queueCampaigns(Json::array({LocalService::DataCampaign("banner", Json{{"n", 1}}, "cmp-4", "7")}));
  screen->trackAction("Open Screen 7");
  ASSERT_TRUE(sim->runUntil([&] { return log.countContaining("Campaign: Hold for delivery, no handler,") == 1; },
                            15.0));

  std::shared_ptr<TSRCampaign> received;
  screen->setCampaignHandler([&](const std::shared_ptr<TSRCampaign>& campaign) { received = campaign; }, "banner");
  sim->runUntilIdle();
  ASSERT_NE(received, nullptr);
  EXPECT_EQ(received->contextId(), "7");
  EXPECT_TRUE(log.contains("Campaign: Dispatch campaign held for handler", TSRLogLevelInfo));
}

INSTANTIATE_TEST_SUITE_P(Transport, CampaignRoundTrip, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Https" : "Http"; });

}  // namespace
}  // namespace tessarin

// Routing one campaign of an event response to the handler of its target:
// what handleCampaign costs the main thread when the handler is registered
// and its context allows dispatching. The handler does nothing, so the
// figure is the dispatcher's own work (look-ups, the expiry check against
// the wall clock, the configuration read, the hop onto the main queue,
// which is inline on the main thread).
#include <benchmark/benchmark.h>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "tracking/campaign_dispatcher.h"
#include "tracking/campaign_impl.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::Clock;
using platform::sim::SimPlatform;

Json CampaignJSON() {
  return Json::parse(R"({
    "campaignId": "c1", "campaignName": "Spring", "experienceId": "e1", "experienceName": "Banner",
    "routingId": "12", "userGroup": "Default",
    "mobileDataMessages": [{"id": "m1", "type": "tsr_md", "targetName": "hero", "ttl": 600,
                            "dataMap": {"title": "Hi", "body": "Spring offers", "image": "https://example.com/a.png"}}]
  })");
}

void BM_CampaignHandleWithHandlerAllowed(benchmark::State& state) {
  auto sim = std::make_shared<SimPlatform>();
  TSRConfig config(std::make_shared<TSRUtilityDI>(sim));
  TSRCampaignDispatcher dispatcher(config, sim);
  // A few contexts and targets, as a running app with several screens has.
  for (int screen = 0; screen < 8; ++screen) {
    std::string contextId = std::to_string(screen + 5);
    dispatcher.registerContextIdIfNecessary(contextId);
    dispatcher.setDispatchingAllowed(true, contextId);
    for (const char* target : {"banner", "footer", "hero", "sidebar"}) {
      dispatcher.setHandler([](const std::shared_ptr<TSRCampaign>&) {}, contextId, target);
    }
  }
  long handled = 0;
  dispatcher.setHandler([&handled](const std::shared_ptr<TSRCampaign>&) { ++handled; }, "12", "hero");
  auto campaign = TSRCampaignImpl::campaignWithJSON(CampaignJSON(), config, sim->now(Clock::kWall));
  if (!campaign) {
    state.SkipWithError("campaign did not parse");
    return;
  }
  for (auto _ : state) dispatcher.handleCampaign(campaign);
  if (handled != static_cast<long>(state.iterations())) state.SkipWithError("not every campaign was delivered");
}
BENCHMARK(BM_CampaignHandleWithHandlerAllowed);

// The same with handlers run safely: each delivery also formats the guard's
// tag, which names the campaign's data.
void BM_CampaignHandleWithHandlerAllowedSafely(benchmark::State& state) {
  auto sim = std::make_shared<SimPlatform>();
  TSRConfig config(std::make_shared<TSRUtilityDI>(sim));
  config.setConfiguration(Json{{"callHandlersSafely", true}}, TSRConfig::kLayerRuntime);
  TSRCampaignDispatcher dispatcher(config, sim);
  dispatcher.registerContextIdIfNecessary("12");
  dispatcher.setDispatchingAllowed(true, "12");
  dispatcher.setHandler([](const std::shared_ptr<TSRCampaign>&) {}, "12", "hero");
  auto campaign = TSRCampaignImpl::campaignWithJSON(CampaignJSON(), config, sim->now(Clock::kWall));
  for (auto _ : state) dispatcher.handleCampaign(campaign);
}
BENCHMARK(BM_CampaignHandleWithHandlerAllowedSafely);

}  // namespace
}  // namespace tessarin

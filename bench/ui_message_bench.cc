// In-app messages on a 375 × 667 point screen at scale 2, as a Linux host
// composites them: from a campaign's arrival (parsed, handed to the message
// manager) to the first overlay frame drawn with the panel in it, and one
// step of a swipe drag (the move, the layout it changes, the damaged pixels
// drawn again).
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/overlay_compositor.h"
#include "platform/ui/screen.h"
#include "platform/ui/sim/sim_ui.h"
#include "tracking/campaign_impl.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"
#include "ui/ui_window.h"
#include "util/config.h"

namespace tessarin {
namespace {

namespace kit = platform::ui;

Json MessageData(double animDuration) {
  return Json{{"position", "bottom"},
              {"animDuration", animDuration},
              {"backgroundColor", "#1E3A5FFF"},
              {"cornerRadius", 12},
              {"title", {{"text", "Weekend sale"}}},
              {"body", {{"text", "Everything in the shop is twenty percent off until Sunday night"}}},
              {"buttonMap",
               {{"0", {{"text", "Later"}}}, {"1", {{"text", "Details"}}}, {"2", {{"text", "Shop now"}}}}},
              {"interactionMap", {{"swipeLeft", Json::object()}, {"swipeRight", Json::object()}}},
              {"id", "msg"},
              {"type", "tsr_mn"},
              {"targetName", "tsr_mn"}};
}

Json Campaign(int n, const Json& message) {
  Json data = message;
  data["id"] = "msg-" + std::to_string(n);
  return Json{{"campaignId", "cmp-" + std::to_string(n)},
              {"campaignName", "Sale"},
              {"experienceId", "exp"},
              {"experienceName", "Banner"},
              {"routingId", "Global"},
              {"userGroup", "Default"},
              {"mobileUiMessages", Json::array({data})}};
}

struct MessageHost {
  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  kit::sim::SimUI& ui = kit::sim::SimUI::of(*sim);
  std::shared_ptr<TSRUtilityDI> env = std::make_shared<TSRUtilityDI>(sim);
  std::shared_ptr<TessarinImpl> facade = TessarinImpl::createWithEnvironment(env);
  std::shared_ptr<TSRUIManager> manager;
  std::unique_ptr<kit::OverlayCompositor> compositor;
  std::size_t frames = 0;

  MessageHost() {
    ui.screen().setSize({375, 667}, 2);
    manager = TSRUIManager::initWithCampaignDispatcher(env, facade->campaignDispatcher());
    compositor = std::make_unique<kit::OverlayCompositor>(ui.screen(), [this](const kit::OverlayFrame&) { ++frames; });
  }
  ~MessageHost() {
    manager->hideAllAnimated(false);
    sim->advance(3);
  }
  std::shared_ptr<TSRCampaign> Parse(int n, const Json& message) {
    return TSRCampaignImpl::campaignWithJSON(Campaign(n, message), facade->config(), 0);
  }
};

// animDuration 0.3: the first frame is the fade's first; with 0 the panel
// is drawn fully opaque at once.
void BM_MessageArrivalToFirstFrame(benchmark::State& state) {
  MessageHost host;
  Json message = MessageData(static_cast<double>(state.range(0)) / 10);
  int n = 0;
  for (auto _ : state) {
    auto campaign = host.Parse(++n, message);
    host.manager->handleInAppMessageCampaign(campaign);
    host.sim->runUntilIdle();
    host.compositor->flush();
    state.PauseTiming();
    // Gone, and its window with it, so the next arrival starts from nothing.
    host.manager->hideAllAnimated(false);
    host.sim->advance(3);
    host.compositor->flush();
    state.ResumeTiming();
  }
  state.counters["frames"] = static_cast<double>(host.frames);
}
BENCHMARK(BM_MessageArrivalToFirstFrame)->Arg(3)->Arg(0)->Unit(benchmark::kMillisecond);

// One step of a horizontal drag of a shown panel (after the axis locked):
// the touch moves, the recognizer moves the panel's constraints, the layout
// is solved again and the damaged pixels drawn.
void BM_SwipeDragStep(benchmark::State& state) {
  MessageHost host;
  host.manager->handleInAppMessageCampaign(host.Parse(1, MessageData(0.3)));
  host.sim->advance(1);
  host.compositor->flush();
  auto message = host.manager->newestMessage();
  if (!message) {
    state.SkipWithError("the message was not shown");
    return;
  }
  const auto& panel = message->mainView();
  kit::Point start = panel->convertToScreen({panel->bounds().width / 2, panel->bounds().height / 4});
  auto& screen = host.ui.screen();
  double t = host.sim->now(platform::Clock::kMonotonic);
  screen.touchDown(1, start, t);
  // Past the pan's start and the axis lock.
  for (int i = 1; i <= 4; ++i) screen.touchMoved(1, {start.x - 10.0 * i, start.y}, t += 1.0 / 60);
  host.sim->runUntilIdle();
  host.compositor->flush();
  double x = start.x - 40;
  int step = 0;
  for (auto _ : state) {
    x += (++step % 2) ? -2 : 2;
    screen.touchMoved(1, {x, start.y}, t += 1.0 / 60);
    host.sim->runUntilIdle();
    host.compositor->flush();
  }
  screen.touchCancelled(1, t);
  state.counters["frames"] = static_cast<double>(host.frames);
}
BENCHMARK(BM_SwipeDragStep)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tessarin

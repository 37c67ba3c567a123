// An in-app message from its data to pixels: the data (title, body,
// buttonMap, position, colours, sizes, ...) in the campaign the service
// sends, read by the message manager into its view controller, shown in the
// SDK's window on a small simulated screen, faded in, laid out and drawn.
// Then the user acts on it as on the screen: the first button is pressed
// when there is one, else the panel is flung away.
//
// The input is the message object; the campaign around it, and the "id",
// "type" and "targetName" it lacks, are the service's, as tessarin-render
// adds them.
#include <algorithm>
#include <memory>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "platform/ui/screen.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/ui/touch_script.h"
#include "service/campaign_json.h"
#include "tracking/campaign_impl.h"
#include "ui/message_button.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"
#include "ui/ui_window.h"

namespace tessarin::fuzz {
namespace {

namespace ui = platform::ui;

constexpr std::size_t kMaxData = 1 << 18;
constexpr double kFrame = 1.0 / 60;
// A small phone at one pixel per point keeps drawing cheap; the layout is
// the same at any scale.
constexpr ui::Size kScreen{320, 480};

ui::Point Centre(const ui::View& view) {
  ui::Point origin = view.convertToScreen({0, 0});
  return {origin.x + view.bounds().width / 2, origin.y + view.bounds().height / 2};
}

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(in_app_message) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxData) return;
  std::optional<Json> data = ParseJson(input);
  if (!data) return;

  SimulatedApp app;
  auto& kit = ui::sim::SimUI::of(app.sim());
  kit.screen().setSize(kScreen, 1);
  auto window = kit.addWindow(kit.makeViewController());
  TessarinImpl& sdk = app.launch();

  auto manager = TSRUIManager::initWithCampaignDispatcher(app.environmentPtr(), sdk.campaignDispatcher());
  Json campaignJson = service::CampaignWithMessage("fuzz", "mobileUiMessages", service::InAppMessage(*data, "fuzz"),
                                                   service::kGlobalRoutingId);
  auto campaign = TSRCampaignImpl::campaignWithJSON(campaignJson, sdk.config(), app.sim().now(platform::Clock::kWall));
  if (!manager || !campaign) return;
  manager->handleInAppMessageCampaign(campaign);
  app.sim().runUntilIdle();
  auto message = manager->newestMessage();
  if (!message) return;

  // Faded in (its duration is the data's, bounded by the waiting here).
  for (double waited = 0; !message->trackedImpression() && waited < 5; waited += kFrame) app.advance(kFrame);
  window->kit().runLayoutPass();
  if (message->window()) message->window()->runLayoutPass();
  ui::Image drawn = kit.screen().snapshot();
  (void)drawn;

  ui::TouchScript touches;
  if (!message->buttons().empty() && message->buttons().front()) {
    touches.down(Centre(*message->buttons().front())).wait(0.1).up();
  } else if (message->mainView()) {
    ui::Point grip = Centre(*message->mainView());
    touches.down(grip).dragBy({-300, 0}, 1500).up();
  }
  auto playback = touches.play(kit.screen(), app.sim());
  app.advance(touches.duration() + 0.1);
  for (int frame = 0; frame < 120; ++frame) app.advance(kFrame * 5);
  manager->hideAllAnimated(false);
  app.sim().runUntilIdle();
}

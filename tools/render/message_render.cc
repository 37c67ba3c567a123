#include "render/message_render.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/screen.h"
#include "platform/ui/sim/sim_ui.h"
#include "service/campaign_json.h"
#include "tracking/campaign_impl.h"
#include "ui/message_button.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"
#include "ui/ui_window.h"

namespace tessarin::render {
namespace {

namespace ui = platform::ui;

// The campaign id a preview's message is shown under.
constexpr const char* kPreviewCampaign = "preview";
// Virtual time the fade-in may take beyond its animDuration (a layout pass
// and the transition's last frame) before the rendering gives up waiting.
constexpr double kFadeInSlack = 1.0;
// Virtual time moves on a display frame at a time, as animations do.
constexpr double kFrame = 1.0 / 60;

ui::Rect ScreenRect(const ui::View& view) {
  ui::Point origin = view.convertToScreen({0, 0});
  return {origin.x, origin.y, view.bounds().width, view.bounds().height};
}

Json RectJson(const ui::Rect& rect) { return Json::array({rect.x, rect.y, rect.width, rect.height}); }

// The SDK's warnings and errors for as long as it lives, instead of on
// standard error.
class ProblemCapture {
 public:
  explicit ProblemCapture(std::vector<LogRecord>* problems) : previous_(TSRLogger::logLevel()) {
    TSRLogger::setLogLevel(TSRLogLevelWarn);
    TSRLogger::setWritesToStderr(false);
    TSRLogger::setSink([this, problems](const LogRecord& record) {
      std::lock_guard<std::mutex> lock(mutex_);
      problems->push_back(record);
    });
  }
  ~ProblemCapture() {
    TSRLogger::setSink(nullptr);
    TSRLogger::setWritesToStderr(true);
    TSRLogger::setLogLevel(previous_);
  }
  ProblemCapture(const ProblemCapture&) = delete;
  ProblemCapture& operator=(const ProblemCapture&) = delete;

 private:
  std::mutex mutex_;
  long previous_;
};

}  // namespace

Json MessageFrames::toJson() const {
  Json list = Json::array();
  for (const ui::Rect& button : buttons) list.push_back(RectJson(button));
  return Json{{"panel", RectJson(panel)}, {"buttons", std::move(list)}};
}

MessageFrames FramesOf(const TSRUIMessageViewController& message) {
  MessageFrames frames;
  if (const auto& panel = message.mainView()) frames.panel = ScreenRect(*panel);
  for (const auto& button : message.buttons()) frames.buttons.push_back(ScreenRect(*button));
  return frames;
}

ui::Point PanelGrip(const MessageFrames& frames) {
  const ui::Rect& panel = frames.panel;
  // Just inside the panel's top edge, then its left and right edges.
  const double inset = std::min(3.0, std::min(panel.width, panel.height) / 2);
  const ui::Point candidates[] = {{panel.x + panel.width / 2, panel.y + inset},
                                  {panel.x + inset, panel.y + panel.height / 2},
                                  {panel.maxX() - inset, panel.y + panel.height / 2}};
  for (const ui::Point& point : candidates) {
    bool onButton = std::any_of(frames.buttons.begin(), frames.buttons.end(),
                                [&point](const ui::Rect& button) { return button.contains(point); });
    if (!onButton) return point;
  }
  return candidates[0];
}

Rendering RenderMessage(const Json& data, const RenderOptions& options) {
  Rendering rendering;
  ProblemCapture capture(&rendering.problems);

  // A phone of the requested size, whose app shows one plain window.
  auto sim = std::make_shared<platform::sim::SimPlatform>();
  auto& screen = ui::sim::SimUI::of(*sim).screen();
  screen.setSize(options.size, options.scale);
  auto app = ui::sim::SimUI::of(*sim).makeViewController();
  app->kit().view()->setBackgroundColor(options.background);
  auto window = ui::sim::SimUI::of(*sim).addWindow(app);
  sim->launchApp();

  // The SDK as it stands before a start: the façade is there for the
  // message to report through, its manager shows messages on the screen.
  auto environment = std::make_shared<TSRUtilityDI>(sim);
  auto facade = TessarinImpl::createWithEnvironment(environment);
  sim->runUntilIdle();
  auto manager = TSRUIManager::initWithCampaignDispatcher(environment, facade->campaignDispatcher());
  Json campaignJson = service::CampaignWithMessage(kPreviewCampaign, "mobileUiMessages",
                                                   service::InAppMessage(data, kPreviewCampaign),
                                                   service::kGlobalRoutingId);
  auto campaign = TSRCampaignImpl::campaignWithJSON(campaignJson, facade->config(),
                                                    sim->now(platform::Clock::kWall));
  if (!manager || !campaign) return rendering;
  manager->handleInAppMessageCampaign(campaign);
  sim->runUntilIdle();
  auto message = manager->newestMessage();
  if (!message) return rendering;

  // The fade-in ends when the message has appeared, which is when its
  // impression counts.
  const double fadeIn = std::max(0.0, message->animDuration());
  for (double waited = 0; !message->trackedImpression() && waited <= fadeIn + kFadeInSlack;
       waited += kFrame) {
    sim->advance(kFrame);
  }
  if (!message->trackedImpression()) return rendering;
  window->kit().runLayoutPass();
  if (message->window()) message->window()->runLayoutPass();

  rendering.shown = true;
  rendering.frames = FramesOf(*message);
  rendering.screen = screen.snapshot();
  manager->hideAllAnimated(false);
  sim->runUntilIdle();
  return rendering;
}

}  // namespace tessarin::render

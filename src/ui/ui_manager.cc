#include "ui/ui_manager.h"

#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/ui/screen.h"
#include "tracking/context_impl.h"
#include "ui/log_address.h"
#include "ui/message_view_controller.h"
#include "ui/ui_root_view_controller.h"
#include "ui/ui_window.h"
#include "util/environment.h"
#include "util/safety.h"

namespace tessarin {

namespace {

std::shared_ptr<TSRContextImpl> GlobalContext(Environment& environment) {
  auto facade = environment.facade();
  return facade ? facade->globalTrackingContext() : nullptr;
}

}  // namespace

TSRUIManager::TSRUIManager(std::shared_ptr<Environment> environment) : environment_(std::move(environment)) {}

TSRUIManager::~TSRUIManager() = default;

std::shared_ptr<TSRUIManager> TSRUIManager::initWithCampaignDispatcher(
    std::shared_ptr<Environment> environment, const std::shared_ptr<CampaignRouter>& dispatcher) {
  if (!dispatcher || !environment) {
    TSR_LOG_ERROR("UI: Manger requires campaign dispatcher");
    return nullptr;
  }
  std::shared_ptr<TSRUIManager> manager(new TSRUIManager(std::move(environment)));
  manager->campaignDispatcher_ = dispatcher;
  if (auto global = GlobalContext(*manager->environment_)) {
    std::weak_ptr<TSRUIManager> weak = manager;
    global->setCampaignHandler(
        [weak](const std::shared_ptr<TSRCampaign>& campaign) {
          // A fault in one message must not reach the dispatcher.
          TSRUtilitySafety::runWithTag("UI: InAppMessage campaign", [&] {
            if (auto self = weak.lock()) self->handleInAppMessageCampaign(campaign);
          });
        },
        TSRCampaignMessageType_ui, false);
  }
  return manager;
}

std::shared_ptr<TSRUIMessageViewController> TSRUIManager::newestMessage() const {
  return window_ ? window_->newestMessage() : nullptr;
}

void TSRUIManager::handleInAppMessageCampaign(const std::shared_ptr<TSRCampaign>& campaign) {
  if (!campaign) return;
  if (auto newest = newestMessage()) {
    if (campaign->isEqual(newest->campaign().get())) {
      TSR_LOG_DEBUG("UI: Ignoring equal InAppMessage Id [%@], already showing or will show Id [%@]",
                    campaign->messageId(), newest->campaign()->messageId());
      return;
    }
  }
  auto message = TSRUIMessageViewController::initWithCampaign(campaign, environment_);
  if (!message) {
    TSR_LOG_WARN("UI: Ignoring invalid InAppMessage campaign: %@", campaign->json());
    return;
  }
  showMessage(message);
}

void TSRUIManager::showMessage(const std::shared_ptr<TSRUIMessageViewController>& message) {
  if (!message) return;
  if (message->campaign()->isControlGroup()) {
    TSR_LOG_INFO("UI: Tracking impression but not rendering control group InAppMessage Id [%@]",
                 message->campaign()->messageId());
    if (auto global = GlobalContext(*environment_)) global->trackImpression(message->campaign());
    return;
  }
  if (auto window = createWindowIfNecessary()) window->showMessage(message);
}

std::shared_ptr<TSRUIWindow> TSRUIManager::createWindowIfNecessary() {
  if (window_) return window_;
  platform::ui::Screen* screen = environment_->screen();
  if (!screen) {
    // A host that gave the SDK no screen (a service, a command-line tool)
    // cannot show messages; the campaign is dropped.
    TSR_LOG_WARN("UI: No screen to show InAppMessage on");
    return nullptr;
  }
  window_ = TSRUIWindow::initWithUIManager(shared_from_this(), environment_, *screen);
  TSR_LOG_DEBUG("UI: Created window %p rootVC %p", Address(window_.get()),
                Address(window_->rootViewController().get()));
  return window_;
}

void TSRUIManager::hideAllAnimated(bool animated) {
  if (window_) window_->hideAllAnimated(animated);
}

}  // namespace tessarin

#include "core/composition_root.h"

#include "push/push_token_manager.h"
#include "tracking/campaign_dispatcher.h"
#include "transport/event_sender.h"
#include "transport/queued_event_sender.h"
#include "transport/reachability_manager.h"
#include "transport/sender.h"
#include "ui/ui_manager.h"

namespace tessarin {

std::shared_ptr<HttpSender> TSRUtilityDI::senderWithConfig(const TSRConfig& config) {
  return TSRSender::initWithConfig(shared_from_this(), config);
}

std::shared_ptr<EventQueue> TSRUtilityDI::queuedEventSenderWithSender(const std::shared_ptr<HttpSender>& sender,
                                                                      const TSRConfig& config,
                                                                      EventQueueSuccessBlock successBlock,
                                                                      EventQueueFailureBlock failureBlock) {
  // The queue sends through the sender's events operations; a sender that
  // has none (or no sender at all) leaves the façade without a queue.
  auto eventSender = std::dynamic_pointer_cast<TSREventSender>(sender);
  std::shared_ptr<Environment> environment = weak_from_this().lock();
  if (!eventSender || !environment) return nullptr;
  return TSRQueuedEventSender::initWithEventSender(std::move(environment), std::move(eventSender), config,
                                                   std::move(successBlock), std::move(failureBlock));
}

std::shared_ptr<ReachabilityMonitor> TSRUtilityDI::reachabilityManagerWithStatusChangeBlock(
    ReachabilityStatusBlock statusChangeBlock) {
  return TSRReachabilityManager::initWithStatusChangeBlock(platform_, std::move(statusChangeBlock));
}

std::shared_ptr<CampaignRouter> TSRUtilityDI::campaignDispatcherWithConfig(const TSRConfig& config) {
  return std::make_shared<TSRCampaignDispatcher>(config, platform_);
}

std::shared_ptr<PushTokenReporter> TSRUtilityDI::pushTokenManagerWithConfig(
    const TSRConfig& config, const std::shared_ptr<EventQueue>& eventSender) {
  auto facade = this->facade();
  if (!facade) return nullptr;
  return TSRPushTokenManager::initWithConfig(config, eventSender, facade);
}

std::shared_ptr<MessagePresenter> TSRUtilityDI::uiManagerWithCampaignDispatcher(
    const std::shared_ptr<CampaignRouter>& dispatcher) {
  std::shared_ptr<Environment> environment = weak_from_this().lock();
  if (!environment) return nullptr;
  return TSRUIManager::initWithCampaignDispatcher(std::move(environment), dispatcher);
}

}  // namespace tessarin

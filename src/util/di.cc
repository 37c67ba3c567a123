#include "util/di.h"

#include "push/push_token_manager.h"
#include "tracking/campaign_dispatcher.h"
#include "transport/event_sender.h"
#include "transport/queued_event_sender.h"
#include "transport/reachability_manager.h"
#include "transport/sender.h"
#include "util/host_app.h"  // complete type for the member's destructor
#include "util/persistence.h"
#include "util/safety.h"

namespace tessarin {

TSRUtilityDI::TSRUtilityDI(std::shared_ptr<platform::Platform> platform) : platform_(std::move(platform)) {}

TSRUtilityDI::~TSRUtilityDI() = default;

bool TSRUtilityDI::runningUnitTests() {
  bool running = false;
  TSRUtilitySafety::runWithTag("+[TSRUtilityDI runningUnitTests]",
                               [&] { running = platform_->hostApplication().runningUnitTests(); });
  return running;
}

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
  auto environment = weak_from_this().lock();
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
    const std::shared_ptr<CampaignRouter>&) {
  return nullptr;
}

void TSRUtilityDI::setFacade(std::weak_ptr<Tessarin> facade) {
  std::lock_guard<std::mutex> lock(facade_mutex_);
  facade_ = std::move(facade);
}

std::shared_ptr<Tessarin> TSRUtilityDI::facade() const {
  std::lock_guard<std::mutex> lock(facade_mutex_);
  return facade_.lock();
}

TSRUtilityPersistence& TSRUtilityDI::persistence() {
  std::call_once(persistence_once_, [this] { persistence_ = std::make_unique<TSRUtilityPersistence>(platform_); });
  return *persistence_;
}

}  // namespace tessarin

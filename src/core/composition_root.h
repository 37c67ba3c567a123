// TSRUtilityDI: the one place that builds the façade's collaborators: the
// HTTP sender, the event queue, the reachability monitor, the campaign
// dispatcher, the push token manager and the message manager. A test
// substitutes a subclass to hand the façade its own.
#ifndef TESSARIN_CORE_COMPOSITION_ROOT_H_
#define TESSARIN_CORE_COMPOSITION_ROOT_H_

#include <memory>

#include "base/collaborators.h"
#include "util/environment.h"

namespace tessarin {

class TSRConfig;

class TSRUtilityDI : public Environment {
 public:
  using Environment::Environment;

  // Each answers null while that collaborator is not part of the build;
  // the façade then holds none and does without.
  virtual std::shared_ptr<HttpSender> senderWithConfig(const TSRConfig& config);
  virtual std::shared_ptr<EventQueue> queuedEventSenderWithSender(const std::shared_ptr<HttpSender>& sender,
                                                                  const TSRConfig& config,
                                                                  EventQueueSuccessBlock successBlock,
                                                                  EventQueueFailureBlock failureBlock);
  virtual std::shared_ptr<ReachabilityMonitor> reachabilityManagerWithStatusChangeBlock(
      ReachabilityStatusBlock statusChangeBlock);
  virtual std::shared_ptr<CampaignRouter> campaignDispatcherWithConfig(const TSRConfig& config);
  virtual std::shared_ptr<PushTokenReporter> pushTokenManagerWithConfig(
      const TSRConfig& config, const std::shared_ptr<EventQueue>& eventSender);
  virtual std::shared_ptr<MessagePresenter> uiManagerWithCampaignDispatcher(
      const std::shared_ptr<CampaignRouter>& campaignDispatcher);
};

}  // namespace tessarin

#endif  // TESSARIN_CORE_COMPOSITION_ROOT_H_

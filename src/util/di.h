// TSRUtilityDI: the one place that builds the façade's collaborators and
// reaches the platform. A test substitutes a subclass (or a different
// platform) to control what the façade gets.
#ifndef TESSARIN_UTIL_DI_H_
#define TESSARIN_UTIL_DI_H_

#include <memory>
#include <mutex>

#include "core/collaborators.h"
#include "platform/platform.h"
#include "core/event_counters.h"

namespace tessarin {

class Tessarin;
class TSRConfig;
class TSRUtilityPersistence;
class TSRUtilityHostApp;

class TSRUtilityDI : public std::enable_shared_from_this<TSRUtilityDI> {
 public:
  explicit TSRUtilityDI(std::shared_ptr<platform::Platform> platform);
  virtual ~TSRUtilityDI();

  platform::Platform& platform() { return *platform_; }
  const std::shared_ptr<platform::Platform>& platformPtr() const { return platform_; }

  // The application's bundle and the device, as the platform describes them.
  virtual platform::HostApplication& mainBundle() { return platform_->hostApplication(); }
  virtual platform::Device& currentDevice() { return platform_->device(); }
  // Whether a unit-test harness is loaded; asked of the platform, guarded.
  virtual bool runningUnitTests();

  // The façade's collaborators. Each answers null while that collaborator
  // is not part of the build; the façade then holds none and does without.
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

  // The façade this environment serves (the newest one made over it), held
  // weakly; collaborators that report through the façade find it here, as
  // they would find the process's shared instance. Null once it is gone.
  void setFacade(std::weak_ptr<Tessarin> facade);
  std::shared_ptr<Tessarin> facade() const;

  // The host's file and host-app utilities, one of each per environment.
  TSRUtilityPersistence& persistence();
  TSRUtilityHostApp& hostApp();
  // What became of the events of this environment's façade, over all the
  // event queues it made.
  EventCounters& eventCounters() { return event_counters_; }

 private:
  std::shared_ptr<platform::Platform> platform_;
  mutable std::mutex facade_mutex_;
  std::weak_ptr<Tessarin> facade_;
  std::once_flag persistence_once_;
  std::unique_ptr<TSRUtilityPersistence> persistence_;
  std::once_flag host_app_once_;
  std::unique_ptr<TSRUtilityHostApp> host_app_;
  EventCounters event_counters_;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_DI_H_

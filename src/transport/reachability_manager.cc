#include "transport/reachability_manager.h"

#include <utility>

#include "base/log.h"
#include "tessarin/sdk_info.h"
#include "util/safety.h"

namespace tessarin {

using platform::ReachabilityFlags;

std::shared_ptr<TSRReachabilityManager> TSRReachabilityManager::initWithStatusChangeBlock(
    std::shared_ptr<platform::Platform> platform, ReachabilityStatusBlock statusChangeBlock) {
  if (!statusChangeBlock) {
    TSR_LOG_ERROR("Reachability: No block specified");
    return nullptr;
  }
  if (!platform) return nullptr;
  auto manager = std::make_shared<TSRReachabilityManager>(Passkey{}, std::move(platform));
  manager->dispatch_queue_ =
      manager->platform_->createSerialQueue(std::string(kTessarinSDKIdentifier) + ".TSRReachabilityManager");

  // The source's reports go through the registered block, which must not
  // keep the manager alive: the owner decides how long it lives.
  std::weak_ptr<TSRReachabilityManager> weak = manager;
  std::function<void(ReachabilityFlags)> info = [weak](ReachabilityFlags flags) {
    if (auto self = weak.lock()) self->handleUpdatedFlags(flags);
  };
  manager->reachability_ref_ = newReachabilityRefInternetConnection(
      *manager->platform_, manager->dispatch_queue_,
      [info = std::move(info)](ReachabilityFlags flags) { callback(flags, info); });
  if (!manager->reachability_ref_) TSR_LOG_ERROR("Reachability: Could not create reference");

  manager->status_change_block_ = std::move(statusChangeBlock);
  manager->last_flags_.store(0);
  return manager;
}

TSRReachabilityManager::TSRReachabilityManager(Passkey, std::shared_ptr<platform::Platform> platform)
    : platform_(std::move(platform)) {}

TSRReachabilityManager::~TSRReachabilityManager() {
  stopMonitoring();
  reachability_ref_.reset();
}

void TSRReachabilityManager::callback(ReachabilityFlags flags,
                                      const std::function<void(ReachabilityFlags)>& info) {
  if (!info) {
    TSR_LOG_ERROR("Reachability: Callback missing info");
    return;
  }
  info(flags);
}

void TSRReachabilityManager::handleUpdatedFlags(ReachabilityFlags flags) {
  std::weak_ptr<TSRReachabilityManager> weak = weak_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, "-[TSRReachabilityManager handleUpdatedFlags:]", [weak, flags] {
    auto self = weak.lock();
    // Checked here, on the main thread, so that nothing reaches the owner
    // once stopMonitoring has run.
    if (!self || !self->monitoring_.load()) return;
    self->last_flags_.store(flags);
    long status = statusForFlags(flags);
    TSR_LOG_DEBUG("Reachability: Status %ld flags %d", status, static_cast<int>(flags));
    self->status_change_block_(status != TSRReachabilityStatus_notReachable ? 1 : 0);
  });
}

void TSRReachabilityManager::startMonitoring() {
  if (!reachability_ref_ || monitoring_.load()) return;
  if (!reachability_ref_->start()) {
    TSR_LOG_ERROR("Reachability: Start monitoring fail, cannot set dispatch queue");
    return;
  }
  monitoring_.store(true);
  TSR_LOG_DEBUG("Reachability: Start monitoring");
  // The source reports changes only; the owner gets the present status
  // even when nothing changes.
  std::weak_ptr<TSRReachabilityManager> weak = weak_from_this();
  TSRUtilitySafety::runAsyncOnQueue(dispatch_queue_, "-[TSRReachabilityManager startMonitoring]", [weak] {
    if (auto self = weak.lock()) self->handleUpdatedFlags(self->flagsSyncBlocking());
  });
}

void TSRReachabilityManager::stopMonitoring() {
  bool was_monitoring = monitoring_.load();
  bool detached = !reachability_ref_ || reachability_ref_->stop();
  if (!detached && was_monitoring) TSR_LOG_ERROR("Reachability: Could not remove dispatch queue");
  if (was_monitoring) TSR_LOG_DEBUG("Reachability: Stop monitoring");
  monitoring_.store(false);
  last_flags_.store(0);
}

ReachabilityFlags TSRReachabilityManager::flagsSyncBlocking() {
  ReachabilityFlags flags = 0;
  if (!reachability_ref_ || !reachability_ref_->flags(&flags)) return 0;
  return flags;
}

std::shared_ptr<platform::NetworkReachability> TSRReachabilityManager::newReachabilityRefInternetConnection(
    platform::Platform& platform, std::shared_ptr<platform::DispatchQueue> queue,
    platform::NetworkReachability::Callback callback) {
  return platform.createNetworkReachability({platform::ReachabilityTarget::Kind::kInternet, {}}, std::move(queue),
                                            std::move(callback));
}

std::shared_ptr<platform::NetworkReachability> TSRReachabilityManager::newReachabilityRefHostName(
    platform::Platform& platform, const std::string& hostName, std::shared_ptr<platform::DispatchQueue> queue,
    platform::NetworkReachability::Callback callback) {
  return platform.createNetworkReachability({platform::ReachabilityTarget::Kind::kHostName, hostName},
                                            std::move(queue), std::move(callback));
}

std::shared_ptr<platform::NetworkReachability> TSRReachabilityManager::newReachabilityRefLocalWiFi(
    platform::Platform& platform, std::shared_ptr<platform::DispatchQueue> queue,
    platform::NetworkReachability::Callback callback) {
  return platform.createNetworkReachability({platform::ReachabilityTarget::Kind::kLinkLocal, {}}, std::move(queue),
                                            std::move(callback));
}

long TSRReachabilityManager::statusForFlags(ReachabilityFlags flags) {
  using namespace platform;
  if (!(flags & kReachabilityFlagReachable)) return TSRReachabilityStatus_notReachable;
  if (flags & kReachabilityFlagIsWWAN) return TSRReachabilityStatus_reachableViaWWAN;
  // A connection that must first be made counts only when it is made by
  // itself (on traffic or on demand) and needs no one to act.
  bool needs_connection = flags & kReachabilityFlagConnectionRequired;
  bool connects_itself = flags & (kReachabilityFlagConnectionOnTraffic | kReachabilityFlagConnectionOnDemand);
  bool needs_user = flags & kReachabilityFlagInterventionRequired;
  if (!needs_connection || (connects_itself && !needs_user)) return TSRReachabilityStatus_reachableViaWiFi;
  return TSRReachabilityStatus_notReachable;
}

bool TSRReachabilityManager::localOrDirect(ReachabilityFlags flags) const {
  using namespace platform;
  return (flags & kReachabilityFlagReachable) &&
         (flags & (kReachabilityFlagIsLocalAddress | kReachabilityFlagIsDirect));
}

bool TSRReachabilityManager::userInterventionRequired(ReachabilityFlags flags) const {
  return flags & platform::kReachabilityFlagInterventionRequired;
}

}  // namespace tessarin

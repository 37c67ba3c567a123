// TSRReachabilityManager: follows whether the device can reach the
// internet and tells its owner, on the main thread, after each update.
//
// The platform's reachability source watches the general internet address
// and reports flag changes on the manager's own serial queue; the manager
// turns the flags into a status on the main thread and hands the owner a
// single "reachable" answer (1 or 0). Every callback holds the manager
// weakly, so an update that arrives after the manager is gone does nothing.
#ifndef TESSARIN_TRANSPORT_REACHABILITY_MANAGER_H_
#define TESSARIN_TRANSPORT_REACHABILITY_MANAGER_H_

#include <atomic>
#include <memory>
#include <string>

#include "base/collaborators.h"
#include "platform/network_reachability.h"
#include "platform/platform.h"

namespace tessarin {

// Status values of statusForFlags.
inline constexpr long TSRReachabilityStatus_notReachable = 0;
inline constexpr long TSRReachabilityStatus_reachableViaWWAN = 1;
inline constexpr long TSRReachabilityStatus_reachableViaWiFi = 2;

class TSRReachabilityManager : public ReachabilityMonitor,
                               public std::enable_shared_from_this<TSRReachabilityManager> {
  struct Passkey {};

 public:
  // The manager, or nothing without a block. A host that offers no
  // reachability source still gets a manager; it never reports.
  static std::shared_ptr<TSRReachabilityManager> initWithStatusChangeBlock(
      std::shared_ptr<platform::Platform> platform, ReachabilityStatusBlock statusChangeBlock);

  TSRReachabilityManager(Passkey, std::shared_ptr<platform::Platform> platform);
  ~TSRReachabilityManager() override;

  // Call these on the main thread.
  void startMonitoring() override;
  void stopMonitoring() override;

  bool monitoring() const { return monitoring_.load(); }
  platform::ReachabilityFlags lastFlags() const { return last_flags_.load(); }
  bool reachable() const { return lastStatus() != TSRReachabilityStatus_notReachable; }
  long lastStatus() const override { return statusForFlags(lastFlags()); }
  const std::shared_ptr<platform::DispatchQueue>& dispatchQueue() const { return dispatch_queue_; }

  // The flags as they are now; 0 without a source or when they cannot be
  // read. Safe on any thread.
  platform::ReachabilityFlags flagsSyncBlocking();

  // Hops to the main thread and, while monitoring, records the flags and
  // reports the status to the owner.
  void handleUpdatedFlags(platform::ReachabilityFlags flags);

  // The platform's callback: `info` is the block registered at creation.
  static void callback(platform::ReachabilityFlags flags,
                       const std::function<void(platform::ReachabilityFlags)>& info);

  // Sources for the targets the reference platform offers.
  static std::shared_ptr<platform::NetworkReachability> newReachabilityRefInternetConnection(
      platform::Platform& platform, std::shared_ptr<platform::DispatchQueue> queue,
      platform::NetworkReachability::Callback callback);
  static std::shared_ptr<platform::NetworkReachability> newReachabilityRefHostName(
      platform::Platform& platform, const std::string& hostName, std::shared_ptr<platform::DispatchQueue> queue,
      platform::NetworkReachability::Callback callback);
  static std::shared_ptr<platform::NetworkReachability> newReachabilityRefLocalWiFi(
      platform::Platform& platform, std::shared_ptr<platform::DispatchQueue> queue,
      platform::NetworkReachability::Callback callback);

  static long statusForFlags(platform::ReachabilityFlags flags);
  // Reachable and on the local network or a direct link.
  bool localOrDirect(platform::ReachabilityFlags flags) const;
  bool userInterventionRequired(platform::ReachabilityFlags flags) const;

 private:
  std::shared_ptr<platform::Platform> platform_;
  std::atomic<platform::ReachabilityFlags> last_flags_{0};
  std::atomic<bool> monitoring_{false};
  std::shared_ptr<platform::DispatchQueue> dispatch_queue_;
  std::shared_ptr<platform::NetworkReachability> reachability_ref_;
  ReachabilityStatusBlock status_change_block_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_REACHABILITY_MANAGER_H_

// Reachability on Linux, from the kernel's routing table.
//
// The internet counts as reachable while the main routing table holds a
// usable default route (IPv4 or IPv6). The interface that route leaves
// through decides whether the path is the cellular network (a WWAN modem)
// or not. A listener thread follows the kernel's link and route
// announcements over rtnetlink, recomputes the flags after each burst and
// posts a report to the given queue when they differ from the last report;
// the first reading after each start is always reported.
#ifndef TESSARIN_PLATFORM_LINUX_RTNETLINK_REACHABILITY_H_
#define TESSARIN_PLATFORM_LINUX_RTNETLINK_REACHABILITY_H_

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/network_reachability.h"
#include "platform/platform.h"

namespace tessarin::platform::linux_host {

class RtnetlinkReachability : public NetworkReachability {
 public:
  RtnetlinkReachability(std::shared_ptr<DispatchQueue> queue, Callback callback);
  ~RtnetlinkReachability() override;  // stops and joins the listener

  RtnetlinkReachability(const RtnetlinkReachability&) = delete;
  RtnetlinkReachability& operator=(const RtnetlinkReachability&) = delete;

  // Asks the kernel for its routes now; blocks for at most about a second.
  bool flags(ReachabilityFlags* flags) override;
  bool start() override;
  bool stop() override;

  // Whether an interface is a cellular modem, by its name (the kernel's and
  // vendors' WWAN names) or its hardware type (raw IP).
  static bool IsCellularInterface(const std::string& name, unsigned hardwareType);

 private:
  void Listen(int netlink_fd, int wake_fd);

  std::shared_ptr<DispatchQueue> queue_;
  Callback callback_;
  std::mutex mutex_;  // start and stop
  std::thread listener_;
  int netlink_fd_ = -1;
  int wake_fd_ = -1;
};

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_RTNETLINK_REACHABILITY_H_

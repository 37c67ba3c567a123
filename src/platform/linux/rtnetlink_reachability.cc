#include "platform/linux/rtnetlink_reachability.h"

#include <linux/if_arp.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessarin::platform::linux_host {
namespace {

// Raw-IP links are what cellular modems present; older headers lack the name.
#ifdef ARPHRD_RAWIP
constexpr unsigned kHardwareRawIp = ARPHRD_RAWIP;
#else
constexpr unsigned kHardwareRawIp = 519;
#endif

constexpr std::size_t kReceiveBufferBytes = 64 * 1024;

// Room for the largest part of a dump the kernel may send, aligned for the
// headers. Left uninitialised: the kernel writes only what it sends, a few
// hundred bytes a message, so the rest never becomes resident.
using ReceiveBuffer = std::unique_ptr<std::uint32_t[]>;
ReceiveBuffer MakeReceiveBuffer() {
  return std::make_unique_for_overwrite<std::uint32_t[]>(kReceiveBufferBytes / sizeof(std::uint32_t));
}

std::atomic<std::uint32_t> next_sequence{1};

class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  int release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }

 private:
  int fd_;
};

// A routing socket, subscribed to `groups` (0 for requests only).
int OpenRouteSocket(unsigned groups) {
  int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) < 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Sends one request and hands each reply to `visit`: every part of a dump,
// or the single answer to a plain request. False when the kernel refuses or
// does not answer in time.
bool Transact(int fd, nlmsghdr* request, const std::function<void(const nlmsghdr*)>& visit) {
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  if (sendto(fd, request, request->nlmsg_len, 0, reinterpret_cast<sockaddr*>(&kernel), sizeof kernel) < 0) {
    return false;
  }
  const bool dump = request->nlmsg_flags & NLM_F_DUMP;
  ReceiveBuffer buffer = MakeReceiveBuffer();
  for (;;) {
    ssize_t length = recv(fd, buffer.get(), kReceiveBufferBytes, 0);
    if (length < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    for (auto* header = reinterpret_cast<nlmsghdr*>(buffer.get()); NLMSG_OK(header, length);
         header = NLMSG_NEXT(header, length)) {
      if (header->nlmsg_seq != request->nlmsg_seq) continue;
      if (header->nlmsg_type == NLMSG_DONE) return true;
      if (header->nlmsg_type == NLMSG_ERROR) {
        return reinterpret_cast<const nlmsgerr*>(NLMSG_DATA(header))->error == 0;
      }
      visit(header);
      if (!dump) return true;
    }
  }
}

struct DefaultRoute {
  int interface_index = 0;
  std::uint32_t priority = 0;
};

// A usable default route of the main table in one route message, if it is
// one: unicast, to everywhere, not over a link without carrier.
std::optional<DefaultRoute> ParseDefaultRoute(const nlmsghdr* header) {
  if (header->nlmsg_type != RTM_NEWROUTE) return std::nullopt;
  const auto* route = reinterpret_cast<const rtmsg*>(NLMSG_DATA(header));
  if (route->rtm_dst_len != 0 || route->rtm_type != RTN_UNICAST) return std::nullopt;
  if (route->rtm_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) return std::nullopt;
  std::uint32_t table = route->rtm_table;
  DefaultRoute found;
  bool has_path = false;
  int length = static_cast<int>(RTM_PAYLOAD(header));
  for (auto* attribute = RTM_RTA(route); RTA_OK(attribute, length); attribute = RTA_NEXT(attribute, length)) {
    const void* data = RTA_DATA(attribute);
    switch (attribute->rta_type) {
      case RTA_TABLE:
        std::memcpy(&table, data, sizeof table);
        break;
      case RTA_PRIORITY:
        std::memcpy(&found.priority, data, sizeof found.priority);
        break;
      case RTA_OIF:
        std::memcpy(&found.interface_index, data, sizeof found.interface_index);
        has_path = true;
        break;
      case RTA_MULTIPATH: {
        // Several next hops: the first live one stands for the route.
        int left = static_cast<int>(RTA_PAYLOAD(attribute));
        auto* hop = static_cast<const rtnexthop*>(data);
        while (left >= static_cast<int>(sizeof(rtnexthop)) && hop->rtnh_len >= sizeof(rtnexthop) &&
               hop->rtnh_len <= left) {
          if (!(hop->rtnh_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN))) {
            if (!has_path) found.interface_index = hop->rtnh_ifindex;
            has_path = true;
            break;
          }
          left -= RTNH_ALIGN(hop->rtnh_len);
          hop = RTNH_NEXT(hop);
        }
        break;
      }
      default:
        break;
    }
  }
  if (table != RT_TABLE_MAIN || !has_path) return std::nullopt;
  return found;
}

// The name and hardware type of an interface, by index.
bool DescribeInterface(int fd, int index, std::string* name, unsigned* hardware_type) {
  struct {
    nlmsghdr header;
    ifinfomsg info;
  } request{};
  request.header.nlmsg_len = NLMSG_LENGTH(sizeof(ifinfomsg));
  request.header.nlmsg_type = RTM_GETLINK;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.header.nlmsg_seq = next_sequence++;
  request.info.ifi_family = AF_UNSPEC;
  request.info.ifi_index = index;
  bool described = false;
  bool answered = Transact(fd, &request.header, [&](const nlmsghdr* header) {
    if (header->nlmsg_type != RTM_NEWLINK) return;
    const auto* info = reinterpret_cast<const ifinfomsg*>(NLMSG_DATA(header));
    *hardware_type = info->ifi_type;
    int length = static_cast<int>(IFLA_PAYLOAD(header));
    for (auto* attribute = IFLA_RTA(info); RTA_OK(attribute, length); attribute = RTA_NEXT(attribute, length)) {
      if (attribute->rta_type == IFLA_IFNAME) {
        const char* text = static_cast<const char*>(RTA_DATA(attribute));
        *name = std::string(text, strnlen(text, RTA_PAYLOAD(attribute)));
      }
    }
    described = true;
  });
  return answered && described;
}

// The flags of the internet as the routing table has them now.
bool ReadRouteFlags(ReachabilityFlags* flags) {
  Fd fd(OpenRouteSocket(0));
  if (fd.get() < 0) return false;
  // The kernel answers at once; a second is far more than it needs, and
  // keeps a caller from hanging on a socket that never answers.
  timeval timeout{1, 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);

  struct {
    nlmsghdr header;
    rtmsg route;
  } request{};
  request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
  request.header.nlmsg_type = RTM_GETROUTE;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.header.nlmsg_seq = next_sequence++;
  request.route.rtm_family = AF_UNSPEC;  // IPv4 and IPv6 alike
  std::optional<DefaultRoute> best;
  bool read = Transact(fd.get(), &request.header, [&](const nlmsghdr* header) {
    auto route = ParseDefaultRoute(header);
    // The kernel prefers the lowest metric; on a tie the earlier (IPv4) one.
    if (route && (!best || route->priority < best->priority)) best = route;
  });
  if (!read) return false;

  if (!best) {
    *flags = 0;
    return true;
  }
  *flags = kReachabilityFlagReachable;
  std::string name;
  unsigned hardware_type = 0;
  if (best->interface_index > 0 && DescribeInterface(fd.get(), best->interface_index, &name, &hardware_type) &&
      RtnetlinkReachability::IsCellularInterface(name, hardware_type)) {
    *flags |= kReachabilityFlagIsWWAN;
  }
  return true;
}

bool AnnouncesChange(const nlmsghdr* header) {
  switch (header->nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK:
    case RTM_NEWROUTE:
    case RTM_DELROUTE:
      return true;
    default:
      return false;
  }
}

}  // namespace

RtnetlinkReachability::RtnetlinkReachability(std::shared_ptr<DispatchQueue> queue, Callback callback)
    : queue_(std::move(queue)), callback_(std::move(callback)) {}

RtnetlinkReachability::~RtnetlinkReachability() { stop(); }

bool RtnetlinkReachability::IsCellularInterface(const std::string& name, unsigned hardwareType) {
  if (hardwareType == kHardwareRawIp) return true;
  for (const char* prefix : {"ww", "rmnet", "ccmni"}) {
    if (name.rfind(prefix, 0) == 0) return true;
  }
  return false;
}

bool RtnetlinkReachability::flags(ReachabilityFlags* flags) { return ReadRouteFlags(flags); }

bool RtnetlinkReachability::start() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (listener_.joinable()) return true;
  if (!queue_ || !callback_) return false;
  // Subscribed before the first reading, so no change falls between them.
  Fd netlink(OpenRouteSocket(RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE));
  Fd wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (netlink.get() < 0 || wake.get() < 0) return false;
  netlink_fd_ = netlink.release();
  wake_fd_ = wake.release();
  listener_ = std::thread([this, netlink_fd = netlink_fd_, wake_fd = wake_fd_] { Listen(netlink_fd, wake_fd); });
  return true;
}

bool RtnetlinkReachability::stop() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!listener_.joinable()) return true;
  std::uint64_t one = 1;
  while (write(wake_fd_, &one, sizeof one) < 0 && errno == EINTR) {
  }
  listener_.join();
  close(netlink_fd_);
  close(wake_fd_);
  netlink_fd_ = wake_fd_ = -1;
  return true;
}

void RtnetlinkReachability::Listen(int netlink_fd, int wake_fd) {
  std::optional<ReachabilityFlags> reported;
  auto recompute = [&] {
    ReachabilityFlags now = 0;
    // A failed reading tells nothing; the next announcement tries again.
    if (!ReadRouteFlags(&now) || reported == now) return;
    reported = now;
    queue_->async([callback = callback_, now] { callback(now); });
  };

  recompute();
  ReceiveBuffer buffer = MakeReceiveBuffer();
  for (;;) {
    pollfd watched[2] = {{netlink_fd, POLLIN, 0}, {wake_fd, POLLIN, 0}};
    if (poll(watched, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (watched[1].revents) return;
    if (!(watched[0].revents & POLLIN)) {
      if (watched[0].revents & (POLLERR | POLLHUP | POLLNVAL)) return;
      continue;
    }
    // Drain the burst (an address change brings several messages) and
    // read the table once for all of it.
    bool changed = false;
    for (;;) {
      ssize_t length = recv(netlink_fd, buffer.get(), kReceiveBufferBytes, MSG_DONTWAIT);
      if (length < 0) {
        if (errno == EINTR) continue;
        // The kernel dropped announcements it had no room for: some change
        // may have been missed.
        if (errno == ENOBUFS) changed = true;
        break;
      }
      for (auto* header = reinterpret_cast<nlmsghdr*>(buffer.get()); NLMSG_OK(header, length);
           header = NLMSG_NEXT(header, length)) {
        changed = changed || AnnouncesChange(header);
      }
    }
    if (changed) recompute();
  }
}

}  // namespace tessarin::platform::linux_host

#include "platform/linux/rtnetlink_reachability.h"

#include <gtest/gtest.h>

#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"

namespace tessarin::platform::linux_host {
namespace {

// The interfaces of the usable default routes, as the kernel's procfs
// tables list them: IPv4 entries to 0.0.0.0/0 that are up, IPv6 entries to
// ::/0 that are up and not reject routes.
std::vector<std::string> DefaultRouteInterfaces() {
  std::vector<std::string> interfaces;
  std::ifstream v4("/proc/net/route");
  std::string line;
  std::getline(v4, line);  // column titles
  while (std::getline(v4, line)) {
    std::istringstream fields(line);
    std::string name, destination, gateway, mask;
    unsigned flags = 0, ref = 0, use = 0, metric = 0;
    fields >> name >> destination >> gateway >> std::hex >> flags >> std::dec >> ref >> use >> metric >> mask;
    if (destination == "00000000" && mask == "00000000" && (flags & 0x1)) interfaces.push_back(name);
  }
  std::ifstream v6("/proc/net/ipv6_route");
  while (std::getline(v6, line)) {
    std::istringstream fields(line);
    std::string destination, prefix, source, source_prefix, next_hop, metric, ref, use, flags, name;
    fields >> destination >> prefix >> source >> source_prefix >> next_hop >> metric >> ref >> use >> flags >> name;
    unsigned long bits = std::stoul(flags, nullptr, 16);
    if (destination == std::string(32, '0') && prefix == "00" && (bits & 0x1) && !(bits & 0x200)) {
      interfaces.push_back(name);
    }
  }
  return interfaces;
}

class RtnetlinkReachabilityTest : public ::testing::Test {
 protected:
  void Report(ReachabilityFlags flags) {
    std::lock_guard<std::mutex> lock(mutex);
    reports.push_back(flags);
    on_queue.push_back(queue->isCurrent());
  }
  std::size_t ReportCount() {
    std::lock_guard<std::mutex> lock(mutex);
    return reports.size();
  }

  sim::SimPlatform sim;
  std::shared_ptr<DispatchQueue> queue = sim.createSerialQueue("reachability");
  std::mutex mutex;
  std::vector<ReachabilityFlags> reports;
  std::vector<bool> on_queue;
};

TEST_F(RtnetlinkReachabilityTest, FirstReportMatchesTheRoutingTable) {
  auto interfaces = DefaultRouteInterfaces();
  RtnetlinkReachability source(queue, [this](ReachabilityFlags flags) { Report(flags); });
  ASSERT_TRUE(source.start());
  ASSERT_TRUE(sim.runUntil([&] { return ReportCount() >= 1; }, 10.0)) << "no report from the listener";

  ReachabilityFlags first = reports[0];
  EXPECT_EQ((first & kReachabilityFlagReachable) != 0, !interfaces.empty());
  EXPECT_TRUE(on_queue[0]) << "reports arrive on the queue the source was given";
  bool any_cellular = false;
  for (const auto& name : interfaces) any_cellular |= RtnetlinkReachability::IsCellularInterface(name, 1);
  if (!any_cellular) {
    EXPECT_EQ(first & kReachabilityFlagIsWWAN, 0u);
  }

  ReachabilityFlags now = 0;
  ASSERT_TRUE(source.flags(&now));
  EXPECT_EQ(now, first);

  // Stopping joins the listener; starting again reports afresh.
  EXPECT_TRUE(source.stop());
  EXPECT_TRUE(source.stop());
  ASSERT_TRUE(source.start());
  EXPECT_TRUE(source.start());
  ASSERT_TRUE(sim.runUntil([&] { return ReportCount() >= 2; }, 10.0));
  EXPECT_EQ(reports[1], first);
  // The destructor stops the running listener.
}

TEST(RtnetlinkCellularTest, ByNameOrHardwareType) {
  EXPECT_TRUE(RtnetlinkReachability::IsCellularInterface("wwan0", 1));
  EXPECT_TRUE(RtnetlinkReachability::IsCellularInterface("wwp0s20f0u6", 1));
  EXPECT_TRUE(RtnetlinkReachability::IsCellularInterface("rmnet_data0", 1));
  EXPECT_TRUE(RtnetlinkReachability::IsCellularInterface("usb0", 519));  // raw IP
  EXPECT_FALSE(RtnetlinkReachability::IsCellularInterface("wlan0", 1));
  EXPECT_FALSE(RtnetlinkReachability::IsCellularInterface("eth0", 1));
  EXPECT_FALSE(RtnetlinkReachability::IsCellularInterface("tun0", 65534));  // a VPN, not a modem
}

}  // namespace
}  // namespace tessarin::platform::linux_host

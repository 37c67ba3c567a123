#include "util/device_util.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using platform::sim::SimDevice;
using platform::sim::SimPlatform;
using testing::LogCapture;

// An environment whose device is replaced, as a test of the façade would.
struct ReplacedDeviceDI : TSRUtilityDI {
  using TSRUtilityDI::TSRUtilityDI;
  platform::Device& currentDevice() override { return device; }
  SimDevice device;
};

struct FailingAdvertisingDevice : SimDevice {
  std::optional<std::string> advertisingIdentifier() override { throw std::runtime_error("no manager"); }
  std::optional<bool> advertisingTrackingEnabled() override { throw std::runtime_error("no switch"); }
};

struct FailingDeviceDI : TSRUtilityDI {
  using TSRUtilityDI::TSRUtilityDI;
  platform::Device& currentDevice() override { return device; }
  FailingAdvertisingDevice device;
};

TEST(DeviceVersions, PaddedToThreePartsAndComparedByNumber) {
  using std::strong_ordering;
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("12", "12.0.0"), strong_ordering::equal);
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("12.0", "12"), strong_ordering::equal);
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("12.9", "12.10"), strong_ordering::less);
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("12.10", "12.9"), strong_ordering::greater);
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("9.3.5", "10"), strong_ordering::less);
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("17.2.1", "17.2"), strong_ordering::greater);
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("17.02", "17.2"), strong_ordering::equal);
  // Longer than any machine word still compares by value.
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("1.99999999999999999999", "1.100000000000000000000"),
            strong_ordering::less);
  // Text that is not a number compares character by character.
  EXPECT_EQ(TSRUtilityDevice::compareOsVersion("12.0b", "12.0a"), strong_ordering::greater);
}

TEST(DeviceFacts, VendorAndAdvertisingIdentifiersAreLowerCase) {
  ReplacedDeviceDI di(std::make_shared<SimPlatform>());
  di.device.vendor_id = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
  EXPECT_EQ(TSRUtilityDevice::identifierForVendor(di), "6f9619ff-8b86-d011-b42d-00c04fc964ff");
  di.device.vendor_id.reset();
  EXPECT_EQ(TSRUtilityDevice::identifierForVendor(di), std::nullopt);

  // No advertising framework: nothing, and tracking counts as off.
  EXPECT_EQ(TSRUtilityDevice::advertisingIdentifier(di), std::nullopt);
  EXPECT_FALSE(TSRUtilityDevice::advertisingTrackingEnabled(di));
  di.device.advertising_id = "AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE";
  di.device.advertising_enabled = true;
  EXPECT_EQ(TSRUtilityDevice::advertisingIdentifier(di), "aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee");
  EXPECT_TRUE(TSRUtilityDevice::advertisingTrackingEnabled(di));
}

TEST(DeviceFacts, FailingAdvertisingCallsAreLoggedUnderTheirOwnTag) {
  LogCapture capture;
  FailingDeviceDI di(std::make_shared<SimPlatform>());
  EXPECT_EQ(TSRUtilityDevice::advertisingIdentifier(di), std::nullopt);
  EXPECT_FALSE(TSRUtilityDevice::advertisingTrackingEnabled(di));
  EXPECT_EQ(capture.countContaining("Tag: +[TSRUtilityDevice advertisingIdentifier]\n"), 1);
  EXPECT_EQ(capture.countContaining("Reason: no manager\n"), 1);
  EXPECT_EQ(capture.countContaining("Tag: +[TSRUtilityDevice advertisingTrackingEnabled]\n"), 1);
  EXPECT_EQ(capture.countContaining("Reason: no switch\n"), 1);
}

TEST(DeviceFacts, SimulatorMachinesAreNamedByIdiom) {
  ReplacedDeviceDI di(std::make_shared<SimPlatform>());
  auto& app = static_cast<SimPlatform&>(di.platform()).app();
  struct Case {
    const char* machine;
    bool simulator;
    int idiom;
    const char* expected;
  } cases[] = {
      {"x86_64", true, 1, "iPad Simulator"},   {"i386", true, 0, "iPhone Simulator"},
      {"x86_64", true, -1, "Simulator"},       {"x86_64", false, 1, "x86_64"},
      {"iPhone15,2", true, 0, "iPhone15,2"},   {"arm64", true, 0, "arm64"},
  };
  for (const auto& c : cases) {
    di.device.machine = c.machine;
    di.device.idiom = c.idiom;
    app.simulator = c.simulator;
    EXPECT_EQ(TSRUtilityDevice::machine(di), c.expected) << c.machine << " " << c.simulator << " " << c.idiom;
  }
}

}  // namespace
}  // namespace tessarin

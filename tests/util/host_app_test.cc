#include "util/host_app.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::LogCapture;

// A profile as the store signs it: a binary envelope around the XML list.
std::string Profile(const std::string& entitlements) {
  return std::string("0\x82\x1f\x00\x06\t*\x86H\x86\xf7\r\x01\x07\x02", 16) +
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
         "\t<key>Name</key><string>Sim Host Dev</string>\n"
         "\t<key>Entitlements</key><dict>" +
         entitlements + "</dict>\n</dict>\n</plist>\n" + std::string("\xa0\x82\x0b\x00\x30\x82", 6);
}

class HostAppTest : public ::testing::Test {
 protected:
  HostAppTest() : sim_(std::make_shared<SimPlatform>()) {}

  std::string WriteFile(const std::string& name, const std::string& contents) {
    std::string path = sim_->directory() + "/" + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << contents;
    return path;
  }
  // Installs an embedded profile with these contents.
  std::string InstallProfile(const std::string& contents) {
    std::string path = WriteFile("Sim.app/embedded.mobileprovision", contents);
    sim_->app().resources["embedded.mobileprovision"] = path;
    return path;
  }
  std::vector<std::string> SystemLines(const LogCapture& logs) {
    std::vector<std::string> lines;
    for (const auto& record : logs.records()) {
      EXPECT_FALSE(record.fromLogCall) << record.message;
      lines.push_back(record.text);
    }
    return lines;
  }

  std::shared_ptr<SimPlatform> sim_;
};

TEST_F(HostAppTest, IdentityAndInfoValues) {
  sim_->app().info["TessarinConfiguration"] = {{"accountKey", "k"}, {"dataset", 3}};
  TSRUtilityHostApp app(sim_);
  EXPECT_EQ(app.bundleIdentifier(), "com.tessarin.simhost");
  EXPECT_EQ(app.bundleVersion(), "1.0");
  EXPECT_EQ(app.tessarinConfiguration(), Json({{"accountKey", "k"}, {"dataset", 3}}));
  sim_->app().info = Json::object({{"CFBundleShortVersionString", 2}});
  EXPECT_FALSE(app.bundleVersion().has_value());
  EXPECT_FALSE(app.tessarinConfiguration().has_value());
}

TEST_F(HostAppTest, DatesWarnWhenMissing) {
  TSRUtilityHostApp app(sim_);
  LogCapture logs(TSRLogLevelWarn);
  sim_->app().home_created = {1700000000.5, ""};
  EXPECT_EQ(app.dataCreatedDate(), 1700000000.5);
  EXPECT_EQ(app.bundleModifiedDate(), 1600000000.0);
  EXPECT_TRUE(logs.messages().empty());

  sim_->app().home_created = {std::nullopt, "No such file or directory"};
  sim_->app().bundle_modified = {std::nullopt, ""};
  EXPECT_FALSE(app.dataCreatedDate().has_value());
  EXPECT_FALSE(app.bundleModifiedDate().has_value());
  EXPECT_EQ(logs.count("Could not determine home created date: No such file or directory", TSRLogLevelWarn), 1);
  EXPECT_EQ(logs.count("Could not determine bundle modified date: (null)", TSRLogLevelWarn), 1);
}

TEST_F(HostAppTest, ProfileIsFoundParsedAndRemembered) {
  std::string path = InstallProfile(Profile(
      "<key>aps-environment</key><string>development</string><key>get-task-allow</key><true/>"));
  sim_->app().simulator = false;
  TSRUtilityHostApp app(sim_);
  EXPECT_EQ(app.provisionPath(), path);
  auto plist = app.provisionPlist();
  ASSERT_TRUE(plist.has_value());
  EXPECT_EQ((*plist)["Name"], "Sim Host Dev");
  EXPECT_TRUE(app.sandboxedAPNS());
  EXPECT_TRUE(app.debuggableBuild());

  // The profile is read once: a changed or vanished file changes nothing.
  std::filesystem::remove(path);
  sim_->app().resources.clear();
  EXPECT_EQ(app.provisionPath(), path);
  EXPECT_EQ(app.provisionPlist(), plist);
  EXPECT_TRUE(app.sandboxedAPNS());
  EXPECT_FALSE(app.appStoreBuild());
}

TEST_F(HostAppTest, ProfileWithoutItsListYieldsNone) {
  const std::string whole = Profile("<key>aps-environment</key><string>development</string>");
  const std::string unterminated = whole.substr(0, whole.find("</plist>"));
  // The first end marker comes before the list, even though a whole one follows.
  const std::string reversed = "</plist> junk " + whole.substr(0, whole.find("</plist>") + 8);
  const std::string broken = "<plist><dict><key>a</key></dict></plist>";
  for (const std::string& contents : {std::string(), unterminated, reversed, broken, std::string("\x30\x82\x00", 3)}) {
    auto sim = std::make_shared<SimPlatform>();
    sim->app().simulator = false;
    std::string path = sim->directory() + "/embedded.mobileprovision";
    std::ofstream(path, std::ios::binary) << contents;
    sim->app().resources["embedded.mobileprovision"] = path;
    TSRUtilityHostApp app(sim);
    EXPECT_EQ(app.provisionPath(), path);
    EXPECT_FALSE(app.provisionPlist().has_value()) << contents;
    // A device build without a readable profile is neither sandboxed nor debuggable...
    EXPECT_FALSE(app.sandboxedAPNS());
    EXPECT_FALSE(app.debuggableBuild());
    // ...and, having a profile, is not a store or TestFlight build.
    sim->app().receipt_url = "https://example.com/receipt";
    EXPECT_FALSE(app.appStoreBuild());
  }
}

TEST_F(HostAppTest, WithoutProfileTheSimulatorCountsAsSandboxedAndDebuggable) {
  TSRUtilityHostApp simulator(sim_);
  EXPECT_FALSE(simulator.provisionPath().has_value());
  EXPECT_TRUE(simulator.runningInSimulator());
  EXPECT_TRUE(simulator.sandboxedAPNS());
  EXPECT_TRUE(simulator.debuggableBuild());

  // A profile decides, even in the simulator.
  InstallProfile(Profile("<key>aps-environment</key><string>production</string><key>get-task-allow</key><false/>"));
  TSRUtilityHostApp profiled(sim_);
  EXPECT_FALSE(profiled.sandboxedAPNS());
  EXPECT_FALSE(profiled.debuggableBuild());

  // A named resource that is not on disk is no profile.
  sim_->app().resources["embedded.mobileprovision"] = sim_->directory() + "/absent.mobileprovision";
  sim_->app().simulator = false;
  TSRUtilityHostApp device(sim_);
  EXPECT_FALSE(device.provisionPath().has_value());
  EXPECT_FALSE(device.sandboxedAPNS());
  EXPECT_FALSE(device.debuggableBuild());
}

TEST_F(HostAppTest, ReceiptDecidesStoreAndTestFlightBuilds) {
  sim_->app().simulator = false;
  TSRUtilityHostApp app(sim_);
  EXPECT_FALSE(app.appStoreBuild());  // no receipt named
  EXPECT_FALSE(app.testFlightBuild());

  // Receipt files live under a directory with a space, as they do on the
  // device; the URL carries it percent-encoded.
  std::string sandbox = WriteFile("Sim App.app/StoreKit/sandboxReceipt", "r");
  std::string base = "file://" + sim_->directory() + "/Sim%20App.app/StoreKit/";
  sim_->app().receipt_url = base + "sandboxReceipt";
  EXPECT_TRUE(app.testFlightBuild());
  EXPECT_FALSE(app.appStoreBuild());
  std::filesystem::remove(sandbox);
  EXPECT_FALSE(app.testFlightBuild());
  EXPECT_FALSE(app.appStoreBuild());

  sim_->app().receipt_url = base + "receipt";
  EXPECT_FALSE(app.appStoreBuild());  // named but not there
  WriteFile("Sim App.app/StoreKit/receipt", "r");
  EXPECT_TRUE(app.appStoreBuild());
  EXPECT_FALSE(app.testFlightBuild());

  // Other URLs are taken at their word.
  sim_->app().receipt_url = "https://receipts.example/a/sandboxReceipt?v=2";
  EXPECT_TRUE(app.testFlightBuild());
  EXPECT_FALSE(app.appStoreBuild());
  sim_->app().receipt_url = "https://receipts.example/a/receipt/";
  EXPECT_TRUE(app.appStoreBuild());
  EXPECT_FALSE(app.testFlightBuild());

  // An embedded profile rules out both.
  InstallProfile(Profile(""));
  TSRUtilityHostApp profiled(sim_);
  EXPECT_FALSE(profiled.appStoreBuild());
  sim_->app().receipt_url = "https://receipts.example/a/sandboxReceipt";
  EXPECT_FALSE(profiled.testFlightBuild());
}

TEST_F(HostAppTest, AppStateWithoutApplicationCountsAsActive) {
  TSRUtilityHostApp app(sim_);
  sim_->setApplicationState(2);
  EXPECT_TRUE(app.appStateIs(2));
  EXPECT_FALSE(app.appStateIs(0));
  sim_->app().has_shared_application = false;
  EXPECT_TRUE(app.appStateIs(0));
  EXPECT_FALSE(app.appStateIs(2));
}

TEST_F(HostAppTest, SwizzlingSwitchIsReadOnceAndReportedToTheSystemLogWhateverTheThreshold) {
  LogCapture logs(TSRLogLevelDefault);
  struct Case {
    std::optional<Json> value;  // nothing: the key is absent
    bool enabled;
    std::vector<std::string> lines;
  } cases[] = {
      {false, false, {"TessarinSwizzlingEnabled found in plist, set to NO"}},
      {1, true, {"TessarinSwizzlingEnabled found in plist, set to YES"}},
      {"NO", true,
       {"TessarinSwizzlingEnabled found in plist, but instead of BOOL/NSNumber found NSString, falling back to "
        "default value YES"}},
      {std::nullopt, true, {}},
  };
  for (const Case& c : cases) {
    logs.clear();
    sim_->app().info.erase("TessarinSwizzlingEnabled");
    if (c.value) sim_->app().info["TessarinSwizzlingEnabled"] = *c.value;
    TSRUtilityHostApp app(sim_);
    EXPECT_EQ(app.swizzlingEnabled(), c.enabled) << JsonDump(c.value.value_or(nullptr));
    // Read once: a later change neither changes the answer nor logs again.
    sim_->app().info["TessarinSwizzlingEnabled"] = !c.enabled;
    EXPECT_EQ(app.swizzlingEnabled(), c.enabled);
    EXPECT_EQ(SystemLines(logs), c.lines);
  }
}

}  // namespace
}  // namespace tessarin

// Faults on the Linux host, in real time: the probe app runs in a process of
// its own against the local service over loopback, and the test breaks the
// network, the service's answers, its certificate, the disk or the SDK's
// files under it. Each case shows what the SDK does about the fault and that
// every event it keeps reaches the service once the fault clears, with the
// same process still running unless the fault is one found at launch.
//
// The probe is driven a command at a time (scenario "drive", see
// tests/linux_host/probe_main.cc); several faults are walked in one run
// where one follows from the other, so the whole matrix costs seconds.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "integration/linux_host_fixture.h"
#include "service/certificate.h"
#include "tessarin/json.h"

namespace tessarin {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using service::CertificateFiles;
using service::Fault;

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

class LinuxHostFaultsTest : public LinuxHostFixture {
 protected:
  void TearDown() override {
    // A case that stopped half-way may have left the directory read-only,
    // which only root could remove.
    chmod(data_.c_str(), 0700);
    if (std::filesystem::exists(SdkDirectory())) MakeSdkDirectoryReadOnly(false);
    LinuxHostFixture::TearDown();
  }

  // Whether every one of "NAME 0" ... "NAME count-1", for each entry, has
  // been delivered.
  bool AllDelivered(const std::map<std::string, int>& expected) const {
    auto counts = ActionCounts();
    for (const auto& [name, count] : expected) {
      for (int i = 0; i < count; ++i) {
        if (counts[name + " " + std::to_string(i)] == 0) return false;
      }
    }
    return true;
  }
  bool WaitDelivered(const std::map<std::string, int>& expected, std::chrono::milliseconds timeout = 10s) const {
    auto deadline = Clock::now() + timeout;
    while (!AllDelivered(expected)) {
      if (Clock::now() > deadline) return false;
      std::this_thread::sleep_for(10ms);
    }
    return true;
  }
  // How many of "NAME 0" ... were delivered, and how many copies of them
  // the service took in (whatever became of the answers).
  int DeliveredOf(const std::string& name, int count) const { return Of(ActionCounts(), name, count); }
  int ReceivedOf(const std::string& name, int count) const { return Of(Count(Received()), name, count); }

  // The lines the probe's SDK logged so far that contain `text`, once there
  // is at least one (or the timeout passed).
  static Json WaitLog(ChildProcess& probe, const std::string& text, std::chrono::milliseconds timeout = 10s) {
    auto deadline = Clock::now() + timeout;
    for (;;) {
      Json lines = Ask(probe, "log " + text, "lines")["lines"];
      if ((lines.is_array() && !lines.empty()) || Clock::now() > deadline) return lines;
      std::this_thread::sleep_for(20ms);
    }
  }
  static Json Diagnostics(ChildProcess& probe) { return Ask(probe, "diagnostics", "diagnostics")["diagnostics"]; }

  // The SDK's two event files under `home`, as one text.
  std::string EventFiles(const std::string& home = "") const {
    std::string directory = (home.empty() ? data_ : home) + "/com.tessarin.probe/";
    return ReadText(directory + "Tessarin-events") + "\n" + ReadText(directory + "Tessarin-events-journal");
  }
  // Waits until those files hold every one of "NAME 0" ... "NAME count-1".
  bool WaitFilesHold(const std::string& name, int count, const std::string& home = "",
                     std::chrono::milliseconds timeout = 5s) const {
    auto deadline = Clock::now() + timeout;
    for (;;) {
      std::string files = EventFiles(home);
      bool all = true;
      for (int i = 0; i < count; ++i) {
        all = all && files.find("\"" + name + " " + std::to_string(i) + "\"") != std::string::npos;
      }
      if (all) return true;
      if (Clock::now() > deadline) return false;
      std::this_thread::sleep_for(10ms);
    }
  }

  // The SDK's directory and files read-only (or writable again).
  void MakeSdkDirectoryReadOnly(bool readOnly) {
    for (const auto& entry : std::filesystem::directory_iterator(SdkDirectory())) {
      chmod(entry.path().c_str(), readOnly ? 0400 : 0600);
    }
    chmod(SdkDirectory().c_str(), readOnly ? 0500 : 0700);
  }

 private:
  static int Of(const std::map<std::string, int>& counts, const std::string& name, int count) {
    int total = 0;
    for (int i = 0; i < count; ++i) {
      auto found = counts.find(name + " " + std::to_string(i));
      if (found != counts.end()) total += found->second;
    }
    return total;
  }
};

// One run of the app walks the faults of the network and of the service's
// answers, in the order a bad day might bring them.
TEST_F(LinuxHostFaultsTest, ABatchThatCouldNotReachTheServiceIsKeptAndOneItRefusedIsDropped) {
  int port = service->port();
  auto probe = Probe("drive", port, "", {"PROBE_REQUEST_TIMEOUT=2"});
  ASSERT_EQ(Line(*probe, "launched")["launched"], true);
  ASSERT_EQ(Ask(*probe, "loaded 10", "loaded")["loaded"], true);
  ASSERT_EQ(Ask(*probe, "flush 10", "flushed")["flushed"], true);

  // Connection refused: the batch goes back to the head of the queue, and
  // what is recorded meanwhile waits behind it. The retry comes by itself
  // once the service is back.
  StopService();
  Ask(*probe, "track Refused 3", "tracked");
  ASSERT_EQ(Ask(*probe, "wait batchesRetried 1 10", "wait")["reached"], true);
  Ask(*probe, "track Behind 2", "tracked");
  EXPECT_FALSE(WaitLog(*probe, "Could not contact Tessarin. Could not connect to the server.").empty());
  EXPECT_FALSE(WaitLog(*probe, "Events: Re-enqueueing events to send later.").empty());
  StartService(port);
  ASSERT_TRUE(WaitDelivered({{"Refused", 3}, {"Behind", 2}}));
  auto events = Events();
  auto position = [&](const std::string& action) {
    for (std::size_t i = 0; i < events.size(); ++i) {
      if (events[i].value("action", "") == action) return i;
    }
    return events.size();
  };
  EXPECT_LT(position("Refused 2"), position("Behind 0")) << "the retried batch keeps its place at the head";

  // Reset in the middle of the answer: the service took the batch in, but
  // the SDK cannot know, so it sends it again; the service sees it twice.
  Fault reset;
  reset.resetConnection = true;
  service->queueFault(Endpoint::kEvents, reset);
  Ask(*probe, "track Reset 3", "tracked");
  ASSERT_TRUE(WaitDelivered({{"Reset", 3}}));
  EXPECT_FALSE(WaitLog(*probe, "General network connectivity problem. The network connection was lost.").empty());
  EXPECT_EQ(DeliveredOf("Reset", 3), 3);
  EXPECT_GT(ReceivedOf("Reset", 3), 3) << "the batch whose answer was cut off reached the service too";

  // An answer slower than the request timeout (2 s here): the same.
  Fault slow;
  slow.delay = 3s;
  service->queueFault(Endpoint::kEvents, slow);
  Ask(*probe, "track Slow 3", "tracked");
  ASSERT_TRUE(WaitDelivered({{"Slow", 3}}));
  EXPECT_FALSE(WaitLog(*probe, "Could not contact Tessarin. The request timed out.").empty());
  EXPECT_EQ(DeliveredOf("Slow", 3), 3);

  // 500, 503 and 400 are answers: the service refused the batch, sending it
  // again would fail the same way, so it is dropped; the reason the service
  // gave is logged; what comes next flows.
  Json before = Diagnostics(*probe);
  service->queueFault(Endpoint::kEvents, Fault{500, {{"reason", "Storage unavailable."}}, {}, false});
  service->queueFault(Endpoint::kEvents, Fault{503, nullptr, {}, false});
  service->queueFault(Endpoint::kEvents, Fault{400, {{"reason", "Unknown event schema."}}, {}, false});
  std::uint64_t rejected = before["droppedRejected"].get<std::uint64_t>();
  for (const char* name : {"Status500", "Status503", "Status400"}) {
    Ask(*probe, std::string("track ") + name + " 1", "tracked");
    ASSERT_EQ(Ask(*probe, "wait droppedRejected " + std::to_string(++rejected) + " 10", "wait")["reached"], true)
        << name;
  }
  EXPECT_FALSE(WaitLog(*probe, "Send request failed, status code 500 Storage unavailable.").empty());
  EXPECT_FALSE(WaitLog(*probe, "status code 503 HTTP status code 503 (service unavailable).").empty());
  EXPECT_FALSE(WaitLog(*probe, "Send request failed, status code 400 Unknown event schema. Check that the account "
                               "exists and that the request is formatted properly.")
                   .empty());
  EXPECT_EQ(WaitLog(*probe, "Events: Dropping 1 events that failed to send").size(), 3u);
  Ask(*probe, "track After 3", "tracked");
  ASSERT_TRUE(WaitDelivered({{"After", 3}}));
  for (const char* name : {"Status500", "Status503", "Status400"}) {
    EXPECT_EQ(DeliveredOf(name, 1), 0) << name;
    EXPECT_EQ(ReceivedOf(name, 1), 1) << name << " is not sent again";
  }

  // A name that does not resolve: the service's configuration moves the
  // events to a host under ".invalid". Each attempt fails before any
  // connection, and the batch is kept as for a refused connection, until
  // the configuration names a host that works again.
  std::string unresolvable = "http://events.tessarin.invalid:" + std::to_string(port) + "/mr/dataset/shop?_ak=probe";
  service->setAppConfig("shop", Json{{"eventThrottleLimit", 100000}, {"urlEvents", unresolvable}});
  // The app leaves the screen and comes back: the SDK asks for its
  // configuration again.
  Ask(*probe, "background", "background");
  Ask(*probe, "foreground", "foreground");
  ASSERT_EQ(Ask(*probe, "config urlEvents 10 " + unresolvable, "config")["reached"], true);
  std::uint64_t retried = Diagnostics(*probe)["batchesRetried"].get<std::uint64_t>();
  std::size_t uncontacted = Ask(*probe, "log Could not contact Tessarin.", "lines")["lines"].size();
  Ask(*probe, "track Unresolved 3", "tracked");
  ASSERT_EQ(Ask(*probe, "wait batchesRetried " + std::to_string(retried + 1) + " 10", "wait")["reached"], true);
  Json lines = Ask(*probe, "log Could not contact Tessarin.", "lines")["lines"];
  ASSERT_GT(lines.size(), uncontacted);
  // Where the resolver is slower than the request timeout, the attempt
  // times out instead; either way the service could not be contacted.
  std::string latest = lines.back().get<std::string>();
  EXPECT_TRUE(latest.find("A server with the specified hostname could not be found.") != std::string::npos ||
              latest.find("The request timed out.") != std::string::npos)
      << latest;
  EXPECT_EQ(ReceivedOf("Unresolved", 3), 0);
  service->setAppConfig("shop", Json{{"eventThrottleLimit", 100000}});
  Ask(*probe, "background", "background");
  Ask(*probe, "foreground", "foreground");
  ASSERT_EQ(Ask(*probe, "config urlEvents 10", "config")["reached"], true);
  ASSERT_TRUE(WaitDelivered({{"Unresolved", 3}}));

  // Each kept event arrived exactly once; each refused one never did.
  Json diagnostics = Diagnostics(*probe);
  EXPECT_EQ(diagnostics["droppedRejected"], 3);
  EXPECT_EQ(diagnostics["droppedThrottled"], 0);
  EXPECT_EQ(diagnostics["droppedCountTrim"], 0);
  EXPECT_EQ(diagnostics["droppedByteTrim"], 0);
  for (const auto& [name, count] : std::map<std::string, int>{
           {"Refused", 3}, {"Behind", 2}, {"Reset", 3}, {"Slow", 3}, {"After", 3}, {"Unresolved", 3}}) {
    EXPECT_EQ(DeliveredOf(name, count), count) << name;
  }
  EXPECT_EQ(Ask(*probe, "quit", "quit")["quit"], true);
  EXPECT_EQ(probe->wait(10s), 0);
}

// The certificates the SDK trusts here are two: the service's own, and one
// for another host name. A certificate nobody vouches for, and the trusted
// one of another host, each hold the events back until the service is
// itself again.
TEST_F(LinuxHostFaultsTest, AnUntrustedCertificateOrOneForAnotherHostHoldsTheEventsUntilTheServiceIsItselfAgain) {
  struct Identities {
    CertificateFiles own, elsewhere;
    ~Identities() {
      service::RemoveCertificateFiles(own);
      service::RemoveCertificateFiles(elsewhere);
    }
  } identities;
  std::string error;
  ASSERT_TRUE(service::GenerateSelfSignedCertificate(identities.own, error)) << error;
  ASSERT_TRUE(service::GenerateSelfSignedCertificate(identities.elsewhere, error, {"elsewhere.invalid"})) << error;
  std::string trust = data_ + "/trusted.pem";
  WriteText(trust, ReadText(identities.own.certificatePath) + ReadText(identities.elsewhere.certificatePath));

  LocalService::Options itself;
  itself.https = true;
  itself.certificate = identities.own;
  StartService(0, itself);
  int port = service->port();
  auto probe = Probe("drive", port, "",
                     {"PROBE_PROTOCOL=https", "PROBE_TRUST=" + trust, "PROBE_REQUEST_TIMEOUT=2"});
  ASSERT_EQ(Line(*probe, "launched")["launched"], true);
  ASSERT_EQ(Ask(*probe, "loaded 10", "loaded")["loaded"], true);
  ASSERT_EQ(Ask(*probe, "flush 10", "flushed")["flushed"], true);

  // A certificate of its own making, which nobody the SDK trusts signed.
  LocalService::Options untrusted;
  untrusted.https = true;
  StartService(port, untrusted);
  Ask(*probe, "track Untrusted 3", "tracked");
  ASSERT_EQ(Ask(*probe, "wait batchesRetried 1 10", "wait")["reached"], true);
  EXPECT_FALSE(WaitLog(*probe, "Might be a proxy in the way. The certificate for this server was signed by an "
                               "unknown certifying authority.")
                   .empty());
  EXPECT_EQ(ReceivedOf("Untrusted", 3), 0) << "nothing is sent before the handshake succeeds";
  StartService(port, itself);
  ASSERT_TRUE(WaitDelivered({{"Untrusted", 3}}));

  // A trusted certificate, but for another host than the one dialled.
  LocalService::Options wrongHost;
  wrongHost.https = true;
  wrongHost.certificate = identities.elsewhere;
  StartService(port, wrongHost);
  Ask(*probe, "track WrongHost 3", "tracked");
  ASSERT_EQ(Ask(*probe, "wait batchesRetried 2 10", "wait")["reached"], true);
  EXPECT_FALSE(WaitLog(*probe, "Might be a proxy in the way. The certificate for this server is invalid.").empty());
  EXPECT_EQ(ReceivedOf("WrongHost", 3), 0);
  StartService(port, itself);
  ASSERT_TRUE(WaitDelivered({{"WrongHost", 3}}));

  EXPECT_EQ(DeliveredOf("Untrusted", 3), 3);
  EXPECT_EQ(DeliveredOf("WrongHost", 3), 3);
  EXPECT_EQ(Diagnostics(*probe)["droppedRejected"], 0);
  EXPECT_EQ(Ask(*probe, "quit", "quit")["quit"], true);
  EXPECT_EQ(probe->wait(10s), 0);
}

// A first launch that cannot fetch the server configuration holds its
// events without trying to send them: nothing is sent before the service
// has configured the SDK. The configuration is asked for again when the app
// comes back to the front.
TEST_F(LinuxHostFaultsTest, AFirstLaunchWithoutItsConfigurationHoldsTheEventsUntilTheAppComesBack) {
  int port = ClosedPort();
  auto probe = Probe("drive", port);
  ASSERT_EQ(Line(*probe, "launched")["launched"], true);
  Ask(*probe, "track Waiting 3", "tracked");
  EXPECT_FALSE(
      WaitLog(*probe, "Config: update error, keeping existing config. Could not connect to the server.").empty());
  // Becoming active and the network's first report each ask. A request
  // still in flight when the app becomes active again stands for that
  // activation too, and if it then fails, nothing asks until the next one;
  // so the service comes back only once every request made so far failed.
  auto settled = [&] {
    std::size_t attempts = Ask(*probe, "log Config: update attempt", "lines")["lines"].size();
    std::size_t failures = Ask(*probe, "log Config: update error", "lines")["lines"].size();
    return attempts > 0 && attempts == failures;
  };
  auto deadline = Clock::now() + 10s;
  for (int stable = 0; stable < 3 && Clock::now() < deadline; std::this_thread::sleep_for(20ms)) {
    stable = settled() ? stable + 1 : 0;
  }
  ASSERT_TRUE(settled()) << "a configuration request is still in flight";
  Json held = Diagnostics(*probe);
  EXPECT_EQ(held["eventsSent"], 0);
  EXPECT_EQ(held["batchesRetried"], 0);
  EXPECT_EQ(held["droppedRejected"], 0);

  StartService(port);
  Ask(*probe, "reactivate", "reactivated");
  ASSERT_EQ(Ask(*probe, "loaded 10", "loaded")["loaded"], true);
  ASSERT_TRUE(WaitDelivered({{"Waiting", 3}}));
  EXPECT_EQ(DeliveredOf("Waiting", 3), 3);
  EXPECT_EQ(Ask(*probe, "quit", "quit")["quit"], true);
  EXPECT_EQ(probe->wait(10s), 0);
}

// The SDK's files under a directory it cannot write, then a disk that fills
// up while it saves. Events never depend on the disk to be sent: the SDK
// keeps them in memory, logs what it could not write, and writes again once
// it can.
TEST_F(LinuxHostFaultsTest, AReadOnlyDirectoryOrAFullDiskCostsNoEventTheSdkHolds) {
  int port = ClosedPort();
  // A first run leaves events in the SDK's files, unsent.
  {
    auto first = Probe("drive", port);
    ASSERT_EQ(Line(*first, "launched")["launched"], true);
    Ask(*first, "track Earlier 3", "tracked");
    ASSERT_TRUE(WaitFilesHold("Earlier", 3));
    first->kill(SIGKILL);
    EXPECT_EQ(first->wait(5s), 128 + SIGKILL);
  }

  // The next launch finds them in a directory it may only read: it sends
  // what it reads and what it records, and cannot save.
  MakeSdkDirectoryReadOnly(true);
  StartService(port);
  auto probe = Probe("drive", port);
  ASSERT_EQ(Line(*probe, "launched")["launched"], true);
  ASSERT_TRUE(WaitDelivered({{"Earlier", 3}}));
  EXPECT_FALSE(WaitLog(*probe, "Persistence: Error writing string to").empty());
  Ask(*probe, "track ReadOnly 3", "tracked");
  ASSERT_TRUE(WaitDelivered({{"ReadOnly", 3}}));

  // Writable again; the service goes away, so what is recorded now is held.
  // The app's next save (it leaves the screen) writes the files afresh.
  MakeSdkDirectoryReadOnly(false);
  StopService();
  Ask(*probe, "track Held 3", "tracked");
  ASSERT_EQ(Ask(*probe, "wait batchesRetried 1 10", "wait")["reached"], true);
  Ask(*probe, "background", "background");
  ASSERT_TRUE(WaitFilesHold("Held", 3));
  EXPECT_EQ(EventFiles().find("\"Earlier 0\""), std::string::npos) << "delivered events left the files";
  Ask(*probe, "foreground", "foreground");

  // The disk fills up: the journal cannot take the next events, and the
  // save when the app leaves the screen fails, leaving the saved file whole.
  ASSERT_EQ(Ask(*probe, "disk full", "disk")["ok"], true);
  Ask(*probe, "track DiskFull 3", "tracked");
  EXPECT_FALSE(WaitLog(*probe, "Events: Could not write to the event journal").empty());
  Ask(*probe, "background", "background");
  EXPECT_FALSE(WaitLog(*probe, "Tessarin-events: write").empty());
  std::string saved = ReadText(SdkDirectory() + "/Tessarin-events");
  EXPECT_TRUE(Json::parse(saved, nullptr, false).is_array()) << saved;
  EXPECT_EQ(saved.find("DiskFull"), std::string::npos);
  Ask(*probe, "foreground", "foreground");

  // Space again: the next save holds everything, and the service, once
  // back, gets it all.
  ASSERT_EQ(Ask(*probe, "disk free", "disk")["ok"], true);
  Ask(*probe, "background", "background");
  ASSERT_TRUE(WaitFilesHold("Held", 3));
  ASSERT_TRUE(WaitFilesHold("DiskFull", 3));
  Ask(*probe, "foreground", "foreground");
  StartService(port);
  ASSERT_TRUE(WaitDelivered({{"Held", 3}, {"DiskFull", 3}}));
  for (const auto& [name, count] :
       std::map<std::string, int>{{"Earlier", 3}, {"ReadOnly", 3}, {"Held", 3}, {"DiskFull", 3}}) {
    EXPECT_EQ(DeliveredOf(name, count), count) << name;
  }
  Json diagnostics = Diagnostics(*probe);
  EXPECT_EQ(diagnostics["droppedRejected"], 0);
  EXPECT_EQ(Ask(*probe, "quit", "quit")["quit"], true);
  EXPECT_EQ(probe->wait(10s), 0);
}

// A first launch whose own directory cannot be made (the data directory
// above it is read-only) runs without files: the directory is worked out
// once a process, so the SDK sends from memory and saves nothing until the
// next launch, even once the data directory is writable again.
TEST_F(LinuxHostFaultsTest, AFirstLaunchThatCannotMakeItsDirectoryRunsWithoutFilesUntilTheNextLaunch) {
  int port = service->port();
  chmod(data_.c_str(), 0500);
  auto probe = Probe("drive", port);
  ASSERT_EQ(Line(*probe, "launched")["launched"], true);
  EXPECT_EQ(WaitLog(*probe, "Persistence: Could not create directory").size(), 1u);
  Ask(*probe, "track Homeless 3", "tracked");
  ASSERT_TRUE(WaitDelivered({{"Homeless", 3}}));

  chmod(data_.c_str(), 0700);
  StopService();
  Ask(*probe, "track Unsaved 2", "tracked");
  ASSERT_EQ(Ask(*probe, "wait batchesRetried 1 10", "wait")["reached"], true);
  Ask(*probe, "background", "background");
  EXPECT_FALSE(std::filesystem::exists(SdkDirectory())) << "this process saves nothing";
  StartService(port);
  Ask(*probe, "foreground", "foreground");
  ASSERT_TRUE(WaitDelivered({{"Unsaved", 2}}));
  EXPECT_EQ(Ask(*probe, "quit", "quit")["quit"], true);
  EXPECT_EQ(probe->wait(10s), 0);

  // The next launch has its directory and its files again.
  auto next = Probe("drive", port);
  ASSERT_EQ(Line(*next, "launched")["launched"], true);
  Ask(*next, "track Housed 1", "tracked");
  EXPECT_TRUE(WaitFilesHold("Housed", 1));
  EXPECT_EQ(Ask(*next, "quit", "quit")["quit"], true);
  EXPECT_EQ(next->wait(10s), 0);
}

// Damaged files at launch: the SDK keeps what it can read of them, logs
// what it could not, and runs as usual. One killed run's files, damaged
// four ways, are each launched once.
TEST_F(LinuxHostFaultsTest, DamagedFilesAtLaunchCostOnlyTheEventsTheyNoLongerHold) {
  int port = ClosedPort();
  {
    // Three events saved in "Tessarin-events", three more in the journal.
    auto first = Probe("drive", port);
    ASSERT_EQ(Line(*first, "launched")["launched"], true);
    Ask(*first, "track Saved 3", "tracked");
    Ask(*first, "background", "background");
    ASSERT_TRUE(WaitFilesHold("Saved", 3));
    Ask(*first, "foreground", "foreground");
    Ask(*first, "track Journaled 3", "tracked");
    ASSERT_TRUE(WaitFilesHold("Journaled", 3));
    first->kill(SIGKILL);
    EXPECT_EQ(first->wait(5s), 128 + SIGKILL);
  }
  ASSERT_NE(ReadText(SdkDirectory() + "/Tessarin-events").find("\"Saved 2\""), std::string::npos);
  ASSERT_TRUE(std::filesystem::exists(SdkDirectory() + "/Tessarin-config"));

  struct Case {
    std::string file;
    std::string log;                      // what the SDK says about the damage
    std::map<std::string, int> expected;  // delivered copies of each event
  };
  auto cut = [](const std::string& text, std::size_t keep) { return text.substr(0, keep); };
  std::map<std::string, Case> cases = {
      {"config",
       {"Tessarin-config",
        "JSON: Couldn't deserialize string into JSON Object",
        {{"Saved 0", 1}, {"Saved 1", 1}, {"Saved 2", 1}, {"Journaled 0", 1}, {"Journaled 1", 1}, {"Journaled 2", 1}}}},
      {"events",
       {"Tessarin-events",
        "JSON: Couldn't deserialize string into JSON Array",
        {{"Saved 0", 0}, {"Saved 1", 0}, {"Saved 2", 0}, {"Journaled 0", 1}, {"Journaled 1", 1}, {"Journaled 2", 1}}}},
      {"journal",
       {"Tessarin-events-journal",
        "Events: Dropping the event journal's damaged tail of",
        {{"Saved 0", 1}, {"Saved 1", 1}, {"Saved 2", 1}, {"Journaled 0", 1}, {"Journaled 1", 1}, {"Journaled 2", 0}}}},
      {"journal-header",
       {"Tessarin-events-journal",
        "Events: Ignoring an event journal that does not start with its header",
        {{"Saved 0", 1}, {"Saved 1", 1}, {"Saved 2", 1}, {"Journaled 0", 0}, {"Journaled 1", 0}, {"Journaled 2", 0}}}},
  };
  for (auto& [name, damage] : cases) {
    std::string home = data_ + "/" + name;
    std::filesystem::create_directories(home);
    std::filesystem::copy(SdkDirectory(), home + "/com.tessarin.probe");
    std::string path = home + "/com.tessarin.probe/" + damage.file;
    std::string text = ReadText(path);
    if (name == "journal") {
      // The last record torn in two, and what a power loss leaves after it.
      std::size_t last = text.rfind('\n', text.size() - 2);
      WriteText(path, cut(text, last + (text.size() - last) / 2) + std::string("\0\0\0\0", 4));
    } else if (name == "journal-header") {
      WriteText(path, std::string(16, '\0') + text.substr(16));
    } else {
      WriteText(path, cut(text, text.size() / 2));
    }
  }

  StartService(port);
  for (auto& [name, damage] : cases) {
    SCOPED_TRACE(name);
    std::string home = data_ + "/" + name;
    auto before = ActionCounts();
    auto probe = Probe("drive", port, "", {}, home);
    ASSERT_EQ(Line(*probe, "launched")["launched"], true);
    ASSERT_EQ(Ask(*probe, "loaded 10", "loaded")["loaded"], true);
    EXPECT_FALSE(WaitLog(*probe, damage.log).empty());
    // It runs as usual: what it records now is delivered too.
    Ask(*probe, "track Fresh 1", "tracked");
    ASSERT_EQ(Ask(*probe, "flush 10", "flushed")["flushed"], true);
    auto after = ActionCounts();
    for (const auto& [action, copies] : damage.expected) EXPECT_EQ(after[action] - before[action], copies) << action;
    EXPECT_EQ(after["Fresh 0"] - before["Fresh 0"], 1);
    EXPECT_EQ(Ask(*probe, "quit", "quit")["quit"], true);
    EXPECT_EQ(probe->wait(10s), 0);
    // The damaged file has been written afresh.
    std::string repaired = ReadText(home + "/com.tessarin.probe/" + damage.file);
    if (damage.file != "Tessarin-events-journal") {
      EXPECT_FALSE(Json::parse(repaired, nullptr, false).is_discarded()) << repaired;
    }
  }
}

}  // namespace
}  // namespace tessarin

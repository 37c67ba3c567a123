// tessarin-linux-probe: a small Linux app that links Tessarin the way any
// app does (public headers, the shared instance, lifecycle reports from its
// own thread) and acts out one scenario, printing what it saw as JSON lines.
// The Linux host tests run it in a process of its own, so that each run has
// a fresh shared instance, and can kill it.
//
//   tessarin-linux-probe SCENARIO PORT
//
// The SDK keeps its files under $XDG_DATA_HOME; PORT is the local service's
// (a closed port makes the service unreachable). PROBE_OS names the
// operating system (default "Linux").
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>

#include "core/tessarin_impl.h"
#include "tessarin/host.h"
#include "tessarin/tessarin.h"

namespace {

using tessarin::Json;
using tessarin::Tessarin;
using tessarin::TessarinImpl;
using tessarin::TessarinHost;
using Clock = std::chrono::steady_clock;

void Print(const Json& line) { std::cout << tessarin::JsonDump(line) << std::endl; }

long Millis(Clock::time_point since) {
  return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

// Polls `done` every few milliseconds for at most `seconds`.
template <typename Done>
bool WaitFor(Done done, double seconds) {
  auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
  while (!done()) {
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::shared_ptr<Tessarin> Launch(int port) {
  tessarin::TessarinHostOptions host;
  host.bundleIdentifier = "com.tessarin.probe";
  host.bundleVersion = "1.0";
  if (const char* os = std::getenv("PROBE_OS")) host.osName = os;
  TessarinHost::configure(host);
  // Made on a thread of the app's own, as a worker might; the reports
  // below come from the app's main thread at once.
  std::shared_ptr<Tessarin> sdk;
  std::thread maker([&sdk] { sdk = Tessarin::sharedInstance(); });
  maker.join();
  if (const char* level = std::getenv("PROBE_LOG_LEVEL")) sdk->setLogLevel(std::atol(level));
  TessarinHost::applicationDidFinishLaunching();
  sdk->startWithConfiguration(Json{{"account", "probe"},
                                   {"dataset", "shop"},
                                   {"domain", "127.0.0.1"},
                                   {"protocol", "http"},
                                   {"port", port},
                                   {"useCDN", false},
                                   {"eventThrottleLimit", 100000},
                                   {"usePushNotifications", true}});
  TessarinHost::applicationDidBecomeActive();
  TessarinHost::syncWithMain();
  return sdk;
}

bool Loaded(const std::shared_ptr<Tessarin>& sdk) {
  TessarinHost::syncWithMain();
  return sdk->isServerConfigLoaded();
}

void Track(const std::shared_ptr<Tessarin>& sdk, const std::string& action) {
  if (auto context = sdk->globalContext()) context->trackAction(action);
}

int Lifecycle(int port) {
  auto sdk = Launch(port);
  auto global = sdk->globalContext();
  // What the SDK made of the reports is its own state, read from inside.
  auto internals = TessarinImpl::shared();
  Print({{"reachedActive", internals->hasReachedActiveAfterLaunchOrBackground()},
         {"processedLaunch", internals->processedLaunch()},
         {"globalActive", global && global->isActive()}});
  TessarinHost::applicationWillResignActive();
  TessarinHost::applicationDidEnterBackground();
  TessarinHost::syncWithMain();
  Print({{"backgroundReachedActive", internals->hasReachedActiveAfterLaunchOrBackground()},
         {"backgroundGlobalActive", global && global->isActive()}});
  TessarinHost::applicationWillEnterForeground();
  TessarinHost::applicationDidBecomeActive();
  TessarinHost::syncWithMain();
  Print({{"foregroundReachedActive", internals->hasReachedActiveAfterLaunchOrBackground()},
         {"foregroundGlobalActive", global && global->isActive()}});
  return 0;
}

// Quits from the foreground with the service unreachable: what was tracked
// must be in the queue's file afterwards.
int Terminate(int port) {
  auto sdk = Launch(port);
  for (int i = 0; i < 5; ++i) Track(sdk, "Terminate Event " + std::to_string(i));
  TessarinHost::applicationWillTerminate();
  Print({{"terminated", true}});
  std::_Exit(0);  // as a process ends: no destructors
}

int EntryPoints(int port) {
  auto sdk = Launch(port);
  if (!WaitFor([&] { return Loaded(sdk); }, 10)) return 3;
  bool mine = sdk->handleOpenURL("tsrprobe://test/all");
  bool other = sdk->handleOpenURL("https://example.com/");
  sdk->setAPNSToken(std::string("\x01\x02\xfe\xff", 4));
  sdk->setFirebaseToken("fcm-token-1");
  sdk->handleNotification(Json{{"tsr-eid", "exp-9"}}, tessarin::TessarinNotificationDefaultActionIdentifier);
  TessarinHost::syncWithMain();
  Track(sdk, "Probe Action");
  bool drained = sdk->flush(5);
  Print({{"mine", mine}, {"other", other}, {"drained", drained}});
  // Stays, sending what comes later (a token once its settings are read),
  // until the test has seen enough.
  for (;;) pause();
}

// Loads the configuration, then waits for the test to take the service
// down ("go" appears in the data directory), records one event and reports
// when its first attempt failed; after the test has brought the service
// back, reports how long after that failure the event was delivered.
int Retry(int port) {
  auto sdk = Launch(port);
  if (!WaitFor([&] { return Loaded(sdk); }, 10)) return 3;
  Print({{"loaded", true}});
  std::string go = std::string(std::getenv("XDG_DATA_HOME")) + "/go";
  if (!WaitFor([&] { return std::filesystem::exists(go); }, 10)) return 4;
  std::uint64_t sent = sdk->eventDiagnostics().eventsSent;
  Track(sdk, "Retry Event");
  if (!WaitFor([&] { return sdk->eventDiagnostics().batchesRetried >= 1; }, 10)) return 5;
  auto failed = Clock::now();
  Print({{"retrying", true}});
  bool delivered = WaitFor([&] { return sdk->eventDiagnostics().eventsSent > sent; }, 10);
  Print({{"delivered", delivered}, {"afterFailureMs", Millis(failed)}});
  return 0;
}

// Records events with the service unreachable and stays until killed.
int Record(int port, int count) {
  auto sdk = Launch(port);
  for (int i = 0; i < count; ++i) Track(sdk, "Kill Event " + std::to_string(i));
  Print({{"recorded", count}});
  for (;;) pause();
}

// Starts again with the service reachable and sends what was left.
int Deliver(int port) {
  auto sdk = Launch(port);
  bool drained = WaitFor([&] { return Loaded(sdk) && sdk->flush(1); }, 20);
  Print({{"drained", drained}, {"diagnostics", sdk->eventDiagnostics().description()}});
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: tessarin-linux-probe lifecycle|terminate|entrypoints|retry|record|deliver PORT [COUNT]\n";
    return 64;
  }
  std::string scenario = argv[1];
  int port = std::atoi(argv[2]);
  if (scenario == "lifecycle") return Lifecycle(port);
  if (scenario == "terminate") return Terminate(port);
  if (scenario == "entrypoints") return EntryPoints(port);
  if (scenario == "retry") return Retry(port);
  if (scenario == "record") return Record(port, argc > 3 ? std::atoi(argv[3]) : 100);
  if (scenario == "deliver") return Deliver(port);
  return 64;
}

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
// operating system (default "Linux"); PROBE_PROTOCOL is "http" (default) or
// "https"; PROBE_TRUST names the PEM file of the certificates to trust
// instead of the system's; PROBE_REQUEST_TIMEOUT bounds a request, in
// seconds.
#include <linux/capability.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <mutex>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>
#include <string>
#include <thread>

#include "core/tessarin_impl.h"
#include "platform/ui/pass_through_window.h"
#include "platform/ui/screen.h"
#include "platform/ui/view.h"
#include "platform/ui/window.h"
#include "util/config.h"
#include "util/environment.h"
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

std::shared_ptr<Tessarin> Launch(int port, tessarin::TessarinHostOptions host = {}) {
  host.bundleIdentifier = "com.tessarin.probe";
  host.bundleVersion = "1.0";
  if (const char* os = std::getenv("PROBE_OS")) host.osName = os;
  if (const char* trust = std::getenv("PROBE_TRUST")) host.trustedCertificatesFile = trust;
  if (const char* timeout = std::getenv("PROBE_REQUEST_TIMEOUT")) host.requestTimeout = std::atof(timeout);
  const char* protocol = std::getenv("PROBE_PROTOCOL");
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
                                   {"protocol", protocol ? protocol : "http"},
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
  // Whatever the launch sent is delivered first, so that no batch of it is
  // still in flight (and counted as sent later) once the service goes.
  if (!WaitFor([&] { return Loaded(sdk) && sdk->flush(1); }, 10)) return 3;
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

// Whether a library whose file name starts with one of `names` is mapped
// into this process.
bool Mapped(std::initializer_list<const char*> names) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    for (const char* name : names) {
      if (line.find(name) != std::string::npos) return true;
    }
  }
  return false;
}

// Starts again with the service reachable and sends what was left.
int Deliver(int port) {
  auto sdk = Launch(port);
  bool drained = WaitFor([&] { return Loaded(sdk) && sdk->flush(1); }, 20);
  Print({{"drained", drained},
         {"diagnostics", sdk->eventDiagnostics().description()},
         {"drawingLoaded", Mapped({"/libcairo", "/libpango"})},
         {"unicodeLoaded", Mapped({"/libicu"})}});
  return 0;
}

// --- Driven: a long-lived app that does what the test tells it -------------

// Every line the SDK logged, as "<label> <message>".
struct LogLines {
  std::mutex mutex;
  std::vector<std::string> lines;
};

Json DiagnosticsJson(const tessarin::TSREventDiagnostics& d) {
  return {{"eventsSent", d.eventsSent},           {"batchesRetried", d.batchesRetried},
          {"droppedRejected", d.droppedRejected}, {"droppedThrottled", d.droppedThrottled},
          {"droppedTooLarge", d.droppedTooLarge}, {"droppedCountTrim", d.droppedCountTrim},
          {"droppedByteTrim", d.droppedByteTrim}, {"droppedAtReset", d.droppedAtReset}};
}

// Root may write where the file permissions say nobody may; an app run by
// root then never sees a read-only directory. Dropping those capabilities
// makes the permissions hold for this process, whoever runs it. Threads
// inherit the capabilities of the thread that makes them, so this comes
// before the SDK starts any.
void ObeyFilePermissions() {
  if (geteuid() != 0) return;
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  if (syscall(SYS_capget, &header, data) != 0) return;
  for (int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    data[capability / 32].effective &= ~(1u << (capability % 32));
  }
  syscall(SYS_capset, &header, data);
}

// A full disk, as this process sees it: with a file-size limit of 0 every
// write that would grow a file fails (EFBIG, where a full disk says
// ENOSPC), and freeing it puts the limit back.
bool SetDiskFull(bool full) {
  static rlimit original = [] {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    return limit;
  }();
  rlimit limit = original;
  if (full) limit.rlim_cur = 0;
  return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

// Reads commands, one a line, from standard input, and answers each with
// one JSON line:
//   track NAME COUNT          records the actions "NAME 0" ... "NAME COUNT-1"
//   wait COUNTER N SECONDS    waits until the diagnostics' COUNTER (eventsSent,
//                             batchesRetried, droppedRejected ...) reaches N
//   diagnostics               what became of the events so far
//   flush SECONDS             sends what is queued, cutting a back-off short
//   loaded SECONDS            waits for the server configuration
//   config KEY SECONDS [TEXT] waits until the configuration's KEY is TEXT
//                             (without TEXT: until it holds no text for KEY)
//   log TEXT                  the log lines so far that contain TEXT
//   background | foreground   the app leaves the screen, or comes back
//   reactivate                the app's window loses the focus and gets it back
//   disk full | disk free     writes fail from now on, or succeed again
//   quit
// Lines the SDK logs at Info and above are kept for "log"; they reach
// standard error only with PROBE_LOG_LEVEL.
int Drive(int port) {
  ObeyFilePermissions();
  // A write past the file-size limit fails rather than ending the process.
  signal(SIGXFSZ, SIG_IGN);
  auto logs = std::make_shared<LogLines>();
  tessarin::TSRLogger::setWritesToStderr(std::getenv("PROBE_LOG_LEVEL") != nullptr);
  tessarin::TSRLogger::setSink([logs](const tessarin::LogRecord& record) {
    std::lock_guard<std::mutex> lock(logs->mutex);
    logs->lines.push_back(record.label + " " + record.message);
  });
  // Before the launch: what the SDK makes of its files is logged then.
  tessarin::TSRLogger::setLogLevel(tessarin::TSRLogLevelInfo);
  auto sdk = Launch(port);
  Print({{"launched", true}});

  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "track") {
      std::string name;
      int count = 0;
      words >> name >> count;
      for (int i = 0; i < count; ++i) Track(sdk, name + " " + std::to_string(i));
      Print({{"tracked", name}, {"count", count}});
    } else if (command == "wait") {
      std::string counter;
      std::uint64_t target = 0;
      double seconds = 0;
      words >> counter >> target >> seconds;
      auto value = [&] { return DiagnosticsJson(sdk->eventDiagnostics()).value(counter, std::uint64_t{0}); };
      bool reached = WaitFor([&] { return value() >= target; }, seconds);
      Print({{"wait", counter}, {"reached", reached}, {"diagnostics", DiagnosticsJson(sdk->eventDiagnostics())}});
    } else if (command == "diagnostics") {
      Print({{"diagnostics", DiagnosticsJson(sdk->eventDiagnostics())}});
    } else if (command == "flush") {
      double seconds = 0;
      words >> seconds;
      Print({{"flushed", sdk->flush(seconds)}});
    } else if (command == "loaded") {
      double seconds = 0;
      words >> seconds;
      Print({{"loaded", WaitFor([&] { return Loaded(sdk); }, seconds)}});
    } else if (command == "config") {
      std::string key, wanted;
      double seconds = 0;
      words >> key >> seconds >> wanted;
      // The configuration is the main thread's.
      auto current = [&] {
        std::optional<std::string> value;
        TessarinImpl::shared()->environment().platform().mainQueue()->sync(
            [&] { value = TessarinImpl::shared()->config().stringForKey(key); });
        return value;
      };
      bool reached = WaitFor([&] { return wanted.empty() ? !current() : current() == wanted; }, seconds);
      auto value = current();
      Print({{"config", key}, {"reached", reached}, {"value", value ? Json(*value) : Json()}});
    } else if (command == "log") {
      std::string text;
      std::getline(words >> std::ws, text);
      Json matching = Json::array();
      std::lock_guard<std::mutex> lock(logs->mutex);
      for (const auto& logged : logs->lines) {
        if (logged.find(text) != std::string::npos) matching.push_back(logged);
      }
      Print({{"log", text}, {"lines", matching}});
    } else if (command == "background") {
      TessarinHost::applicationWillResignActive();
      TessarinHost::applicationDidEnterBackground();
      TessarinHost::syncWithMain();
      Print({{"background", true}});
    } else if (command == "foreground") {
      TessarinHost::applicationWillEnterForeground();
      TessarinHost::applicationDidBecomeActive();
      TessarinHost::syncWithMain();
      Print({{"foreground", true}});
    } else if (command == "reactivate") {
      TessarinHost::applicationWillResignActive();
      TessarinHost::applicationDidBecomeActive();
      TessarinHost::syncWithMain();
      Print({{"reactivated", true}});
    } else if (command == "disk") {
      std::string state;
      words >> state;
      Print({{"disk", state}, {"ok", SetDiskFull(state == "full")}});
    } else if (command == "quit") {
      Print({{"quit", true}});
      break;
    } else {
      Print({{"unknown", line}});
    }
  }
  return 0;
}

namespace ui = tessarin::platform::ui;


class TouchLog : public ui::View {
 public:
  using View::View;
  void touchBegan(const ui::Touch&) override { events += 'b'; }
  void touchEnded(const ui::Touch&) override { events += 'e'; }
  void touchCancelled(const ui::Touch&) override { events += 'c'; }
  std::string events;
};

// What the app's overlay callback saw, kept for the app's main thread.
struct Frames {
  std::mutex mutex;
  int count = 0;
  int width = 0;
  bool visible = false;
  std::uint32_t onView = 0;   // the pixel at (150, 125) points
  std::uint32_t offView = 0;  // at (20, 20) points
  bool onSdkThread = true;
};

std::uint32_t PixelAt(const tessarin::TessarinOverlayFrame& frame, double x, double y, double scale) {
  int px = static_cast<int>(x * scale), py = static_cast<int>(y * scale);
  if (px >= frame.width || py >= frame.height) return 0xdeadbeef;
  std::uint32_t pixel;
  std::memcpy(&pixel, frame.pixels + py * frame.stride + px * 4, 4);
  return pixel;
}

// Configures a 320 x 240 point screen at scale 2 with an overlay callback,
// shows a window of the SDK's with a red view at (100, 100, 100 x 50)
// points, presses on the view and beside it from the app's own thread, then
// makes the screen smaller and hides the window.
int Overlay(int port) {
  auto frames = std::make_shared<Frames>();
  auto app_thread = std::this_thread::get_id();
  constexpr double scale = 2;
  tessarin::TessarinHostOptions host;
  host.screenWidth = 320;
  host.screenHeight = 240;
  host.screenScale = scale;
  host.overlayCallback = [frames, app_thread](const tessarin::TessarinOverlayFrame& frame) {
    std::lock_guard<std::mutex> lock(frames->mutex);
    ++frames->count;
    frames->width = frame.width;
    frames->visible = frame.visible;
    frames->onView = PixelAt(frame, 150, 125, scale);
    frames->offView = PixelAt(frame, 20, 20, scale);
    if (std::this_thread::get_id() == app_thread) frames->onSdkThread = false;
  };
  auto sdk = Launch(port, host);
  // In-app messages will show their windows this way: on the SDK's main
  // queue, on the screen the environment holds.
  tessarin::Environment& environment = TessarinImpl::shared()->environment();
  ui::Screen* screen = environment.screen();
  if (!screen) return 5;
  std::shared_ptr<ui::PassThroughWindow> window;
  std::shared_ptr<TouchLog> view;
  environment.platform().mainQueue()->sync([&] {
    window = std::make_shared<ui::PassThroughWindow>(*screen);
    window->setWindowLevel(ui::kWindowLevelAlert - 1);
    view = std::make_shared<TouchLog>(ui::Rect{100, 100, 100, 50});
    view->setBackgroundColor(ui::Color::fromRGBA(0xff0000ff));
    window->addSubview(view);
    window->makeKeyAndVisible();
  });
  auto frame = [&](auto&& check) {
    return WaitFor(
        [&] {
          std::lock_guard<std::mutex> lock(frames->mutex);
          return check(*frames);
        },
        10);
  };
  bool shown = frame([](const Frames& f) { return f.visible && f.onView == 0xffff0000u; });
  std::uint32_t off_view;
  int shown_frames;
  {
    std::lock_guard<std::mutex> lock(frames->mutex);
    off_view = frames->offView;
    shown_frames = frames->count;
  }
  double t = 10.0;
  bool on_view_down = TessarinHost::pointerDown(150, 125, t);
  bool on_view_move = TessarinHost::pointerMove(300, 200, t + 0.05);
  bool on_view_up = TessarinHost::pointerUp(300, 200, t + 0.1);
  bool off_view_down = TessarinHost::pointerDown(20, 20, t + 1);
  bool off_view_move = TessarinHost::pointerMove(150, 125, t + 1.05);
  bool off_view_up = TessarinHost::pointerUp(150, 125, t + 1.1);
  std::string touches;
  environment.platform().mainQueue()->sync([&] { touches = view->events; });

  TessarinHost::setScreen(200, 150, scale);
  bool resized = frame([](const Frames& f) { return f.visible && f.width == 400 && f.onView == 0xffff0000u; });
  // Kit objects live and die on the main queue.
  environment.platform().mainQueue()->sync([&] {
    window->setHidden(true);
    window.reset();
    view.reset();
  });
  bool hidden = frame([](const Frames& f) { return !f.visible; });
  bool on_sdk_thread;
  {
    std::lock_guard<std::mutex> lock(frames->mutex);
    on_sdk_thread = frames->onSdkThread;
  }
  Print({{"shown", shown},
         {"shownFrames", shown_frames},
         {"offViewPixel", off_view},
         {"onViewDown", on_view_down},
         {"onViewMove", on_view_move},
         {"onViewUp", on_view_up},
         {"offViewDown", off_view_down},
         {"offViewMove", off_view_move},
         {"offViewUp", off_view_up},
         {"touches", touches},
         {"resized", resized},
         {"hidden", hidden},
         {"onSdkThread", on_sdk_thread}});
  return 0;
}

}  // namespace

// The overlay as the app keeps it: the latest frame's pixels.
struct Picture {
  std::mutex mutex;
  bool visible = false;
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;
};

// The centre of the pixels of exactly `color` (0xAARRGGBB), in pixels.
std::optional<std::pair<double, double>> CentreOf(Picture& picture, std::uint32_t color) {
  std::lock_guard<std::mutex> lock(picture.mutex);
  if (!picture.visible) return std::nullopt;
  int minX = picture.width, minY = picture.height, maxX = -1, maxY = -1;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      if (picture.pixels[static_cast<std::size_t>(y * picture.width + x)] != color) continue;
      minX = std::min(minX, x), maxX = std::max(maxX, x), minY = std::min(minY, y), maxY = std::max(maxY, y);
    }
  }
  if (maxX < 0) return std::nullopt;
  return std::make_pair((minX + maxX + 1) / 2.0, (minY + maxY + 1) / 2.0);
}

// In-app messages the service answers, shown through the overlay and
// acted on with the app's pointer: a message whose green button is pressed,
// then (after the action "Next") one whose blue panel is tapped, then
// (after "Swipe") one whose magenta panel is flung away. The service
// decides which message follows which action.
int Message(int port) {
  auto picture = std::make_shared<Picture>();
  tessarin::TessarinHostOptions host;
  host.screenWidth = 320;
  host.screenHeight = 480;
  host.screenScale = 1;
  host.overlayCallback = [picture](const tessarin::TessarinOverlayFrame& frame) {
    std::lock_guard<std::mutex> lock(picture->mutex);
    picture->visible = frame.visible;
    picture->width = frame.width;
    picture->height = frame.height;
    picture->pixels.resize(static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height));
    for (int y = 0; y < frame.height; ++y) {
      std::memcpy(&picture->pixels[static_cast<std::size_t>(y * frame.width)], frame.pixels + y * frame.stride,
                  static_cast<std::size_t>(frame.width) * 4);
    }
  };
  auto sdk = Launch(port, host);
  auto hidden = [&] {
    return WaitFor(
        [&] {
          std::lock_guard<std::mutex> lock(picture->mutex);
          return !picture->visible;
        },
        10);
  };
  Json result = Json::object();
  double t = 100;

  Track(sdk, "First");
  std::optional<std::pair<double, double>> button;
  result["buttonShown"] = WaitFor([&] { return (button = CentreOf(*picture, 0xff00ff00u)).has_value(); }, 15);
  if (button) {
    result["buttonDown"] = TessarinHost::pointerDown(button->first, button->second, t);
    result["buttonUp"] = TessarinHost::pointerUp(button->first, button->second, t + 0.05);
    result["buttonHidden"] = hidden();
  }

  Track(sdk, "Next");
  std::optional<std::pair<double, double>> panel;
  result["panelShown"] = WaitFor([&] { return (panel = CentreOf(*picture, 0xff0000ffu)).has_value(); }, 15);
  if (panel) {
    // Beside the panel, the touch is the app's.
    result["besideDown"] = TessarinHost::pointerDown(5, 5, t + 1);
    TessarinHost::pointerUp(5, 5, t + 1.05);
    result["panelDown"] = TessarinHost::pointerDown(panel->first, panel->second, t + 2);
    result["panelUp"] = TessarinHost::pointerUp(panel->first, panel->second, t + 2.05);
    result["panelHidden"] = hidden();
  }

  Track(sdk, "Swipe");
  std::optional<std::pair<double, double>> swipe;
  result["swipeShown"] = WaitFor([&] { return (swipe = CentreOf(*picture, 0xffff00ffu)).has_value(); }, 15);
  if (swipe) {
    // 240 points to the left at 1,200 points a second, a move a frame.
    double x = swipe->first, y = swipe->second, at = t + 3;
    bool taken = TessarinHost::pointerDown(x, y, at);
    for (int step = 1; step <= 12; ++step) taken &= TessarinHost::pointerMove(x - 20.0 * step, y, at + step / 60.0);
    taken &= TessarinHost::pointerUp(x - 240, y, at + 13 / 60.0);
    result["swipeTaken"] = taken;
    result["swipeHidden"] = hidden();
  }

  // A marketer's test link: the SDK confirms it in an alert of its own,
  // drawn in the overlay, which holds every touch while it is up and goes
  // by itself after three seconds.
  sdk->handleOpenURL("tsrprobe://test/all");
  result["alertShown"] = WaitFor(
      [&] {
        std::lock_guard<std::mutex> lock(picture->mutex);
        return picture->visible;
      },
      10);
  result["alertTakesTouches"] = TessarinHost::pointerDown(5, 5, t + 5);
  TessarinHost::pointerUp(5, 5, t + 5.05);
  result["alertGone"] = hidden();
  result["flushed"] = sdk->flush(10);
  Print(result);
  return 0;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: tessarin-linux-probe "
                 "lifecycle|terminate|entrypoints|retry|record|deliver|overlay|message|drive PORT [COUNT]\n";
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
  if (scenario == "overlay") return Overlay(port);
  if (scenario == "message") return Message(port);
  if (scenario == "drive") return Drive(port);
  return 64;
}

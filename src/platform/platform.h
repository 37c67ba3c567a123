// The seam between Tessarin and the operating system.
//
// Everything outside the SDK's own logic (threads and queues, clocks and
// timers, facts about the host application and the device, files) is
// reached through one Platform object. Two implementations exist: the
// simulated host (sim/), which runs every queue on the test's thread on
// virtual time, and the Linux host (linux/), with real threads and files.
#ifndef TESSARIN_PLATFORM_PLATFORM_H_
#define TESSARIN_PLATFORM_PLATFORM_H_

#include <cerrno>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/network_reachability.h"
#include "tessarin/json.h"

namespace tessarin::platform {

using Task = std::function<void()>;

enum class Clock {
  kMonotonic,  // stops while the device sleeps; never jumps
  kWall,       // seconds since 1970; may jump when the user changes the time
};

// A serial queue: tasks run one at a time, in the order they were queued.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;
  virtual const std::string& label() const = 0;
  virtual void async(Task task) = 0;
  // Runs the task on the queue and waits for it. Calling it from the queue
  // itself runs the task inline.
  virtual void sync(Task task) = 0;
  // Whether the calling code is running as a task of this queue (for the
  // main queue: on the main thread).
  virtual bool isCurrent() const = 0;
};

// A dispatch timer source. Cancelling is final and may be called from any
// thread; a cancelled timer never fires again. The platform keeps a timer
// until it is cancelled (or, for a one-shot timer, has fired): dropping the
// handle does not stop it.
class Timer {
 public:
  virtual ~Timer() = default;
  virtual void cancel() = 0;
  virtual bool cancelled() const = 0;
};

struct TimerSpec {
  Clock clock = Clock::kMonotonic;
  double startDelay = 0;  // seconds from now to the first firing
  double interval = 0;    // seconds between firings; <= 0 fires once
  double leeway = 0;      // seconds the firing may be late, to save power
};

// Facts a file operation reports when it fails.
struct IoResult {
  bool ok = true;
  int code = 0;
  std::string description;
  static IoResult Success() { return {}; }
  static IoResult Failure(int code, std::string description) { return {false, code, std::move(description)}; }
};

// A date, or the description of why there is none.
struct DateResult {
  std::optional<double> date;  // seconds since 1970
  std::string error;
};

// A file open for appending. What `append` returns from has been handed to
// the operating system (nothing stays buffered in the process), so it
// survives the process being killed; `sync` makes it survive a power loss
// too. The file is closed when the object goes.
class AppendFile {
 public:
  virtual ~AppendFile() = default;
  // Writes all of `data` at the end of the file. On failure part of it may
  // have been written.
  virtual IoResult append(std::string_view data) = 0;
  // Flushes what was appended to the storage device.
  virtual IoResult sync() = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;
  // The user-domain application-support directory, created if missing.
  virtual std::optional<std::string> applicationSupportDirectory(std::string* error) = 0;
  virtual IoResult createDirectory(const std::string& path) = 0;  // with intermediates
  virtual bool fileExists(const std::string& path) = 0;
  virtual IoResult readFile(const std::string& path, std::string* contents) = 0;
  // Temporary file, fsync, rename; created with mode 0600.
  virtual IoResult writeFileAtomically(const std::string& path, const std::string& contents) = 0;
  virtual IoResult removeFile(const std::string& path) = 0;
  virtual IoResult excludeFromBackup(const std::string& path) = 0;
  // Opens the file for appending, creating it (mode 0600) when missing.
  // Null, with `result` saying why, when it cannot; a file system that
  // cannot append at all answers that.
  virtual std::unique_ptr<AppendFile> openForAppend(const std::string& path, IoResult* result) {
    if (result) *result = IoResult::Failure(ENOTSUP, "appending is not supported: " + path);
    return nullptr;
  }
};

class HostObject;
class HostRuntime;
class Window;
namespace ui {
class Screen;
class UIEnvironment;
}  // namespace ui

// The user's notification settings for the app, as the notification centre
// reports them; the numbers are the platform's.
struct NotificationSettings {
  // 0 not determined, 1 denied, 2 authorized, 3 provisional, 4 ephemeral.
  int authorizationStatus = 0;
  // 0 not supported, 1 disabled, 2 enabled.
  int alertSetting = 0;
  int notificationCenterSetting = 0;
  // 0 none, 1 banner, 2 alert.
  int alertStyle = 0;
};

// What the host application is and how it was built and distributed.
class HostApplication {
 public:
  virtual ~HostApplication() = default;
  virtual std::optional<std::string> bundleIdentifier() = 0;
  // A value of the application's Info.plist, or nothing.
  virtual std::optional<Json> infoValue(const std::string& key) = 0;
  // The path of a resource in the application bundle, when it exists.
  virtual std::optional<std::string> bundleResourcePath(const std::string& name,
                                                        const std::string& type) = 0;
  // The App Store receipt's URL, as text ("file:///..."), when the bundle names one.
  virtual std::optional<std::string> appStoreReceiptURL() = 0;
  virtual DateResult homeDirectoryCreationDate() = 0;
  virtual DateResult bundleModificationDate() = 0;
  // Whether there is a shared application object (there is none in an
  // extension or a bare test process).
  virtual bool hasSharedApplication() = 0;
  // 0 active, 1 inactive, 2 background.
  virtual int applicationState() = 0;
  virtual bool runningInSimulator() = 0;
  // Whether a unit-test harness is loaded in the process.
  virtual bool runningUnitTests() = 0;
  // What "TessarinSwizzlingEnabled" means when the Info values leave it
  // out: whether the application's delegates reach objects the SDK can
  // intercept. Where they do not, the app's own push, notification and URL
  // calls must act, or nothing would.
  virtual bool swizzlingEnabledByDefault() { return true; }
  // The status bar's orientation, where the application answers it:
  // 1 portrait, 2 portrait upside down, 3 landscape left, 4 landscape right.
  virtual std::optional<int> statusBarOrientation() { return std::nullopt; }
  // Width and height of the first normal window, when there is one.
  virtual std::optional<std::pair<double, double>> firstNormalWindowSize() { return std::nullopt; }
  // Asks the system to open the URL (another app, the browser, or this app
  // itself); the completion learns whether something handled it. A host
  // that cannot open URLs answers false.
  virtual void openURL(const std::string& url, std::function<void(bool success)> completion) {
    (void)url;
    if (completion) completion(false);
  }
  // The shared application object, of class "UIApplication": the SDK
  // intercepts its "sendEvent:" and "setDelegate:". Null on a host without
  // one.
  virtual std::shared_ptr<HostObject> applicationObject() { return nullptr; }
  // The application's windows, in the order the application keeps them.
  virtual std::vector<std::shared_ptr<Window>> windows() { return {}; }
  // On a host whose windows are the UI kit's (the simulated host, once its
  // user interface is made), the kit's environment and the main screen, on
  // which the SDK shows its own windows beside the app's; null elsewhere.
  virtual ui::UIEnvironment* userInterfaceEnvironment() { return nullptr; }
  virtual ui::Screen* mainScreen() { return nullptr; }
  // Asks the notification centre for the user's notification settings.
  // The answer comes later, on a queue of the notification centre's own
  // (never the main queue), as it does where the settings live in another
  // process. A host without notifications answers "not determined".
  virtual void getNotificationSettings(std::function<void(const NotificationSettings& settings)> completion) = 0;
};

// Facts about the device for events.
class Device {
 public:
  virtual ~Device() = default;
  virtual std::optional<std::string> identifierForVendor() = 0;  // a UUID
  virtual std::string hardwareMachine() = 0;                     // the kernel's machine name
  virtual std::string model() = 0;
  virtual std::string systemName() = 0;  // the operating system's name, e.g. "iOS"
  virtual std::string systemVersion() = 0;
  virtual int userInterfaceIdiom() = 0;  // 0 phone, 1 pad, -1 unspecified
  virtual std::optional<std::string> localTimeZoneName() = 0;
  // The advertising identifier and its switch, where an advertising
  // framework is present; nothing where it is not.
  virtual std::optional<std::string> advertisingIdentifier() = 0;
  virtual std::optional<bool> advertisingTrackingEnabled() = 0;
};

// Lifecycle notification names the host application posts on the platform's
// notification centre.
inline constexpr const char* kApplicationDidFinishLaunchingNotification =
    "UIApplicationDidFinishLaunchingNotification";
inline constexpr const char* kApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr const char* kApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* kApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* kApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";
inline constexpr const char* kApplicationWillTerminateNotification =
    "UIApplicationWillTerminateNotification";
inline constexpr const char* kApplicationDidChangeStatusBarOrientationNotification =
    "UIApplicationDidChangeStatusBarOrientationNotification";

class NotificationCenter;
class HttpTransport;
class AlertPresenter;

class Platform : public std::enable_shared_from_this<Platform> {
 public:
  virtual ~Platform() = default;

  // Execution.
  virtual std::shared_ptr<DispatchQueue> mainQueue() = 0;
  virtual bool isMainThread() = 0;
  virtual std::shared_ptr<DispatchQueue> createSerialQueue(const std::string& label) = 0;
  // The block runs on the queue at each firing; the timer is already running.
  virtual std::shared_ptr<Timer> scheduleTimer(const std::shared_ptr<DispatchQueue>& queue,
                                               const TimerSpec& spec, Task block) = 0;
  // Seconds on the given clock.
  virtual double now(Clock clock) = 0;

  // The platform's default notification centre.
  virtual NotificationCenter& notificationCenter() = 0;

  virtual HostApplication& hostApplication() = 0;
  virtual Device& device() = 0;
  virtual FileSystem& fileSystem() = 0;
  // The host's object classes, for look-up by name and for method
  // interception. Null on a host whose objects have no runtime to
  // intercept (a plain Linux process has no view controllers).
  virtual HostRuntime* hostRuntime() { return nullptr; }
  // Where the SDK's alerts appear. Null on a host that cannot show any.
  virtual AlertPresenter* alertPresenter() { return nullptr; }
  // The URL-loading system. Null on a host that has none.
  virtual HttpTransport* httpTransport() { return nullptr; }

  // A source that reports the target's reachability flags to `callback` on
  // `queue` once started; nothing where the host cannot tell.
  virtual std::shared_ptr<NetworkReachability> createNetworkReachability(
      const ReachabilityTarget& /*target*/, std::shared_ptr<DispatchQueue> /*queue*/,
      NetworkReachability::Callback /*callback*/) {
    return nullptr;
  }
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_PLATFORM_H_

// The process-wide façade and the host it runs on.
#include <chrono>
#include <future>
#include <memory>
#include <mutex>

#include "base/category_markers.h"
#include "base/log.h"
#include "core/composition_root.h"
#include "core/host_overlay.h"
#include "core/tessarin_impl.h"
#include "platform/linux/linux_platform.h"
#include "tessarin/host.h"
#include "tracking/idle_tracking.h"

namespace tessarin {
namespace {

using platform::linux_host::LinuxHostOptions;
using platform::linux_host::LinuxPlatform;

// The host platform and the shared instance are the process's own, made
// once; they are never destroyed, as the reference platform's singleton is
// not, so no thread of the SDK outlives its platform at exit.
struct ProcessHost {
  std::mutex mutex;
  LinuxPlatform* platform = nullptr;
  std::shared_ptr<LinuxPlatform> platform_owner;
  // The screen the SDK's windows are drawn on for the app, made with the
  // platform and, like it, never destroyed.
  HostOverlay* overlay = nullptr;
  std::once_flag instance_once;
  std::shared_ptr<TessarinImpl> instance;
};

ProcessHost& Host() {
  static ProcessHost* host = new ProcessHost();
  return *host;
}

LinuxPlatform& EnsurePlatform(TessarinHostOptions options, bool* created) {
  ProcessHost& host = Host();
  std::lock_guard<std::mutex> lock(host.mutex);
  *created = false;
  if (!host.platform) {
    LinuxHostOptions linux_options;
    linux_options.bundle_identifier =
        options.bundleIdentifier ? options.bundleIdentifier : LinuxPlatform::DefaultBundleIdentifier();
    linux_options.bundle_version = options.bundleVersion;
    linux_options.info = options.info.is_object() ? options.info : Json::object();
    linux_options.vendor_name = options.vendorName;
    linux_options.data_directory = options.dataDirectory;
    if (options.postToMain) linux_options.post_to_main = std::move(options.postToMain);
    linux_options.main_thread = options.mainThread;
    linux_options.os_name = options.osName;
    linux_options.routes_delegates_through_sdk = options.routesDelegatesThroughSDK;
    linux_options.notifications_allowed = options.notificationsAllowed;
    linux_options.trusted_certificates_file = options.trustedCertificatesFile;
    linux_options.request_timeout = options.requestTimeout;
    host.platform_owner = std::make_shared<LinuxPlatform>(std::move(linux_options));
    host.platform = host.platform_owner.get();
    host.overlay = new HostOverlay(*host.platform);
    host.overlay->setScreen(options.screenWidth, options.screenHeight, options.screenScale);
    if (options.overlayCallback) host.overlay->setCallback(std::move(options.overlayCallback));
    *created = true;
  }
  return *host.platform;
}

HostOverlay& Overlay() {
  bool created = false;
  EnsurePlatform({}, &created);
  return *Host().overlay;
}

// How long the app's thread waits for the SDK to save at termination. The
// SDK's main loop may be busy (or, with a host loop, not turning at all);
// the app must be able to quit regardless.
constexpr auto kTerminateWait = std::chrono::seconds(2);

// A lifecycle report takes effect on the SDK's main queue: the state is set
// and the notification posted in one task, so reports from any thread take
// effect in the order they were made, and each observer sees the state its
// notification announces. The shared instance is made first, so that its
// observers are in place for the first report. Returns once the report has
// taken effect, or at once when `wait` is zero.
void Report(int state, const char* notification, std::chrono::milliseconds wait = {}) {
  TessarinImpl::shared();
  LinuxPlatform& platform = *Host().platform;
  auto report = [&platform, state, notification] {
    if (state >= 0) platform.setApplicationState(state);
    platform.postLifecycle(notification);
  };
  if (platform.isMainThread()) {
    report();
    return;
  }
  if (wait.count() == 0) {
    platform.mainQueue()->async(report);
    return;
  }
  auto done = std::make_shared<std::promise<void>>();
  std::future<void> reported = done->get_future();
  platform.mainQueue()->async([report, done] {
    report();
    done->set_value();
  });
  reported.wait_for(wait);
}

}  // namespace

std::shared_ptr<TessarinImpl> TessarinImpl::shared() {
  ProcessHost& host = Host();
  std::call_once(host.instance_once, [&host] {
    bool created = false;
    EnsurePlatform({}, &created);
    auto environment = std::make_shared<TSRUtilityDI>(host.platform_owner);
    environment->setUserInterface(&host.overlay->userInterface(), &host.overlay->screen());
    host.instance = createWithEnvironment(environment);
    for (const std::string& message : MissingCategoryMessages()) TSR_LOG_ERROR("%@", message);
  });
  return host.instance;
}

std::shared_ptr<Tessarin> Tessarin::sharedInstance() { return TessarinImpl::shared(); }

std::shared_ptr<SdkFacade> sharedSdkFacade() { return TessarinImpl::shared(); }

bool TessarinHost::configure(TessarinHostOptions options) {
  bool created = false;
  EnsurePlatform(std::move(options), &created);
  return created;
}

void TessarinHost::applicationDidFinishLaunching() {
  Report(1, platform::kApplicationDidFinishLaunchingNotification);
}
void TessarinHost::applicationDidBecomeActive() { Report(0, platform::kApplicationDidBecomeActiveNotification); }
void TessarinHost::applicationWillResignActive() {
  Report(1, platform::kApplicationWillResignActiveNotification);
}
void TessarinHost::applicationDidEnterBackground() {
  Report(2, platform::kApplicationDidEnterBackgroundNotification);
}
void TessarinHost::applicationWillEnterForeground() {
  Report(2, platform::kApplicationWillEnterForegroundNotification);
}
void TessarinHost::applicationWillTerminate() {
  // A desktop app often quits straight from the foreground. From the SDK's
  // side it is leaving the screen either way, so the state is background
  // and the stop that follows saves the queue as going to the background
  // does; the app's thread waits for that, within bounds.
  Report(2, platform::kApplicationWillTerminateNotification,
         std::chrono::duration_cast<std::chrono::milliseconds>(kTerminateWait));
}

void TessarinHost::reportUserEvent() {
  if (auto tracking = TessarinImpl::shared()->idleTracking()) tracking->reportUserEvent();
}

void TessarinHost::syncWithMain() {
  bool created = false;
  LinuxPlatform& platform = EnsurePlatform({}, &created);
  if (platform.isMainThread()) return;
  platform.mainQueue()->sync([] {});
}

void TessarinHost::setScreen(double width, double height, double scale) {
  Overlay().setScreen(width, height, scale);
}

void TessarinHost::setOverlayCallback(TessarinOverlayCallback callback) { Overlay().setCallback(std::move(callback)); }

namespace {

bool Pointer(HostOverlay::Pointer phase, double x, double y, double timestamp) {
  bool taken = Overlay().pointer(phase, x, y, timestamp);
  if (taken && phase == HostOverlay::Pointer::kDown) TessarinHost::reportUserEvent();
  return taken;
}

}  // namespace

bool TessarinHost::pointerDown(double x, double y, double timestamp) {
  return Pointer(HostOverlay::Pointer::kDown, x, y, timestamp);
}
bool TessarinHost::pointerMove(double x, double y, double timestamp) {
  return Pointer(HostOverlay::Pointer::kMove, x, y, timestamp);
}
bool TessarinHost::pointerUp(double x, double y, double timestamp) {
  return Pointer(HostOverlay::Pointer::kUp, x, y, timestamp);
}
bool TessarinHost::pointerCancel(double x, double y, double timestamp) {
  return Pointer(HostOverlay::Pointer::kCancel, x, y, timestamp);
}

}  // namespace tessarin

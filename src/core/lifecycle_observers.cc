// The application's lifecycle notifications the façade follows: the four it
// observes from creation on, and the three it observes only while running.
#include <string>

#include "base/log.h"
#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "tessarin/context.h"
#include "tracking/idle_tracking.h"
#include "util/config.h"
#include "util/safety.h"

namespace tessarin {

namespace {

// Observes the application notification `name` on the main queue, holding
// the façade weakly; the body runs guarded with `tag`.
platform::ObserverToken ObserveOnMain(const std::shared_ptr<platform::Platform>& platform,
                                      std::weak_ptr<TessarinImpl> weak, const char* name, const char* tag,
                                      std::function<void(TessarinImpl&)> body) {
  std::weak_ptr<platform::Platform> weak_platform = platform;
  return platform->notificationCenter().addObserver(
      name, nullptr, platform->mainQueue(),
      [weak, weak_platform, tag, body = std::move(body)](const platform::Notification&) {
        auto host = weak_platform.lock();
        if (!host || weak.expired()) return;
        TSRUtilitySafety::runOnMainWithTag(*host, tag, [weak, body] {
          if (auto self = weak.lock()) body(*self);
        });
      });
}

}  // namespace

void TessarinImpl::RegisterObserversAlways() {
  if (observers_always_registered_) return;
  observers_always_registered_ = true;
  auto observe = [this](const char* name, const char* tag, std::function<void(TessarinImpl&)> body) {
    observers_always_.push_back(ObserveOnMain(platform_, weak_from_this(), name, tag, std::move(body)));
  };
  observe(platform::kApplicationDidFinishLaunchingNotification,
          "-[Tessarin registerObserversAlways]_block_invoke", [](TessarinImpl& self) {
            if (!self.disabled_) TSR_LOG_DEBUG("applicationDidFinishLaunching");
            self.processLaunchIfNecessary();
          });
  observe(platform::kApplicationWillEnterForegroundNotification,
          "-[Tessarin registerObserversAlways]_block_invoke_2", [](TessarinImpl& self) {
            self.config_->setExpired(true);
            if (self.disabled_) return;
            TSR_LOG_DEBUG("applicationWillEnterForeground");
            if (self.config_->boolForKey("trackForeground").value_or(false)) {
              self.TrackOnGlobalContext("App Foreground");
            }
          });
  observe(platform::kApplicationDidBecomeActiveNotification,
          "-[Tessarin registerObserversAlways]_block_invoke_3", [](TessarinImpl& self) {
            self.has_reached_active_ = true;
            if (!self.disabled_) TSR_LOG_DEBUG("applicationDidBecomeActive");
            self.processLaunchIfNecessary();
            self.startSystemsAsNecessary();
            // Coming to the front counts as the user's activity: contexts
            // need not wait for the first touch.
            if (self.idle_tracking_) self.idle_tracking_->tsr_updateLastEventDate();
            self.sendConfigRequestIfNecessary();
          });
  observe(platform::kApplicationDidEnterBackgroundNotification,
          "-[Tessarin registerObserversAlways]_block_invoke_4", [](TessarinImpl& self) {
            self.has_reached_active_ = false;
            if (!self.disabled_) {
              TSR_LOG_DEBUG("applicationDidEnterBackground");
              if (self.config_->boolForKey("trackBackground").value_or(false)) {
                self.TrackOnGlobalContext("App Background");
              }
            }
            self.stopSystemsAsNecessary();
          });
}

void TessarinImpl::RegisterObserversWhenRunning() {
  if (observers_when_running_) return;
  observers_when_running_.emplace();
  auto observe = [this](const char* name, const char* tag, std::function<void(TessarinImpl&)> body) {
    observers_when_running_->push_back(ObserveOnMain(platform_, weak_from_this(), name, tag, std::move(body)));
  };
  observe(platform::kApplicationWillResignActiveNotification,
          "-[Tessarin registerObserversWhenRunning]_block_invoke", [](TessarinImpl& self) {
            TSR_LOG_DEBUG("applicationWillResignActive");
            // An app that is no longer in front has no user touching it:
            // contexts flush their pings and hold campaigns.
            if (self.idle_tracking_) self.idle_tracking_->tsr_setUserInactive();
          });
  observe(platform::kApplicationWillTerminateNotification,
          "-[Tessarin registerObserversWhenRunning]_block_invoke_2", [](TessarinImpl& self) {
            TSR_LOG_WARN("applicationWillTerminate");
            self.stopSystemsAsNecessary();
            // The process may end as soon as this returns.
            self.config_->waitForPendingWrites();
          });
  observe(platform::kApplicationDidChangeStatusBarOrientationNotification,
          "-[Tessarin registerObserversWhenRunning]_block_invoke_3", [](TessarinImpl& self) {
            std::string orientation = self.OrientationName();
            TSR_LOG_DEBUG("applicationDidChangeStatusBarOrientation %@", orientation);
            if (self.config_->boolForKey("trackOrientation").value_or(false)) {
              self.TrackOnGlobalContext(FormatLogMessage("App Orientation %@", {LogArg(orientation)}));
            }
          });
}

void TessarinImpl::RemoveObserversWhenRunning() {
  if (!observers_when_running_) return;
  platform::NotificationCenter& center = platform_->notificationCenter();
  for (auto token : *observers_when_running_) center.removeObserver(token);
  observers_when_running_.reset();
}

std::string TessarinImpl::OrientationName() {
  platform::HostApplication& app = di_->mainBundle();
  if (auto orientation = app.statusBarOrientation()) {
    if (*orientation == 1 || *orientation == 2) return "Portrait";
    if (*orientation == 3 || *orientation == 4) return "Landscape";
    return "Unknown";
  }
  if (auto size = app.firstNormalWindowSize()) {
    if (size->second > size->first) return "Portrait";
    if (size->first > size->second) return "Landscape";
  }
  return "Unknown";
}

}  // namespace tessarin

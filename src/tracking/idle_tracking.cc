#include "tracking/idle_tracking.h"

#include <algorithm>
#include <any>
#include <mutex>
#include <utility>

#include "base/sdk_facade.h"
#include "platform/notification_center.h"
#include "tessarin/sdk_info.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/host_app.h"
#include "util/method_interception.h"
#include "util/safety.h"
#include "util/timing_util.h"

// Lets the shared instance confirm that idle tracking is part of the build.
extern "C" const char TSRCategoryMarker_UIApplication_TSRUserIdleTracking = 1;

namespace tessarin {
namespace {

using platform::HostArgs;
using platform::HostClass;
using platform::HostObject;

const char* const kInstallTag = "+[UIApplication(TSRIdleTracking) load]_block_invoke";
const char* const kSendEventTag = "-[UIApplication(TSRIdleTracking) sendEvent:]_block_invoke";
const char* const kUpdateTag = "-[UIApplication(TSRIdleTracking) tsr_updateLastEventDate]";
const char* const kTimerTag = "-[UIApplication(TSRIdleTracking) tsr_updateUserInactiveTimer]";
const char* const kSwizzleDelegateTag = "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]";
const char* const kReportTag = "-[UIApplication(TSRIdleTracking) reportUserEvent]";

constexpr double kDefaultTimeOnPageTimeout = 120.0;

// What one host's interceptions share: the tracking they report to (the
// newest façade's) and the delegate they took on. The application object
// keeps it as an associated object, so it lasts as long as the host and
// marks the host as done: the interceptions are installed once and never
// removed. The interceptions may run on any thread, hence the lock.
class HostInterception : public std::enable_shared_from_this<HostInterception> {
 public:
  explicit HostInterception(TSRIdleTracking::DelegateInterceptor interceptDelegate)
      : intercept_delegate_(std::move(interceptDelegate)) {}

  std::shared_ptr<TSRIdleTracking> tracking() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return tracking_.lock();
  }
  void setTracking(std::weak_ptr<TSRIdleTracking> tracking) {
    std::lock_guard<std::mutex> lock(mutex_);
    tracking_ = std::move(tracking);
  }

  // Takes on the first delegate the application gets; later ones (or the
  // same one set again) change nothing, since the interception lives in
  // the delegate's class and would otherwise be stacked.
  void swizzleDelegate(const std::shared_ptr<HostObject>& delegate) {
    if (!delegate) return;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (delegate_class_) return;
      delegate_class_ = delegate->cls();
    }
    // The delegate's push and URL callbacks reach the façade from now on;
    // they find it when they run, so they follow the host's newest one.
    if (!intercept_delegate_) return;
    std::weak_ptr<HostInterception> weak = weak_from_this();
    intercept_delegate_(delegate->cls(), [weak]() -> std::shared_ptr<SdkFacade> {
      auto self = weak.lock();
      auto tracking = self ? self->tracking() : nullptr;
      return tracking ? tracking->facade() : nullptr;
    });
  }
  std::shared_ptr<HostClass> delegateClass() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return delegate_class_;
  }

 private:
  const TSRIdleTracking::DelegateInterceptor intercept_delegate_;
  mutable std::mutex mutex_;
  std::weak_ptr<TSRIdleTracking> tracking_;
  std::shared_ptr<HostClass> delegate_class_;
};

// The association's key: only its address matters.
const char kHostInterceptionKey = 0;

std::shared_ptr<HostInterception> InterceptionOf(const HostObject& application) {
  std::any value = application.associatedObject(&kHostInterceptionKey);
  auto* interception = std::any_cast<std::shared_ptr<HostInterception>>(&value);
  return interception ? *interception : nullptr;
}

// Installs the two interceptions of UIApplication, each calling the
// application's own implementation first.
void InstallInterceptions(const std::shared_ptr<HostClass>& application_class,
                          const std::shared_ptr<HostInterception>& interception) {
  TSRUtilitySafety::runWithTag(kInstallTag, [&] {
    TSRSwizzler::replaceMethod(
        "setDelegate:", application_class,
        TSRSwizzler::afterPrevious([interception](std::any result, HostObject&, const HostArgs& args) {
          TSRUtilitySafety::runWithTag(kSwizzleDelegateTag, [&] {
            interception->swizzleDelegate(args.empty() ? nullptr : platform::HostObjectFrom(args[0]));
          });
          return result;
        }));
  });
  TSRUtilitySafety::runWithTag(kInstallTag, [&] {
    TSRSwizzler::replaceMethod(
        "sendEvent:", application_class,
        TSRSwizzler::afterPrevious([interception](std::any result, HostObject&, const HostArgs&) {
          TSRUtilitySafety::runWithTag(kSendEventTag, [&] {
            if (auto tracking = interception->tracking()) tracking->tsr_updateLastEventDate();
          });
          return result;
        }));
  });
}

}  // namespace

std::shared_ptr<TSRIdleTracking> TSRIdleTracking::trackingForFacade(const std::shared_ptr<SdkFacade>& facade,
                                                                    DelegateInterceptor interceptDelegate) {
  if (!facade) return nullptr;
  std::shared_ptr<TSRIdleTracking> tracking(new TSRIdleTracking(facade, std::move(interceptDelegate)));
  std::weak_ptr<TSRIdleTracking> weak = tracking;
  // On the main thread, so that façades made on one host install in turn.
  TSRUtilitySafety::runOnMainWithTag(*tracking->platform_, kInstallTag, [weak] {
    if (auto self = weak.lock()) self->InstallIfNecessary();
  });
  return tracking;
}

TSRIdleTracking::TSRIdleTracking(const std::shared_ptr<SdkFacade>& facade, DelegateInterceptor interceptDelegate)
    : facade_(facade),
      intercept_delegate_(std::move(interceptDelegate)),
      platform_(facade->environment().platformPtr()) {}

TSRIdleTracking::~TSRIdleTracking() { TSRUtilityTiming::invalidateTimer(user_inactive_timer_); }

void TSRIdleTracking::InstallIfNecessary() {
  auto facade = facade_.lock();
  if (!facade) return;
  std::shared_ptr<HostObject> application = platform_->hostApplication().applicationObject();
  platform::HostRuntime* runtime = platform_->hostRuntime();
  // A host without an application object has nothing to intercept; its
  // app reports input itself.
  if (!application || !runtime) return;
  if (!facade->environment().hostApp().swizzlingEnabled()) return;

  if (auto installed = InterceptionOf(*application)) {
    installed->setTracking(weak_from_this());
    return;
  }
  auto application_class = runtime->lookUpClass("UIApplication");
  if (!application_class) return;
  auto interception = std::make_shared<HostInterception>(intercept_delegate_);
  interception->setTracking(weak_from_this());
  application->setAssociatedObject(&kHostInterceptionKey, interception);
  InstallInterceptions(application_class, interception);

  // The app usually has its delegate before the façade exists, and so
  // before "setDelegate:" was intercepted.
  TSRUtilitySafety::runWithTag(kSwizzleDelegateTag, [&] {
    if (application->respondsToSelector("delegate")) {
      interception->swizzleDelegate(platform::HostObjectFrom(application->send("delegate")));
    }
  });
}

void TSRIdleTracking::reportUserEvent() {
  TSRUtilitySafety::runWithTag(kReportTag, [this] {
    std::shared_ptr<HostObject> application = platform_->hostApplication().applicationObject();
    if (!application) {
      tsr_updateLastEventDate();
      return;
    }
    std::any event;
    platform::HostRuntime* runtime = platform_->hostRuntime();
    if (auto event_class = runtime ? runtime->lookUpClass("UIEvent") : nullptr) {
      event = std::make_shared<HostObject>(std::move(event_class));
    }
    application->send("sendEvent:", {std::move(event)});
  });
}

void TSRIdleTracking::tsr_updateLastEventDate() {
  std::weak_ptr<TSRIdleTracking> weak = weak_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, kUpdateTag, [weak] {
    auto self = weak.lock();
    if (!self) return;
    auto facade = self->facade_.lock();
    // Input while the SDK is stopped does not count: the user stays idle.
    if (!facade || !facade->running()) return;
    bool was_idle = !self->tsr_lastEventDate();
    self->tsr_updateUserInactiveTimer();
    self->tsr_setLastEventDate(self->platform_->now(platform::Clock::kWall));
    if (was_idle) {
      self->platform_->notificationCenter().post(TessarinNotificationUserActive, &self->platform_->hostApplication());
    }
  });
}

void TSRIdleTracking::tsr_updateUserInactiveTimer() {
  auto facade = facade_.lock();
  if (!facade) return;
  double timeout = facade->config().doubleForKey("timeOnPageTimeout").value_or(kDefaultTimeOnPageTimeout);
  if (timeout <= 0) {
    tsr_setUserInactiveTimer(nullptr);
    return;
  }
  // The block learns which timer it belongs to once the timer exists, so
  // that a firing already under way for a replaced timer changes nothing.
  auto own_timer = std::make_shared<std::weak_ptr<platform::Timer>>();
  std::weak_ptr<TSRIdleTracking> weak = weak_from_this();
  auto timer = TSRUtilityTiming::createAndScheduleTimer(
      *platform_, kTimerTag, platform_->mainQueue(), false, timeout, 0, std::min(0.1 * timeout, 2.0),
      [weak, own_timer, timeout] {
        auto self = weak.lock();
        if (!self) return;
        auto timer = own_timer->lock();
        if (!timer || self->user_inactive_timer_ != timer) return;
        self->tsr_setUserInactiveTimer(nullptr);
        // A timer that fired early changes nothing; the next event starts another.
        auto last = self->tsr_lastEventDate();
        if (last && self->platform_->now(platform::Clock::kWall) >= *last + timeout) self->tsr_setUserInactive();
      });
  *own_timer = timer;
  tsr_setUserInactiveTimer(std::move(timer));
}

void TSRIdleTracking::tsr_setUserInactive() {
  auto facade = facade_.lock();
  if (!facade || !tsr_lastEventDate() || !facade->running()) return;
  tsr_setLastEventDate(std::nullopt);
  tsr_setUserInactiveTimer(nullptr);
  platform_->notificationCenter().post(TessarinNotificationUserIdle, &platform_->hostApplication());
}

std::optional<double> TSRIdleTracking::tsr_lastEventDate() const {
  auto facade = facade_.lock();
  return facade ? facade->environment().hostApp().lastEventDate() : std::nullopt;
}

void TSRIdleTracking::tsr_setLastEventDate(std::optional<double> date) {
  if (auto facade = facade_.lock()) facade->environment().hostApp().setLastEventDate(date);
}

void TSRIdleTracking::tsr_setUserInactiveTimer(std::shared_ptr<platform::Timer> timer) {
  if (timer == user_inactive_timer_) return;
  TSRUtilityTiming::invalidateTimer(user_inactive_timer_);
  user_inactive_timer_ = std::move(timer);
}

std::shared_ptr<HostClass> TSRIdleTracking::swizzledDelegateClass() const {
  std::shared_ptr<HostObject> application = platform_->hostApplication().applicationObject();
  auto interception = application ? InterceptionOf(*application) : nullptr;
  return interception ? interception->delegateClass() : nullptr;
}

}  // namespace tessarin

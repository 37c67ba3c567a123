// TSRIdleTracking: decides when the user of the host app is idle.
//
// Contexts stop being active, stop letting campaigns through and report
// how long their item was on screen once the user stops touching the app;
// they resume when the user comes back. The application's own event
// dispatch ("sendEvent:" of UIApplication) tells us the user is there: each
// dispatched event moves the date of the last event and restarts a
// countdown of "timeOnPageTimeout" seconds; when the countdown runs out
// without a further event the user is idle. Only the first event after an
// idle period posts the user-active notification, and only the end of a
// countdown posts the user-idle one.
//
// The date of the last event is the host-app utility's (its `userIdle`
// answers from it); the countdown is kept here. Each façade has one
// tracking; the interceptions in the host's UIApplication class are
// installed once per host and report to the tracking of the host's newest
// façade. A host without an application object (Linux) gets no
// interception: the app reports input through TessarinHost::reportUserEvent,
// which reaches `reportUserEvent` below.
//
// Everything but the interceptions themselves runs on the main thread.
#ifndef TESSARIN_TRACKING_IDLE_TRACKING_H_
#define TESSARIN_TRACKING_IDLE_TRACKING_H_

#include <functional>
#include <memory>
#include <optional>

#include "platform/host_object.h"
#include "platform/platform.h"

namespace tessarin {

class SdkFacade;

class TSRIdleTracking : public std::enable_shared_from_this<TSRIdleTracking> {
 public:
  // Where an intercepted delegate callback finds the façade when it runs.
  using FacadeSource = std::function<std::shared_ptr<SdkFacade>()>;
  // Takes on the application delegate's class: the "setDelegate:"
  // interception hands over each new delegate's class, which the push and
  // URL interceptions (a layer above this one) then install themselves in.
  using DelegateInterceptor =
      std::function<void(const std::shared_ptr<platform::HostClass>& delegateClass, FacadeSource facade)>;

  // The façade's tracking. Installs the host's interceptions on the main
  // thread, unless the host has no application object, the app switched
  // swizzling off ("TessarinSwizzlingEnabled" false) or a façade on the
  // same host installed them already.
  static std::shared_ptr<TSRIdleTracking> trackingForFacade(const std::shared_ptr<SdkFacade>& facade,
                                                            DelegateInterceptor interceptDelegate);
  ~TSRIdleTracking();
  TSRIdleTracking(const TSRIdleTracking&) = delete;
  TSRIdleTracking& operator=(const TSRIdleTracking&) = delete;

  // One input event of the user. With an application object the event goes
  // through its "sendEvent:", so it counts exactly when an event the
  // platform dispatched would (never with swizzling off); without one the
  // event is booked directly. Any thread.
  void reportUserEvent();

  // Books an event: on the main thread, and only while the façade runs.
  // Restarts the countdown, sets the last-event date, and posts user-active
  // when the user was idle.
  void tsr_updateLastEventDate();
  // Restarts the countdown of "timeOnPageTimeout" seconds (default 120);
  // a timeout of 0 or less clears it, and the user then never becomes
  // idle by time.
  void tsr_updateUserInactiveTimer();
  // Makes the user idle and posts user-idle; nothing when the user is
  // idle already or the façade does not run.
  void tsr_setUserInactive();

  // The last-event date (seconds since 1970; nothing while idle).
  std::optional<double> tsr_lastEventDate() const;
  void tsr_setLastEventDate(std::optional<double> date);
  // The pending countdown; storing another cancels the one stored before.
  const std::shared_ptr<platform::Timer>& tsr_userInactiveTimer() const { return user_inactive_timer_; }
  void tsr_setUserInactiveTimer(std::shared_ptr<platform::Timer> timer);

  // The class of the first application delegate the host's "setDelegate:"
  // interception saw (or that was set before it was installed); null while
  // there was none or nothing is installed.
  std::shared_ptr<platform::HostClass> swizzledDelegateClass() const;

  // The façade this tracking belongs to; null once it is gone.
  std::shared_ptr<SdkFacade> facade() const { return facade_.lock(); }

 private:
  TSRIdleTracking(const std::shared_ptr<SdkFacade>& facade, DelegateInterceptor interceptDelegate);
  void InstallIfNecessary();

  std::weak_ptr<SdkFacade> facade_;
  DelegateInterceptor intercept_delegate_;
  std::shared_ptr<platform::Platform> platform_;
  std::shared_ptr<platform::Timer> user_inactive_timer_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_IDLE_TRACKING_H_

// Screens: the tracking contexts of the places a user looks at.
//
// Every view controller of the host app can have a screen, its
// TSRScreen, created on first use (tessarinScreen). The SDK follows the
// view controllers' appearance by itself: a screen is visible from
// "viewDidAppear:" to "viewWillDisappear:", and a visible screen is active
// (while the app is in the foreground and the user is not idle), so
// campaigns answered to it can be delivered. When it becomes active it
// sends its view action, found by matching a description of the view
// controller against the service's view-action rules.
//
// The number of screens visible at once is capped ("maxScreens"): showing
// one more hides the oldest.
//
// Places that are not view controllers get a TSRScreenCustom, with a view
// action of the app's choosing, made visible and not visible by the app.
#ifndef TESSARIN_SCREEN_H_
#define TESSARIN_SCREEN_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tessarin/context.h"
#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

namespace platform {
class Platform;
class Timer;
class ViewController;
}  // namespace platform
class TSRScreenHost;
class TSRViewControllerDescription;
template <class T>
class TSRUtilityWeakReference;

class TESSARIN_EXPORT TSRScreen : public TSRContext {
 public:
  // A new screen for the view controller, on the façade that tracks the
  // view controller's host (or on the given façade). Most code reads
  // tessarinScreen(vc) instead, which makes one the first time.
  static std::shared_ptr<TSRScreen> initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC);
  static std::shared_ptr<TSRScreen> initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC,
                                                     const std::shared_ptr<SdkFacade>& facade);
  ~TSRScreen() override;

  bool isVisible() const { return visible_; }
  // Refused: a view controller's screen is visible while the view
  // controller is. Logged only.
  virtual void setVisible(bool visible);

  // --- Used by the SDK's own parts. ---
  void setVisiblePrivate(bool visible);
  void setVisibleInternal(bool visible, bool modifyCollection, bool stopSystems);
  virtual void logVisible() const;

  // The visible screens of a host (the shared instance's, or the
  // platform's): how many are kept; dropping those that are gone or whose
  // view controller left its window; the view controller of the newest one
  // still in a window.
  static std::size_t visibleWeakRefCount();
  static std::size_t visibleWeakRefCount(platform::Platform& platform);
  static void cleanupVisibleScreens();
  static void cleanupVisibleScreens(platform::Platform& platform);
  static std::shared_ptr<platform::ViewController> lastVisibleVC();
  static std::shared_ptr<platform::ViewController> lastVisibleVC(platform::Platform& platform);

  std::optional<std::string> viewAction() const override;
  bool allowSetActive(bool active) override;
  void stopSystemsAsNecessary() override;
  void registerContextId() override;
  // The action of the first rule that matches the description; none when
  // either is missing or nothing matches.
  std::optional<std::string> viewActionForVCD(const TSRViewControllerDescription* vcd,
                                              const Json* viewConfigs) const;

  std::shared_ptr<platform::ViewController> parentVC() const { return weak_parent_vc_ref_.lock(); }
  const std::shared_ptr<platform::Timer>& unregisterContextIdTimer() const { return unregister_context_id_timer_; }

 protected:
  TSRScreen(std::string identifier, const std::shared_ptr<SdkFacade>& facade,
            const std::shared_ptr<platform::ViewController>& parentVC);
  // The next contextId of the process: "0", "1", ...
  static std::string NextIdentifier();
  // Completes a screen once a shared pointer owns it.
  static void Init(const std::shared_ptr<TSRScreen>& screen);
  // What destruction does, run by the most derived class's destructor so
  // that its own logVisible still applies. Runs once.
  void Dealloc();

 private:
  void SetUnregisterTimer(std::shared_ptr<platform::Timer> timer);
  void RemoveFromCollection();

  bool visible_ = false;
  std::shared_ptr<TSRUtilityWeakReference<TSRScreen>> weak_self_ref_;
  std::weak_ptr<platform::ViewController> weak_parent_vc_ref_;
  // Whether a view controller was given: a screen whose view controller is
  // gone differs from one that never had one.
  bool has_parent_vc_ = false;
  std::shared_ptr<platform::Timer> unregister_context_id_timer_;
  std::uint64_t unregister_timer_generation_ = 0;
  std::shared_ptr<TSRScreenHost> host_;
  bool deallocated_ = false;
};

class TESSARIN_EXPORT TSRScreenCustom : public TSRScreen {
 public:
  // The action is trimmed of surrounding white space; empty means none.
  static std::shared_ptr<TSRScreenCustom> initWithViewAction(const std::optional<std::string>& viewAction);
  static std::shared_ptr<TSRScreenCustom> initWithViewAction(const std::optional<std::string>& viewAction,
                                                             const std::shared_ptr<SdkFacade>& facade);
  // A custom screen has no view controller: the argument is ignored.
  static std::shared_ptr<TSRScreenCustom> initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC,
                                                           const std::shared_ptr<SdkFacade>& facade);
  ~TSRScreenCustom() override;

  // Allowed here: the app says when its own screen is on view.
  void setVisible(bool visible) override;
  std::optional<std::string> viewAction() const override { return view_action_; }
  void logVisible() const override;

 private:
  TSRScreenCustom(std::string identifier, const std::shared_ptr<SdkFacade>& facade,
                  std::optional<std::string> viewAction);

  std::optional<std::string> view_action_;
};

// What every view controller gains. The name, when set, is the "name" of
// the view controller's description. The screen is made on the first read,
// which must be on the main thread; there is none while the SDK is
// disabled or its view-controller tracking does not reach the view
// controller's host.
TESSARIN_EXPORT std::optional<std::string> tessarinName(const platform::ViewController& vc);
TESSARIN_EXPORT void setTessarinName(platform::ViewController& vc, const std::optional<std::string>& name);
TESSARIN_EXPORT std::shared_ptr<TSRScreen> tessarinScreen(const std::shared_ptr<platform::ViewController>& vc);

}  // namespace tessarin

#endif  // TESSARIN_SCREEN_H_

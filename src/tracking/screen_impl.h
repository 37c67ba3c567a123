// Screens as the SDK's own parts see them: TSRScreen, the screen of a host
// view controller (made and followed by view-controller tracking) and the
// base of every screen; TSRScreenCustomImpl, the implementation of the
// app's TSRScreenCustom; what every view controller gains.
//
// Thread contract: a screen is made, shown and hidden on the main thread
// (TSRScreenCustom's own operations hop there); isVisible, identifier and a
// custom screen's view action may be read from any thread.
#ifndef TESSARIN_TRACKING_SCREEN_IMPL_H_
#define TESSARIN_TRACKING_SCREEN_IMPL_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tessarin/json.h"
#include "tessarin/screen.h"
#include "tracking/context_impl.h"

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

class TSRScreen : public TSRContextImpl {
 public:
  // A new screen for the view controller, on the façade that tracks the
  // view controller's host (or on the given façade). Most code reads
  // tessarinScreen(vc) instead, which makes one the first time.
  static std::shared_ptr<TSRScreen> initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC);
  static std::shared_ptr<TSRScreen> initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC,
                                                     const std::shared_ptr<SdkFacade>& facade);
  ~TSRScreen() override;

  // What the main thread last applied; read from any thread.
  bool isVisible() const { return visible_.load(std::memory_order_acquire); }
  // Refused: a view controller's screen is visible while the view
  // controller is. Logged only.
  virtual void setVisible(bool visible);

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

  // Written on the main thread; a custom screen's app reads it from any.
  std::atomic<bool> visible_{false};
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

class TSRScreenCustomImpl final : public TSRScreen, public TSRScreenCustom {
 public:
  // The action is trimmed of surrounding white space; empty means none.
  static std::shared_ptr<TSRScreenCustomImpl> initWithViewAction(const std::optional<std::string>& viewAction,
                                                                 const std::shared_ptr<SdkFacade>& facade);
  ~TSRScreenCustomImpl() override;

  // Allowed here: the app says when its own screen is on view.
  void setVisible(bool visible) override;
  bool isVisible() const override { return TSRScreen::isVisible(); }
  std::optional<std::string> viewAction() const override { return view_action_; }
  void logVisible() const override;

 private:
  TSRScreenCustomImpl(std::string identifier, const std::shared_ptr<SdkFacade>& facade,
                      std::optional<std::string> viewAction);

  const std::optional<std::string> view_action_;
};

// What every view controller gains. The name, when set, is the "name" of
// the view controller's description. The screen is made on the first read,
// which must be on the main thread; there is none while the SDK is
// disabled or its view-controller tracking does not reach the view
// controller's host.
std::optional<std::string> tessarinName(const platform::ViewController& vc);
void setTessarinName(platform::ViewController& vc, const std::optional<std::string>& name);
std::shared_ptr<TSRScreen> tessarinScreen(const std::shared_ptr<platform::ViewController>& vc);

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_SCREEN_IMPL_H_

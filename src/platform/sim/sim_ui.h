// The simulated host's user interface as far as the platform core holds
// it: the reference platform's interface classes as host classes, and the
// application object. The windows and view controllers are the UI kit's
// (platform/ui/sim/), which sits above the core and installs itself as the
// application's user interface.
//
// Appearance messages and the application's event dispatch go through the
// objects' method tables, so whatever the SDK installed there runs as it
// would on the device.
#ifndef TESSARIN_PLATFORM_SIM_SIM_UI_H_
#define TESSARIN_PLATFORM_SIM_SIM_UI_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/host_object.h"
#include "platform/view_hierarchy.h"

// The UI kit's side of the windows, which this header only names.
namespace tessarin::platform::ui {
class Screen;
class UIEnvironment;
}  // namespace tessarin::platform::ui

namespace tessarin::platform::sim {

struct SimApplication;

// Defines the platform classes the simulated host uses, with the base
// implementations of the messages the SDK intercepts:
//   NSObject
//     UIResponder
//       UIApplication          setDelegate:, delegate, sendEvent:,
//                              isRegisteredForRemoteNotifications,
//                              registerForRemoteNotifications
//       UIViewController       viewWillAppear:, viewDidAppear:,
//                              viewWillDisappear:, viewDidDisappear:
//         UINavigationController, UITabBarController, UIAlertController,
//         UISnapshotModalViewController
//       UIView
//         UIWindow
//     UIEvent
//     UINavigationItem
//     UIStoryboardSegueTemplate
//       UIStoryboardShowSegueTemplate, UIStoryboardPresentationSegueTemplate
void DefineSimUIKitClasses(HostRuntime& runtime);

// What the base appearance implementations record on the simulated
// host's view controllers, which the UI kit makes (platform/ui/sim/): the
// base "viewDidAppear:" marks one on screen, the base "viewDidDisappear:"
// off it. An interception that calls the implementation it replaced sees
// the mark as the platform's own implementation left it.
class SimAppearanceRecord {
 public:
  virtual ~SimAppearanceRecord() = default;
  // Between the base "viewDidAppear:" and the base "viewDidDisappear:".
  bool appeared() const { return appeared_; }

 private:
  friend void DefineSimUIKitClasses(HostRuntime& runtime);
  bool appeared_ = false;
};

// The simulated host's windows. The kit sits above the platform, so the
// side that makes the windows installs itself here
// (SimApplication::setUserInterface) rather than the platform including it.
class SimUserInterface {
 public:
  virtual ~SimUserInterface() = default;
  // The application's windows, back to front.
  virtual std::vector<std::shared_ptr<Window>> windows() = 0;
  // The kit's environment and the screen the windows are on.
  virtual ui::UIEnvironment* kitEnvironment() = 0;
  virtual ui::Screen* kitScreen() = 0;
};

// The shared application object. Its delegate lives in the instance
// variable "_delegate", kept strongly as the application's entry point
// keeps the delegate it made. It answers for the scripted application that
// made it, and is valid only as long as that application is.
class SimApplicationObject : public HostObject {
 public:
  SimApplicationObject(std::shared_ptr<HostClass> cls, SimApplication* app)
      : HostObject(std::move(cls)), app_(app) {}
  // Events the base "sendEvent:" dispatched.
  std::size_t dispatchedEvents() const { return dispatched_events_; }

 private:
  friend void DefineSimUIKitClasses(HostRuntime& runtime);
  SimApplication* app_;
  std::size_t dispatched_events_ = 0;
};

}  // namespace tessarin::platform::sim

#endif  // TESSARIN_PLATFORM_SIM_SIM_UI_H_

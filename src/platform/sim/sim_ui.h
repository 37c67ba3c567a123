// The simulated host's user interface: UIKit's classes as host classes,
// view controllers, windows and the application object.
//
// A test scripts what the SDK would see on a device: which windows exist,
// how view controllers nest and present one another, what they are called,
// and when they appear and disappear. Appearance messages and the
// application's event dispatch go through the objects' method tables, so
// whatever the SDK installed there runs as it would on the device.
#ifndef TESSARIN_PLATFORM_SIM_SIM_UI_H_
#define TESSARIN_PLATFORM_SIM_SIM_UI_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/host_object.h"
#include "platform/view_hierarchy.h"

namespace tessarin::platform::sim {

class SimWindow;
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

// A view controller. Its relations are structure only: a child or a
// presented view controller appears when the test says so (SimApplication::appear).
class SimViewController : public ViewController {
 public:
  // `cls` must be UIViewController or a subclass of it.
  explicit SimViewController(std::shared_ptr<HostClass> cls);

  std::optional<std::string> title() const override { return title_; }
  std::optional<std::string> nibName() const override { return nib_name_; }
  std::optional<std::string> restorationIdentifier() const override { return restoration_identifier_; }
  bool isViewLoaded() const override { return view_loaded_; }
  std::optional<std::string> accessibilityLabel() const override;
  // The window the view was put in as a root view controller; else the
  // window of the parent, else of the presenting view controller.
  std::shared_ptr<Window> viewWindow() const override;
  std::shared_ptr<ViewController> parentViewController() const override { return parent_.lock(); }
  std::shared_ptr<ViewController> presentingViewController() const override { return presenting_.lock(); }
  std::shared_ptr<ViewController> presentedViewController() const override { return presented_; }

  // Scripting.
  void setTitle(std::optional<std::string> title) { title_ = std::move(title); }
  void setNibName(std::optional<std::string> name) { nib_name_ = std::move(name); }
  void setRestorationIdentifier(std::optional<std::string> id) { restoration_identifier_ = std::move(id); }
  void setAccessibilityLabel(std::optional<std::string> label) { accessibility_label_ = std::move(label); }
  void setViewLoaded(bool loaded) { view_loaded_ = loaded; }
  // Stored as the instance variable "_navigationItem" (an object of class
  // UINavigationItem, see SimApplication::makeNavigationItem); null clears it.
  void setNavigationItem(std::shared_ptr<HostObject> item);
  // Stored as the instance variable "_storyboardSegueTemplates".
  void setStoryboardSegueTemplates(HostObjectList templates);
  // Containment: the parent keeps its children, a child knows its parent.
  void addChild(const std::shared_ptr<SimViewController>& child);
  void removeFromParent();
  const std::vector<std::shared_ptr<SimViewController>>& children() const { return children_; }
  // Presentation: the presenting view controller keeps the presented one.
  void present(const std::shared_ptr<SimViewController>& presented);
  void dismissPresented();
  // Between the base "viewDidAppear:" and the base "viewDidDisappear:".
  bool appeared() const { return appeared_; }

 private:
  friend class SimWindow;
  friend void DefineSimUIKitClasses(HostRuntime& runtime);

  std::optional<std::string> title_;
  std::optional<std::string> nib_name_;
  std::optional<std::string> restoration_identifier_;
  std::optional<std::string> accessibility_label_;
  bool view_loaded_ = false;
  bool appeared_ = false;
  std::weak_ptr<SimWindow> window_;
  std::weak_ptr<SimViewController> parent_;
  std::vector<std::shared_ptr<SimViewController>> children_;
  std::weak_ptr<SimViewController> presenting_;
  std::shared_ptr<SimViewController> presented_;
};

// A window. New windows are visible, at the normal level, the size of a
// phone's screen in points.
class SimWindow : public Window {
 public:
  explicit SimWindow(std::shared_ptr<HostClass> cls) : Window(std::move(cls)) {}

  double windowLevel() const override { return level_; }
  bool isHidden() const override { return hidden_; }
  Rect bounds() const override { return bounds_; }
  std::shared_ptr<ViewController> rootViewController() const override { return root_; }
  std::shared_ptr<ViewController> presentedViewController() const override;

  void setWindowLevel(double level) { level_ = level; }
  void setHidden(bool hidden) { hidden_ = hidden; }
  void setBounds(Rect bounds) { bounds_ = bounds; }
  // The window keeps its root view controller, whose view is then in this
  // window (and the previous root's view in none).
  void setRootViewController(std::shared_ptr<SimViewController> root);

 private:
  double level_ = kWindowLevelNormal;
  bool hidden_ = false;
  Rect bounds_{0, 0, 390, 844};
  std::shared_ptr<SimViewController> root_;
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

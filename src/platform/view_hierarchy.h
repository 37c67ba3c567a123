// The host application's windows and view controllers, as the SDK reads
// them to know which screen the user is looking at.
//
// Both are host objects, so their appearance methods ("viewDidAppear:",
// "viewWillDisappear:") can be intercepted through their class's method
// table. What a screen's description needs is read through the accessors
// below; the navigation item and the storyboard segue templates are
// deliberately not among them: they are private to the view controller and
// are reached as the platform allows, by instance variable
// ("_navigationItem") and by key ("storyboardSegueTemplates").
#ifndef TESSARIN_PLATFORM_VIEW_HIERARCHY_H_
#define TESSARIN_PLATFORM_VIEW_HIERARCHY_H_

#include <memory>
#include <optional>
#include <string>

#include "platform/host_object.h"

namespace tessarin::platform {

// The level of an application's ordinary windows. Alerts, the status bar
// and the SDK's own overlay sit above it.
inline constexpr double kWindowLevelNormal = 0.0;

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

class ViewController;

class Window : public HostObject {
 public:
  using HostObject::HostObject;
  virtual double windowLevel() const = 0;
  virtual bool isHidden() const = 0;
  virtual Rect bounds() const = 0;
  virtual std::shared_ptr<ViewController> rootViewController() const = 0;
  // What the root view controller presents over itself, if anything.
  virtual std::shared_ptr<ViewController> presentedViewController() const = 0;
};

class ViewController : public HostObject {
 public:
  using HostObject::HostObject;
  virtual std::optional<std::string> title() const = 0;
  virtual std::optional<std::string> nibName() const = 0;
  virtual std::optional<std::string> restorationIdentifier() const = 0;
  virtual bool isViewLoaded() const = 0;
  // The accessibility label of the view. Reading it never loads the view:
  // nothing while the view is not loaded.
  virtual std::optional<std::string> accessibilityLabel() const = 0;
  // The window the view is in; null while the view is not loaded or not
  // in a window.
  virtual std::shared_ptr<Window> viewWindow() const = 0;
  // The container this view controller is a child of.
  virtual std::shared_ptr<ViewController> parentViewController() const = 0;
  // The view controller that presented this one, and the one this one presents.
  virtual std::shared_ptr<ViewController> presentingViewController() const = 0;
  virtual std::shared_ptr<ViewController> presentedViewController() const = 0;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_VIEW_HIERARCHY_H_

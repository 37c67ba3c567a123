// The kit's windows and view controllers as the host's: host objects that
// the SDK reads as platform::Window and platform::ViewController, each
// backed by a kit object that holds the real state (the view and whether it
// is loaded, the window it is in, the level, what is presented).
//
// Composition rather than inheritance: a kit view and a host object each
// hand out shared references to themselves, and one object cannot be both
// without one of the two losing its own. So a host object owns its kit
// object, and the kit object knows its host object without keeping it.
//
// Appearance callbacks of the kit (a window shown, a presentation or a
// dismissal) are sent as messages ("viewWillAppear:", "viewDidAppear:",
// "viewWillDisappear:", "viewDidDisappear:", with the animated flag) through
// the host object's method table, so that whatever the SDK installed there
// runs exactly as for the host's own view controllers.
//
// Main thread only, like the kit.
#ifndef TESSARIN_PLATFORM_UI_HOST_VIEW_HIERARCHY_H_
#define TESSARIN_PLATFORM_UI_HOST_VIEW_HIERARCHY_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/host_object.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"
#include "platform/view_hierarchy.h"

namespace tessarin::platform::ui {

class HostWindow;
class Screen;

class HostViewController : public platform::ViewController {
 public:
  using Completion = std::function<void()>;

  // `cls` is the host class whose method table the appearance messages go
  // through (UIViewController or a subclass). Create with std::make_shared.
  explicit HostViewController(std::shared_ptr<HostClass> cls);
  ~HostViewController() override;

  // The kit's view controller behind this one.
  ui::ViewController& kit() const;
  std::shared_ptr<ui::ViewController> kitViewController() const;
  // The host view controller a kit view controller stands for; null for
  // one that no host object backs, or whose host object has gone.
  static std::shared_ptr<HostViewController> hostOf(const ui::ViewController* vc);

  std::optional<std::string> title() const override { return title_; }
  std::optional<std::string> nibName() const override { return nib_name_; }
  std::optional<std::string> restorationIdentifier() const override { return restoration_identifier_; }
  // Asks the kit without loading the view.
  bool isViewLoaded() const override;
  std::optional<std::string> accessibilityLabel() const override;
  // The host window the kit view is in; a view that is loaded but in no
  // window of its own is in the window of its parent, else of its presenter.
  std::shared_ptr<platform::Window> viewWindow() const override;
  std::shared_ptr<platform::ViewController> parentViewController() const override { return parent_.lock(); }
  std::shared_ptr<platform::ViewController> presentingViewController() const override;
  std::shared_ptr<platform::ViewController> presentedViewController() const override;

  void setTitle(std::optional<std::string> title) { title_ = std::move(title); }
  void setNibName(std::optional<std::string> name) { nib_name_ = std::move(name); }
  void setRestorationIdentifier(std::optional<std::string> id) { restoration_identifier_ = std::move(id); }
  void setAccessibilityLabel(std::optional<std::string> label) { accessibility_label_ = std::move(label); }
  // Loads the kit view, or unloads it (it leaves its superview, as a view
  // the system purged under memory pressure does).
  void setViewLoaded(bool loaded);

  // Containment. The kit's view controllers do not nest, so the relation
  // lives here: the parent keeps its children, a child knows its parent.
  void addChild(const std::shared_ptr<HostViewController>& child);
  void removeFromParent();
  const std::vector<std::shared_ptr<HostViewController>>& children() const { return children_; }

  // Presentation through the kit: the transition, and the appearance
  // messages of both view controllers through their method tables.
  void presentViewController(const std::shared_ptr<HostViewController>& vc, bool animated,
                             Completion completion = nullptr);
  void dismissViewController(bool animated, Completion completion = nullptr);

 private:
  class Content;
  friend class HostWindow;

  std::shared_ptr<Content> content_;
  std::optional<std::string> title_;
  std::optional<std::string> nib_name_;
  std::optional<std::string> restoration_identifier_;
  std::optional<std::string> accessibility_label_;
  std::weak_ptr<HostViewController> parent_;
  std::vector<std::shared_ptr<HostViewController>> children_;
  // While positive, the kit's appearance callbacks are not sent as messages
  // (see HostWindow::setDrivesAppearance).
  int quiet_ = 0;
};

class HostWindow : public platform::Window {
 public:
  // A kit window on `screen`: hidden, covering the screen, at the normal
  // level. `screen` must outlive the window or detach it. Create with
  // std::make_shared.
  HostWindow(std::shared_ptr<HostClass> cls, Screen& screen);
  // Hides the kit window, which then leaves the screen with its host.
  ~HostWindow() override;

  ui::Window& kit() const;
  std::shared_ptr<ui::Window> kitWindow() const;
  // The host window a kit window stands for; null for the kit's own windows
  // (the SDK's overlay) and for one whose host object has gone.
  static std::shared_ptr<HostWindow> hostOf(const ui::Window* window);

  double windowLevel() const override;
  bool isHidden() const override;
  platform::Rect bounds() const override;
  std::shared_ptr<platform::ViewController> rootViewController() const override { return root_; }
  std::shared_ptr<platform::ViewController> presentedViewController() const override;

  void setWindowLevel(double level);
  void setHidden(bool hidden);
  void makeKeyAndVisible();
  void setBounds(platform::Rect bounds);
  // The window keeps its root view controller, whose kit view then fills
  // it (and the previous root's view leaves it).
  void setRootViewController(std::shared_ptr<HostViewController> root);

  // Whether showing or hiding the window and changing its root let the
  // root appear or disappear through the method tables, as on a device (the
  // default). A host that scripts appearance itself (the simulated host's
  // tests say when a view controller appears) turns it off; presentations
  // still send their messages.
  void setDrivesAppearance(bool drives) { drives_appearance_ = drives; }

 private:
  class Frame;
  // Runs a kit call that may let these roots appear or disappear.
  void withRoots(std::initializer_list<HostViewController*> roots, const std::function<void()>& call);

  std::shared_ptr<Frame> frame_;
  std::shared_ptr<HostViewController> root_;
  bool drives_appearance_ = true;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_HOST_VIEW_HIERARCHY_H_

// The simulated host's windows and view controllers, as the UI kit's: one
// screen, owned with its environment by the simulated host, whose ordered
// list of windows is the application's. The SDK's own overlay windows join
// the same list, so that hit testing and screenshots of the simulated
// screen cover both.
//
// A test scripts what the SDK would see on a device: which windows exist,
// how view controllers nest and present one another, what they are called,
// and when they appear and disappear (SimUI::appear). Showing a scripted
// window does not make its root appear on its own, since the tests say
// when it does; a presentation through the kit
// (HostViewController::presentViewController) sends its appearance
// messages as on a device.
#ifndef TESSARIN_PLATFORM_UI_SIM_SIM_UI_H_
#define TESSARIN_PLATFORM_UI_SIM_SIM_UI_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/host_view_hierarchy.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"

namespace tessarin::platform::ui::sim {

// A view controller of the scripted application.
class SimViewController : public HostViewController, public platform::sim::SimAppearanceRecord {
 public:
  // `cls` must be UIViewController or a subclass of it.
  explicit SimViewController(std::shared_ptr<HostClass> cls);

  // A scripted presentation first, else the kit's.
  std::shared_ptr<platform::ViewController> presentingViewController() const override;
  std::shared_ptr<platform::ViewController> presentedViewController() const override;

  // Stored as the instance variable "_navigationItem" (an object of class
  // UINavigationItem, see SimApplication::makeNavigationItem); null clears it.
  void setNavigationItem(std::shared_ptr<HostObject> item);
  // Stored as the instance variable "_storyboardSegueTemplates".
  void setStoryboardSegueTemplates(HostObjectList templates);
  // A scripted presentation: structure only, no transition and no
  // appearance. The presenting view controller keeps the presented one.
  void present(const std::shared_ptr<SimViewController>& presented);
  void dismissPresented();

 private:
  std::weak_ptr<SimViewController> scripted_presenting_;
  std::shared_ptr<SimViewController> scripted_presented_;
};

using SimWindow = HostWindow;

class SimUI : public platform::sim::SimUserInterface {
 public:
  // The size of a phone's screen in points, and its pixels per point.
  static constexpr Size kScreenSize{390, 844};
  static constexpr double kScreenScale = 3;

  // The simulated host's user interface, made and installed in its
  // application on first use.
  static SimUI& of(platform::sim::SimPlatform& sim);

  explicit SimUI(platform::sim::SimPlatform& sim);
  ~SimUI() override;

  UIEnvironment& environment() { return *environment_; }
  Screen& screen() { return *screen_; }

  // The application's windows on the screen, back to front: by level, then
  // by when they were last shown.
  std::vector<std::shared_ptr<platform::Window>> windows() override;
  UIEnvironment* kitEnvironment() override { return environment_.get(); }
  Screen* kitScreen() override { return screen_.get(); }

  // Null unless the class is UIViewController or a subclass of it.
  std::shared_ptr<SimViewController> makeViewController(const std::string& className = "UIViewController");
  // A new window, visible at the normal level in front of the others, with
  // `root` as its root view controller.
  std::shared_ptr<SimWindow> addWindow(std::shared_ptr<SimViewController> root = nullptr);
  // The window leaves the screen and the application's windows.
  void removeWindow(const std::shared_ptr<SimWindow>& window);
  // The view controller's appearance as the platform reports it: the view
  // is loaded, then "viewWillAppear:" and "viewDidAppear:" are sent.
  // Whether it is in a window is the test's scripting.
  void appear(const std::shared_ptr<SimViewController>& vc, bool animated = false);
  // "viewWillDisappear:", then "viewDidDisappear:".
  void disappear(const std::shared_ptr<SimViewController>& vc, bool animated = false);

 private:
  platform::sim::SimPlatform& sim_;
  std::unique_ptr<UIEnvironment> environment_;
  std::unique_ptr<Screen> screen_;
  std::vector<std::shared_ptr<SimWindow>> windows_;
};

}  // namespace tessarin::platform::ui::sim

#endif  // TESSARIN_PLATFORM_UI_SIM_SIM_UI_H_

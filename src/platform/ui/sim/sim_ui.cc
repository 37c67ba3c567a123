#include "platform/ui/sim/sim_ui.h"

#include <algorithm>

namespace tessarin::platform::ui::sim {

SimViewController::SimViewController(std::shared_ptr<HostClass> cls) : HostViewController(std::move(cls)) {
  // Every view controller has the variable; it holds nil until a
  // navigation item is made.
  setIvar("_navigationItem", std::any());
}

std::shared_ptr<platform::ViewController> SimViewController::presentingViewController() const {
  if (auto presenting = scripted_presenting_.lock()) return presenting;
  return HostViewController::presentingViewController();
}

std::shared_ptr<platform::ViewController> SimViewController::presentedViewController() const {
  if (scripted_presented_) return scripted_presented_;
  return HostViewController::presentedViewController();
}

void SimViewController::setNavigationItem(std::shared_ptr<HostObject> item) {
  setIvar("_navigationItem", item ? std::any(std::move(item)) : std::any());
}

void SimViewController::setStoryboardSegueTemplates(HostObjectList templates) {
  setIvar("_storyboardSegueTemplates", std::move(templates));
}

void SimViewController::present(const std::shared_ptr<SimViewController>& presented) {
  if (!presented || presented.get() == this) return;
  // A view controller is presented by one other at a time.
  if (auto previous = presented->scripted_presenting_.lock()) previous->dismissPresented();
  dismissPresented();
  presented->scripted_presenting_ = std::static_pointer_cast<SimViewController>(shared_from_this());
  scripted_presented_ = presented;
}

void SimViewController::dismissPresented() {
  if (!scripted_presented_) return;
  scripted_presented_->scripted_presenting_.reset();
  scripted_presented_.reset();
}

SimUI& SimUI::of(platform::sim::SimPlatform& sim) {
  auto& app = sim.app();
  if (auto* ui = dynamic_cast<SimUI*>(app.userInterface())) return *ui;
  auto ui = std::make_shared<SimUI>(sim);
  app.setUserInterface(ui);
  return *ui;
}

SimUI::SimUI(platform::sim::SimPlatform& sim)
    : sim_(sim),
      environment_(std::make_unique<UIEnvironment>(sim)),
      screen_(std::make_unique<Screen>(*environment_, kScreenSize, kScreenScale)) {}

SimUI::~SimUI() {
  // The windows leave the screen before it goes.
  windows_.clear();
}

std::vector<std::shared_ptr<platform::Window>> SimUI::windows() {
  std::vector<std::shared_ptr<platform::Window>> windows;
  for (ui::Window* kit : screen_->windows()) {
    auto window = HostWindow::hostOf(kit);
    if (window && std::find(windows_.begin(), windows_.end(), window) != windows_.end()) windows.push_back(window);
  }
  return windows;
}

std::shared_ptr<SimViewController> SimUI::makeViewController(const std::string& className) {
  auto& runtime = sim_.app().runtime();
  auto cls = runtime.lookUpClass(className);
  auto base = runtime.lookUpClass("UIViewController");
  if (!cls || !base || !cls->isSubclassOfClass(*base)) return nullptr;
  return std::make_shared<SimViewController>(std::move(cls));
}

std::shared_ptr<SimWindow> SimUI::addWindow(std::shared_ptr<SimViewController> root) {
  auto window = std::make_shared<SimWindow>(sim_.app().runtime().lookUpClass("UIWindow"), *screen_);
  window->setDrivesAppearance(false);
  window->setRootViewController(std::move(root));
  window->setHidden(false);
  windows_.push_back(window);
  return window;
}

void SimUI::removeWindow(const std::shared_ptr<SimWindow>& window) {
  auto it = std::find(windows_.begin(), windows_.end(), window);
  if (it == windows_.end()) return;
  window->setHidden(true);
  windows_.erase(it);
}

void SimUI::appear(const std::shared_ptr<SimViewController>& vc, bool animated) {
  // A view is loaded before it can appear.
  vc->setViewLoaded(true);
  vc->send("viewWillAppear:", {animated});
  vc->send("viewDidAppear:", {animated});
}

void SimUI::disappear(const std::shared_ptr<SimViewController>& vc, bool animated) {
  vc->send("viewWillDisappear:", {animated});
  vc->send("viewDidDisappear:", {animated});
}

}  // namespace tessarin::platform::ui::sim

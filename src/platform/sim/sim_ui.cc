#include "platform/sim/sim_ui.h"

#include <algorithm>

#include "platform/sim/sim_notifications.h"
#include "platform/sim/sim_platform.h"

namespace tessarin::platform::sim {
namespace {

// A base implementation that does its work on the simulated object it was
// written for and nothing on any other kind of object.
template <class T, class Work>
ImpPtr On(Work work) {
  return MakeImp([work](HostObject& self, const HostArgs& args) -> std::any {
    if (auto* object = dynamic_cast<T*>(&self)) return work(*object, args);
    return {};
  });
}

std::any NoOp(HostObject&, const HostArgs&) { return {}; }

std::any OptionalText(const std::optional<std::string>& text) {
  return text ? std::any(*text) : std::any();
}

}  // namespace

void DefineSimUIKitClasses(HostRuntime& runtime) {
  auto object = runtime.defineClass("NSObject", nullptr);
  auto responder = runtime.defineClass("UIResponder", object);

  auto application = runtime.defineClass("UIApplication", responder);
  application->addMethod("setDelegate:", MakeImp([](HostObject& self, const HostArgs& args) {
    self.setIvar("_delegate", args.empty() ? std::any() : args[0]);
    return std::any();
  }));
  application->addMethod("delegate", MakeImp([](HostObject& self, const HostArgs&) {
    return self.ivar("_delegate");
  }));
  application->addMethod("sendEvent:", On<SimApplicationObject>([](SimApplicationObject& app, const HostArgs&) {
    ++app.dispatched_events_;
    return std::any();
  }));
  application->addMethod("isRegisteredForRemoteNotifications",
                         On<SimApplicationObject>([](SimApplicationObject& app, const HostArgs&) {
                           return std::any(app.app_->registered_for_remote_notifications);
                         }));
  application->addMethod("registerForRemoteNotifications",
                         On<SimApplicationObject>([](SimApplicationObject& app, const HostArgs&) {
                           app.app_->RegisterForRemoteNotifications();
                           return std::any();
                         }));

  auto view_controller = runtime.defineClass("UIViewController", responder);
  view_controller->addMethod("viewWillAppear:", MakeImp(NoOp));
  view_controller->addMethod("viewDidAppear:", On<SimViewController>([](SimViewController& vc, const HostArgs&) {
    vc.appeared_ = true;
    return std::any();
  }));
  view_controller->addMethod("viewWillDisappear:", MakeImp(NoOp));
  view_controller->addMethod("viewDidDisappear:", On<SimViewController>([](SimViewController& vc, const HostArgs&) {
    vc.appeared_ = false;
    return std::any();
  }));
  for (const char* name : {"UINavigationController", "UITabBarController", "UIAlertController",
                           "UISnapshotModalViewController"}) {
    runtime.defineClass(name, view_controller);
  }

  auto view = runtime.defineClass("UIView", responder);
  runtime.defineClass("UIWindow", view);
  runtime.defineClass("UIEvent", object);
  runtime.defineClass("UINavigationItem", object);
  auto segue_template = runtime.defineClass("UIStoryboardSegueTemplate", object);
  runtime.defineClass("UIStoryboardShowSegueTemplate", segue_template);
  runtime.defineClass("UIStoryboardPresentationSegueTemplate", segue_template);
}

SimViewController::SimViewController(std::shared_ptr<HostClass> cls) : ViewController(std::move(cls)) {
  // Every view controller has the variable; it holds nil until a
  // navigation item is made.
  setIvar("_navigationItem", std::any());
}

std::optional<std::string> SimViewController::accessibilityLabel() const {
  if (!view_loaded_) return std::nullopt;
  return accessibility_label_;
}

std::shared_ptr<Window> SimViewController::viewWindow() const {
  if (!view_loaded_) return nullptr;
  if (auto window = window_.lock()) return window;
  if (auto parent = parent_.lock()) return parent->viewWindow();
  if (auto presenting = presenting_.lock()) return presenting->viewWindow();
  return nullptr;
}

void SimViewController::setNavigationItem(std::shared_ptr<HostObject> item) {
  setIvar("_navigationItem", item ? std::any(std::move(item)) : std::any());
}

void SimViewController::setStoryboardSegueTemplates(HostObjectList templates) {
  setIvar("_storyboardSegueTemplates", std::move(templates));
}

void SimViewController::addChild(const std::shared_ptr<SimViewController>& child) {
  if (!child || child.get() == this) return;
  child->removeFromParent();
  child->parent_ = std::static_pointer_cast<SimViewController>(shared_from_this());
  children_.push_back(child);
}

void SimViewController::removeFromParent() {
  auto parent = parent_.lock();
  parent_.reset();
  if (!parent) return;
  auto& siblings = parent->children_;
  siblings.erase(std::remove_if(siblings.begin(), siblings.end(),
                                [this](const auto& sibling) { return sibling.get() == this; }),
                 siblings.end());
}

void SimViewController::present(const std::shared_ptr<SimViewController>& presented) {
  if (!presented || presented.get() == this) return;
  // A view controller is presented by one other at a time.
  if (auto previous = presented->presenting_.lock()) previous->dismissPresented();
  dismissPresented();
  presented->presenting_ = std::static_pointer_cast<SimViewController>(shared_from_this());
  presented_ = presented;
}

void SimViewController::dismissPresented() {
  if (!presented_) return;
  presented_->presenting_.reset();
  presented_.reset();
}

std::shared_ptr<ViewController> SimWindow::presentedViewController() const {
  return root_ ? root_->presentedViewController() : nullptr;
}

void SimWindow::setRootViewController(std::shared_ptr<SimViewController> root) {
  if (root_) root_->window_.reset();
  root_ = std::move(root);
  if (root_) root_->window_ = std::static_pointer_cast<SimWindow>(shared_from_this());
}

// The user-interface part of the scripted application.

SimApplication::SimApplication() : runtime_(std::make_shared<HostRuntime>()) {
  DefineSimUIKitClasses(*runtime_);
  application_object_ = std::make_shared<SimApplicationObject>(runtime_->lookUpClass("UIApplication"), this);
  DefineSimUserNotificationsClasses(*runtime_, application_object_);
}

std::optional<std::pair<double, double>> SimApplication::firstNormalWindowSize() {
  if (window_size) return window_size;
  for (const auto& window : windows_) {
    if (window->windowLevel() == kWindowLevelNormal) {
      return std::make_pair(window->bounds().width, window->bounds().height);
    }
  }
  return std::nullopt;
}

std::shared_ptr<HostObject> SimApplication::applicationObject() {
  if (!has_shared_application) return nullptr;
  return application_object_;
}

std::vector<std::shared_ptr<Window>> SimApplication::windows() {
  return {windows_.begin(), windows_.end()};
}

std::shared_ptr<HostObject> SimApplication::makeObject(const std::string& className) {
  auto cls = runtime_->lookUpClass(className);
  if (!cls) return nullptr;
  return std::make_shared<HostObject>(std::move(cls));
}

std::shared_ptr<SimViewController> SimApplication::makeViewController(const std::string& className) {
  auto cls = runtime_->lookUpClass(className);
  auto base = runtime_->lookUpClass("UIViewController");
  if (!cls || !base || !cls->isSubclassOfClass(*base)) return nullptr;
  return std::make_shared<SimViewController>(std::move(cls));
}

std::shared_ptr<HostObject> SimApplication::makeNavigationItem(std::optional<std::string> title) {
  auto item = makeObject("UINavigationItem");
  item->setIvar("_title", OptionalText(title));
  return item;
}

std::shared_ptr<HostObject> SimApplication::makeSegueTemplate(const std::string& className,
                                                              std::optional<std::string> identifier) {
  auto segue_template = makeObject(className);
  if (segue_template) segue_template->setIvar("_identifier", OptionalText(identifier));
  return segue_template;
}

std::shared_ptr<SimWindow> SimApplication::addWindow(std::shared_ptr<SimViewController> root) {
  auto window = std::make_shared<SimWindow>(runtime_->lookUpClass("UIWindow"));
  window->setRootViewController(std::move(root));
  windows_.push_back(window);
  return window;
}

void SimApplication::removeWindow(const std::shared_ptr<SimWindow>& window) {
  windows_.erase(std::remove(windows_.begin(), windows_.end(), window), windows_.end());
}

void SimApplication::appear(const std::shared_ptr<SimViewController>& vc, bool animated) {
  // A view is loaded before it can appear.
  vc->setViewLoaded(true);
  vc->send("viewWillAppear:", {animated});
  vc->send("viewDidAppear:", {animated});
}

void SimApplication::disappear(const std::shared_ptr<SimViewController>& vc, bool animated) {
  vc->send("viewWillDisappear:", {animated});
  vc->send("viewDidDisappear:", {animated});
}

void SimApplication::sendEvent(std::shared_ptr<HostObject> event) {
  if (!event) event = makeObject("UIEvent");
  application_object_->send("sendEvent:", {std::move(event)});
}

void SimApplication::setDelegate(std::shared_ptr<HostObject> delegate) {
  application_object_->send("setDelegate:", {delegate ? std::any(std::move(delegate)) : std::any()});
}

std::shared_ptr<HostObject> SimApplication::delegate() {
  auto value = application_object_->send("delegate");
  auto* delegate = std::any_cast<std::shared_ptr<HostObject>>(&value);
  return delegate ? *delegate : nullptr;
}

std::size_t SimApplication::dispatchedEvents() const { return application_object_->dispatchedEvents(); }

void SimApplication::RegisterForRemoteNotifications() {
  ++remote_notification_registrations;
  if (!device_token || !platform_) return;
  // The system answers later, on the main queue, with the token as it was
  // when the app asked.
  platform_->mainQueue()->async([this, token = *device_token] {
    registered_for_remote_notifications = true;
    auto app_delegate = delegate();
    const char* selector = "application:didRegisterForRemoteNotificationsWithDeviceToken:";
    if (!app_delegate || !app_delegate->respondsToSelector(selector)) return;
    app_delegate->send(selector, {std::static_pointer_cast<HostObject>(application_object_), token});
  });
}

void SimApplication::getNotificationSettings(std::function<void(const NotificationSettings& settings)> completion) {
  ++notification_settings_requests;
  if (!completion) return;
  NotificationSettings settings = notification_settings;
  if (notification_settings_inline || !platform_) {
    completion(settings);
    return;
  }
  if (!settings_queue_) settings_queue_ = platform_->createSerialQueue(kNotificationSettingsQueueLabel);
  settings_queue_->async([completion = std::move(completion), settings] { completion(settings); });
}

}  // namespace tessarin::platform::sim

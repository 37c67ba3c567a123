#include "platform/sim/sim_ui.h"

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
  view_controller->addMethod("viewDidAppear:", On<SimAppearanceRecord>([](SimAppearanceRecord& vc, const HostArgs&) {
    vc.appeared_ = true;
    return std::any();
  }));
  view_controller->addMethod("viewWillDisappear:", MakeImp(NoOp));
  view_controller->addMethod("viewDidDisappear:", On<SimAppearanceRecord>([](SimAppearanceRecord& vc, const HostArgs&) {
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

// The user-interface part of the scripted application.

SimApplication::SimApplication() : runtime_(std::make_shared<HostRuntime>()) {
  DefineSimUIKitClasses(*runtime_);
  application_object_ = std::make_shared<SimApplicationObject>(runtime_->lookUpClass("UIApplication"), this);
  DefineSimUserNotificationsClasses(*runtime_, application_object_);
}

std::optional<std::pair<double, double>> SimApplication::firstNormalWindowSize() {
  if (window_size) return window_size;
  for (const auto& window : windows()) {
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
  if (!user_interface_) return {};
  return user_interface_->windows();
}

ui::UIEnvironment* SimApplication::userInterfaceEnvironment() {
  return user_interface_ ? user_interface_->kitEnvironment() : nullptr;
}

ui::Screen* SimApplication::mainScreen() { return user_interface_ ? user_interface_->kitScreen() : nullptr; }

void SimApplication::setUserInterface(std::shared_ptr<SimUserInterface> ui) { user_interface_ = std::move(ui); }

std::shared_ptr<HostObject> SimApplication::makeObject(const std::string& className) {
  auto cls = runtime_->lookUpClass(className);
  if (!cls) return nullptr;
  return std::make_shared<HostObject>(std::move(cls));
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

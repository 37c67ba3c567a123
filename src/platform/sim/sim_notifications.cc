#include "platform/sim/sim_notifications.h"

#include <utility>

#include "platform/sim/sim_platform.h"
#include "platform/user_notifications.h"

namespace tessarin::platform::sim {
namespace {

// The application keeps the centre; only the key's address matters.
const char kCurrentCenterKey = 0;

// A property read: the instance variable of that name, nil when unset.
ImpPtr Getter(std::string ivar) {
  return MakeImp([ivar = std::move(ivar)](HostObject& self, const HostArgs&) { return self.ivar(ivar); });
}

std::shared_ptr<HostObject> Make(HostRuntime& runtime, const std::string& className,
                                 std::initializer_list<std::pair<const char*, std::any>> ivars) {
  auto object = std::make_shared<HostObject>(runtime.lookUpClass(className));
  for (const auto& [name, value] : ivars) object->setIvar(name, value);
  return object;
}

}  // namespace

void DefineSimUserNotificationsClasses(HostRuntime& runtime, const std::shared_ptr<HostObject>& application) {
  auto object = runtime.lookUpClass("NSObject");
  if (!object) object = runtime.defineClass("NSObject", nullptr);

  auto center = runtime.defineClass(kUNUserNotificationCenterClass, object);
  std::weak_ptr<HostClass> weak_center_class = center;
  std::weak_ptr<HostObject> weak_application = application;
  auto current_center = [weak_center_class, weak_application](HostObject&, const HostArgs&) {
    auto keeper = weak_application.lock();
    if (!keeper) return std::any();
    std::any current = keeper->associatedObject(&kCurrentCenterKey);
    if (!current.has_value()) {
      current = std::make_shared<HostObject>(weak_center_class.lock());
      keeper->setAssociatedObject(&kCurrentCenterKey, current);
    }
    return current;
  };
  center->addClassMethod("currentNotificationCenter", MakeImp(current_center));
  center->addMethod("setDelegate:", MakeImp([](HostObject& self, const HostArgs& args) {
    std::weak_ptr<HostObject> delegate = args.empty() ? nullptr : platform::HostObjectFrom(args[0]);
    self.setIvar("_delegate", delegate);
    return std::any();
  }));
  center->addMethod("delegate", MakeImp([](HostObject& self, const HostArgs&) -> std::any {
    std::any stored = self.ivar("_delegate");
    auto* weak = std::any_cast<std::weak_ptr<HostObject>>(&stored);
    auto delegate = weak ? weak->lock() : nullptr;
    if (!delegate) return {};
    return delegate;
  }));

  auto response = runtime.defineClass("UNNotificationResponse", object);
  response->addMethod("actionIdentifier", Getter("_actionIdentifier"));
  response->addMethod("notification", Getter("_notification"));
  auto notification = runtime.defineClass("UNNotification", object);
  notification->addMethod("request", Getter("_request"));
  notification->addMethod("date", Getter("_date"));
  auto request = runtime.defineClass("UNNotificationRequest", object);
  request->addMethod("identifier", Getter("_identifier"));
  request->addMethod("content", Getter("_content"));
  request->addMethod("trigger", Getter("_trigger"));
  auto content = runtime.defineClass("UNNotificationContent", object);
  content->addMethod("userInfo", Getter("_userInfo"));
  auto trigger = runtime.defineClass("UNNotificationTrigger", object);
  trigger->addMethod("repeats", MakeImp([](HostObject&, const HostArgs&) { return std::any(false); }));
  runtime.defineClass(kUNPushNotificationTriggerClass, trigger);
  runtime.defineClass("UNTimeIntervalNotificationTrigger", trigger);
  runtime.defineClass("UNCalendarNotificationTrigger", trigger);
}

std::shared_ptr<HostObject> CurrentNotificationCenter(HostRuntime& runtime) {
  auto center_class = runtime.lookUpClass(kUNUserNotificationCenterClass);
  if (!center_class) return nullptr;
  return platform::HostObjectFrom(center_class->send("currentNotificationCenter"));
}

std::shared_ptr<HostObject> MakeNotificationResponse(HostRuntime& runtime, const Json& userInfo,
                                                     const std::string& actionIdentifier, bool remote) {
  auto trigger = Make(runtime, remote ? kUNPushNotificationTriggerClass : "UNTimeIntervalNotificationTrigger", {});
  auto content = Make(runtime, "UNNotificationContent", {{"_userInfo", userInfo}});
  auto request = Make(runtime, "UNNotificationRequest",
                      {{"_identifier", std::string("request")}, {"_content", content}, {"_trigger", trigger}});
  auto notification = Make(runtime, "UNNotification", {{"_request", request}});
  return Make(runtime, "UNNotificationResponse",
              {{"_actionIdentifier", actionIdentifier}, {"_notification", notification}});
}

bool DeliverNotificationResponse(HostRuntime& runtime, const std::shared_ptr<HostObject>& response,
                                 std::function<void()> completionHandler) {
  auto center = CurrentNotificationCenter(runtime);
  auto delegate = center ? platform::HostObjectFrom(center->send("delegate")) : nullptr;
  if (!delegate || !delegate->respondsToSelector(kDidReceiveNotificationResponseSelector)) return false;
  delegate->send(kDidReceiveNotificationResponseSelector,
                 {std::any(center), std::any(response), std::any(std::move(completionHandler))});
  return true;
}

std::shared_ptr<HostClass> DefineAppClass(HostRuntime& runtime, const std::string& name,
                                          const std::map<std::string, ImpPtr>& methods,
                                          const std::string& superclassName) {
  auto cls = runtime.defineClass(name, superclassName);
  if (!cls) return nullptr;
  for (const auto& [selector, imp] : methods) cls->addMethod(selector, imp);
  return cls;
}

std::optional<std::any> SendToAppDelegate(SimApplication& app, const std::string& selector, HostArgs args) {
  auto delegate = app.delegate();
  if (!delegate || !delegate->respondsToSelector(selector)) return std::nullopt;
  args.insert(args.begin(), std::any(app.applicationObject()));
  return delegate->send(selector, args);
}

}  // namespace tessarin::platform::sim

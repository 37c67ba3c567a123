// The simulated host's user-notification framework and the scripting a
// test needs to play the system's part in push delivery.
//
// The system hands a push token, a remote notification, the user's
// response to a notification or a URL to the app's delegates; the SDK
// hears of them through the interceptions it installed there. A test
// defines delegate classes with exactly the methods the app would
// implement and then delivers to them here, as the system would: only to
// a delegate that implements the method, through its method table.
#ifndef TESSARIN_PLATFORM_SIM_SIM_NOTIFICATIONS_H_
#define TESSARIN_PLATFORM_SIM_SIM_NOTIFICATIONS_H_

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/host_object.h"
#include "tessarin/json.h"

namespace tessarin::platform::sim {

struct SimApplication;

// Defines the framework's classes:
//   NSObject
//     UNUserNotificationCenter   +currentNotificationCenter, setDelegate:, delegate
//     UNNotificationResponse     actionIdentifier, notification
//     UNNotification             request, date
//     UNNotificationRequest      identifier, content, trigger
//     UNNotificationContent      userInfo
//     UNNotificationTrigger      repeats
//       UNPushNotificationTrigger
//       UNTimeIntervalNotificationTrigger, UNCalendarNotificationTrigger
// The centre keeps its delegate weakly, as the platform's does. The one
// centre is kept by `application`, so it lasts as long as the app (were
// its own class to keep it, the two would keep each other forever).
void DefineSimUserNotificationsClasses(HostRuntime& runtime, const std::shared_ptr<HostObject>& application);

// The host's one notification centre, made on first use (what
// "currentNotificationCenter" answers).
std::shared_ptr<HostObject> CurrentNotificationCenter(HostRuntime& runtime);

// A response to a notification carrying `userInfo`: triggered remotely
// (UNPushNotificationTrigger) or, with `remote` false, by a local time
// interval trigger.
std::shared_ptr<HostObject> MakeNotificationResponse(HostRuntime& runtime, const Json& userInfo,
                                                     const std::string& actionIdentifier, bool remote = true);

// Delivers the response to the centre's delegate, as the system does when
// the user acts on a notification: only when there is a delegate and it
// implements the response method. Returns whether it was delivered.
bool DeliverNotificationResponse(HostRuntime& runtime, const std::shared_ptr<HostObject>& response,
                                 std::function<void()> completionHandler = [] {});

// A class of the app, a subclass of `superclassName`, whose instances
// implement exactly `methods` (plus what they inherit). Null when the name
// is taken or the superclass unknown.
std::shared_ptr<HostClass> DefineAppClass(HostRuntime& runtime, const std::string& name,
                                          const std::map<std::string, ImpPtr>& methods,
                                          const std::string& superclassName = "UIResponder");

// Sends an application-delegate message as the system does: only when the
// application has a delegate that responds to `selector`, with the
// application object before `args`. Nothing when it was not sent, else
// the method's result.
std::optional<std::any> SendToAppDelegate(SimApplication& app, const std::string& selector, HostArgs args);

}  // namespace tessarin::platform::sim

#endif  // TESSARIN_PLATFORM_SIM_SIM_NOTIFICATIONS_H_

// The user-notification framework's names, as the host's objects know them.
//
// A host delivers the user's response to a notification to the delegate of
// its notification centre (class "UNUserNotificationCenter", one centre per
// host, reached through the class method "currentNotificationCenter"). The
// response carries the action the user took and the notification, whose
// request says what triggered it (a class named "UNPushNotificationTrigger"
// for a remote notification, another trigger class for a local one) and
// whose content holds the payload's user info.
#ifndef TESSARIN_PLATFORM_USER_NOTIFICATIONS_H_
#define TESSARIN_PLATFORM_USER_NOTIFICATIONS_H_

#include "tessarin/notification_actions.h"

namespace tessarin::platform {

// The action identifier of a response when the user swiped the notification away.
inline constexpr const char* kUNNotificationDismissActionIdentifier = TessarinNotificationDismissActionIdentifier;
// The action identifier of a response when the user tapped the notification.
inline constexpr const char* kUNNotificationDefaultActionIdentifier = TessarinNotificationDefaultActionIdentifier;

inline constexpr const char* kUNUserNotificationCenterClass = "UNUserNotificationCenter";
inline constexpr const char* kUNPushNotificationTriggerClass = "UNPushNotificationTrigger";

// The centre's delegate method that receives a response; its arguments are
// the centre, the response (an object of class "UNNotificationResponse")
// and a completion handler (std::function<void()>).
inline constexpr const char* kDidReceiveNotificationResponseSelector =
    "userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:";

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_USER_NOTIFICATIONS_H_

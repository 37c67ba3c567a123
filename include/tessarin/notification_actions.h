// The action identifiers Tessarin::handleNotification understands, as the
// platform's notification centre names them.
#ifndef TESSARIN_NOTIFICATION_ACTIONS_H_
#define TESSARIN_NOTIFICATION_ACTIONS_H_

namespace tessarin {

// The user opened the notification.
inline constexpr const char* TessarinNotificationDefaultActionIdentifier =
    "com.apple.UNNotificationDefaultActionIdentifier";
// The user dismissed it, which is not a click. Any other identifier is one
// of the app's own notification actions.
inline constexpr const char* TessarinNotificationDismissActionIdentifier =
    "com.apple.UNNotificationDismissActionIdentifier";

}  // namespace tessarin

#endif  // TESSARIN_NOTIFICATION_ACTIONS_H_

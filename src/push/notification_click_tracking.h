// Notification click tracking: a notification the service sent for an
// experience reports a click-through when the user opened it.
//
// The service marks its notifications in the payload's user info:
//   "tsr-eid"   the experience id; a notification without it is not ours
//   "tsr-piks"  the promoted item keys, a JSON array in a string
//   "tsr-t"     present when the notification comes from a test campaign
// A notification reaches us from the notification centre's delegate (with
// the action the user took), from the app delegate's remote-notification
// callbacks (with an action only for the action callbacks), or from the
// app's own call. Only some of these are the user opening it.
#ifndef TESSARIN_PUSH_NOTIFICATION_CLICK_TRACKING_H_
#define TESSARIN_PUSH_NOTIFICATION_CLICK_TRACKING_H_

#include <optional>
#include <string>

#include "tessarin/json.h"

namespace tessarin {

class SdkFacade;

inline constexpr const char* TSRPushPayload_experienceId = "tsr-eid";
inline constexpr const char* TSRPushPayload_promotedItemKeys = "tsr-piks";
inline constexpr const char* TSRPushPayload_test = "tsr-t";

class TSRNotificationClickTracking {
 public:
  // On the main thread: tracks one click-through on the façade's global
  // context for a notification of ours, unless `checkClicked` asks whether
  // the user opened it and they did not (logged).
  static void trackClickIfNecessary(SdkFacade& facade, const Json& userInfo,
                                    const std::optional<std::string>& actionIdentifier, bool checkClicked);

  // Whether the user opened the notification. Any action but a dismissal
  // counts, the default action (a tap) included. The legacy callbacks have
  // no action: there a notification that arrives once the app has become
  // active since launch or since the background came while the app was in
  // use, and a silent one was never shown.
  static bool notificationWasClickedByUser(const SdkFacade& facade, const Json& userInfo,
                                           const std::optional<std::string>& actionIdentifier);
  // A notification with no "alert" in its "aps" shows nothing.
  static bool notificationIsSilent(const Json& userInfo);
};

}  // namespace tessarin

#endif  // TESSARIN_PUSH_NOTIFICATION_CLICK_TRACKING_H_

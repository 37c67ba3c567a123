// The SDK's identity and the names of the notifications it posts on the
// platform's notification centre.
#ifndef TESSARIN_SDK_INFO_H_
#define TESSARIN_SDK_INFO_H_

namespace tessarin {

// The SDK's reverse-DNS identifier: it prefixes notification names, the
// error domain and queue labels.
inline constexpr const char* kTessarinSDKIdentifier = "com.tessarin.sdk";
inline constexpr const char* kTessarinSDKVersion = "1.5.0";

// Notifications the SDK posts on the platform's notification centre.
inline constexpr const char* TessarinNotificationConfigUpdate = "com.tessarin.sdk.notification.configUpdate";
inline constexpr const char* TessarinNotificationReset = "com.tessarin.sdk.notification.reset";
inline constexpr const char* TessarinNotificationServerConfigLoaded =
    "com.tessarin.sdk.notification.serverConfigLoaded";
inline constexpr const char* TessarinNotificationStartAsNecessary =
    "com.tessarin.sdk.notification.startAsNecessary";
inline constexpr const char* TessarinNotificationStopAsNecessary =
    "com.tessarin.sdk.notification.stopAsNecessary";
inline constexpr const char* TessarinNotificationUserActive = "com.tessarin.sdk.notification.userActive";
inline constexpr const char* TessarinNotificationUserIdle = "com.tessarin.sdk.notification.userIdle";

}  // namespace tessarin

#endif  // TESSARIN_SDK_INFO_H_

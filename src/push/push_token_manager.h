// TSRPushTokenManager: reports the device's push tokens to the service.
//
// Tokens come from the platform's notification service (APNs, through the
// app delegate) and, when the app carries it, from the Firebase messaging
// library (FCM). The façade hands each one over with handlePushToken on the
// main thread. A token is reported only when the user can actually see the
// app's notifications, and only when it changed; the event carries every
// current token and, once, the token each one replaced, so the service can
// move the user's registration from the old token to the new one.
//
// Firebase is not linked: it is reached by name at run time (class, class
// method, instance variable, protocol), and every piece that is missing is
// a warning with a hint for the app developer, never an error. What is done
// "once per process" on the device (choosing how to read the FCM token,
// looking up the Firebase objects, intercepting the Firebase delegate) is
// done once per host and remembered in the host's runtime, since a test
// process makes many hosts.
//
// Everything except the interceptions themselves runs on the main thread.
#ifndef TESSARIN_PUSH_PUSH_TOKEN_MANAGER_H_
#define TESSARIN_PUSH_PUSH_TOKEN_MANAGER_H_

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/collaborators.h"
#include "platform/host_object.h"
#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin {

class SdkFacade;
class TSRConfig;

// The handler "instanceIDWithHandler:" of FIRInstanceID takes: the result
// (an object that answers "token") or nil, and the error or nil.
using FIRInstanceIDResultHandler = std::function<void(std::any result, std::any error)>;

class TSRPushTokenManager : public PushTokenReporter, public std::enable_shared_from_this<TSRPushTokenManager> {
 public:
  // Reads the FCM token one way and hands it to the façade.
  using FetchBlock = std::function<void(const std::shared_ptr<SdkFacade>& facade)>;
  // Completion of the permission check: whether the user can see
  // notifications, and why (or why not).
  using PermissionBlock = std::function<void(bool passed, const std::string& reason)>;

  // Appended to every Firebase warning.
  static constexpr const char* kFirebaseHint =
      "Please see Tessarin+Swizzling.setFirebaseToken method doc on when to additionally call the method to "
      "ensure timely token updates.";

  // The manager of `facade` (held weakly), with the façade's configuration
  // and event queue; it follows the façade's start, stop and
  // configuration-update notifications from the main thread on.
  static std::shared_ptr<TSRPushTokenManager> initWithConfig(const TSRConfig& config,
                                                             std::shared_ptr<EventQueue> eventSender,
                                                             const std::shared_ptr<SdkFacade>& facade);
  ~TSRPushTokenManager() override;
  TSRPushTokenManager(const TSRPushTokenManager&) = delete;
  TSRPushTokenManager& operator=(const TSRPushTokenManager&) = delete;

  // Lifecycle, driven by the façade's notifications.
  void startSystemsAsNecessary();
  void stopSystemsAsNecessary();
  void onConfigUpdate();

  // PushTokenReporter.
  void handlePushToken(const std::string& token, int platform) override;
  void enqueuePushTokenUpdateEvent() override;

  // Whether the user can see the app's notifications. The completion may
  // run twice: an app not registered for remote notifications gets an
  // immediate NO (worth a log line), and then the settings' verdict, which
  // is the one that counts. The settings' answer arrives off the main
  // thread.
  void checkPassesPermissions(PermissionBlock completion);
  void removePreviousTokens();
  void stopAndClearTokens(bool clearTokens);

  bool usePushNotifications() const;
  bool retriggerApnsCallbacksOnStart() const;
  // Asks the platform to deliver the APNs token again (to the app delegate).
  void retriggerAPNSTokenCallbacks();
  void tryFetchingFirebaseFCMToken();

  bool running() const { return running_; }
  // Platform name → {"token", and until reported once "previous"}.
  const Json& pushTokens() const { return push_tokens_; }

  // Firebase by reflection, once per host. Each takes the host's platform.
  static std::shared_ptr<platform::HostObject> firMessagingInstance(platform::Platform& platform);
  static std::shared_ptr<platform::HostObject> firInstanceIDInstance(platform::Platform& platform);
  static FetchBlock tryFetchBlockFCMTokenFromMessagingProperty(platform::Platform& platform);
  static FetchBlock tryFetchBlockFCMTokenFromMessagingIvar(platform::Platform& platform);
  static FetchBlock tryFetchBlockFCMTokenFromInstanceID(platform::Platform& platform);
  // The token `instance` answers to `selector`, when it is a string.
  static std::optional<std::string> fetchFirebaseTokenWithSelector(const std::string& selector,
                                                                   const std::shared_ptr<platform::HostObject>& instance);
  // The Firebase messaging interceptions (installed once per host, when
  // swizzling is enabled); tokens they catch go to this manager's façade
  // from now on.
  void setupFirebaseTokenCallbackHooks();
  static void swizzleSetFIRMessagingDelegate(platform::Platform& platform,
                                             const std::shared_ptr<platform::HostObject>& messaging);
  static void validateAndSwizzleFIRMessagingDelegate(platform::Platform& platform,
                                                     const std::shared_ptr<platform::HostObject>& delegate);
  static bool swizzleFIRMessagingDelegate(platform::Platform& platform,
                                          const std::shared_ptr<platform::HostObject>& delegate,
                                          const std::string& selector);

 private:
  TSRPushTokenManager(const TSRConfig& config, std::shared_ptr<EventQueue> eventSender,
                      const std::shared_ptr<SdkFacade>& facade);
  void registerObservers();
  // Whether `token` is the one stored for the platform already.
  bool IsCurrentToken(const std::string& token, const std::string& platformName) const;
  void AcceptToken(const std::string& token, const std::string& platformName);
  bool ConfigFlag(const char* key, bool fallback) const;

  const TSRConfig& config_;
  std::shared_ptr<EventQueue> event_sender_;
  std::weak_ptr<SdkFacade> facade_;
  std::shared_ptr<platform::Platform> platform_;
  std::vector<std::uint64_t> observers_;
  bool running_ = false;
  Json push_tokens_ = Json::object();
};

}  // namespace tessarin

#endif  // TESSARIN_PUSH_PUSH_TOKEN_MANAGER_H_

// Stand-ins for the Firebase messaging classes an app may carry, defined in
// a simulated host's runtime, each piece optional, so that tests can find
// Firebase present, partly present (another version's names) or absent.
#ifndef TESSARIN_TESTS_SUPPORT_FIREBASE_STAND_INS_H_
#define TESSARIN_TESTS_SUPPORT_FIREBASE_STAND_INS_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/host_object.h"

namespace tessarin::testing {

struct FirebaseStandInOptions {
  bool messagingClass = true;          // class "FIRMessaging"
  bool messagingClassMethod = true;    // +messaging
  bool messagingInstance = true;       // +messaging answers the instance (else nil)
  bool fcmTokenProperty = true;        // -FCMToken
  bool defaultFcmTokenIvar = true;     // declared instance variable "_defaultFcmToken"
  bool delegateGetter = true;          // -delegate
  bool setDelegate = true;             // -setDelegate:
  bool instanceIDClass = true;         // class "FIRInstanceID"
  bool instanceIDClassMethod = true;   // +instanceID
  bool instanceIDInstance = true;      // +instanceID answers the instance (else nil)
  bool instanceIDWithHandler = true;   // -instanceIDWithHandler:
  bool delegateProtocol = true;        // protocol "FIRMessagingDelegate"
  bool protocolDeclaresReceive = true; // ... declares messaging:didReceiveRegistrationToken:
  bool protocolDeclaresRefresh = true; // ... declares messaging:didRefreshRegistrationToken:

  // Nothing of Firebase at all.
  static FirebaseStandInOptions None();
};

inline constexpr const char* kReceiveTokenSelector = "messaging:didReceiveRegistrationToken:";
inline constexpr const char* kRefreshTokenSelector = "messaging:didRefreshRegistrationToken:";

class FirebaseStandIns {
 public:
  explicit FirebaseStandIns(platform::HostRuntime& runtime, FirebaseStandInOptions options = {});

  // The current FCM token, wherever this Firebase keeps it ("FCMToken",
  // "_defaultFcmToken", the instance-ID result's "token"); nothing: nil.
  void setToken(std::optional<std::string> token);

  // An app's delegate class (an NSObject) with the token callbacks asked
  // for, adopting the protocol when `conforms`. Each callback it
  // implements records "<selector> <token>" in `appCallbacks`.
  std::shared_ptr<platform::HostClass> defineDelegateClass(const std::string& name, bool receive, bool refresh,
                                                           bool conforms = true);
  std::shared_ptr<platform::HostObject> makeDelegate(const std::string& className);
  // The app sets the messaging delegate (through "setDelegate:", so any
  // interception of it runs).
  void setDelegate(const std::shared_ptr<platform::HostObject>& delegate);
  // What Firebase does when a token is issued: the messaging delegate gets
  // `selector` with (messaging, token), when it responds to it.
  void deliverToken(const std::string& token, const std::string& selector = kReceiveTokenSelector);

  platform::HostRuntime& runtime;
  std::shared_ptr<platform::HostObject> messaging;   // null unless made
  std::shared_ptr<platform::HostObject> instanceID;  // null unless made
  std::vector<std::string> appCallbacks;
  int instanceIDHandlerCalls = 0;

 private:
  std::optional<std::string> token_;
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_FIREBASE_STAND_INS_H_

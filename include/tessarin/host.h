// Describing the host application to Tessarin on Linux.
//
// On a desktop there is no bundle and no application object for the SDK to
// ask, so the host app says who it is once, before its first use of
// Tessarin::sharedInstance(), and reports its lifecycle as it changes.
#ifndef TESSARIN_HOST_H_
#define TESSARIN_HOST_H_

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

struct TessarinHostOptions {
  // Reverse-DNS name of the application; the SDK keeps its files in a
  // directory of this name under `$XDG_DATA_HOME` (else ~/.local/share).
  // Without one, "local.<program name>" is used.
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> bundleVersion;
  // Further Info values, e.g. "TessarinSwizzlingEnabled".
  Json info = Json::object();
  // Applications of one vendor share the identifier for vendor.
  std::string vendorName;
  // Replaces the user's data directory (for a sandbox or a test run).
  std::optional<std::string> dataDirectory;
  // When the app has a main loop of its own, the SDK's main-thread work is
  // handed to it through this hook, to run in order on `mainThread`.
  // Without it the SDK runs its own main loop thread.
  std::function<void(std::function<void()>)> postToMain;
  std::optional<std::thread::id> mainThread;
  // The operating system's name as the service knows it: it travels in
  // every event (".on") and names the app's configuration on the service
  // ("<os>/<bundle id>/<version>/<sdk version>"). A service that does not
  // know the name may answer the configuration request with 404, which
  // switches the SDK off until the service knows it.
  std::string osName = "Linux";
  // Whether the app routes its application, notification-centre and
  // messaging delegates through host objects the SDK intercepts (the
  // "TessarinSwizzlingEnabled" switch). A plain Linux app does not: it
  // calls setAPNSToken, setFirebaseToken, handleNotification and
  // handleOpenURL itself, and those calls act. An Info value
  // "TessarinSwizzlingEnabled" overrides this.
  bool routesDelegatesThroughSDK = false;
  // Whether the user lets the app show notifications. A push token handed
  // to setAPNSToken or setFirebaseToken reaches the service only when this
  // holds (a token for notifications nobody sees is not reported).
  bool notificationsAllowed = true;
};

class TESSARIN_EXPORT TessarinHost {
 public:
  // Sets the host up; false when it was already set up (explicitly or by a
  // first use of the shared instance), in which case nothing changes.
  static bool configure(TessarinHostOptions options);

  // Lifecycle reports, each setting the application's state and posting
  // the matching notification.
  static void applicationDidFinishLaunching();
  static void applicationDidBecomeActive();
  static void applicationWillResignActive();
  static void applicationDidEnterBackground();
  static void applicationWillEnterForeground();
  static void applicationWillTerminate();

  // One input event of the user (a key press, a click, a touch), from any
  // thread. A desktop app has no event dispatch for the SDK to watch, so it
  // reports its input here; the SDK counts the user as idle from launch
  // until the first reported event, and again after "timeOnPageTimeout"
  // seconds (default 120) without one, and tracking contexts follow.
  // Reports while the SDK is not started do not count. Report discrete
  // input; since one report every few seconds while the user works is
  // enough, high-rate input such as pointer motion may be thinned out.
  static void reportUserEvent();

  // Waits until the SDK's main queue has run what was queued before the call.
  static void syncWithMain();
};

}  // namespace tessarin

#endif  // TESSARIN_HOST_H_

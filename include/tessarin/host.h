// Describing the host application to Tessarin on Linux.
//
// On a desktop there is no bundle and no application object for the SDK to
// ask, so the host app says who it is once, before its first use of
// Tessarin::sharedInstance(), and reports its lifecycle as it changes.
#ifndef TESSARIN_HOST_H_
#define TESSARIN_HOST_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

// One frame of the SDK's overlay: what the SDK shows over the app (an
// in-app message, say), for the app to composite over its own frame.
struct TessarinOverlayFrame {
  // The whole overlay: premultiplied ARGB32, 32 bits a pixel in native byte
  // order (Cairo's CAIRO_FORMAT_ARGB32), rows `stride` bytes apart,
  // `width` x `height` pixels (the screen's size times its scale). Owned by
  // the SDK and valid only while the callback runs: copy what you keep.
  const std::uint8_t* pixels = nullptr;
  int width = 0;
  int height = 0;
  int stride = 0;
  // The rectangle of pixels that changed since the previous frame; the rest
  // is as it was then. (After a size or scale change, the whole overlay.)
  int damageX = 0;
  int damageY = 0;
  int damageWidth = 0;
  int damageHeight = 0;
  // False once nothing of the SDK is shown: the pixels are then all
  // transparent, the damage is the whole overlay, and the app may stop
  // compositing until a frame says true again.
  bool visible = false;
};

// Receives overlay frames on the SDK's main queue (the app's loop when it
// set `postToMain`), only after something changed and at most once a frame
// (60 a second).
using TessarinOverlayCallback = std::function<void(const TessarinOverlayFrame& frame)>;

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
  // The app's screen (its window, for a windowed app) in points, and pixels
  // per point: the SDK lays out what it shows on it. With no size the SDK
  // shows nothing (and takes no pointer input) until setScreen gives one.
  double screenWidth = 0;
  double screenHeight = 0;
  double screenScale = 1;
  // Where the SDK's overlay goes (see TessarinOverlayFrame); none: the SDK
  // draws nothing until setOverlayCallback names one.
  TessarinOverlayCallback overlayCallback;
  // The certificates to trust for HTTPS, as one PEM file, instead of the
  // system's: a service on a private network with an authority of its
  // own, say. Empty: the system's. The service's host name is checked
  // against its certificate either way.
  std::string trustedCertificatesFile;
  // Seconds a request to the service may take in all, connecting included,
  // before it fails as timed out; a batch of events that timed out is sent
  // again later. 0: no such bound (a request still fails after 60 seconds
  // without receiving anything, or 30 without connecting).
  double requestTimeout = 0;
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

  // The overlay. The SDK's windows (in-app messages) are drawn for the app,
  // which composites them over its own frame and forwards its pointer input.

  // The screen's new size in points and its scale (pixels per point), from
  // any thread; takes effect on the SDK's main queue, after which the next
  // frame (if anything is shown) covers the new size.
  static void setScreen(double width, double height, double scale);
  // Replaces the overlay callback (null: none), from any thread; takes
  // effect on the SDK's main queue. A new callback gets a whole frame first
  // when something is shown.
  static void setOverlayCallback(TessarinOverlayCallback callback);

  // Pointer input (a mouse button or a finger) at (x, y) in points on the
  // screen, with the event's time in seconds (any monotonic base, kept
  // for the whole sequence: only differences count), from any thread. Each
  // answers whether the SDK took the input; false means the app handles it.
  //
  // A press the SDK takes is the SDK's until it is released or cancelled:
  // the moves, the release and the cancel of that sequence answer true and
  // go to the SDK, those of a press it did not take answer false. A press
  // goes where the SDK's windows have a view that takes it; elsewhere (and
  // when nothing is shown) it falls through to the app. Deciding that takes
  // the SDK's main queue: on the main thread the call answers at once; on
  // another it waits for the main queue at most 100 ms, and answers false
  // (the SDK then ignores the press) when the queue is busy for longer.
  // Moves, releases and cancels never wait. A press the SDK takes counts
  // as the user's input (no reportUserEvent needed for it).
  static bool pointerDown(double x, double y, double timestamp);
  static bool pointerMove(double x, double y, double timestamp);
  static bool pointerUp(double x, double y, double timestamp);
  static bool pointerCancel(double x, double y, double timestamp);
};

}  // namespace tessarin

#endif  // TESSARIN_HOST_H_

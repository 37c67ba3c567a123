// TSRUtilityHostApp: what the SDK needs to know about the host application,
// all of it asked of the platform's host application and file system.
// Values the reference platform works out once per process (the
// provisioning profile's path and property list, the swizzling switch) are
// worked out once per instance here, which is once per host.
#ifndef TESSARIN_UTIL_HOST_APP_H_
#define TESSARIN_UTIL_HOST_APP_H_

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/platform.h"
#include "platform/view_hierarchy.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRUtilityHostApp {
 public:
  explicit TSRUtilityHostApp(std::shared_ptr<platform::Platform> platform);

  std::optional<std::string> bundleIdentifier();
  std::optional<std::string> bundleVersion();        // "CFBundleShortVersionString"
  std::optional<Json> tessarinConfiguration();       // "TessarinConfiguration"
  std::optional<double> dataCreatedDate();           // seconds since 1970
  std::optional<double> bundleModifiedDate();
  std::optional<std::string> provisionPath();
  std::optional<Json> provisionPlist();
  bool runningInSimulator();
  bool sandboxedAPNS();
  bool debuggableBuild();
  bool appStoreBuild();
  bool testFlightBuild();
  bool appStateIs(int state);  // 0 active, 1 inactive, 2 background
  bool swizzlingEnabled();

  // The first of the application's windows, in its order, that is shown at
  // the normal level; null if none. Main thread only.
  std::shared_ptr<platform::Window> firstNormalWindow();
  // What the user sees on top in `window` (the first normal window when
  // null): its root view controller, followed through what each presents.
  std::shared_ptr<platform::ViewController> topPresentedVCForWindow(std::shared_ptr<platform::Window> window);

  // The time of the user's last input event while the SDK ran (seconds
  // since 1970), kept for the application by the idle tracking; nothing
  // means the user is idle. Main thread only.
  std::optional<double> lastEventDate() const { return last_event_date_; }
  void setLastEventDate(std::optional<double> date) { last_event_date_ = date; }
  // Whether the user counts as idle: an application exists and no input
  // event was seen since launch or since the last idle period.
  bool userIdle();

 private:
  std::shared_ptr<platform::Platform> platform_;
  std::once_flag provision_path_once_;
  std::optional<std::string> provision_path_;
  std::once_flag provision_plist_once_;
  std::optional<Json> provision_plist_;
  std::once_flag swizzling_once_;
  bool swizzling_enabled_ = true;
  std::optional<double> last_event_date_;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_HOST_APP_H_

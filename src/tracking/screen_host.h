// TSRScreenHost: the state that screens and view-controller tracking share
// across all view controllers of one host.
//
// On the reference platform this is class-wide: the visible screens of
// TSRScreen and the ignorable class names of the view-controller category,
// for the one application in the process. Here a process may run several
// hosts (each simulated host in a test has its own classes and view
// controllers), so the state is kept once per host: created on first use
// for a platform, and reachable from a view controller through its host's
// "UIViewController" class once tracking is installed there. The
// identifier counter of screens alone stays process-wide, so contextIds
// never repeat within the process.
//
// Everything but the façade link is read and changed on the main thread.
#ifndef TESSARIN_TRACKING_SCREEN_HOST_H_
#define TESSARIN_TRACKING_SCREEN_HOST_H_

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "util/weak_reference.h"

namespace tessarin {

class SdkFacade;
class TSRScreen;
namespace platform {
class HostObject;
class Platform;
}  // namespace platform

class TSRScreenHost : public std::enable_shared_from_this<TSRScreenHost> {
 public:
  using ScreenRef = std::shared_ptr<TSRUtilityWeakReference<TSRScreen>>;

  // The state of the platform's host, made on first use.
  static std::shared_ptr<TSRScreenHost> forPlatform(platform::Platform& platform);
  // The state of the host whose classes `object` belongs to; null until
  // view-controller tracking was installed on that host.
  static std::shared_ptr<TSRScreenHost> forViewController(const platform::HostObject& object);

  explicit TSRScreenHost(std::weak_ptr<platform::Platform> platform) : platform_(std::move(platform)) {}

  // The façade that tracks this host's view controllers: the last one
  // created on it, held weakly.
  std::shared_ptr<SdkFacade> facade() const;
  void setFacade(const std::shared_ptr<SdkFacade>& facade);
  std::shared_ptr<platform::Platform> platform() const { return platform_.lock(); }

  // True the first time only: the caller then installs the appearance
  // interception in `viewControllerClass` (the host's "UIViewController"),
  // through which this state becomes reachable from every view controller.
  bool markInstalled(platform::HostObject& viewControllerClass);

  // The visible screens, oldest first.
  std::vector<ScreenRef>& visibleScreens() { return visible_screens_; }
  // Class names of view controllers whose appearance is not tracked.
  std::set<std::string>& ignorableClassNames() { return ignorable_class_names_; }

 private:
  const std::weak_ptr<platform::Platform> platform_;
  mutable std::mutex facade_mutex_;
  std::weak_ptr<SdkFacade> facade_;
  std::once_flag installed_;
  std::vector<ScreenRef> visible_screens_;
  std::set<std::string> ignorable_class_names_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_SCREEN_HOST_H_

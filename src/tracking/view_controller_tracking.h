// View-controller tracking: how the SDK follows the host's view
// controllers.
//
// The appearance messages of the host's "UIViewController" class are
// intercepted, once per host and whatever the host's swizzling switch says:
// the host's own implementation runs first, then the SDK makes the view
// controller's screen visible ("viewDidAppear:") or not visible
// ("viewWillDisappear:") on the main thread. A view controller that is not
// in an ordinary visible window, or whose class is ignorable (alerts, by
// default), changes nothing.
#ifndef TESSARIN_TRACKING_VIEW_CONTROLLER_TRACKING_H_
#define TESSARIN_TRACKING_VIEW_CONTROLLER_TRACKING_H_

#include <memory>

#include "tessarin/json.h"
#include "tracking/view_controller_description.h"

namespace tessarin {

class SdkFacade;
namespace platform {
class Platform;
class ViewController;
}  // namespace platform

// Installs the interception on the façade's host (once per host) and makes
// the façade the one that tracks that host's view controllers.
void tsr_installViewControllerTracking(const std::shared_ptr<SdkFacade>& facade);

// The description built when the view controller last appeared; null
// before that.
std::shared_ptr<TSRViewControllerDescription> tsr_description(const platform::ViewController& vc);
// Whether the view controller's appearance is not tracked.
bool tsr_ignorable(const platform::ViewController& vc);
// Replaces the host's ignorable class names with the strings of the array
// (other elements are skipped; no array clears them).
void tsr_updateIgnorableClassNames(platform::Platform& platform, const Json* classNames);
// Describes the view controller with up to four ancestors (parents, else
// presenting view controllers) and keeps the description on it.
std::shared_ptr<TSRViewControllerDescription> tsr_buildAndSetDescription(platform::ViewController& vc);
// What follows the host's "viewDidAppear:" and "viewWillDisappear:"; each
// does its work on the main thread.
void tsr_viewDidAppear(const std::shared_ptr<platform::ViewController>& vc);
void tsr_viewWillDisappear(const std::shared_ptr<platform::ViewController>& vc);

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_VIEW_CONTROLLER_TRACKING_H_

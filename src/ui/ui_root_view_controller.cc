#include "ui/ui_root_view_controller.h"

#include <cctype>

#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/ui/host_view_hierarchy.h"
#include "ui/log_address.h"
#include "ui/ui_window.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/host_app.h"

namespace tessarin {

namespace kit = platform::ui;

namespace {

std::string ConfigReference(Environment& environment, const char* key) {
  auto facade = environment.facade();
  std::string value = facade ? facade->config().stringForKey(key).value_or("") : "";
  for (char& c : value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return value;
}

// The kit's view controller behind a host's, where the host's windows are
// the kit's; null elsewhere.
kit::ViewController* KitViewController(const std::shared_ptr<platform::ViewController>& vc) {
  auto* host = dynamic_cast<kit::HostViewController*>(vc.get());
  return host ? &host->kit() : nullptr;
}

}  // namespace

TSRUIRootVC::TSRUIRootVC(std::shared_ptr<Environment> environment)
    : environment_(std::move(environment)),
      statusBarRef_(ConfigReference(*environment_, "statusBarRefVC")),
      orientationRef_(ConfigReference(*environment_, "orientationRefVC")) {}

void TSRUIRootVC::viewDidLoad() {
  view()->setBackgroundColor(kit::Color::clear());
  view()->setUserInteractionEnabled(true);
}

void TSRUIRootVC::viewDidAppear(bool) {
  if (attachedToWindow_ || attachPending_) return;
  // The reference platform reports a window's first appearance after the
  // display pass that showed it, not inside the call that showed it; so
  // do we, so that every message arriving in the same turn waits and only
  // the newest is presented.
  attachPending_ = true;
  std::weak_ptr<TSRUIRootVC> weak = std::static_pointer_cast<TSRUIRootVC>(shared_from_this());
  environment_->platform().mainQueue()->async([weak] {
    if (auto self = weak.lock()) self->attach();
  });
}

void TSRUIRootVC::attach() {
  attachPending_ = false;
  TSR_LOG_DEBUG("UI: RootVC attached %p", Address(this));
  attachedToWindow_ = true;
  kit::Window* window = viewWindow();
  if (auto* overlay = dynamic_cast<TSRUIWindow*>(window)) {
    overlay->setActive(true);
  } else {
    TSR_LOG_WARN("UI: RootVC appeared %p but unexpected window %p %@", Address(this), Address(window),
                 window ? window->typeName() : nullptr);
  }
}

kit::ViewController* TSRUIRootVC::referencedViewController(const std::string& reference) const {
  auto& hostApp = environment_->hostApp();
  auto window = hostApp.firstNormalWindow();
  if (!window) return nullptr;
  if (reference == "top") return KitViewController(hostApp.topPresentedVCForWindow(window));
  if (reference == "root") return KitViewController(window->rootViewController());
  return nullptr;
}

// A reference that names neither "top" nor "root" leaves the answer to the
// app's defaults; an unknown non-empty one is logged on every question, as
// it is a configuration mistake the developer should see.

int TSRUIRootVC::supportedInterfaceOrientations() const {
  if (!environment_->hostApp().firstNormalWindow()) return kit::kInterfaceOrientationMaskAll;
  if (auto* vc = referencedViewController(orientationRef_)) return vc->supportedInterfaceOrientations();
  if (!orientationRef_.empty() && orientationRef_ != "top" && orientationRef_ != "root") {
    TSR_LOG_WARN("UI: Orientation reference unsupported: %@", orientationRef_);
  }
  // The application's own answer for its window; hosts here declare none,
  // which means every orientation.
  return kit::kInterfaceOrientationMaskAll;
}

bool TSRUIRootVC::shouldAutorotate() const {
  if (auto* vc = referencedViewController(orientationRef_)) return vc->shouldAutorotate();
  if (!orientationRef_.empty() && orientationRef_ != "top" && orientationRef_ != "root") {
    TSR_LOG_WARN("UI: Orientation reference unsupported: %@", orientationRef_);
  }
  return true;
}

kit::StatusBarStyle TSRUIRootVC::preferredStatusBarStyle() const {
  if (auto* vc = referencedViewController(statusBarRef_)) return vc->preferredStatusBarStyle();
  if (!statusBarRef_.empty() && statusBarRef_ != "top" && statusBarRef_ != "root") {
    TSR_LOG_WARN("UI: StatusBar reference unsupported: %@", statusBarRef_);
  }
  return kit::StatusBarStyle::kDefault;
}

bool TSRUIRootVC::prefersStatusBarHidden() const {
  if (auto* vc = referencedViewController(statusBarRef_)) return vc->prefersStatusBarHidden();
  if (!statusBarRef_.empty() && statusBarRef_ != "top" && statusBarRef_ != "root") {
    TSR_LOG_WARN("UI: StatusBar reference unsupported: %@", statusBarRef_);
  }
  return false;
}

}  // namespace tessarin

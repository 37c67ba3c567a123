// What every view controller gains for the host app: a name of the app's
// choosing and its screen.
#include <any>

#include "base/category_markers.h"
#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/platform.h"
#include "platform/view_hierarchy.h"
#include "tessarin/sdk_info.h"
#include "tracking/screen_host.h"
#include "tracking/screen_impl.h"
#include "util/environment.h"

// Lets the shared instance confirm that screens of view controllers are part of the build.
extern "C" const char TSRCategoryMarker_UIViewController_Tessarin = 1;

namespace tessarin {
namespace {

// The keys of the name and the screen on their view controller.
const char kNameKey = 'n';
const char kScreenKey = 's';

}  // namespace

std::optional<std::string> tessarinName(const platform::ViewController& vc) {
  std::any value = vc.associatedObject(&kNameKey);
  if (const auto* name = std::any_cast<std::string>(&value)) return *name;
  return std::nullopt;
}

void setTessarinName(platform::ViewController& vc, const std::optional<std::string>& name) {
  vc.setAssociatedObject(&kNameKey, name ? std::any(*name) : std::any());
}

std::shared_ptr<TSRScreen> tessarinScreen(const std::shared_ptr<platform::ViewController>& vc) {
  if (!vc) return nullptr;
  auto host = TSRScreenHost::forViewController(*vc);
  auto facade = host ? host->facade() : nullptr;
  if (!facade || facade->disabled()) return nullptr;
  std::any value = vc->associatedObject(&kScreenKey);
  if (auto* screen = std::any_cast<std::shared_ptr<TSRScreen>>(&value)) return *screen;
  if (!facade->environment().platform().isMainThread()) {
    TSR_LOG_ERROR("VC: tessarinScreen must be first accessed from main thread for lazy creation");
    return nullptr;
  }
  auto screen = TSRScreen::initWithParentVC(vc, facade);
  vc->setAssociatedObject(&kScreenKey, screen);
  return screen;
}

}  // namespace tessarin

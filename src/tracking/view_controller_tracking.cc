// The view-controller tracking category: the appearance interception, the
// ignorable rule and the description of a view controller.
#include "tracking/view_controller_tracking.h"

#include <any>
#include <string>
#include <unordered_set>

#include "base/category_markers.h"
#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/host_object.h"
#include "platform/platform.h"
#include "platform/view_hierarchy.h"
#include "tessarin/sdk_info.h"
#include "tracking/screen_host.h"
#include "tracking/screen_impl.h"
#include "util/environment.h"
#include "util/method_interception.h"
#include "util/safety.h"

// Lets the shared instance confirm that view-controller tracking is part of the build.
extern "C" const char TSRCategoryMarker_UIViewController_TSRTracking = 1;

namespace tessarin {
namespace {

using platform::HostObject;
using platform::ViewController;

// The key of the description on its view controller.
const char kDescriptionKey = 'd';

// A description holds at most this many ancestors.
constexpr int kMaxDepth = 4;

std::shared_ptr<ViewController> SharedViewController(HostObject& self) {
  auto* vc = dynamic_cast<ViewController*>(&self);
  if (!vc) return nullptr;
  return std::static_pointer_cast<ViewController>(vc->weak_from_this().lock());
}

std::optional<std::string> TextValue(const std::any& value) {
  if (const auto* text = std::any_cast<std::string>(&value)) return *text;
  return std::nullopt;
}

// Whether tracking may act: a façade tracks the host and is not disabled.
std::shared_ptr<SdkFacade> EnabledFacade(const std::shared_ptr<TSRScreenHost>& host) {
  auto facade = host ? host->facade() : nullptr;
  if (!facade || facade->disabled()) return nullptr;
  return facade;
}

void DescribeOne(ViewController& vc, int depth, TSRViewControllerDescription& description) {
  description.name = tessarinName(vc);
  description.title = vc.title();
  description.className = vc.className();
  description.nibName = vc.nibName();
  description.restorationIdentifier = vc.restorationIdentifier();
  description.accessibilityLabel = vc.accessibilityLabel();
  if (depth == 0 && vc.cls()) description.classHierarchy = vc.cls()->classHierarchy();

  // Read from the variable: the accessor would make a navigation item for
  // a view controller that has none.
  TSRUtilitySafety::runWithTag("-[UIViewController(TSRTracking) tsr_buildAndSetDescription]", [&] {
    std::any value = vc.ivar("_navigationItem");
    auto* item = std::any_cast<std::shared_ptr<HostObject>>(&value);
    if (item && *item && (*item)->isKindOfClass("UINavigationItem")) {
      description.navigationItemTitle = TextValue((*item)->valueForKey("title"));
    }
  });

  TSRUtilitySafety::runWithTag("-[UIViewController(TSRTracking) tsr_buildAndSetDescription]", [&] {
    // Only a view controller loaded from a storyboard has templates; asking
    // any other would raise for an unknown key.
    if (!vc.respondsToSelector("storyboardSegueTemplates") && !vc.hasIvar("_storyboardSegueTemplates") &&
        !vc.hasIvar("storyboardSegueTemplates")) {
      return;
    }
    std::any value = vc.valueForKey("storyboardSegueTemplates");
    auto* templates = std::any_cast<platform::HostObjectList>(&value);
    if (!templates) return;
    std::vector<std::string> ids;
    for (const auto& segue_template : *templates) {
      if (!segue_template) continue;
      std::optional<std::string> identifier = TextValue(segue_template->valueForKey("identifier"));
      ids.push_back(FormatLogMessage("%@-%@", {segue_template->className(), identifier}));
    }
    if (!ids.empty()) description.storyboardSegueIds = std::move(ids);
  });
}

}  // namespace

void tsr_installViewControllerTracking(const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return;
  platform::Platform& platform = facade->environment().platform();
  auto host = TSRScreenHost::forPlatform(platform);
  host->setFacade(facade);
  platform::HostRuntime* runtime = platform.hostRuntime();
  auto cls = runtime ? runtime->lookUpClass("UIViewController") : nullptr;
  if (!cls || !host->markInstalled(*cls)) return;

  TSRUtilitySafety::runWithTag("+[UIViewController(TSRTracking) load]_block_invoke", [&] {
    TSRSwizzler::replaceMethod("viewDidAppear:", cls,
                               TSRSwizzler::afterPrevious([](std::any result, HostObject& self, const platform::HostArgs&) {
                                 if (auto vc = SharedViewController(self)) tsr_viewDidAppear(vc);
                                 return result;
                               }));
  });
  TSRUtilitySafety::runWithTag("+[UIViewController(TSRTracking) load]_block_invoke_2", [&] {
    TSRSwizzler::replaceMethod("viewWillDisappear:", cls,
                               TSRSwizzler::afterPrevious([](std::any result, HostObject& self, const platform::HostArgs&) {
                                 if (auto vc = SharedViewController(self)) tsr_viewWillDisappear(vc);
                                 return result;
                               }));
  });
}

std::shared_ptr<TSRViewControllerDescription> tsr_description(const ViewController& vc) {
  std::any value = vc.associatedObject(&kDescriptionKey);
  auto* description = std::any_cast<std::shared_ptr<TSRViewControllerDescription>>(&value);
  return description ? *description : nullptr;
}

bool tsr_ignorable(const ViewController& vc) {
  if (!vc.isViewLoaded()) return true;
  auto window = vc.viewWindow();
  if (!window || window->isHidden() || window->windowLevel() != platform::kWindowLevelNormal) return true;
  auto host = TSRScreenHost::forViewController(vc);
  return host && host->ignorableClassNames().count(vc.className()) != 0;
}

void tsr_updateIgnorableClassNames(platform::Platform& platform, const Json* classNames) {
  std::set<std::string> names;
  if (classNames && classNames->is_array()) {
    for (const Json& name : *classNames) {
      if (name.is_string()) names.insert(name.get<std::string>());
    }
  }
  TSRScreenHost::forPlatform(platform)->ignorableClassNames() = std::move(names);
}

std::shared_ptr<TSRViewControllerDescription> tsr_buildAndSetDescription(ViewController& vc) {
  auto top = std::make_shared<TSRViewControllerDescription>();
  std::unordered_set<const ViewController*> visited;
  ViewController* current = &vc;
  TSRViewControllerDescription* description = top.get();
  // Ancestors are held while they are described.
  std::shared_ptr<ViewController> keep;
  for (int depth = 0;; ++depth) {
    visited.insert(current);
    DescribeOne(*current, depth, *description);

    std::shared_ptr<ViewController> next = current->parentViewController();
    bool is_parent = next != nullptr;
    if (!next) next = current->presentingViewController();
    if (!next) break;
    if (depth >= kMaxDepth) {
      if (is_parent) {
        TSR_LOG_DEBUG("VC: Description aborting at parentViewController, reached max depth");
      } else {
        TSR_LOG_DEBUG("VC: Description aborting at presentingViewController, reached max depth");
      }
      break;
    }
    if (visited.count(next.get())) {
      if (is_parent) {
        TSR_LOG_WARN("VC: Description aborting at parentViewController, already processed");
      } else {
        TSR_LOG_WARN("VC: Description aborting at presentingViewController, already processed");
      }
      break;
    }
    auto ancestor = std::make_shared<TSRViewControllerDescription>();
    (is_parent ? description->parentDescription : description->presentingDescription) = ancestor;
    description = ancestor.get();
    keep = next;
    current = next.get();
  }
  vc.setAssociatedObject(&kDescriptionKey, top);
  return top;
}

void tsr_viewDidAppear(const std::shared_ptr<ViewController>& vc) {
  auto host = vc ? TSRScreenHost::forViewController(*vc) : nullptr;
  auto platform = host ? host->platform() : nullptr;
  if (!platform) return;
  TSRUtilitySafety::runOnMainWithTag(*platform, "-[UIViewController(TSRTracking) tsr_viewDidAppear]", [host, vc] {
    if (!EnabledFacade(host)) return;
    if (tsr_ignorable(*vc)) {
      TSR_LOG_DEBUG("VC: Ignoring: %@", vc);
      return;
    }
    tsr_buildAndSetDescription(*vc);
    if (auto screen = tessarinScreen(vc)) screen->setVisiblePrivate(true);
  });
}

void tsr_viewWillDisappear(const std::shared_ptr<ViewController>& vc) {
  auto host = vc ? TSRScreenHost::forViewController(*vc) : nullptr;
  auto platform = host ? host->platform() : nullptr;
  if (!platform) return;
  TSRUtilitySafety::runOnMainWithTag(*platform, "-[UIViewController(TSRTracking) tsr_viewWillDisappear]",
                                     [host, vc] {
                                       if (!EnabledFacade(host) || !tsr_description(*vc)) return;
                                       if (auto screen = tessarinScreen(vc)) screen->setVisiblePrivate(false);
                                     });
}

}  // namespace tessarin

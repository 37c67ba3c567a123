// TSRScreen: the tracking context of a view controller, visible while the
// view controller is on screen.
#include "tracking/screen_impl.h"

#include <algorithm>
#include <atomic>

#include "base/collaborators.h"
#include "base/log.h"
#include "base/sdk_facade.h"
#include "jsonpath/json_path.h"
#include "platform/platform.h"
#include "platform/view_hierarchy.h"
#include "tessarin/sdk_info.h"
#include "tracking/screen_host.h"
#include "tracking/view_controller_tracking.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/safety.h"
#include "util/timing_util.h"
#include "util/weak_reference.h"

namespace tessarin {
namespace {

// The last identifier handed out; the first screen gets "0".
std::atomic<std::int32_t> identifier_source{-1};

constexpr long long kDefaultMaxScreens = 50;
constexpr double kDefaultCampaignDispatchTimeout = 5.0;

}  // namespace

std::string TSRScreen::NextIdentifier() {
  std::int32_t previous = identifier_source.fetch_add(1, std::memory_order_seq_cst);
  // Wraps like the counter itself rather than overflowing.
  return std::to_string(static_cast<std::int32_t>(static_cast<std::uint32_t>(previous) + 1u));
}

std::shared_ptr<TSRScreen> TSRScreen::initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC) {
  return initWithParentVC(parentVC, sharedSdkFacade());
}

std::shared_ptr<TSRScreen> TSRScreen::initWithParentVC(const std::shared_ptr<platform::ViewController>& parentVC,
                                                       const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return nullptr;
  std::shared_ptr<TSRScreen> screen(new TSRScreen(NextIdentifier(), facade, parentVC));
  if (parentVC) TSR_LOG_DEBUG("Screen: [%@] Init, parent VC %@", screen->identifier(), parentVC);
  Init(screen);
  return screen;
}

TSRScreen::TSRScreen(std::string identifier, const std::shared_ptr<SdkFacade>& facade,
                     const std::shared_ptr<platform::ViewController>& parentVC)
    : TSRContextImpl(std::move(identifier), facade),
      weak_parent_vc_ref_(parentVC),
      has_parent_vc_(parentVC != nullptr),
      host_(TSRScreenHost::forPlatform(platform())) {}

void TSRScreen::Init(const std::shared_ptr<TSRScreen>& screen) {
  screen->weak_self_ref_ = std::make_shared<TSRUtilityWeakReference<TSRScreen>>(screen);
  screen->InitObservers();
}

TSRScreen::~TSRScreen() { Dealloc(); }

void TSRScreen::Dealloc() {
  if (deallocated_) return;
  deallocated_ = true;
  TSR_LOG_DEBUG("Screen: [%@] Dealloc", identifier());
  setVisibleInternal(false, true, false);
}

void TSRScreen::setVisible(bool) {
  TSR_LOG_WARN("Screen: [%@] Ignoring attempt to set visibility of 'tessarinScreen', vc %@", identifier(),
               parentVC());
}

// --- Visibility ---

void TSRScreen::setVisiblePrivate(bool visible) {
  if (visible == visible_) return;
  if (!visible) {
    setVisibleInternal(false, true, true);
    return;
  }
  auto facade = Facade();
  if (!facade || facade->disabled()) return;

  long long max_screens = facade->config().longForKey("maxScreens").value_or(kDefaultMaxScreens);
  auto& screens = host_->visibleScreens();
  long long count = static_cast<long long>(screens.size());
  long long excess = count - std::max(max_screens, 1LL);
  if (excess >= 0) {
    TSR_LOG_WARN("Screen: Setting %ld/%ld screens to not visible due to %ld max screens", excess + 1, count,
                 max_screens);
    std::vector<TSRScreenHost::ScreenRef> oldest(screens.begin(), screens.begin() + (excess + 1));
    for (const auto& ref : oldest) {
      auto screen = ref->reference();
      if (!screen) {
        TSR_LOG_WARN("Screen: Setting not visible: Found no strong reference");
        continue;
      }
      if (!screen->visible_) TSR_LOG_WARN("Screen: [%@] Already not visible", screen->identifier());
      screen->setVisibleInternal(false, false, true);
    }
    for (const auto& ref : oldest) screens.erase(std::remove(screens.begin(), screens.end(), ref), screens.end());
  }
  if (max_screens > 0) {
    setVisibleInternal(true, true, true);
  } else {
    // The oldest screen was still hidden above: with no room at all, none stays visible.
    TSR_LOG_WARN("Screen: [%@] Ignoring attempt to set visible, %ld max screens", identifier(), max_screens);
  }
}

void TSRScreen::setVisibleInternal(bool visible, bool modifyCollection, bool stopSystems) {
  bool changed = visible_ != visible;
  visible_ = visible;
  if (changed) logVisible();
  if (modifyCollection) RemoveFromCollection();
  if (visible) {
    if (modifyCollection) host_->visibleScreens().push_back(weak_self_ref_);
    SetUnregisterTimer(nullptr);
    startSystemsAsNecessary();
    if (auto facade = Facade()) {
      if (auto vc = parentVC()) facade->scheduleDesignUploadForVC(vc);
    }
    return;
  }
  SetUnregisterTimer(nullptr);
  if (stopSystems) stopSystemsAsNecessary();
  // A hidden screen's handlers and held campaigns go at once.
  auto facade = Facade();
  if (auto dispatcher = facade ? facade->campaignDispatcher() : nullptr) dispatcher->unregisterContextId(identifier());
}

void TSRScreen::RemoveFromCollection() {
  auto& screens = host_->visibleScreens();
  screens.erase(std::remove(screens.begin(), screens.end(), weak_self_ref_), screens.end());
}

void TSRScreen::logVisible() const {
  auto vc = parentVC();
  auto description = vc ? tsr_description(*vc) : nullptr;
  std::optional<std::string> none;
  TSR_LOG_INFO("Screen: [%@] %@, VC: [%@] name: [%@] title: [%@] nibName: [%@]", identifier(),
               visible_ ? "Visible" : "Not visible", vc, description ? description->name : none,
               description ? description->title : none, description ? description->nibName : none);
}

// --- The context's rules, narrowed to visibility ---

bool TSRScreen::allowSetActive(bool active) {
  if (active) return TSRContextImpl::allowSetActive(true) && visible_;
  return TSRContextImpl::allowSetActive(false) || !visible_;
}

void TSRScreen::stopSystemsAsNecessary() {
  TSRContextImpl::stopSystemsAsNecessary();
  if (FacadeDisabled() && visible_) setVisibleInternal(false, true, false);
}

void TSRScreen::registerContextId() {
  TSRContextImpl::registerContextId();
  if (visible_) return;
  auto facade = Facade();
  if (!facade) return;
  double timeout =
      facade->config().doubleForKey("campaignDispatchTimeout").value_or(kDefaultCampaignDispatchTimeout);
  if (!(timeout > 0)) {
    SetUnregisterTimer(nullptr);
    return;
  }
  // A handler set on a screen that never appears must not wait for it forever.
  std::uint64_t generation = ++unregister_timer_generation_;
  std::weak_ptr<TSRScreen> weak = std::static_pointer_cast<TSRScreen>(shared_from_this());
  SetUnregisterTimer(TSRUtilityTiming::createAndScheduleTimer(
      platform(), "-[TSRScreen registerContextId]", platform().mainQueue(), false, timeout, 0,
      std::min(0.1 * timeout, 2.0), [weak, generation] {
        auto self = weak.lock();
        if (!self || !self->unregister_context_id_timer_ || self->unregister_timer_generation_ != generation) return;
        self->SetUnregisterTimer(nullptr);
        if (self->visible_) return;
        TSR_LOG_WARN("Screen: [%@] Clearing all handlers and held campaigns, screen still not visible",
                     self->identifier());
        auto facade = self->Facade();
        if (auto dispatcher = facade ? facade->campaignDispatcher() : nullptr) {
          dispatcher->unregisterContextId(self->identifier());
        }
      }));
}

void TSRScreen::SetUnregisterTimer(std::shared_ptr<platform::Timer> timer) {
  if (unregister_context_id_timer_ && unregister_context_id_timer_ != timer) {
    TSRUtilityTiming::invalidateTimer(unregister_context_id_timer_);
  }
  unregister_context_id_timer_ = std::move(timer);
}

// --- View action ---

std::optional<std::string> TSRScreen::viewAction() const {
  auto vc = parentVC();
  auto description = vc ? tsr_description(*vc) : nullptr;
  if (!description) {
    TSR_LOG_ERROR("Screen: [%@] VCD not found", identifier());
    return std::nullopt;
  }
  auto facade = Facade();
  return viewActionForVCD(description.get(), facade ? facade->config().jsonArrayForKey("viewConfigs") : nullptr);
}

std::optional<std::string> TSRScreen::viewActionForVCD(const TSRViewControllerDescription* vcd,
                                                       const Json* viewConfigs) const {
  if (!vcd || !viewConfigs || !viewConfigs->is_array()) return std::nullopt;
  // One tree for every rule: each evaluation only reads it.
  TSRJsonPath path(vcd->toJSONObject(), TSRJsonPath::kResultTypeValue);
  for (const Json& config : *viewConfigs) {
    if (!config.is_object()) {
      TSR_LOG_ERROR("Screen: [%@] View config is unexpected class %@", identifier(), JsonClassName(config));
      continue;
    }
    auto action = config.find("action");
    if (action == config.end() || !action->is_string()) {
      TSR_LOG_ERROR("Screen: [%@] View config action is unexpected class %@", identifier(),
                    action == config.end() ? nullptr : JsonClassName(*action));
      continue;
    }
    auto rule = config.find("matchRule");
    if (rule == config.end() || !rule->is_string()) {
      TSR_LOG_ERROR("Screen: [%@] View config matchRule is unexpected class %@", identifier(),
                    rule == config.end() ? nullptr : JsonClassName(*rule));
      continue;
    }
    bool matched = false;
    TSRUtilitySafety::runWithTag("-[TSRScreen viewActionForVCD:fromViewConfigs:]", [&] {
      auto result = path.evaluateExpression(rule->get_ref<const std::string&>());
      matched = result && result->is_array() && !result->empty();
    });
    if (matched) {
      TSR_LOG_DEBUG("Screen: [%@] Action-mapping match, screenAction: %@", identifier(), *action);
      return action->get<std::string>();
    }
  }
  return std::nullopt;
}

// --- The host's visible screens ---

std::size_t TSRScreen::visibleWeakRefCount() {
  return visibleWeakRefCount(sharedSdkFacade()->environment().platform());
}

std::size_t TSRScreen::visibleWeakRefCount(platform::Platform& platform) {
  return TSRScreenHost::forPlatform(platform)->visibleScreens().size();
}

void TSRScreen::cleanupVisibleScreens() { cleanupVisibleScreens(sharedSdkFacade()->environment().platform()); }

void TSRScreen::cleanupVisibleScreens(platform::Platform& platform) {
  auto host = TSRScreenHost::forPlatform(platform);
  auto& screens = host->visibleScreens();
  std::vector<TSRScreenHost::ScreenRef> marked;
  const std::vector<TSRScreenHost::ScreenRef> walk = screens;
  for (const auto& ref : walk) {
    auto screen = ref->reference();
    if (!screen) {
      TSR_LOG_WARN("Screen: Cleanup: Found no strong reference");
      marked.push_back(ref);
      continue;
    }
    if (!screen->visible_) {
      TSR_LOG_WARN("Screen: [%@] Cleanup: Found not visible", screen->identifier());
      marked.push_back(ref);
      continue;
    }
    // A screen that never had a view controller (a custom one) is the app's to hide.
    if (!screen->has_parent_vc_) continue;
    auto vc = screen->parentVC();
    if (!vc || !vc->isViewLoaded() || !vc->viewWindow()) {
      TSR_LOG_WARN("Screen: [%@] Cleanup: Parent VC gone or no longer attached to window: %@",
                   screen->identifier(), vc);
      marked.push_back(ref);
      screen->setVisibleInternal(false, false, true);
    }
  }
  for (const auto& ref : marked) screens.erase(std::remove(screens.begin(), screens.end(), ref), screens.end());
}

std::shared_ptr<platform::ViewController> TSRScreen::lastVisibleVC() {
  return lastVisibleVC(sharedSdkFacade()->environment().platform());
}

std::shared_ptr<platform::ViewController> TSRScreen::lastVisibleVC(platform::Platform& platform) {
  auto host = TSRScreenHost::forPlatform(platform);
  const auto& screens = host->visibleScreens();
  for (auto it = screens.rbegin(); it != screens.rend(); ++it) {
    auto screen = (*it)->reference();
    if (!screen || !screen->visible_) continue;
    auto vc = screen->parentVC();
    if (vc && vc->isViewLoaded() && vc->viewWindow()) return vc;
  }
  return nullptr;
}

}  // namespace tessarin

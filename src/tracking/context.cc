// TSRContextImpl: creation, active state and time-on-page pings.
#include "tracking/context_impl.h"

#include <algorithm>

#include "base/collaborators.h"
#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "tessarin/sdk_info.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/host_app.h"
#include "util/json_dispose.h"
#include "util/json_writer.h"
#include "util/safety.h"
#include "util/timing_util.h"

namespace tessarin {

namespace {

constexpr int kStateActive = 0;
constexpr int kStateBackground = 2;

}  // namespace

TSRContext::~TSRContext() = default;

std::shared_ptr<TSRContext> TSRContext::initWithIdentifier(const std::string& identifier) {
  return TSRContextImpl::initWithIdentifier(identifier, sharedSdkFacade());
}

std::shared_ptr<TSRContextImpl> TSRContextImpl::initWithIdentifier(const std::string& identifier,
                                                                   const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return nullptr;
  std::shared_ptr<TSRContextImpl> context(new TSRContextImpl(identifier, facade));
  context->InitObservers();
  return context;
}

TSRContextImpl::TSRContextImpl(std::string identifier, const std::shared_ptr<SdkFacade>& facade)
    : identifier_(std::move(identifier)), facade_(facade), platform_(facade->environment().platformPtr()) {}

void TSRContextImpl::InitObservers() {
  std::weak_ptr<TSRContextImpl> weak = weak_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, "-[TSRContext initWithIdentifier:]", [weak] {
    if (auto self = weak.lock()) self->registerObservers();
  });
}

TSRContextImpl::~TSRContextImpl() {
  TSR_LOG_DEBUG("Context: [%@] Dealloc", identifier_);
  platform::NotificationCenter& center = platform_->notificationCenter();
  for (auto token : observers_) center.removeObserver(token);
  // Dropping the timer must not send the pending ping: the context is gone.
  setPingTimer(nullptr);
  if (auto dispatcher = Dispatcher()) dispatcher->unregisterContextId(identifier_);
}

void TSRContextImpl::registerObservers() {
  if (!observers_.empty()) return;
  platform::NotificationCenter& center = platform_->notificationCenter();
  std::weak_ptr<TSRContextImpl> weak = weak_from_this();
  auto observe = [&](const char* name, bool start) {
    auto platform = platform_;
    observers_.push_back(center.addObserver(
        name, nullptr, platform_->mainQueue(), [weak, start, platform](const platform::Notification&) {
          TSRUtilitySafety::runOnMainWithTag(*platform, "-[TSRContext registerObservers]_block_invoke", [weak, start] {
            auto self = weak.lock();
            if (!self) return;
            if (start) {
              self->startSystemsAsNecessary();
            } else {
              self->stopSystemsAsNecessary();
            }
          });
        }));
  };
  observe(TessarinNotificationStartAsNecessary, true);
  observe(TessarinNotificationStopAsNecessary, false);
  observe(TessarinNotificationUserActive, true);
  observe(TessarinNotificationUserIdle, false);
}

std::shared_ptr<CampaignRouter> TSRContextImpl::Dispatcher() const {
  auto facade = Facade();
  return facade ? facade->campaignDispatcher() : nullptr;
}

// --- Facts read on every use ---

bool TSRContextImpl::checkAppState() const {
  auto facade = Facade();
  return !facade || facade->config().boolForKey("contextChecksAppState").value_or(true);
}

bool TSRContextImpl::checkUserIdle() const {
  auto facade = Facade();
  return !facade || facade->config().boolForKey("contextChecksUserIdle").value_or(true);
}

bool TSRContextImpl::FacadeDisabled() const {
  auto facade = Facade();
  return !facade || facade->disabled();
}

bool TSRContextImpl::AppIsActive() const {
  auto facade = Facade();
  return facade && facade->environment().hostApp().appStateIs(kStateActive);
}

bool TSRContextImpl::UserIsIdle() const {
  auto facade = Facade();
  return !facade || facade->environment().hostApp().userIdle();
}

// --- Active state ---

bool TSRContextImpl::allowSetActive(bool active) {
  auto facade = Facade();
  bool running = facade && facade->runningAndNotDesignMode();
  if (active) {
    if (!running) return false;
    if (checkAppState() && !AppIsActive()) return false;
    if (checkUserIdle()) return !UserIsIdle();
    return true;
  }
  if (!running) return true;
  if (checkAppState()) return facade->environment().hostApp().appStateIs(kStateBackground);
  return false;
}

void TSRContextImpl::setActivePrivate(bool active) {
  if (active == active_) return;
  auto dispatcher = Dispatcher();
  if (!active) {
    active_ = false;
    TSR_LOG_INFO("Context: [%@] Not active", identifier_);
    if (dispatcher) dispatcher->setDispatchingAllowed(false, identifier_);
    sendAndClearPing();
  } else {
    active_ = true;
    TSR_LOG_INFO("Context: [%@] Active", identifier_);
    registerContextId();
    if (dispatcher) dispatcher->setDispatchingAllowed(true, identifier_);
    sendViewAction();
  }
}

void TSRContextImpl::startSystemsAsNecessary() {
  if (!active_ && allowSetActive(true)) setActivePrivate(true);
  if (!active_) return;
  if ((!checkAppState() || AppIsActive()) && (!checkUserIdle() || !UserIsIdle())) {
    registerContextId();
    if (auto dispatcher = Dispatcher()) dispatcher->setDispatchingAllowed(true, identifier_);
  }
  if (!ping_timer_) restartOrClearPingTimer();
}

void TSRContextImpl::stopSystemsAsNecessary() {
  if (active_ && allowSetActive(false)) setActivePrivate(false);
  if (FacadeDisabled()) setCurrentViewItemPingable(nullptr);
  if (!active_) return;
  bool app_active = AppIsActive();
  bool user_idle = UserIsIdle();
  if ((checkAppState() && !app_active) || (checkUserIdle() && user_idle)) {
    if (auto dispatcher = Dispatcher()) dispatcher->setDispatchingAllowed(false, identifier_);
  }
  // Deliberately regardless of the two switches: a context kept active in
  // the background still reports the time its item was on screen.
  if (!app_active || user_idle) sendAndClearPing();
}

void TSRContextImpl::registerContextId() {
  if (auto dispatcher = Dispatcher()) dispatcher->registerContextIdIfNecessary(identifier_);
}

void TSRContextImpl::sendViewAction() {
  auto action = viewAction();
  if (!action || action->empty()) return;
  if (auto facade = Facade()) facade->sendAction(*action, identifier_, Json{{".pv", ""}});
}

// --- Time-on-page pings ---

void TSRContextImpl::setCurrentViewItemPingable(const Json& item) {
  if (ReplacePingableItem(item, false)) KeepPingableItem(item);
}

void TSRContextImpl::ForgetPingableItem() {
  if (!HasPingableItem()) return;
  sendAndClearPing();
  if (current_view_item_pingable_) {
    // Freed on every item view, so freed the cheap way.
    DisposeJson(*current_view_item_pingable_);
    current_view_item_pingable_.reset();
  }
  current_view_item_pingable_text_.reset();
}

bool TSRContextImpl::ReplacePingableItem(const Json& item, bool requiredFieldsChecked) {
  ForgetPingableItem();
  if (item.is_null()) return false;
  Condensable condensable = CheckCondensable(item, requiredFieldsChecked);
  if (condensable != Condensable::kUnwritable) return condensable == Condensable::kWritable;
  // A condensed item that cannot become text is refused now, with the
  // writer's own log line, as if it had been written.
  Json condensed = CondenseCheckedItem(item);
  stringifyItemToJson(&condensed);
  return false;
}

void TSRContextImpl::KeepPingableItem(Json item) {
  current_view_item_pingable_ = std::move(item);
  restartOrClearPingTimer();
}

void TSRContextImpl::KeepPingableText(std::string condensedText) {
  current_view_item_pingable_text_ = std::move(condensedText);
  restartOrClearPingTimer();
}

std::string TSRContextImpl::PingableItemText() const {
  if (current_view_item_pingable_text_) return *current_view_item_pingable_text_;
  return CompactJsonText(CondenseCheckedItem(*current_view_item_pingable_));
}

Json TSRContextImpl::PingableItemCondensed() const {
  // The text was written by the SDK from a plain item: it always parses.
  if (current_view_item_pingable_text_) return Json::parse(*current_view_item_pingable_text_);
  return CondenseCheckedItem(*current_view_item_pingable_);
}

std::optional<std::string> TSRContextImpl::currentViewItemPingableSparseJson() const {
  if (!HasPingableItem()) return std::nullopt;
  return PingableItemText();
}

void TSRContextImpl::restartOrClearPingTimer() {
  auto facade = Facade();
  double interval = 0;
  bool conditions = facade && active_ && HasPingableItem() && AppIsActive() && !UserIsIdle();
  if (conditions) interval = facade->config().doubleForKey("timeOnPageTimeout").value_or(120.0);
  if (!conditions || !(interval > 0)) {
    ping_view_time_start_ = 0;
    setPingTimer(nullptr);
    return;
  }
  ping_max_delay_ = interval;
  ping_view_time_start_ = platform_->now(platform::Clock::kWall);
  std::weak_ptr<TSRContextImpl> weak = weak_from_this();
  setPingTimer(TSRUtilityTiming::createAndScheduleTimer(
      *platform_, "-[TSRContext restartOrClearPingTimer]", platform_->mainQueue(), false, interval, 0,
      std::min(0.1 * interval, 2.0), [weak] {
        auto self = weak.lock();
        if (!self || !self->ping_timer_) return;
        self->sendAndClearPing();
        self->restartOrClearPingTimer();
      }));
}

void TSRContextImpl::setPingTimer(std::shared_ptr<platform::Timer> timer) {
  if (ping_timer_ && ping_timer_ != timer) TSRUtilityTiming::invalidateTimer(ping_timer_);
  ping_timer_ = std::move(timer);
}

void TSRContextImpl::sendAndClearPing() {
  if (ping_view_time_start_ != 0 && HasPingableItem()) {
    double elapsed = platform_->now(platform::Clock::kWall) - ping_view_time_start_;
    // A late timer or a long stop must not report more than one interval.
    if (auto facade = Facade()) {
      // The ping carries the condensed item's text, checked writable when
      // the item was kept. A ping with no time on the page is refused by
      // the façade with a warning that prints the condensed item, so the
      // item is condensed for it only when that warning prints.
      double time_on_page = std::min(elapsed, ping_max_delay_);
      if (time_on_page > 0) {
        facade->sendPingForItem(Json(PingableItemText()), time_on_page);
      } else if (TSRLogger::enabled(TSRLogLevelWarn)) {
        facade->sendPingForItem(PingableItemCondensed(), time_on_page);
      }
    }
  }
  setPingTimer(nullptr);
  ping_view_time_start_ = 0;
}

}  // namespace tessarin

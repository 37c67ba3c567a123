// The façade's state machine: creation, start, stop and reset, the
// configuration updates that follow them, and the systems they start and
// stop. The other topics of the façade live beside it: server_config.cc,
// lifecycle_observers.cc, outgoing_events.cc, event_responses.cc,
// identity_and_attributes.cc, push_entry_points.cc,
// notification_entry_points.cc and test_campaigns.cc.
#include "core/tessarin_impl.h"

#include "base/collaborators.h"
#include "core/client_configuration_builder_access.h"
#include "base/log.h"
#include "core/composition_root.h"
#include "design/design_gesture.h"
#include "platform/ui/alert_presenter.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "push/app_delegate_swizzling.h"
#include "push/notification_center_swizzling.h"
#include "tracking/context_impl.h"
#include "tracking/idle_tracking.h"
#include "tracking/view_controller_tracking.h"
#include "util/config.h"
#include "util/host_app.h"
#include "util/safety.h"
#include "util/timing_util.h"

namespace tessarin {
namespace {

constexpr int kStateActive = 0;
constexpr int kStateBackground = 2;

}  // namespace

const std::vector<std::string>& TessarinImpl::reservedEventKeys() {
  // Never destroyed: the SDK's threads may still run while the process exits.
  static const std::vector<std::string>* keys = new std::vector<std::string>{
      "timestamp", ".d", ".on", ".ov", ".an", ".av", ".mbv", ".s", "userId", "company",
      "action", ".vcd", ".top", "_ak", "_ds", ".se", "_anon", ".anonId", ".aaId"};
  return *keys;
}

std::shared_ptr<TessarinImpl> TessarinImpl::createWithEnvironment(std::shared_ptr<TSRUtilityDI> environment) {
  std::shared_ptr<TessarinImpl> facade(new TessarinImpl(std::move(environment)));
  facade->InitPrivate();
  tsr_installViewControllerTracking(facade);
  tsr_installNotificationCenterHooks(facade);
  return facade;
}

TessarinImpl::TessarinImpl(std::shared_ptr<TSRUtilityDI> environment)
    : di_(std::move(environment)), platform_(di_->platformPtr()) {}

void TessarinImpl::InitPrivate() {
  // Collaborators made from here on find this façade through the environment.
  di_->setFacade(weak_from_this());
  processed_launch_ = false;
  attributes_ = Json::object();
  config_ = std::make_unique<TSRConfig>(di_);

  if (auto disable = config_->boolForKey("disable")) disabled_ = *disable;
  if (auto level = config_->longForKey("logLevel")) TSRLogger::setLogLevel(static_cast<long>(*level));

  global_context_ = TSRContextImpl::initWithIdentifier(kGlobalContextId, shared_from_this());
  idle_tracking_ = TSRIdleTracking::trackingForFacade(shared_from_this(), &TSRAppDelegateSwizzling::swizzleDelegateClass);

  sender_ = di_->senderWithConfig(*config_);
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  reachability_ = di_->reachabilityManagerWithStatusChangeBlock([weak](int status) {
    auto self = weak.lock();
    if (!self || status == 0) return;
    self->startSystemsAsNecessary();
    self->sendConfigRequestIfNecessary();
  });

  if (!disabled_) {
    campaign_dispatcher_ = di_->campaignDispatcherWithConfig(*config_);
    CreateEventSender();
    push_token_manager_ = di_->pushTokenManagerWithConfig(*config_, event_sender_);
  }

  // Registered here, on whatever thread makes the façade: the notification
  // centre is thread-safe and delivers on the main queue anyway, and a
  // lifecycle report made right after the first use of the shared instance
  // must find the observers in place whichever thread it comes from.
  TSRUtilitySafety::runWithTag("-[Tessarin initPrivate]", [this] { RegisterObserversAlways(); });
  TSRUtilitySafety::runAsyncOnQueue(platform_->mainQueue(), "-[Tessarin initPrivate]_block_invoke",
                                    [weak] {
                                      if (auto self = weak.lock()) self->processLaunchIfNecessary();
                                    });
}

Tessarin::~Tessarin() = default;

TessarinImpl::~TessarinImpl() {
  platform::NotificationCenter& center = platform_->notificationCenter();
  for (auto token : observers_always_) center.removeObserver(token);
  if (observers_when_running_) {
    for (auto token : *observers_when_running_) center.removeObserver(token);
  }
  if (reachability_) reachability_->stopMonitoring();
  if (event_sender_) event_sender_->stopSendingQueuedEvents();
  if (clear_test_experience_id_timer_) clear_test_experience_id_timer_->cancel();
  if (design_upload_timer_) design_upload_timer_->cancel();
  design_gesture_.reset();
  if (started_ && event_sender_) event_sender_->saveToFile();
}

void TessarinImpl::OnMain(const char* tag, std::function<void(TessarinImpl&)> body) {
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, tag, [weak, body = std::move(body)] {
    if (auto self = weak.lock()) body(*self);
  });
}

void TessarinImpl::Post(const char* name) { platform_->notificationCenter().post(name, notificationSender()); }

bool TessarinImpl::AppStateIs(int state) { return di_->hostApp().appStateIs(state); }

void TessarinImpl::CreateEventSender() {
  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  event_sender_ = di_->queuedEventSenderWithSender(
      sender_, *config_,
      [weak](EventQueue* queue, const std::string&, const std::optional<platform::HttpResponse>&,
             const Json& responses) {
        auto self = weak.lock();
        // A queue dropped by a reset may still report; only the current one counts.
        if (!self || queue != self->event_sender_.get()) return;
        self->handleEventResponses(responses);
      },
      [weak](EventQueue* queue, const std::optional<std::string>&, const std::optional<platform::HttpResponse>&,
             const TSRError& error) {
        auto self = weak.lock();
        if (!self || queue != self->event_sender_.get()) return;
        if (self->running()) TSR_LOG_ERROR("Event send error: %@", error.description);
      });
}

// --- Start, stop, reset ---

void TessarinImpl::startWithClientConfiguration(const std::function<void(TSRClientConfigurationBuilder&)>& block) {
  TSRClientConfigurationBuilder builder = TSRClientConfigurationBuilderAccess::Make();
  TSRUtilitySafety::runWithTag("-[Tessarin startWithClientConfiguration:]", [&] {
    if (block) block(builder);
  });
  startWithConfiguration(builder.toDictionary());
}

void TessarinImpl::startWithTessarinAccountKey(const std::string& account, const std::string& dataset) {
  startWithClientConfiguration([&](TSRClientConfigurationBuilder& builder) {
    builder.account = account;
    builder.dataset = dataset;
  });
}

void TessarinImpl::startWithConfiguration(const Json& configuration) {
  OnMain("-[Tessarin startWithConfiguration:]", [configuration](TessarinImpl& self) {
    if (self.started_) {
      TSR_LOG_WARN("Ignoring start request, already started");
      return;
    }
    if (!TSRConfig::clientConfigValid(configuration)) {
      TSR_LOG_ERROR("Cannot start, invalid client configuration: %@", configuration);
      return;
    }
    self.started_ = true;
    if (self.config_->clientConfigRequiresReset(configuration)) {
      // A different account or dataset starts afresh, keeping ids and attributes.
      self.resetAndClearProperties(false);
      self.started_ = true;
    }
    TSR_LOG_INFO("Starting with client configuration: %@", configuration);
    self.config_->replaceConfiguration(configuration, TSRConfig::kLayerClient);
    self.onConfigUpdate();
    self.processLaunchIfNecessary();
  });
}

void TessarinImpl::stop() { stopAndClearProperties(true); }

void TessarinImpl::stopAndClearProperties(bool clearProperties) {
  (void)clearProperties;  // stopping behaves the same either way, deliberately
  OnMain("-[Tessarin stopAndClearProperties:]", [](TessarinImpl& self) { self.StopSequence(); });
}

void TessarinImpl::StopSequence() {
  TSR_LOG_WARN("Stopping");
  TSR_LOG_INFO("Events: %@", eventDiagnostics().description());
  bool was_started = started_;
  started_ = false;
  server_config_loaded_ = false;
  stopSystemsAsNecessary();
  if (was_started && event_sender_) event_sender_->saveToFile();
  if (campaign_dispatcher_) campaign_dispatcher_->clearAllCampaignsHeld();
  updateTestExperienceId(std::nullopt, true);
  // The configuration is written in the background; a stopped SDK has it
  // on disk, as it has its queue.
  config_->waitForPendingWrites();
}

void TessarinImpl::reset() { resetAndClearProperties(true); }

void TessarinImpl::resetAndClearProperties(bool clearProperties) {
  OnMain("-[Tessarin resetAndClearProperties:]", [clearProperties](TessarinImpl& self) {
    self.StopSequence();
    TSR_LOG_WARN("Resetting");
    self.Post(TessarinNotificationReset);
    if (clearProperties) {
      self.setUserId(std::nullopt);
      self.setAccountId(std::nullopt);
      self.attributes_ = Json::object();
    }
    if (self.event_sender_) {
      self.event_sender_->deleteFile();
      self.event_sender_.reset();
    }
    // Read before the layers are emptied: a level the host app set survives
    // a reset that keeps properties.
    const Json* runtime_level =
        self.config_->type(JsonKind::kNumber, "logLevel", TSRConfig::kLayerRuntime, false);
    long kept_level = runtime_level ? runtime_level->get<long>() : 0;
    self.config_->reset();
    self.config_request_uuid_.reset();
    if (clearProperties) {
      TSRLogger::setLogLevel(TSRLogLevelDefault);
    } else {
      self.setLogLevel(kept_level);
    }
    self.processed_launch_ = false;
    self.processLaunchIfNecessary();
  });
}


// --- Configuration and systems ---

void TessarinImpl::onConfigUpdate() {
  if (auto level = config_->longForKey("logLevel")) TSRLogger::setLogLevel(static_cast<long>(*level));
  if (auto disable = config_->boolForKey("disable")) setDisabled(*disable);
  if (sender_) sender_->updateWithConfig(*config_);
  if (event_sender_) event_sender_->updateWithConfig(*config_);
  tsr_updateIgnorableClassNames(*platform_, config_->jsonArrayForKey("ignorableClasses"));
  Post(TessarinNotificationConfigUpdate);
  startSystemsAsNecessary();
}

void TessarinImpl::processLaunchIfNecessary() {
  if (processed_launch_ || !started_) return;
  processed_launch_ = true;
  onConfigUpdate();
  if (AppStateIs(kStateBackground)) return;  // a launch into the background is not tracked
  config_->setExpired(true);
  if (config_->boolForKey("trackLaunch").value_or(false)) TrackOnGlobalContext("App Launch");
}

void TessarinImpl::MarkServerConfigLoaded() {
  if (server_config_loaded_) return;
  server_config_loaded_ = true;
  TSR_LOG_INFO("Tessarin server configuration loaded; events are campaign-eligible");
  Post(TessarinNotificationServerConfigLoaded);
}

void TessarinImpl::startSystemsAsNecessary() {
  bool active = AppStateIs(kStateActive);
  if (active && reachability_) reachability_->startMonitoring();
  if (disabled_) return;

  // A disabled-then-re-enabled SDK gets its collaborators back here.
  if (!campaign_dispatcher_) campaign_dispatcher_ = di_->campaignDispatcherWithConfig(*config_);
  if (!event_sender_) CreateEventSender();
  if (!push_token_manager_) push_token_manager_ = di_->pushTokenManagerWithConfig(*config_, event_sender_);

  if (!started_) return;
  RegisterObserversWhenRunning();
  if (!ui_manager_) ui_manager_ = di_->uiManagerWithCampaignDispatcher(campaign_dispatcher_);
  trackInstallOrUpgradeIfNecessary();

  if (active) {
    updateDesignGestureRecognizer();
    if (config_->hasEmptyLayer(TSRConfig::kLayerServer)) {
      // Queued events stay held until the server configuration arrives.
      sendConfigRequestIfNecessary();
    } else if (!design_mode_) {
      if (event_sender_) event_sender_->startSendingQueuedEvents();
      MarkServerConfigLoaded();
    }
  }
  Post(TessarinNotificationStartAsNecessary);
}

void TessarinImpl::stopSystemsAsNecessary() {
  bool background = AppStateIs(kStateBackground);
  if (background) {
    if (reachability_) reachability_->stopMonitoring();
    setDesignMode(false);
  }
  if (!(started_ && !disabled_ && !design_mode_ && !background)) {
    if (event_sender_) {
      event_sender_->stopSendingQueuedEvents();
      if (started_) event_sender_->saveToFile();
    }
  }
  if (!(started_ && !disabled_)) {
    if (ui_manager_) {
      ui_manager_->hideAllAnimated(false);
      ui_manager_.reset();
    }
    RemoveObserversWhenRunning();
    design_gesture_.reset();
    design_connect_request_uuid_.reset();
    design_upload_request_uuid_.reset();
    TSRUtilityTiming::invalidateTimer(design_upload_timer_);
    design_upload_timer_.reset();
    setDesignMode(false);
  }
  if (disabled_) {
    if (event_sender_) {
      event_sender_->deleteFile();
      event_sender_.reset();
    }
    if (campaign_dispatcher_) {
      campaign_dispatcher_->unregisterAllAndDisable();
      campaign_dispatcher_.reset();
    }
  }
  Post(TessarinNotificationStopAsNecessary);
}

void TessarinImpl::setDisabled(bool disabled) {
  if (disabled == disabled_) return;
  disabled_ = disabled;
  if (disabled) {
    TSR_LOG_WARN("Tessarin is disabled.");
    server_config_loaded_ = false;
    stopSystemsAsNecessary();
  } else {
    TSR_LOG_WARN(
        "Tessarin has been re-enabled. May need to renavigate to screens or relaunch app for full Tessarin "
        "functionality after being disabled.");
    startSystemsAsNecessary();
  }
}

void TessarinImpl::trackInstallOrUpgradeIfNecessary() {
  if (!runningAndNotDesignMode()) return;
  TSRUtilityHostApp& host = di_->hostApp();
  auto version = host.bundleVersion();
  if (!version) {
    TSR_LOG_WARN("Could not determine bundle version");
    return;
  }
  auto last = config_->stringForKey("__lastAppVersion");
  if (last && *last == *version) return;
  auto modified = host.bundleModifiedDate();
  auto created = host.dataCreatedDate();
  if (!modified || !created) return;
  config_->setConfiguration(Json{{"__lastAppVersion", *version}}, TSRConfig::kLayerSDK);
  if (config_->boolForKey("trackInstallUpgrade").value_or(false)) {
    // An app whose bundle changed well after its data was created was upgraded.
    TrackOnGlobalContext(*modified - *created > 1.0 ? "App Upgrade" : "App Install");
  }
}


void TessarinImpl::TrackOnGlobalContext(const std::string& action) {
  if (auto context = globalContext()) context->trackAction(action);
}

std::shared_ptr<TSRContext> TessarinImpl::globalContext() const { return globalTrackingContext(); }

std::shared_ptr<TSRContextImpl> TessarinImpl::globalTrackingContext() const {
  if (disabled_) return nullptr;
  return global_context_;
}

}  // namespace tessarin

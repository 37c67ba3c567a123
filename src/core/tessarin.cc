#include "tessarin/tessarin.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "core/collaborators.h"
#include "core/config.h"
#include "core/log.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "push/notification_center_swizzling.h"
#include "tessarin/campaign.h"
#include "tessarin/context.h"
#include "tessarin/events.h"
#include "tracking/idle_tracking.h"
#include "tracking/view_controller_tracking.h"
#include "transport/events_util.h"
#include "util/device_util.h"
#include "util/dictionary_util.h"
#include "util/json_dispose.h"
#include "util/json_util.h"
#include "util/networking.h"
#include "platform/http_transport.h"
#include "transport/error.h"
#include "util/di.h"
#include "util/host_app.h"
#include "util/safety.h"
#include "util/unicode_trim.h"

namespace tessarin {
namespace {

constexpr int kStateActive = 0;
constexpr int kStateBackground = 2;
constexpr std::size_t kMaxAttributeValueLength = 1024;

}  // namespace

const std::vector<std::string>& Tessarin::reservedEventKeys() {
  // Never destroyed: the SDK's threads may still run while the process exits.
  static const std::vector<std::string>* keys = new std::vector<std::string>{
      "timestamp", ".d", ".on", ".ov", ".an", ".av", ".mbv", ".s", "userId", "company",
      "action", ".vcd", ".top", "_ak", "_ds", ".se", "_anon", ".anonId", ".aaId"};
  return *keys;
}

std::shared_ptr<Tessarin> Tessarin::createWithEnvironment(std::shared_ptr<TSRUtilityDI> environment) {
  std::shared_ptr<Tessarin> facade(new Tessarin(std::move(environment)));
  facade->InitPrivate();
  tsr_installViewControllerTracking(facade);
  tsr_installNotificationCenterHooks(facade);
  return facade;
}

Tessarin::Tessarin(std::shared_ptr<TSRUtilityDI> environment)
    : di_(std::move(environment)), platform_(di_->platformPtr()) {}

void Tessarin::InitPrivate() {
  // Collaborators made from here on find this façade through the environment.
  di_->setFacade(weak_from_this());
  processed_launch_ = false;
  attributes_ = Json::object();
  config_ = std::make_unique<TSRConfig>(di_);

  if (auto disable = config_->boolForKey("disable")) disabled_ = *disable;
  if (auto level = config_->longForKey("logLevel")) TSRLogger::setLogLevel(static_cast<long>(*level));

  global_context_ = TSRContext::initWithIdentifier(kGlobalContextId, shared_from_this());
  idle_tracking_ = TSRIdleTracking::trackingForFacade(shared_from_this());

  sender_ = di_->senderWithConfig(*config_);
  std::weak_ptr<Tessarin> weak = weak_from_this();
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

Tessarin::~Tessarin() {
  platform::NotificationCenter& center = platform_->notificationCenter();
  for (auto token : observers_always_) center.removeObserver(token);
  if (observers_when_running_) {
    for (auto token : *observers_when_running_) center.removeObserver(token);
  }
  if (reachability_) reachability_->stopMonitoring();
  if (event_sender_) event_sender_->stopSendingQueuedEvents();
  if (clear_test_experience_id_timer_) clear_test_experience_id_timer_->cancel();
  if (started_ && event_sender_) event_sender_->saveToFile();
}

void Tessarin::OnMain(const char* tag, std::function<void(Tessarin&)> body) {
  std::weak_ptr<Tessarin> weak = weak_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, tag, [weak, body = std::move(body)] {
    if (auto self = weak.lock()) body(*self);
  });
}

void Tessarin::Post(const char* name) { platform_->notificationCenter().post(name, this); }

bool Tessarin::AppStateIs(int state) { return di_->hostApp().appStateIs(state); }

void Tessarin::CreateEventSender() {
  std::weak_ptr<Tessarin> weak = weak_from_this();
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

void Tessarin::startWithClientConfiguration(const std::function<void(TSRClientConfigurationBuilder&)>& block) {
  TSRClientConfigurationBuilder builder;
  TSRUtilitySafety::runWithTag("-[Tessarin startWithClientConfiguration:]", [&] {
    if (block) block(builder);
  });
  startWithConfiguration(builder.toDictionary());
}

void Tessarin::startWithTessarinAccountKey(const std::string& account, const std::string& dataset) {
  startWithClientConfiguration([&](TSRClientConfigurationBuilder& builder) {
    builder.account = account;
    builder.dataset = dataset;
  });
}

void Tessarin::startWithConfiguration(const Json& configuration) {
  OnMain("-[Tessarin startWithConfiguration:]", [configuration](Tessarin& self) {
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

void Tessarin::stop() { stopAndClearProperties(true); }

void Tessarin::stopAndClearProperties(bool clearProperties) {
  (void)clearProperties;  // stopping behaves the same either way, deliberately
  OnMain("-[Tessarin stopAndClearProperties:]", [](Tessarin& self) { self.StopSequence(); });
}

void Tessarin::StopSequence() {
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

void Tessarin::reset() { resetAndClearProperties(true); }

void Tessarin::resetAndClearProperties(bool clearProperties) {
  OnMain("-[Tessarin resetAndClearProperties:]", [clearProperties](Tessarin& self) {
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

TSREventDiagnostics Tessarin::eventDiagnostics() const { return di_->eventCounters().snapshot(); }

bool Tessarin::flush(double timeoutSeconds) {
  // The waiter may outlive this call (a timed-out wait), so its state is shared.
  struct Drain {
    std::mutex mutex;
    std::condition_variable changed;
    bool drained = false;
  };
  auto drain = std::make_shared<Drain>();
  auto drained = [drain] {
    std::lock_guard<std::mutex> lock(drain->mutex);
    drain->drained = true;
    drain->changed.notify_all();
  };
  auto is_drained = [drain] {
    std::lock_guard<std::mutex> lock(drain->mutex);
    return drain->drained;
  };
  // The queue belongs to the main thread, which may replace it (a reset).
  auto start = [drained](Tessarin& self) {
    if (self.event_sender_) {
      self.event_sender_->flush(drained);
    } else {
      drained();  // no queue, nothing queued
    }
  };
  if (platform_->isMainThread()) {
    // Waiting here would hold up the very thread the SDK works on.
    start(*this);
    return is_drained();
  }
  OnMain("-[Tessarin flush:]", start);
  std::unique_lock<std::mutex> lock(drain->mutex);
  auto timeout = std::chrono::duration<double>(std::max(0.0, timeoutSeconds));
  return drain->changed.wait_for(lock, timeout, [&drain] { return drain->drained; });
}

// --- Configuration and systems ---

void Tessarin::onConfigUpdate() {
  if (auto level = config_->longForKey("logLevel")) TSRLogger::setLogLevel(static_cast<long>(*level));
  if (auto disable = config_->boolForKey("disable")) setDisabled(*disable);
  if (sender_) sender_->updateWithConfig(*config_);
  if (event_sender_) event_sender_->updateWithConfig(*config_);
  tsr_updateIgnorableClassNames(*platform_, config_->jsonArrayForKey("ignorableClasses"));
  Post(TessarinNotificationConfigUpdate);
  startSystemsAsNecessary();
}

void Tessarin::processLaunchIfNecessary() {
  if (processed_launch_ || !started_) return;
  processed_launch_ = true;
  onConfigUpdate();
  if (AppStateIs(kStateBackground)) return;  // a launch into the background is not tracked
  config_->setExpired(true);
  if (config_->boolForKey("trackLaunch").value_or(false)) TrackOnGlobalContext("App Launch");
}

void Tessarin::MarkServerConfigLoaded() {
  if (server_config_loaded_) return;
  server_config_loaded_ = true;
  TSR_LOG_INFO("Tessarin server configuration loaded; events are campaign-eligible");
  Post(TessarinNotificationServerConfigLoaded);
}

void Tessarin::startSystemsAsNecessary() {
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
    // The design gesture arrives with design mode.
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

void Tessarin::stopSystemsAsNecessary() {
  bool background = AppStateIs(kStateBackground);
  if (background) {
    if (reachability_) reachability_->stopMonitoring();
    design_mode_ = false;
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
    design_mode_ = false;
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

void Tessarin::setDisabled(bool disabled) {
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

void Tessarin::trackInstallOrUpgradeIfNecessary() {
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

std::optional<std::vector<std::string>> Tessarin::buildConfigRequestParams() {
  std::optional<std::string> os_name = di_->currentDevice().systemName();
  if (os_name && os_name->empty()) os_name.reset();
  TSRUtilityHostApp& host = di_->hostApp();
  std::optional<std::string> bundle_id = host.bundleIdentifier();
  std::optional<std::string> bundle_version = host.bundleVersion();
  std::string missing;
  auto note = [&missing](const std::optional<std::string>& value, const char* name) {
    if (value) return;
    if (!missing.empty()) missing += ", ";
    missing += name;
  };
  note(os_name, "os name");
  note(bundle_id, "bundle id");
  note(bundle_version, "bundle version");
  if (!missing.empty()) {
    TSR_LOG_ERROR("Missing params for config request: %@", missing);
    return std::nullopt;
  }
  return std::vector<std::string>{*os_name, *bundle_id, *bundle_version, kTessarinSDKVersion};
}

void Tessarin::sendConfigRequestIfNecessary() {
  // Being disabled does not stop the request: a switched-off SDK keeps
  // asking, so the service can switch it on again.
  if (config_->hasEmptyLayer(TSRConfig::kLayerClient) || !config_->expired() || config_request_uuid_ ||
      design_mode_) {
    return;
  }
  if (!sender_) return;  // nothing to ask with
  TSR_LOG_INFO("Config: update attempt");
  std::optional<double> last_modified = config_->lastModified();
  double request_date = platform_->now(platform::Clock::kWall);
  auto params = buildConfigRequestParams();
  if (!params) {
    TSR_LOG_ERROR("Config: Need params for request");
    return;
  }
  Json param_array = Json::array();
  for (const std::string& param : *params) param_array.push_back(param);

  std::weak_ptr<Tessarin> weak = weak_from_this();
  // Only the answer to the request in flight, from the current sender, counts.
  auto current = [weak](HttpSender* sender, const std::string& uuid) -> std::shared_ptr<Tessarin> {
    auto self = weak.lock();
    if (!self || sender != self->sender_.get() || self->config_request_uuid_ != uuid) return nullptr;
    self->config_request_uuid_.reset();
    return self;
  };
  config_request_uuid_ = sender_->requestConfigWithParams(
      param_array, last_modified,
      [current, request_date](HttpSender* sender, const std::string& uuid,
                              const std::optional<platform::HttpResponse>& response, const Json& json) {
        if (auto self = current(sender, uuid)) {
          self->processConfigResponse(response ? &*response : nullptr, &json, nullptr, request_date);
        }
      },
      [current, request_date](HttpSender* sender, const std::string& uuid,
                              const std::optional<platform::HttpResponse>& response, const TSRError& error) {
        if (auto self = current(sender, uuid)) {
          self->processConfigResponse(response ? &*response : nullptr, nullptr, &error, request_date);
        }
      });
}

void Tessarin::processConfigResponse(const platform::HttpResponse* response, const Json* json,
                                     const TSRError* error, double requestDate) {
  (void)requestDate;
  if (design_mode_) {
    TSR_LOG_INFO("Config: dropping response, in design mode");
    return;
  }
  long status = response ? response->statusCode : 0;
  auto texts = [error](auto&& log) {
    if (error) {
      log(LogArg(error->description), LogArg(error->failureReason), LogArg(error->recoverySuggestion));
    } else {
      log(LogArg(), LogArg(), LogArg());
    }
  };
  if (status == 304) {
    TSR_LOG_DEBUG("Config: not modified, setting updated timestamp only");
    config_->setConfiguration(Json::object(), TSRConfig::kLayerServer);
    MarkServerConfigLoaded();
    return;
  }
  if (status == 400 || status == 404) {
    texts([](const LogArg& a, const LogArg& b, const LogArg& c) {
      TSR_LOG_ERROR("Config: not found, disabling. %@ %@ %@", a, b, c);
    });
    config_->replaceConfiguration(Json{{"disable", true}}, TSRConfig::kLayerServer);
    onConfigUpdate();
    return;
  }
  if (!response || error) {
    texts([](const LogArg& a, const LogArg& b, const LogArg& c) {
      TSR_LOG_ERROR("Config: update error, keeping existing config. %@ %@ %@", a, b, c);
    });
    return;
  }
  TSR_LOG_INFO("Config: update success");
  Json server = json && json->is_object() ? *json : Json::object();
  if (auto header = response->header("Last-Modified")) {
    if (auto modified = TSRUtilityNetworking::dateFromHttpDateString(*header)) server["__lastModified"] = *modified;
  }
  config_->replaceConfiguration(server, TSRConfig::kLayerServer);
  onConfigUpdate();
}

// --- Observers ---

void Tessarin::RegisterObserversAlways() {
  if (observers_always_registered_) return;
  observers_always_registered_ = true;
  platform::NotificationCenter& center = platform_->notificationCenter();
  auto main = platform_->mainQueue();
  std::weak_ptr<Tessarin> weak = weak_from_this();
  auto observe = [&](const char* name, const char* tag, std::function<void(Tessarin&)> body) {
    observers_always_.push_back(center.addObserver(
        name, nullptr, main, [weak, tag, body = std::move(body)](const platform::Notification&) {
          auto self = weak.lock();
          if (!self) return;
          self->OnMain(tag, body);
        }));
  };
  observe(platform::kApplicationDidFinishLaunchingNotification,
          "-[Tessarin registerObserversAlways]_block_invoke", [](Tessarin& self) {
            if (!self.disabled_) TSR_LOG_DEBUG("applicationDidFinishLaunching");
            self.processLaunchIfNecessary();
          });
  observe(platform::kApplicationWillEnterForegroundNotification,
          "-[Tessarin registerObserversAlways]_block_invoke_2", [](Tessarin& self) {
            self.config_->setExpired(true);
            if (self.disabled_) return;
            TSR_LOG_DEBUG("applicationWillEnterForeground");
            if (self.config_->boolForKey("trackForeground").value_or(false)) {
              self.TrackOnGlobalContext("App Foreground");
            }
          });
  observe(platform::kApplicationDidBecomeActiveNotification,
          "-[Tessarin registerObserversAlways]_block_invoke_3", [](Tessarin& self) {
            self.has_reached_active_ = true;
            if (!self.disabled_) TSR_LOG_DEBUG("applicationDidBecomeActive");
            self.processLaunchIfNecessary();
            self.startSystemsAsNecessary();
            // Coming to the front counts as the user's activity: contexts
            // need not wait for the first touch.
            if (self.idle_tracking_) self.idle_tracking_->tsr_updateLastEventDate();
            self.sendConfigRequestIfNecessary();
          });
  observe(platform::kApplicationDidEnterBackgroundNotification,
          "-[Tessarin registerObserversAlways]_block_invoke_4", [](Tessarin& self) {
            self.has_reached_active_ = false;
            if (!self.disabled_) {
              TSR_LOG_DEBUG("applicationDidEnterBackground");
              if (self.config_->boolForKey("trackBackground").value_or(false)) {
                self.TrackOnGlobalContext("App Background");
              }
            }
            self.stopSystemsAsNecessary();
          });
}

void Tessarin::RegisterObserversWhenRunning() {
  if (observers_when_running_) return;
  observers_when_running_.emplace();
  platform::NotificationCenter& center = platform_->notificationCenter();
  auto main = platform_->mainQueue();
  std::weak_ptr<Tessarin> weak = weak_from_this();
  auto observe = [&](const char* name, const char* tag, std::function<void(Tessarin&)> body) {
    observers_when_running_->push_back(center.addObserver(
        name, nullptr, main, [weak, tag, body = std::move(body)](const platform::Notification&) {
          auto self = weak.lock();
          if (!self) return;
          self->OnMain(tag, body);
        }));
  };
  observe(platform::kApplicationWillResignActiveNotification,
          "-[Tessarin registerObserversWhenRunning]_block_invoke", [](Tessarin& self) {
            TSR_LOG_DEBUG("applicationWillResignActive");
            // An app that is no longer in front has no user touching it:
            // contexts flush their pings and hold campaigns.
            if (self.idle_tracking_) self.idle_tracking_->tsr_setUserInactive();
          });
  observe(platform::kApplicationWillTerminateNotification,
          "-[Tessarin registerObserversWhenRunning]_block_invoke_2", [](Tessarin& self) {
            TSR_LOG_WARN("applicationWillTerminate");
            self.stopSystemsAsNecessary();
            // The process may end as soon as this returns.
            self.config_->waitForPendingWrites();
          });
  observe(platform::kApplicationDidChangeStatusBarOrientationNotification,
          "-[Tessarin registerObserversWhenRunning]_block_invoke_3", [](Tessarin& self) {
            std::string orientation = self.OrientationName();
            TSR_LOG_DEBUG("applicationDidChangeStatusBarOrientation %@", orientation);
            if (self.config_->boolForKey("trackOrientation").value_or(false)) {
              self.TrackOnGlobalContext(FormatLogMessage("App Orientation %@", {LogArg(orientation)}));
            }
          });
}

void Tessarin::RemoveObserversWhenRunning() {
  if (!observers_when_running_) return;
  platform::NotificationCenter& center = platform_->notificationCenter();
  for (auto token : *observers_when_running_) center.removeObserver(token);
  observers_when_running_.reset();
}

std::string Tessarin::OrientationName() {
  platform::HostApplication& app = di_->mainBundle();
  if (auto orientation = app.statusBarOrientation()) {
    if (*orientation == 1 || *orientation == 2) return "Portrait";
    if (*orientation == 3 || *orientation == 4) return "Landscape";
    return "Unknown";
  }
  if (auto size = app.firstNormalWindowSize()) {
    if (size->second > size->first) return "Portrait";
    if (size->first > size->second) return "Landscape";
  }
  return "Unknown";
}

void Tessarin::TrackOnGlobalContext(const std::string& action) {
  if (auto context = globalContext()) context->trackAction(action);
}

std::shared_ptr<TSRContext> Tessarin::globalContext() const {
  if (disabled_) return nullptr;
  return global_context_;
}

// --- Events ---

std::optional<Json> Tessarin::buildFullEventParams() {
  auto event = TSRUtilityEvents::buildBaseParams(*this);
  if (event && test_experience_id_ && !test_experience_id_->empty()) {
    (*event)[TSREvent_testMessages] = *test_experience_id_;
  }
  return event;
}

void Tessarin::sendAction(const std::string& action, const std::string& contextId, Json additionalFields) {
  // The SDK's own parts call this on the main thread; any other caller is
  // moved there, where the façade's state lives.
  if (!platform_->isMainThread()) {
    OnMain("-[Tessarin sendAction:contextId:additionalFields:]",
           [action, contextId, additionalFields = std::move(additionalFields)](Tessarin& self) {
             self.sendAction(action, contextId, additionalFields);
           });
    return;
  }
  if (disabled_) return;
  if (action.empty() || contextId.empty()) {
    TSR_LOG_ERROR("Action: Ignoring since incomplete: action [%@] contextId [%@]", action, contextId);
    return;
  }
  if (design_mode_) {
    TSR_LOG_ERROR("Action: Ignoring, Tessarin in design mode: action [%@] contextId [%@]", action, contextId);
    return;
  }
  TSR_LOG_DEBUG("Action: [%@] contextId [%@]", action, contextId);
  auto event = buildFullEventParams();
  if (!event) return;
  // The base record never holds these two: appended, not looked up.
  auto& fields = event->get_ref<Json::object_t&>();
  fields.emplace_back(TSREvent_action, action);
  fields.emplace_back(TSREvent_contextId, contextId);
  // Pending attributes ride on this event and are then forgotten.
  if (!attributes_.empty()) {
    for (auto& [name, value] : attributes_.items()) (*event)[name] = value;
    attributes_ = Json::object();
  }
  // The caller's fields come last, so they override everything before them.
  if (additionalFields.is_object()) {
    for (auto& [key, value] : additionalFields.get_ref<Json::object_t&>()) (*event)[key] = std::move(value);
    DisposeJson(additionalFields);
  }
  if (event_sender_) event_sender_->addEvent(std::move(*event));
}

void Tessarin::sendPingForItem(const Json& item, double timeOnPage) {
  if (disabled_) return;
  if (item.is_null() || !(timeOnPage > 0)) {
    TSR_LOG_WARN("Ping: Ignoring, invalid, %.3f %@", timeOnPage, item.is_null() ? LogArg() : LogArg(item));
    return;
  }
  if (!started_ || design_mode_) {
    TSR_LOG_WARN("Ping: Ignoring, Tessarin not started or in design mode, %.3f %@", timeOnPage, item);
    return;
  }
  // Pings carry no test selection: the base record alone.
  auto event = TSRUtilityEvents::buildBaseParams(*this);
  if (!event) return;
  (*event)[TSREvent_item] = item;
  (*event)[TSREvent_timeOnPage] = static_cast<std::uint64_t>(timeOnPage * 1000);
  (*event)[TSREvent_simulatedEndpoint] = "p";
  TSR_LOG_INFO("Ping: sending %.3f %@", timeOnPage, item);
  if (event_sender_) event_sender_->addEvent(std::move(*event));
}

void Tessarin::sendCampaignStats(const Json& stats, bool testing) {
  // Deliberately not gated on being started: statistics of a campaign shown
  // just before a stop still count.
  if (disabled_ || design_mode_) return;
  auto event = TSRUtilityEvents::buildBaseParams(*this);
  if (!event) return;
  auto serialised = TSRUtilityJSON::stringFromJSON(stats);
  if (!serialised) return;
  (*event)[TSREvent_campaignStats] = *serialised;
  (*event)[TSREvent_simulatedEndpoint] = "m";
  if (testing) (*event)[TSREvent_test] = "true";
  if (event_sender_) event_sender_->addEvent(std::move(*event));
}

namespace {

std::string ErrorCodeText(long long code) {
  switch (code) {
    case 1: return "missing encrypted user id parameter";
    case 2: return "invalid encrypted user id parameter";
    case 3: return "busy";
    case 5: return "invalid event";
    default: return std::to_string(code);
  }
}

}  // namespace

void Tessarin::handleEventResponses(const Json& responses) {
  if (disabled_) return;
  if (!started_ || design_mode_) {
    TSR_LOG_DEBUG("Event Responses: Ignoring, Tessarin not started or in design mode");
    return;
  }
  if (!responses.is_array()) return;
  for (const Json& response : responses) {
    if (!response.is_object()) {
      TSR_LOG_ERROR("Event Response: Unexpected event class: %@ event: %@", JsonClassName(response), response);
      continue;
    }
    auto affinity = response.find("anonAffinityId");
    if (affinity != response.end() && affinity->is_string() && !affinity->get_ref<const std::string&>().empty()) {
      config_->setConfiguration(Json{{"__visitorAffinityId", *affinity}}, TSRConfig::kLayerSDK);
    }
    const Json* code = TSRUtilityDictionary::objectOfType(JsonKind::kNumber, "errorCode", response);
    const Json* errors = TSRUtilityDictionary::objectOfType(JsonKind::kArray, "validationErrors", response);
    long long error_code = code ? (code->is_boolean() ? code->get<bool>() : code->get<long long>()) : 0;
    if (error_code == 4) {
      // An anonymous-id correction: the rest of this response, campaigns
      // included, is skipped deliberately.
      TSR_LOG_INFO("An event response contained an anonymous id correction");
      continue;
    }
    if (error_code != 0) {
      if (errors) {
        TSR_LOG_ERROR("Event Response: Contained the error code [%@] with the validation errors: %@",
                      ErrorCodeText(error_code), *errors);
      } else {
        TSR_LOG_ERROR("Event Response: Contained the error code [%@]", ErrorCodeText(error_code));
      }
    }
    const Json* campaigns = TSRUtilityDictionary::objectOfType(JsonKind::kArray, "campaignResponses", response);
    if (!campaigns) continue;
    for (const Json& campaign : *campaigns) {
      if (!campaign.is_object()) {
        TSR_LOG_WARN("Campaign: ignoring, expected NSDictionary but found %@", JsonClassName(campaign));
        continue;
      }
      auto parsed = TSRCampaign::campaignWithJSON(campaign, *config_, platform_->now(platform::Clock::kWall));
      if (parsed && campaign_dispatcher_) campaign_dispatcher_->handleCampaign(parsed);
    }
  }
}

// --- Identity ---

void Tessarin::setUserId(const std::optional<std::string>& userId) {
  std::string trimmed = userId ? TrimWhitespaceAndNewlines(*userId) : std::string();
  {
    std::lock_guard<std::mutex> lock(identity_mutex_);
    if (trimmed == "0") {
      TSR_LOG_ERROR("Ignoring attempt to set userId to \"0\".");
      return;
    }
    if (trimmed.empty()) {
      user_id_.reset();
      account_id_.reset();
      TSR_LOG_INFO("Cleared userId and accountId");
    } else {
      user_id_ = trimmed;
    }
  }
  // The service links the push token to the new user.
  OnMain("-[Tessarin setUserId:]_block_invoke", [](Tessarin& self) {
    if (self.push_token_manager_) self.push_token_manager_->enqueuePushTokenUpdateEvent();
  });
}

std::optional<std::string> Tessarin::userId() {
  std::lock_guard<std::mutex> lock(identity_mutex_);
  return user_id_;
}

void Tessarin::setAccountId(const std::optional<std::string>& accountId) {
  std::string trimmed = accountId ? TrimWhitespaceAndNewlines(*accountId) : std::string();
  std::lock_guard<std::mutex> lock(identity_mutex_);
  if (trimmed == "0") {
    TSR_LOG_ERROR("Ignoring attempt to set accountId to \"0\".");
    return;
  }
  if (trimmed.empty()) {
    account_id_.reset();
    TSR_LOG_INFO("Cleared accountId");
  } else {
    account_id_ = trimmed;
  }
}

std::optional<std::string> Tessarin::accountId() {
  std::lock_guard<std::mutex> lock(identity_mutex_);
  return account_id_;
}

std::optional<std::string> Tessarin::anonymousId() {
  if (disabled_) return std::nullopt;
  return TSRUtilityDevice::identifierForVendor(*di_);
}

// --- Attributes ---

namespace {

Json AttributeValue(const std::optional<std::string>& value) { return value ? Json(*value) : Json(nullptr); }

}  // namespace

void Tessarin::setUserAttribute(const std::optional<std::string>& value, const std::optional<std::string>& name) {
  setAttributeValue(AttributeValue(value), name);
}

void Tessarin::setAccountAttribute(const std::optional<std::string>& value,
                                   const std::optional<std::string>& name) {
  setAttributeValue(AttributeValue(value), name);
}

void Tessarin::setAttributeValue(const Json& value, const std::optional<std::string>& name) {
  OnMain("-[Tessarin setAttributeValue:name:]", [value, name](Tessarin& self) {
    if (self.disabled_) return;
    std::optional<std::string> trimmed_name;
    if (name) trimmed_name = TrimWhitespaceAndNewlines(*name);
    Json trimmed_value = value.is_string() ? Json(TrimWhitespaceAndNewlines(value.get_ref<const std::string&>()))
                                           : value;

    bool valid = true;
    if (!trimmed_name || trimmed_name->empty()) {
      TSR_LOG_ERROR("Attribute name must be a non-empty NSString.");
      valid = false;
    } else if (!trimmed_value.is_null() && !trimmed_value.is_string()) {
      TSR_LOG_ERROR("Attribute value must be an NSString.");
      valid = false;
    } else {
      const auto& reserved = reservedEventKeys();
      if (std::find(reserved.begin(), reserved.end(), *trimmed_name) != reserved.end()) {
        TSR_LOG_ERROR("Attribute is invalid because it uses a reserved name: %@", *trimmed_name);
        valid = false;
      }
    }
    if (!valid) {
      TSR_LOG_ERROR("Ignoring invalid attribute: %@ %@", trimmed_name,
                    trimmed_value.is_null() ? LogArg() : LogArg(trimmed_value));
      return;
    }
    if (trimmed_value.is_null()) {
      // The null marker travels in the next event and clears the attribute.
      self.attributes_[*trimmed_name] = nullptr;
      TSR_LOG_INFO("Clearing attribute %@", *trimmed_name);
      return;
    }
    std::string stored = Utf16Prefix(trimmed_value.get_ref<const std::string&>(), kMaxAttributeValueLength);
    self.attributes_[*trimmed_name] = stored;
    TSR_LOG_INFO("Setting attribute %@ to the value %@", *trimmed_name, stored);
  });
}

// --- Log level ---

long Tessarin::logLevel() const { return TSRLogger::logLevel(); }

void Tessarin::setLogLevel(long logLevel) {
  OnMain("-[Tessarin setLogLevel:]", [logLevel](Tessarin& self) {
    self.config_->setConfiguration(Json{{"logLevel", logLevel}}, TSRConfig::kLayerRuntime);
    TSRLogger::setLogLevel(logLevel);
  });
}

}  // namespace tessarin

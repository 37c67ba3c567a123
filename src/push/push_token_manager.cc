#include "push/push_token_manager.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/notification_center.h"
#include "tessarin/events.h"
#include "tessarin/sdk_info.h"
#include "transport/events_util.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/json_util.h"
#include "util/safety.h"
#include "util/string_util.h"

namespace tessarin {
namespace {

using platform::HostObject;

const char* const kInitTag = "-[TSRPushTokenManager initWithConfig:eventSender:]";
const char* const kObserverTag = "-[TSRPushTokenManager registerObservers]_block_invoke";
const char* const kPermissionTag = "-[TSRPushTokenManager handlePushToken:platform:]_block_invoke";

const char* const kTokenKey = "token";
const char* const kPreviousKey = "previous";

// The application object's answer to "isRegisteredForRemoteNotifications";
// NO where there is no application object or it cannot tell.
bool RegisteredForRemoteNotifications(const std::shared_ptr<HostObject>& application) {
  const char* selector = "isRegisteredForRemoteNotifications";
  if (!application || !application->respondsToSelector(selector)) return false;
  std::any answer = application->send(selector);
  const bool* registered = std::any_cast<bool>(&answer);
  return registered && *registered;
}

// The settings' verdict on whether the user can see a notification at all.
std::pair<bool, const char*> SettingsVerdict(const platform::NotificationSettings& settings) {
  constexpr int kNotDetermined = 0, kDenied = 1, kEnabled = 2, kAlertStyleNone = 0;
  if (settings.authorizationStatus == kDenied || settings.authorizationStatus == kNotDetermined) {
    return {false, "Notification authorizationStatus denied or not determined."};
  }
  if (settings.alertSetting != kEnabled) return {false, "Notification alertSetting not enabled."};
  if (settings.notificationCenterSetting != kEnabled && settings.alertStyle == kAlertStyleNone) {
    return {false,
            "Notification alertStyle none, and notificationCenterSetting not enabled. No way for user to see "
            "notification."};
  }
  return {true, "iOS version >=10, notification settings sufficient."};
}

}  // namespace

std::shared_ptr<TSRPushTokenManager> TSRPushTokenManager::initWithConfig(const TSRConfig& config,
                                                                         std::shared_ptr<EventQueue> eventSender,
                                                                         const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return nullptr;
  std::shared_ptr<TSRPushTokenManager> manager(new TSRPushTokenManager(config, std::move(eventSender), facade));
  std::weak_ptr<TSRPushTokenManager> weak = manager;
  TSRUtilitySafety::runOnMainWithTag(*manager->platform_, kInitTag, [weak] {
    if (auto self = weak.lock()) self->registerObservers();
  });
  return manager;
}

TSRPushTokenManager::TSRPushTokenManager(const TSRConfig& config, std::shared_ptr<EventQueue> eventSender,
                                         const std::shared_ptr<SdkFacade>& facade)
    : config_(config),
      event_sender_(std::move(eventSender)),
      facade_(facade),
      platform_(facade->environment().platformPtr()) {}

TSRPushTokenManager::~TSRPushTokenManager() {
  for (auto token : observers_) platform_->notificationCenter().removeObserver(token);
}

void TSRPushTokenManager::registerObservers() {
  if (!observers_.empty()) return;
  auto facade = facade_.lock();
  if (!facade) return;
  std::weak_ptr<TSRPushTokenManager> weak = weak_from_this();
  auto observe = [&](const char* name, void (TSRPushTokenManager::*handler)()) {
    // Only this manager's façade counts: several may share a host.
    observers_.push_back(platform_->notificationCenter().addObserver(
        name, facade->notificationSender(), platform_->mainQueue(), [weak, handler](const platform::Notification&) {
          auto self = weak.lock();
          if (!self) return;
          TSRUtilitySafety::runOnMainWithTag(*self->platform_, kObserverTag, [weak, handler] {
            if (auto manager = weak.lock()) ((*manager).*handler)();
          });
        }));
  };
  observe(TessarinNotificationStartAsNecessary, &TSRPushTokenManager::startSystemsAsNecessary);
  observe(TessarinNotificationConfigUpdate, &TSRPushTokenManager::onConfigUpdate);
  observe(TessarinNotificationStopAsNecessary, &TSRPushTokenManager::stopSystemsAsNecessary);
}

bool TSRPushTokenManager::ConfigFlag(const char* key, bool fallback) const {
  // The configuration is the façade's: once the façade is gone it is too.
  if (facade_.expired()) return fallback;
  return config_.boolForKey(key).value_or(fallback);
}

bool TSRPushTokenManager::usePushNotifications() const { return ConfigFlag("usePushNotifications", false); }

bool TSRPushTokenManager::retriggerApnsCallbacksOnStart() const { return ConfigFlag("apnsReregister", false); }

// --- Lifecycle ---

void TSRPushTokenManager::startSystemsAsNecessary() {
  if (running_) return;
  if (!usePushNotifications()) {
    stopAndClearTokens(true);
    return;
  }
  running_ = true;
  setupFirebaseTokenCallbackHooks();
  retriggerAPNSTokenCallbacks();
  tryFetchingFirebaseFCMToken();
  // Tokens that arrived before the start go out now.
  enqueuePushTokenUpdateEvent();
}

void TSRPushTokenManager::stopSystemsAsNecessary() {
  auto facade = facade_.lock();
  if (!facade) return;
  if (!facade->disabled() && facade->started()) return;
  // A stop keeps the tokens for the next start; disabling forgets them.
  stopAndClearTokens(facade->disabled());
}

void TSRPushTokenManager::onConfigUpdate() {
  if (running_ && !usePushNotifications()) stopAndClearTokens(true);
}

void TSRPushTokenManager::stopAndClearTokens(bool clearTokens) {
  running_ = false;
  if (clearTokens) push_tokens_ = Json::object();
}

void TSRPushTokenManager::retriggerAPNSTokenCallbacks() {
  if (!usePushNotifications() || !running_ || !retriggerApnsCallbacksOnStart()) return;
  auto application = platform_->hostApplication().applicationObject();
  if (!RegisteredForRemoteNotifications(application)) return;
  // The platform answers by delivering the token to the app delegate again,
  // whose intercepted callback brings it back here.
  if (application->respondsToSelector("registerForRemoteNotifications")) {
    application->send("registerForRemoteNotifications");
  }
}

// --- Tokens ---

void TSRPushTokenManager::handlePushToken(const std::string& token, int platform) {
  // While stopped, a re-registering app gets every token again at the next
  // start; taking it now would report it twice.
  if (!running_ && retriggerApnsCallbacksOnStart()) return;
  if (token.empty()) return;
  auto name = TSRUtilityString::stringFromPushPlatform(platform);
  if (!name) {
    if (running_) TSR_LOG_ERROR("Cannot handle token, unsupported platform: %ld", static_cast<long>(platform));
    return;
  }
  if (IsCurrentToken(token, *name)) return;
  std::weak_ptr<TSRPushTokenManager> weak = weak_from_this();
  // The settings answer off the main thread; the manager is touched only
  // back on it.
  std::weak_ptr<platform::Platform> weak_platform = platform_;
  checkPassesPermissions([weak, weak_platform, token, name = *name](bool passed, const std::string& reason) {
    auto host = weak_platform.lock();
    if (!host) return;
    TSRUtilitySafety::runOnMainWithTag(*host, kPermissionTag, [weak, token, name, passed, reason] {
      auto manager = weak.lock();
      if (!manager) return;
      TSR_LOG_DEBUG("Permission checks passed? %@, %@", passed ? "true" : "false", reason);
      if (!passed) return;
      // The same token may have been delivered again while the settings
      // were being asked, and an earlier answer already stored it: taking
      // it a second time would report it with itself as "previous".
      if (manager->IsCurrentToken(token, name)) return;
      manager->AcceptToken(token, name);
    });
  });
}

bool TSRPushTokenManager::IsCurrentToken(const std::string& token, const std::string& platformName) const {
  auto stored = push_tokens_.find(platformName);
  if (stored == push_tokens_.end() || !stored->is_object()) return false;
  auto current = stored->find(kTokenKey);
  return current != stored->end() && current->is_string() && current->get_ref<const std::string&>() == token;
}

void TSRPushTokenManager::AcceptToken(const std::string& token, const std::string& platformName) {
  Json entry = Json::object();
  entry[kTokenKey] = token;
  auto stored = push_tokens_.find(platformName);
  if (stored != push_tokens_.end()) {
    auto old = stored->find(kTokenKey);
    if (old != stored->end() && old->is_string()) entry[kPreviousKey] = *old;
  }
  push_tokens_[platformName] = std::move(entry);
  if (!running_) return;
  // At most four characters: enough to tell tokens apart in a log, too few
  // to give one away.
  std::size_t shown = std::min<std::size_t>(token.size() - 1, 4);
  TSR_LOG_INFO("Accepting token: %@... for platform: %@", token.substr(0, shown), platformName);
  enqueuePushTokenUpdateEvent();
}

void TSRPushTokenManager::checkPassesPermissions(PermissionBlock completion) {
  if (!completion) return;
  auto& host = platform_->hostApplication();
  if (!RegisteredForRemoteNotifications(host.applicationObject())) {
    // Only worth a log line: the settings' verdict below is the one that
    // decides, so the completion runs a second time.
    completion(false, "App not registered for remote notifications.");
  }
  host.getNotificationSettings([completion](const platform::NotificationSettings& settings) {
    auto [passed, reason] = SettingsVerdict(settings);
    completion(passed, reason);
  });
}

// --- Reporting ---

void TSRPushTokenManager::enqueuePushTokenUpdateEvent() {
  if (!usePushNotifications() || !running_ || push_tokens_.empty()) return;
  auto facade = facade_.lock();
  if (!facade) return;
  auto event = TSRUtilityEvents::buildBaseParams(*facade);
  if (!event) return;
  auto text = TSRUtilityJSON::stringFromJSON(push_tokens_, false);
  if (!text || text->empty()) return;
  (*event)[TSREvent_pushTokenUpdates] = *text;
  (*event)[TSREvent_simulatedEndpoint] = "ptu";
  Json platforms = Json::array();
  for (const auto& [name, entry] : push_tokens_.items()) platforms.push_back(name);
  TSR_LOG_INFO("Push token update event for platforms: %@ ", platforms);
  // A reset drops the façade's queue and the next start makes another;
  // the update goes to the queue in use, never to a dropped one.
  std::shared_ptr<EventQueue> queue = facade->eventSender() ? facade->eventSender() : event_sender_;
  if (queue) queue->addEvent(std::move(*event));
  removePreviousTokens();
}

void TSRPushTokenManager::removePreviousTokens() {
  Json kept = Json::object();
  for (auto& [name, entry] : push_tokens_.items()) {
    if (entry.is_object()) entry.erase(kPreviousKey);
    if (entry.is_object() && entry.empty()) continue;
    kept[name] = std::move(entry);
  }
  push_tokens_ = std::move(kept);
}

}  // namespace tessarin

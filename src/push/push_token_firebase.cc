// The Firebase side of TSRPushTokenManager: the FCM token read by
// reflection, and the interception of the Firebase messaging delegate.
//
// Firebase may be absent, present in a version whose names differ, or not
// configured yet; each step therefore looks its piece up by name, and a
// missing piece is a warning with a hint for the app developer (who can
// always report the token with Tessarin::setFirebaseToken). The look-ups,
// the choice of how to read the token and the interceptions happen once
// per host; the record of them lives in the host's runtime.
#include <any>
#include <mutex>
#include <set>
#include <utility>

#include "base/log.h"
#include "base/sdk_facade.h"
#include "push/push_token_manager.h"
#include "tessarin/sdk_info.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/host_app.h"
#include "util/method_interception.h"
#include "util/safety.h"

namespace tessarin {
namespace {

using platform::HostArgs;
using platform::HostClass;
using platform::HostObject;
using platform::Platform;

const char* const kFetchTag = "+[TSRPushTokenManager fetchFirebaseTokenWithSelector:onInstance:]_block_invoke";
const char* const kHooksTag = "+[TSRPushTokenManager setupFirebaseTokenCallbackHooks]_block_invoke";
const char* const kSetMessagingDelegateTag = "+[TSRPushTokenManager swizzleSetFIRMessagingDelegate:]_block_invoke";
const char* const kDelegateTag = "+[TSRPushTokenManager swizzleFIRMessagingDelegate:selector:]_block_invoke";

const char* const kReceiveTokenSelector = "messaging:didReceiveRegistrationToken:";
const char* const kRefreshTokenSelector = "messaging:didRefreshRegistrationToken:";

// What one host has learnt of Firebase and done to it. Made on the main
// thread at the first start; the interceptions, which may run on any
// thread, read the receiving façade and claim delegates under the lock.
class FirebaseHost {
 public:
  bool messaging_looked_up = false;
  std::shared_ptr<HostObject> messaging;
  bool instance_id_looked_up = false;
  std::shared_ptr<HostObject> instance_id;
  bool strategy_chosen = false;
  TSRPushTokenManager::FetchBlock fetch;
  bool hooks_set_up = false;

  // The façade whose manager started last: tokens the interceptions catch
  // go to it.
  void setReceiver(std::weak_ptr<SdkFacade> facade) {
    std::lock_guard<std::mutex> lock(mutex_);
    receiver_ = std::move(facade);
  }
  std::shared_ptr<SdkFacade> receiver() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return receiver_.lock();
  }
  // True for the first non-nil delegate the "setDelegate:" interception sees.
  bool claimFirstDelegate() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (delegate_claimed_) return false;
    delegate_claimed_ = true;
    return true;
  }
  // True the first time a delegate class comes up: its callbacks are
  // intercepted once, or a token would be reported once per interception.
  bool claimDelegateClass(const HostClass* cls) {
    std::lock_guard<std::mutex> lock(mutex_);
    return delegate_classes_.insert(cls).second;
  }

 private:
  mutable std::mutex mutex_;
  std::weak_ptr<SdkFacade> receiver_;
  bool delegate_claimed_ = false;
  std::set<const HostClass*> delegate_classes_;
};

// The association's key: only its address matters.
const char kFirebaseHostKey = 0;

// The host's record, made on first use. A host without a runtime has no
// Firebase to find; it gets a fresh record each time.
std::shared_ptr<FirebaseHost> FirebaseHostOf(Platform& platform) {
  platform::HostRuntime* runtime = platform.hostRuntime();
  if (!runtime) return std::make_shared<FirebaseHost>();
  std::any value = runtime->associatedObject(&kFirebaseHostKey);
  if (auto* host = std::any_cast<std::shared_ptr<FirebaseHost>>(&value)) return *host;
  auto host = std::make_shared<FirebaseHost>();
  runtime->setAssociatedObject(&kFirebaseHostKey, host);
  return host;
}

std::shared_ptr<HostClass> LookUpClass(Platform& platform, const char* name) {
  platform::HostRuntime* runtime = platform.hostRuntime();
  return runtime ? runtime->lookUpClass(name) : nullptr;
}

// Runs `read` on the main thread, guarded, and hands a token it finds to
// the façade as the SDK's own fetch (accepted whatever the swizzling switch).
void FetchOnMain(const std::shared_ptr<SdkFacade>& facade, std::function<std::optional<std::string>()> read) {
  if (!facade) return;
  std::weak_ptr<SdkFacade> weak = facade;
  TSRUtilitySafety::runOnMainWithTag(facade->environment().platform(), kFetchTag, [weak, read = std::move(read)] {
    auto facade = weak.lock();
    if (!facade) return;
    if (auto token = read()) facade->setFirebaseToken(*token, std::nullopt);
  });
}

}  // namespace

// --- Firebase objects ---

std::shared_ptr<HostObject> TSRPushTokenManager::firMessagingInstance(Platform& platform) {
  auto host = FirebaseHostOf(platform);
  if (host->messaging_looked_up) return host->messaging;
  host->messaging_looked_up = true;
  auto cls = LookUpClass(platform, "FIRMessaging");
  if (!cls) {
    TSR_LOG_WARN("Class FIRMessaging not found. If you are using a newer/different version of Firebase: %@",
                 kFirebaseHint);
    return nullptr;
  }
  if (!cls->respondsToSelector("messaging")) {
    TSR_LOG_WARN(
        "FIRMessaging class does not respond to 'messaging' selector. If you are using a newer/different version "
        "of Firebase: %@",
        kFirebaseHint);
    return nullptr;
  }
  host->messaging = platform::HostObjectFrom(cls->send("messaging"));
  if (!host->messaging) {
    TSR_LOG_WARN(
        "FIRMessaging class 'messaging' selector returned nil. Maybe Firebase hasn't been configured. Or if you "
        "are using a newer/different version of Firebase: %@",
        kFirebaseHint);
  }
  return host->messaging;
}

std::shared_ptr<HostObject> TSRPushTokenManager::firInstanceIDInstance(Platform& platform) {
  auto host = FirebaseHostOf(platform);
  if (host->instance_id_looked_up) return host->instance_id;
  host->instance_id_looked_up = true;
  // Only the last way to the token: its absence is a debug matter.
  auto cls = LookUpClass(platform, "FIRInstanceID");
  if (!cls || !cls->respondsToSelector("instanceID")) {
    TSR_LOG_DEBUG("FIRInstanceID class does not respond to 'instanceID' selector");
    return nullptr;
  }
  host->instance_id = platform::HostObjectFrom(cls->send("instanceID"));
  if (!host->instance_id) TSR_LOG_DEBUG("FIRInstanceID class 'instanceID' selector returned nil");
  return host->instance_id;
}

// --- Ways to read the FCM token ---

std::optional<std::string> TSRPushTokenManager::fetchFirebaseTokenWithSelector(
    const std::string& selector, const std::shared_ptr<HostObject>& instance) {
  if (!instance || !instance->respondsToSelector(selector)) return std::nullopt;
  std::any value = instance->send(selector);
  auto* token = std::any_cast<std::string>(&value);
  if (!token) return std::nullopt;
  return *token;
}

TSRPushTokenManager::FetchBlock TSRPushTokenManager::tryFetchBlockFCMTokenFromMessagingProperty(Platform& platform) {
  auto messaging = firMessagingInstance(platform);
  if (!messaging || !messaging->respondsToSelector("FCMToken")) return nullptr;
  return [messaging](const std::shared_ptr<SdkFacade>& facade) {
    FetchOnMain(facade, [messaging] { return fetchFirebaseTokenWithSelector("FCMToken", messaging); });
  };
}

TSRPushTokenManager::FetchBlock TSRPushTokenManager::tryFetchBlockFCMTokenFromMessagingIvar(Platform& platform) {
  auto cls = LookUpClass(platform, "FIRMessaging");
  if (!cls || !cls->hasInstanceVariable("_defaultFcmToken")) return nullptr;
  auto messaging = firMessagingInstance(platform);
  // The variable is read from the instance: without one there is nothing to read.
  if (!messaging) return nullptr;
  return [messaging](const std::shared_ptr<SdkFacade>& facade) {
    FetchOnMain(facade, [messaging]() -> std::optional<std::string> {
      std::any value = messaging->ivar("_defaultFcmToken");
      auto* token = std::any_cast<std::string>(&value);
      if (!token) return std::nullopt;
      return *token;
    });
  };
}

TSRPushTokenManager::FetchBlock TSRPushTokenManager::tryFetchBlockFCMTokenFromInstanceID(Platform& platform) {
  auto instance_id = firInstanceIDInstance(platform);
  if (!instance_id || !instance_id->respondsToSelector("instanceIDWithHandler:")) {
    TSR_LOG_DEBUG("FIRInstanceID class does not respond to expected selectors");
    return nullptr;
  }
  return [instance_id](const std::shared_ptr<SdkFacade>& facade) {
    if (!facade) return;
    std::weak_ptr<SdkFacade> weak = facade;
    TSRUtilitySafety::runOnMainWithTag(facade->environment().platform(), kFetchTag, [weak, instance_id] {
      // The handler may be called later, on any thread; the façade hops to
      // the main thread itself.
      FIRInstanceIDResultHandler handler = [weak](std::any result, std::any) {
        auto facade = weak.lock();
        auto token = fetchFirebaseTokenWithSelector("token", platform::HostObjectFrom(result));
        if (facade && token) facade->setFirebaseToken(*token, std::nullopt);
      };
      instance_id->send("instanceIDWithHandler:", {std::move(handler)});
    });
  };
}

void TSRPushTokenManager::tryFetchingFirebaseFCMToken() {
  if (!ConfigFlag("allowFirebaseTokenFetch", true)) return;
  auto host = FirebaseHostOf(*platform_);
  if (!host->strategy_chosen) {
    host->strategy_chosen = true;
    FetchBlock fetch = tryFetchBlockFCMTokenFromMessagingProperty(*platform_);
    if (!fetch) fetch = tryFetchBlockFCMTokenFromMessagingIvar(*platform_);
    if (!fetch) fetch = tryFetchBlockFCMTokenFromInstanceID(*platform_);
    if (!fetch) TSR_LOG_WARN("Unable to automatically fetch Firebase token. %@", kFirebaseHint);
    host->fetch = std::move(fetch);
  }
  if (host->fetch) host->fetch(facade_.lock());
}

// --- The Firebase messaging delegate ---

void TSRPushTokenManager::setupFirebaseTokenCallbackHooks() {
  auto facade = facade_.lock();
  if (!facade) return;
  auto host = FirebaseHostOf(*platform_);
  host->setReceiver(facade_);
  if (host->hooks_set_up) return;
  host->hooks_set_up = true;
  if (!facade->environment().hostApp().swizzlingEnabled()) return;
  auto messaging = firMessagingInstance(*platform_);
  if (!messaging) return;
  Platform& platform = *platform_;
  TSRUtilitySafety::runWithTag(kHooksTag, [&] {
    if (!messaging->respondsToSelector("delegate")) {
      TSR_LOG_WARN(
          "FIRMessaging instance does not respond to 'delegate' selector. If you are using a newer/different "
          "version of Firebase: %@",
          kFirebaseHint);
    } else if (auto delegate = platform::HostObjectFrom(messaging->send("delegate"))) {
      // The app usually sets its delegate before the SDK starts.
      validateAndSwizzleFIRMessagingDelegate(platform, delegate);
    }
    swizzleSetFIRMessagingDelegate(platform, messaging);
  });
}

void TSRPushTokenManager::swizzleSetFIRMessagingDelegate(Platform& platform,
                                                         const std::shared_ptr<HostObject>& messaging) {
  if (!messaging) return;
  if (!messaging->respondsToSelector("setDelegate:")) {
    TSR_LOG_WARN(
        "FIRMessaging instance does not respond to 'setDelegate:' selector. If you are using a newer/different "
        "version of Firebase: %@",
        kFirebaseHint);
    return;
  }
  // The interception lives in the host's classes, which the host keeps; it
  // holds the host weakly so that it keeps nothing alive in return.
  std::weak_ptr<Platform> weak_platform = platform.shared_from_this();
  std::weak_ptr<FirebaseHost> weak_host = FirebaseHostOf(platform);
  auto previous = TSRSwizzler::replaceMethod(
      "setDelegate:", messaging->cls(),
      TSRSwizzler::afterPrevious([weak_platform, weak_host](std::any result, HostObject&, const HostArgs& args) {
        TSRUtilitySafety::runWithTag(kSetMessagingDelegateTag, [&] {
          auto delegate = args.empty() ? nullptr : platform::HostObjectFrom(args[0]);
          auto platform = weak_platform.lock();
          auto host = weak_host.lock();
          if (!delegate || !platform || !host || !host->claimFirstDelegate()) return;
          validateAndSwizzleFIRMessagingDelegate(*platform, delegate);
        });
        return result;
      }));
  if (!previous) TSR_LOG_WARN("Unable to swizzle FIRMessaging 'setDelegate:' method. %@", kFirebaseHint);
}

void TSRPushTokenManager::validateAndSwizzleFIRMessagingDelegate(Platform& platform,
                                                                 const std::shared_ptr<HostObject>& delegate) {
  if (!delegate) return;
  platform::HostRuntime* runtime = platform.hostRuntime();
  auto protocol = runtime ? runtime->lookUpProtocol("FIRMessagingDelegate") : nullptr;
  if (!protocol) {
    TSR_LOG_WARN("FIRMessagingDelegate protocol not found. %@", kFirebaseHint);
    return;
  }
  const auto& cls = delegate->cls();
  if (!FirebaseHostOf(platform)->claimDelegateClass(cls.get())) return;
  // A class may implement the callbacks without declaring the protocol:
  // worth a warning, not a reason to leave it alone.
  if (!cls->conformsToProtocol(*protocol)) {
    TSR_LOG_WARN("FIRMessaging delegate class %@ does not conform to FIRMessagingDelegate protocol. %@",
                 cls->name(), kFirebaseHint);
  }
  bool declared = false;
  bool replaced = false;
  for (const char* selector : {kReceiveTokenSelector, kRefreshTokenSelector}) {
    if (!protocol->declaresInstanceMethod(selector)) continue;
    declared = true;
    if (swizzleFIRMessagingDelegate(platform, delegate, selector)) replaced = true;
  }
  if (!declared) {
    TSR_LOG_WARN("FIRMessagingDelegate protocol does not define expected token callbacks. %@", kFirebaseHint);
  } else if (!replaced) {
    TSR_LOG_WARN("FIRMessagingDelegate class %@ does not implement expected token callbacks. %@", cls->name(),
                 kFirebaseHint);
  }
}

bool TSRPushTokenManager::swizzleFIRMessagingDelegate(Platform& platform, const std::shared_ptr<HostObject>& delegate,
                                                      const std::string& selector) {
  if (!delegate) return false;
  std::weak_ptr<FirebaseHost> weak_host = FirebaseHostOf(platform);
  auto previous = TSRSwizzler::replaceMethod(
      selector, delegate->cls(),
      TSRSwizzler::afterPrevious([weak_host](std::any result, HostObject&, const HostArgs& args) {
        TSRUtilitySafety::runWithTag(kDelegateTag, [&] {
          auto host = weak_host.lock();
          auto facade = host ? host->receiver() : nullptr;
          const std::string* token = platform::HostArg<std::string>(args, 1);
          if (facade) facade->setFirebaseToken(token ? *token : std::string(), true);
        });
        return result;
      }));
  return previous != nullptr;
}

}  // namespace tessarin

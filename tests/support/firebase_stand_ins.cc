#include "support/firebase_stand_ins.h"

#include "push/push_token_manager.h"

namespace tessarin::testing {

using platform::HostArgs;
using platform::HostObject;
using platform::MakeImp;

FirebaseStandInOptions FirebaseStandInOptions::None() {
  FirebaseStandInOptions none;
  none.messagingClass = none.messagingClassMethod = none.messagingInstance = false;
  none.fcmTokenProperty = none.defaultFcmTokenIvar = none.delegateGetter = none.setDelegate = false;
  none.instanceIDClass = none.instanceIDClassMethod = none.instanceIDInstance = none.instanceIDWithHandler = false;
  none.delegateProtocol = none.protocolDeclaresReceive = none.protocolDeclaresRefresh = false;
  return none;
}

namespace {

std::any TokenValue(const std::optional<std::string>& token) { return token ? std::any(*token) : std::any(); }

}  // namespace

FirebaseStandIns::FirebaseStandIns(platform::HostRuntime& runtime, FirebaseStandInOptions options)
    : runtime(runtime) {
  auto root = runtime.lookUpClass("NSObject");
  if (!root) root = runtime.defineClass("NSObject", nullptr);

  if (options.messagingClass) {
    auto cls = runtime.defineClass("FIRMessaging", root);
    if (options.defaultFcmTokenIvar) cls->declareIvar("_defaultFcmToken");
    if (options.fcmTokenProperty) {
      cls->addMethod("FCMToken", MakeImp([this](HostObject&, const HostArgs&) { return TokenValue(token_); }));
    }
    // Firebase keeps its delegate in "_delegate" whichever accessors it has.
    if (options.delegateGetter) {
      cls->addMethod("delegate", MakeImp([](HostObject& self, const HostArgs&) { return self.ivar("_delegate"); }));
    }
    if (options.setDelegate) {
      cls->addMethod("setDelegate:", MakeImp([](HostObject& self, const HostArgs& args) {
                       self.setIvar("_delegate", args.empty() ? std::any() : args[0]);
                       return std::any();
                     }));
    }
    messaging = std::make_shared<HostObject>(cls);
    if (options.messagingClassMethod) {
      bool answers = options.messagingInstance;
      cls->addClassMethod("messaging", MakeImp([this, answers](HostObject&, const HostArgs&) {
                            return answers ? std::any(messaging) : std::any();
                          }));
    }
  }

  if (options.instanceIDClass) {
    auto result_class = runtime.defineClass("FIRInstanceIDResult", root);
    result_class->addMethod("token",
                            MakeImp([](HostObject& self, const HostArgs&) { return self.ivar("_token"); }));
    auto cls = runtime.defineClass("FIRInstanceID", root);
    if (options.instanceIDWithHandler) {
      cls->addMethod("instanceIDWithHandler:",
                     MakeImp([this, result_class](HostObject&, const HostArgs& args) {
                       ++instanceIDHandlerCalls;
                       const auto* handler = platform::HostArg<FIRInstanceIDResultHandler>(args, 0);
                       if (!handler || !*handler) return std::any();
                       auto result = std::make_shared<HostObject>(result_class);
                       result->setIvar("_token", TokenValue(token_));
                       (*handler)(std::shared_ptr<HostObject>(result), std::any());
                       return std::any();
                     }));
    }
    instanceID = std::make_shared<HostObject>(cls);
    if (options.instanceIDClassMethod) {
      bool answers = options.instanceIDInstance;
      cls->addClassMethod("instanceID", MakeImp([this, answers](HostObject&, const HostArgs&) {
                            return answers ? std::any(instanceID) : std::any();
                          }));
    }
  }

  if (options.delegateProtocol) {
    std::vector<std::string> optional;
    if (options.protocolDeclaresReceive) optional.push_back(kReceiveTokenSelector);
    if (options.protocolDeclaresRefresh) optional.push_back(kRefreshTokenSelector);
    runtime.defineProtocol("FIRMessagingDelegate", {}, optional);
  }
}

void FirebaseStandIns::setToken(std::optional<std::string> token) {
  token_ = std::move(token);
  if (messaging) messaging->setIvar("_defaultFcmToken", TokenValue(token_));
}

std::shared_ptr<platform::HostClass> FirebaseStandIns::defineDelegateClass(const std::string& name, bool receive,
                                                                          bool refresh, bool conforms) {
  auto cls = runtime.defineClass(name, "NSObject");
  if (!cls) return nullptr;
  for (auto [implemented, selector] : {std::pair{receive, kReceiveTokenSelector}, std::pair{refresh, kRefreshTokenSelector}}) {
    if (!implemented) continue;
    std::string sel = selector;
    cls->addMethod(sel, MakeImp([this, sel](HostObject&, const HostArgs& args) {
                     const auto* token = platform::HostArg<std::string>(args, 1);
                     appCallbacks.push_back(sel + " " + (token ? *token : "(nil)"));
                     return std::any();
                   }));
  }
  if (conforms) cls->addProtocol(runtime.lookUpProtocol("FIRMessagingDelegate"));
  return cls;
}

std::shared_ptr<HostObject> FirebaseStandIns::makeDelegate(const std::string& className) {
  auto cls = runtime.lookUpClass(className);
  return cls ? std::make_shared<HostObject>(cls) : nullptr;
}

void FirebaseStandIns::setDelegate(const std::shared_ptr<HostObject>& delegate) {
  if (messaging) messaging->send("setDelegate:", {delegate ? std::any(delegate) : std::any()});
}

void FirebaseStandIns::deliverToken(const std::string& token, const std::string& selector) {
  if (!messaging) return;
  auto value = messaging->ivar("_delegate");
  auto* delegate = std::any_cast<std::shared_ptr<HostObject>>(&value);
  if (!delegate || !*delegate || !(*delegate)->respondsToSelector(selector)) return;
  (*delegate)->send(selector, {messaging, token});
}

}  // namespace tessarin::testing

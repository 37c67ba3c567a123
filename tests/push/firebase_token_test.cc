// The FCM token by reflection and the Firebase messaging delegate's
// interception, against stand-ins that are present, partly present or absent.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "push/push_token_manager.h"
#include "support/firebase_stand_ins.h"
#include "support/push_token_host.h"

namespace tessarin {
namespace {

using testing::FirebaseStandInOptions;
using testing::FirebaseStandIns;
using testing::kReceiveTokenSelector;
using testing::kRefreshTokenSelector;

const std::string kHint =
    "Please see Tessarin+Swizzling.setFirebaseToken method doc on when to additionally call the method to ensure "
    "timely token updates.";

class FirebaseTokenTest : public testing::PushHostTest {
 protected:
  FirebaseStandIns& Firebase(FirebaseStandInOptions options = {}) {
    firebase = std::make_unique<FirebaseStandIns>(sim->app().runtime(), options);
    return *firebase;
  }
  void Restart() {
    facade->stop();
    sim->runUntilIdle();
    Start();
  }
  std::string GcmReport(const std::string& token) const { return R"({"GCM":{"token":")" + token + R"("}})"; }

  std::unique_ptr<FirebaseStandIns> firebase;
};

// --- Reading the token ---

TEST_F(FirebaseTokenTest, TheFirstWayThatWorksIsChosenOnceAndUsedAtEveryStart) {
  struct Case {
    const char* name;
    FirebaseStandInOptions options;
    int handlerCalls;  // instance-ID requests over two starts
  };
  FirebaseStandInOptions property;
  FirebaseStandInOptions ivar;
  ivar.fcmTokenProperty = false;
  FirebaseStandInOptions instance_id = ivar;
  instance_id.defaultFcmTokenIvar = false;
  for (const Case& c : {Case{"property", property, 0}, Case{"ivar", ivar, 0}, Case{"instanceID", instance_id, 2}}) {
    SCOPED_TRACE(c.name);
    sim = std::make_shared<platform::sim::SimPlatform>();
    Make(/*swizzling=*/false);
    Firebase(c.options).setToken("fcm-1");
    Start();
    EXPECT_EQ(Reports(), std::vector<std::string>{GcmReport("fcm-1")});

    // Chosen once: a later start reads the same way again, and a changed
    // token is reported.
    firebase->setToken("fcm-2");
    Restart();
    EXPECT_EQ(Reports().back(), R"({"GCM":{"token":"fcm-2","previous":"fcm-1"}})");
    EXPECT_EQ(firebase->instanceIDHandlerCalls, c.handlerCalls);
    EXPECT_EQ(log.countContaining("Unable to automatically fetch Firebase token"), 0);
    log.clear();
  }
}

TEST_F(FirebaseTokenTest, NoFirebaseAtAllWarnsOnceWithTheHintAndLeavesTheTokenToTheApp) {
  Make(/*swizzling=*/true);
  Firebase(FirebaseStandInOptions::None());
  Start();
  Restart();
  EXPECT_EQ(log.count("Class FIRMessaging not found. If you are using a newer/different version of Firebase: " + kHint,
                      TSRLogLevelWarn),
            1);
  EXPECT_EQ(log.count("FIRInstanceID class does not respond to 'instanceID' selector", TSRLogLevelDebug), 1);
  EXPECT_EQ(log.count("FIRInstanceID class does not respond to expected selectors", TSRLogLevelDebug), 1);
  EXPECT_EQ(log.count("Unable to automatically fetch Firebase token. " + kHint, TSRLogLevelWarn), 1);
  EXPECT_TRUE(Reports().empty());

  // The app's own report still works (swizzling is on: the gated form).
  facade->setFirebaseToken("fcm-app", true);
  sim->runUntilIdle();
  EXPECT_EQ(Reports(), std::vector<std::string>{GcmReport("fcm-app")});
}

TEST_F(FirebaseTokenTest, EachMissingFirebasePieceHasItsOwnLine) {
  struct Case {
    const char* name;
    FirebaseStandInOptions options;
    std::vector<std::string> lines;
  };
  FirebaseStandInOptions no_class_method;
  no_class_method.messagingClassMethod = false;
  no_class_method.instanceIDClass = false;
  FirebaseStandInOptions nil_messaging;
  nil_messaging.messagingInstance = false;
  nil_messaging.instanceIDInstance = false;
  FirebaseStandInOptions no_handler;
  no_handler.messagingClass = false;
  no_handler.instanceIDWithHandler = false;
  const Case cases[] = {
      {"no class method",
       no_class_method,
       {"FIRMessaging class does not respond to 'messaging' selector. If you are using a newer/different version of "
        "Firebase: " + kHint,
        "FIRInstanceID class does not respond to 'instanceID' selector",
        "FIRInstanceID class does not respond to expected selectors", "Unable to automatically fetch Firebase token. " + kHint}},
      {"nil instances",
       nil_messaging,
       {"FIRMessaging class 'messaging' selector returned nil. Maybe Firebase hasn't been configured. Or if you are "
        "using a newer/different version of Firebase: " + kHint,
        "FIRInstanceID class 'instanceID' selector returned nil", "FIRInstanceID class does not respond to expected selectors",
        "Unable to automatically fetch Firebase token. " + kHint}},
      {"no handler method",
       no_handler,
       {"Class FIRMessaging not found. If you are using a newer/different version of Firebase: " + kHint,
        "FIRInstanceID class does not respond to expected selectors", "Unable to automatically fetch Firebase token. " + kHint}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    sim = std::make_shared<platform::sim::SimPlatform>();
    Make(/*swizzling=*/false);
    Firebase(c.options).setToken("fcm-1");
    log.clear();
    Start();
    std::vector<std::string> firebase_lines;
    for (const auto& message : log.messages()) {
      if (message.find("FIR") != std::string::npos || message.find("Firebase") != std::string::npos) {
        firebase_lines.push_back(message);
      }
    }
    EXPECT_EQ(firebase_lines, c.lines);
    EXPECT_TRUE(Reports().empty());
  }
}

TEST_F(FirebaseTokenTest, NoFetchWhenTheConfigurationForbidsIt) {
  Make(/*swizzling=*/false);
  Firebase().setToken("fcm-1");
  Start(Json{{"allowFirebaseTokenFetch", false}});
  EXPECT_TRUE(Reports().empty());
  EXPECT_EQ(log.countContaining("FIR"), 0);
  EXPECT_EQ(log.countContaining("Unable to automatically fetch"), 0);
}

// --- The messaging delegate ---

TEST_F(FirebaseTokenTest, ADelegateSetBeforeOrAfterTheStartHasItsCallbacksInterceptedAfterTheAppsOwn) {
  for (bool before : {true, false}) {
    SCOPED_TRACE(before ? "set before the start" : "set after the start");
    sim = std::make_shared<platform::sim::SimPlatform>();
    Make(/*swizzling=*/true);
    FirebaseStandInOptions options;
    options.fcmTokenProperty = options.defaultFcmTokenIvar = options.instanceIDClass = false;  // no fetching
    auto& fb = Firebase(options);
    fb.defineDelegateClass("AppMessagingDelegate", true, true);
    auto delegate = fb.makeDelegate("AppMessagingDelegate");
    if (before) fb.setDelegate(delegate);
    Start();
    if (!before) fb.setDelegate(delegate);

    fb.deliverToken("fcm-1");
    sim->runUntilIdle();
    EXPECT_EQ(fb.appCallbacks, std::vector<std::string>{std::string(kReceiveTokenSelector) + " fcm-1"});
    EXPECT_EQ(Reports(), std::vector<std::string>{GcmReport("fcm-1")});
    fb.deliverToken("fcm-2", kRefreshTokenSelector);
    sim->runUntilIdle();
    EXPECT_EQ(fb.appCallbacks.size(), 2u);
    EXPECT_EQ(Reports().back(), R"({"GCM":{"token":"fcm-2","previous":"fcm-1"}})");

    // Setting the same delegate again does not stack a second interception.
    fb.setDelegate(delegate);
    Restart();
    std::size_t reports = Reports().size();
    fb.deliverToken("fcm-3");
    sim->runUntilIdle();
    EXPECT_EQ(Reports().size(), reports + 1);
    EXPECT_EQ(log.countContaining("FIRMessaging"), 0);
  }
}

TEST_F(FirebaseTokenTest, OnlyTheFirstNonNilDelegateIsTakenOn) {
  Make(/*swizzling=*/true);
  auto& fb = Firebase();
  fb.defineDelegateClass("FirstDelegate", true, true);
  fb.defineDelegateClass("SecondDelegate", true, true);
  Start();  // no token yet, so nothing is fetched
  fb.setDelegate(nullptr);
  fb.setDelegate(fb.makeDelegate("FirstDelegate"));
  fb.setDelegate(fb.makeDelegate("SecondDelegate"));
  std::size_t reports = Reports().size();
  fb.deliverToken("fcm-second");
  sim->runUntilIdle();
  EXPECT_EQ(Reports().size(), reports);  // SecondDelegate was left alone
  EXPECT_EQ(fb.appCallbacks.size(), 1u);
  fb.setDelegate(fb.makeDelegate("FirstDelegate"));
  fb.deliverToken("fcm-first");
  sim->runUntilIdle();
  EXPECT_EQ(Reports().back(), R"({"GCM":{"token":"fcm-first"}})");
}

TEST_F(FirebaseTokenTest, DelegatesAndProtocolsThatLackPiecesGetWhatTheyHaveInterceptedAndAWarning) {
  struct Case {
    const char* name;
    FirebaseStandInOptions options;
    bool receive, refresh, conforms;
    std::vector<std::string> warnings;
    bool receiveReported;
  };
  FirebaseStandInOptions full;
  full.fcmTokenProperty = full.defaultFcmTokenIvar = full.instanceIDClass = false;
  FirebaseStandInOptions no_protocol = full;
  no_protocol.delegateProtocol = false;
  FirebaseStandInOptions empty_protocol = full;
  empty_protocol.protocolDeclaresReceive = empty_protocol.protocolDeclaresRefresh = false;
  FirebaseStandInOptions refresh_only_protocol = full;
  refresh_only_protocol.protocolDeclaresReceive = false;
  const std::string unable = "Unable to automatically fetch Firebase token. " + kHint;
  const Case cases[] = {
      {"receive only", full, true, false, true, {unable}, true},
      {"implements none", full, false, false, true,
       {"FIRMessagingDelegate class AppDelegateClass does not implement expected token callbacks. " + kHint, unable}, false},
      {"does not conform", full, true, true, false,
       {"FIRMessaging delegate class AppDelegateClass does not conform to FIRMessagingDelegate protocol. " + kHint, unable},
       true},
      {"no protocol", no_protocol, true, true, true, {"FIRMessagingDelegate protocol not found. " + kHint, unable}, false},
      {"protocol declares neither", empty_protocol, true, true, true,
       {"FIRMessagingDelegate protocol does not define expected token callbacks. " + kHint, unable}, false},
      {"protocol declares only the other", refresh_only_protocol, true, false, true,
       {"FIRMessagingDelegate class AppDelegateClass does not implement expected token callbacks. " + kHint, unable},
       false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    sim = std::make_shared<platform::sim::SimPlatform>();
    Make(/*swizzling=*/true);
    auto& fb = Firebase(c.options);
    auto cls = fb.defineDelegateClass("AppDelegateClass", c.receive, c.refresh, c.conforms);
    fb.setDelegate(fb.makeDelegate("AppDelegateClass"));
    log.clear();
    Start();
    std::vector<std::string> warnings;
    for (const auto& record : log.records()) {
      if (record.level == TSRLogLevelWarn) warnings.push_back(record.message);
    }
    EXPECT_EQ(warnings, c.warnings);
    // A callback the class lacks is never added to it.
    EXPECT_EQ(cls->ownMethod(kRefreshTokenSelector) != nullptr, c.refresh);
    fb.deliverToken("fcm-1");
    sim->runUntilIdle();
    EXPECT_EQ(Reports().size(), c.receiveReported ? 1u : 0u);
    EXPECT_EQ(fb.appCallbacks.size(), c.receive ? 1u : 0u);  // the app's own code always runs
  }
}

TEST_F(FirebaseTokenTest, AMessagingObjectWithoutDelegateAccessorsIsWarnedAbout) {
  FirebaseStandInOptions no_getter;
  no_getter.delegateGetter = false;
  no_getter.fcmTokenProperty = no_getter.defaultFcmTokenIvar = no_getter.instanceIDClass = false;
  FirebaseStandInOptions no_setter = no_getter;
  no_setter.delegateGetter = true;
  no_setter.setDelegate = false;

  // Without "delegate" the current delegate cannot be read, but one set
  // later is still taken on.
  Make(/*swizzling=*/true);
  auto& fb = Firebase(no_getter);
  fb.defineDelegateClass("AppMessagingDelegate", true, false);
  Start();
  EXPECT_EQ(log.count("FIRMessaging instance does not respond to 'delegate' selector. If you are using a "
                      "newer/different version of Firebase: " + kHint,
                      TSRLogLevelWarn),
            1);
  fb.setDelegate(fb.makeDelegate("AppMessagingDelegate"));
  fb.deliverToken("fcm-1");
  sim->runUntilIdle();
  EXPECT_EQ(Reports(), std::vector<std::string>{GcmReport("fcm-1")});

  sim = std::make_shared<platform::sim::SimPlatform>();
  log.clear();
  Make(/*swizzling=*/true);
  Firebase(no_setter);
  Start();
  EXPECT_EQ(log.count("FIRMessaging instance does not respond to 'setDelegate:' selector. If you are using a "
                      "newer/different version of Firebase: " + kHint,
                      TSRLogLevelWarn),
            1);
}

// --- Each token exactly once, whoever reports it ---

TEST_F(FirebaseTokenTest, EachTokenIsHandledOnceWhetherTheAppTheInterceptionOrBothReportIt) {
  for (bool swizzling : {true, false}) {
    SCOPED_TRACE(swizzling ? "swizzling on" : "swizzling off");
    sim = std::make_shared<platform::sim::SimPlatform>();
    Make(swizzling);
    FirebaseStandInOptions options;
    options.fcmTokenProperty = options.defaultFcmTokenIvar = options.instanceIDClass = false;
    auto& fb = Firebase(options);
    // The app forwards tokens itself, as an app written for either setting would.
    auto cls = fb.defineDelegateClass("ForwardingDelegate", true, false);
    std::weak_ptr<TessarinImpl> weak = facade;
    cls->replaceMethod(kReceiveTokenSelector,
                       platform::MakeImp([weak](platform::HostObject&, const platform::HostArgs& args) {
                         if (auto facade = weak.lock()) facade->setFirebaseToken(*platform::HostArg<std::string>(args, 1));
                         return std::any();
                       }));
    fb.setDelegate(fb.makeDelegate("ForwardingDelegate"));
    Start();

    // Firebase: the delegate callback reports through the app and, with
    // swizzling on, through the interception as well.
    std::size_t asked = sim->app().notification_settings_requests;
    fb.deliverToken("fcm-1");
    sim->runUntilIdle();
    EXPECT_EQ(sim->app().notification_settings_requests, asked + 1);
    EXPECT_EQ(Reports(), std::vector<std::string>{GcmReport("fcm-1")});

    // APNs: the app's own call and the delegate interception's call; only
    // the one the switch selects acts.
    asked = sim->app().notification_settings_requests;
    const std::string token("\x0a\x0b", 2);
    facade->setAPNSToken(token);        // the app's own call
    facade->setAPNSToken(token, true);  // what the app-delegate interception passes
    sim->runUntilIdle();
    EXPECT_EQ(sim->app().notification_settings_requests, asked + 1);
    EXPECT_EQ(Reports().size(), 2u);
    EXPECT_EQ(Manager()->pushTokens().value("APNS_SANDBOX", Json::object()).value("token", ""), "0a0b");

    // The SDK's own fetch acts whatever the switch.
    facade->setFirebaseToken("fcm-fetched", std::nullopt);
    sim->runUntilIdle();
    EXPECT_EQ(Reports().size(), 3u);
  }
}

}  // namespace
}  // namespace tessarin

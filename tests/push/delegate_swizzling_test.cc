// The interception of the app delegate and of the notification centre's
// delegate: values reach the façade exactly once whichever way the
// swizzling switch is set, the app's own code runs first, and the app's
// classes gain no method they did not have.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sim/sim_notifications.h"
#include "platform/user_notifications.h"
#include "support/log_capture.h"
#include "support/push_host.h"

namespace tessarin {
namespace {

using platform::HostArg;
using platform::HostArgs;
using platform::HostObject;
using platform::kDidReceiveNotificationResponseSelector;
using platform::kUNNotificationDefaultActionIdentifier;
using platform::sim::CurrentNotificationCenter;
using platform::sim::DeliverNotificationResponse;
using platform::sim::MakeNotificationResponse;
using platform::sim::SendToAppDelegate;
using testing::PushHost;

const std::string kToken = "application:didRegisterForRemoteNotificationsWithDeviceToken:";
const std::string kRemote = "application:didReceiveRemoteNotification:";
const std::string kRemoteFetch = "application:didReceiveRemoteNotification:fetchCompletionHandler:";
const std::string kAction = "application:handleActionWithIdentifier:forRemoteNotification:completionHandler:";
const std::string kActionInfo =
    "application:handleActionWithIdentifier:forRemoteNotification:withResponseInfo:completionHandler:";
const std::string kOpenURL = "application:openURL:options:";
const std::string kOpenURLSource = "application:openURL:sourceApplication:annotation:";
const std::string kHandleOpenURL = "application:handleOpenURL:";
const std::string kResponse = kDidReceiveNotificationResponseSelector;
const std::vector<std::string> kAppDelegateCallbacks = {kToken,      kRemote,  kRemoteFetch,   kAction,
                                                        kActionInfo, kOpenURL, kOpenURLSource, kHandleOpenURL};

// What each URL callback is given after the application and the URL.
HostArgs URLArgs(const std::string& selector, const std::string& url) {
  if (selector == kOpenURL) return {url, Json{{"UIApplicationOpenURLOptionsSourceApplicationKey", "com.example"}}};
  if (selector == kOpenURLSource) return {url, std::string("com.example"), std::any()};
  return {url};
}

const std::string kTokenBytes("\x01\xab\xff", 3);
const std::string kTokenReported = "push.token:1:01abff";  // a simulator build reports to the sandbox

Json Payload(const std::string& experienceId = "e1") {
  return Json{{"tsr-eid", experienceId}, {"aps", {{"alert", "New arrivals"}}}};
}

void SetCenterDelegate(PushHost& host, const std::shared_ptr<HostObject>& delegate) {
  CurrentNotificationCenter(host.runtime())->send("setDelegate:", {std::any(delegate)});
}

bool Respond(PushHost& host, const Json& userInfo, const std::string& action = kUNNotificationDefaultActionIdentifier,
             bool remote = true) {
  auto response = MakeNotificationResponse(host.runtime(), userInfo, action, remote);
  return DeliverNotificationResponse(host.runtime(), response);
}

// An app that forwards what its delegates receive, as it must when
// swizzling is off: with swizzling on the SDK ignores these calls.
std::shared_ptr<HostObject> ForwardingAppDelegate(PushHost& host) {
  return host.MakeDelegate("ForwardingAppDelegate", kAppDelegateCallbacks,
                           [&host](const std::string& selector, const HostArgs& args) -> std::any {
                             if (selector == kToken) {
                               host.facade->setAPNSToken(*HostArg<std::string>(args, 1));
                             } else if (selector == kRemote || selector == kRemoteFetch) {
                               host.facade->handleNotification(*HostArg<Json>(args, 1), std::nullopt);
                             } else if (selector == kAction || selector == kActionInfo) {
                               const std::string* action = HostArg<std::string>(args, 1);
                               host.facade->handleNotification(*HostArg<Json>(args, 2),
                                                               action ? *action : std::string());
                             } else {
                               return host.facade->handleOpenURL(*HostArg<std::string>(args, 1));
                             }
                             return {};
                           });
}

std::shared_ptr<HostObject> ForwardingCenterDelegate(PushHost& host) {
  return host.MakeDelegate("ForwardingCenterDelegate", {kResponse}, [&host](const std::string&, const HostArgs& args) {
    auto response = *HostArg<std::shared_ptr<HostObject>>(args, 1);
    auto notification = std::any_cast<std::shared_ptr<HostObject>>(response->send("notification"));
    auto request = std::any_cast<std::shared_ptr<HostObject>>(notification->send("request"));
    auto content = std::any_cast<std::shared_ptr<HostObject>>(request->send("content"));
    host.facade->handleNotification(std::any_cast<Json>(content->send("userInfo")),
                                    std::any_cast<std::string>(response->send("actionIdentifier")));
    (*HostArg<std::function<void()>>(args, 2))();
    return std::any();
  });
}

TEST(DelegateSwizzlingTest, ATokenIsReportedOnceAfterTheAppsOwnCodeWhateverTheSwitch) {
  for (bool swizzling : {true, false}) {
    SCOPED_TRACE(swizzling ? "swizzling on" : "swizzling off");
    PushHost host(swizzling);
    host.Start();
    host.sim->app().setDelegate(ForwardingAppDelegate(host));
    ASSERT_TRUE(SendToAppDelegate(host.sim->app(), kToken, {kTokenBytes}));
    host.sim->runUntilIdle();
    EXPECT_EQ(host.Journal(), (std::vector<std::string>{"app:" + kToken, kTokenReported}));
  }
}

TEST(DelegateSwizzlingTest, ANotificationCountsOneClickThroughEitherDelegateWhateverTheSwitch) {
  for (bool swizzling : {true, false}) {
    SCOPED_TRACE(swizzling ? "swizzling on" : "swizzling off");
    PushHost host(swizzling);
    // Launched by the notification: not yet active, so the legacy
    // callbacks count as the user opening it.
    host.Start(/*launch=*/false);
    host.sim->app().setDelegate(ForwardingAppDelegate(host));
    // The centre holds its delegate weakly; the app keeps it.
    auto center_delegate = ForwardingCenterDelegate(host);
    SetCenterDelegate(host, center_delegate);

    auto delivered = [&](const std::string& what, bool sent) {
      SCOPED_TRACE(what);
      ASSERT_TRUE(sent);
      host.sim->runUntilIdle();
      EXPECT_EQ(host.Journal().back(), "queue.addEvent");
      EXPECT_EQ(host.Count("queue.addEvent"), 1);
      ASSERT_EQ(host.Stats().size(), 1u);
      EXPECT_EQ(host.Stats()[0], Json::parse(R"([{"id":"e1","type":"e","stat":"c"}])"));
      host.env->queue->events.clear();
      host.env->journal->clear();
    };
    auto& app = host.sim->app();
    std::function<void()> done = [] {};
    std::function<void(long)> fetched = [](long) {};
    delivered("response", Respond(host, Payload()));
    delivered("remote", SendToAppDelegate(app, kRemote, {Payload()}).has_value());
    delivered("remote with fetch", SendToAppDelegate(app, kRemoteFetch, {Payload(), fetched}).has_value());
    delivered("action", SendToAppDelegate(app, kAction, {std::string("reply"), Payload(), done}).has_value());
    delivered("action with response info",
              SendToAppDelegate(app, kActionInfo, {std::any(), Payload(), Json::object(), done}).has_value());
  }
}

TEST(DelegateSwizzlingTest, AnSdkUrlIsHandledOnceThroughEachUrlCallbackWhateverTheSwitch) {
  for (bool swizzling : {true, false}) {
    SCOPED_TRACE(swizzling ? "swizzling on" : "swizzling off");
    PushHost host(swizzling);
    host.Start();
    host.sim->app().setDelegate(ForwardingAppDelegate(host));
    std::size_t alerts = 0;
    for (const auto& selector : {kOpenURL, kOpenURLSource, kHandleOpenURL}) {
      SCOPED_TRACE(selector);
      auto answer = SendToAppDelegate(host.sim->app(), selector, URLArgs(selector, "tsr://test/all"));
      host.sim->runUntilIdle();
      ASSERT_TRUE(answer.has_value());
      EXPECT_TRUE(std::any_cast<bool>(*answer));
      // Each selection shows its alert once.
      EXPECT_EQ(host.sim->alerts().shown().size(), ++alerts);
      EXPECT_EQ(host.facade->testExperienceId(), "true");
    }
  }
}

TEST(DelegateSwizzlingTest, AUrlCallbackAnswersWhetherTheAppOrTheSdkHandledTheUrl) {
  PushHost host(true);
  host.Start();
  bool app_answer = false;
  std::vector<std::string> urls_seen;
  auto delegate = host.MakeDelegate("URLAppDelegate", {kOpenURL, kOpenURLSource, kHandleOpenURL},
                                    [&](const std::string&, const HostArgs& args) {
                                      urls_seen.push_back(*HostArg<std::string>(args, 1));
                                      return std::any(app_answer);
                                    });
  host.sim->app().setDelegate(delegate);
  for (const auto& selector : {kOpenURL, kOpenURLSource, kHandleOpenURL}) {
    SCOPED_TRACE(selector);
    auto open = [&](const std::string& url, bool app) {
      app_answer = app;
      auto answer = SendToAppDelegate(host.sim->app(), selector, URLArgs(selector, url));
      host.sim->runUntilIdle();
      return std::any_cast<bool>(answer.value());
    };
    urls_seen.clear();
    EXPECT_FALSE(open("https://shop.example/p/1", false));
    EXPECT_TRUE(open("https://shop.example/p/1", true));
    EXPECT_TRUE(open("tsr://test/none", false));
    // The SDK hears of its URL even when the app claims it too.
    std::size_t alerts = host.sim->alerts().shown().size();
    EXPECT_TRUE(open("tsr://test/all", true));
    EXPECT_EQ(host.sim->alerts().shown().size(), alerts + 1);
    EXPECT_EQ(urls_seen, (std::vector<std::string>{"https://shop.example/p/1", "https://shop.example/p/1",
                                                   "tsr://test/none", "tsr://test/all"}));
  }
}

TEST(DelegateSwizzlingTest, SwizzlingOffInstallsNothing) {
  PushHost host(false);
  auto center_class = host.runtime().lookUpClass(platform::kUNUserNotificationCenterClass);
  auto set_delegate = center_class->ownMethod("setDelegate:");
  auto app_delegate = ForwardingAppDelegate(host);
  auto center_delegate = ForwardingCenterDelegate(host);
  std::map<std::string, platform::ImpPtr> before;
  for (const auto& selector : kAppDelegateCallbacks) before[selector] = app_delegate->cls()->ownMethod(selector);
  before[kResponse] = center_delegate->cls()->ownMethod(kResponse);

  host.Start();
  host.sim->app().setDelegate(app_delegate);
  SetCenterDelegate(host, center_delegate);
  EXPECT_EQ(center_class->ownMethod("setDelegate:"), set_delegate);
  for (const auto& [selector, imp] : before) {
    auto cls = selector == kResponse ? center_delegate->cls() : app_delegate->cls();
    EXPECT_EQ(cls->ownMethod(selector), imp) << selector;
  }
}

TEST(DelegateSwizzlingTest, ADelegateNeverGainsAMethodItLacks) {
  PushHost host(true);
  host.Start();
  auto app_delegate = host.MakeDelegate("TokenOnlyAppDelegate", {kToken});
  auto plain_token = app_delegate->cls()->ownMethod(kToken);
  auto center_delegate = host.MakeDelegate("SilentCenterDelegate", {"userNotificationCenter:willPresentNotification:"
                                                                     "withCompletionHandler:"});
  host.sim->app().setDelegate(app_delegate);
  SetCenterDelegate(host, center_delegate);

  EXPECT_NE(app_delegate->cls()->ownMethod(kToken), plain_token);  // the one it has is taken on
  for (const auto& selector : kAppDelegateCallbacks) {
    EXPECT_EQ(app_delegate->respondsToSelector(selector), selector == kToken) << selector;
  }
  EXPECT_FALSE(center_delegate->respondsToSelector(kResponse));
  EXPECT_FALSE(Respond(host, Payload()));
  EXPECT_TRUE(host.Stats().empty());
}

TEST(DelegateSwizzlingTest, OnlyTheFirstDelegateOfEachKindIsTakenOnAndOnlyOnce) {
  PushHost host(true);
  host.Start();
  auto first = host.MakeDelegate("FirstAppDelegate", {kToken});
  auto second = host.MakeDelegate("SecondAppDelegate", {kToken});
  auto& app = host.sim->app();
  app.setDelegate(first);
  app.setDelegate(first);  // set again: not taken on twice
  app.setDelegate(nullptr);
  app.setDelegate(second);
  ASSERT_TRUE(SendToAppDelegate(app, kToken, {kTokenBytes}));
  EXPECT_EQ(host.Journal(), std::vector<std::string>{"app:" + kToken});
  app.setDelegate(first);
  ASSERT_TRUE(SendToAppDelegate(app, kToken, {kTokenBytes}));
  EXPECT_EQ(host.Count(kTokenReported), 1);

  auto first_center = host.MakeDelegate("FirstCenterDelegate", {kResponse});
  auto second_center = host.MakeDelegate("SecondCenterDelegate", {kResponse});
  SetCenterDelegate(host, first_center);
  SetCenterDelegate(host, first_center);
  SetCenterDelegate(host, second_center);
  ASSERT_TRUE(Respond(host, Payload("e2")));
  EXPECT_TRUE(host.Stats().empty());
  SetCenterDelegate(host, first_center);
  ASSERT_TRUE(Respond(host, Payload("e3")));
  ASSERT_EQ(host.Stats().size(), 1u);
  EXPECT_EQ(host.Stats()[0][0]["id"], "e3");
}

TEST(DelegateSwizzlingTest, DelegatesSetBeforeTheSdkExistsAreTakenOn) {
  PushHost host(true);
  auto app_delegate = host.MakeDelegate("EarlyAppDelegate", {kToken});
  auto center_delegate = host.MakeDelegate("EarlyCenterDelegate", {kResponse});
  host.sim->app().setDelegate(app_delegate);
  SetCenterDelegate(host, center_delegate);
  host.Start();

  ASSERT_TRUE(SendToAppDelegate(host.sim->app(), kToken, {kTokenBytes}));
  ASSERT_TRUE(Respond(host, Payload()));
  EXPECT_EQ(host.Journal(), (std::vector<std::string>{"app:" + kToken, kTokenReported, "app:" + kResponse,
                                                      "dispatcher.register:Global", "queue.addEvent"}));
}

TEST(DelegateSwizzlingTest, AResponseToALocalNotificationIsNotTracked) {
  PushHost host(true);
  host.Start();
  auto delegate = host.MakeDelegate("CenterDelegate", {kResponse});
  SetCenterDelegate(host, delegate);
  ASSERT_TRUE(Respond(host, Payload(), kUNNotificationDefaultActionIdentifier, /*remote=*/false));
  EXPECT_EQ(host.Journal(), std::vector<std::string>{"app:" + kResponse});
  ASSERT_TRUE(Respond(host, Payload(), kUNNotificationDefaultActionIdentifier, /*remote=*/true));
  EXPECT_EQ(host.Stats().size(), 1u);
}

TEST(DelegateSwizzlingTest, AMalformedResponseIsLoggedAndTheAppCarriesOn) {
  PushHost host(true);
  host.Start();
  auto delegate = host.MakeDelegate("CenterDelegate", {kResponse});
  SetCenterDelegate(host, delegate);
  testing::LogCapture log(TSRLogLevelError);
  // Something that is not a response: it has no "notification".
  auto not_a_response = host.runtime().lookUpClass("UNNotificationContent");
  ASSERT_TRUE(DeliverNotificationResponse(host.runtime(), std::make_shared<HostObject>(not_a_response)));
  EXPECT_EQ(host.Journal(), std::vector<std::string>{"app:" + kResponse});
  EXPECT_EQ(log.countContaining("Tag: -[UNUserNotificationCenter(TessarinPrivate) tsr_swizzleDelegate:]_block_invoke"),
            1);
  EXPECT_EQ(log.countContaining("-[UNNotificationContent notification]: unrecognized selector"), 1);
}

}  // namespace
}  // namespace tessarin

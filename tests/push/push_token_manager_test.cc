#include "core/tessarin_impl.h"
#include "push/push_token_manager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/push_token_host.h"
#include "util/string_util.h"

namespace tessarin {
namespace {

using testing::PushHostTest;

// Raw token bytes and their hex text.
const std::string kTokenA("\x01\x02\xab\xcd", 4);
const std::string kTokenB("\x0e\x0f", 2);
const std::string kTokenC("\xff", 1);

class PushTokenManagerTest : public PushHostTest {
 protected:
  std::vector<std::string> PermissionLines() const {
    std::vector<std::string> lines;
    for (const auto& message : log.messages()) {
      if (message.rfind("Permission checks passed?", 0) == 0) lines.push_back(message);
    }
    return lines;
  }
};

TEST_F(PushTokenManagerTest, ChangedTokensAreReportedOnceAndTheReplacedOneRidesAlongOnce) {
  Make();
  Start();
  log.clear();
  DeliverAPNs(kTokenA);
  EXPECT_EQ(Reports(), std::vector<std::string>{R"({"APNS_SANDBOX":{"token":"0102abcd"}})"});
  EXPECT_TRUE(log.contains("Accepting token: 0102... for platform: APNS_SANDBOX", TSRLogLevelInfo));
  EXPECT_TRUE(log.contains("Push token update event for platforms: [\"APNS_SANDBOX\"] ", TSRLogLevelInfo));
  const Json& event = env->queue->events.back();
  EXPECT_EQ(event.value(".se", ""), "ptu");
  EXPECT_EQ(event.value(".mbv", ""), "1.5.0");  // a full base record

  // The same token again: no permission check, no event.
  std::size_t asked = sim->app().notification_settings_requests;
  DeliverAPNs(kTokenA);
  EXPECT_EQ(sim->app().notification_settings_requests, asked);
  EXPECT_EQ(Reports().size(), 1u);

  // Tokens delivered while the settings are still being asked all pass the
  // first comparison: a repeat must still be reported only once, and two
  // different tokens in a row are two changes.
  facade->setAPNSToken(kTokenB, true);
  facade->setAPNSToken(kTokenB, true);
  facade->setAPNSToken(kTokenC, true);
  EXPECT_EQ(sim->app().notification_settings_requests, asked + 3);
  sim->runUntilIdle();
  EXPECT_EQ(log.countContaining("Accepting token"), 3);
  EXPECT_EQ(Reports(), (std::vector<std::string>{R"({"APNS_SANDBOX":{"token":"0102abcd"}})",
                                                 R"({"APNS_SANDBOX":{"token":"0e0f","previous":"0102abcd"}})",
                                                 R"({"APNS_SANDBOX":{"token":"ff","previous":"0e0f"}})"}));
  // Short tokens show all but their last character, at most four.
  EXPECT_TRUE(log.contains("Accepting token: f... for platform: APNS_SANDBOX"));

  // A Firebase token joins the APNs one; the APNs one's "previous" is gone.
  facade->setFirebaseToken("fcm-token-1", std::nullopt);
  sim->runUntilIdle();
  EXPECT_EQ(Reports().back(), R"({"APNS_SANDBOX":{"token":"ff"},"GCM":{"token":"fcm-token-1"}})");
  EXPECT_TRUE(log.contains("Push token update event for platforms: [\"APNS_SANDBOX\",\"GCM\"] "));

  // A new user gets the current tokens linked to them, without "previous".
  facade->setUserId("user-7");
  sim->runUntilIdle();
  EXPECT_EQ(Reports().back(), R"({"APNS_SANDBOX":{"token":"ff"},"GCM":{"token":"fcm-token-1"}})");
  EXPECT_EQ(env->queue->events.back().value("userId", ""), "user-7");
}

TEST_F(PushTokenManagerTest, AfterAResetTheUpdateGoesToTheNewQueue) {
  Make();
  Start();
  auto dropped = env->queue;
  facade->reset();
  sim->runUntilIdle();
  Start();
  ASSERT_NE(env->queue, dropped);
  DeliverAPNs(kTokenA);
  EXPECT_EQ(Reports(), std::vector<std::string>{R"({"APNS_SANDBOX":{"token":"0102abcd"}})"});
  for (const Json& event : dropped->events) EXPECT_NE(event.value(".se", ""), "ptu");
}

TEST_F(PushTokenManagerTest, SettingsDecideWhetherATokenIsKeptAndTheAnswerComesLater) {
  struct Case {
    platform::NotificationSettings settings;
    bool passes;
    const char* reason;
  };
  const Case cases[] = {
      {{0, 2, 2, 1}, false, "Notification authorizationStatus denied or not determined."},
      {{1, 2, 2, 1}, false, "Notification authorizationStatus denied or not determined."},
      {{2, 1, 2, 1}, false, "Notification alertSetting not enabled."},
      {{2, 0, 2, 1}, false, "Notification alertSetting not enabled."},
      {{2, 2, 1, 0}, false,
       "Notification alertStyle none, and notificationCenterSetting not enabled. No way for user to see "
       "notification."},
      {{2, 2, 1, 1}, true, "iOS version >=10, notification settings sufficient."},  // banners only
      {{2, 2, 2, 0}, true, "iOS version >=10, notification settings sufficient."},  // notification centre only
      {{3, 2, 2, 1}, true, "iOS version >=10, notification settings sufficient."},  // provisional
      {{4, 2, 2, 2}, true, "iOS version >=10, notification settings sufficient."},  // ephemeral
  };
  Make();
  Start();
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reason);
    log.clear();
    sim->app().notification_settings = c.settings;
    // A fresh token each time, so only the settings decide.
    std::string token(1, static_cast<char>(0x10 + n));
    token += std::string(1, static_cast<char>(n++));
    std::size_t reports = Reports().size();
    facade->setAPNSToken(token, true);
    // The settings answer on their own queue: nothing is decided yet.
    EXPECT_EQ(log.countContaining("Permission checks passed?"), 0);
    sim->runUntilIdle();
    EXPECT_EQ(PermissionLines(), std::vector<std::string>{std::string("Permission checks passed? ") +
                                                          (c.passes ? "true" : "false") + ", " + c.reason});
    EXPECT_EQ(Reports().size(), reports + (c.passes ? 1 : 0));
    // A refused token is not kept: the old one stays current.
    const bool kept = Manager()->pushTokens().dump().find(TSRUtilityString::stringFromData(token)) != std::string::npos;
    EXPECT_EQ(kept, c.passes);
  }
}

TEST_F(PushTokenManagerTest, AnAppNotRegisteredHearsNoThenTheSettingsVerdictWhichDecides) {
  Make();
  sim->app().registered_for_remote_notifications = false;
  Start();
  log.clear();
  DeliverAPNs(kTokenA);
  EXPECT_EQ(PermissionLines(),
            (std::vector<std::string>{"Permission checks passed? false, App not registered for remote notifications.",
                                      "Permission checks passed? true, iOS version >=10, notification settings "
                                      "sufficient."}));
  EXPECT_EQ(Reports(), std::vector<std::string>{R"({"APNS_SANDBOX":{"token":"0102abcd"}})"});
}

TEST_F(PushTokenManagerTest, TokensWaitForTheStartSurviveAStopAndGoWhenDisabledOrSwitchedOff) {
  Make();
  // Before the start: kept quietly, reported by the start.
  DeliverAPNs(kTokenA);
  EXPECT_TRUE(Reports().empty());
  EXPECT_EQ(log.countContaining("Accepting token"), 0);
  Start();
  EXPECT_EQ(Reports(), std::vector<std::string>{R"({"APNS_SANDBOX":{"token":"0102abcd"}})"});
  EXPECT_TRUE(Manager()->running());

  // A stop keeps the token; the next start reports it again.
  facade->stop();
  sim->runUntilIdle();
  EXPECT_FALSE(Manager()->running());
  EXPECT_FALSE(Manager()->pushTokens().empty());
  Start();
  EXPECT_EQ(Reports().size(), 2u);

  // Switched off by the service: stopped, tokens gone, nothing reported.
  facade->config().setConfiguration(Json{{"usePushNotifications", false}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  sim->runUntilIdle();
  EXPECT_FALSE(Manager()->running());
  EXPECT_TRUE(Manager()->pushTokens().empty());
  DeliverAPNs(kTokenB);
  facade->setUserId("user-1");
  sim->runUntilIdle();
  EXPECT_EQ(Reports().size(), 2u);

  // Back on, then disabled: disabling forgets the tokens.
  facade->config().setConfiguration(Json{{"usePushNotifications", true}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  sim->runUntilIdle();
  EXPECT_TRUE(Manager()->running());
  EXPECT_EQ(Reports().back(), R"({"APNS_SANDBOX":{"token":"0e0f"}})");  // kept while off, sent at the start
  facade->setDisabled(true);
  sim->runUntilIdle();
  EXPECT_FALSE(Manager()->running());
  EXPECT_TRUE(Manager()->pushTokens().empty());
}

TEST_F(PushTokenManagerTest, ReRegisteringAppsGetTheTokenAgainAtEachStartAndNoneWhileStopped) {
  Make(/*swizzling=*/false);
  sim->app().device_token = kTokenA;
  // The app forwards the token itself, as it must with swizzling off.
  auto delegate_class = sim->app().runtime().defineClass("AppDelegate", "NSObject");
  std::weak_ptr<TessarinImpl> weak = facade;
  delegate_class->addMethod("application:didRegisterForRemoteNotificationsWithDeviceToken:",
                            platform::MakeImp([weak](platform::HostObject&, const platform::HostArgs& args) {
                              if (auto facade = weak.lock()) facade->setAPNSToken(*platform::HostArg<std::string>(args, 1));
                              return std::any();
                            }));
  sim->app().setDelegate(sim->app().makeObject("AppDelegate"));

  // While stopped, a re-registering app's tokens are not even checked.
  facade->config().setConfiguration(Json{{"apnsReregister", true}}, TSRConfig::kLayerServer);
  facade->setAPNSToken(kTokenB);
  sim->runUntilIdle();
  EXPECT_EQ(sim->app().notification_settings_requests, 0u);

  Start(Json{{"apnsReregister", true}});
  EXPECT_EQ(sim->app().remote_notification_registrations, 1u);
  EXPECT_EQ(Reports(), std::vector<std::string>{R"({"APNS_SANDBOX":{"token":"0102abcd"}})"});

  facade->stop();
  sim->runUntilIdle();
  Start();
  EXPECT_EQ(sim->app().remote_notification_registrations, 2u);
  // The kept token goes out at the start; the re-delivered one is the same.
  EXPECT_EQ(Reports().size(), 2u);

  // Not registered: nothing to re-deliver, so nothing is asked.
  facade->stop();
  sim->runUntilIdle();
  sim->app().registered_for_remote_notifications = false;
  Start();
  EXPECT_EQ(sim->app().remote_notification_registrations, 2u);
}

TEST_F(PushTokenManagerTest, UnsupportedPlatformsAndEmptyTokensAreRefusedBeforeAnyCheck) {
  Make();
  auto manager = Manager();
  ASSERT_TRUE(manager);
  manager->handlePushToken("abc", 7);
  EXPECT_FALSE(log.contains("Cannot handle token, unsupported platform: 7"));  // silent while stopped
  Start();
  manager->handlePushToken("abc", 7);
  manager->handlePushToken("", 0);
  sim->runUntilIdle();
  EXPECT_EQ(log.count("Cannot handle token, unsupported platform: 7", TSRLogLevelError), 1);
  EXPECT_EQ(sim->app().notification_settings_requests, 0u);
  EXPECT_TRUE(manager->pushTokens().empty());
}

}  // namespace
}  // namespace tessarin

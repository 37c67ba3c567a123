// When an opened notification counts as a click on its experience, and
// what the click reports.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/user_notifications.h"
#include "support/log_capture.h"
#include "support/push_host.h"
#include "tessarin/context.h"

namespace tessarin {
namespace {

using platform::kUNNotificationDefaultActionIdentifier;
using platform::kUNNotificationDismissActionIdentifier;
using testing::LogCapture;
using testing::PushHost;

Json Payload(const std::string& experienceId = "e1") {
  return Json{{"tsr-eid", experienceId}, {"aps", {{"alert", "New arrivals"}}}};
}
Json Silent() { return Json{{"tsr-eid", "e1"}, {"aps", {{"content-available", 1}}}}; }

const char* const kTracking = "Notification: Found experience [e1], tracking click";
const char* const kNotClicked = "Notification: Found experience [e1], but not clicked by user";

// The app handles notifications itself (swizzling off), so the public
// entry point is the one that acts.
class NotificationClickTrackingTest : public ::testing::Test {
 protected:
  // Whether the notification counted as a click; checks the log says so.
  bool Clicked(const Json& userInfo, const std::optional<std::string>& action) {
    log.clear();
    std::size_t before = host.Stats().size();
    host.facade->handleNotification(userInfo, action);
    host.sim->runUntilIdle();
    bool clicked = host.Stats().size() == before + 1;
    EXPECT_EQ(log.count(clicked ? kTracking : kNotClicked, TSRLogLevelInfo), 1);
    return clicked;
  }

  PushHost host{false};
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(NotificationClickTrackingTest, AClickIsOneExperienceClickStatOnTheGlobalContext) {
  host.Start();
  log.clear();
  Json info = Payload();
  info["tsr-piks"] = R"([{"id":"p1","type":"product"},{"id":"p2"}])";
  host.facade->handleNotification(info, kUNNotificationDefaultActionIdentifier);
  host.sim->runUntilIdle();

  ASSERT_EQ(host.env->queue->events.size(), 1u);
  const Json& event = host.env->queue->events[0];
  const char* stats = R"([{"id":"e1","type":"e","piks":[{"id":"p1","type":"product"},{"id":"p2"}],"stat":"c"}])";
  EXPECT_EQ(Json::parse(event[TSREvent_campaignStats].get<std::string>()), Json::parse(stats));
  EXPECT_FALSE(event.contains(TSREvent_test));
  EXPECT_EQ(log.messages(), (std::vector<std::string>{
                                kTracking,
                                std::string("Context: [Global] Tracking stats: ") + stats,
                            }));
}

TEST_F(NotificationClickTrackingTest, ATestNotificationTracksATestClick) {
  host.Start();
  log.clear();
  Json info = Payload("e2");
  info["tsr-t"] = 1;
  host.facade->handleNotification(info, kUNNotificationDefaultActionIdentifier);
  host.sim->runUntilIdle();
  EXPECT_TRUE(log.contains("Notification: Found test experience [e2], tracking click"));
  ASSERT_EQ(host.env->queue->events.size(), 1u);
  EXPECT_EQ(host.env->queue->events[0][TSREvent_test], "true");

  info["tsr-eid"] = "e3";
  host.facade->handleNotification(info, kUNNotificationDismissActionIdentifier);
  host.sim->runUntilIdle();
  EXPECT_TRUE(log.contains("Notification: Found test experience [e3], but not clicked by user"));
}

TEST_F(NotificationClickTrackingTest, AnyActionButDismissingIsAClickEvenWhileTheAppIsInUse) {
  host.Start();
  ASSERT_TRUE(host.facade->hasReachedActiveAfterLaunchOrBackground());
  EXPECT_FALSE(Clicked(Payload(), kUNNotificationDismissActionIdentifier));
  EXPECT_TRUE(Clicked(Payload(), kUNNotificationDefaultActionIdentifier));
  EXPECT_TRUE(Clicked(Payload(), "reply"));
  // The legacy action callbacks with no identifier pass an empty one.
  EXPECT_TRUE(Clicked(Payload(), ""));
  // An action is the user's even for a notification that showed nothing.
  EXPECT_TRUE(Clicked(Silent(), kUNNotificationDefaultActionIdentifier));
}

TEST_F(NotificationClickTrackingTest, WithoutAnActionOnlyANotificationThatOpenedTheAppCounts) {
  // Launched by the notification, not yet active.
  host.Start(/*launch=*/false);
  host.sim->postLifecycle(platform::kApplicationDidFinishLaunchingNotification);
  host.sim->runUntilIdle();
  EXPECT_TRUE(Clicked(Payload(), std::nullopt));
  // A silent push woke the app; the user saw nothing.
  EXPECT_FALSE(Clicked(Silent(), std::nullopt));

  // Arriving while the app is in use is not the user opening it.
  host.sim->enterForeground();
  EXPECT_FALSE(Clicked(Payload(), std::nullopt));
  // Back from the background, until the app is active again, it is.
  host.sim->enterBackground();
  EXPECT_TRUE(Clicked(Payload(), std::nullopt));
  host.sim->enterForeground();
  EXPECT_FALSE(Clicked(Payload(), std::nullopt));
}

TEST_F(NotificationClickTrackingTest, ANotificationWithoutAnExperienceIdIsNotOurs) {
  host.Start();
  log.clear();
  for (const Json& info : {Json{{"aps", {{"alert", "Hi"}}}}, Json{{"tsr-eid", ""}}, Json{{"tsr-eid", 42}},
                           Json::array({"tsr-eid"}), Json()}) {
    host.facade->handleNotification(info, kUNNotificationDefaultActionIdentifier);
  }
  host.sim->runUntilIdle();
  EXPECT_TRUE(host.env->queue->events.empty());
  EXPECT_EQ(log.countContaining("Notification:"), 0);
  // An id of the wrong kind is worth a line.
  EXPECT_TRUE(log.contains("Dictionary: keyPath: tsr-eid expected class: NSString but found class: NSNumber"));
}

TEST_F(NotificationClickTrackingTest, PromotedItemKeysThatAreNotItemKeysAreLeftOut) {
  host.Start();
  log.clear();
  Json info = Payload();
  info["tsr-piks"] = R"([{"id":"p1"},3,"p2"])";
  EXPECT_TRUE(Clicked(info, kUNNotificationDefaultActionIdentifier));
  EXPECT_EQ(host.Stats().back()[0]["piks"], Json::parse(R"([{"id":"p1"}])"));
  EXPECT_EQ(log.countContaining("Campaign: Ignoring invalid promoted item"), 2);

  // Keys that do not parse cost the keys, not the click.
  info["tsr-piks"] = "[{";
  EXPECT_TRUE(Clicked(info, kUNNotificationDefaultActionIdentifier));
  EXPECT_FALSE(host.Stats().back()[0].contains("piks"));
  EXPECT_TRUE(log.contains("JSON: Couldn't deserialize string into JSON Array: [{", TSRLogLevelError));
}

TEST(NotificationClickthroughTest, TheAppsOwnClickthroughCountsWhateverTheActionWhileSwizzlingIsOff) {
  for (bool swizzling : {true, false}) {
    SCOPED_TRACE(swizzling ? "swizzling on" : "swizzling off");
    PushHost host(swizzling);
    host.Start();
    auto context = host.facade->globalContext();
    context->trackClickthrough(Payload(), kUNNotificationDismissActionIdentifier);
    context->trackClickthrough(Payload("e2"), std::nullopt);
    context->trackClickthrough(Json{{"aps", {{"alert", "Hi"}}}}, kUNNotificationDefaultActionIdentifier);
    host.sim->runUntilIdle();
    if (swizzling) {
      // The intercepted delegate callback reports it instead.
      EXPECT_TRUE(host.Stats().empty());
      continue;
    }
    ASSERT_EQ(host.Stats().size(), 2u);
    EXPECT_EQ(host.Stats()[0][0]["id"], "e1");
    EXPECT_EQ(host.Stats()[1][0]["id"], "e2");
  }
}

}  // namespace
}  // namespace tessarin

#include "core/tessarin_impl.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/event_counters.h"
#include "platform/notification_center.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "util/config.h"
#include "util/safety.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::LogCapture;

Json Client(const std::string& account = "acme", const std::string& dataset = "shop") {
  return Json{{"account", account}, {"dataset", dataset}, {"usePushNotifications", false}, {"useDesignMode", false}};
}

class FacadeTest : public ::testing::Test {
 protected:
  void SetUp() override { Make(); }
  void TearDown() override { TSRUtilitySafety::setThrowExceptions(false); }

  void Make() {
    facade.reset();
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->runUntilIdle();
  }
  void StartActive(const Json& client = Client()) {
    sim->launchApp();
    facade->startWithConfiguration(client);
    sim->runUntilIdle();
  }
  std::vector<std::string> Posted() const { return posted; }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<TessarinImpl> facade;
  std::vector<std::string> posted;
};

TEST_F(FacadeTest, SecondStartIsIgnoredWhetherValidOrNot) {
  StartActive();
  ASSERT_TRUE(facade->started());
  facade->startWithConfiguration(Client("other", "shop"));
  facade->startWithConfiguration(Json{{"account", ""}});
  EXPECT_EQ(log.count("Ignoring start request, already started", TSRLogLevelWarn), 2);
  EXPECT_EQ(facade->config().stringForKey("account"), "acme");
  EXPECT_EQ(log.countContaining("Config: Invalid keys"), 0);
}

TEST_F(FacadeTest, InvalidClientConfigurationIsRefusedWithNoStateChange) {
  Json bad = {{"account", "acme"}, {"dataset", ""}, {"protocol", "HTTPS"}, {"port", "443"}};
  facade->startWithConfiguration(bad);
  EXPECT_FALSE(facade->started());
  EXPECT_TRUE(facade->config().hasEmptyLayer(TSRConfig::kLayerClient));
  EXPECT_TRUE(log.contains(R"(Config: Invalid keys: ["dataset","protocol","port"])", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Cannot start, invalid client configuration: " + JsonDump(bad), TSRLogLevelError));
}

TEST_F(FacadeTest, StartingWithAnotherDatasetResetsButKeepsIdentityAndAttributes) {
  StartActive(Client("acme", "a"));
  facade->setUserId("user-1");
  facade->setAccountId("company-1");
  facade->setUserAttribute("gold", "tier");
  facade->stop();
  sim->runUntilIdle();
  env->journal->clear();
  log.clear();

  facade->startWithConfiguration(Client("acme", "b"));
  sim->runUntilIdle();
  EXPECT_TRUE(facade->started());
  EXPECT_EQ(log.count("Resetting", TSRLogLevelWarn), 1);
  EXPECT_EQ(log.countContaining("Config: Will require reset to update from old client configuration: "), 1);
  EXPECT_TRUE(env->journalHas("queue.delete"));
  EXPECT_EQ(facade->userId(), "user-1");
  EXPECT_EQ(facade->accountId(), "company-1");
  // The attribute survived the reset: it rode on the first action after it.
  ASSERT_FALSE(env->queue->events.empty());
  EXPECT_EQ(env->queue->events.front()["tier"], "gold");
  EXPECT_EQ(facade->pendingAttributes(), Json::object());
  EXPECT_EQ(facade->config().stringForKey("dataset"), "b");

  // The same dataset again after a reset that emptied the client layer does not reset.
  facade->reset();
  sim->runUntilIdle();
  TSRLogger::setLogLevel(TSRLogLevelDebug);
  log.clear();
  facade->startWithConfiguration(Client("acme", "b"));
  sim->runUntilIdle();
  EXPECT_EQ(log.count("Resetting"), 0);
}

TEST_F(FacadeTest, UserAndAccountIdsAreTrimmedAndZeroIsRefused) {
  StartActive();
  env->journal->clear();
  facade->setUserId("  user-7 \n");
  facade->setAccountId(" acct ");
  EXPECT_EQ(facade->userId(), "user-7");
  EXPECT_EQ(facade->accountId(), "acct");

  facade->setUserId(" 0 ");
  facade->setAccountId("0");
  EXPECT_EQ(facade->userId(), "user-7");
  EXPECT_EQ(facade->accountId(), "acct");
  EXPECT_TRUE(log.contains("Ignoring attempt to set userId to \"0\".", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Ignoring attempt to set accountId to \"0\".", TSRLogLevelError));
  sim->runUntilIdle();
  // Only the accepted user id told the push token manager.
  EXPECT_EQ(env->journalCount("push.enqueue"), 1);

  facade->setAccountId("");
  EXPECT_TRUE(log.contains("Cleared accountId", TSRLogLevelInfo));
  facade->setAccountId("acct");
  facade->setUserId("");
  EXPECT_EQ(facade->userId(), std::nullopt);
  EXPECT_EQ(facade->accountId(), std::nullopt);
  EXPECT_TRUE(log.contains("Cleared userId and accountId", TSRLogLevelInfo));
  sim->runUntilIdle();
  EXPECT_EQ(env->journalCount("push.enqueue"), 2);
}

TEST_F(FacadeTest, AttributesAreValidatedTrimmedCutAndCleared) {
  StartActive();
  facade->setUserAttribute("x", "company");
  facade->setAccountAttribute("x", " .top ");
  facade->setUserAttribute("x", "   ");
  EXPECT_TRUE(log.contains("Attribute is invalid because it uses a reserved name: company", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Ignoring invalid attribute: company x", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Attribute is invalid because it uses a reserved name: .top"));
  EXPECT_TRUE(log.contains("Attribute name must be a non-empty NSString.", TSRLogLevelError));
  facade->setAttributeValue(Json(42), "count");
  EXPECT_TRUE(log.contains("Attribute value must be an NSString.", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Ignoring invalid attribute: count 42", TSRLogLevelError));
  EXPECT_TRUE(facade->pendingAttributes().empty());

  facade->setUserAttribute(std::string(2000, 'v'), "long");
  facade->setAccountAttribute(std::nullopt, "gone");
  facade->setUserAttribute(" spaced ", " name ");
  const Json& attributes = facade->pendingAttributes();
  EXPECT_EQ(attributes["long"].get<std::string>().size(), 1024u);
  EXPECT_TRUE(attributes["gone"].is_null());
  EXPECT_EQ(attributes["name"], "spaced");
  EXPECT_TRUE(log.contains("Clearing attribute gone", TSRLogLevelInfo));
  EXPECT_TRUE(log.contains("Setting attribute name to the value spaced", TSRLogLevelInfo));
}

TEST_F(FacadeTest, StopAndStopKeepingPropertiesBehaveIdentically) {
  auto run = [&](bool use_plain_stop) {
    sim = std::make_shared<SimPlatform>();
    Make();
    StartActive();
    facade->setUserId("u");
    env->journal->clear();
    if (use_plain_stop) {
      facade->stop();
    } else {
      facade->stopAndClearProperties(false);
    }
    sim->runUntilIdle();
    EXPECT_FALSE(facade->started());
    EXPECT_FALSE(facade->isServerConfigLoaded());
    EXPECT_EQ(facade->userId(), "u");
    return *env->journal;
  };
  auto plain = run(true);
  auto keeping = run(false);
  EXPECT_EQ(plain, keeping);
  EXPECT_EQ(plain, (std::vector<std::string>{"queue.stop", "ui.hide", "queue.save", "dispatcher.clear"}));
}

TEST_F(FacadeTest, ResetKeepsHostLogLevelOnlyWhenNotClearingProperties) {
  StartActive();
  facade->setLogLevel(3500);
  facade->reset();
  sim->runUntilIdle();
  EXPECT_EQ(TSRLogger::logLevel(), TSRLogLevelDefault);

  facade->setLogLevel(3500);
  facade->resetAndClearProperties(false);
  sim->runUntilIdle();
  EXPECT_EQ(TSRLogger::logLevel(), 3500);
  EXPECT_EQ(facade->config().longForKey("logLevel"), 3500);
}

TEST_F(FacadeTest, ResetClearsIdentityAttributesQueueFileAndConfiguration) {
  StartActive();
  facade->setUserId("u");
  facade->setUserAttribute("v", "n");
  std::vector<std::string> notifications;
  sim->notificationCenter().addObserver(TessarinNotificationReset, facade.get(), nullptr,
                                        [&](const platform::Notification& n) { notifications.push_back(n.name); });
  env->journal->clear();
  facade->reset();
  sim->runUntilIdle();
  EXPECT_EQ(notifications.size(), 1u);
  EXPECT_EQ(facade->userId(), std::nullopt);
  EXPECT_TRUE(facade->pendingAttributes().empty());
  EXPECT_TRUE(env->journalHas("queue.delete"));
  EXPECT_EQ(facade->eventSender(), nullptr);
  EXPECT_TRUE(facade->config().hasEmptyLayer(TSRConfig::kLayerClient));
  EXPECT_FALSE(facade->processedLaunch());
}

TEST_F(FacadeTest, EventsAreHeldUntilTheServerConfigurationIsPresent) {
  int loaded_notifications = 0;
  sim->notificationCenter().addObserver(TessarinNotificationServerConfigLoaded, nullptr, nullptr,
                                        [&](const platform::Notification&) { ++loaded_notifications; });
  StartActive();
  EXPECT_FALSE(env->journalHas("queue.start"));
  EXPECT_FALSE(facade->isServerConfigLoaded());

  facade->config().replaceConfiguration(Json{{"eventThrottleLimit", 80}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  EXPECT_TRUE(env->journalHas("queue.start"));
  EXPECT_TRUE(facade->isServerConfigLoaded());
  facade->onConfigUpdate();
  EXPECT_EQ(log.count("Tessarin server configuration loaded; events are campaign-eligible", TSRLogLevelInfo), 1);
  EXPECT_EQ(loaded_notifications, 1);
}

// An app's thread can report far faster than the main thread builds events;
// what waits for the main thread is bounded, and the excess is dropped as it
// arrives, counted and logged once per overflow.
TEST_F(FacadeTest, ReportsFromAnotherThreadWaitForTheMainThreadOnlyUpToTheQueuesLimit) {
  StartActive();
  facade->config().replaceConfiguration(Json{{"eventThrottleLimit", 100000}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  auto global = facade->globalContext();
  ASSERT_TRUE(global);
  EventCounters& counters = env->eventCounters();
  auto burst = [&](int actions, int contextActions) {
    std::thread app([&] {
      for (int i = 0; i < actions; ++i) facade->sendAction("Burst " + std::to_string(i), "Global", Json::object());
      for (int i = 0; i < contextActions; ++i) global->trackAction("Context Burst");
    });
    app.join();
  };
  const std::size_t queuedBefore = env->queue->events.size();

  burst(1200, 100);  // the limit is the default "maxEventsInQueue", 1000
  EXPECT_EQ(counters.inHandOff(), 1000u);
  EXPECT_EQ(counters.get(EventCounters::kDroppedThrottled), 300u);
  EXPECT_EQ(log.countContaining("Events: Dropping events reported faster than they can be queued, 1000 waiting"), 1);
  sim->runUntilIdle();
  EXPECT_EQ(counters.inHandOff(), 0u);
  ASSERT_EQ(env->queue->events.size() - queuedBefore, 1000u);
  // The oldest reports are the ones that went through, in order.
  EXPECT_EQ(env->queue->events[queuedBefore]["action"], "Burst 0");
  EXPECT_EQ(env->queue->events.back()["action"], "Burst 999");

  // Room again: a smaller limit, and reports through a context count too.
  counters.setHandOffLimit(3);
  burst(2, 4);
  EXPECT_EQ(counters.get(EventCounters::kDroppedThrottled), 303u);
  EXPECT_EQ(log.countContaining("Events: Dropping events reported faster than they can be queued"), 2);
  sim->runUntilIdle();
  EXPECT_EQ(env->queue->events.size() - queuedBefore, 1003u);
  EXPECT_EQ(env->queue->events.back()["action"], "Context Burst");
  // Reports made on the main thread itself never wait, so nothing bounds them.
  for (int i = 0; i < 5; ++i) facade->sendAction("On Main", "Global", Json::object());
  EXPECT_EQ(env->queue->events.size() - queuedBefore, 1008u);
}

TEST_F(FacadeTest, ConfigUpdateNotifiesBeforeSystemsStart) {
  std::vector<std::string> order;
  for (const char* name : {TessarinNotificationConfigUpdate, TessarinNotificationStartAsNecessary}) {
    sim->notificationCenter().addObserver(name, static_cast<Tessarin*>(facade.get()), nullptr,
                                          [&](const platform::Notification& n) { order.push_back(n.name); });
  }
  StartActive();
  ASSERT_GE(order.size(), 2u);
  EXPECT_EQ(order[0], TessarinNotificationConfigUpdate);
  EXPECT_EQ(order[1], TessarinNotificationStartAsNecessary);
}

TEST_F(FacadeTest, DisabledByPersistedServerLayerAtCreationAndReenabled) {
  {
    TSRConfig config(env);
    config.replaceConfiguration(Json{{"disable", true}}, TSRConfig::kLayerServer);
  }
  Make();
  EXPECT_TRUE(facade->disabled());
  EXPECT_EQ(env->queues_made, 0);
  EXPECT_EQ(env->dispatchers_made, 0);
  EXPECT_EQ(facade->anonymousId(), std::nullopt);
  EXPECT_EQ(facade->globalContext(), nullptr);

  // While disabled, attributes are refused without a word.
  log.clear();
  facade->setUserAttribute("v", "n");
  EXPECT_TRUE(log.records().empty());
  EXPECT_TRUE(facade->pendingAttributes().empty());

  facade->config().replaceConfiguration(Json{{"disable", false}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  EXPECT_FALSE(facade->disabled());
  EXPECT_TRUE(log.contains(
      "Tessarin has been re-enabled. May need to renavigate to screens or relaunch app for full Tessarin "
      "functionality after being disabled.",
      TSRLogLevelWarn));
  EXPECT_EQ(env->queues_made, 1);
  EXPECT_EQ(env->dispatchers_made, 1);
  EXPECT_EQ(facade->anonymousId(), "6f9619ff-8b86-d011-b42d-00c04fc964ff");
}

TEST_F(FacadeTest, DisablingWhileRunningDropsTheQueueAndDispatcher) {
  StartActive();
  env->journal->clear();
  facade->config().replaceConfiguration(Json{{"disable", true}}, TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  EXPECT_TRUE(facade->disabled());
  EXPECT_FALSE(facade->running());
  EXPECT_TRUE(log.contains("Tessarin is disabled.", TSRLogLevelWarn));
  EXPECT_TRUE(env->journalHas("queue.delete"));
  EXPECT_TRUE(env->journalHas("dispatcher.disable"));
  EXPECT_EQ(facade->eventSender(), nullptr);
  EXPECT_EQ(facade->campaignDispatcher(), nullptr);
}

TEST_F(FacadeTest, BackgroundStopsSendingAndForegroundExpiresTheConfiguration) {
  facade->config().replaceConfiguration(Json{{"k", 1}}, TSRConfig::kLayerServer);
  StartActive();
  ASSERT_TRUE(env->journalHas("queue.start"));
  env->journal->clear();

  sim->enterBackground();
  EXPECT_FALSE(facade->hasReachedActiveAfterLaunchOrBackground());
  EXPECT_TRUE(log.contains("applicationDidEnterBackground", TSRLogLevelDebug));
  EXPECT_TRUE(env->journalHas("reachability.stop"));
  EXPECT_TRUE(env->journalHas("queue.stop"));
  EXPECT_TRUE(env->journalHas("queue.save"));
  // The launch marked the configuration expired; pretend a fetch refreshed it.
  facade->config().setExpired(false);
  ASSERT_FALSE(facade->config().expired());

  env->journal->clear();
  sim->enterForeground();
  EXPECT_TRUE(facade->hasReachedActiveAfterLaunchOrBackground());
  EXPECT_TRUE(facade->config().expired());
  EXPECT_TRUE(env->journalHas("reachability.start"));
  EXPECT_TRUE(env->journalHas("queue.start"));
}

TEST_F(FacadeTest, RunningOnlyObserversFollowTheStartedState) {
  sim->postLifecycle(platform::kApplicationWillTerminateNotification);
  EXPECT_FALSE(log.contains("applicationWillTerminate"));
  StartActive();
  sim->app().window_size = std::make_pair(390.0, 844.0);
  sim->postLifecycle(platform::kApplicationDidChangeStatusBarOrientationNotification);
  EXPECT_TRUE(log.contains("applicationDidChangeStatusBarOrientation Portrait", TSRLogLevelDebug));
  sim->app().status_bar_orientation = 3;
  sim->postLifecycle(platform::kApplicationDidChangeStatusBarOrientationNotification);
  EXPECT_TRUE(log.contains("applicationDidChangeStatusBarOrientation Landscape"));
  sim->postLifecycle(platform::kApplicationWillTerminateNotification);
  EXPECT_EQ(log.count("applicationWillTerminate", TSRLogLevelWarn), 1);

  facade->stop();
  sim->runUntilIdle();
  sim->postLifecycle(platform::kApplicationWillTerminateNotification);
  sim->postLifecycle(platform::kApplicationWillResignActiveNotification);
  EXPECT_EQ(log.count("applicationWillTerminate"), 1);
  EXPECT_FALSE(log.contains("applicationWillResignActive"));
}

TEST_F(FacadeTest, InstallIsRecordedOnceAndMissingVersionIsReported) {
  StartActive();
  EXPECT_EQ(facade->config().stringForKey("__lastAppVersion"), "1.0");
  auto stamped = facade->config().lastUpdatedForLayer(TSRConfig::kLayerSDK);
  sim->advance(5);
  facade->startSystemsAsNecessary();
  EXPECT_EQ(facade->config().lastUpdatedForLayer(TSRConfig::kLayerSDK), stamped);

  sim->app().info = Json::object();
  sim->app().bundle_identifier = "com.tessarin.other";
  facade->startSystemsAsNecessary();
  EXPECT_TRUE(log.contains("Could not determine bundle version", TSRLogLevelWarn));
}

TEST_F(FacadeTest, ConfigRequestParametersNameWhatIsMissing) {
  auto params = facade->buildConfigRequestParams();
  ASSERT_TRUE(params);
  EXPECT_EQ(*params, (std::vector<std::string>{"iOS", "com.tessarin.simhost", "1.0", "1.5.0"}));
  sim->app().bundle_identifier.reset();
  sim->app().info = Json::object();
  EXPECT_FALSE(facade->buildConfigRequestParams());
  EXPECT_TRUE(log.contains("Missing params for config request: bundle id, bundle version", TSRLogLevelError));
}

class ThrowingQueue : public testing::FakeEventQueue {
 public:
  using FakeEventQueue::FakeEventQueue;
  void startSendingQueuedEvents() override { throw std::runtime_error("queue exploded"); }
};

class ThrowingEnvironment : public FakeEnvironment {
 public:
  using FakeEnvironment::FakeEnvironment;
  std::shared_ptr<EventQueue> queuedEventSenderWithSender(const std::shared_ptr<HttpSender>&, const TSRConfig&,
                                                          EventQueueSuccessBlock, EventQueueFailureBlock) override {
    return std::make_shared<ThrowingQueue>(journal);
  }
};

TEST_F(FacadeTest, ExceptionsInsideTheSdkAreReportedNotRaised) {
  auto throwing = std::make_shared<ThrowingEnvironment>(sim);
  facade = TessarinImpl::createWithEnvironment(throwing);
  facade->config().replaceConfiguration(Json{{"k", 1}}, TSRConfig::kLayerServer);
  sim->launchApp();
  EXPECT_NO_THROW(facade->startWithConfiguration(Client()));
  EXPECT_EQ(log.countContaining("Exception:\n  Tag: -[Tessarin startWithConfiguration:]\n"), 1);
  EXPECT_EQ(log.countContaining("Reason: queue exploded"), 1);

  // During development the host app can ask for the exception back.
  facade->stop();
  TSRUtilitySafety::setThrowExceptions(true);
  EXPECT_THROW(facade->startWithConfiguration(Client()), std::runtime_error);
}

}  // namespace
}  // namespace tessarin

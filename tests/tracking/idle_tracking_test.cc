#include "tracking/idle_tracking.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "platform/notification_center.h"
#include "support/sim_environment.h"
#include "tracking/context_impl.h"
#include "util/config.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;

Json Client() {
  return Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}, {"useDesignMode", false}};
}

class IdleTrackingTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (auto token : observers_) sim->notificationCenter().removeObserver(token);
  }

  // A façade over the simulated host, in the foreground; `server` sets
  // server-layer configuration.
  void Make(const Json& server = Json::object()) {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    if (!server.empty()) facade->config().setConfiguration(server, TSRConfig::kLayerServer);
    sim->launchApp();
    sim->runUntilIdle();
    // Only notifications whose object is the application count.
    for (const char* name : {TessarinNotificationUserActive, TessarinNotificationUserIdle}) {
      observers_.push_back(sim->notificationCenter().addObserver(
          name, &sim->app(), nullptr, [this](const platform::Notification& note) {
            bool active = note.name == TessarinNotificationUserActive;
            notes.push_back(std::string(active ? "active@" : "idle@") + std::to_string(int(Elapsed())));
          }));
    }
    start_ = sim->now(platform::Clock::kMonotonic);
  }
  void Start(const Json& server = Json::object()) {
    Make(server);
    facade->startWithConfiguration(Client());
    sim->runUntilIdle();
  }
  void Event() {
    sim->app().sendEvent();
    sim->runUntilIdle();
  }
  double Elapsed() { return sim->now(platform::Clock::kMonotonic) - start_; }
  bool Idle() { return env->hostApp().userIdle(); }
  std::shared_ptr<platform::HostClass> ApplicationClass() { return sim->app().runtime().lookUpClass("UIApplication"); }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  std::vector<std::string> notes;

 private:
  std::vector<platform::ObserverToken> observers_;
  double start_ = 0;
};

TEST_F(IdleTrackingTest, SilenceForTheTimeoutMakesTheUserIdleOnceAndTheNextEventActiveOnce) {
  Start();
  EXPECT_TRUE(Idle());  // nobody has touched the app since launch
  Event();
  EXPECT_EQ(notes, std::vector<std::string>{"active@0"});
  EXPECT_FALSE(Idle());
  ASSERT_EQ(sim->activeTimers().size(), 1u);
  platform::sim::SimTimerInfo timer = sim->activeTimers()[0];
  EXPECT_EQ(timer.clock, platform::Clock::kMonotonic);
  EXPECT_EQ(timer.queue, sim->mainQueue()->label());
  EXPECT_EQ(timer.deadline, sim->now(platform::Clock::kMonotonic) + 120);
  EXPECT_EQ(timer.leeway, 2.0);
  EXPECT_EQ(timer.interval, 0);

  // Every event restarts the countdown and keeps only one timer.
  for (int i = 0; i < 30; ++i) {
    sim->advance(10);
    Event();
  }
  EXPECT_EQ(sim->activeTimers().size(), 1u);
  EXPECT_EQ(notes, std::vector<std::string>{"active@0"});
  EXPECT_EQ(env->hostApp().lastEventDate(), sim->now(platform::Clock::kWall));

  sim->advance(119);
  EXPECT_FALSE(Idle());
  sim->advance(1);
  EXPECT_TRUE(Idle());
  sim->advance(1000);
  EXPECT_EQ(notes, (std::vector<std::string>{"active@0", "idle@420"}));
  EXPECT_TRUE(sim->activeTimers().empty());

  Event();
  Event();
  EXPECT_EQ(notes, (std::vector<std::string>{"active@0", "idle@420", "active@1420"}));
}

TEST_F(IdleTrackingTest, TheTimeoutIsTheTimeOnPageTimeout) {
  Start(Json{{"timeOnPageTimeout", 10}});
  Event();
  ASSERT_EQ(sim->activeTimers().size(), 1u);
  EXPECT_EQ(sim->activeTimers()[0].leeway, 1.0);  // a tenth of short timeouts
  sim->advance(10);
  EXPECT_EQ(notes, (std::vector<std::string>{"active@0", "idle@10"}));

  // Zero switches idle detection off: the first event activates for good.
  facade->config().setConfiguration(Json{{"timeOnPageTimeout", 0}}, TSRConfig::kLayerServer);
  Event();
  EXPECT_TRUE(sim->activeTimers().empty());
  sim->advance(100000);
  EXPECT_FALSE(Idle());
  EXPECT_EQ(notes, (std::vector<std::string>{"active@0", "idle@10", "active@10"}));

  // Turning it back on arms the countdown at the next event; the user was
  // active all along, so that event posts nothing.
  facade->config().setConfiguration(Json{{"timeOnPageTimeout", 30}}, TSRConfig::kLayerServer);
  Event();
  sim->advance(30);
  EXPECT_EQ(notes, (std::vector<std::string>{"active@0", "idle@10", "active@10", "idle@100040"}));
}

TEST_F(IdleTrackingTest, InputWhileTheSdkIsStoppedDoesNotCount) {
  Make();
  Event();
  EXPECT_TRUE(Idle());
  EXPECT_TRUE(sim->activeTimers().empty());

  facade->startWithConfiguration(Client());
  sim->runUntilIdle();
  Event();
  EXPECT_EQ(notes, std::vector<std::string>{"active@0"});

  // Stopped, the countdown ends without making anyone idle, and events
  // neither restart it nor move the date.
  facade->stop();
  sim->runUntilIdle();
  double last = *env->hostApp().lastEventDate();
  sim->advance(60);
  Event();
  sim->advance(600);
  EXPECT_EQ(env->hostApp().lastEventDate(), last);
  EXPECT_TRUE(sim->activeTimers().empty());
  EXPECT_EQ(notes, std::vector<std::string>{"active@0"});
}

TEST_F(IdleTrackingTest, WithSwizzlingOffTheApplicationIsLeftAlone) {
  sim->app().info["TessarinSwizzlingEnabled"] = false;
  auto send_event = ApplicationClass()->ownMethod("sendEvent:");
  auto set_delegate = ApplicationClass()->ownMethod("setDelegate:");
  Start();
  EXPECT_EQ(ApplicationClass()->ownMethod("sendEvent:"), send_event);
  EXPECT_EQ(ApplicationClass()->ownMethod("setDelegate:"), set_delegate);

  Event();
  facade->idleTracking()->reportUserEvent();
  sim->runUntilIdle();
  EXPECT_EQ(sim->app().dispatchedEvents(), 2u);  // the app's own dispatch still ran
  sim->app().setDelegate(sim->app().makeObject("NSObject"));
  EXPECT_EQ(facade->idleTracking()->swizzledDelegateClass(), nullptr);
  EXPECT_TRUE(Idle());
  EXPECT_TRUE(notes.empty());
}

TEST_F(IdleTrackingTest, AContextCheckingIdlenessWaitsForTheFirstEventAndPausesDispatchWhileIdle) {
  Start();
  auto context = TSRContextImpl::initWithIdentifier("home", facade);
  sim->runUntilIdle();
  EXPECT_FALSE(context->isActive());
  EXPECT_FALSE(facade->globalContext()->isActive());

  Event();
  EXPECT_TRUE(context->isActive());
  EXPECT_TRUE(facade->globalContext()->isActive());
  EXPECT_TRUE(env->journalHas("dispatcher.allow:home"));

  env->journal->clear();
  sim->advance(120);
  EXPECT_EQ(env->journalCount("dispatcher.disallow:home"), 1);
  EXPECT_EQ(env->journalCount("dispatcher.allow:home"), 0);
  Event();
  EXPECT_EQ(env->journalCount("dispatcher.allow:home"), 1);
}

TEST_F(IdleTrackingTest, TheFirstDelegateIsTakenOnWhetherSetBeforeOrAfterInstallation) {
  sim->app().runtime().defineClass("AppDelegate", "NSObject");
  sim->app().runtime().defineClass("OtherDelegate", "NSObject");
  sim->app().setDelegate(sim->app().makeObject("AppDelegate"));
  Start();
  auto tracking = facade->idleTracking();
  EXPECT_EQ(tracking->swizzledDelegateClass()->name(), "AppDelegate");

  auto other = sim->app().makeObject("OtherDelegate");
  sim->app().setDelegate(other);
  EXPECT_EQ(sim->app().delegate(), other);  // the app's own setter ran
  EXPECT_EQ(tracking->swizzledDelegateClass()->name(), "AppDelegate");
}

TEST_F(IdleTrackingTest, ADelegateSetAfterInstallationIsTakenOnOnceNilIgnored) {
  sim->app().runtime().defineClass("AppDelegate", "NSObject");
  Start();
  auto tracking = facade->idleTracking();
  sim->app().setDelegate(nullptr);
  EXPECT_EQ(tracking->swizzledDelegateClass(), nullptr);
  sim->app().setDelegate(sim->app().makeObject("AppDelegate"));
  sim->app().setDelegate(sim->app().makeObject("NSObject"));
  EXPECT_EQ(tracking->swizzledDelegateClass()->name(), "AppDelegate");
}

TEST_F(IdleTrackingTest, AHostIsInterceptedOnceAndEventsReachItsNewestFacade) {
  Start();
  auto first_env = env;
  auto first_facade = facade;
  auto installed = ApplicationClass()->ownMethod("sendEvent:");

  auto second_env = std::make_shared<FakeEnvironment>(sim);
  auto second = TessarinImpl::createWithEnvironment(second_env);
  second->startWithConfiguration(Client());
  sim->runUntilIdle();
  EXPECT_EQ(ApplicationClass()->ownMethod("sendEvent:"), installed);

  Event();
  EXPECT_EQ(sim->app().dispatchedEvents(), 1u);
  EXPECT_TRUE(first_env->hostApp().userIdle());
  EXPECT_FALSE(second_env->hostApp().userIdle());
}

TEST_F(IdleTrackingTest, ReportedInputGoesThroughTheApplicationsDispatch) {
  Start();
  facade->idleTracking()->reportUserEvent();
  sim->runUntilIdle();
  EXPECT_EQ(sim->app().dispatchedEvents(), 1u);
  EXPECT_EQ(notes, std::vector<std::string>{"active@0"});
}

TEST_F(IdleTrackingTest, WithoutAnApplicationObjectReportedInputIsBookedDirectly) {
  // A desktop host: nothing to intercept, the app reports its input.
  sim->app().has_shared_application = false;
  auto send_event = ApplicationClass()->ownMethod("sendEvent:");
  Start();
  EXPECT_EQ(ApplicationClass()->ownMethod("sendEvent:"), send_event);
  facade->idleTracking()->reportUserEvent();
  sim->runUntilIdle();
  EXPECT_EQ(sim->app().dispatchedEvents(), 0u);
  EXPECT_EQ(env->hostApp().lastEventDate(), sim->now(platform::Clock::kWall));
  sim->advance(120);
  EXPECT_EQ(notes, (std::vector<std::string>{"active@0", "idle@120"}));
}

}  // namespace
}  // namespace tessarin

#include "tracking/screen_impl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/sim/sim_ui.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"
#include "tracking/view_controller_tracking.h"
#include "util/config.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using platform::ui::sim::SimUI;
using platform::ui::sim::SimViewController;
using platform::ui::sim::SimWindow;
using testing::FakeEnvironment;
using testing::LogCapture;

class ScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    for (const char* name : {"HomeViewController", "ProductViewController", "CartViewController"}) {
      sim->app().runtime().defineClass(name, "UIViewController");
    }
    sim->runUntilIdle();
  }

  // Started, in the foreground, with a user who has just touched the app.
  void StartActive(const Json& serverConfig = Json::object()) {
    if (!serverConfig.empty()) facade->config().setConfiguration(serverConfig, TSRConfig::kLayerServer);
    sim->launchApp();
    facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}});
    sim->app().sendEvent();
    sim->runUntilIdle();
    env->queue->events.clear();
    env->journal->clear();
    log.clear();
  }

  // A view controller as the root of a window of its own.
  std::shared_ptr<SimViewController> InWindow(const std::string& className = "HomeViewController") {
    auto vc = SimUI::of(*sim).makeViewController(className);
    windows.push_back(SimUI::of(*sim).addWindow(vc));
    return vc;
  }
  std::shared_ptr<SimViewController> Shown(const std::string& className = "HomeViewController") {
    auto vc = InWindow(className);
    Appear(vc);
    return vc;
  }
  void Appear(const std::shared_ptr<SimViewController>& vc) {
    SimUI::of(*sim).appear(vc);
    sim->runUntilIdle();
  }
  void Disappear(const std::shared_ptr<SimViewController>& vc) {
    SimUI::of(*sim).disappear(vc);
    sim->runUntilIdle();
  }
  std::shared_ptr<TSRScreen> ScreenOf(const std::shared_ptr<SimViewController>& vc) { return tessarinScreen(vc); }
  std::vector<Json> Events(const std::string& action) const {
    std::vector<Json> out;
    for (const Json& event : env->queue->events) {
      if (event.value(TSREvent_action, "") == action) out.push_back(event);
    }
    return out;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  std::vector<std::shared_ptr<SimWindow>> windows;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(ScreenTest, AViewControllerTheAppPresentsThroughTheKitIsTrackedAsItAppearsAndGoes) {
  StartActive();
  auto home = Shown();
  auto cart = SimUI::of(*sim).makeViewController("CartViewController");
  bool presented = false;
  home->presentViewController(cart, true, [&] { presented = true; });
  sim->runUntilIdle();
  ASSERT_FALSE(presented);  // the transition runs on the animator's clock
  sim->advance(1);
  ASSERT_TRUE(presented);
  EXPECT_TRUE(ScreenOf(cart)->isVisible());
  EXPECT_FALSE(ScreenOf(home)->isVisible());  // covered full screen, it disappeared
  EXPECT_EQ(cart->viewWindow(), windows.back());
  EXPECT_EQ(cart->presentingViewController(), home);
  EXPECT_EQ(windows.back()->presentedViewController(), cart);

  home->dismissViewController(false);
  sim->runUntilIdle();
  EXPECT_FALSE(ScreenOf(cart)->isVisible());
  EXPECT_TRUE(ScreenOf(home)->isVisible());
  EXPECT_EQ(cart->viewWindow(), nullptr);
  EXPECT_EQ(windows.back()->presentedViewController(), nullptr);
}

TEST_F(ScreenTest, AThirdScreenPushesOutTheOldestWhenTwoAreAllowed) {
  StartActive(Json{{"maxScreens", 2}});
  auto a = Shown();
  auto b = Shown("ProductViewController");
  std::string a_id = ScreenOf(a)->identifier();
  ASSERT_TRUE(ScreenOf(a)->isActive());
  env->journal->clear();

  auto c = Shown("CartViewController");
  EXPECT_TRUE(log.contains("Screen: Setting 1/2 screens to not visible due to 2 max screens", TSRLogLevelWarn));
  EXPECT_FALSE(ScreenOf(a)->isVisible());
  EXPECT_FALSE(ScreenOf(a)->isActive());
  EXPECT_TRUE(env->journalHas("dispatcher.unregister:" + a_id));
  EXPECT_TRUE(ScreenOf(b)->isVisible());
  EXPECT_TRUE(ScreenOf(c)->isActive());
  // B, then C: the newest is last.
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 2u);
  EXPECT_EQ(TSRScreen::lastVisibleVC(*sim), c);
  Disappear(c);
  EXPECT_EQ(TSRScreen::lastVisibleVC(*sim), b);
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 1u);
  // Disappearing again, or for the pushed-out A, changes nothing.
  Disappear(a);
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 1u);
}

TEST_F(ScreenTest, WithNoRoomTheOldestIsHiddenAndTheNewScreenStaysHidden) {
  StartActive();
  auto a = Shown();
  std::string a_id = ScreenOf(a)->identifier();
  facade->config().setConfiguration(Json{{"maxScreens", 0}}, TSRConfig::kLayerRuntime);
  env->queue->events.clear();

  auto b = Shown("ProductViewController");
  std::string b_id = ScreenOf(b)->identifier();
  EXPECT_TRUE(log.contains("Screen: Setting 1/1 screens to not visible due to 0 max screens", TSRLogLevelWarn));
  EXPECT_TRUE(log.contains("Screen: [" + b_id + "] Ignoring attempt to set visible, 0 max screens", TSRLogLevelWarn));
  EXPECT_FALSE(ScreenOf(a)->isVisible());
  EXPECT_FALSE(ScreenOf(b)->isVisible());
  EXPECT_FALSE(ScreenOf(b)->isActive());
  EXPECT_TRUE(env->journalHas("dispatcher.unregister:" + a_id));
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 0u);
  EXPECT_TRUE(env->queue->events.empty());
}

TEST_F(ScreenTest, AHandlerOnAScreenThatNeverAppearsIsDroppedAfterTheDispatchTimeout) {
  StartActive(Json{{"campaignDispatchTimeout", 3}});
  auto hidden = InWindow();
  auto later = InWindow("ProductViewController");
  auto never = ScreenOf(hidden);
  auto shown = ScreenOf(later);
  never->setCampaignHandler([](const std::shared_ptr<TSRCampaign>&) {}, "hero");
  shown->setCampaignHandler([](const std::shared_ptr<TSRCampaign>&) {}, "hero");
  sim->runUntilIdle();
  ASSERT_TRUE(env->journalHas("dispatcher.register:" + never->identifier()));
  ASSERT_TRUE(never->unregisterContextIdTimer());
  const auto timers = sim->activeTimers();
  EXPECT_TRUE(std::any_of(timers.begin(), timers.end(), [](const platform::sim::SimTimerInfo& timer) {
    return timer.clock == platform::Clock::kMonotonic && timer.interval == 0 && std::abs(timer.leeway - 0.3) < 1e-6;
  }));

  sim->advance(1);
  Appear(later);  // in time: its timer goes
  EXPECT_FALSE(shown->unregisterContextIdTimer());
  sim->advance(1.9);
  EXPECT_FALSE(env->journalHas("dispatcher.unregister:" + never->identifier()));
  sim->advance(0.2);
  EXPECT_TRUE(env->journalHas("dispatcher.unregister:" + never->identifier()));
  EXPECT_TRUE(log.contains("Screen: [" + never->identifier() +
                               "] Clearing all handlers and held campaigns, screen still not visible",
                           TSRLogLevelWarn));
  EXPECT_FALSE(never->unregisterContextIdTimer());
  EXPECT_FALSE(env->journalHas("dispatcher.unregister:" + shown->identifier()));
  EXPECT_EQ(log.countContaining("Clearing all handlers"), 1);
}

TEST_F(ScreenTest, AMatchingViewConfigSendsItsActionWhenTheScreenBecomesActive) {
  Json configs = Json::array({
      5,
      Json{{"action", 7}, {"matchRule", "$"}},
      Json{{"action", "Never"}, {"matchRule", false}},
      Json{{"action", "Home"}, {"matchRule", "$[?(@.className == 'HomeViewController')]"}},
      Json{{"action", "Product In Shop"}, {"matchRule", "$.parentDescription[?(@.title == 'Shop')]"}},
      Json{{"action", "Product"}, {"matchRule", "$[?(@.className == 'ProductViewController')]"}},
  });
  StartActive(Json{{"viewConfigs", configs}});
  auto shop = InWindow("UINavigationController");
  shop->setTitle("Shop");
  shop->setViewLoaded(true);
  auto product = SimUI::of(*sim).makeViewController("ProductViewController");
  shop->addChild(product);
  Appear(product);

  auto screen = ScreenOf(product);
  const std::string id = screen->identifier();
  auto views = Events("Product In Shop");
  ASSERT_EQ(views.size(), 1u);
  EXPECT_EQ(views[0][TSREvent_pageView], "");
  EXPECT_EQ(views[0][TSREvent_contextId], id);
  EXPECT_TRUE(Events("Product").empty());  // the first match wins
  EXPECT_TRUE(log.contains("Screen: [" + id + "] View config is unexpected class NSNumber", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Screen: [" + id + "] View config action is unexpected class NSNumber", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Screen: [" + id + "] View config matchRule is unexpected class NSNumber", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Screen: [" + id + "] Action-mapping match, screenAction: Product In Shop", TSRLogLevelDebug));

  // A screen whose view controller matches no rule sends nothing.
  env->queue->events.clear();
  Shown("CartViewController");
  EXPECT_TRUE(env->queue->events.empty());
}

TEST_F(ScreenTest, IgnorableViewControllersAndWindowsLeaveTheScreensAlone) {
  StartActive();
  auto alert = Shown("UIAlertController");
  EXPECT_TRUE(log.contains("VC: Ignoring: " + alert->description(), TSRLogLevelDebug));
  EXPECT_FALSE(tsr_description(*alert));
  auto overlay = InWindow();
  windows.back()->setWindowLevel(2000);
  Appear(overlay);
  auto hidden = InWindow();
  windows.back()->setHidden(true);
  Appear(hidden);
  auto detached = SimUI::of(*sim).makeViewController("HomeViewController");
  Appear(detached);
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 0u);
  EXPECT_TRUE(env->queue->events.empty());

  // The service's list replaces the defaults on the next configuration update.
  facade->config().setConfiguration(Json{{"ignorableClasses", Json::array({"HomeViewController", 3})}},
                                    TSRConfig::kLayerServer);
  facade->onConfigUpdate();
  Appear(alert);
  Shown();
  EXPECT_TRUE(ScreenOf(alert)->isVisible());
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 1u);
}

TEST_F(ScreenTest, OnlyACustomScreenCanBeMadeVisibleByTheApp) {
  StartActive();
  auto vc = InWindow();
  auto screen = ScreenOf(vc);
  screen->setVisible(true);
  sim->runUntilIdle();
  EXPECT_FALSE(screen->isVisible());
  EXPECT_TRUE(log.contains("Screen: [" + screen->identifier() +
                               "] Ignoring attempt to set visibility of 'tessarinScreen', vc " + vc->description(),
                           TSRLogLevelWarn));

  // Driven through the interface the app holds.
  std::shared_ptr<TSRScreenCustom> custom = TSRScreenCustomImpl::initWithViewAction("  Cart \n", facade);
  custom->setVisible(true);
  sim->runUntilIdle();
  EXPECT_TRUE(custom->isActive());
  auto views = Events("Cart");
  ASSERT_EQ(views.size(), 1u);
  EXPECT_EQ(views[0][TSREvent_contextId], custom->identifier());
  EXPECT_TRUE(log.contains("Screen: [" + custom->identifier() + "] Visible, viewAction: [Cart]", TSRLogLevelInfo));
  // The cleanup keeps a visible screen that never had a view controller.
  TSRScreen::cleanupVisibleScreens(*sim);
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 1u);

  custom->setVisible(false);
  sim->runUntilIdle();
  EXPECT_FALSE(custom->isActive());
  EXPECT_TRUE(env->journalHas("dispatcher.unregister:" + custom->identifier()));
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 0u);
}

TEST_F(ScreenTest, AScreenGoesWithItsViewControllerAndTheCleanupDropsDetachedOnes) {
  StartActive();
  auto kept = Shown();
  auto gone = Shown("ProductViewController");
  std::string gone_id = ScreenOf(gone)->identifier();
  ASSERT_EQ(TSRScreen::visibleWeakRefCount(*sim), 2u);
  windows.back()->setRootViewController(nullptr);
  gone.reset();
  EXPECT_TRUE(log.contains("Screen: [" + gone_id + "] Dealloc", TSRLogLevelDebug));
  EXPECT_TRUE(env->journalHas("dispatcher.unregister:" + gone_id));
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 1u);

  kept->setViewLoaded(false);
  TSRScreen::cleanupVisibleScreens(*sim);
  EXPECT_TRUE(log.contains("Screen: [" + ScreenOf(kept)->identifier() +
                               "] Cleanup: Parent VC gone or no longer attached to window: " + kept->description(),
                           TSRLogLevelWarn));
  EXPECT_FALSE(ScreenOf(kept)->isVisible());
  EXPECT_EQ(TSRScreen::visibleWeakRefCount(*sim), 0u);
  EXPECT_EQ(TSRScreen::lastVisibleVC(*sim), nullptr);
}

TEST_F(ScreenTest, ScreensAreMadeOnTheMainThreadOnlyAndNotWhileDisabled) {
  StartActive();
  auto vc = InWindow();
  std::shared_ptr<TSRScreen> from_thread;
  std::thread([&] { from_thread = tessarinScreen(vc); }).join();
  EXPECT_EQ(from_thread, nullptr);
  EXPECT_TRUE(log.contains("VC: tessarinScreen must be first accessed from main thread for lazy creation",
                           TSRLogLevelError));
  auto screen = ScreenOf(vc);
  ASSERT_TRUE(screen);
  EXPECT_EQ(ScreenOf(vc), screen);
  // Contexts are numbered across the process: each new screen gets the next number.
  EXPECT_EQ(std::stoll(ScreenOf(InWindow())->identifier()), std::stoll(screen->identifier()) + 1);

  Appear(vc);
  ASSERT_TRUE(screen->isVisible());
  facade->setDisabled(true);
  sim->runUntilIdle();
  EXPECT_FALSE(screen->isVisible());
  EXPECT_EQ(ScreenOf(InWindow()), nullptr);
}

}  // namespace
}  // namespace tessarin

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/pass_through_window.h"
#include "platform/ui/sim/sim_ui.h"

namespace tessarin::platform::sim {
namespace {

using ui::sim::SimViewController;

std::string Text(const std::any& value) {
  auto* text = std::any_cast<std::string>(&value);
  return text ? *text : "<not text>";
}

class SimUITest : public ::testing::Test {
 protected:
  SimPlatform sim;
  SimApplication& app = sim.app();
  ui::sim::SimUI& kit = ui::sim::SimUI::of(sim);
  std::shared_ptr<HostClass> viewControllerClass = sim.hostRuntime()->lookUpClass("UIViewController");
};

// What an interception of the view controller's appearance sees: which
// message, on which class of object, and whether the platform's own
// implementation had run.
struct Seen {
  std::string selector;
  std::string className;
  bool appeared;
  bool animated;
};

ImpPtr Observing(const std::string& selector, ImpPtr previous, std::vector<Seen>* seen) {
  return MakeImp([=](HostObject& self, const HostArgs& args) {
    CallImp(previous, self, args);
    auto& vc = dynamic_cast<SimViewController&>(self);
    seen->push_back({selector, self.className(), vc.appeared(), *HostArg<bool>(args, 0)});
    return std::any();
  });
}

TEST_F(SimUITest, AppearanceMessagesRunWhatIsInstalledInTheBaseClassEvenThroughAnAppsOverride) {
  std::vector<Seen> seen;
  for (const char* selector : {"viewDidAppear:", "viewWillDisappear:"}) {
    viewControllerClass->replaceMethod(selector,
                                       Observing(selector, viewControllerClass->lookupMethod(selector), &seen));
  }
  // The app's own class overrides viewDidAppear: and calls super, as apps must.
  auto cart = sim.hostRuntime()->defineClass("CartViewController", "UIViewController");
  std::vector<std::string> own_calls;
  HostClass* defining = cart.get();
  cart->addMethod("viewDidAppear:", MakeImp([&own_calls, defining](HostObject& self, const HostArgs& args) {
    own_calls.push_back("cart");
    return self.sendSuper(*defining, "viewDidAppear:", args);
  }));

  auto vc = kit.makeViewController("CartViewController");
  ASSERT_NE(vc, nullptr);
  EXPECT_FALSE(vc->isViewLoaded());
  kit.appear(vc, true);
  EXPECT_TRUE(vc->isViewLoaded());
  kit.disappear(vc);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(own_calls, std::vector<std::string>{"cart"});
  EXPECT_EQ(seen[0].selector, "viewDidAppear:");
  EXPECT_EQ(seen[0].className, "CartViewController");
  EXPECT_TRUE(seen[0].appeared);  // the platform's implementation ran first
  EXPECT_TRUE(seen[0].animated);
  EXPECT_EQ(seen[1].selector, "viewWillDisappear:");
  EXPECT_TRUE(seen[1].appeared);  // still on screen while about to disappear
  EXPECT_FALSE(seen[1].animated);
  EXPECT_FALSE(vc->appeared());

  EXPECT_EQ(kit.makeViewController("UIWindow"), nullptr);
}

TEST_F(SimUITest, ApplicationEventsAndDelegateGoThroughTheApplicationsClass) {
  auto application = sim.hostRuntime()->lookUpClass("UIApplication");
  ASSERT_EQ(app.applicationObject()->cls(), application);

  std::vector<std::string> seen;
  ImpPtr set_delegate = application->lookupMethod("setDelegate:");
  application->replaceMethod("setDelegate:", MakeImp([&, set_delegate](HostObject& self, const HostArgs& args) {
    CallImp(set_delegate, self, args);
    // The application already holds the new delegate when the interception runs.
    auto delegate = std::any_cast<std::shared_ptr<HostObject>>(self.send("delegate"));
    seen.push_back("delegate " + delegate->className());
    return std::any();
  }));
  ImpPtr send_event = application->lookupMethod("sendEvent:");
  application->replaceMethod("sendEvent:", MakeImp([&, send_event](HostObject& self, const HostArgs& args) {
    CallImp(send_event, self, args);
    seen.push_back("event " + (*HostArg<std::shared_ptr<HostObject>>(args, 0))->className());
    return std::any();
  }));

  sim.hostRuntime()->defineClass("AppDelegate", "UIResponder");
  auto delegate = app.makeObject("AppDelegate");
  app.setDelegate(delegate);
  app.sendEvent();
  app.sendEvent();
  EXPECT_EQ(app.delegate(), delegate);
  EXPECT_EQ(app.dispatchedEvents(), 2u);
  EXPECT_EQ(seen, (std::vector<std::string>{"delegate AppDelegate", "event UIEvent", "event UIEvent"}));

  app.has_shared_application = false;
  EXPECT_EQ(app.applicationObject(), nullptr);
}

TEST_F(SimUITest, NavigationItemAndSegueTemplatesAreReachableOnlyAsThePlatformAllows) {
  auto vc = kit.makeViewController("UINavigationController");
  // The variable exists from the start and holds nil until an item is made.
  EXPECT_TRUE(vc->hasIvar("_navigationItem"));
  EXPECT_FALSE(vc->ivar("_navigationItem").has_value());
  EXPECT_FALSE(vc->respondsToSelector("navigationItem"));

  vc->setNavigationItem(app.makeNavigationItem("Basket"));
  auto item = std::any_cast<std::shared_ptr<HostObject>>(vc->ivar("_navigationItem"));
  EXPECT_TRUE(item->isKindOfClass("UINavigationItem"));
  EXPECT_EQ(Text(item->valueForKey("title")), "Basket");
  EXPECT_FALSE(app.makeNavigationItem(std::nullopt)->valueForKey("title").has_value());

  EXPECT_THROW(vc->valueForKey("storyboardSegueTemplates"), HostException);
  vc->setStoryboardSegueTemplates({app.makeSegueTemplate("UIStoryboardShowSegueTemplate", "toDetail"),
                                   app.makeSegueTemplate("UIStoryboardPresentationSegueTemplate", std::nullopt)});
  auto templates = std::any_cast<HostObjectList>(vc->valueForKey("storyboardSegueTemplates"));
  ASSERT_EQ(templates.size(), 2u);
  EXPECT_EQ(templates[0]->className(), "UIStoryboardShowSegueTemplate");
  EXPECT_EQ(Text(templates[0]->valueForKey("identifier")), "toDetail");
  EXPECT_FALSE(templates[1]->valueForKey("identifier").has_value());
  EXPECT_EQ(app.makeSegueTemplate("NoSuchTemplate", "x"), nullptr);
}

TEST_F(SimUITest, AViewIsInTheWindowOfItsRootParentOrPresenterOnceLoaded) {
  auto root = kit.makeViewController("UINavigationController");
  auto child = kit.makeViewController();
  auto modal = kit.makeViewController();
  root->addChild(child);
  child->present(modal);
  auto window = kit.addWindow(root);

  // Nothing is in a window, nor has an accessibility label, before its view loads.
  child->setAccessibilityLabel("Products");
  EXPECT_EQ(child->viewWindow(), nullptr);
  EXPECT_EQ(child->accessibilityLabel(), std::nullopt);
  for (auto& vc : {root, child, modal}) kit.appear(vc);
  EXPECT_EQ(child->accessibilityLabel(), "Products");
  EXPECT_EQ(child->viewWindow(), window);
  EXPECT_EQ(modal->viewWindow(), window);
  EXPECT_EQ(modal->presentingViewController(), child);
  EXPECT_EQ(window->presentedViewController(), nullptr);  // the root presents nothing itself

  // A new root takes the window; the old hierarchy is in none.
  auto other = kit.makeViewController();
  kit.appear(other);
  window->setRootViewController(other);
  EXPECT_EQ(root->viewWindow(), nullptr);
  EXPECT_EQ(modal->viewWindow(), nullptr);
  other->present(modal);
  EXPECT_EQ(modal->viewWindow(), window);
  EXPECT_EQ(window->presentedViewController(), modal);
  EXPECT_EQ(child->presentedViewController(), nullptr);  // presenting elsewhere ended the old presentation

  EXPECT_EQ(app.firstNormalWindowSize(), std::make_pair(390.0, 844.0));
  window->setWindowLevel(kWindowLevelNormal + 1);
  EXPECT_EQ(app.firstNormalWindowSize(), std::nullopt);
}

TEST_F(SimUITest, TheAppsWindowsAndTheSDKsOverlayShareOneScreenForTouchesAndScreenshots) {
  auto home = kit.makeViewController();
  auto window = kit.addWindow(home);
  kit.appear(home);
  home->kit().view()->setBackgroundColor(ui::Color::fromRGBA(0xff0000ff));

  auto overlay = std::make_shared<ui::PassThroughWindow>(kit.screen());
  overlay->setWindowLevel(ui::kWindowLevelAlert - 1);
  overlay->setRootViewController(std::make_shared<ui::ViewController>());
  auto panel = std::make_shared<ui::View>(ui::Rect{10, 10, 100, 50});
  panel->setBackgroundColor(ui::Color::fromRGBA(0x0000ffff));
  overlay->rootViewController()->view()->addSubview(panel);
  overlay->makeKeyAndVisible();

  EXPECT_EQ(kit.screen().hitTest({50, 30}), panel.get());
  EXPECT_EQ(kit.screen().hitTest({200, 400}), home->kit().view().get());  // through the overlay
  auto shot = kit.screen().snapshot(1);
  ASSERT_EQ(shot.width(), 390);
  EXPECT_EQ(shot.pixel(50, 30), 0xff0000ffu);   // the panel over the app
  EXPECT_EQ(shot.pixel(200, 400), 0xffff0000u);  // the app beside it

  // A window the app takes away is neither seen nor touched.
  kit.removeWindow(window);
  EXPECT_EQ(kit.screen().hitTest({200, 400}), nullptr);
  EXPECT_EQ(kit.screen().snapshot(1).pixel(200, 400), 0u);
  EXPECT_TRUE(app.windows().empty());
}

TEST_F(SimUITest, TheApplicationsWindowsAreTheScreensInLevelOrderAndTheirStateIsTheKits) {
  auto first = kit.addWindow();
  auto second = kit.addWindow();
  first->setWindowLevel(kWindowLevelNormal + 1);
  second->setBounds({0, 0, 320, 480});
  EXPECT_EQ(app.windows(), (std::vector<std::shared_ptr<Window>>{second, first}));
  EXPECT_EQ(second->kit().frame().width, 320);
  EXPECT_EQ(app.firstNormalWindowSize(), std::make_pair(320.0, 480.0));

  // Shown again, a window comes to the front of its level.
  auto third = kit.addWindow();
  second->setHidden(true);
  second->setHidden(false);
  EXPECT_EQ(app.windows(), (std::vector<std::shared_ptr<Window>>{third, second, first}));
}

TEST_F(SimUITest, APresentationThroughTheKitSendsTheAppearanceMessagesThroughTheMethodTables) {
  std::vector<std::string> seen;
  for (const char* selector : {"viewWillAppear:", "viewDidAppear:", "viewWillDisappear:", "viewDidDisappear:"}) {
    ImpPtr previous = viewControllerClass->lookupMethod(selector);
    viewControllerClass->replaceMethod(selector, MakeImp([&seen, previous, selector](HostObject& self,
                                                                                     const HostArgs& args) {
      CallImp(previous, self, args);
      seen.push_back(self.className() + " " + selector + (*HostArg<bool>(args, 0) ? " animated" : ""));
      return std::any();
    }));
  }
  sim.hostRuntime()->defineClass("CartViewController", "UIViewController");
  auto home = kit.makeViewController();
  auto window = kit.addWindow(home);
  EXPECT_TRUE(seen.empty());  // the test says when the root appears
  kit.appear(home);
  seen.clear();

  auto cart = kit.makeViewController("CartViewController");
  home->presentViewController(cart, true);
  sim.advance(1);
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "CartViewController viewWillAppear: animated", "UIViewController viewWillDisappear: animated",
                      "CartViewController viewDidAppear: animated", "UIViewController viewDidDisappear: animated"}));
  EXPECT_TRUE(cart->appeared());
  EXPECT_FALSE(home->appeared());
  EXPECT_EQ(cart->viewWindow(), window);

  seen.clear();
  cart->dismissViewController(false);
  sim.runUntilIdle();
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "CartViewController viewWillDisappear:", "UIViewController viewWillAppear:",
                      "CartViewController viewDidDisappear:", "UIViewController viewDidAppear:"}));
  EXPECT_TRUE(home->appeared());
  EXPECT_EQ(home->presentedViewController(), nullptr);
}

TEST_F(SimUITest, RegisteringForRemoteNotificationsDeliversTheScriptedTokenLaterToADelegateThatTakesIt) {
  auto application = app.applicationObject();
  auto answer = [&] { return std::any_cast<bool>(application->send("isRegisteredForRemoteNotifications")); };
  EXPECT_FALSE(answer());

  auto delegate_class = sim.hostRuntime()->defineClass("AppDelegate", "NSObject");
  std::vector<std::string> tokens;
  delegate_class->addMethod("application:didRegisterForRemoteNotificationsWithDeviceToken:",
                            MakeImp([&](HostObject&, const HostArgs& args) {
                              EXPECT_TRUE(sim.isMainThread());
                              EXPECT_EQ(*HostArg<std::shared_ptr<HostObject>>(args, 0), application);
                              tokens.push_back(Text(args[1]));
                              return std::any();
                            }));
  app.setDelegate(app.makeObject("AppDelegate"));

  // No token scripted: the request stays unanswered.
  application->send("registerForRemoteNotifications");
  sim.runUntilIdle();
  EXPECT_TRUE(tokens.empty());

  app.device_token = std::string("\x01\xff", 2);
  application->send("registerForRemoteNotifications");
  app.device_token = std::string("later");  // the request already took the token
  EXPECT_TRUE(tokens.empty());              // not before the main queue runs
  sim.runUntilIdle();
  EXPECT_EQ(tokens, std::vector<std::string>{std::string("\x01\xff", 2)});
  EXPECT_TRUE(answer());
  EXPECT_EQ(app.remote_notification_registrations, 2u);

  // A delegate without the callback is not sent it.
  app.setDelegate(app.makeObject("NSObject"));
  application->send("registerForRemoteNotifications");
  sim.runUntilIdle();
  EXPECT_EQ(tokens.size(), 1u);
}

TEST_F(SimUITest, NotificationSettingsAreAnsweredOffTheMainQueueAsTheyWereWhenAsked) {
  app.notification_settings = SimApplication::AllowedNotificationSettings();
  std::vector<int> statuses;
  bool on_main = true;
  app.getNotificationSettings([&](const NotificationSettings& settings) {
    on_main = sim.isMainThread();
    statuses.push_back(settings.authorizationStatus);
  });
  app.notification_settings.authorizationStatus = 1;
  EXPECT_TRUE(statuses.empty());
  sim.runUntilIdle();
  EXPECT_EQ(statuses, std::vector<int>{2});
  EXPECT_FALSE(on_main);

  app.notification_settings_inline = true;
  app.getNotificationSettings([&](const NotificationSettings& settings) { statuses.push_back(settings.authorizationStatus); });
  EXPECT_EQ(statuses, (std::vector<int>{2, 1}));
  EXPECT_EQ(app.notification_settings_requests, 2u);
}

}  // namespace
}  // namespace tessarin::platform::sim

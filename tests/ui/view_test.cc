// Views, windows and the screen's window list: the hierarchy, hit testing
// and coordinates, window ordering, visibility and pass-through.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/notification_center.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/pass_through_window.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {
namespace {

std::shared_ptr<View> MakeView(Rect frame) { return std::make_shared<View>(frame); }

TEST(ViewHierarchy, AddInsertMoveAndRemoveKeepTheOrder) {
  auto root = MakeView({0, 0, 100, 100});
  auto a = MakeView({}), b = MakeView({}), c = MakeView({});
  root->addSubview(a);
  root->addSubview(b);
  root->insertSubview(c, 0);
  EXPECT_EQ(root->subviews(), (std::vector<std::shared_ptr<View>>{c, a, b}));
  // Re-inserting moves within the order; adding to another view moves there.
  root->insertSubview(c, 3);
  EXPECT_EQ(root->subviews(), (std::vector<std::shared_ptr<View>>{a, b, c}));
  auto other = MakeView({});
  other->addSubview(a);
  EXPECT_EQ(root->subviews(), (std::vector<std::shared_ptr<View>>{b, c}));
  EXPECT_EQ(a->superview(), other.get());
  // A view cannot become its own ancestor's subview.
  a->addSubview(other);
  EXPECT_EQ(other->superview(), nullptr);
  b->removeFromSuperview();
  EXPECT_EQ(b->superview(), nullptr);
  EXPECT_EQ(root->subviews(), (std::vector<std::shared_ptr<View>>{c}));
}

TEST(ViewHierarchy, SubviewsOutliveTheirSuperviewWithoutDanglingPointers) {
  auto child = MakeView({});
  {
    auto parent = MakeView({});
    parent->addSubview(child);
  }
  EXPECT_EQ(child->superview(), nullptr);
  EXPECT_EQ(child->window(), nullptr);
}

TEST(ViewGeometry, ConvertsPointsThroughFramesAndBoundsOrigins) {
  auto root = MakeView({0, 0, 400, 400});
  auto panel = MakeView({50, 100, 200, 200});
  auto inner = MakeView({10, 20, 50, 50});
  root->addSubview(panel);
  panel->addSubview(inner);
  EXPECT_EQ(inner->convertPoint({1, 2}, root.get()), (Point{61, 122}));
  EXPECT_EQ(root->convertPoint({61, 122}, inner.get()), (Point{1, 2}));
  EXPECT_EQ(inner->convertPointFrom({61, 122}, nullptr), (Point{1, 2}));
  // Scrolling the panel's content moves its subviews the other way.
  panel->setBounds({5, 5, 200, 200});
  EXPECT_EQ(inner->convertPoint({0, 0}, root.get()), (Point{55, 115}));
  EXPECT_EQ(panel->frame(), (Rect{50, 100, 200, 200}));
  // Resizing the bounds keeps the centre.
  panel->setBounds({5, 5, 100, 100});
  EXPECT_EQ(panel->frame(), (Rect{100, 150, 100, 100}));
}

TEST(ViewHitTest, FrontmostTakingViewWinsAndExcludedViewsLetTouchesThrough) {
  auto root = MakeView({0, 0, 300, 300});
  auto back = MakeView({0, 0, 200, 200});
  auto front = MakeView({100, 100, 200, 200});
  auto child = MakeView({10, 10, 20, 20});
  root->addSubview(back);
  root->addSubview(front);
  front->addSubview(child);

  EXPECT_EQ(root->hitTest({150, 150}), front.get());  // overlap: the later subview
  EXPECT_EQ(root->hitTest({50, 50}), back.get());
  EXPECT_EQ(root->hitTest({115, 115}), child.get());
  EXPECT_EQ(root->hitTest({350, 10}), nullptr);

  struct Case {
    const char* what;
    std::function<void(bool)> exclude;
  };
  std::vector<Case> cases = {
      {"hidden", [&](bool on) { front->setHidden(on); }},
      {"interaction off", [&](bool on) { front->setUserInteractionEnabled(!on); }},
      {"nearly transparent", [&](bool on) { front->setAlpha(on ? 0.009 : 1); }},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.what);
    c.exclude(true);
    // Neither the view nor its subviews take the touch; the view behind does.
    EXPECT_EQ(root->hitTest({150, 150}), back.get());
    EXPECT_EQ(root->hitTest({115, 115}), back.get());
    EXPECT_EQ(root->hitTest({250, 250}), root.get());
    c.exclude(false);
  }
  front->setAlpha(0.01);
  EXPECT_EQ(root->hitTest({150, 150}), front.get());
  // A subview outside its superview's bounds is not reachable.
  auto outside = MakeView({250, 0, 40, 40});
  back->addSubview(outside);
  EXPECT_EQ(root->hitTest({260, 10}), root.get());
}

class WindowTest : public testing::Test {
 protected:
  sim::SimPlatform sim_;
  UIEnvironment env_{sim_};
  Screen screen_{env_, {375, 667}, 2};

  std::shared_ptr<Window> MakeWindow(double level) {
    auto window = std::make_shared<Window>(screen_);
    window->setWindowLevel(level);
    return window;
  }
};

TEST_F(WindowTest, LevelsKeepNormalBelowAlertMinusOneBelowAlertBelowStatusBar) {
  EXPECT_LT(kWindowLevelNormal, kWindowLevelAlert - 1);
  EXPECT_LT(kWindowLevelAlert - 1, kWindowLevelAlert);
  EXPECT_LT(kWindowLevelAlert, kWindowLevelStatusBar);

  auto status = MakeWindow(kWindowLevelStatusBar);
  auto overlay = MakeWindow(kWindowLevelAlert - 1);
  auto app = MakeWindow(kWindowLevelNormal);
  auto alert = MakeWindow(kWindowLevelAlert);
  EXPECT_EQ(screen_.windows(), (std::vector<Window*>{app.get(), overlay.get(), alert.get(), status.get()}));
}

TEST_F(WindowTest, WithinALevelTheWindowShownLastIsInFront) {
  auto first = MakeWindow(kWindowLevelNormal);
  auto second = MakeWindow(kWindowLevelNormal);
  first->makeKeyAndVisible();
  second->makeKeyAndVisible();
  EXPECT_EQ(screen_.windows(), (std::vector<Window*>{first.get(), second.get()}));
  EXPECT_TRUE(second->isKeyWindow());
  first->setHidden(true);
  first->makeKeyAndVisible();
  EXPECT_EQ(screen_.windows(), (std::vector<Window*>{second.get(), first.get()}));
  EXPECT_TRUE(first->isKeyWindow());
  EXPECT_FALSE(second->isKeyWindow());
}

TEST_F(WindowTest, BecomingVisiblePostsOnceAndShowsTheRootViewController) {
  struct Root : ViewController {
    std::vector<std::string> calls;
    void viewWillAppear(bool) override { calls.push_back("willAppear"); }
    void viewDidAppear(bool) override { calls.push_back("didAppear"); }
    void viewWillDisappear(bool) override { calls.push_back("willDisappear"); }
    void viewDidDisappear(bool) override { calls.push_back("didDisappear"); }
  };
  auto window = MakeWindow(kWindowLevelAlert - 1);
  auto root = std::make_shared<Root>();
  window->setRootViewController(root);
  EXPECT_TRUE(root->calls.empty());  // hidden windows show nothing
  EXPECT_EQ(root->view()->superview(), window.get());
  EXPECT_EQ(root->view()->frame(), screen_.bounds());

  std::vector<const void*> posted;
  auto token = sim_.notificationCenter().addObserver(kWindowDidBecomeVisibleNotification, nullptr, nullptr,
                                                     [&](const Notification& n) { posted.push_back(n.object); });
  window->makeKeyAndVisible();
  window->makeKeyAndVisible();
  EXPECT_EQ(posted, (std::vector<const void*>{window.get()}));
  EXPECT_EQ(root->calls, (std::vector<std::string>{"willAppear", "didAppear"}));
  window->setHidden(true);
  window->setHidden(false);
  EXPECT_EQ(posted.size(), 2u);
  EXPECT_EQ(root->calls, (std::vector<std::string>{"willAppear", "didAppear", "willDisappear", "didDisappear",
                                                   "willAppear", "didAppear"}));
  sim_.notificationCenter().removeObserver(token);
}

TEST_F(WindowTest, TheScreenKeepsVisibleWindowsAliveAndLetsHiddenOnesGo) {
  std::weak_ptr<Window> weak;
  {
    auto window = MakeWindow(kWindowLevelNormal);
    weak = window;
    window->makeKeyAndVisible();
  }
  ASSERT_FALSE(weak.expired());
  EXPECT_EQ(screen_.windows().size(), 1u);
  weak.lock()->setHidden(true);
  // Released on the main queue after it has finished hiding.
  sim_.runUntilIdle();
  EXPECT_TRUE(weak.expired());
  EXPECT_TRUE(screen_.windows().empty());
}


TEST_F(WindowTest, HitTestingGoesTopDownAndFallsThroughWhatTheOverlayDoesNotTake) {
  auto app = MakeWindow(kWindowLevelNormal);
  auto appButton = MakeView({0, 500, 375, 100});
  app->addSubview(appButton);
  app->makeKeyAndVisible();

  auto overlay = std::make_shared<PassThroughWindow>(screen_);
  overlay->setWindowLevel(kWindowLevelAlert - 1);
  overlay->setRootViewController(std::make_shared<ViewController>());
  auto panel = MakeView({10, 10, 355, 100});
  overlay->rootViewController()->view()->addSubview(panel);
  overlay->makeKeyAndVisible();

  EXPECT_EQ(screen_.hitTest({50, 50}), panel.get());
  EXPECT_EQ(screen_.hitTest({50, 550}), appButton.get());  // through the overlay
  EXPECT_EQ(screen_.hitTest({50, 300}), app.get());
  EXPECT_TRUE(screen_.touchDown(1, {50, 550}, sim_.now(Clock::kMonotonic)));
  EXPECT_TRUE(screen_.touchUp(1, {50, 550}, sim_.now(Clock::kMonotonic)));

  // Without the app's window nothing takes it: the host gets the touch.
  app->setHidden(true);
  EXPECT_EQ(screen_.hitTest({50, 550}), nullptr);
  EXPECT_FALSE(screen_.touchDown(2, {50, 550}, sim_.now(Clock::kMonotonic)));
  EXPECT_FALSE(screen_.touchMoved(2, {60, 550}, sim_.now(Clock::kMonotonic)));
  EXPECT_FALSE(screen_.touchUp(2, {60, 550}, sim_.now(Clock::kMonotonic)));
  EXPECT_TRUE(screen_.touchDown(3, {50, 50}, sim_.now(Clock::kMonotonic)));
}

TEST_F(WindowTest, SetNeedsLayoutRunsOnePassOnTheMainQueue) {
  struct Counting : View {
    int passes = 0;
    void layoutSubviews() override { ++passes; }
  };
  auto window = MakeWindow(kWindowLevelNormal);
  auto view = std::make_shared<Counting>();
  window->addSubview(view);
  sim_.runUntilIdle();
  int before = view->passes;
  EXPECT_EQ(before, 1);
  view->setNeedsLayout();
  view->setNeedsLayout();
  EXPECT_EQ(view->passes, before);
  sim_.runUntilIdle();
  EXPECT_EQ(view->passes, before + 1);
  view->setNeedsLayout();
  view->layoutIfNeeded();
  EXPECT_EQ(view->passes, before + 2);
  sim_.runUntilIdle();
  EXPECT_EQ(view->passes, before + 2);
}

}  // namespace
}  // namespace tessarin::platform::ui

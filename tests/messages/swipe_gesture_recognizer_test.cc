// The swipe-to-dismiss recognizer of in-app messages, on a panel placed by
// constraints in a view controller's view on the simulated screen, driven
// by scripted touches on virtual time.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/animator.h"
#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout_guide.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/ui/touch_script.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"
#include "support/log_capture.h"
#include "ui/swipe_gesture_recognizer.h"

namespace tessarin {
namespace {

namespace ui = platform::ui;
using testing::LogCapture;
using ui::GestureRecognizer;
using ui::Rect;
using ui::TouchScript;
using Swipe = TSRUISwipeGestureRecognizer;

constexpr ui::Point kCentre{195, 160};  // of the panel at rest
constexpr Rect kResting{10, 100, 370, 120};
constexpr double kFrame = TouchScript::kFrameInterval;

Rect MovedBy(double dx, double dy) { return {kResting.x + dx, kResting.y + dy, kResting.width, kResting.height}; }

class SwipeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    window_ = std::make_shared<ui::Window>(kit_.screen());
    root_ = std::make_shared<ui::ViewController>();
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
    NewPanel();
  }

  // A fresh panel in the root view, to be placed by the test.
  void NewPanel() {
    if (panel_) panel_->removeFromSuperview();
    panel_ = std::make_shared<ui::View>(Rect{});
    panel_->setTranslatesAutoresizingMaskIntoConstraints(false);
    root_->view()->addSubview(panel_);
  }

  // Placed as a message at the top is, at kResting.
  void PlacePanel() {
    Add("|-10-[panel]-10-|");
    Add("V:|-100-[panel(120)]");
  }

  void Add(const std::string& format, std::map<std::string, ui::layout::LayoutItem*> views = {}) {
    views["panel"] = panel_.get();
    std::string error;
    root_->view()->addConstraints(
        ui::layout::LayoutConstraint::constraintsWithVisualFormat(format, {}, views, root_->view().get(), &error));
    ASSERT_EQ(error, "") << format;
  }

  std::shared_ptr<Swipe> Attach(const std::vector<std::string>& directions, const Json& options = Json::object()) {
    Swipe::SwipeActions actions;
    for (const auto& direction : directions) {
      actions[direction] = [this, direction](GestureRecognizer& sender) {
        fired_.push_back(direction);
        sender_ = &sender;
      };
    }
    auto recognizer = Swipe::initWithSwipeActions(actions, options);
    if (recognizer) panel_->addGestureRecognizer(recognizer);
    return recognizer;
  }

  // The panel as shown, once pending layout has run.
  Rect Frame() {
    sim_.runUntilIdle();
    return panel_->frame();
  }
  void Start(const TouchScript& script) { script.play(kit_.screen(), sim_); }
  // Plays the whole script; its last event has just happened.
  void Play(const TouchScript& script) {
    Start(script);
    Advance(script.duration() + 0.001);
  }
  void Advance(double seconds) { sim_.advance(seconds); }
  std::size_t Animating() { return kit_.environment().animator().activeAnimations(); }

  platform::sim::SimPlatform sim_;
  ui::sim::SimUI& kit_ = ui::sim::SimUI::of(sim_);
  std::shared_ptr<ui::Window> window_;
  std::shared_ptr<ui::ViewController> root_;
  std::shared_ptr<ui::View> panel_;
  std::vector<std::string> fired_;
  GestureRecognizer* sender_ = nullptr;
  LogCapture logs_;
};

TEST_F(SwipeTest, CreationNeedsADirectionAndOptionsReadAsNumbersOrKeepTheirDefaults) {
  auto noop = [](GestureRecognizer&) {};
  EXPECT_EQ(Swipe::initWithSwipeActions({}, Json::object()), nullptr);
  EXPECT_EQ(Swipe::initWithSwipeActions({{"swipeSideways", noop}}, Json::object()), nullptr);
  EXPECT_EQ(Swipe::initWithSwipeActions({{"swipeLeft", nullptr}}, Json::object()), nullptr);  // no block, no action
  EXPECT_EQ(logs_.count("UI: Swipe recognizer requires valid swipe direction", TSRLogLevelWarn), 3);

  auto defaults = Swipe::initWithSwipeActions(
      {{"swipeDown", noop}}, Json{{"swipesTimeThreshold", std::numeric_limits<double>::quiet_NaN()},
                                  {"swipesAxisLockThreshold", "12"}, {"swipesResetAnimDuration", nullptr}});
  ASSERT_NE(defaults, nullptr);
  EXPECT_EQ(defaults->axisLockThreshold(), 10);
  EXPECT_EQ(defaults->keepHoldThreshold(), 20);
  EXPECT_EQ(defaults->timeThreshold(), 0.45);
  EXPECT_EQ(defaults->velocityThreshold(), 500);
  EXPECT_EQ(defaults->resetAnimDuration(), 0.3);
  auto odd = Swipe::initWithSwipeActions({{"swipeDown", noop}},
                                         Json{{"swipesVelocityThreshold", 1e308}, {"swipesKeepHoldThreshold", true}});
  EXPECT_TRUE(std::isinf(odd->velocityThreshold()));  // held as a float
  EXPECT_EQ(odd->keepHoldThreshold(), 1);
}

// Only "swipeUp": sideways the panel never moves, and an upward drag too
// slow to fling comes back however far it went.
TEST_F(SwipeTest, OnlyUpConfigured) {
  Add("|-10-[panel]-10-|");
  // Against the top layout guide, which counts as the superview does.
  Add("V:[topLG]-100-[panel(120)]", {{"topLG", root_->topLayoutGuide().get()}});
  Attach({"swipeUp"});
  ASSERT_EQ(Frame(), kResting);

  Start(TouchScript().down(kCentre).dragBy({150, 0}, 300).up());
  Advance(0.3);
  EXPECT_EQ(Frame(), kResting);
  Advance(1);
  Play(TouchScript().down(kCentre).dragBy({-200, 0}, 900).up());
  EXPECT_EQ(Frame(), kResting);
  // Before any lock the finger may stray 20 points past each side.
  Play(TouchScript().down(kCentre).dragBy({250, 0}, 300).up());
  EXPECT_EQ(logs_.count("UI: Swipe lost hold", TSRLogLevelDebug), 1);
  EXPECT_EQ(logs_.count("UI: Swipe reset"), 0);

  Start(TouchScript().down(kCentre).dragBy({0, -900}, 300).up());
  Advance(1.5 + 0.001);
  EXPECT_EQ(Frame(), MovedBy(0, -440));  // 450 less the 10 of the lock
  EXPECT_NEAR(panel_->alpha(), 1 - 440.0 / 844, 1e-9);
  Advance(1.5 + 0.15);
  EXPECT_EQ(logs_.count("UI: Swipe reset"), 1);
  EXPECT_GT(Frame().y, kResting.y - 890);
  EXPECT_LT(Frame().y, kResting.y);
  Advance(0.15 + 2 * kFrame);
  EXPECT_EQ(Frame(), kResting);
  EXPECT_EQ(panel_->alpha(), 1);
  EXPECT_TRUE(fired_.empty());
}

TEST_F(SwipeTest, ALeftFlingNeedsTheVelocityThresholdAndRunsItsActionOnceAfterTheAnimation) {
  PlacePanel();
  auto recognizer = Attach({"swipeLeft", "swipeUp"});
  Play(TouchScript().down(kCentre).dragBy({-150, 0}, 400).up());
  Advance(0.3 + 2 * kFrame);
  EXPECT_EQ(Frame(), kResting);
  EXPECT_FALSE(recognizer->finished());

  Start(TouchScript().down(kCentre).dragBy({-150, 0}, 600).up());
  Advance(0.1 + 0.001);
  EXPECT_EQ(Frame(), MovedBy(-50, 0));  // follows from the lock on, no jump
  Advance(0.15);
  EXPECT_TRUE(recognizer->finished());
  // 140 dragged, 250 to go at 600 points a second: 0.417 s.
  Advance(0.38);
  EXPECT_TRUE(fired_.empty());
  Advance(0.06);
  EXPECT_EQ(fired_, (std::vector<std::string>{"swipeLeft"}));
  EXPECT_EQ(sender_, recognizer.get());
  EXPECT_EQ(logs_.count("UI: Swiped swipeLeft", TSRLogLevelDebug), 1);
  EXPECT_EQ(Frame(), MovedBy(-390, 0));  // a superview's width from rest
  EXPECT_EQ(panel_->alpha(), 0);
  Advance(1);
  EXPECT_EQ(fired_.size(), 1u);
}

TEST_F(SwipeTest, AReleaseAfterHoldingStillIsNoSwipeAndThePanelReturnsOverTheResetDuration) {
  PlacePanel();
  Attach({"swipeLeft"});
  Start(TouchScript().down(kCentre).dragBy({-100, 0}, 600).wait(0.5).up());
  Advance(0.4);
  EXPECT_EQ(Frame(), MovedBy(-90, 0));
  Advance(0.3 + 0.15);
  EXPECT_GT(Frame().x, kResting.x - 90);
  EXPECT_LT(Frame().x, kResting.x);
  // Grabbed on its way back, it follows the new drag from where it rests.
  Start(TouchScript().down(kCentre).dragBy({-60, 0}, 600).wait(0.5).up());
  Advance(0.4);
  EXPECT_EQ(Frame(), MovedBy(-50, 0));
  EXPECT_EQ(panel_->alpha(), 1 - 50.0 / 390);
  Advance(0.2 + 0.3 + 2 * kFrame);  // released, then back
  EXPECT_EQ(Frame(), kResting);
  EXPECT_EQ(panel_->alpha(), 1);
  EXPECT_TRUE(fired_.empty());
}

// Stopped 50 ms before lifting, the finger still has speed (the velocity
// looks back a tenth of a second): the time threshold decides.
TEST_F(SwipeTest, TheTimeThresholdDecidesWhetherAReleaseAfterAPauseFlings) {
  for (double threshold : {0.04, 0.06}) {
    NewPanel();
    PlacePanel();
    Attach({"swipeLeft"}, Json{{"swipesTimeThreshold", threshold}});
    Play(TouchScript().down(kCentre).dragBy({-150, 0}, 1500).wait(0.05).up());
    Advance(1);
  }
  EXPECT_EQ(fired_, (std::vector<std::string>{"swipeLeft"}));
}

TEST_F(SwipeTest, AFingerMoreThanTwentyPointsPastTheEdgeAcrossTheDragLosesHold) {
  PlacePanel();
  Attach({"swipeLeft"});
  // Locked sideways, then down: 15 points below the bottom edge still holds.
  Start(TouchScript().down(kCentre).dragBy({-60, 0}, 300).dragBy({0, 75}, 300).dragBy({0, 30}, 300).up());
  Advance(0.45 + 0.001);
  EXPECT_EQ(Frame(), MovedBy(-50, 0));
  EXPECT_EQ(logs_.count("UI: Swipe lost hold"), 0);
  Advance(0.1);
  EXPECT_EQ(logs_.count("UI: Swipe lost hold"), 1);
  EXPECT_EQ(logs_.count("UI: Swipe ended"), 1);
  Advance(0.3 + 2 * kFrame);  // back, with the finger still down
  EXPECT_EQ(Frame(), kResting);

  // Along the drag the panel follows the finger, so a bound tighter than
  // the lock does not end a drag that began at the edge.
  NewPanel();
  PlacePanel();
  Attach({"swipeLeft"}, Json{{"swipesKeepHoldThreshold", 5}});
  Start(TouchScript().down({13, 160}).dragBy({-60, 0}, 300).wait(0.2).up());
  Advance(0.2 + 0.001);
  EXPECT_EQ(Frame(), MovedBy(-50, 0));
  EXPECT_EQ(logs_.count("UI: Swipe lost hold"), 1);
  EXPECT_TRUE(fired_.empty());
}

TEST_F(SwipeTest, TheAxisLocksOntoTheLargerMovementAnewEachGestureUnlessTheLockIsOff) {
  PlacePanel();
  Attach({"swipeLeft", "swipeUp"});
  Start(TouchScript().down(kCentre).dragBy({-40, -20}, 300).wait(0.2).up());
  Advance(0.2);
  EXPECT_EQ(Frame(), MovedBy(-30, 0));
  Advance(1);
  Start(TouchScript().down(kCentre).dragBy({0, -40}, 300).wait(0.2).up());
  Advance(0.2);
  EXPECT_EQ(Frame(), MovedBy(0, -30));
  Advance(1);

  NewPanel();
  PlacePanel();
  Attach({"swipeLeft", "swipeUp"}, Json{{"swipesAxisLockThreshold", -1}});
  Start(TouchScript().down(kCentre).dragBy({-40, -20}, 300).wait(0.2).up());
  Advance(0.2);
  EXPECT_EQ(Frame(), MovedBy(-40, -20));
  EXPECT_EQ(panel_->alpha(), 1);
  Advance(1);
  EXPECT_EQ(Frame(), kResting);
}

TEST_F(SwipeTest, APanelWithoutConstraintsToItsSuperviewOnBothAxesCannotBeSwiped) {
  const char* warning = "UI: Swipe recognizer cannot find view's horizontal/vertical constraints";
  panel_->setTranslatesAutoresizingMaskIntoConstraints(true);
  panel_->setFrame(kResting);
  Attach({"swipeLeft"});
  Play(TouchScript().down(kCentre).dragBy({-150, 0}, 600).up());
  Advance(1);
  EXPECT_EQ(logs_.count(warning, TSRLogLevelWarn), 1);  // once a gesture
  EXPECT_EQ(Frame(), kResting);

  // Vertically it is placed against a sibling only.
  NewPanel();
  auto header = std::make_shared<ui::View>(Rect{});
  header->setTranslatesAutoresizingMaskIntoConstraints(false);
  root_->view()->addSubview(header);
  Add("|-10-[panel]-10-|");
  Add("V:|-50-[header(40)]-10-[panel(120)]", {{"header", header.get()}});
  Rect resting = Frame();
  Attach({"swipeLeft"});
  Play(TouchScript().down({195, resting.y + 60}).dragBy({-150, 0}, 600).up());
  Advance(1);
  EXPECT_EQ(logs_.count(warning, TSRLogLevelWarn), 2);
  EXPECT_EQ(Frame(), resting);
  EXPECT_EQ(panel_->alpha(), 1);
  EXPECT_TRUE(fired_.empty());
  EXPECT_EQ(logs_.count("UI: Swipe began"), 0);
}

TEST_F(SwipeTest, InARightToLeftLayoutSwipeLeftStillMovesTowardsTheScreensLeftEdge) {
  kit_.environment().setLayoutDirection(ui::LayoutDirection::kRightToLeft);
  PlacePanel();
  auto recognizer = Attach({"swipeLeft"});
  ASSERT_EQ(Frame(), kResting);
  Start(TouchScript().down(kCentre).dragBy({-100, 0}, 300).wait(0.6).up());
  Advance(0.5);
  EXPECT_EQ(Frame(), MovedBy(-90, 0));
  // Trailing is the left side here, so it leads the list.
  auto horizontal = recognizer->horizontalConstraints();
  ASSERT_EQ(horizontal.size(), 2u);
  EXPECT_EQ(horizontal.front()->secondAttribute(), ui::LayoutAttribute::kTrailing);
  Advance(1);
  Play(TouchScript().down(kCentre).dragBy({-150, 0}, 600).up());
  Advance(1);
  EXPECT_EQ(fired_, (std::vector<std::string>{"swipeLeft"}));
  EXPECT_EQ(Frame(), MovedBy(-390, 0));
}

TEST_F(SwipeTest, AfterAFlingFurtherGesturesAreIgnored) {
  PlacePanel();
  auto recognizer = Attach({"swipeLeft", "swipeRight"});
  Play(TouchScript().down(kCentre).dragBy({-150, 0}, 600).up());
  Advance(1);
  // Even if the app put the panel back, it no longer moves or fires.
  for (const auto& constraint : recognizer->horizontalConstraints()) constraint->setConstant(10);
  panel_->setAlpha(1);
  ASSERT_EQ(Frame(), kResting);
  Play(TouchScript().down(kCentre).dragBy({150, 0}, 600).up());
  Advance(1);
  EXPECT_EQ(Frame(), kResting);
  EXPECT_EQ(fired_.size(), 1u);
  EXPECT_EQ(logs_.count("UI: Swipe began"), 1);
}

// Whatever numbers a message carries: no crash, no animation that never
// ends, nothing out of range, and a crawl of a fling still ends.
TEST_F(SwipeTest, HostileOptionsNeverBreakTheRecognizer) {
  const double inf = std::numeric_limits<double>::infinity();
  auto all = [](const Json& value) {
    Json options;
    for (const char* key : {"swipesAxisLockThreshold", "swipesKeepHoldThreshold", "swipesTimeThreshold",
                            "swipesVelocityThreshold", "swipesResetAnimDuration"}) {
      options[key] = value;
    }
    return options;
  };
  const std::vector<Json> cases = {all(std::numeric_limits<double>::quiet_NaN()), all(-1), all(1e308), all(inf),
                                   all(-inf), all(true), Json::array(),
                                   Json{{"swipesResetAnimDuration", 1e308}, {"swipesVelocityThreshold", 1e308}}};
  for (const Json& options : cases) {
    SCOPED_TRACE(JsonDump(options));
    NewPanel();
    PlacePanel();
    fired_.clear();
    ASSERT_NE(Attach({"swipeLeft", "swipeDown"}, options), nullptr);
    Play(TouchScript().down(kCentre).dragBy({-100, 30}, 50).up());
    Advance(5 + 2 * kFrame);  // the longest any panel animation runs
    Play(TouchScript().down(kCentre).dragBy({-150, 0}, 900).up());
    Advance(5 + 2 * kFrame);
    EXPECT_EQ(Animating(), 0u);
    EXPECT_GE(panel_->alpha(), 0);
    EXPECT_LE(panel_->alpha(), 1);
    if (fired_.empty()) {
      EXPECT_EQ(Frame(), kResting);
    }
  }

  // No velocity threshold: a crawl of a release flings, in five seconds
  // rather than the six its speed would take.
  NewPanel();
  PlacePanel();
  fired_.clear();
  Attach({"swipeLeft"}, Json{{"swipesVelocityThreshold", -5}});
  Play(TouchScript().down(kCentre).dragBy({-100, 0}, 50).up());
  Advance(4.9);
  EXPECT_TRUE(fired_.empty());
  Advance(0.1 + 2 * kFrame);
  EXPECT_EQ(fired_, (std::vector<std::string>{"swipeLeft"}));
}

}  // namespace
}  // namespace tessarin

// Gesture recognizers and touch delivery, driven by scripted touches on
// virtual time: pan (translation, velocity, states, reset), tap, long
// press, buttons, and what views hear when a recognizer takes the touches.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/button.h"
#include "platform/ui/long_press_gesture_recognizer.h"
#include "platform/ui/pan_gesture_recognizer.h"
#include "platform/ui/screen.h"
#include "platform/ui/tap_gesture_recognizer.h"
#include "platform/ui/touch_script.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/window.h"
#include "touch_log.h"

namespace tessarin::platform::ui {
namespace {

class GestureTest : public testing::Test {
 protected:
  void SetUp() override {
    window_ = std::make_shared<Window>(screen_);
    window_->makeKeyAndVisible();
    panel_ = std::make_shared<TouchLog>(Rect{10, 100, 355, 120});
    window_->addSubview(panel_);
  }

  // Plays the script and advances virtual time past its end.
  void Play(const TouchScript& script) {
    auto playback = script.play(screen_, sim_);
    sim_.advance(script.duration() + 0.001);
    ASSERT_TRUE(playback->finished);
  }

  template <typename R>
  std::shared_ptr<R> Attach(View& view, std::vector<GestureState>* states) {
    auto recognizer = std::make_shared<R>();
    recognizer->addTarget([states](GestureRecognizer& r) { states->push_back(r.state()); });
    view.addGestureRecognizer(recognizer);
    return recognizer;
  }

  sim::SimPlatform sim_;
  UIEnvironment env_{sim_};
  Screen screen_{env_, {375, 667}, 2};
  std::shared_ptr<Window> window_;
  std::shared_ptr<TouchLog> panel_;
};

std::vector<GestureState> Collapse(const std::vector<GestureState>& states) {
  std::vector<GestureState> out;
  for (GestureState s : states) {
    if (out.empty() || out.back() != s) out.push_back(s);
  }
  return out;
}

TEST_F(GestureTest, PanFollowsADragOfTwoHundredPointsLeftAtSixHundredPointsASecond) {
  std::vector<GestureState> states;
  std::vector<Point> translations;
  auto pan = Attach<PanGestureRecognizer>(*panel_, &states);
  Point velocityAtEnd, locationAtEnd;
  pan->addTarget([&](GestureRecognizer& r) {
    auto& p = static_cast<PanGestureRecognizer&>(r);
    translations.push_back(p.translationInView(panel_->superview()));
    if (r.state() == GestureState::kEnded) {
      velocityAtEnd = p.velocityInView(panel_->superview());
      locationAtEnd = p.locationInView(panel_.get());
    }
  });
  Play(TouchScript().down({300, 150}).dragBy({-200, 0}, 600).up());

  EXPECT_EQ(Collapse(states), (std::vector<GestureState>{GestureState::kBegan, GestureState::kChanged, GestureState::kEnded}));
  ASSERT_FALSE(translations.empty());
  EXPECT_LE(translations.front().x, -10);  // begins after the hysteresis
  EXPECT_GT(translations.front().x, -30);
  EXPECT_EQ(translations.back(), (Point{-200, 0}));
  EXPECT_NEAR(velocityAtEnd.x, -600, 1);
  EXPECT_NEAR(velocityAtEnd.y, 0, 1e-9);
  // Where the finger lifted, in the panel's own coordinates.
  EXPECT_EQ(locationAtEnd, (Point{90, 50}));
  // Back to possible. A frame's move at this speed is the whole hysteresis,
  // so the pan began on the first move: the view heard none of them.
  EXPECT_EQ(pan->state(), GestureState::kPossible);
  EXPECT_EQ(panel_->heard, (std::vector<std::string>{"began", "cancelled"}));
}

TEST_F(GestureTest, AFingerThatRestsBeforeLiftingHasNoVelocity) {
  std::vector<GestureState> states;
  auto pan = Attach<PanGestureRecognizer>(*panel_, &states);
  Point velocity{1, 1};
  pan->addTarget([&](GestureRecognizer& r) {
    if (r.state() == GestureState::kEnded) velocity = static_cast<PanGestureRecognizer&>(r).velocityInView(nullptr);
  });
  Play(TouchScript().down({100, 150}).dragBy({0, -60}, 600).wait(0.5).up());
  EXPECT_EQ(states.back(), GestureState::kEnded);
  EXPECT_EQ(velocity, (Point{0, 0}));
}

TEST_F(GestureTest, SmallMovementsNeverBeginAPanAndTheViewKeepsItsTouches) {
  std::vector<GestureState> states;
  Attach<PanGestureRecognizer>(*panel_, &states);
  Play(TouchScript().down({100, 150}).dragBy({6, 6}, 100).up());
  EXPECT_TRUE(states.empty());  // failing is silent
  EXPECT_EQ(panel_->heard, (std::vector<std::string>{"began", "moved", "ended"}));
}

// Like a swipe-to-dismiss recognizer: ends its own gesture once the finger
// strays, and puts things back in reset().
class GivingUpPan : public PanGestureRecognizer {
 public:
  int resets = 0;
  GestureState stateInReset = GestureState::kFailed;
  Point translationInReset{-1, -1};

 protected:
  void reset() override {
    ++resets;
    stateInReset = state();
    translationInReset = translationInView(nullptr);
  }
};

TEST_F(GestureTest, ASubclassCanEndTheGestureAndItsResetRunsOncePerGesture) {
  std::vector<GestureState> states;
  auto pan = Attach<GivingUpPan>(*panel_, &states);
  pan->addTarget([](GestureRecognizer& r) {
    auto& p = static_cast<PanGestureRecognizer&>(r);
    if (r.state() == GestureState::kChanged && p.translationInView(nullptr).x < -50) r.setState(GestureState::kEnded);
  });
  Play(TouchScript().down({300, 150}).dragBy({-150, 0}, 600).up());
  auto collapsed = Collapse(states);
  EXPECT_EQ(collapsed, (std::vector<GestureState>{GestureState::kBegan, GestureState::kChanged, GestureState::kEnded}));
  // The rest of the drag is not delivered once it ended.
  EXPECT_EQ(std::count(states.begin(), states.end(), GestureState::kEnded), 1);
  EXPECT_EQ(pan->resets, 1);
  EXPECT_EQ(pan->stateInReset, GestureState::kPossible);

  // The next gesture starts afresh.
  states.clear();
  Play(TouchScript().down({300, 150}).dragBy({-30, 0}, 600).up());
  EXPECT_EQ(Collapse(states), (std::vector<GestureState>{GestureState::kBegan, GestureState::kChanged, GestureState::kEnded}));
  EXPECT_EQ(pan->resets, 2);
}

TEST_F(GestureTest, SetTranslationRebasesTheTranslation) {
  std::vector<GestureState> states;
  auto pan = Attach<PanGestureRecognizer>(*panel_, &states);
  Point last;
  bool rebased = false;
  pan->addTarget([&](GestureRecognizer& r) {
    auto& p = static_cast<PanGestureRecognizer&>(r);
    if (!rebased && p.translationInView(nullptr).y >= 50) {
      p.setTranslation({0, 0}, nullptr);
      rebased = true;
    }
    last = p.translationInView(nullptr);
  });
  Play(TouchScript().down({100, 120}).dragBy({0, 80}, 600).up());
  ASSERT_TRUE(rebased);
  EXPECT_NEAR(last.y, 30, 1e-9);
}

TEST_F(GestureTest, TapRecognizesOnLiftAndFailsOnMovementOrExtraFingers) {
  std::vector<GestureState> states;
  auto tap = Attach<TapGestureRecognizer>(*panel_, &states);
  Play(TouchScript().down({100, 150}).wait(0.1).up());
  EXPECT_EQ(states, (std::vector<GestureState>{GestureState::kEnded}));
  // Recognized on lift: the view had the beginning, and hears it cancelled.
  EXPECT_EQ(panel_->heard, (std::vector<std::string>{"began", "cancelled"}));

  Play(TouchScript().down({100, 150}).dragBy({0, 30}, 300).up());
  Play(TouchScript().down({100, 150}).down({120, 150}, 2).wait(0.05).up().up(2));
  EXPECT_EQ(states.size(), 1u);

  tap->setNumberOfTouchesRequired(2);
  Play(TouchScript().down({100, 150}).down({120, 150}, 2).wait(0.05).up().up(2));
  EXPECT_EQ(states.size(), 2u);
}

TEST_F(GestureTest, AFingerOnAnotherViewIsNotTheTapsBusiness) {
  std::vector<GestureState> states;
  Attach<TapGestureRecognizer>(*panel_, &states);
  auto elsewhere = std::make_shared<TouchLog>(Rect{10, 400, 100, 100});
  window_->addSubview(elsewhere);
  Play(TouchScript().down({50, 450}).up());
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(elsewhere->heard, (std::vector<std::string>{"began", "ended"}));
}

TEST_F(GestureTest, LongPressWithThreeFingersLeavesTheAppItsTouches) {
  // The design gesture: three fingers for three seconds on the app's window,
  // neither cancelling nor delaying the app's touches.
  std::vector<GestureState> states;
  auto press = Attach<LongPressGestureRecognizer>(*window_, &states);
  press->setNumberOfTouchesRequired(3);
  press->setMinimumPressDuration(3);
  press->setCancelsTouchesInView(false);
  press->setDelaysTouchesBegan(false);

  TouchScript threeFingers;
  threeFingers.down({100, 150}, 1).down({150, 150}, 2).down({200, 150}, 3);
  auto playback = TouchScript(threeFingers).wait(2.9).up(1).up(2).up(3).play(screen_, sim_);
  sim_.advance(3.5);
  EXPECT_TRUE(states.empty());  // lifted before three seconds

  TouchScript(threeFingers).wait(3.2).moveTo({105, 150}, 1).wait(0.1).up(1).up(2).up(3).play(screen_, sim_);
  sim_.advance(2.99);
  EXPECT_TRUE(states.empty());
  sim_.advance(0.02);
  EXPECT_EQ(states, (std::vector<GestureState>{GestureState::kBegan}));
  sim_.advance(1);
  EXPECT_EQ(states, (std::vector<GestureState>{GestureState::kBegan, GestureState::kChanged, GestureState::kEnded}));
  // The panel kept hearing its finger throughout.
  EXPECT_EQ(panel_->heard.back(), "ended");
  EXPECT_EQ(std::count(panel_->heard.begin(), panel_->heard.end(), "cancelled"), 0);

  // Two fingers, or three that wander, never begin.
  states.clear();
  Play(TouchScript().down({100, 150}, 1).down({150, 150}, 2).wait(4).up(1).up(2));
  Play(TouchScript(threeFingers).dragBy({0, 40}, 100, 2).wait(4).up(1).up(2).up(3));
  EXPECT_TRUE(states.empty());
  EXPECT_TRUE(sim_.activeTimers().empty());
}

TEST_F(GestureTest, DelayedTouchesReachTheViewOnlyWhenTheRecognizerFails) {
  std::vector<GestureState> states;
  auto press = Attach<LongPressGestureRecognizer>(*panel_, &states);
  press->setDelaysTouchesBegan(true);
  Play(TouchScript().down({100, 150}).wait(0.2).up());
  EXPECT_TRUE(states.empty());
  EXPECT_EQ(panel_->heard, (std::vector<std::string>{"began", "ended"}));
  panel_->heard.clear();

  auto playback = TouchScript().down({100, 150}).wait(0.2).play(screen_, sim_);
  sim_.advance(0.1);
  EXPECT_TRUE(panel_->heard.empty());  // held back while the press may still happen
  sim_.advance(0.5);
  EXPECT_EQ(states, (std::vector<GestureState>{GestureState::kBegan}));
  EXPECT_TRUE(screen_.touchUp(1, {100, 150}, sim_.now(Clock::kMonotonic)));
  EXPECT_TRUE(panel_->heard.empty());  // recognized: never delivered
}

TEST_F(GestureTest, ButtonsRunTouchUpInsideAndHighlightWhileHeld) {
  auto button = std::make_shared<Button>();
  button->setFrame({100, 300, 120, 44});
  window_->addSubview(button);
  std::vector<std::string> events;
  button->addTarget(ControlEvent::kTouchUpInside, [&](Button&) { events.push_back("inside"); });
  button->addTarget(ControlEvent::kTouchUpOutside, [&](Button&) { events.push_back("outside"); });
  bool highlightedWhileHeld = false;
  button->addTarget(ControlEvent::kTouchDown, [&](Button& b) { highlightedWhileHeld = b.isHighlighted(); });

  Play(TouchScript().down({150, 320}).wait(0.1).up());
  // A finger that slips a little still counts; one dragged far away does not.
  Play(TouchScript().down({150, 320}).dragBy({0, 60}, 300).up());
  Play(TouchScript().down({150, 320}).dragBy({0, 200}, 600).up());
  EXPECT_EQ(events, (std::vector<std::string>{"inside", "inside", "outside"}));
  EXPECT_TRUE(highlightedWhileHeld);
  EXPECT_FALSE(button->isHighlighted());
  // The title does not take the touch from the button.
  EXPECT_EQ(screen_.hitTest({160, 322}), button.get());
}

TEST_F(GestureTest, ScriptedTouchesReportWhatTheKitTook) {
  window_->setHidden(true);
  auto playback = TouchScript().down({100, 150}).dragBy({0, 20}, 600).up().play(screen_, sim_);
  sim_.advance(1);
  ASSERT_TRUE(playback->finished);
  EXPECT_EQ(std::count(playback->taken.begin(), playback->taken.end(), true), 0);
  window_->makeKeyAndVisible();
  playback = TouchScript().down({100, 150}).up().play(screen_, sim_);
  sim_.advance(1);
  EXPECT_EQ(playback->taken, (std::vector<bool>{true, true}));
}

}  // namespace
}  // namespace tessarin::platform::ui

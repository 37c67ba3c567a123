// Property animations on virtual time: easing, delay, zero duration,
// removal, take-over, repetition and completions.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/animator.h"
#include "platform/ui/timing_curve.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {
namespace {

TEST(TimingCurve, EaseInOutStartsAndEndsSlowlyAndIsSymmetric) {
  TimingCurve ease = TimingCurve::easeInEaseOut();
  EXPECT_EQ(ease.valueAt(0), 0);
  EXPECT_EQ(ease.valueAt(1), 1);
  EXPECT_NEAR(ease.valueAt(0.5), 0.5, 1e-6);
  EXPECT_LT(ease.valueAt(0.1), 0.1 / 2);
  for (double t = 0.05; t < 1; t += 0.05) {
    EXPECT_NEAR(ease.valueAt(t) + ease.valueAt(1 - t), 1, 1e-6) << t;
    EXPECT_GT(ease.valueAt(t + 0.01), ease.valueAt(t)) << t;
  }
  EXPECT_NEAR(TimingCurve::linear().valueAt(0.3), 0.3, 1e-6);
  EXPECT_LT(TimingCurve::easeIn().valueAt(0.5), 0.5);
  EXPECT_GT(TimingCurve::easeOut().valueAt(0.5), 0.5);
}

class AnimatorTest : public testing::Test {
 protected:
  sim::SimPlatform sim_;
  Animator animator_{sim_};
  std::shared_ptr<View> view_ = std::make_shared<View>(Rect{0, 0, 10, 10});
  std::vector<bool> completions_;

  Animator::Completion Record() {
    return [this](bool finished) { completions_.push_back(finished); };
  }
  AnimationOptions Options(double duration, double delay = 0) {
    AnimationOptions options;
    options.duration = duration;
    options.delay = delay;
    return options;
  }
};

TEST_F(AnimatorTest, AlphaEasesToItsTargetAndCompletesFinishedOnTheLastFrame) {
  view_->setAlpha(0);
  animator_.animate(Options(0.3), {PropertyAnimation::alpha(view_, 1)}, Record());
  EXPECT_EQ(view_->alpha(), 0);
  sim_.advance(0.075);
  // A quarter of the time in: well behind a straight line (ease in).
  EXPECT_GT(view_->alpha(), 0.05);
  EXPECT_LT(view_->alpha(), 0.2);
  sim_.advance(0.075);
  EXPECT_NEAR(view_->alpha(), 0.5, 0.01);
  sim_.advance(0.14);
  EXPECT_LT(view_->alpha(), 1);
  EXPECT_TRUE(completions_.empty());
  sim_.advance(0.02);
  EXPECT_EQ(view_->alpha(), 1);
  EXPECT_EQ(completions_, (std::vector<bool>{true}));
  // Nothing animates, so no frames are scheduled.
  EXPECT_TRUE(sim_.activeTimers().empty());
  EXPECT_EQ(animator_.activeAnimations(), 0u);
}

TEST_F(AnimatorTest, ADelayHoldsTheValueThenTheDurationRuns) {
  double constant = 10;
  int owner = 0;
  animator_.animate(Options(0.2, 0.5),
                    {PropertyAnimation::value(&owner, "constant", constant, -190, [&](double v) { constant = v; })},
                    Record());
  sim_.advance(0.49);
  EXPECT_EQ(constant, 10);
  EXPECT_TRUE(animator_.isAnimating(&owner));
  sim_.advance(0.11);
  EXPECT_NEAR(constant, -90, 2);
  sim_.advance(0.11);
  EXPECT_EQ(constant, -190);
  EXPECT_EQ(completions_, (std::vector<bool>{true}));
  EXPECT_FALSE(animator_.isAnimating(&owner));
}

TEST_F(AnimatorTest, ZeroDurationAppliesAtOnceAndCompletesLaterOnTheMainQueue) {
  animator_.animate(Options(0), {PropertyAnimation::alpha(view_, 0.25)}, Record());
  EXPECT_EQ(view_->alpha(), 0.25);
  EXPECT_TRUE(completions_.empty());
  sim_.runUntilIdle();
  EXPECT_EQ(completions_, (std::vector<bool>{true}));
  // With nothing to animate the completion still comes.
  animator_.animate(Options(0.3), {}, Record());
  sim_.runUntilIdle();
  EXPECT_EQ(completions_, (std::vector<bool>{true, true}));
}

TEST_F(AnimatorTest, RemovingAnOwnersAnimationsJumpsToTheTargetAndCompletesUnfinished) {
  auto other = std::make_shared<View>();
  other->setAlpha(0);
  view_->setAlpha(1);
  std::vector<bool> otherCompletions;
  animator_.animate(Options(1), {PropertyAnimation::alpha(view_, 0)}, Record());
  animator_.animate(Options(1), {PropertyAnimation::alpha(other, 1)},
                    [&](bool finished) { otherCompletions.push_back(finished); });
  sim_.advance(0.5);
  animator_.removeAnimations(view_.get());
  EXPECT_EQ(view_->alpha(), 0);
  EXPECT_TRUE(completions_.empty());  // not inside the call
  sim_.runUntilIdle();
  EXPECT_EQ(completions_, (std::vector<bool>{false}));
  EXPECT_TRUE(animator_.isAnimating(other.get()));
  sim_.advance(0.6);
  EXPECT_EQ(otherCompletions, (std::vector<bool>{true}));

  animator_.animate(Options(1), {PropertyAnimation::alpha(view_, 1)}, Record());
  animator_.removeAllAnimations();
  sim_.runUntilIdle();
  EXPECT_EQ(view_->alpha(), 1);
  EXPECT_EQ(completions_, (std::vector<bool>{false, false}));
}

TEST_F(AnimatorTest, ANewAnimationOfAPropertyTakesOverFromTheValueShown) {
  view_->setAlpha(1);
  std::vector<bool> second;
  animator_.animate(Options(0.4), {PropertyAnimation::alpha(view_, 0)}, Record());
  sim_.advance(0.2);
  double shown = view_->alpha();
  animator_.animate(Options(0.4), {PropertyAnimation::alpha(view_, 1)}, [&](bool f) { second.push_back(f); });
  EXPECT_EQ(view_->alpha(), shown);  // no jump
  sim_.runUntilIdle();
  EXPECT_EQ(completions_, (std::vector<bool>{false}));
  sim_.advance(0.2);
  EXPECT_GT(view_->alpha(), shown);
  sim_.advance(0.21);
  EXPECT_EQ(view_->alpha(), 1);
  EXPECT_EQ(second, (std::vector<bool>{true}));
}

TEST_F(AnimatorTest, PropertiesOfOneAnimationCompleteTogetherOnce) {
  int constraint = 0;
  std::vector<double> constants;
  view_->setAlpha(1);
  animator_.animate(Options(0.3),
                    {PropertyAnimation::alpha(view_, 0),
                     PropertyAnimation::value(&constraint, "constant", 0, 375, [&](double v) { constants.push_back(v); })},
                    Record());
  sim_.advance(1);
  EXPECT_EQ(completions_, (std::vector<bool>{true}));
  ASSERT_GE(constants.size(), 17u);  // about one value per frame
  EXPECT_TRUE(std::is_sorted(constants.begin(), constants.end()));
  EXPECT_EQ(constants.back(), 375);
  EXPECT_EQ(view_->alpha(), 0);
}

TEST_F(AnimatorTest, AViewThatGoesAwayStopsAnimatingWithoutHarm) {
  animator_.animate(Options(0.3), {PropertyAnimation::alpha(view_, 0)}, Record());
  view_.reset();
  sim_.advance(0.5);
  EXPECT_EQ(completions_, (std::vector<bool>{true}));
}

TEST_F(AnimatorTest, ARepeatingAnimationStartsOverUntilRemovedOrUntilItsObjectGoes) {
  auto spinner = std::make_shared<int>(0);
  double angle = -1;
  AnimationOptions options = Options(1);
  options.curve = TimingCurve::linear();
  options.repeats = true;
  auto turn = PropertyAnimation::value(spinner.get(), "angle", 0, 360, [&](double v) { angle = v; });
  animator_.animate(options, {turn}, Record());
  sim_.advance(0.25);
  EXPECT_NEAR(angle, 90, 1);
  sim_.advance(1);
  EXPECT_NEAR(angle, 90, 1);  // a whole turn later
  sim_.advance(10);
  EXPECT_TRUE(completions_.empty());
  EXPECT_TRUE(animator_.isAnimating(spinner.get()));

  // Removed, it jumps to its target and completes unfinished; frames stop.
  animator_.removeAnimations(spinner.get());
  sim_.advance(0.1);
  EXPECT_EQ(angle, 360);
  EXPECT_EQ(completions_, (std::vector<bool>{false}));
  EXPECT_TRUE(sim_.activeTimers().empty());

  // Given its object, it ends once that has gone, setting nothing more.
  turn.lifetime = spinner;
  animator_.animate(options, {turn}, Record());
  sim_.advance(0.5);
  double shown = angle;
  EXPECT_NEAR(shown, 180, 1);
  spinner.reset();
  sim_.advance(0.1);
  EXPECT_EQ(angle, shown);
  EXPECT_EQ(completions_, (std::vector<bool>{false, false}));
  EXPECT_TRUE(sim_.activeTimers().empty());
  EXPECT_EQ(animator_.activeAnimations(), 0u);
}

}  // namespace
}  // namespace tessarin::platform::ui

// The overlay a host composites itself, on virtual time: what the screen
// marks as damaged when views change, and what the compositor delivers for
// it (once a change, at most once a frame, only the damaged pixels).
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/animator.h"
#include "platform/ui/overlay_compositor.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {
namespace {

constexpr std::uint32_t kRed = 0xffff0000;
constexpr std::uint32_t kBlue = 0xff0000ff;
constexpr std::uint32_t kClear = 0;

struct Delivered {
  Image image;
  PixelRect damage;
  bool visible;
};

class OverlayTest : public testing::Test {
 protected:
  // A 100 x 80 point screen at scale 2, with one window holding a red view
  // at (10, 20, 30 x 10) points, which is not shown yet.
  sim::SimPlatform sim_;
  UIEnvironment environment_{sim_};
  Screen screen_{environment_, {100, 80}, 2};
  std::vector<Delivered> frames_;
  OverlayCompositor compositor_{screen_, Record(frames_)};
  std::shared_ptr<Window> window_ = std::make_shared<Window>(screen_);
  std::shared_ptr<View> view_ = std::make_shared<View>(Rect{10, 20, 30, 10});

  void SetUp() override {
    view_->setBackgroundColor(Color::fromRGBA(0xff0000ff));
    window_->addSubview(view_);
  }

  static OverlayCompositor::Delivery Record(std::vector<Delivered>& into) {
    return [&into](const OverlayFrame& frame) { into.push_back({*frame.image, frame.damage, frame.visible}); };
  }
  // Shows the window and takes its first frame.
  void Show() {
    window_->makeKeyAndVisible();
    sim_.runUntilIdle();
    ASSERT_EQ(frames_.size(), 1u);
    frames_.clear();
  }
  // Delivered frames after a frame's time (a change right after a delivery
  // waits for the next frame).
  std::size_t Settle() {
    sim_.advance(OverlayCompositor::kFrameInterval);
    return frames_.size();
  }
};

TEST_F(OverlayTest, ShowingAWindowDeliversItsPixelsOnceAndNothingUntilSomethingChanges) {
  // A hidden window is nothing to draw, whatever changes in it.
  view_->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  view_->setBackgroundColor(Color::fromRGBA(0xff0000ff));
  EXPECT_EQ(Settle(), 0u);
  sim_.advance(0.5);
  EXPECT_EQ(frames_.size(), 0u);

  window_->makeKeyAndVisible();
  ASSERT_EQ(Settle(), 1u);
  const Delivered& first = frames_[0];
  EXPECT_TRUE(first.visible);
  EXPECT_EQ(first.image.width(), 200);
  EXPECT_EQ(first.image.height(), 160);
  // The window covers the screen, so all of it is new.
  EXPECT_EQ(first.damage, (PixelRect{0, 0, 200, 160}));
  EXPECT_EQ(first.image.pixel(20, 40), kRed);    // the view's top-left pixel
  EXPECT_EQ(first.image.pixel(79, 59), kRed);    // and its bottom-right one
  EXPECT_EQ(first.image.pixel(19, 40), kClear);  // just left of it
  EXPECT_EQ(first.image.pixel(80, 59), kClear);  // just right of it
  EXPECT_EQ(first.image.pixel(50, 60), kClear);  // just below it

  // Time passing, and setting what a view already has, change no pixel.
  sim_.advance(1);
  view_->setBackgroundColor(Color::fromRGBA(0xff0000ff));
  view_->setFrame({10, 20, 30, 10});
  view_->setAlpha(1);
  view_->setHidden(false);
  window_->makeKeyAndVisible();
  EXPECT_EQ(Settle(), 1u);

  // A new colour redraws the view's pixels and no others.
  view_->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  ASSERT_EQ(Settle(), 2u);
  EXPECT_EQ(frames_[1].damage, (PixelRect{20, 40, 60, 20}));
  EXPECT_EQ(frames_[1].image.pixel(20, 40), kBlue);
  EXPECT_EQ(frames_[1].image.pixel(79, 59), kBlue);
  EXPECT_EQ(frames_[1].image.pixel(80, 59), kClear);
}

TEST_F(OverlayTest, MovingAViewDamagesWhereItWasAndWhereItIs) {
  Show();
  view_->setFrame({50, 30, 30, 10});
  ASSERT_EQ(Settle(), 1u);
  // From the old top-left (20, 40) to the new bottom-right (160, 80).
  EXPECT_EQ(frames_[0].damage, (PixelRect{20, 40, 140, 40}));
  EXPECT_EQ(frames_[0].image.pixel(30, 45), kClear);  // where it was
  EXPECT_EQ(frames_[0].image.pixel(110, 70), kRed);   // where it is

  // Moving a view moves what its subviews draw outside its bounds too.
  auto child = std::make_shared<View>(Rect{40, 0, 5, 5});
  child->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  view_->addSubview(child);
  ASSERT_EQ(Settle(), 2u);
  EXPECT_EQ(frames_[1].damage, (PixelRect{180, 60, 10, 10}));
  view_->setFrame({10, 30, 30, 10});
  ASSERT_EQ(Settle(), 3u);
  // The child was at (90, 30) and is at (50, 30) points.
  EXPECT_EQ(frames_[2].damage, (PixelRect{20, 60, 170, 20}));
  EXPECT_EQ(frames_[2].image.pixel(182, 62), kClear);
  EXPECT_EQ(frames_[2].image.pixel(102, 62), kBlue);

  // Removing a view shows what is behind it; several changes in one turn
  // of the main loop are one frame.
  child->removeFromSuperview();
  view_->setFrame({10, 50, 30, 10});
  ASSERT_EQ(Settle(), 4u);
  EXPECT_EQ(frames_[3].damage, (PixelRect{20, 60, 90, 60}));
  EXPECT_EQ(frames_[3].image.pixel(102, 62), kClear);
  EXPECT_EQ(frames_[3].image.pixel(30, 62), kClear);
  EXPECT_EQ(frames_[3].image.pixel(30, 102), kRed);
}

TEST_F(OverlayTest, AFadeDeliversOneFramePerAnimationFrameAndStopsWhenItIsDone) {
  Show();
  AnimationOptions options;
  options.duration = 0.2;
  options.curve = TimingCurve::linear();
  bool done = false;
  environment_.animator().animate(options, {PropertyAnimation::alpha(view_, 0)}, [&](bool) { done = true; });
  std::uint32_t lastAlpha = 0xff;
  for (int tick = 0; tick < 30; ++tick) {
    std::size_t before = frames_.size();
    sim_.advance(Animator::kFrameInterval);
    ASSERT_LE(frames_.size(), before + 1) << "tick " << tick;
    if (frames_.size() == before) continue;
    const Delivered& frame = frames_.back();
    EXPECT_EQ(frame.damage, (PixelRect{20, 40, 60, 20}));
    std::uint32_t alpha = frame.image.pixel(40, 50) >> 24;
    EXPECT_LT(alpha, lastAlpha) << "tick " << tick;
    lastAlpha = alpha;
  }
  EXPECT_TRUE(done);
  // Twelve frames of a fifth of a second, each one drawn.
  EXPECT_EQ(frames_.size(), 12u);
  EXPECT_EQ(frames_.back().image.pixel(40, 50), kClear);
  EXPECT_TRUE(frames_.back().visible);  // the window is still shown
  sim_.advance(1);
  EXPECT_EQ(frames_.size(), 12u);
}

TEST_F(OverlayTest, ChangesFasterThanFramesAreCoalescedAndTheLastOneIsShown) {
  Show();
  // A change every millisecond for a tenth of a second.
  for (int i = 0; i < 100; ++i) {
    view_->setBackgroundColor(i % 2 ? Color::fromRGBA(0x0000ffff) : Color::fromRGBA(0x00ff00ff));
    sim_.advance(0.001);
  }
  sim_.advance(0.05);
  EXPECT_GE(frames_.size(), 5u);
  EXPECT_LE(frames_.size(), 7u);
  EXPECT_EQ(frames_.back().image.pixel(40, 50), kBlue);
}

TEST_F(OverlayTest, HidingTheLastWindowTellsTheHostToStopAndWindowsBelowShowThrough) {
  auto below = std::make_shared<Window>(screen_);
  auto backdrop = std::make_shared<View>(Rect{0, 0, 20, 20});
  backdrop->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  below->addSubview(backdrop);
  below->setWindowLevel(kWindowLevelNormal - 1);
  below->setHidden(false);
  Show();

  window_->setHidden(true);
  ASSERT_EQ(Settle(), 1u);
  EXPECT_TRUE(frames_[0].visible);
  EXPECT_EQ(frames_[0].image.pixel(2, 2), kBlue);
  EXPECT_EQ(frames_[0].image.pixel(30, 45), kClear);

  below->setHidden(true);
  ASSERT_EQ(Settle(), 2u);
  EXPECT_FALSE(frames_[1].visible);
  EXPECT_EQ(frames_[1].damage, (PixelRect{0, 0, 200, 160}));
  for (int y = 0; y < 160; y += 7) {
    for (int x = 0; x < 200; x += 7) ASSERT_EQ(frames_[1].image.pixel(x, y), kClear) << x << "," << y;
  }
  // Said once; nothing shown means nothing more to say.
  view_->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  screen_.setSize({90, 80}, 2);
  sim_.advance(1);
  EXPECT_EQ(frames_.size(), 2u);

  window_->setHidden(false);
  ASSERT_EQ(Settle(), 3u);
  EXPECT_TRUE(frames_[2].visible);
  EXPECT_EQ(frames_[2].image.pixel(40, 50), kBlue);
}

TEST_F(OverlayTest, AResizedScreenOrANewReceiverGetsAWholeFrame) {
  Show();
  screen_.setSize({60, 50}, 1);
  ASSERT_EQ(Settle(), 1u);
  EXPECT_EQ(frames_[0].image.width(), 60);
  EXPECT_EQ(frames_[0].image.height(), 50);
  EXPECT_EQ(frames_[0].damage, (PixelRect{0, 0, 60, 50}));
  // The window covered the screen and still does.
  EXPECT_EQ(window_->frame(), (Rect{0, 0, 60, 50}));
  EXPECT_EQ(frames_[0].image.pixel(10, 20), kRed);
  EXPECT_EQ(frames_[0].image.pixel(9, 20), kClear);

  std::vector<Delivered> other;
  compositor_.setDelivery(Record(other));
  sim_.runUntilIdle();
  ASSERT_EQ(other.size(), 1u);
  EXPECT_EQ(other[0].damage, (PixelRect{0, 0, 60, 50}));
  EXPECT_EQ(other[0].image.pixel(10, 20), kRed);
  EXPECT_EQ(frames_.size(), 1u);

  // Without a receiver nothing is drawn; the damage waits for the next one.
  compositor_.setDelivery(nullptr);
  view_->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  sim_.advance(1);
  compositor_.setDelivery(Record(other));
  sim_.runUntilIdle();
  ASSERT_EQ(other.size(), 2u);
  EXPECT_EQ(other[1].image.pixel(10, 20), kBlue);
}

}  // namespace
}  // namespace tessarin::platform::ui

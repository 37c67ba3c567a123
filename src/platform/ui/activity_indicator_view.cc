#include "platform/ui/activity_indicator_view.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/ui/animator.h"
#include "platform/ui/drawing_library.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

namespace {

constexpr double kTurn = 2 * std::numbers::pi;
constexpr const char* kAngleKey = "angle";
// Three quarters of a circle, so that the turning is seen.
constexpr double kArcSpan = 0.75 * kTurn;
constexpr double kLineWidth = 2.5;

// The animator of the screen a window is on; null off screen. The screen's
// environment outlives the screen, and a screen that goes detaches its
// windows, so a window that still has its screen reaches a live animator.
Animator* animatorOf(const Window* window) {
  Screen* screen = window ? window->screen() : nullptr;
  return screen ? &screen->environment().animator() : nullptr;
}

}  // namespace

ActivityIndicatorView::ActivityIndicatorView()
    : View(Rect{0, 0, kSize, kSize}), color_(Color::fromRGBA(0x8e8e93ff)) {
  setUserInteractionEnabled(false);
}

void ActivityIndicatorView::setColor(const Color& color) {
  if (color == color_) return;
  color_ = color;
  setNeedsDisplay();
}

void ActivityIndicatorView::startAnimating() {
  animating_ = true;
  updateTurning();
}

void ActivityIndicatorView::stopAnimating() {
  animating_ = false;
  updateTurning();
}

void ActivityIndicatorView::didMoveToWindow() { updateTurning(); }

void ActivityIndicatorView::updateTurning() {
  Animator* animator = animatorOf(window());
  if (!animating_ || !animator) {
    turn_.reset();
    return;
  }
  if (turn_ && turningOn_ == animator) return;
  // A turn on another screen's animator ends with its old token.
  turn_ = std::make_shared<const char>(0);
  turningOn_ = animator;
  std::weak_ptr<View> weak = weak_from_this();
  AnimationOptions options;
  options.duration = kSecondsPerTurn;
  options.curve = TimingCurve::linear();
  options.repeats = true;
  auto turn = PropertyAnimation::value(this, kAngleKey, 0, kTurn, [weak](double angle) {
    if (auto self = weak.lock()) static_cast<ActivityIndicatorView&>(*self).setAngle(angle);
  });
  turn.lifetime = turn_;
  animator->animate(options, {std::move(turn)});
}

void ActivityIndicatorView::setAngle(double angle) {
  if (angle == angle_) return;
  angle_ = angle;
  setNeedsDisplay();
}

Size ActivityIndicatorView::intrinsicContentSize(double width) const {
  (void)width;
  return {kSize, kSize};
}

void ActivityIndicatorView::drawContent(cairo_t* cr) const {
  const Rect& b = bounds();
  double radius = (std::min(b.width, b.height) - kLineWidth) / 2;
  if (radius <= 0) return;
  double start = angle_ - std::numbers::pi / 2;  // from twelve o'clock
  drawing().cairo_save(cr);
  drawing().cairo_new_path(cr);
  drawing().cairo_arc(cr, b.x + b.width / 2, b.y + b.height / 2, radius, start, start + kArcSpan);
  drawing().cairo_set_source_rgba(cr, color_.red, color_.green, color_.blue, color_.alpha);
  drawing().cairo_set_line_width(cr, kLineWidth);
  drawing().cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  drawing().cairo_stroke(cr);
  drawing().cairo_restore(cr);
}

}  // namespace tessarin::platform::ui

#include "platform/ui/pan_gesture_recognizer.h"

#include <cmath>

namespace tessarin::platform::ui {

Point PanGestureRecognizer::translationInView(const View* view) const {
  (void)view;
  return {centroid().x - reference_.x, centroid().y - reference_.y};
}

void PanGestureRecognizer::setTranslation(Point translation, const View* view) {
  (void)view;
  reference_ = {centroid().x - translation.x, centroid().y - translation.y};
}

Point PanGestureRecognizer::velocityInView(const View* view) const {
  (void)view;
  if (samples_.size() < 2) return {0, 0};
  const Sample& last = samples_.back();
  // The oldest sample within the window, but at least the one before the
  // latest: a finger that rested and then lifted has a velocity of zero.
  std::size_t first = samples_.size() - 2;
  while (first > 0 && last.time - samples_[first - 1].time <= kVelocityWindow) --first;
  const Sample& from = samples_[first];
  double dt = last.time - from.time;
  if (dt <= 0) return {0, 0};
  return {(last.location.x - from.location.x) / dt, (last.location.y - from.location.y) / dt};
}

void PanGestureRecognizer::addSample(double time) {
  samples_.push_back({centroid(), time});
  // Keep what the velocity window needs, and one more.
  while (samples_.size() > 2 && time - samples_[1].time > kVelocityWindow) samples_.pop_front();
}

void PanGestureRecognizer::touchBegan(const Touch& touch) {
  if (!started_) {
    started_ = true;
    reference_ = centroid();
  } else if (state() == GestureState::kBegan || state() == GestureState::kChanged) {
    // Another finger moves the centroid; the translation must not jump.
    Point before = samples_.empty() ? reference_ : samples_.back().location;
    reference_.x += centroid().x - before.x;
    reference_.y += centroid().y - before.y;
  }
  addSample(touch.timestamp);
  if (static_cast<int>(numberOfTouches()) > maximumTouches_ && state() == GestureState::kPossible) {
    setState(GestureState::kFailed);
  }
}

void PanGestureRecognizer::touchMoved(const Touch& touch) {
  addSample(touch.timestamp);
  if (state() == GestureState::kPossible) {
    Point t = translationInView(nullptr);
    int touches = static_cast<int>(numberOfTouches());
    if (touches >= minimumTouches_ && touches <= maximumTouches_ && std::hypot(t.x, t.y) >= kHysteresis) {
      setState(GestureState::kBegan);
    }
  } else if (state() == GestureState::kBegan || state() == GestureState::kChanged) {
    setState(GestureState::kChanged);
  }
}

void PanGestureRecognizer::touchEnded(const Touch& touch) {
  addSample(touch.timestamp);
  bool active = state() == GestureState::kBegan || state() == GestureState::kChanged;
  if (numberOfTouches() == 0 || (active && static_cast<int>(numberOfTouches()) < minimumTouches_)) {
    setState(active ? GestureState::kEnded : GestureState::kFailed);
  }
}

void PanGestureRecognizer::touchCancelled(const Touch& touch) {
  (void)touch;
  bool active = state() == GestureState::kBegan || state() == GestureState::kChanged;
  setState(active ? GestureState::kCancelled : GestureState::kFailed);
}

void PanGestureRecognizer::clearGesture() {
  started_ = false;
  reference_ = {};
  samples_.clear();
}

}  // namespace tessarin::platform::ui

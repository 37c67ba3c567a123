#include "platform/ui/long_press_gesture_recognizer.h"

#include <cmath>

#include "platform/ui/ui_environment.h"

namespace tessarin::platform::ui {

LongPressGestureRecognizer::~LongPressGestureRecognizer() { cancelTimer(); }

void LongPressGestureRecognizer::cancelTimer() {
  if (timer_) timer_->cancel();
  timer_.reset();
}

void LongPressGestureRecognizer::touchBegan(const Touch& touch) {
  if (state() != GestureState::kPossible) return;
  starts_[touch.id] = touch.location;
  int touches = static_cast<int>(numberOfTouches());
  if (touches > touchesRequired_) {
    cancelTimer();
    setState(GestureState::kFailed);
    return;
  }
  if (touches < touchesRequired_) return;
  UIEnvironment* env = environment();
  if (!env) {
    setState(GestureState::kFailed);
    return;
  }
  // The press counts from the moment the last required finger is down.
  cancelTimer();
  std::weak_ptr<GestureRecognizer> weak = weak_from_this();
  TimerSpec spec;
  spec.startDelay = minimumDuration_;
  timer_ = env->platform().scheduleTimer(env->platform().mainQueue(), spec, [weak] {
    auto self = std::static_pointer_cast<LongPressGestureRecognizer>(weak.lock());
    if (!self) return;
    self->timer_.reset();
    if (self->state() == GestureState::kPossible &&
        static_cast<int>(self->numberOfTouches()) == self->touchesRequired_) {
      self->setState(GestureState::kBegan);
    }
  });
}

void LongPressGestureRecognizer::touchMoved(const Touch& touch) {
  if (state() == GestureState::kBegan || state() == GestureState::kChanged) {
    setState(GestureState::kChanged);
    return;
  }
  if (state() != GestureState::kPossible) return;
  auto it = starts_.find(touch.id);
  if (it != starts_.end() &&
      std::hypot(touch.location.x - it->second.x, touch.location.y - it->second.y) > allowableMovement_) {
    cancelTimer();
    setState(GestureState::kFailed);
  }
}

void LongPressGestureRecognizer::touchEnded(const Touch& touch) {
  (void)touch;
  if (state() == GestureState::kBegan || state() == GestureState::kChanged) {
    setState(GestureState::kEnded);
  } else if (state() == GestureState::kPossible) {
    cancelTimer();
    setState(GestureState::kFailed);
  }
}

void LongPressGestureRecognizer::touchCancelled(const Touch& touch) {
  (void)touch;
  cancelTimer();
  if (state() == GestureState::kBegan || state() == GestureState::kChanged) {
    setState(GestureState::kCancelled);
  } else if (state() == GestureState::kPossible) {
    setState(GestureState::kFailed);
  }
}

void LongPressGestureRecognizer::clearGesture() {
  cancelTimer();
  starts_.clear();
}

}  // namespace tessarin::platform::ui

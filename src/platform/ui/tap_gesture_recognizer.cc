#include "platform/ui/tap_gesture_recognizer.h"

#include <cmath>

namespace tessarin::platform::ui {

void TapGestureRecognizer::touchBegan(const Touch& touch) {
  if (state() != GestureState::kPossible) return;
  starts_[touch.id] = touch.location;
  maxTouches_ = std::max(maxTouches_, static_cast<int>(numberOfTouches()));
  if (maxTouches_ > touchesRequired_) setState(GestureState::kFailed);
}

void TapGestureRecognizer::touchMoved(const Touch& touch) {
  if (state() != GestureState::kPossible) return;
  auto it = starts_.find(touch.id);
  if (it == starts_.end()) return;
  if (std::hypot(touch.location.x - it->second.x, touch.location.y - it->second.y) > kAllowableMovement) {
    setState(GestureState::kFailed);
  }
}

void TapGestureRecognizer::touchEnded(const Touch& touch) {
  touchMoved(touch);
  if (state() != GestureState::kPossible || numberOfTouches() > 0) return;
  setState(maxTouches_ == touchesRequired_ ? GestureState::kEnded : GestureState::kFailed);
}

void TapGestureRecognizer::touchCancelled(const Touch& touch) {
  (void)touch;
  if (state() == GestureState::kPossible) setState(GestureState::kFailed);
}

void TapGestureRecognizer::clearGesture() {
  maxTouches_ = 0;
  starts_.clear();
}

}  // namespace tessarin::platform::ui

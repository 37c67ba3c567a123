#include "platform/ui/gesture_recognizer.h"

#include <algorithm>

#include "platform/ui/screen.h"
#include "platform/ui/touch_dispatcher.h"
#include "platform/ui/view.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

namespace {

Screen* screenOf(const View* view) {
  if (!view) return nullptr;
  Window* window = view->window();
  return window ? window->screen() : nullptr;
}

}  // namespace

const char* gestureStateName(GestureState state) {
  switch (state) {
    case GestureState::kPossible: return "possible";
    case GestureState::kBegan: return "began";
    case GestureState::kChanged: return "changed";
    case GestureState::kEnded: return "ended";
    case GestureState::kCancelled: return "cancelled";
    case GestureState::kFailed: return "failed";
  }
  return "?";
}

GestureRecognizer::GestureRecognizer() = default;

GestureRecognizer::~GestureRecognizer() = default;

GestureRecognizer::TargetId GestureRecognizer::addTarget(Action action) {
  TargetId id = nextTarget_++;
  targets_.emplace_back(id, std::move(action));
  return id;
}

void GestureRecognizer::removeTarget(TargetId id) {
  std::erase_if(targets_, [id](const auto& target) { return target.first == id; });
}

bool GestureRecognizer::isFinished() const {
  return state_ == GestureState::kEnded || state_ == GestureState::kCancelled || state_ == GestureState::kFailed;
}

void GestureRecognizer::setState(GestureState state) {
  // A finished gesture stays finished until it is reset.
  if (isFinished() && state != GestureState::kPossible) return;
  state_ = state;
  if (state == GestureState::kBegan || state == GestureState::kChanged || state == GestureState::kEnded ||
      state == GestureState::kCancelled) {
    // A target may remove targets or the recognizer itself.
    auto self = shared_from_this();
    auto targets = targets_;
    for (auto& [id, action] : targets) {
      if (action) action(*this);
    }
  }
  if (Screen* screen = screenOf(view_)) screen->touchDispatcher().recognizerChanged(*this);
}

void GestureRecognizer::setEnabled(bool enabled) {
  if (enabled_ == enabled) return;
  enabled_ = enabled;
  if (!enabled) {
    if (state_ == GestureState::kBegan || state_ == GestureState::kChanged) {
      setState(GestureState::kCancelled);
    } else if (state_ == GestureState::kPossible && !touches_.empty()) {
      setState(GestureState::kFailed);
    }
  }
}

Point GestureRecognizer::locationInView(const View* view) const {
  if (!view) {
    if (!view_) return centroid_;
    const View* root = view_;
    while (root->superview()) root = root->superview();
    view = root;
  }
  return view->convertFromScreen(centroid_);
}

UIEnvironment* GestureRecognizer::environment() const {
  Screen* screen = screenOf(view_);
  return screen ? &screen->environment() : nullptr;
}

void GestureRecognizer::updateCentroid() {
  if (touches_.empty()) return;
  Point sum;
  for (const auto& [id, location] : touches_) {
    sum.x += location.x;
    sum.y += location.y;
  }
  centroid_ = {sum.x / touches_.size(), sum.y / touches_.size()};
}

void GestureRecognizer::deliver(const Touch& touch) {
  switch (touch.phase) {
    case TouchPhase::kBegan:
      touches_[touch.id] = touch.location;
      updateCentroid();
      touchBegan(touch);
      break;
    case TouchPhase::kMoved:
      touches_[touch.id] = touch.location;
      updateCentroid();
      touchMoved(touch);
      break;
    case TouchPhase::kEnded:
      touches_[touch.id] = touch.location;
      updateCentroid();
      touches_.erase(touch.id);
      updateCentroid();  // of the fingers left; unchanged after the last
      touchEnded(touch);
      break;
    case TouchPhase::kCancelled:
      touches_.erase(touch.id);
      updateCentroid();
      touchCancelled(touch);
      break;
  }
}

void GestureRecognizer::resetForNextGesture() {
  state_ = GestureState::kPossible;
  touches_.clear();
  clearGesture();
  reset();
}

}  // namespace tessarin::platform::ui

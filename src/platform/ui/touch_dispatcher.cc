#include "platform/ui/touch_dispatcher.h"

#include <algorithm>

#include "platform/ui/gesture_recognizer.h"
#include "platform/ui/screen.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

namespace {

bool isRecognized(GestureState state) {
  return state == GestureState::kBegan || state == GestureState::kChanged || state == GestureState::kEnded;
}

}  // namespace

bool TouchDispatcher::touchDown(int id, Point location, double timestamp) {
  if (touches_.count(id)) touchCancelled(id, timestamp);
  View* hit = screen_.hitTest(location);
  if (!hit) return false;

  TouchRecord record;
  record.touch = {id, TouchPhase::kBegan, location, location, timestamp};
  record.view = hit->weak_from_this();
  for (View* v = hit; v; v = v->superview()) {
    for (const auto& recognizer : v->gestureRecognizers()) {
      if (!recognizer->isEnabled() || sittingOut_.count(recognizer.get())) continue;
      record.recognizers.push_back(recognizer);
      if (!recognizerParticipates(recognizer.get())) recognizers_.push_back(recognizer);
    }
  }
  touches_[id] = std::move(record);

  ++dispatching_;
  for (auto& weak : touches_[id].recognizers) {
    auto recognizer = weak.lock();
    if (recognizer && !sittingOut_.count(recognizer.get()) && recognizer->view()) recognizer->deliver(touches_[id].touch);
  }
  --dispatching_;
  settle();
  endSequenceIfDone();
  return true;
}

bool TouchDispatcher::touchMoved(int id, Point location, double timestamp) {
  return update(id, TouchPhase::kMoved, location, timestamp);
}

bool TouchDispatcher::touchUp(int id, Point location, double timestamp) {
  return update(id, TouchPhase::kEnded, location, timestamp);
}

bool TouchDispatcher::touchCancelled(int id, double timestamp) {
  auto it = touches_.find(id);
  if (it == touches_.end()) return false;
  return update(id, TouchPhase::kCancelled, it->second.touch.location, timestamp);
}

bool TouchDispatcher::update(int id, TouchPhase phase, Point location, double timestamp) {
  auto it = touches_.find(id);
  if (it == touches_.end() || it->second.finished) return false;
  TouchRecord& record = it->second;
  record.touch.previousLocation = record.touch.location;
  record.touch.location = location;
  record.touch.timestamp = timestamp;
  record.touch.phase = phase;
  if (phase == TouchPhase::kEnded || phase == TouchPhase::kCancelled) record.finished = true;

  ++dispatching_;
  Touch touch = record.touch;
  for (auto& weak : record.recognizers) {
    auto recognizer = weak.lock();
    if (recognizer && !sittingOut_.count(recognizer.get()) && recognizer->view()) recognizer->deliver(touch);
  }
  --dispatching_;
  settle();

  // The view hears the touch unless a recognizer took it, and only after
  // it heard the beginning.
  TouchRecord& after = touches_[id];
  auto view = after.view.lock();
  if (view && after.beganDelivered && !after.withheld) {
    switch (phase) {
      case TouchPhase::kMoved: view->touchMoved(touch); break;
      case TouchPhase::kEnded:
        after.viewFinished = true;
        view->touchEnded(touch);
        break;
      case TouchPhase::kCancelled:
        after.viewFinished = true;
        view->touchCancelled(touch);
        break;
      case TouchPhase::kBegan: break;
    }
  }
  endSequenceIfDone();
  return true;
}

void TouchDispatcher::recognizerChanged(GestureRecognizer& recognizer) {
  // Inside a touch, the dispatch settles when the touch has been delivered.
  if (dispatching_ > 0 || !recognizerParticipates(&recognizer)) return;
  settle();
}

bool TouchDispatcher::recognizerParticipates(const GestureRecognizer* recognizer) const {
  return std::any_of(recognizers_.begin(), recognizers_.end(),
                     [recognizer](const auto& r) { return r.get() == recognizer; });
}

void TouchDispatcher::settle() {
  if (settling_) return;
  settling_ = true;
  bool changed = true;
  while (changed) {
    changed = false;
    auto recognizers = recognizers_;
    bool cancelsViews = false;
    for (auto& recognizer : recognizers) {
      if (sittingOut_.count(recognizer.get())) continue;
      if (isRecognized(recognizer->state())) {
        if (recognizer->cancelsTouchesInView()) cancelsViews = true;
        if (recognized_.insert(recognizer.get()).second) {
          // One gesture at a time: the others still possible fail.
          for (auto& other : recognizers) {
            if (other != recognizer && other->state() == GestureState::kPossible &&
                !sittingOut_.count(other.get())) {
              other->setState(GestureState::kFailed);
            }
          }
          changed = true;
        }
      } else if (recognized_.count(recognizer.get()) && recognizer->cancelsTouchesInView()) {
        // Ended or cancelled after recognizing: the touches stay taken.
        cancelsViews = true;
      }
    }
    for (auto& [id, record] : touches_) {
      auto view = record.view.lock();
      if (cancelsViews && !record.withheld) {
        record.withheld = true;
        if (view && record.beganDelivered && !record.viewFinished) {
          record.viewFinished = true;
          Touch cancelled = record.touch;
          cancelled.phase = TouchPhase::kCancelled;
          view->touchCancelled(cancelled);
        }
        continue;
      }
      if (record.beganDelivered || record.withheld) continue;
      bool delayed = false;
      for (auto& weak : record.recognizers) {
        auto recognizer = weak.lock();
        if (recognizer && recognizer->delaysTouchesBegan() && recognizer->state() == GestureState::kPossible &&
            !sittingOut_.count(recognizer.get())) {
          delayed = true;
        }
      }
      if (delayed) continue;
      record.beganDelivered = true;
      if (view) {
        Touch began = record.touch;
        began.phase = TouchPhase::kBegan;
        view->touchBegan(began);
      }
    }
    for (auto& recognizer : recognizers) {
      if (recognizer->isFinished() && !sittingOut_.count(recognizer.get())) {
        sittingOut_.insert(recognizer.get());
        recognizer->resetForNextGesture();
        changed = true;
      }
    }
  }
  settling_ = false;
}

void TouchDispatcher::endSequenceIfDone() {
  if (std::any_of(touches_.begin(), touches_.end(), [](const auto& entry) { return !entry.second.finished; })) {
    return;
  }
  // Recognizers still waiting fail, ones still running are cancelled.
  auto recognizers = std::move(recognizers_);
  recognizers_.clear();
  settling_ = true;
  for (auto& recognizer : recognizers) {
    if (sittingOut_.count(recognizer.get())) continue;
    if (recognizer->state() == GestureState::kBegan || recognizer->state() == GestureState::kChanged) {
      recognizer->setState(GestureState::kCancelled);
    }
    recognizer->resetForNextGesture();
  }
  settling_ = false;
  touches_.clear();
  recognized_.clear();
  sittingOut_.clear();
}

}  // namespace tessarin::platform::ui

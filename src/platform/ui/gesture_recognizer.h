// Turns the touches of a view (and its subviews) into a gesture: a state
// machine that starts possible and ends recognized (ended), cancelled or
// failed. Continuous gestures (pan, long press) pass through began and
// changed; discrete ones (tap) go from possible to ended. Targets hear
// began, changed, ended and cancelled; failing is silent, as on the
// reference toolkit. After a gesture has finished, the recognizer returns
// to possible and its reset() hook runs; it then ignores the rest of that
// touch sequence.
//
// Recognizers are shared objects owned by the view they are attached to.
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_GESTURE_RECOGNIZER_H_
#define TESSARIN_PLATFORM_UI_GESTURE_RECOGNIZER_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "platform/ui/geometry.h"
#include "platform/ui/touch.h"

namespace tessarin::platform::ui {

class UIEnvironment;
class View;

enum class GestureState { kPossible, kBegan, kChanged, kEnded, kCancelled, kFailed };
const char* gestureStateName(GestureState state);

class GestureRecognizer : public std::enable_shared_from_this<GestureRecognizer> {
 public:
  using Action = std::function<void(GestureRecognizer& recognizer)>;
  using TargetId = std::uint64_t;

  GestureRecognizer();
  virtual ~GestureRecognizer();
  GestureRecognizer(const GestureRecognizer&) = delete;
  GestureRecognizer& operator=(const GestureRecognizer&) = delete;

  virtual const char* typeName() const { return "GestureRecognizer"; }

  TargetId addTarget(Action action);
  void removeTarget(TargetId id);

  View* view() const { return view_; }
  GestureState state() const { return state_; }
  // Moves the state machine; subclasses and their users (a recognizer that
  // gives up its gesture ends it) call it. Targets hear the states above.
  void setState(GestureState state);
  bool isFinished() const;

  // A disabled recognizer sees no touches; disabling cancels a gesture in
  // progress.
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  // Once recognized, the view stops receiving the gesture's touches (it
  // hears them cancelled).
  bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
  void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }
  // The view receives a touch's beginning only once this recognizer has
  // failed (and never when it recognizes).
  bool delaysTouchesBegan() const { return delaysTouchesBegan_; }
  void setDelaysTouchesBegan(bool delays) { delaysTouchesBegan_ = delays; }

  // Fingers down now.
  std::size_t numberOfTouches() const { return touches_.size(); }
  // The centroid of the fingers down (after they lifted: where they were
  // last), in `view`'s coordinates (null: the window's).
  Point locationInView(const View* view) const;

 protected:
  // The gesture's touches, one change at a time; numberOfTouches() already
  // counts a touch that began and no longer counts one that ended.
  virtual void touchBegan(const Touch& touch) { (void)touch; }
  virtual void touchMoved(const Touch& touch) { (void)touch; }
  virtual void touchEnded(const Touch& touch) { (void)touch; }
  virtual void touchCancelled(const Touch& touch) { (void)touch; }
  // Runs after every gesture, when the state is possible again; a subclass
  // puts its own things back here (the base's tracking is already reset).
  virtual void reset() {}
  // Where the recognizer's view is shown, for timers; null when it is not.
  UIEnvironment* environment() const;
  // Screen location of a finger that is down.
  const std::map<int, Point>& touchLocations() const { return touches_; }
  // Where the centroid is (screen coordinates).
  Point centroid() const { return centroid_; }

 private:
  friend class View;
  friend class TouchDispatcher;
  // The built-in recognizers forget their gesture here, so that a
  // subclass's reset() need not call up.
  virtual void clearGesture() {}
  void deliver(const Touch& touch);
  void resetForNextGesture();
  void updateCentroid();

  View* view_ = nullptr;
  GestureState state_ = GestureState::kPossible;
  bool enabled_ = true;
  bool cancelsTouchesInView_ = true;
  bool delaysTouchesBegan_ = false;
  std::map<int, Point> touches_;
  Point centroid_;
  TargetId nextTarget_ = 1;
  std::vector<std::pair<TargetId, Action>> targets_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_GESTURE_RECOGNIZER_H_

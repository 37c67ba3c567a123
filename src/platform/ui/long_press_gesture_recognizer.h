// A press held still: the required number of fingers down for the minimum
// duration without moving more than the allowable distance. Begins when the
// time is up (on the platform's clock, so virtual time on the simulated
// host), changes as the fingers move and ends when one lifts. Fails when a
// finger lifts early, moves too far first, or too many fingers come down.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_LONG_PRESS_GESTURE_RECOGNIZER_H_
#define TESSARIN_PLATFORM_UI_LONG_PRESS_GESTURE_RECOGNIZER_H_

#include <map>
#include <memory>

#include "platform/platform.h"
#include "platform/ui/gesture_recognizer.h"

namespace tessarin::platform::ui {

class LongPressGestureRecognizer : public GestureRecognizer {
 public:
  ~LongPressGestureRecognizer() override;
  const char* typeName() const override { return "LongPressGestureRecognizer"; }

  int numberOfTouchesRequired() const { return touchesRequired_; }
  void setNumberOfTouchesRequired(int touches) { touchesRequired_ = touches < 1 ? 1 : touches; }
  double minimumPressDuration() const { return minimumDuration_; }
  void setMinimumPressDuration(double seconds) { minimumDuration_ = seconds; }
  double allowableMovement() const { return allowableMovement_; }
  void setAllowableMovement(double points) { allowableMovement_ = points; }

 protected:
  void touchBegan(const Touch& touch) override;
  void touchMoved(const Touch& touch) override;
  void touchEnded(const Touch& touch) override;
  void touchCancelled(const Touch& touch) override;

 private:
  void clearGesture() override;
  void cancelTimer();

  int touchesRequired_ = 1;
  double minimumDuration_ = 0.5;
  double allowableMovement_ = 10;
  std::map<int, Point> starts_;
  std::shared_ptr<Timer> timer_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_LONG_PRESS_GESTURE_RECOGNIZER_H_

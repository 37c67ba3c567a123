// A tap: fingers down and up again without moving further than 10 points
// in between. Recognized (ended) when the last of the required fingers
// lifts; fails on more fingers than required, on movement, or when the
// touches are cancelled.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_TAP_GESTURE_RECOGNIZER_H_
#define TESSARIN_PLATFORM_UI_TAP_GESTURE_RECOGNIZER_H_

#include <map>

#include "platform/ui/gesture_recognizer.h"

namespace tessarin::platform::ui {

class TapGestureRecognizer : public GestureRecognizer {
 public:
  static constexpr double kAllowableMovement = 10;

  const char* typeName() const override { return "TapGestureRecognizer"; }
  int numberOfTouchesRequired() const { return touchesRequired_; }
  void setNumberOfTouchesRequired(int touches) { touchesRequired_ = touches < 1 ? 1 : touches; }

 protected:
  void touchBegan(const Touch& touch) override;
  void touchMoved(const Touch& touch) override;
  void touchEnded(const Touch& touch) override;
  void touchCancelled(const Touch& touch) override;

 private:
  void clearGesture() override;

  int touchesRequired_ = 1;
  int maxTouches_ = 0;
  std::map<int, Point> starts_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TAP_GESTURE_RECOGNIZER_H_

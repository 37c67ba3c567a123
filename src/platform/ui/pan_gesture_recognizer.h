// A drag: begins once the fingers' centroid has moved 10 points from where
// it went down, changes with every move after that and ends when the last
// finger lifts. Translation is measured from where the fingers went down
// (so a drag of 200 points reads 200), velocity over the last tenth of a
// second of movement, both in a view's coordinates.
//
// Subclasses (a swipe-to-dismiss recognizer) override reset() to put back
// what they moved; the translation and samples are already forgotten then.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_PAN_GESTURE_RECOGNIZER_H_
#define TESSARIN_PLATFORM_UI_PAN_GESTURE_RECOGNIZER_H_

#include <deque>

#include "platform/ui/gesture_recognizer.h"

namespace tessarin::platform::ui {

class PanGestureRecognizer : public GestureRecognizer {
 public:
  static constexpr double kHysteresis = 10;
  // Velocity is the movement over this much time before the latest touch.
  static constexpr double kVelocityWindow = 0.1;

  const char* typeName() const override { return "PanGestureRecognizer"; }

  int minimumNumberOfTouches() const { return minimumTouches_; }
  void setMinimumNumberOfTouches(int touches) { minimumTouches_ = touches < 1 ? 1 : touches; }
  int maximumNumberOfTouches() const { return maximumTouches_; }
  void setMaximumNumberOfTouches(int touches) { maximumTouches_ = touches; }

  // Points moved since the gesture started, in `view`'s coordinates (null:
  // the window's). Without transforms, a distance is the same in every
  // view; the view matters once views can be scaled.
  Point translationInView(const View* view) const;
  // Makes the current translation read `translation` from now on.
  void setTranslation(Point translation, const View* view);
  // Points per second.
  Point velocityInView(const View* view) const;

 protected:
  void touchBegan(const Touch& touch) override;
  void touchMoved(const Touch& touch) override;
  void touchEnded(const Touch& touch) override;
  void touchCancelled(const Touch& touch) override;

 private:
  struct Sample {
    Point location;
    double time;
  };
  void clearGesture() override;
  void addSample(double time);

  int minimumTouches_ = 1;
  int maximumTouches_ = 1 << 20;
  Point reference_;
  bool started_ = false;
  std::deque<Sample> samples_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_PAN_GESTURE_RECOGNIZER_H_

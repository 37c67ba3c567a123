// A small spinner that says work is under way: a gray arc turning once a
// second, 20 x 20 points.
//
// It turns only while it is animating and in a window on a screen, on that
// screen's animator (so on virtual time on the simulated host); leaving the
// window, stopping or going away ends the turn at the next frame, and with
// it the frames the turn asked for.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_ACTIVITY_INDICATOR_VIEW_H_
#define TESSARIN_PLATFORM_UI_ACTIVITY_INDICATOR_VIEW_H_

#include <memory>

#include "platform/ui/view.h"

namespace tessarin::platform::ui {

class ActivityIndicatorView : public View {
 public:
  static constexpr double kSize = 20;
  static constexpr double kSecondsPerTurn = 1;

  ActivityIndicatorView();
  const char* typeName() const override { return "ActivityIndicatorView"; }

  const Color& color() const { return color_; }
  void setColor(const Color& color);

  bool isAnimating() const { return animating_; }
  void startAnimating();
  void stopAnimating();
  // How far the arc has turned, in radians from where it starts (0..2π).
  double angle() const { return angle_; }

  Size intrinsicContentSize(double width) const override;
  void drawContent(cairo_t* cr) const override;

 protected:
  void didMoveToWindow() override;

 private:
  void updateTurning();
  void setAngle(double angle);

  Color color_;
  bool animating_ = false;
  double angle_ = 0;
  // While the arc turns: the turn lasts as long as this token, so ending it
  // needs no animator (which may have gone with its screen by then).
  std::shared_ptr<const char> turn_;
  // The animator turning it, only to tell whether a new window's is another.
  const void* turningOn_ = nullptr;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_ACTIVITY_INDICATOR_VIEW_H_

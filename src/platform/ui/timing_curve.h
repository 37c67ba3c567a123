// How an animation's progress maps to its value's progress: a cubic Bézier
// from (0, 0) to (1, 1) with two control points. Ease-in-out is the default
// of the reference toolkit's animations.
#ifndef TESSARIN_PLATFORM_UI_TIMING_CURVE_H_
#define TESSARIN_PLATFORM_UI_TIMING_CURVE_H_

namespace tessarin::platform::ui {

class TimingCurve {
 public:
  constexpr TimingCurve(double x1, double y1, double x2, double y2) : x1_(x1), y1_(y1), x2_(x2), y2_(y2) {}
  static constexpr TimingCurve linear() { return {0, 0, 1, 1}; }
  static constexpr TimingCurve easeInEaseOut() { return {0.42, 0, 0.58, 1}; }
  static constexpr TimingCurve easeIn() { return {0.42, 0, 1, 1}; }
  static constexpr TimingCurve easeOut() { return {0, 0, 0.58, 1}; }

  // The value's progress (0..1) at time progress `t` (clamped to 0..1).
  double valueAt(double t) const;

 private:
  double x1_, y1_, x2_, y2_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TIMING_CURVE_H_

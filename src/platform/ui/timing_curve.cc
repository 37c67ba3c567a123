#include "platform/ui/timing_curve.h"

#include <cmath>

namespace tessarin::platform::ui {

namespace {

// One coordinate of the curve at parameter s, with end points 0 and 1.
double bezier(double s, double p1, double p2) {
  double u = 1 - s;
  return 3 * u * u * s * p1 + 3 * u * s * s * p2 + s * s * s;
}

double bezierSlope(double s, double p1, double p2) {
  double u = 1 - s;
  return 3 * u * u * p1 + 6 * u * s * (p2 - p1) + 3 * s * s * (1 - p2);
}

}  // namespace

double TimingCurve::valueAt(double t) const {
  if (t <= 0) return 0;
  if (t >= 1) return 1;
  // Find the parameter whose x is t: Newton's method converges in a few
  // steps where the slope is healthy; bisection covers the rest (x is
  // monotonic because the control points' x lie in 0..1).
  double s = t;
  for (int i = 0; i < 8; ++i) {
    double error = bezier(s, x1_, x2_) - t;
    if (std::fabs(error) < 1e-9) return bezier(s, y1_, y2_);
    double slope = bezierSlope(s, x1_, x2_);
    if (std::fabs(slope) < 1e-6) break;
    s -= error / slope;
  }
  double lo = 0, hi = 1;
  s = t;
  for (int i = 0; i < 60; ++i) {
    double x = bezier(s, x1_, x2_);
    if (std::fabs(x - t) < 1e-9) break;
    if (x < t) {
      lo = s;
    } else {
      hi = s;
    }
    s = (lo + hi) / 2;
  }
  return bezier(s, y1_, y2_);
}

}  // namespace tessarin::platform::ui

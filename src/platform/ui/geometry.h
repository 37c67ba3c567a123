// Points, sizes, rectangles and insets of the UI kit, in points (a point is
// `scale` pixels when drawn). The y axis points down, as on screen.
#ifndef TESSARIN_PLATFORM_UI_GEOMETRY_H_
#define TESSARIN_PLATFORM_UI_GEOMETRY_H_

#include <algorithm>

namespace tessarin::platform::ui {

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  bool contains(Point p) const { return p.x >= x && p.x < maxX() && p.y >= y && p.y < maxY(); }
  bool isEmpty() const { return !(width > 0) || !(height > 0); }
  // The smallest rectangle holding both; an empty one adds nothing.
  Rect unionWith(const Rect& other) const {
    if (other.isEmpty()) return *this;
    if (isEmpty()) return other;
    double left = std::min(x, other.x), top = std::min(y, other.y);
    return {left, top, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top};
  }
  // What both cover; empty (all zero) when they do not meet.
  Rect intersection(const Rect& other) const {
    double left = std::max(x, other.x), top = std::max(y, other.y);
    double right = std::min(maxX(), other.maxX()), bottom = std::min(maxY(), other.maxY());
    if (right <= left || bottom <= top) return {};
    return {left, top, right - left, bottom - top};
  }
  friend bool operator==(const Rect&, const Rect&) = default;
};

struct EdgeInsets {
  double top = 0;
  double left = 0;
  double bottom = 0;
  double right = 0;
  friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_GEOMETRY_H_

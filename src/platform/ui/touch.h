// One finger on the screen, as the host reports it: an identifier that
// stays the same from touch-down to lift-off, where it is and when.
#ifndef TESSARIN_PLATFORM_UI_TOUCH_H_
#define TESSARIN_PLATFORM_UI_TOUCH_H_

#include "platform/ui/geometry.h"

namespace tessarin::platform::ui {

enum class TouchPhase { kBegan, kMoved, kEnded, kCancelled };

struct Touch {
  int id = 0;
  TouchPhase phase = TouchPhase::kBegan;
  // In screen coordinates, which are the coordinates of a window that
  // covers the screen from its origin (every window, in practice).
  Point location;
  Point previousLocation;
  // Seconds on the platform's monotonic clock.
  double timestamp = 0;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TOUCH_H_

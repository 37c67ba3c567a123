// TSRUtilityImage: pictures of what the screen shows (a view, a window, the
// whole screen), optionally scaled down so that the longer side stays
// within a number of pixels, as uploads of screenshots need.
//
// Main thread only, like the views it draws.
#ifndef TESSARIN_UI_UTILITY_IMAGE_H_
#define TESSARIN_UI_UTILITY_IMAGE_H_

#include <optional>

#include "platform/ui/image.h"

namespace tessarin {

namespace platform::ui {
class Screen;
class View;
class Window;
}  // namespace platform::ui

class Environment;

class TSRUtilityImage {
 public:
  // A null window is the app's first normal window (where the app's
  // windows are the kit's). `maxDimensionPx` 0 means the native scale.
  static std::optional<platform::ui::Image> snapshotWindow(Environment& environment, platform::ui::Window* window,
                                                           unsigned maxDimensionPx);
  // A null screen is the main screen. Every window shown on it, back to front.
  static std::optional<platform::ui::Image> snapshotScreen(Environment& environment, platform::ui::Screen* screen,
                                                           unsigned maxDimensionPx);
  static std::optional<platform::ui::Image> snapshotView(Environment& environment, platform::ui::View* view,
                                                         unsigned maxDimensionPx);
  static std::optional<platform::ui::Image> snapshotView(Environment& environment, platform::ui::View* view,
                                                         platform::ui::Screen* screen, unsigned maxDimensionPx);
  // The scale at which a `width` × `height` point picture at `scale` keeps
  // its longer side within `maxDimensionPx` (never above `scale`).
  static double limitedScale(double width, double height, double scale, unsigned maxDimensionPx);
};

}  // namespace tessarin

#endif  // TESSARIN_UI_UTILITY_IMAGE_H_

// A window of the SDK's over an app that draws its own: only the views put
// in it take touches; a touch on the window itself or on its root view
// controller's (transparent, full-window) view belongs to whatever is below
// it (the app's windows, or the app itself on a host that composites
// the SDK's overlay).
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_PASS_THROUGH_WINDOW_H_
#define TESSARIN_PLATFORM_UI_PASS_THROUGH_WINDOW_H_

#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

class PassThroughWindow : public Window {
 public:
  using Window::Window;
  View* hitTest(Point point) override {
    View* hit = Window::hitTest(point);
    if (hit == this || (rootViewController() && hit == rootViewController()->view().get())) return nullptr;
    return hit;
  }
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_PASS_THROUGH_WINDOW_H_

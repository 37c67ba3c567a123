#include "ui/utility_image.h"

#include <cairo.h>

#include <cmath>

#include "base/log.h"
#include "platform/ui/drawing_library.h"
#include "platform/ui/host_view_hierarchy.h"
#include "platform/ui/screen.h"
#include "platform/ui/view_renderer.h"
#include "platform/ui/window.h"
#include "util/environment.h"
#include "util/host_app.h"

namespace tessarin {

namespace kit = platform::ui;

double TSRUtilityImage::limitedScale(double width, double height, double scale, unsigned maxDimensionPx) {
  if (maxDimensionPx == 0) return scale;
  double pixelWidth = scale * width;
  double pixelHeight = scale * height;
  double limit = maxDimensionPx;
  if (pixelHeight > pixelWidth && limit < pixelHeight) {
    TSR_LOG_DEBUG("Image: Snapshot limit height to %lu", maxDimensionPx);
    return scale * limit / pixelHeight;
  }
  if (limit < pixelWidth) {
    TSR_LOG_DEBUG("Image: Snapshot limit width to %lu", maxDimensionPx);
    return scale * limit / pixelWidth;
  }
  return scale;
}

std::optional<kit::Image> TSRUtilityImage::snapshotWindow(Environment& environment, kit::Window* window,
                                                          unsigned maxDimensionPx) {
  if (!window) {
    auto* host = dynamic_cast<kit::HostWindow*>(environment.hostApp().firstNormalWindow().get());
    if (host) window = &host->kit();
  }
  return snapshotView(environment, window, maxDimensionPx);
}

std::optional<kit::Image> TSRUtilityImage::snapshotScreen(Environment& environment, kit::Screen* screen,
                                                          unsigned maxDimensionPx) {
  if (!screen) screen = environment.screen();
  if (!screen) return std::nullopt;
  kit::Rect bounds = screen->bounds();
  double scale = limitedScale(bounds.width, bounds.height, screen->scale(), maxDimensionPx);
  kit::Image image = screen->snapshot(scale);
  TSR_LOG_DEBUG("Image: Snapshot complete");
  return image;
}

std::optional<kit::Image> TSRUtilityImage::snapshotView(Environment& environment, kit::View* view,
                                                        unsigned maxDimensionPx) {
  return snapshotView(environment, view, nullptr, maxDimensionPx);
}

std::optional<kit::Image> TSRUtilityImage::snapshotView(Environment& environment, kit::View* view,
                                                        kit::Screen* screen, unsigned maxDimensionPx) {
  if (!view) return std::nullopt;
  kit::Size size{view->bounds().width, view->bounds().height};
  // The screen the view is shown on decides the scale, then the one given,
  // then the main screen.
  kit::Screen* shownOn = view->window() ? view->window()->screen() : nullptr;
  kit::Screen* scaleFrom = shownOn ? shownOn : screen ? screen : environment.screen();
  double scale = scaleFrom ? scaleFrom->scale() : 1.0;
  scale = limitedScale(size.width, size.height, scale, maxDimensionPx);

  int width = std::max(0, static_cast<int>(std::ceil(size.width * scale - 1e-9)));
  int height = std::max(0, static_cast<int>(std::ceil(size.height * scale - 1e-9)));
  kit::Image image(width, height);
  bool drawn = false;
  image.draw([&](cairo_t* cr) {
    kit::drawing().cairo_scale(cr, scale, scale);
    drawn = kit::drawViewHierarchyInRect(cr, *view, {0, 0, size.width, size.height}, true);
  });
  if (!drawn) TSR_LOG_DEBUG("Image: Snapshot incomplete");
  TSR_LOG_DEBUG("Image: Snapshot complete");
  return image;
}

}  // namespace tessarin

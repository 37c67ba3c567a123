#include "platform/ui/view_renderer.h"

#include <algorithm>
#include <cmath>

#include "platform/ui/drawing_library.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

namespace {

void roundedRect(cairo_t* cr, double x, double y, double width, double height, double radius) {
  radius = std::min({radius, width / 2, height / 2});
  if (radius <= 0) {
    drawing().cairo_rectangle(cr, x, y, width, height);
    return;
  }
  drawing().cairo_new_sub_path(cr);
  drawing().cairo_arc(cr, x + width - radius, y + radius, radius, -M_PI / 2, 0);
  drawing().cairo_arc(cr, x + width - radius, y + height - radius, radius, 0, M_PI / 2);
  drawing().cairo_arc(cr, x + radius, y + height - radius, radius, M_PI / 2, M_PI);
  drawing().cairo_arc(cr, x + radius, y + radius, radius, M_PI, 3 * M_PI / 2);
  drawing().cairo_close_path(cr);
}

void setColor(cairo_t* cr, const Color& color) {
  drawing().cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
}

}  // namespace

void drawView(cairo_t* cr, const View& view);

// Draws `view` where it sits in its superview's coordinates (the current ones).
void drawViewInSuperview(cairo_t* cr, const View& view) {
  const Rect& f = view.frame();
  const Rect& b = view.bounds();
  drawing().cairo_save(cr);
  drawing().cairo_translate(cr, f.x - b.x, f.y - b.y);
  drawView(cr, view);
  drawing().cairo_restore(cr);
}

void drawView(cairo_t* cr, const View& view) {
  if (view.isHidden() || view.alpha() <= 0) return;
  const Rect& b = view.bounds();
  bool group = view.alpha() < 1;
  drawing().cairo_save(cr);
  if (group) drawing().cairo_push_group(cr);

  if (!view.backgroundColor().isClear()) {
    roundedRect(cr, b.x, b.y, b.width, b.height, view.cornerRadius());
    setColor(cr, view.backgroundColor());
    drawing().cairo_fill(cr);
  }
  // Content and subviews in a state of their own, so that the clip ends
  // before the border.
  drawing().cairo_save(cr);
  if (view.clipsToBounds()) {
    roundedRect(cr, b.x, b.y, b.width, b.height, view.cornerRadius());
    drawing().cairo_clip(cr);
  }
  drawing().cairo_save(cr);
  view.drawContent(cr);
  drawing().cairo_restore(cr);
  for (const auto& subview : view.subviews()) drawViewInSuperview(cr, *subview);
  drawing().cairo_restore(cr);

  double w = view.borderWidth();
  if (w > 0 && !view.borderColor().isClear()) {
    // The border lies inside the bounds, its outer edge on the corner curve.
    double inset = std::min({w, b.width / 2, b.height / 2}) / 2;
    roundedRect(cr, b.x + inset, b.y + inset, b.width - 2 * inset, b.height - 2 * inset,
                std::max(0.0, view.cornerRadius() - inset));
    drawing().cairo_set_line_width(cr, 2 * inset);
    setColor(cr, view.borderColor());
    drawing().cairo_stroke(cr);
  }

  if (group) {
    drawing().cairo_pop_group_to_source(cr);
    drawing().cairo_paint_with_alpha(cr, view.alpha());
  }
  drawing().cairo_restore(cr);
}

bool drawViewHierarchyInRect(cairo_t* cr, View& view, const Rect& rect, bool afterScreenUpdates) {
  if (afterScreenUpdates) view.layoutIfNeeded();
  const Rect& b = view.bounds();
  if (b.width <= 0 || b.height <= 0 || rect.width <= 0 || rect.height <= 0) return false;
  drawing().cairo_save(cr);
  drawing().cairo_translate(cr, rect.x, rect.y);
  drawing().cairo_scale(cr, rect.width / b.width, rect.height / b.height);
  drawing().cairo_translate(cr, -b.x, -b.y);
  drawView(cr, view);
  drawing().cairo_restore(cr);
  return true;
}

Image renderViews(const std::vector<const View*>& views, const Rect& area, double scale) {
  Image image(static_cast<int>(std::ceil(area.width * scale - 1e-9)),
              static_cast<int>(std::ceil(area.height * scale - 1e-9)));
  image.draw([&](cairo_t* cr) {
    drawing().cairo_scale(cr, scale, scale);
    drawing().cairo_translate(cr, -area.x, -area.y);
    for (const View* view : views) drawViewInSuperview(cr, *view);
  });
  return image;
}

Image renderView(const View& view, double scale) {
  const Rect& b = view.bounds();
  Image image(static_cast<int>(std::ceil(b.width * scale - 1e-9)), static_cast<int>(std::ceil(b.height * scale - 1e-9)));
  image.draw([&](cairo_t* cr) {
    drawing().cairo_scale(cr, scale, scale);
    drawing().cairo_translate(cr, -b.x, -b.y);
    drawView(cr, view);
  });
  return image;
}

}  // namespace tessarin::platform::ui

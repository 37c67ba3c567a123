// Drawing view trees with Cairo: backgrounds, alpha (a view and its
// subviews fade as one), rounded corners, borders (inside the bounds, over
// the subviews), clipping and content such as text.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_VIEW_RENDERER_H_
#define TESSARIN_PLATFORM_UI_VIEW_RENDERER_H_

#include <cairo.h>

#include <vector>

#include "platform/ui/geometry.h"
#include "platform/ui/image.h"

namespace tessarin::platform::ui {

class View;

// Draws `view` and its subviews with `cr` in the view's own bounds
// coordinates (the caller has placed them).
void drawView(cairo_t* cr, const View& view);

// Draws the view's whole tree, its bounds scaled to fill `rect` of the
// context's current user space. With `afterScreenUpdates`, pending layout
// is done first, so the drawing shows what the next frame will. False when
// there is nothing to draw (an empty view or rect).
bool drawViewHierarchyInRect(cairo_t* cr, View& view, const Rect& rect, bool afterScreenUpdates);

// An image of `area` (in the coordinates the views' frames are in: a
// window's are screen coordinates) with `views` drawn back to front at
// their frames, `scale` pixels per point.
Image renderViews(const std::vector<const View*>& views, const Rect& area, double scale);

// An image of the view's bounds.
Image renderView(const View& view, double scale);

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_VIEW_RENDERER_H_

#include "platform/ui/text_layout.h"

#include <cmath>

#include "platform/ui/drawing_library.h"

namespace tessarin::platform::ui {

namespace {

// The same font options for measuring and drawing: without hinting, glyph
// advances do not depend on the device scale, and without subpixel
// antialiasing the pixels do not depend on the screen.
void configureContext(PangoContext* context) {
  cairo_font_options_t* options = drawing().cairo_font_options_create();
  drawing().cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  drawing().cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  drawing().cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  drawing().pango_cairo_context_set_font_options(context, options);
  drawing().cairo_font_options_destroy(options);
  drawing().pango_context_set_round_glyph_positions(context, FALSE);
}

PangoLayout* createLayout(PangoContext* context, const TextAttributes& attributes, double width) {
  PangoLayout* layout = drawing().pango_layout_new(context);
  PangoFontDescription* description = drawing().pango_font_description_new();
  drawing().pango_font_description_set_family(description, attributes.font.family.c_str());
  // Absolute size: one point of font size is one unit of user space,
  // whatever resolution the font map assumes.
  drawing().pango_font_description_set_absolute_size(description, attributes.font.pointSize * PANGO_SCALE);
  drawing().pango_font_description_set_weight(description, static_cast<PangoWeight>(attributes.font.weight));
  drawing().pango_layout_set_font_description(layout, description);
  drawing().pango_font_description_free(description);
  drawing().pango_layout_set_text(layout, attributes.text.c_str(), -1);

  if (width > 0) {
    drawing().pango_layout_set_width(layout, static_cast<int>(std::floor(width * PANGO_SCALE)));
    drawing().pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    if (attributes.numberOfLines > 0) {
      // A negative height limits the lines per paragraph; the last one
      // that fits ends in an ellipsis when the text goes on.
      drawing().pango_layout_set_height(layout, -attributes.numberOfLines);
      if (attributes.truncateTail) drawing().pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    }
  }
  switch (attributes.alignment) {
    case TextAlignment::kLeft: drawing().pango_layout_set_alignment(layout, PANGO_ALIGN_LEFT); break;
    case TextAlignment::kCenter: drawing().pango_layout_set_alignment(layout, PANGO_ALIGN_CENTER); break;
    case TextAlignment::kRight: drawing().pango_layout_set_alignment(layout, PANGO_ALIGN_RIGHT); break;
  }
  return layout;
}

// The lines a label shows: without ellipsizing (clipping instead), only
// the first `numberOfLines` lines count.
double shownHeight(PangoLayout* layout, const TextAttributes& attributes) {
  PangoRectangle logical;
  drawing().pango_layout_get_extents(layout, nullptr, &logical);
  double height = logical.height / double(PANGO_SCALE);
  int lines = drawing().pango_layout_get_line_count(layout);
  if (attributes.numberOfLines > 0 && lines > attributes.numberOfLines) {
    PangoLayoutLine* line = drawing().pango_layout_get_line_readonly(layout, attributes.numberOfLines);
    PangoLayoutIter* iter = drawing().pango_layout_get_iter(layout);
    while (drawing().pango_layout_iter_get_line_readonly(iter) != line && drawing().pango_layout_iter_next_line(iter)) {
    }
    PangoRectangle lineRect;
    drawing().pango_layout_iter_get_line_extents(iter, nullptr, &lineRect);
    drawing().pango_layout_iter_free(iter);
    height = lineRect.y / double(PANGO_SCALE);
  }
  return height;
}

}  // namespace

Size measureText(const TextAttributes& attributes, double maxWidth) {
  if (attributes.text.empty() || !drawingAvailable()) return {0, 0};
  PangoContext* context = drawing().pango_font_map_create_context(drawing().pango_cairo_font_map_get_default());
  configureContext(context);
  PangoLayout* layout = createLayout(context, attributes, maxWidth);
  PangoRectangle logical;
  drawing().pango_layout_get_extents(layout, nullptr, &logical);
  double width = logical.width / double(PANGO_SCALE);
  if (maxWidth > 0 && width > maxWidth) width = maxWidth;
  Size size{std::ceil(width - 1e-6), std::ceil(shownHeight(layout, attributes) - 1e-6)};
  drawing().g_object_unref(layout);
  drawing().g_object_unref(context);
  return size;
}

void drawText(cairo_t* cr, const TextAttributes& attributes, const Rect& rect) {
  if (attributes.text.empty() || attributes.color.isClear() || rect.width <= 0) return;
  PangoContext* context = drawing().pango_font_map_create_context(drawing().pango_cairo_font_map_get_default());
  configureContext(context);
  drawing().pango_cairo_update_context(cr, context);
  PangoLayout* layout = createLayout(context, attributes, rect.width);
  double height = shownHeight(layout, attributes);

  drawing().cairo_save(cr);
  drawing().cairo_rectangle(cr, rect.x, rect.y, rect.width, rect.height);
  drawing().cairo_clip(cr);
  drawing().cairo_move_to(cr, rect.x, rect.y + (rect.height - height) / 2);
  drawing().cairo_set_source_rgba(cr, attributes.color.red, attributes.color.green, attributes.color.blue,
                        attributes.color.alpha);
  drawing().pango_cairo_show_layout(cr, layout);
  drawing().cairo_restore(cr);
  drawing().g_object_unref(layout);
  drawing().g_object_unref(context);
}

std::string truncateUtf8(std::string text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = maxBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  text.resize(end);
  return text;
}

}  // namespace tessarin::platform::ui

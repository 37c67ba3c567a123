// Cairo and Pango, loaded the first time something is measured or drawn.
//
// Most apps run for their whole life without showing an in-app message or
// opening design mode, so they never draw. Linked, the two libraries would
// still cost every app their whole dependency tree at start-up (GLib, X11,
// fontconfig, FreeType, HarfBuzz, pixman: about 4 MiB resident before a
// pixel is drawn), and an app could not start where they are not installed.
// So the kit calls them through this table, filled by one dlopen.
//
// Code that makes a context, surface or font map asks drawingAvailable()
// first (Image::draw does, for everything drawn into pixels); code that is
// handed a context calls drawing() freely, since the context proves the
// library was loaded.
#ifndef TESSARIN_PLATFORM_UI_DRAWING_LIBRARY_H_
#define TESSARIN_PLATFORM_UI_DRAWING_LIBRARY_H_

#include <pango/pangocairo.h>

namespace tessarin::platform::ui {

#define TESSARIN_DRAWING_FUNCTIONS(X)                                                                    \
  X(cairo_arc) X(cairo_clip) X(cairo_close_path) X(cairo_create) X(cairo_destroy) X(cairo_fill)          \
  X(cairo_font_options_create) X(cairo_font_options_destroy) X(cairo_font_options_set_antialias)         \
  X(cairo_font_options_set_hint_metrics) X(cairo_font_options_set_hint_style)                            \
  X(cairo_image_surface_create_for_data) X(cairo_image_surface_create_from_png_stream)                   \
  X(cairo_image_surface_get_height) X(cairo_image_surface_get_width) X(cairo_move_to) X(cairo_new_path)  \
  X(cairo_new_sub_path) X(cairo_paint) X(cairo_paint_with_alpha) X(cairo_pop_group_to_source)            \
  X(cairo_push_group) X(cairo_rectangle) X(cairo_restore) X(cairo_save) X(cairo_scale)                   \
  X(cairo_set_line_cap) X(cairo_set_line_width) X(cairo_set_operator) X(cairo_set_source_rgba)           \
  X(cairo_set_source_surface) X(cairo_stroke) X(cairo_surface_destroy) X(cairo_surface_flush)            \
  X(cairo_surface_status) X(cairo_translate) X(g_object_unref) X(pango_cairo_context_set_font_options)   \
  X(pango_cairo_font_map_get_default) X(pango_cairo_show_layout) X(pango_cairo_update_context)           \
  X(pango_context_set_round_glyph_positions) X(pango_font_description_free)                              \
  X(pango_font_description_new) X(pango_font_description_set_absolute_size)                              \
  X(pango_font_description_set_family) X(pango_font_description_set_weight)                              \
  X(pango_font_map_create_context) X(pango_layout_get_extents) X(pango_layout_get_iter)                  \
  X(pango_layout_get_line_count) X(pango_layout_get_line_readonly) X(pango_layout_iter_free)             \
  X(pango_layout_iter_get_line_extents) X(pango_layout_iter_get_line_readonly)                           \
  X(pango_layout_iter_next_line) X(pango_layout_new) X(pango_layout_set_alignment)                       \
  X(pango_layout_set_ellipsize) X(pango_layout_set_font_description) X(pango_layout_set_height)          \
  X(pango_layout_set_text) X(pango_layout_set_width) X(pango_layout_set_wrap)

// The functions the kit calls, under their own names.
struct DrawingLibrary {
#define TESSARIN_DRAWING_POINTER(name) decltype(&::name) name = nullptr;
  TESSARIN_DRAWING_FUNCTIONS(TESSARIN_DRAWING_POINTER)
#undef TESSARIN_DRAWING_POINTER
};

// Whether the libraries are there; the first call, from any thread, loads
// them. When they are not, the reason is written to the system log once,
// and nothing is drawn or measured: in-app messages and screenshots come
// out blank, text measures empty.
bool drawingAvailable();

// The loaded functions; only once drawingAvailable() has said yes.
const DrawingLibrary& drawing();

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_DRAWING_LIBRARY_H_

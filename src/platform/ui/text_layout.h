// Measuring and drawing a run of text with Pango: what labels and button
// titles are made of. Sizes are in points; drawing happens in whatever
// scale the Cairo context has, with hinting off so that a label measures
// the same at every scale and its text is not re-wrapped when a screenshot
// is taken at another scale than the screen's.
//
// Main thread only (Pango's font map is per thread).
#ifndef TESSARIN_PLATFORM_UI_TEXT_LAYOUT_H_
#define TESSARIN_PLATFORM_UI_TEXT_LAYOUT_H_

#include <cairo.h>

#include <string>

#include "platform/ui/color.h"
#include "platform/ui/geometry.h"
#include "platform/ui/text_style.h"

namespace tessarin::platform::ui {

enum class TextAlignment { kLeft, kCenter, kRight };

struct TextAttributes {
  std::string text;
  Font font;
  Color color = Color::black();
  TextAlignment alignment = TextAlignment::kLeft;
  // 0: as many lines as the text needs.
  int numberOfLines = 1;
  // Text that does not fit ends in an ellipsis; otherwise it is clipped.
  bool truncateTail = true;
};

// The size the text takes when it may be at most `maxWidth` wide (<= 0: no
// limit, so only explicit line breaks wrap), rounded up to whole points.
Size measureText(const TextAttributes& attributes, double maxWidth);

// Draws the text in `rect`: wrapped and aligned in its width, centred
// vertically, as a label shows it.
void drawText(cairo_t* cr, const TextAttributes& attributes, const Rect& rect);

// At most `maxBytes` of UTF-8 text, cut between characters. Text from
// outside the app (a campaign's, a link's whole address) can be far longer
// than any screen shows, and would only be measured for nothing.
std::string truncateUtf8(std::string text, std::size_t maxBytes);

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TEXT_LAYOUT_H_

#include "platform/ui/label.h"

namespace tessarin::platform::ui {

Label::Label() {
  // Labels let touches through to what they are in, as buttons need.
  setUserInteractionEnabled(false);
  // A label hugs its text a little more than plain views do, so that
  // stretching goes to its neighbours first.
  setContentHuggingPriority(kLayoutPriorityDefaultLow + 1, Axis::kHorizontal);
  setContentHuggingPriority(kLayoutPriorityDefaultLow + 1, Axis::kVertical);
  attributes_.color = Color::black();
  attributes_.numberOfLines = 1;
}

void Label::textChanged() {
  invalidateIntrinsicContentSize();
  setNeedsDisplay();
}

void Label::setText(std::string text) {
  if (text == attributes_.text) return;
  attributes_.text = std::move(text);
  textChanged();
}

void Label::setTextColor(const Color& color) {
  attributes_.color = color;
  setNeedsDisplay();
}

void Label::setTextAlignment(TextAlignment alignment) {
  attributes_.alignment = alignment;
  setNeedsDisplay();
}

void Label::setNumberOfLines(int lines) {
  attributes_.numberOfLines = lines < 0 ? 0 : lines;
  textChanged();
}

void Label::setTruncatesTail(bool truncates) {
  attributes_.truncateTail = truncates;
  setNeedsDisplay();
}

void Label::setFont(const Font& font) {
  if (font == attributes_.font) return;
  attributes_.font = font;
  textChanged();
}

Size Label::intrinsicContentSize(double width) const {
  // A single line is as wide as its text; more lines wrap once the layout
  // knows the width it gave the label.
  bool wraps = attributes_.numberOfLines != 1 && width > 0;
  return measureText(attributes_, wraps ? width : 0);
}

Size Label::sizeThatFits(Size size) const { return measureText(attributes_, size.width); }

void Label::drawContent(cairo_t* cr) const { drawText(cr, attributes_, bounds()); }

}  // namespace tessarin::platform::ui

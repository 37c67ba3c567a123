// A view that shows text: one style of font, colour and alignment, on at
// most `numberOfLines` lines (0: as many as it takes), ending in an
// ellipsis when it does not fit. Its intrinsic size is the measured text;
// given a width (the layout's second pass for labels of several lines), it
// wraps at that width. The text is centred vertically in the bounds.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_LABEL_H_
#define TESSARIN_PLATFORM_UI_LABEL_H_

#include <string>

#include "platform/ui/text_layout.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

class Label : public View {
 public:
  Label();
  const char* typeName() const override { return "Label"; }

  const std::string& text() const { return attributes_.text; }
  void setText(std::string text);
  const Color& textColor() const { return attributes_.color; }
  void setTextColor(const Color& color);
  TextAlignment textAlignment() const { return attributes_.alignment; }
  void setTextAlignment(TextAlignment alignment);
  int numberOfLines() const { return attributes_.numberOfLines; }
  void setNumberOfLines(int lines);
  bool truncatesTail() const { return attributes_.truncateTail; }
  void setTruncatesTail(bool truncates);
  const Font& font() const { return attributes_.font; }
  void setFont(const Font& font);
  const TextAttributes& textAttributes() const { return attributes_; }

  Size intrinsicContentSize(double width) const override;
  // The size the text needs within `size`'s width (<= 0: unlimited).
  Size sizeThatFits(Size size) const;
  void drawContent(cairo_t* cr) const override;

 private:
  void textChanged();
  TextAttributes attributes_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_LABEL_H_

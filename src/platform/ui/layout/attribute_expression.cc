#include "platform/ui/layout/attribute_expression.h"

namespace tessarin::platform::ui::layout {
namespace {

using A = LayoutAttribute;

// The right-to-left mapping of the leading/trailing family onto the
// left/right family, with the sign that mirrors it.
bool mirrored(A attribute, LayoutDirection direction) {
  if (direction != LayoutDirection::kRightToLeft) return false;
  switch (attribute) {
    case A::kLeading:
    case A::kTrailing:
    case A::kLeadingMargin:
    case A::kTrailingMargin: return true;
    default: return false;
  }
}

A physical(A attribute, LayoutDirection direction) {
  bool rtl = direction == LayoutDirection::kRightToLeft;
  switch (attribute) {
    case A::kLeading: return rtl ? A::kRight : A::kLeft;
    case A::kTrailing: return rtl ? A::kLeft : A::kRight;
    case A::kLeadingMargin: return rtl ? A::kRightMargin : A::kLeftMargin;
    case A::kTrailingMargin: return rtl ? A::kLeftMargin : A::kRightMargin;
    default: return attribute;
  }
}

}  // namespace

bool appendAttributeTerms(const ItemVariables& item, LayoutAttribute attribute, LayoutDirection direction,
                          double scale, std::vector<Term>* terms) {
  if (mirrored(attribute, direction)) scale = -scale;
  switch (physical(attribute, direction)) {
    case A::kLeft:
    case A::kLeftMargin: terms->push_back({item.left, scale}); return true;
    case A::kRight:
    case A::kRightMargin:
      terms->push_back({item.left, scale});
      terms->push_back({item.width, scale});
      return true;
    case A::kTop:
    case A::kTopMargin: terms->push_back({item.top, scale}); return true;
    case A::kBottom:
    case A::kBottomMargin:
      terms->push_back({item.top, scale});
      terms->push_back({item.height, scale});
      return true;
    case A::kWidth: terms->push_back({item.width, scale}); return true;
    case A::kHeight: terms->push_back({item.height, scale}); return true;
    case A::kCenterX:
    case A::kCenterXWithinMargins:
      terms->push_back({item.left, scale});
      terms->push_back({item.width, scale / 2});
      return true;
    case A::kCenterY:
    case A::kCenterYWithinMargins:
      terms->push_back({item.top, scale});
      terms->push_back({item.height, scale / 2});
      return true;
    default: return false;
  }
}

double attributeOffset(LayoutAttribute attribute, LayoutDirection direction, const EdgeInsets& margins) {
  double offset = 0;
  switch (physical(attribute, direction)) {
    case A::kLeftMargin: offset = margins.left; break;
    case A::kRightMargin: offset = -margins.right; break;
    case A::kTopMargin: offset = margins.top; break;
    case A::kBottomMargin: offset = -margins.bottom; break;
    case A::kCenterXWithinMargins: offset = (margins.left - margins.right) / 2; break;
    case A::kCenterYWithinMargins: offset = (margins.top - margins.bottom) / 2; break;
    default: break;
  }
  return mirrored(attribute, direction) ? -offset : offset;
}

bool usesMargins(LayoutAttribute attribute) {
  switch (attribute) {
    case A::kLeftMargin:
    case A::kRightMargin:
    case A::kTopMargin:
    case A::kBottomMargin:
    case A::kLeadingMargin:
    case A::kTrailingMargin:
    case A::kCenterXWithinMargins:
    case A::kCenterYWithinMargins: return true;
    default: return false;
  }
}

bool isPosition(LayoutAttribute attribute) {
  return attribute != A::kNotAnAttribute && attribute != A::kWidth && attribute != A::kHeight;
}

const char* attributeName(LayoutAttribute attribute) {
  switch (attribute) {
    case A::kNotAnAttribute: return "notAnAttribute";
    case A::kLeft: return "left";
    case A::kRight: return "right";
    case A::kTop: return "top";
    case A::kBottom: return "bottom";
    case A::kLeading: return "leading";
    case A::kTrailing: return "trailing";
    case A::kWidth: return "width";
    case A::kHeight: return "height";
    case A::kCenterX: return "centerX";
    case A::kCenterY: return "centerY";
    case A::kLeftMargin: return "leftMargin";
    case A::kRightMargin: return "rightMargin";
    case A::kTopMargin: return "topMargin";
    case A::kBottomMargin: return "bottomMargin";
    case A::kLeadingMargin: return "leadingMargin";
    case A::kTrailingMargin: return "trailingMargin";
    case A::kCenterXWithinMargins: return "centerXWithinMargins";
    case A::kCenterYWithinMargins: return "centerYWithinMargins";
  }
  return "?";
}

}  // namespace tessarin::platform::ui::layout

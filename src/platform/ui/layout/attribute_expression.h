// What an attribute of an item is in terms of the item's four solver
// variables (left, top, width, height, in the root's coordinates):
//   attribute = sum(coefficient * variable) + offset.
// The offset holds the item's layout margins for the margin attributes.
//
// Leading and trailing are measured along the reading direction: left to
// right they are the left and right edges; right to left they are the
// right and left edges negated, so that "b.leading == a.trailing + 8" puts
// b eight points further along the line in both directions.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_ATTRIBUTE_EXPRESSION_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_ATTRIBUTE_EXPRESSION_H_

#include <vector>

#include "platform/ui/geometry.h"
#include "platform/ui/layout/layout_types.h"
#include "platform/ui/layout/solver.h"

namespace tessarin::platform::ui::layout {

struct ItemVariables {
  Variable left, top, width, height;
};

// Appends scale * (the attribute's variable part) to `terms`; false for
// kNotAnAttribute.
bool appendAttributeTerms(const ItemVariables& item, LayoutAttribute attribute, LayoutDirection direction,
                          double scale, std::vector<Term>* terms);
// The attribute's constant part, given the item's margins.
double attributeOffset(LayoutAttribute attribute, LayoutDirection direction, const EdgeInsets& margins);
// Whether the offset depends on the margins at all (so they need asking).
bool usesMargins(LayoutAttribute attribute);
// A position along an axis, which needs a second item to be measured from.
bool isPosition(LayoutAttribute attribute);
const char* attributeName(LayoutAttribute attribute);

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_ATTRIBUTE_EXPRESSION_H_

// The visual format language: one line of a layout, horizontal or vertical,
// written as a picture ("H:|-[title]-|", "V:|-(>=20)-[panel(<=400@750)]").
// Parsing yields constraints between named items; the caller binds the names
// to its views. The superview is the name "|".
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_VISUAL_FORMAT_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_VISUAL_FORMAT_H_

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/ui/layout/layout_types.h"

namespace tessarin::platform::ui::layout {

inline constexpr const char* kSuperviewName = "|";
// Spacing that a bare "-" stands for.
inline constexpr double kStandardSiblingSpacing = 8;
inline constexpr double kStandardSuperviewSpacing = 20;

// first.firstAttribute (relation) second.secondAttribute * multiplier + constant
// When `second` is empty, the constraint is on `first` alone (a width or height).
// Horizontal formats are written with leading/trailing attributes; the caller
// maps them to left/right by its layout direction.
struct FormatConstraint {
  std::string first;
  LayoutAttribute firstAttribute = LayoutAttribute::kNotAnAttribute;
  LayoutRelation relation = LayoutRelation::kEqual;
  std::string second;
  LayoutAttribute secondAttribute = LayoutAttribute::kNotAnAttribute;
  double multiplier = 1;
  double constant = 0;
  LayoutPriority priority = kLayoutPriorityRequired;
  friend bool operator==(const FormatConstraint&, const FormatConstraint&) = default;
};

struct FormatResult {
  std::vector<FormatConstraint> constraints;
  // Empty when the format parsed; otherwise one line saying what is wrong
  // and where, and no constraints.
  std::string error;
};

// `metrics` name numbers usable wherever a number is; `views` are the names
// a format may mention (besides "|").
FormatResult parseVisualFormat(const std::string& format, const std::map<std::string, double>& metrics,
                               const std::set<std::string>& views);

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_VISUAL_FORMAT_H_

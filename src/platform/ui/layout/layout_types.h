// The vocabulary that constraints are written in: attributes of a layout
// item, relations and priorities.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_TYPES_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_TYPES_H_

namespace tessarin::platform::ui {

enum class Axis { kHorizontal, kVertical };

enum class LayoutAttribute {
  kNotAnAttribute,
  kLeft,
  kRight,
  kTop,
  kBottom,
  kLeading,
  kTrailing,
  kWidth,
  kHeight,
  kCenterX,
  kCenterY,
  kLeftMargin,
  kRightMargin,
  kTopMargin,
  kBottomMargin,
  kLeadingMargin,
  kTrailingMargin,
  kCenterXWithinMargins,
  kCenterYWithinMargins,
};

enum class LayoutRelation { kLessThanOrEqual = -1, kEqual = 0, kGreaterThanOrEqual = 1 };

// 1000 is required; anything lower is a preference the solver may break,
// the higher the priority the later.
using LayoutPriority = double;
inline constexpr LayoutPriority kLayoutPriorityRequired = 1000;
inline constexpr LayoutPriority kLayoutPriorityDefaultHigh = 750;
inline constexpr LayoutPriority kLayoutPriorityDefaultLow = 250;
inline constexpr LayoutPriority kLayoutPriorityFittingSizeLevel = 50;

// An intrinsic size component that a view does not have.
inline constexpr double kNoIntrinsicMetric = -1;

// The order in which a row's leading and trailing edges map to left and right.
enum class LayoutDirection { kLeftToRight, kRightToLeft };

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_TYPES_H_

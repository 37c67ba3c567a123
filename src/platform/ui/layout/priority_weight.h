// How a priority below required becomes the weight the solver gives a
// violation of that constraint. The weight grows tenfold every 125 priority
// points, so 750 (resisting compression) outweighs 250 (hugging) ten
// thousand to one, while neighbouring priorities (248, 249, 250, 251) still
// order strictly whenever one point of violation trades against one point.
// The largest weight (999) stays below 1e8, which keeps the tableau's
// arithmetic well inside double precision for layouts of a few thousand
// points. Tests that compare against an independent solver give it these
// same weights.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_PRIORITY_WEIGHT_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_PRIORITY_WEIGHT_H_

#include <algorithm>
#include <cmath>

#include "platform/ui/layout/layout_types.h"

namespace tessarin::platform::ui::layout {

inline bool isRequired(LayoutPriority priority) { return priority >= kLayoutPriorityRequired; }

inline double priorityWeight(LayoutPriority priority) {
  return std::pow(10.0, std::clamp(priority, 0.0, kLayoutPriorityRequired - 1) / 125.0);
}

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_PRIORITY_WEIGHT_H_

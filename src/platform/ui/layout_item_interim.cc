// The layout items' own bookkeeping (priorities and the list of
// constraints they hold), for builds without the constraint layout engine,
// which defines these with constraint activation. Compiled only while
// layout/ has no sources (see CMakeLists.txt); it goes when they arrive.
#include <algorithm>

#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout/layout_item.h"

namespace tessarin::platform::ui::layout {

LayoutItem::~LayoutItem() = default;

Size LayoutItem::intrinsicContentSize(double width) const {
  (void)width;
  return {kNoIntrinsicMetric, kNoIntrinsicMetric};
}

LayoutPriority LayoutItem::contentHuggingPriority(Axis axis) const { return hugging_[static_cast<int>(axis)]; }

void LayoutItem::setContentHuggingPriority(LayoutPriority priority, Axis axis) {
  hugging_[static_cast<int>(axis)] = priority;
}

LayoutPriority LayoutItem::contentCompressionResistancePriority(Axis axis) const {
  return compression_[static_cast<int>(axis)];
}

void LayoutItem::setContentCompressionResistancePriority(LayoutPriority priority, Axis axis) {
  compression_[static_cast<int>(axis)] = priority;
}

void LayoutItem::addConstraint(std::shared_ptr<LayoutConstraint> constraint) {
  if (constraint) constraints_.push_back(std::move(constraint));
}

void LayoutItem::addConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) addConstraint(constraint);
}

void LayoutItem::removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint) {
  std::erase(constraints_, constraint);
}

}  // namespace tessarin::platform::ui::layout

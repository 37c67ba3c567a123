#include "platform/ui/layout/layout_item.h"

#include <algorithm>

#include "platform/ui/layout/layout_constraint.h"

namespace tessarin::platform::ui::layout {

LayoutItem::~LayoutItem() {
  for (const auto& constraint : constraints_) constraint->owner_ = nullptr;
}

Size LayoutItem::intrinsicContentSize(double) const { return {kNoIntrinsicMetric, kNoIntrinsicMetric}; }

LayoutPriority LayoutItem::contentHuggingPriority(Axis axis) const { return hugging_[static_cast<int>(axis)]; }

void LayoutItem::setContentHuggingPriority(LayoutPriority priority, Axis axis) {
  hugging_[static_cast<int>(axis)] = priority;
  setNeedsLayout();
}

LayoutPriority LayoutItem::contentCompressionResistancePriority(Axis axis) const {
  return compression_[static_cast<int>(axis)];
}

void LayoutItem::setContentCompressionResistancePriority(LayoutPriority priority, Axis axis) {
  compression_[static_cast<int>(axis)] = priority;
  setNeedsLayout();
}

void LayoutItem::addConstraint(std::shared_ptr<LayoutConstraint> constraint) {
  if (constraint == nullptr || constraint->owner_ == this) return;
  // A guide has no constraints of its own: its owner holds them.
  if (isLayoutGuide() && layoutParent() != nullptr) {
    layoutParent()->addConstraint(std::move(constraint));
    return;
  }
  if (constraint->owner_ != nullptr) constraint->owner_->removeConstraint(constraint);
  constraint->owner_ = this;
  constraints_.push_back(std::move(constraint));
  setNeedsLayout();
}

void LayoutItem::addConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) addConstraint(constraint);
}

void LayoutItem::removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint) {
  auto it = std::find(constraints_.begin(), constraints_.end(), constraint);
  if (it == constraints_.end()) return;
  (*it)->owner_ = nullptr;
  constraints_.erase(it);
  setNeedsLayout();
}

void LayoutItem::removeConstraintsFromAncestors() {
  auto inside = [this](const LayoutItem* item) {
    for (; item != nullptr; item = item->layoutParent()) {
      if (item == this) return true;
    }
    return false;
  };
  for (LayoutItem* ancestor = layoutParent(); ancestor != nullptr; ancestor = ancestor->layoutParent()) {
    std::vector<std::shared_ptr<LayoutConstraint>> leaving;
    for (const auto& constraint : ancestor->constraints_) {
      if (inside(constraint->firstItem()) || inside(constraint->secondItem())) leaving.push_back(constraint);
    }
    for (const auto& constraint : leaving) ancestor->removeConstraint(constraint);
  }
}

}  // namespace tessarin::platform::ui::layout

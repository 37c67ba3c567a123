// Something constraints can place: a view, or a layout guide that marks a
// region of its owner (the top and bottom layout guides of a view
// controller). Its frame is in its layout parent's coordinates.
//
// Main thread only, like every object of the UI kit.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_ITEM_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_ITEM_H_

#include <memory>
#include <string>
#include <vector>

#include "platform/ui/geometry.h"
#include "platform/ui/layout/layout_types.h"

namespace tessarin::platform::ui::layout {

class LayoutConstraint;

class LayoutItem {
 public:
  virtual ~LayoutItem();

  // The item this one is placed in (a view's superview, a guide's owning
  // view); null for the root of a layout.
  virtual LayoutItem* layoutParent() const = 0;
  // Views answer true; layout guides, which own no constraints and have no
  // children, answer false.
  virtual bool isLayoutGuide() const { return false; }

  // The size the content wants, kNoIntrinsicMetric for a component it does
  // not have. `width` is the width the item was given by a first pass, for
  // content that wraps (a label of several lines); negative before it.
  virtual Size intrinsicContentSize(double width) const;
  virtual EdgeInsets layoutMargins() const { return {8, 8, 8, 8}; }
  // Where the layout engine puts the solved frame.
  virtual void applyLayoutFrame(const Rect& frame) = 0;
  // Called when a constraint of this item changes, so that its owner
  // schedules a layout.
  virtual void setNeedsLayout() {}

  LayoutPriority contentHuggingPriority(Axis axis) const;
  void setContentHuggingPriority(LayoutPriority priority, Axis axis);
  LayoutPriority contentCompressionResistancePriority(Axis axis) const;
  void setContentCompressionResistancePriority(LayoutPriority priority, Axis axis);

  // The constraints this item holds, in the order they were added. An
  // active constraint is held by the closest common ancestor of its items.
  const std::vector<std::shared_ptr<LayoutConstraint>>& constraints() const { return constraints_; }
  void addConstraint(std::shared_ptr<LayoutConstraint> constraint);
  void addConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints);
  void removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint);
  // To call before this item leaves its layout parent: every ancestor
  // drops the constraints that involve this item or anything inside it,
  // since they would otherwise point at an item outside the tree.
  void removeConstraintsFromAncestors();

  // A name for error messages and tools.
  const std::string& layoutName() const { return layoutName_; }
  void setLayoutName(std::string name) { layoutName_ = std::move(name); }

 private:
  std::vector<std::shared_ptr<LayoutConstraint>> constraints_;
  LayoutPriority hugging_[2] = {kLayoutPriorityDefaultLow, kLayoutPriorityDefaultLow};
  LayoutPriority compression_[2] = {kLayoutPriorityDefaultHigh, kLayoutPriorityDefaultHigh};
  std::string layoutName_;
};

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_ITEM_H_

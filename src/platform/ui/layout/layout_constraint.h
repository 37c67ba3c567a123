// One rule of a layout, as an object the app and the SDK hold:
//   first.firstAttribute (relation) second.secondAttribute * multiplier + constant
// Its constant and activity may change after it is installed; a change of
// constant re-solves from the current layout instead of from scratch.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_CONSTRAINT_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_CONSTRAINT_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/layout/layout_item.h"
#include "platform/ui/layout/layout_types.h"

namespace tessarin::platform::ui::layout {

class LayoutConstraint : public std::enable_shared_from_this<LayoutConstraint> {
 public:
  // `second` null with kNotAnAttribute: a constraint on `first` alone.
  static std::shared_ptr<LayoutConstraint> make(LayoutItem* first, LayoutAttribute firstAttribute,
                                                LayoutRelation relation, LayoutItem* second,
                                                LayoutAttribute secondAttribute, double multiplier,
                                                double constant);

  // The constraints a visual format string describes, not yet active.
  // `views` binds the names the format mentions; "|" is `superview` (for a
  // layout guide in `views`, its owner). A malformed format gives no
  // constraints and a one-line `error`.
  static std::vector<std::shared_ptr<LayoutConstraint>> constraintsWithVisualFormat(
      const std::string& format, const std::map<std::string, double>& metrics,
      const std::map<std::string, LayoutItem*>& views, LayoutItem* superview, std::string* error);

  LayoutItem* firstItem() const { return first_; }
  LayoutAttribute firstAttribute() const { return firstAttribute_; }
  LayoutRelation relation() const { return relation_; }
  LayoutItem* secondItem() const { return second_; }
  LayoutAttribute secondAttribute() const { return secondAttribute_; }
  double multiplier() const { return multiplier_; }

  double constant() const { return constant_; }
  void setConstant(double constant);
  LayoutPriority priority() const { return priority_; }
  // A required constraint stays required once active, and an optional one
  // optional, as on the reference toolkit.
  void setPriority(LayoutPriority priority);

  // Active means installed on the closest common ancestor of its items.
  bool isActive() const { return owner_ != nullptr; }
  void setActive(bool active);
  static void activateConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints);
  static void deactivateConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints);

  const std::string& identifier() const { return identifier_; }
  void setIdentifier(std::string identifier) { identifier_ = std::move(identifier); }

 private:
  friend class LayoutItem;
  friend class LayoutEngine;
  LayoutConstraint() = default;

  LayoutItem* first_ = nullptr;
  LayoutAttribute firstAttribute_ = LayoutAttribute::kNotAnAttribute;
  LayoutRelation relation_ = LayoutRelation::kEqual;
  LayoutItem* second_ = nullptr;
  LayoutAttribute secondAttribute_ = LayoutAttribute::kNotAnAttribute;
  double multiplier_ = 1;
  double constant_ = 0;
  LayoutPriority priority_ = kLayoutPriorityRequired;
  std::string identifier_;
  LayoutItem* owner_ = nullptr;  // the item that holds it while active
};

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_CONSTRAINT_H_

#include "platform/ui/layout/layout_constraint.h"

#include <set>
#include <utility>

#include "platform/ui/layout/priority_weight.h"
#include "platform/ui/layout/visual_format.h"

namespace tessarin::platform::ui::layout {
namespace {

// The closest item that is an ancestor of both (an item is its own
// ancestor); a guide cannot hold constraints, so its owner does.
LayoutItem* closestCommonAncestor(LayoutItem* first, LayoutItem* second) {
  LayoutItem* found = nullptr;
  if (second == nullptr) {
    found = first;
  } else {
    std::set<LayoutItem*> ancestors;
    for (LayoutItem* item = first; item != nullptr; item = item->layoutParent()) ancestors.insert(item);
    for (LayoutItem* item = second; item != nullptr; item = item->layoutParent()) {
      if (ancestors.count(item) != 0) {
        found = item;
        break;
      }
    }
  }
  while (found != nullptr && found->isLayoutGuide()) found = found->layoutParent();
  return found;
}

}  // namespace

std::shared_ptr<LayoutConstraint> LayoutConstraint::make(LayoutItem* first, LayoutAttribute firstAttribute,
                                                         LayoutRelation relation, LayoutItem* second,
                                                         LayoutAttribute secondAttribute, double multiplier,
                                                         double constant) {
  std::shared_ptr<LayoutConstraint> constraint(new LayoutConstraint());
  constraint->first_ = first;
  constraint->firstAttribute_ = firstAttribute;
  constraint->relation_ = relation;
  constraint->second_ = second;
  constraint->secondAttribute_ = second == nullptr ? LayoutAttribute::kNotAnAttribute : secondAttribute;
  constraint->multiplier_ = multiplier;
  constraint->constant_ = constant;
  return constraint;
}

void LayoutConstraint::setConstant(double constant) {
  if (constant == constant_) return;
  constant_ = constant;
  if (owner_ != nullptr) owner_->setNeedsLayout();
}

void LayoutConstraint::setPriority(LayoutPriority priority) {
  if (owner_ != nullptr && isRequired(priority) != isRequired(priority_)) return;
  priority_ = priority;
  if (owner_ != nullptr) owner_->setNeedsLayout();
}

void LayoutConstraint::setActive(bool active) {
  if (active == isActive()) return;
  if (!active) {
    owner_->removeConstraint(shared_from_this());
    return;
  }
  // Items in different trees have no common ancestor: the constraint
  // stays inactive, which isActive() tells.
  if (LayoutItem* owner = closestCommonAncestor(first_, second_)) owner->addConstraint(shared_from_this());
}

void LayoutConstraint::activateConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) constraint->setActive(true);
}

void LayoutConstraint::deactivateConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints) {
  for (const auto& constraint : constraints) constraint->setActive(false);
}

std::vector<std::shared_ptr<LayoutConstraint>> LayoutConstraint::constraintsWithVisualFormat(
    const std::string& format, const std::map<std::string, double>& metrics,
    const std::map<std::string, LayoutItem*>& views, LayoutItem* superview, std::string* error) {
  auto fail = [&](std::string message) {
    if (error != nullptr) *error = std::move(message);
    return std::vector<std::shared_ptr<LayoutConstraint>>{};
  };
  std::set<std::string> names;
  for (const auto& [name, item] : views) {
    if (item != nullptr) names.insert(name);
  }
  FormatResult parsed = parseVisualFormat(format, metrics, names);
  if (!parsed.error.empty()) return fail(parsed.error);

  // Without an explicit superview, "|" is what the format's first item is
  // placed in (for a guide, its owner).
  if (superview == nullptr) {
    for (const FormatConstraint& c : parsed.constraints) {
      for (const std::string* name : {&c.first, &c.second}) {
        if (superview == nullptr && !name->empty() && *name != kSuperviewName) {
          superview = views.at(*name)->layoutParent();
        }
      }
    }
  }
  std::vector<std::shared_ptr<LayoutConstraint>> out;
  for (const FormatConstraint& c : parsed.constraints) {
    LayoutItem* items[2] = {nullptr, nullptr};
    const std::string* itemNames[2] = {&c.first, &c.second};
    for (int i = 0; i < 2; ++i) {
      if (itemNames[i]->empty()) continue;
      if (*itemNames[i] == kSuperviewName) {
        if (superview == nullptr) return fail("'|' in \"" + format + "\" but there is no superview");
        items[i] = superview;
      } else {
        items[i] = views.at(*itemNames[i]);
      }
    }
    auto constraint = make(items[0], c.firstAttribute, c.relation, items[1], c.secondAttribute, c.multiplier,
                           c.constant);
    constraint->priority_ = c.priority;
    out.push_back(std::move(constraint));
  }
  if (error != nullptr) error->clear();
  return out;
}

}  // namespace tessarin::platform::ui::layout

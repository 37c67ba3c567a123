// The engine mirrors the tree into one solver and keeps it between passes.
// Each pass compares what the items and constraints say now with what the
// solver holds, and hands it only the differences: a changed constant is
// moved in place, a new constraint is added, a vanished one removed. A drag
// step therefore costs one dual-simplex repair, not a rebuild.
//
// Every item has four variables in the root's coordinates; frames are made
// relative to each item's layout parent when they are applied.
#include "platform/ui/layout/layout_engine.h"

#include <cmath>
#include <cstdio>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include "platform/ui/layout/attribute_expression.h"
#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout/priority_weight.h"
#include "platform/ui/layout/solver.h"

namespace tessarin::platform::ui::layout {
namespace {

// Items that left the tree keep their variables in the solver; past this
// many the solver is rebuilt so that a long-lived window does not grow.
constexpr std::size_t kRetiredItemsBeforeRebuild = 512;

std::string itemName(const LayoutItem* item) {
  if (item == nullptr) return "nil";
  return item->layoutName().empty() ? std::string("(unnamed)") : item->layoutName();
}

const char* relationText(LayoutRelation relation) {
  switch (relation) {
    case LayoutRelation::kLessThanOrEqual: return "<=";
    case LayoutRelation::kEqual: return "==";
    case LayoutRelation::kGreaterThanOrEqual: return ">=";
  }
  return "?";
}

std::string number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%g", value);
  return buffer;
}

std::string describe(const LayoutConstraint& c) {
  std::string text = itemName(c.firstItem()) + "." + attributeName(c.firstAttribute()) + " " +
                     relationText(c.relation()) + " ";
  if (c.secondItem() != nullptr) {
    text += itemName(c.secondItem()) + "." + attributeName(c.secondAttribute());
    if (c.multiplier() != 1) text += " * " + number(c.multiplier());
    if (c.constant() != 0) text += (c.constant() < 0 ? " - " : " + ") + number(std::fabs(c.constant()));
  } else {
    text += number(c.constant());
  }
  return text + " @" + number(c.priority());
}

}  // namespace

struct LayoutEngine::Impl {
  // The two constraints an intrinsic size becomes on one axis.
  struct IntrinsicAxis {
    double value = kNoIntrinsicMetric;
    LayoutPriority hugging = 0;
    LayoutPriority compression = 0;
    std::optional<Constraint> hug;     // size <= value
    std::optional<Constraint> resist;  // size >= value
  };
  struct ItemRecord {
    ItemVariables vars;
    IntrinsicAxis axes[2];
    double queriedWidth = -1;  // the width the intrinsic size was asked for
    const LayoutItem* parent = nullptr;
    Rect frame;
    std::uint64_t generation = 0;
  };
  struct ConstraintRecord {
    std::shared_ptr<LayoutConstraint> constraint;
    std::optional<Constraint> installed;  // absent while left out
    double constant = 0;                  // the expression's constant, as installed or tried
    LayoutPriority priority = 0;
    std::uint64_t generation = 0;
  };
  // A change the pass has to hand to the solver.
  struct Pending {
    ConstraintRecord* record;
    double constant;
  };

  Solver solver;
  LayoutDirection direction = LayoutDirection::kLeftToRight;
  std::unordered_map<const LayoutItem*, ItemRecord> items;
  std::unordered_map<const LayoutConstraint*, ConstraintRecord> constraints;
  std::uint64_t generation = 0;
  std::size_t retiredItems = 0;
  const LayoutItem* root = nullptr;
  std::optional<Constraint> rootConstraints[4];  // left, top, width, height
  Rect rootFrame;
  std::vector<LayoutItem*> order;  // this pass's tree, parents first
  std::vector<Pending> pending;
  std::string errors;

  void reset() {
    solver.reset();
    items.clear();
    constraints.clear();
    retiredItems = 0;
    root = nullptr;
    for (auto& c : rootConstraints) c.reset();
  }

  void report(const std::string& message) {
    if (!errors.empty()) errors += "; ";
    errors += message;
  }

  ItemRecord& record(const LayoutItem* item) {
    ItemRecord& r = items[item];
    if (r.generation == 0) {
      std::string name = itemName(item);
      r.vars = {Variable(name + ".left"), Variable(name + ".top"), Variable(name + ".width"),
                Variable(name + ".height")};
    }
    r.generation = generation;
    return r;
  }

  void walk(LayoutItem* item, const LayoutItem* parent,
            const std::function<std::vector<LayoutItem*>(LayoutItem*)>& children) {
    record(item).parent = parent;
    order.push_back(item);
    for (LayoutItem* child : children(item)) walk(child, item, children);
  }

  // The root is pinned at the origin of its own coordinates, at its size.
  void pinRoot(const LayoutItem* item, const Rect& frame) {
    ItemRecord& r = record(item);
    const Variable* vars[4] = {&r.vars.left, &r.vars.top, &r.vars.width, &r.vars.height};
    double values[4] = {0, 0, frame.width, frame.height};
    for (int i = 0; i < 4; ++i) {
      if (!rootConstraints[i]) {
        rootConstraints[i] = Constraint(Expression{{Term{*vars[i], 1}}, -values[i]}, LayoutRelation::kEqual,
                                        kLayoutPriorityRequired);
        solver.addConstraint(*rootConstraints[i]);
      } else if (solver.setConstant(*rootConstraints[i], -values[i]) != SolverError::kNone) {
        report("the root cannot take the size " + number(frame.width) + " x " + number(frame.height));
      }
    }
    rootFrame = frame;
  }

  double expressionConstant(const LayoutConstraint& c) const {
    double value = -c.constant();
    if (c.firstItem() != nullptr && usesMargins(c.firstAttribute())) {
      value += attributeOffset(c.firstAttribute(), direction, c.firstItem()->layoutMargins());
    }
    if (c.secondItem() != nullptr && usesMargins(c.secondAttribute())) {
      value -= c.multiplier() * attributeOffset(c.secondAttribute(), direction, c.secondItem()->layoutMargins());
    }
    return value;
  }

  // first.attribute - multiplier * second.attribute - constant (relation) 0
  std::optional<Constraint> buildConstraint(const LayoutConstraint& c, double constant) {
    std::vector<Term> terms;
    if (c.firstItem() == nullptr ||
        !appendAttributeTerms(record(c.firstItem()).vars, c.firstAttribute(), direction, 1, &terms)) {
      return std::nullopt;
    }
    if (c.secondItem() != nullptr) {
      if (!appendAttributeTerms(record(c.secondItem()).vars, c.secondAttribute(), direction, -c.multiplier(),
                                &terms)) {
        return std::nullopt;
      }
    } else if (isPosition(c.firstAttribute())) {
      return std::nullopt;  // a position means nothing without an item to measure from
    }
    return Constraint(Expression{std::move(terms), constant}, c.relation(), c.priority());
  }

  // Notes what changed about one active constraint; the solver hears of it
  // once stale constraints are out of the way.
  void visit(const std::shared_ptr<LayoutConstraint>& c) {
    ConstraintRecord& r = constraints[c.get()];
    if (r.constraint == nullptr) r.constraint = c;
    r.generation = generation;
    if (c->firstItem() != nullptr) record(c->firstItem());
    if (c->secondItem() != nullptr) record(c->secondItem());
    double constant = expressionConstant(*c);
    if (r.installed && r.priority != c->priority()) {
      solver.removeConstraint(*r.installed);
      r.installed.reset();
    }
    if (!r.installed || constant != r.constant) pending.push_back({&r, constant});
  }

  // Adds or moves one constraint; false if a required one cannot hold now.
  bool apply(const Pending& p) {
    ConstraintRecord& r = *p.record;
    const LayoutConstraint& c = *r.constraint;
    if (r.installed) {
      if (solver.setConstant(*r.installed, p.constant) != SolverError::kNone) return false;
    } else {
      std::optional<Constraint> built = buildConstraint(c, p.constant);
      if (!built) {
        report("invalid constraint left out: " + describe(c));
        return true;
      }
      if (solver.addConstraint(*built) != SolverError::kNone) return false;
      r.installed = std::move(built);
    }
    r.constant = p.constant;
    r.priority = c.priority();
    return true;
  }

  // Changes that clash only midway (both edges of a fixed-width item
  // moving, one after the other) fail on the first round; they are taken
  // out and added again with their new constants once everything else is
  // in. What still cannot hold is left out and reported.
  void applyPending() {
    std::vector<Pending> failed;
    for (const Pending& p : pending) {
      if (!apply(p)) failed.push_back(p);
    }
    pending.clear();
    for (const Pending& p : failed) {
      ConstraintRecord& r = *p.record;
      if (r.installed) {
        solver.removeConstraint(*r.installed);
        r.installed.reset();
      }
    }
    for (const Pending& p : failed) {
      if (apply(p)) continue;
      ConstraintRecord& r = *p.record;
      r.constant = p.constant;
      r.priority = r.constraint->priority();
      report("unsatisfiable constraint left out: " + describe(*r.constraint));
    }
  }

  void removeIntrinsic(IntrinsicAxis& axis) {
    if (axis.hug) solver.removeConstraint(*axis.hug);
    if (axis.resist) solver.removeConstraint(*axis.resist);
    axis = IntrinsicAxis{};
  }

  // size <= value at the hugging priority, size >= value at the
  // compression-resistance priority.
  void setIntrinsic(const LayoutItem* item, ItemRecord& r, Axis which, double value) {
    IntrinsicAxis& axis = r.axes[static_cast<int>(which)];
    LayoutPriority hugging = item->contentHuggingPriority(which);
    LayoutPriority compression = item->contentCompressionResistancePriority(which);
    if (value < 0) {
      if (axis.hug) removeIntrinsic(axis);
      return;
    }
    if (axis.hug && axis.hugging == hugging && axis.compression == compression) {
      if (axis.value == value) return;
      // Widen before narrowing, so that two required bounds never cross.
      bool growing = value > axis.value;
      Constraint& first = growing ? *axis.hug : *axis.resist;
      Constraint& second = growing ? *axis.resist : *axis.hug;
      if (solver.setConstant(first, -value) == SolverError::kNone &&
          solver.setConstant(second, -value) == SolverError::kNone) {
        axis.value = value;
        return;
      }
    }
    if (axis.hug) removeIntrinsic(axis);
    const Variable& size = which == Axis::kHorizontal ? r.vars.width : r.vars.height;
    axis.value = value;
    axis.hugging = hugging;
    axis.compression = compression;
    axis.hug = Constraint(Expression{{Term{size, 1}}, -value}, LayoutRelation::kLessThanOrEqual, hugging);
    axis.resist = Constraint(Expression{{Term{size, 1}}, -value}, LayoutRelation::kGreaterThanOrEqual, compression);
    for (std::optional<Constraint>* c : {&axis.hug, &axis.resist}) {
      if (solver.addConstraint(**c) != SolverError::kNone) {
        report(std::string("intrinsic ") + (which == Axis::kHorizontal ? "width" : "height") + " of " +
               itemName(item) + " left out: it conflicts with required constraints");
        c->reset();
      }
    }
  }

  void setIntrinsicSize(const LayoutItem* item, ItemRecord& r, Size size) {
    setIntrinsic(item, r, Axis::kHorizontal, size.width);
    setIntrinsic(item, r, Axis::kVertical, size.height);
  }

  void dropStale() {
    for (auto it = constraints.begin(); it != constraints.end();) {
      if (it->second.generation == generation) {
        ++it;
        continue;
      }
      if (it->second.installed) solver.removeConstraint(*it->second.installed);
      it = constraints.erase(it);
    }
    for (auto it = items.begin(); it != items.end();) {
      if (it->second.generation == generation) {
        ++it;
        continue;
      }
      for (IntrinsicAxis& axis : it->second.axes) removeIntrinsic(axis);
      it = items.erase(it);
      ++retiredItems;
    }
  }

  // Content that wraps (several lines of text) is asked again for its size
  // at the width it was given; true if any answer changed.
  bool secondPass() {
    bool changed = false;
    for (std::size_t i = 1; i < order.size(); ++i) {
      ItemRecord& r = items[order[i]];
      if (r.axes[1].value < 0) continue;
      double width = r.vars.width.value();
      if (width == r.queriedWidth) continue;
      r.queriedWidth = width;
      Size size = order[i]->intrinsicContentSize(width);
      if (size.width == r.axes[0].value && size.height == r.axes[1].value) continue;
      setIntrinsicSize(order[i], r, size);
      changed = true;
    }
    return changed;
  }

  void applyFrames() {
    items[order[0]].frame = rootFrame;
    for (std::size_t i = 1; i < order.size(); ++i) {
      ItemRecord& r = items[order[i]];
      const ItemRecord& parent = items[r.parent];
      r.frame = Rect{r.vars.left.value() - parent.vars.left.value(), r.vars.top.value() - parent.vars.top.value(),
                     r.vars.width.value(), r.vars.height.value()};
      order[i]->applyLayoutFrame(r.frame);
    }
  }

  bool layout(LayoutItem* item, const Rect& frame,
              const std::function<std::vector<LayoutItem*>(LayoutItem*)>& children, std::string* error) {
    if (item == nullptr) {
      if (error != nullptr) *error = "no root to lay out";
      return false;
    }
    if (item != root || retiredItems > kRetiredItemsBeforeRebuild) reset();
    root = item;
    errors.clear();
    ++generation;
    order.clear();
    walk(item, nullptr, children);
    for (LayoutItem* owner : order) {
      if (owner->isLayoutGuide()) continue;
      for (const auto& c : owner->constraints()) visit(c);
    }
    dropStale();
    pinRoot(item, frame);
    for (std::size_t i = 1; i < order.size(); ++i) {
      ItemRecord& r = items[order[i]];
      setIntrinsicSize(order[i], r, order[i]->intrinsicContentSize(r.queriedWidth));
    }
    applyPending();
    solver.updateVariables();
    if (secondPass()) solver.updateVariables();
    applyFrames();
    if (error != nullptr) *error = errors;
    return errors.empty();
  }
};

LayoutEngine::LayoutEngine() : impl_(std::make_unique<Impl>()) {}
LayoutEngine::~LayoutEngine() = default;

void LayoutEngine::setLayoutDirection(LayoutDirection direction) {
  if (direction == impl_->direction) return;
  impl_->direction = direction;
  // Leading and trailing mean other variables now: rebuild on the next pass.
  impl_->reset();
}

bool LayoutEngine::layout(LayoutItem* root, const Rect& rootFrame,
                          const std::function<std::vector<LayoutItem*>(LayoutItem*)>& children,
                          std::string* error) {
  return impl_->layout(root, rootFrame, children, error);
}

Rect LayoutEngine::solvedFrame(const LayoutItem* item) const {
  auto it = impl_->items.find(item);
  return it == impl_->items.end() ? Rect{} : it->second.frame;
}

}  // namespace tessarin::platform::ui::layout

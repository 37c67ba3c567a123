#include "ui/swipe_gesture_recognizer.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "base/log.h"
#include "items/json_fields.h"
#include "platform/ui/animator.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view.h"
#include "util/dictionary_util.h"

namespace tessarin {

namespace ui = platform::ui;
using ui::GestureState;
using ui::LayoutAttribute;
using ui::Point;
using ui::layout::LayoutConstraint;

namespace {

constexpr const char* kDirections[] = {TSRUISwipeGestureRecognizer::kSwipeLeft, TSRUISwipeGestureRecognizer::kSwipeRight,
                                       TSRUISwipeGestureRecognizer::kSwipeUp, TSRUISwipeGestureRecognizer::kSwipeDown};

// No animation of the panel runs longer than this. A duration option, or a
// fling so slow that crossing the screen at its speed would take longer,
// would otherwise keep the panel (and the animator's frame timer) going
// for as long as it says, which for an absurd option is forever.
constexpr double kLongestAnimation = 5;

// A number of "interactionSettings"; NaN counts as absent, so the default
// stays.
std::optional<double> NumberOption(const Json& options, const char* key) {
  const Json* value = TSRUtilityDictionary::objectOfType(JsonKind::kNumber, key, options, false);
  if (!value) return std::nullopt;
  double number = items::NumberValue(*value);
  if (std::isnan(number)) return std::nullopt;
  return number;
}

// The distance thresholds are kept as floats; a number beyond a float's
// range becomes infinite instead of an undefined conversion.
float AsFloat(double value) {
  if (value > FLT_MAX) return std::numeric_limits<float>::infinity();
  if (value < -FLT_MAX) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

double AnimationDuration(double seconds) { return std::clamp(seconds, 0.0, kLongestAnimation); }

// Where a constraint on the panel's `attribute` goes: which list, which
// part of it (0 the left or top side, 1 the centre, 2 the right or bottom
// side), and whether the attribute is one whose constant a right-to-left
// layout mirrors (leading and trailing), so that a growing constant moves
// the panel the other way.
struct Placement {
  bool horizontal = true;
  int part = 0;
  bool mirrored = false;
};

std::optional<Placement> PlacementOf(LayoutAttribute attribute, ui::LayoutDirection direction) {
  bool rtl = direction == ui::LayoutDirection::kRightToLeft;
  switch (attribute) {
    case LayoutAttribute::kLeft:
    case LayoutAttribute::kLeftMargin: return Placement{true, 0, false};
    case LayoutAttribute::kRight:
    case LayoutAttribute::kRightMargin: return Placement{true, 2, false};
    case LayoutAttribute::kLeading:
    case LayoutAttribute::kLeadingMargin: return Placement{true, rtl ? 2 : 0, rtl};
    case LayoutAttribute::kTrailing:
    case LayoutAttribute::kTrailingMargin: return Placement{true, rtl ? 0 : 2, rtl};
    case LayoutAttribute::kCenterX:
    case LayoutAttribute::kCenterXWithinMargins: return Placement{true, 1, false};
    case LayoutAttribute::kTop:
    case LayoutAttribute::kTopMargin: return Placement{false, 0, false};
    case LayoutAttribute::kCenterY:
    case LayoutAttribute::kCenterYWithinMargins: return Placement{false, 1, false};
    case LayoutAttribute::kBottom:
    case LayoutAttribute::kBottomMargin: return Placement{false, 2, false};
    default: return std::nullopt;
  }
}

// The panel fades as it travels: transparent once it has gone the length
// of its superview along the axis.
double FadeFor(double travelled, double length) {
  if (!(length > 0)) return 1;
  return std::clamp(1 - std::abs(travelled) / length, 0.0, 1.0);
}

}  // namespace

std::shared_ptr<TSRUISwipeGestureRecognizer> TSRUISwipeGestureRecognizer::initWithSwipeActions(
    SwipeActions swipeActions, const Json& options) {
  // An empty block is no action: its direction must not swipe.
  std::erase_if(swipeActions, [](const auto& entry) { return !entry.second; });
  bool anyDirection = std::any_of(std::begin(kDirections), std::end(kDirections),
                                  [&](const char* key) { return swipeActions.count(key) > 0; });
  if (!anyDirection) {
    TSR_LOG_WARN("UI: Swipe recognizer requires valid swipe direction");
    return nullptr;
  }
  std::shared_ptr<TSRUISwipeGestureRecognizer> recognizer(new TSRUISwipeGestureRecognizer());
  recognizer->swipeActions_ = std::move(swipeActions);
  recognizer->configureDefaultsAndOptions(options);
  // The target lives inside the recognizer, so it cannot outlive it.
  TSRUISwipeGestureRecognizer* self = recognizer.get();
  recognizer->addTarget([self](ui::GestureRecognizer& sender) { self->handleGesture(sender); });
  return recognizer;
}

void TSRUISwipeGestureRecognizer::configureDefaultsAndOptions(const Json& options) {
  if (auto value = NumberOption(options, "swipesAxisLockThreshold")) axisLockThreshold_ = AsFloat(*value);
  if (auto value = NumberOption(options, "swipesKeepHoldThreshold")) keepHoldThreshold_ = AsFloat(*value);
  if (auto value = NumberOption(options, "swipesTimeThreshold")) timeThreshold_ = *value;
  if (auto value = NumberOption(options, "swipesVelocityThreshold")) velocityThreshold_ = AsFloat(*value);
  if (auto value = NumberOption(options, "swipesResetAnimDuration")) resetAnimDuration_ = *value;
}

const TSRUISwipeGestureRecognizer::SwipeActions& TSRUISwipeGestureRecognizer::swipeActions() const {
  return swipeActions_;
}
double TSRUISwipeGestureRecognizer::axisLockThreshold() const { return axisLockThreshold_; }
double TSRUISwipeGestureRecognizer::keepHoldThreshold() const { return keepHoldThreshold_; }
double TSRUISwipeGestureRecognizer::timeThreshold() const { return timeThreshold_; }
double TSRUISwipeGestureRecognizer::velocityThreshold() const { return velocityThreshold_; }
double TSRUISwipeGestureRecognizer::resetAnimDuration() const { return resetAnimDuration_; }
bool TSRUISwipeGestureRecognizer::finished() const { return finished_; }

namespace {

std::vector<std::shared_ptr<LayoutConstraint>> ConstraintsOf(const auto& held) {
  std::vector<std::shared_ptr<LayoutConstraint>> constraints;
  if (held) {
    for (const auto& entry : *held) constraints.push_back(entry.constraint);
  }
  return constraints;
}

}  // namespace

std::vector<std::shared_ptr<LayoutConstraint>> TSRUISwipeGestureRecognizer::horizontalConstraints() const {
  return ConstraintsOf(horizontal_);
}

std::vector<std::shared_ptr<LayoutConstraint>> TSRUISwipeGestureRecognizer::verticalConstraints() const {
  return ConstraintsOf(vertical_);
}

bool TSRUISwipeGestureRecognizer::hasAction(const char* direction) const {
  return swipeActions_.count(direction) > 0;
}

TSRUISwipeGestureRecognizer::Lock TSRUISwipeGestureRecognizer::lock() const {
  if (axisLockOffsetX_ != 0) return Lock::kHorizontal;
  if (axisLockOffsetY_ != 0) return Lock::kVertical;
  return Lock::kNone;
}

bool TSRUISwipeGestureRecognizer::checkConstraints() {
  if (horizontal_) return true;
  ui::View* panel = view();
  ui::View* superview = panel ? panel->superview() : nullptr;
  // [horizontal?][part]: the lists are assembled side, centre, side.
  std::vector<HeldConstraint> parts[2][3];
  if (superview) {
    ui::UIEnvironment* env = environment();
    ui::LayoutDirection direction = env ? env->layoutDirection() : ui::LayoutDirection::kLeftToRight;
    for (const auto& constraint : superview->constraints()) {
      bool panelFirst = constraint->firstItem() == panel;
      if (!panelFirst && constraint->secondItem() != panel) continue;
      ui::layout::LayoutItem* other = panelFirst ? constraint->secondItem() : constraint->firstItem();
      if (!other || (other != superview && !other->isLayoutGuide())) continue;
      auto placement =
          PlacementOf(panelFirst ? constraint->firstAttribute() : constraint->secondAttribute(), direction);
      if (!placement) continue;
      // The constant is added on the first item's side of the equation, so
      // it pushes a panel that is the second item the other way.
      double sign = (panelFirst ? 1 : -1) * (placement->mirrored ? -1 : 1);
      parts[placement->horizontal ? 1 : 0][placement->part].push_back({constraint, constraint->constant(), sign});
    }
  }
  std::vector<HeldConstraint> lists[2];
  for (int axis = 0; axis < 2; ++axis) {
    for (auto& part : parts[axis]) lists[axis].insert(lists[axis].end(), part.begin(), part.end());
  }
  if (lists[1].empty() || lists[0].empty()) {
    // Looked for again on the next gesture, in case the panel is placed by
    // then; said once a gesture rather than for each of its movements.
    if (!warnedThisGesture_) TSR_LOG_WARN("UI: Swipe recognizer cannot find view's horizontal/vertical constraints");
    warnedThisGesture_ = true;
    return false;
  }
  horizontal_ = std::move(lists[1]);
  vertical_ = std::move(lists[0]);
  return true;
}

void TSRUISwipeGestureRecognizer::handleGesture(ui::GestureRecognizer& sender) {
  if (&sender != this) return;
  ui::View* panel = view();
  if (!panel || finished_ || !checkConstraints()) return;
  ui::View* superview = panel->superview();
  if (!superview) return;
  Point translation = translationInView(superview);
  switch (lock()) {
    case Lock::kHorizontal: translation = {translation.x - axisLockOffsetX_, 0}; break;
    case Lock::kVertical: translation = {0, translation.y - axisLockOffsetY_}; break;
    case Lock::kNone: break;
  }
  switch (state()) {
    case GestureState::kBegan:
      TSR_LOG_DEBUG("UI: Swipe began");
      stopResetAnimation(*panel);
      trackMovement(*panel, *superview, translation);
      break;
    case GestureState::kChanged: trackMovement(*panel, *superview, translation); break;
    case GestureState::kEnded:
      TSR_LOG_DEBUG("UI: Swipe ended");
      endGesture(*panel, *superview);
      break;
    case GestureState::kCancelled:
    case GestureState::kFailed: TSR_LOG_DEBUG("UI: Swipe cancel/fail"); break;
    case GestureState::kPossible: break;
  }
}

void TSRUISwipeGestureRecognizer::trackMovement(ui::View& panel, ui::View& superview, Point translation) {
  bool horizontalActions = hasAction(kSwipeLeft) || hasAction(kSwipeRight);
  bool verticalActions = hasAction(kSwipeUp) || hasAction(kSwipeDown);
  // Until the drag has gone the threshold along an axis that has actions,
  // the panel stays put; then it follows along that axis only, by the
  // distance beyond the threshold, so it does not jump.
  if (axisLockThreshold_ > 0 && lock() == Lock::kNone) {
    double threshold = axisLockThreshold_;
    double dx = std::abs(translation.x), dy = std::abs(translation.y);
    if (horizontalActions && dx >= threshold && (dx >= dy || !verticalActions)) {
      axisLockOffsetX_ = std::copysign(threshold, translation.x);
      translation = {translation.x - axisLockOffsetX_, 0};
    } else if (verticalActions && dy >= threshold) {
      axisLockOffsetY_ = std::copysign(threshold, translation.y);
      translation = {0, translation.y - axisLockOffsetY_};
    }
  }

  if (keepHoldThreshold_ > 0 && !touchKeepsHold(panel)) {
    TSR_LOG_DEBUG("UI: Swipe lost hold");
    // Ending comes back through handleGesture, which decides on a fling.
    setState(GestureState::kEnded);
    return;
  }

  Point offset;
  switch (lock()) {
    case Lock::kHorizontal: offset.x = translation.x; break;
    case Lock::kVertical: offset.y = translation.y; break;
    case Lock::kNone:
      // Without an axis lock the panel follows the finger on every axis
      // that has an action.
      if (axisLockThreshold_ <= 0) {
        if (horizontalActions) offset.x = translation.x;
        if (verticalActions) offset.y = translation.y;
      }
      break;
  }
  moveConstraints(*horizontal_, offset.x);
  moveConstraints(*vertical_, offset.y);
  offset_ = offset;

  double alpha = 1;
  if (lock() == Lock::kHorizontal) alpha = FadeFor(offset.x, superview.bounds().width);
  if (lock() == Lock::kVertical) alpha = FadeFor(offset.y, superview.bounds().height);
  panel.setAlpha(alpha);

  if (ui::UIEnvironment* env = environment()) lastMovementTime_ = env->platform().now(platform::Clock::kMonotonic);
}

bool TSRUISwipeGestureRecognizer::touchKeepsHold(ui::View& panel) const {
  Point touch = locationInView(&panel);
  const ui::Rect& bounds = panel.bounds();
  double grow = keepHoldThreshold_;
  bool withinX = touch.x >= bounds.x - grow && touch.x <= bounds.maxX() + grow;
  bool withinY = touch.y >= bounds.y - grow && touch.y <= bounds.maxY() + grow;
  // Along a locked axis the panel follows the finger, so only the bounds
  // across the drag can be left.
  switch (lock()) {
    case Lock::kHorizontal: return withinY;
    case Lock::kVertical: return withinX;
    case Lock::kNone: break;
  }
  return withinX && withinY;
}

void TSRUISwipeGestureRecognizer::moveConstraints(const std::vector<HeldConstraint>& constraints, double offset) {
  auto move = [&](const HeldConstraint& held) {
    double constant = held.restingConstant + held.sign * offset;
    if (held.constraint->constant() == constant) return;
    held.constraint->setConstant(constant);
    moved_ = true;
  };
  // Walked from the side the panel moves towards.
  if (offset > 0) {
    std::for_each(constraints.rbegin(), constraints.rend(), move);
  } else {
    std::for_each(constraints.begin(), constraints.end(), move);
  }
}

namespace {

ui::PropertyAnimation ConstantAnimation(const std::shared_ptr<LayoutConstraint>& constraint, double to) {
  std::weak_ptr<LayoutConstraint> weak = constraint;
  return ui::PropertyAnimation::value(constraint.get(), "constant", constraint->constant(), to, [weak](double value) {
    if (auto c = weak.lock()) c->setConstant(value);
  });
}

}  // namespace

void TSRUISwipeGestureRecognizer::endGesture(ui::View& panel, ui::View& superview) {
  ui::UIEnvironment* env = environment();
  if (!env) return;
  // A drag that was held still before the finger lifted is not a fling,
  // whatever the velocity says.
  double now = env->platform().now(platform::Clock::kMonotonic);
  if (!lastMovementTime_ || now - *lastMovementTime_ > timeThreshold_) return;

  struct Fling {
    const char* direction;
    bool horizontal;
    double speed;
    double sign;
  };
  std::optional<Fling> fling;
  auto consider = [&](double velocity, const char* negative, const char* positive, bool horizontal) {
    if (velocity == 0 || !std::isfinite(velocity)) return;
    const char* direction = velocity < 0 ? negative : positive;
    double speed = std::abs(velocity);
    if (!hasAction(direction) || !(speed >= velocityThreshold_)) return;
    // Both axes count only without a lock; the faster one is the fling.
    if (!fling || speed > fling->speed) fling = Fling{direction, horizontal, speed, velocity < 0 ? -1.0 : 1.0};
  };
  Point velocity = velocityInView(&superview);
  if (lock() != Lock::kVertical) consider(velocity.x, kSwipeLeft, kSwipeRight, true);
  if (lock() != Lock::kHorizontal) consider(velocity.y, kSwipeUp, kSwipeDown, false);
  if (!fling) return;

  finished_ = true;
  // The panel carries on at the finger's speed until it is a whole
  // superview's width (or height) away from where it rests.
  double length = fling->horizontal ? superview.bounds().width : superview.bounds().height;
  double dragged = fling->horizontal ? offset_.x : offset_.y;
  double remaining = std::max(0.0, length - fling->sign * dragged);
  double end = dragged + fling->sign * remaining;
  double duration = AnimationDuration(remaining / fling->speed);

  std::vector<ui::PropertyAnimation> properties;
  for (const auto& held : fling->horizontal ? *horizontal_ : *vertical_) {
    properties.push_back(ConstantAnimation(held.constraint, held.restingConstant + held.sign * end));
  }
  properties.push_back(ui::PropertyAnimation::alpha(panel.shared_from_this(), 0.0));
  ui::AnimationOptions options;
  options.duration = duration;
  options.delay = 0;
  // The recognizer is the action's sender, so the animation keeps it.
  auto self = std::static_pointer_cast<TSRUISwipeGestureRecognizer>(shared_from_this());
  std::string direction = fling->direction;
  env->animator().animate(options, std::move(properties), [self, direction](bool) {
    TSR_LOG_DEBUG("UI: Swiped %@", direction);
    auto action = self->swipeActions_.find(direction);
    if (action != self->swipeActions_.end()) action->second(*self);
  });
}

void TSRUISwipeGestureRecognizer::stopResetAnimation(ui::View& panel) {
  if (!resetAnimating_) return;
  resetAnimating_ = false;
  ui::UIEnvironment* env = environment();
  if (!env) return;
  // The constants jump to rest, from where the new drag moves them.
  for (const auto* list : {&*horizontal_, &*vertical_}) {
    for (const auto& held : *list) env->animator().removeAnimations(held.constraint.get());
  }
  env->animator().removeAnimations(&panel);
}

void TSRUISwipeGestureRecognizer::reset() {
  warnedThisGesture_ = false;
  lastMovementTime_.reset();
  axisLockOffsetX_ = 0;
  axisLockOffsetY_ = 0;
  offset_ = {};
  if (finished_ || !moved_ || !horizontal_) return;
  moved_ = false;
  TSR_LOG_DEBUG("UI: Swipe reset");

  std::vector<ui::PropertyAnimation> properties;
  for (const auto* list : {&*horizontal_, &*vertical_}) {
    for (const auto& held : *list) properties.push_back(ConstantAnimation(held.constraint, held.restingConstant));
  }
  ui::View* panel = view();
  ui::UIEnvironment* env = environment();
  if (!env || !panel) {
    // Off the screen there is nothing to watch: back at once.
    for (auto& property : properties) property.set(property.to);
    if (panel) panel->setAlpha(1);
    return;
  }
  properties.push_back(ui::PropertyAnimation::alpha(panel->shared_from_this(), 1.0));
  ui::AnimationOptions options;
  options.duration = AnimationDuration(resetAnimDuration_);
  options.delay = 0;
  resetAnimating_ = true;
  std::weak_ptr<ui::GestureRecognizer> weak = weak_from_this();
  int generation = ++resetGeneration_;
  env->animator().animate(options, std::move(properties), [weak, generation](bool) {
    auto self = std::static_pointer_cast<TSRUISwipeGestureRecognizer>(weak.lock());
    if (self && self->resetGeneration_ == generation) self->resetAnimating_ = false;
  });
}

}  // namespace tessarin

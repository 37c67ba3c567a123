#include "platform/ui/button.h"

namespace tessarin::platform::ui {

namespace {
// How much the title fades while the button is held, without a highlighted
// background of its own.
constexpr double kHighlightedTitleAlpha = 0.2;
}  // namespace

Button::Button() : title_(std::make_shared<Label>()) {
  title_->setTextAlignment(TextAlignment::kCenter);
  addSubview(title_);
}

void Button::setContentEdgeInsets(const EdgeInsets& insets) {
  insets_ = insets;
  invalidateIntrinsicContentSize();
}

void Button::setHighlighted(bool highlighted) {
  if (highlighted == highlighted_) return;
  highlighted_ = highlighted;
  if (highlightedBackground_) {
    if (highlighted) {
      normalBackground_ = backgroundColor();
      setBackgroundColor(*highlightedBackground_);
    } else {
      setBackgroundColor(normalBackground_);
    }
  } else {
    title_->setAlpha(highlighted ? kHighlightedTitleAlpha : 1);
  }
}

void Button::setHighlightedBackgroundColor(std::optional<Color> color) { highlightedBackground_ = color; }

Button::TargetId Button::addTarget(ControlEvent event, Action action) {
  TargetId id = nextTarget_++;
  targets_.push_back({id, event, std::move(action)});
  return id;
}

void Button::removeTarget(TargetId id) {
  std::erase_if(targets_, [id](const Target& t) { return t.id == id; });
}

void Button::sendActions(ControlEvent event) {
  // An action may remove the button from its superview (a message that
  // hides), or remove targets.
  auto self = shared_from_this();
  auto targets = targets_;
  for (auto& target : targets) {
    if (target.event == event && target.action) target.action(*this);
  }
}

Size Button::intrinsicContentSize(double width) const {
  double titleWidth = width > 0 ? width - insets_.left - insets_.right : width;
  Size title = title_->intrinsicContentSize(titleWidth);
  return {title.width + insets_.left + insets_.right, title.height + insets_.top + insets_.bottom};
}

void Button::layoutSubviews() {
  const Rect& b = bounds();
  title_->setFrame({b.x + insets_.left, b.y + insets_.top, b.width - insets_.left - insets_.right,
                    b.height - insets_.top - insets_.bottom});
}

bool Button::touchInside(const Touch& touch) const {
  Point p = convertFromScreen(touch.location);
  const Rect& b = bounds();
  Rect slop{b.x - kTouchSlop, b.y - kTouchSlop, b.width + 2 * kTouchSlop, b.height + 2 * kTouchSlop};
  return slop.contains(p);
}

void Button::touchBegan(const Touch& touch) {
  if (trackedTouch_) return;
  trackedTouch_ = touch.id;
  setHighlighted(true);
  sendActions(ControlEvent::kTouchDown);
}

void Button::touchMoved(const Touch& touch) {
  if (trackedTouch_ != touch.id) return;
  setHighlighted(touchInside(touch));
}

void Button::touchEnded(const Touch& touch) {
  if (trackedTouch_ != touch.id) return;
  trackedTouch_.reset();
  setHighlighted(false);
  sendActions(touchInside(touch) ? ControlEvent::kTouchUpInside : ControlEvent::kTouchUpOutside);
}

void Button::touchCancelled(const Touch& touch) {
  if (trackedTouch_ != touch.id) return;
  trackedTouch_.reset();
  setHighlighted(false);
  sendActions(ControlEvent::kTouchCancel);
}

}  // namespace tessarin::platform::ui

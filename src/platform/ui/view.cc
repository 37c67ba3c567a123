#include "platform/ui/view.h"

#include <algorithm>

#include "platform/ui/gesture_recognizer.h"
#include "platform/ui/layout_guide.h"
#include "platform/ui/layout_pass.h"
#include "platform/ui/screen.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

layout::LayoutItem* LayoutGuide::layoutParent() const { return owner_; }

View::View() = default;

View::View(const Rect& frame) : frame_(frame), bounds_{0, 0, frame.width, frame.height} {}

View::~View() {
  for (auto& subview : subviews_) subview->superview_ = nullptr;
  for (auto& recognizer : recognizers_) recognizer->view_ = nullptr;
  for (auto& guide : guides_) guide->owner_ = nullptr;
}

void View::setFrame(const Rect& frame) {
  if (frame == frame_) return;
  Screen* screen = shownOn();
  Rect before = screen ? screenExtent() : Rect{};
  bool resized = frame.width != frame_.width || frame.height != frame_.height;
  frame_ = frame;
  bounds_.width = frame.width;
  bounds_.height = frame.height;
  if (resized) setNeedsLayout();
  // Where it was shows what is behind it now; where it is shows it.
  if (screen) screen->setNeedsDisplayInRect(before.unionWith(screenExtent()));
}

void View::setBounds(const Rect& bounds) {
  if (bounds == bounds_) return;
  // The centre stays where it is, as when a view is resized around it.
  double centerX = frame_.x + frame_.width / 2;
  double centerY = frame_.y + frame_.height / 2;
  bool resized = bounds.width != bounds_.width || bounds.height != bounds_.height;
  Screen* screen = shownOn();
  Rect before = screen ? screenExtent() : Rect{};
  bounds_ = bounds;
  frame_ = {centerX - bounds.width / 2, centerY - bounds.height / 2, bounds.width, bounds.height};
  if (resized) setNeedsLayout();
  if (screen) screen->setNeedsDisplayInRect(before.unionWith(screenExtent()));
}

// Setting what a view already has changes no pixel, so it damages nothing.
void View::setBackgroundColor(const Color& color) {
  if (color == backgroundColor_) return;
  backgroundColor_ = color;
  setNeedsDisplay();
}

void View::setAlpha(double alpha) {
  alpha = std::clamp(alpha, 0.0, 1.0);
  if (alpha == alpha_) return;
  alpha_ = alpha;
  // The subviews fade with it.
  if (Screen* screen = shownOn()) screen->setNeedsDisplayInRect(screenExtent());
}

void View::setHidden(bool hidden) {
  if (hidden == hidden_) return;
  Screen* screen = shownOn();
  hidden_ = hidden;
  if (screen) screen->setNeedsDisplayInRect(screenExtent());
}

void View::setCornerRadius(double radius) {
  radius = std::max(0.0, radius);
  if (radius == cornerRadius_) return;
  cornerRadius_ = radius;
  // The clip follows the corners, so the subviews may change too.
  if (Screen* screen = shownOn()) screen->setNeedsDisplayInRect(screenExtent());
}

void View::setBorderWidth(double width) {
  width = std::max(0.0, width);
  if (width == borderWidth_) return;
  borderWidth_ = width;
  setNeedsDisplay();
}

void View::setBorderColor(const Color& color) {
  if (color == borderColor_) return;
  borderColor_ = color;
  setNeedsDisplay();
}

void View::setClipsToBounds(bool clips) {
  if (clips == clipsToBounds_) return;
  Screen* screen = shownOn();
  Rect before = screen ? screenExtent() : Rect{};
  clipsToBounds_ = clips;
  if (screen) screen->setNeedsDisplayInRect(before.unionWith(screenExtent()));
}

void View::addSubview(std::shared_ptr<View> view) { insertSubview(std::move(view), subviews_.size()); }

void View::insertSubview(std::shared_ptr<View> view, std::size_t index) {
  if (!view || view.get() == this || isDescendantOf(view.get())) return;
  Window* previousWindow = view->window();
  if (view->superview_ == this) {
    // Re-inserting moves it within the order.
    auto it = std::find(subviews_.begin(), subviews_.end(), view);
    std::size_t old = static_cast<std::size_t>(it - subviews_.begin());
    subviews_.erase(it);
    if (index > old) --index;
  } else {
    view->detachFromSuperview();
  }
  index = std::min(index, subviews_.size());
  subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), view);
  view->superview_ = this;
  view->notifyMovedToWindow(previousWindow);
  setNeedsLayout();
  if (Screen* screen = view->shownOn()) screen->setNeedsDisplayInRect(view->screenExtent());
}

void View::removeFromSuperview() {
  if (!superview_) return;
  // The superview may hold the last reference.
  auto self = shared_from_this();
  Window* previousWindow = window();
  View* parent = superview_;
  detachFromSuperview();
  notifyMovedToWindow(previousWindow);
  parent->setNeedsLayout();
}

void View::detachFromSuperview() {
  if (!superview_) return;
  // What it covered shows what is behind it now.
  if (Screen* screen = shownOn()) screen->setNeedsDisplayInRect(screenExtent());
  // Constraints between this view (or anything in it) and the rest of the
  // tree would otherwise outlive the tree they were made in.
  removeConstraintsFromAncestors();
  auto& siblings = superview_->subviews_;
  auto it = std::find_if(siblings.begin(), siblings.end(), [this](const auto& v) { return v.get() == this; });
  superview_ = nullptr;
  if (it != siblings.end()) siblings.erase(it);
}

void View::notifyMovedToWindow(Window* previous) {
  Window* now = window();
  if (now == previous) return;
  didMoveToWindow();
  // Copy: a subclass may change its subviews when it moves.
  auto subviews = subviews_;
  for (auto& subview : subviews) subview->notifyMovedToWindow(previous);
}

bool View::isDescendantOf(const View* view) const {
  for (const View* v = this; v; v = v->superview_) {
    if (v == view) return true;
  }
  return false;
}

Window* View::window() const {
  const View* root = this;
  while (root->superview_) root = root->superview_;
  return const_cast<View*>(root)->asWindow();
}

View* View::hitTest(Point point) {
  if (hidden_ || !userInteractionEnabled_ || alpha_ < 0.01) return nullptr;
  if (!pointInside(point)) return nullptr;
  for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
    View* subview = it->get();
    if (View* hit = subview->hitTest(subview->fromSuperview(point))) return hit;
  }
  return this;
}

bool View::pointInside(Point point) const { return bounds_.contains(point); }

Point View::toSuperview(Point point) const {
  return {frame_.x + point.x - bounds_.x, frame_.y + point.y - bounds_.y};
}

Point View::fromSuperview(Point point) const {
  return {point.x - frame_.x + bounds_.x, point.y - frame_.y + bounds_.y};
}

Point View::convertToScreen(Point point) const {
  for (const View* v = this; v; v = v->superview_) point = v->toSuperview(point);
  return point;
}

Point View::convertFromScreen(Point point) const {
  std::vector<const View*> chain;
  for (const View* v = this; v; v = v->superview_) chain.push_back(v);
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) point = (*it)->fromSuperview(point);
  return point;
}

Point View::convertPoint(Point point, const View* to) const {
  Point screen = convertToScreen(point);
  if (!to) {
    const View* root = this;
    while (root->superview_) root = root->superview_;
    to = root;
  }
  return to->convertFromScreen(screen);
}

Point View::convertPointFrom(Point point, const View* from) const {
  if (!from) {
    const View* root = this;
    while (root->superview_) root = root->superview_;
    from = root;
  }
  return convertFromScreen(from->convertToScreen(point));
}

Rect View::convertRect(const Rect& rect, const View* to) const {
  Point origin = convertPoint({rect.x, rect.y}, to);
  return {origin.x, origin.y, rect.width, rect.height};
}

void View::addGestureRecognizer(std::shared_ptr<GestureRecognizer> recognizer) {
  if (!recognizer) return;
  if (recognizer->view_ == this) return;
  if (recognizer->view_) recognizer->view_->removeGestureRecognizer(recognizer.get());
  recognizer->view_ = this;
  recognizers_.push_back(std::move(recognizer));
}

void View::removeGestureRecognizer(const GestureRecognizer* recognizer) {
  auto it = std::find_if(recognizers_.begin(), recognizers_.end(),
                         [recognizer](const auto& r) { return r.get() == recognizer; });
  if (it == recognizers_.end()) return;
  auto keep = *it;
  recognizers_.erase(it);
  keep->view_ = nullptr;
  keep->reset();
}

Size View::intrinsicContentSize(double width) const {
  (void)width;
  return {kNoIntrinsicMetric, kNoIntrinsicMetric};
}

void View::setNeedsLayout() {
  needsLayout_ = true;
  if (Window* w = window()) w->scheduleLayoutPass();
}

void View::layoutIfNeeded() {
  if (Window* w = window()) {
    w->runLayoutPass();
    return;
  }
  View* root = this;
  while (root->superview_) root = root->superview_;
  LayoutPass pass;
  pass.run(root);
}

void View::invalidateIntrinsicContentSize() {
  // The item's own size is solved in its superview's layout.
  if (superview_) superview_->setNeedsLayout();
  setNeedsLayout();
}

void View::setTranslatesAutoresizingMaskIntoConstraints(bool translates) {
  translatesFrame_ = translates;
  if (superview_) superview_->setNeedsLayout();
}

void View::addLayoutGuide(std::shared_ptr<LayoutGuide> guide) {
  if (!guide || guide->owner_ == this) return;
  guide->owner_ = this;
  guides_.push_back(std::move(guide));
  setNeedsLayout();
}

void View::layoutSubviewsIfNeeded() {
  if (!needsLayout_) return;
  needsLayout_ = false;
  layoutSubviews();
}

void View::layoutSubtreeIfNeeded() {
  layoutSubviewsIfNeeded();
  auto subviews = subviews_;
  for (auto& subview : subviews) subview->layoutSubtreeIfNeeded();
}

Screen* View::shownOn() const {
  Window* w = window();
  if (!w || w->isHidden()) return nullptr;
  return w->screen();
}

void View::setNeedsDisplay() {
  if (Screen* screen = shownOn()) {
    Point origin = convertToScreen({bounds_.x, bounds_.y});
    screen->setNeedsDisplayInRect({origin.x, origin.y, bounds_.width, bounds_.height});
  }
}

Rect View::extent() const {
  Rect extent = bounds_;
  if (clipsToBounds_) return extent;
  for (const auto& subview : subviews_) {
    Rect sub = subview->extent();
    // From the subview's bounds coordinates to this view's.
    sub.x += subview->frame_.x - subview->bounds_.x;
    sub.y += subview->frame_.y - subview->bounds_.y;
    extent = extent.unionWith(sub);
  }
  return extent;
}

Rect View::screenExtent() const {
  Rect local = extent();
  Point origin = convertToScreen({local.x, local.y});
  return {origin.x, origin.y, local.width, local.height};
}

}  // namespace tessarin::platform::ui

#include "platform/ui/screen.h"

#include <algorithm>

#include "platform/ui/touch_dispatcher.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_renderer.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

Screen::Screen(UIEnvironment& environment, Size size, double scale)
    : environment_(environment), size_(size), scale_(scale), touches_(std::make_unique<TouchDispatcher>(*this)) {}

Screen::~Screen() {
  touches_.reset();
  for (Window* window : windows_) window->screen_ = nullptr;
  windows_.clear();
  keyWindow_ = nullptr;
  visible_.clear();
}

void Screen::setSize(Size size, double scale) {
  if (size == size_ && scale == scale_) return;
  Rect old = bounds();
  size_ = size;
  scale_ = scale;
  for (Window* window : windows_) {
    if (window->frame() == old) window->setFrame(bounds());
  }
  setNeedsDisplayInRect(bounds());
}

bool Screen::hasVisibleWindows() const {
  return std::any_of(windows_.begin(), windows_.end(), [](const Window* w) { return !w->isHidden(); });
}

void Screen::setNeedsDisplayInRect(const Rect& rect) {
  Rect visible = rect.intersection(bounds());
  if (visible.isEmpty()) return;
  ++contentVersion_;
  bool wasClean = damage_.isEmpty();
  damage_ = damage_.unionWith(visible);
  if (wasClean && damageHandler_) damageHandler_();
}

Rect Screen::takeDamage() {
  Rect taken = damage_;
  damage_ = {};
  return taken;
}

std::vector<Window*> Screen::windows() const {
  std::vector<Window*> ordered = windows_;
  std::stable_sort(ordered.begin(), ordered.end(), [](const Window* a, const Window* b) {
    if (a->windowLevel() != b->windowLevel()) return a->windowLevel() < b->windowLevel();
    return a->orderShown() < b->orderShown();
  });
  return ordered;
}

View* Screen::hitTest(Point point) const {
  auto ordered = windows();
  for (auto it = ordered.rbegin(); it != ordered.rend(); ++it) {
    Window* window = *it;
    if (window->isHidden()) continue;
    if (View* hit = window->hitTest(window->convertFromScreen(point))) return hit;
  }
  return nullptr;
}

bool Screen::touchDown(int id, Point location, double timestamp) {
  return touches_->touchDown(id, location, timestamp);
}

bool Screen::touchMoved(int id, Point location, double timestamp) {
  return touches_->touchMoved(id, location, timestamp);
}

bool Screen::touchUp(int id, Point location, double timestamp) { return touches_->touchUp(id, location, timestamp); }

bool Screen::touchCancelled(int id, double timestamp) { return touches_->touchCancelled(id, timestamp); }

Image Screen::snapshot(double scale) const {
  if (scale <= 0) scale = scale_;
  std::vector<const View*> shown;
  for (Window* window : windows()) {
    if (!window->isHidden()) shown.push_back(window);
  }
  return renderViews(shown, bounds(), scale);
}

// A new window is hidden: nothing to draw yet.
void Screen::addWindow(Window* window) { windows_.push_back(window); }

void Screen::removeWindow(Window* window) {
  if (!window->isHidden()) setNeedsDisplayInRect(window->screenExtent());
  std::erase(windows_, window);
  if (keyWindow_ == window) keyWindow_ = nullptr;
}

void Screen::windowShown(Window* window) {
  window->orderShown_ = ++showSequence_;
  auto strong = window->shared_from_this();
  if (std::find(visible_.begin(), visible_.end(), strong) == visible_.end()) visible_.push_back(strong);
  // Shown, or brought to the front of its level.
  setNeedsDisplayInRect(window->screenExtent());
}

void Screen::windowHidden(Window* window) {
  if (keyWindow_ == window) keyWindow_ = nullptr;
  auto it = std::find_if(visible_.begin(), visible_.end(), [window](const auto& v) { return v.get() == window; });
  if (it != visible_.end()) {
    // The window is in the middle of hiding itself: let the last reference
    // go after that, on the main queue.
    environment_.platform().mainQueue()->async([keep = std::move(*it)] {});
    visible_.erase(it);
  }
  setNeedsDisplayInRect(window->screenExtent());
}

void Screen::makeKey(Window* window) { keyWindow_ = window; }

}  // namespace tessarin::platform::ui

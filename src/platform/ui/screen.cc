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

void Screen::addWindow(Window* window) {
  windows_.push_back(window);
  contentChanged();
}

void Screen::removeWindow(Window* window) {
  std::erase(windows_, window);
  if (keyWindow_ == window) keyWindow_ = nullptr;
  contentChanged();
}

void Screen::windowShown(Window* window) {
  window->orderShown_ = ++showSequence_;
  auto strong = window->shared_from_this();
  if (std::find(visible_.begin(), visible_.end(), strong) == visible_.end()) visible_.push_back(strong);
  contentChanged();
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
  contentChanged();
}

void Screen::makeKey(Window* window) { keyWindow_ = window; }

}  // namespace tessarin::platform::ui

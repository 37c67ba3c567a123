#include "platform/ui/window.h"

#include "platform/notification_center.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_controller.h"

namespace tessarin::platform::ui {

Window::Window(Screen& screen) : View(screen.bounds()), screen_(&screen), self_(std::make_shared<Window*>(this)) {
  View::setHidden(true);
  screen.addWindow(this);
}

Window::~Window() {
  if (screen_) screen_->removeWindow(this);
}

void Window::setWindowLevel(double level) {
  if (level == level_) return;
  level_ = level;
  // Its place among the other windows changed.
  if (screen_ && !isHidden()) screen_->setNeedsDisplayInRect(screenExtent());
}

void Window::setHidden(bool hidden) {
  if (hidden == isHidden()) return;
  // Appearance callbacks may drop the last other reference to the window.
  auto keep = shared_from_this();
  if (!hidden) {
    View::setHidden(false);
    if (screen_) screen_->windowShown(this);
    if (root_) {
      root_->view()->setFrame(bounds());
      root_->beginAppearanceTransition(true, false);
      root_->endAppearanceTransition();
    }
    if (screen_) screen_->environment().platform().notificationCenter().post(kWindowDidBecomeVisibleNotification, this);
  } else {
    if (root_) root_->beginAppearanceTransition(false, false);
    View::setHidden(true);
    if (root_) root_->endAppearanceTransition();
    if (screen_) {
      screen_->windowHidden(this);
      screen_->environment().platform().notificationCenter().post(kWindowDidBecomeHiddenNotification, this);
    }
  }
}

void Window::makeKeyAndVisible() {
  if (screen_) screen_->makeKey(this);
  setHidden(false);
}

bool Window::isKeyWindow() const { return screen_ && screen_->keyWindow() == this; }

void Window::setRootViewController(std::shared_ptr<ViewController> root) {
  if (root == root_) return;
  bool visible = !isHidden();
  if (auto old = root_) {
    if (visible) old->beginAppearanceTransition(false, false);
    old->view()->removeFromSuperview();
    root_.reset();
    if (visible) old->endAppearanceTransition();
  }
  root_ = std::move(root);
  if (!root_) return;
  auto view = root_->view();
  view->setFrame(bounds());
  if (visible) root_->beginAppearanceTransition(true, false);
  // Below anything else already in the window (a presentation's container).
  insertSubview(view, 0);
  if (visible) root_->endAppearanceTransition();
}

void Window::layoutSubviews() {
  if (root_ && root_->isViewLoaded()) root_->view()->setFrame(bounds());
}

void Window::scheduleLayoutPass() {
  if (layoutScheduled_ || inLayoutPass_ || !screen_) return;
  layoutScheduled_ = true;
  std::weak_ptr<Window*> weak = self_;
  screen_->environment().platform().mainQueue()->async([weak] {
    auto self = weak.lock();
    if (!self) return;
    (*self)->layoutScheduled_ = false;
    (*self)->runLayoutPass();
  });
}

void Window::runLayoutPass() {
  if (inLayoutPass_) return;
  inLayoutPass_ = true;
  layoutPass_.run(this);
  inLayoutPass_ = false;
}

}  // namespace tessarin::platform::ui

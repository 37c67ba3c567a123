#include "platform/ui/host_view_hierarchy.h"

#include <algorithm>

#include "platform/ui/screen.h"

namespace tessarin::platform::ui {

// The kit's side of a host view controller: its appearance callbacks
// become messages to the host object.
class HostViewController::Content : public ui::ViewController {
 public:
  explicit Content(HostViewController* host) : host_(host) {}
  const char* typeName() const override { return "HostViewController"; }

  HostViewController* host_;  // cleared when the host object goes

  void unload() {
    if (!isViewLoaded()) return;
    auto view = viewIfLoaded();
    view->removeFromSuperview();
    setView(nullptr);
  }

 protected:
  void viewWillAppear(bool animated) override { forward("viewWillAppear:", animated); }
  void viewDidAppear(bool animated) override { forward("viewDidAppear:", animated); }
  void viewWillDisappear(bool animated) override { forward("viewWillDisappear:", animated); }
  void viewDidDisappear(bool animated) override { forward("viewDidDisappear:", animated); }

 private:
  void forward(const char* selector, bool animated) {
    if (!host_ || host_->quiet_ > 0 || !host_->respondsToSelector(selector)) return;
    // The messages may drop the last other reference to the host object.
    auto keep = host_->weak_from_this().lock();
    host_->send(selector, {animated});
  }
};

HostViewController::HostViewController(std::shared_ptr<HostClass> cls)
    : platform::ViewController(std::move(cls)), content_(std::make_shared<Content>(this)) {}

HostViewController::~HostViewController() {
  content_->host_ = nullptr;
  for (auto& child : children_) child->parent_.reset();
}

ui::ViewController& HostViewController::kit() const { return *content_; }
std::shared_ptr<ui::ViewController> HostViewController::kitViewController() const { return content_; }

std::shared_ptr<HostViewController> HostViewController::hostOf(const ui::ViewController* vc) {
  auto* content = dynamic_cast<const Content*>(vc);
  if (!content || !content->host_) return nullptr;
  return std::static_pointer_cast<HostViewController>(content->host_->weak_from_this().lock());
}

bool HostViewController::isViewLoaded() const { return content_->isViewLoaded(); }

std::optional<std::string> HostViewController::accessibilityLabel() const {
  if (!isViewLoaded()) return std::nullopt;
  return accessibility_label_;
}

std::shared_ptr<platform::Window> HostViewController::viewWindow() const {
  if (!isViewLoaded()) return nullptr;
  if (auto window = HostWindow::hostOf(content_->viewWindow())) return window;
  if (auto parent = parent_.lock()) return parent->viewWindow();
  if (auto presenting = presentingViewController()) return presenting->viewWindow();
  return nullptr;
}

std::shared_ptr<platform::ViewController> HostViewController::presentingViewController() const {
  return hostOf(content_->presentingViewController().get());
}

std::shared_ptr<platform::ViewController> HostViewController::presentedViewController() const {
  return hostOf(content_->presentedViewController().get());
}

void HostViewController::setViewLoaded(bool loaded) {
  if (loaded) {
    content_->view();
  } else {
    content_->unload();
  }
}

void HostViewController::addChild(const std::shared_ptr<HostViewController>& child) {
  if (!child || child.get() == this) return;
  child->removeFromParent();
  child->parent_ = std::static_pointer_cast<HostViewController>(shared_from_this());
  children_.push_back(child);
}

void HostViewController::removeFromParent() {
  auto parent = parent_.lock();
  parent_.reset();
  if (!parent) return;
  auto& siblings = parent->children_;
  siblings.erase(std::remove_if(siblings.begin(), siblings.end(),
                                [this](const auto& sibling) { return sibling.get() == this; }),
                 siblings.end());
}

void HostViewController::presentViewController(const std::shared_ptr<HostViewController>& vc, bool animated,
                                               Completion completion) {
  if (!vc) return;
  content_->presentViewController(vc->content_, animated, std::move(completion));
}

void HostViewController::dismissViewController(bool animated, Completion completion) {
  content_->dismissViewController(animated, std::move(completion));
}

// The kit's side of a host window.
class HostWindow::Frame : public ui::Window {
 public:
  Frame(Screen& screen, HostWindow* host) : ui::Window(screen), host_(host) {}
  HostWindow* host_;  // cleared when the host object goes
};

HostWindow::HostWindow(std::shared_ptr<HostClass> cls, Screen& screen)
    : platform::Window(std::move(cls)), frame_(std::make_shared<Frame>(screen, this)) {}

HostWindow::~HostWindow() {
  frame_->host_ = nullptr;
  // Leaving the screen with the host object; the root does not appear to
  // go away, since nothing of the host's is left to tell.
  if (root_) ++root_->quiet_;
  frame_->setHidden(true);
  if (root_) --root_->quiet_;
}

ui::Window& HostWindow::kit() const { return *frame_; }
std::shared_ptr<ui::Window> HostWindow::kitWindow() const { return frame_; }

std::shared_ptr<HostWindow> HostWindow::hostOf(const ui::Window* window) {
  auto* frame = dynamic_cast<const Frame*>(window);
  if (!frame || !frame->host_) return nullptr;
  return std::static_pointer_cast<HostWindow>(frame->host_->weak_from_this().lock());
}

double HostWindow::windowLevel() const { return frame_->windowLevel(); }
bool HostWindow::isHidden() const { return frame_->isHidden(); }

platform::Rect HostWindow::bounds() const {
  const auto& frame = frame_->frame();
  return {frame.x, frame.y, frame.width, frame.height};
}

std::shared_ptr<platform::ViewController> HostWindow::presentedViewController() const {
  return root_ ? root_->presentedViewController() : nullptr;
}

void HostWindow::setWindowLevel(double level) { frame_->setWindowLevel(level); }

void HostWindow::withRoots(std::initializer_list<HostViewController*> roots, const std::function<void()>& call) {
  if (drives_appearance_) return call();
  for (auto* root : roots) {
    if (root) ++root->quiet_;
  }
  call();
  for (auto* root : roots) {
    if (root) --root->quiet_;
  }
}

void HostWindow::setHidden(bool hidden) {
  auto root = root_;
  withRoots({root.get()}, [&] { frame_->setHidden(hidden); });
}

void HostWindow::makeKeyAndVisible() {
  auto root = root_;
  withRoots({root.get()}, [&] { frame_->makeKeyAndVisible(); });
}

void HostWindow::setBounds(platform::Rect bounds) {
  frame_->setFrame({bounds.x, bounds.y, bounds.width, bounds.height});
  frame_->layoutSubviews();
}

void HostWindow::setRootViewController(std::shared_ptr<HostViewController> root) {
  auto previous = root_;
  root_ = std::move(root);
  withRoots({previous.get(), root_.get()},
            [&] { frame_->setRootViewController(root_ ? root_->content_ : nullptr); });
}

}  // namespace tessarin::platform::ui

#include "ui/ui_window.h"

#include <cmath>
#include <cstdlib>

#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/ui/animator.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "ui/log_address.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"
#include "ui/ui_root_view_controller.h"
#include "util/config.h"
#include "util/environment.h"
#include "util/safety.h"
#include "util/string_util.h"

namespace tessarin {

namespace kit = platform::ui;

namespace {

// The number a string starts with, as a lenient reader takes it: an
// optional sign, digits with a decimal point, an exponent; 0 when it
// starts with none (so "x" reads 0, and "nan" or "inf" are not numbers).
double LeadingFloat(const std::string& text) {
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  std::size_t digits = 0;
  while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, ++digits;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, ++digits;
  }
  if (digits == 0) return 0;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    std::size_t e = i + 1;
    if (e < text.size() && (text[e] == '+' || text[e] == '-')) ++e;
    if (e < text.size() && std::isdigit(static_cast<unsigned char>(text[e]))) {
      while (e < text.size() && std::isdigit(static_cast<unsigned char>(text[e]))) ++e;
      i = e;
    }
  }
  // Single precision, as the level's offset has always been read.
  return std::strtof(text.substr(0, i).c_str(), nullptr);
}

}  // namespace

TSRUIWindow::TSRUIWindow(kit::Screen& screen, std::shared_ptr<Environment> environment)
    : kit::Window(screen), environment_(std::move(environment)) {}

TSRUIWindow::~TSRUIWindow() {
  TSR_LOG_DEBUG("UI: Dealloc window %p", Address(this));
  auto& center = environment_->platform().notificationCenter();
  for (auto token : notificationObjects_) center.removeObserver(token);
}

std::shared_ptr<TSRUIWindow> TSRUIWindow::initWithUIManager(const std::shared_ptr<TSRUIManager>& manager,
                                                            std::shared_ptr<Environment> environment,
                                                            kit::Screen& screen) {
  std::shared_ptr<TSRUIWindow> window(new TSRUIWindow(screen, environment));
  window->setFrame(screen.bounds());
  window->setBackgroundColor(kit::Color::clear());
  window->weakUIManager_ = manager;
  auto facade = environment->facade();
  std::optional<std::string> level = facade ? facade->config().stringForKey("windowLevel") : std::nullopt;
  window->setWindowLevel(windowLevelFromString(level));
  window->setRootViewController(std::make_shared<TSRUIRootVC>(environment));

  // Shown again after it was hidden, the window takes up what waits.
  auto& platform = environment->platform();
  std::weak_ptr<TSRUIWindow> weak = window;
  window->notificationObjects_.push_back(platform.notificationCenter().addObserver(
      kit::kWindowDidBecomeVisibleNotification, static_cast<const kit::Window*>(window.get()), platform.mainQueue(),
      [weak](const platform::Notification&) {
        auto self = weak.lock();
        if (!self || !self->uiManager() || self->active_) return;
        auto root = std::dynamic_pointer_cast<TSRUIRootVC>(self->rootViewController());
        if (!root || !root->isAttachedToWindow()) return;
        TSR_LOG_DEBUG("UI: Window %p rootVC %p visible again", Address(self.get()), Address(root.get()));
        self->setActive(true);
      }));
  return window;
}

double TSRUIWindow::windowLevelFromString(const std::optional<std::string>& string) {
  const double fallback = kit::kWindowLevelAlert - 1.0;
  if (!string || string->empty()) return fallback;
  std::string level = TSRUtilityString::removeAllWhitespaceFromString(*string).value_or("");
  for (char& c : level) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  struct Base {
    const char* prefix;
    double level;
  };
  static constexpr Base kBases[] = {{"normal", kit::kWindowLevelNormal},
                                    {"alert", kit::kWindowLevelAlert},
                                    {"statusbar", kit::kWindowLevelStatusBar}};
  for (const Base& base : kBases) {
    std::string prefix = base.prefix;
    if (level.compare(0, prefix.size(), prefix) != 0) continue;
    std::string rest = level.substr(prefix.size());
    if (rest.empty()) return base.level;
    double offset = LeadingFloat(rest);
    // A zero offset is refused with the rest: "alert0" is as unknown as "alertx".
    if (offset == 0 || std::isinf(offset)) break;
    return base.level + offset;
  }
  TSR_LOG_WARN("UI: Window level unsupported: %@", *string);
  return fallback;
}

void TSRUIWindow::setActive(bool active) {
  active_ = active;
  updateIfActive();
}

void TSRUIWindow::updateIfActive() {
  if (!active_) return;
  const auto& root = rootViewController();
  // A copy: presenting clears the queue the message is taken from.
  if (auto queued = queuedMessageVC_; queued && root && !root->presentedViewController()) showMessage(queued);
  hideIfNoContent();
}

std::shared_ptr<TSRUIMessageViewController> TSRUIWindow::presentedMessage() const {
  const auto& root = rootViewController();
  if (!root) return nullptr;
  return std::dynamic_pointer_cast<TSRUIMessageViewController>(root->presentedViewController());
}

bool TSRUIWindow::hasContent() const {
  const auto& root = rootViewController();
  return queuedMessageVC_ || (root && root->presentedViewController());
}

std::shared_ptr<TSRUIMessageViewController> TSRUIWindow::newestMessage() const {
  if (queuedMessageVC_) return queuedMessageVC_;
  return presentedMessage();
}

void TSRUIWindow::showMessage(const std::shared_ptr<TSRUIMessageViewController>& message) {
  if (!message) return;
  if (!active_) {
    queuedMessageVC_ = message;
    TSR_LOG_DEBUG("UI: InAppMessage VC present wait %p", Address(message.get()));
    // Shown, the root view controller appears and makes the window active.
    if (isHidden()) makeKeyAndVisible();
    return;
  }
  queuedMessageVC_.reset();
  const auto& root = rootViewController();
  if (!root) return;
  if (const auto& presented = root->presentedViewController()) {
    TSR_LOG_DEBUG("UI: InAppMessage VC present wait %p", Address(message.get()));
    queuedMessageVC_ = message;
    // The old message goes at once; its disappearance presents the new one.
    if (const auto& view = presented->viewIfLoaded()) screen()->environment().animator().removeAnimations(view.get());
    root->dismissViewController(false);
    return;
  }
  root->presentViewController(message, true);
}

void TSRUIWindow::hide() {
  if (!active_ && isHidden()) return;
  const auto& root = rootViewController();
  TSR_LOG_DEBUG("UI: Hiding window %p rootVC %p", Address(this), Address(root.get()));
  active_ = false;
  setHidden(true);
  queuedMessageVC_.reset();
  if (root) {
    if (const auto& presented = root->presentedViewController()) {
      if (const auto& view = presented->viewIfLoaded()) {
        if (screen()) screen()->environment().animator().removeAnimations(view.get());
      }
    }
    root->dismissViewController(false);
  }

  // An empty window is kept a while for a message that may follow, then let go.
  std::weak_ptr<TSRUIWindow> weak = std::static_pointer_cast<TSRUIWindow>(shared_from_this());
  auto& platform = environment_->platform();
  TSRUtilitySafety::runAfterDelay(platform, kRemovalDelay, false, platform.mainQueue(), "UI: window removal", [weak] {
    auto self = weak.lock();
    if (!self || !self->isHidden() || self->hasContent()) return;
    auto manager = self->uiManager();
    if (!manager || manager->window() != self) return;
    TSR_LOG_DEBUG("UI: Removing window %p rootVC %p", Address(self.get()), Address(self->rootViewController().get()));
    manager->setWindow(nullptr);
  });
}

void TSRUIWindow::hideIfNoContent() {
  if (!hasContent()) hide();
}

void TSRUIWindow::hideAllAnimated(bool animated) {
  const auto& root = rootViewController();
  if (animated && root && root->presentedViewController()) {
    TSR_LOG_DEBUG("UI: Hiding, animated");
    // The message's disappearance then hides the emptied window.
    root->dismissViewController(true);
    return;
  }
  hide();
}

kit::View* TSRUIWindow::hitTest(kit::Point point) {
  kit::View* hit = kit::Window::hitTest(point);
  if (!hit || hit == this) return nullptr;
  const auto& root = rootViewController();
  if (root && hit == root->viewIfLoaded().get()) return nullptr;
  if (auto message = presentedMessage()) {
    const auto& messageView = message->viewIfLoaded();
    // The message's full-screen background, and the container the
    // presentation put it in, are transparent: the app below takes those.
    if (messageView && (hit == messageView.get() || hit == messageView->superview())) return nullptr;
  }
  return hit;
}

}  // namespace tessarin

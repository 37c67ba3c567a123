#include "platform/ui/alert_presenter.h"

#include <algorithm>
#include <cmath>

#include "platform/ui/animator.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"

namespace tessarin::platform::ui {

namespace {

constexpr Color kDimColor = Color::fromRGBA(0x00000066);
// Room kept between the panel and the screen's edges.
constexpr double kScreenMargin = 20;

// The dimmed window over the whole screen, with the panel in its middle.
class AlertWindow : public Window {
 public:
  AlertWindow(Screen& screen, std::shared_ptr<AlertView> panel) : Window(screen), panel_(std::move(panel)) {
    setWindowLevel(kWindowLevelAlert);
    setBackgroundColor(kDimColor);
    addSubview(panel_);
  }
  const char* typeName() const override { return "AlertWindow"; }

  // Modal from the moment it is shown, though it fades in from clear (which
  // a plain view would let touches through for): every touch on the screen
  // is the alert's, until the alert turns interaction off as it goes.
  View* hitTest(Point point) override {
    if (isHidden() || !isUserInteractionEnabled() || !pointInside(point)) return nullptr;
    if (View* hit = panel_->hitTest(panel_->convertPointFrom(point, this))) return hit;
    return this;
  }

  // Centred again whenever the screen changes size.
  void layoutSubviews() override {
    Window::layoutSubviews();
    const Rect& b = bounds();
    Size size = panel_->fitToHeight(b.height - 2 * kScreenMargin);
    panel_->setFrame({std::round((b.width - size.width) / 2), std::round((b.height - size.height) / 2), size.width,
                      size.height});
  }

 private:
  std::shared_ptr<AlertView> panel_;
};

AnimationOptions Fade() {
  AnimationOptions options;
  options.duration = KitAlertPresenter::kFadeDuration;
  return options;
}

}  // namespace

void KitAlert::present(Screen& screen, std::weak_ptr<Registry> registry) {
  registry_ = std::move(registry);
  UIEnvironment& environment = screen.environment();
  view_ = std::make_shared<AlertView>(
      environment, AlertContent{request_.title, request_.message, request_.buttons, request_.activityIndicator});
  std::weak_ptr<KitAlert> weak = weak_from_this();
  view_->setButtonHandler([weak](int index) {
    if (auto self = weak.lock()) self->finish(index, true);
  });
  window_ = std::make_shared<AlertWindow>(screen, view_);
  window_->runLayoutPass();
  window_->setAlpha(0);
  visible_ = true;
  // Shown without taking the key window from the app: nothing in an alert
  // takes typing, and a hidden window leaves no key window behind.
  window_->setHidden(false);
  environment.animator().animate(Fade(), {PropertyAnimation::alpha(window_, 1)});
}

void KitAlert::replaceActivityIndicatorWithText(const std::string& text) {
  if (view_) view_->replaceActivityIndicatorWithText(text);
}

void KitAlert::finish(int index, bool animated) {
  if (!visible_) return;
  // Leaving the presenter's list may drop the last other reference.
  auto self = shared_from_this();
  visible_ = false;
  if (auto registry = registry_.lock()) std::erase(*registry, self);
  // What is beneath takes touches again from now on, fading or not.
  window_->setUserInteractionEnabled(false);
  Screen* screen = window_->screen();
  if (!animated || !screen) {
    remove(index);
    return;
  }
  // The completion holds the alert until it has faded.
  screen->environment().animator().animate(Fade(), {PropertyAnimation::alpha(window_, 0)},
                                           [self, index](bool) { self->remove(index); });
}

void KitAlert::remove(int index) {
  // The delegate may drop the last reference to the alert.
  auto self = shared_from_this();
  // Stopped while the window still reaches its screen's animator.
  if (const auto& spinner = view_->activityIndicator()) spinner->stopAnimating();
  window_->setHidden(true);
  // The screen lets a hidden window go; so does the alert, and the window
  // leaves the screen.
  window_.reset();
  view_.reset();
  auto didDismiss = std::move(request_.didDismiss);
  request_.didDismiss = nullptr;
  if (didDismiss) didDismiss(index);
}

KitAlertPresenter::KitAlertPresenter(Screen& screen)
    : screen_(screen), shown_(std::make_shared<KitAlert::Registry>()) {}

KitAlertPresenter::~KitAlertPresenter() {
  auto up = *shown_;
  for (const auto& alert : up) alert->dismiss(false);
}

std::shared_ptr<Alert> KitAlertPresenter::show(AlertRequest request) {
  std::shared_ptr<KitAlert> alert(new KitAlert(std::move(request)));
  shown_->push_back(alert);
  alert->present(screen_, shown_);
  return alert;
}

}  // namespace tessarin::platform::ui

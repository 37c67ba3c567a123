#include "ui/message_view_controller.h"

#include <typeinfo>

#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/ui/animator.h"
#include "platform/ui/screen.h"
#include "platform/ui/tap_gesture_recognizer.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/window.h"
#include "tracking/campaign_impl.h"
#include "tracking/context_impl.h"
#include "ui/log_address.h"
#include "ui/message_action.h"
#include "ui/message_button.h"
#include "ui/message_data.h"
#include "ui/swipe_gesture_recognizer.h"
#include "ui/ui_window.h"
#include "util/environment.h"

namespace tessarin {

namespace kit = platform::ui;

namespace {

const char* CampaignClassName(const TSRCampaign* campaign) {
  if (!campaign) return nullptr;
  if (dynamic_cast<const TSRCampaignUiMessage*>(campaign)) return "TSRCampaignUiMessage";
  if (dynamic_cast<const TSRCampaignDataMessage*>(campaign)) return "TSRCampaignDataMessage";
  return "TSRCampaign";
}

// A view as a log line shows an object: its class and address.
std::string Describe(const kit::View* view) {
  if (!view) return "(null)";
  return FormatLogMessage("<%@: %p>", {LogArg(view->typeName()), LogArg(Address(view))});
}

}  // namespace

TSRUIMessageViewController::TSRUIMessageViewController(std::shared_ptr<Environment> environment)
    : environment_(std::move(environment)) {}

TSRUIMessageViewController::~TSRUIMessageViewController() {
  auto& center = environment_->platform().notificationCenter();
  for (auto token : notificationObjects_) center.removeObserver(token);
}

std::shared_ptr<TSRUIMessageViewController> TSRUIMessageViewController::initWithCampaign(
    const std::shared_ptr<TSRCampaign>& campaign, std::shared_ptr<Environment> environment) {
  if (!environment) return nullptr;
  std::shared_ptr<TSRUIMessageViewController> vc(new TSRUIMessageViewController(std::move(environment)));
  vc->campaign_ = campaign;
  if (!dynamic_cast<const TSRCampaignUiMessage*>(campaign.get())) {
    TSR_LOG_WARN("UI: InAppMessage campaign unexpected class %@", CampaignClassName(campaign.get()));
    return nullptr;
  }
  vc->json_ = campaign->data();
  if (!vc->json_.is_object() || vc->json_.empty()) {
    TSR_LOG_WARN("UI: InAppMessage campaign requires data/JSON");
    return nullptr;
  }
  if (campaign->target() != TSRCampaignMessageType_ui) {
    TSR_LOG_WARN("UI: InAppMessage campaign unexpected target %@", campaign->target());
    return nullptr;
  }

  const auto& view = vc->view();
  view->setBackgroundColor(kit::Color::clear());
  view->setUserInteractionEnabled(true);
  vc->setModalPresentationStyle(kit::ModalPresentationStyle::kCustom);
  vc->setTransitioningDelegate(vc.get());

  vc->configureDefaultsAndOptions();
  if (!vc->buildSubviews()) return nullptr;
  vc->observeContentSizeCategory();
  return vc;
}

void TSRUIMessageViewController::configureDefaultsAndOptions() {
  using message_data::Flag;
  using message_data::Number;
  animDuration_ = std::max(0.0, Number(json_, "animDuration").value_or(0.3));
  if (auto position = message_data::String(json_, "position")) {
    std::string lower = *position;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    // Anything unknown keeps the top, silently.
    if (lower == "top" || lower == "bottom" || lower == "center") position_ = lower;
  }
  heightMin_ = Number(json_, "heightMin").value_or(heightMin_);
  marginHorizontal_ = Number(json_, "marginHorizontal").value_or(marginHorizontal_);
  marginVertical_ = Number(json_, "marginVertical").value_or(marginVertical_);
  paddingHorizontal_ = Number(json_, "paddingHorizontal").value_or(paddingHorizontal_);
  paddingVertical_ = Number(json_, "paddingVertical").value_or(paddingVertical_);
  useLayoutGuides_ = Flag(json_, "useLayoutGuides").value_or(useLayoutGuides_);
}

void TSRUIMessageViewController::observeContentSizeCategory() {
  auto& platform = environment_->platform();
  std::weak_ptr<TSRUIMessageViewController> weak =
      std::static_pointer_cast<TSRUIMessageViewController>(shared_from_this());
  notificationObjects_.push_back(platform.notificationCenter().addObserver(
      kit::kContentSizeCategoryDidChangeNotification, nullptr, platform.mainQueue(),
      [weak](const platform::Notification& notification) {
        auto self = weak.lock();
        if (!self || !self->isViewLoaded()) return;
        Json category = notification.userInfo.is_object() && notification.userInfo.contains(
                                                                  kit::kContentSizeCategoryNewValueKey)
                            ? notification.userInfo[kit::kContentSizeCategoryNewValueKey]
                            : Json();
        TSR_LOG_DEBUG("UI: InAppMessage VC new preferred content size category: %@", category);
        if (self->titleLabel_) self->titleLabel_->setFont(self->preferredFontForTextStyle(self->titleStyle_));
        if (self->bodyLabel_) self->bodyLabel_->setFont(self->preferredFontForTextStyle(self->bodyStyle_));
        for (const auto& button : self->buttons_) button->updatePreferredFont();
        self->view()->invalidateIntrinsicContentSize();
        // The labels' sizes changed, and with them the panel's.
        self->mainView_->setNeedsLayout();
      }));
}

kit::Font TSRUIMessageViewController::preferredFontForTextStyle(kit::TextStyle style) const {
  if (auto* ui = environment_->userInterface()) return ui->preferredFont(style);
  return kit::preferredFont(style, kit::kContentSizeCategoryLarge);
}

void TSRUIMessageViewController::hide() {
  if (auto presenter = presentingViewController()) presenter->dismissViewController(true);
}

void TSRUIMessageViewController::handleGesture(kit::GestureRecognizer& recognizer) {
  if (!dynamic_cast<kit::TapGestureRecognizer*>(&recognizer)) return;
  if (recognizer.view() != mainView_.get() || !actionBlock_) return;
  ActionBlock block = actionBlock_;
  block(recognizer);
}

// Appearance and statistics.

void TSRUIMessageViewController::viewWillAppear(bool) {
  TSR_LOG_DEBUG("UI: InAppMessage VC will appear %p", Address(this));
}

void TSRUIMessageViewController::viewDidAppear(bool) {
  kit::Window* shownIn = viewWindow();
  if (auto* window = dynamic_cast<TSRUIWindow*>(shownIn)) {
    window_ = std::static_pointer_cast<TSRUIWindow>(window->shared_from_this());
    if (!trackedImpression_) {
      trackedImpression_ = true;
      auto facade = environment_->facade();
      if (auto context = facade ? facade->globalTrackingContext() : nullptr) context->trackImpression(campaign_);
    }
  } else {
    TSR_LOG_WARN("UI: InAppMessage VC appeared %p but unexpected window %p %@", Address(this), Address(shownIn),
                 shownIn ? shownIn->typeName() : nullptr);
  }
}

void TSRUIMessageViewController::viewWillDisappear(bool) {
  TSR_LOG_DEBUG("UI: InAppMessage VC will disappear %p", Address(this));
}

void TSRUIMessageViewController::viewDidDisappear(bool) {
  // Presents what waits behind this message, or hides the emptied window.
  if (auto window = window_.lock(); window && !window->isHidden()) window->updateIfActive();
}

// The transition: a fade in and out over animDuration.

std::shared_ptr<kit::AnimatedTransitioning> TSRUIMessageViewController::animationControllerForPresented(
    const std::shared_ptr<kit::ViewController>&, const std::shared_ptr<kit::ViewController>&,
    const std::shared_ptr<kit::ViewController>&) {
  return std::shared_ptr<kit::AnimatedTransitioning>(shared_from_this(), this);
}

std::shared_ptr<kit::AnimatedTransitioning> TSRUIMessageViewController::animationControllerForDismissed(
    const std::shared_ptr<kit::ViewController>&) {
  return std::shared_ptr<kit::AnimatedTransitioning>(shared_from_this(), this);
}

double TSRUIMessageViewController::transitionDuration(const kit::TransitionContext&) { return animDuration_; }

void TSRUIMessageViewController::animateTransition(const std::shared_ptr<kit::TransitionContext>& context) {
  double duration = context->isAnimated() ? animDuration_ : 0;
  const auto& container = context->container();
  container->setBackgroundColor(kit::Color::clear());

  kit::Window* containerWindow = container->window();
  auto* window = dynamic_cast<TSRUIWindow*>(containerWindow);
  if (!window) {
    TSR_LOG_WARN("UI: InAppMessage VC animating %p from unexpected window %@ %@", Address(this),
                 Describe(containerWindow), containerWindow ? containerWindow->typeName() : nullptr);
  }
  std::weak_ptr<TSRUIWindow> weakWindow;
  if (window) weakWindow = std::static_pointer_cast<TSRUIWindow>(window->shared_from_this());

  auto toVC = context->viewControllerForKey(kit::TransitionKey::kTo);
  auto fromVC = context->viewControllerForKey(kit::TransitionKey::kFrom);
  std::shared_ptr<kit::View> toView = context->viewForKey(kit::TransitionKey::kTo);
  if (!toView && toVC) toView = toVC->view();
  std::shared_ptr<kit::View> fromView = context->viewForKey(kit::TransitionKey::kFrom);
  // The view that moves in was on the screen already only when it is the
  // presenter's, coming back from under a message.
  bool dismissal = toView && toView->superview() != nullptr;
  if (toView && !dismissal) {
    container->addSubview(toView);
    toView->setFrame(context->finalFrameForViewController(toVC.get()));
  }

  kit::UIEnvironment* ui = containerWindow && containerWindow->screen() ? &containerWindow->screen()->environment()
                                                                        : environment_->userInterface();
  auto finishCancelled = [context, fromView, weakWindow] {
    if (fromView) fromView->removeFromSuperview();
    context->completeTransition(false);
    auto window = weakWindow.lock();
    if (window && !window->uiManager()) window->hide();
  };
  const void* self = Address(this);

  if (dismissal) {
    if (window && window->isHidden()) duration = 0;
    auto done = [context, self, finishCancelled](bool) {
      bool success = !context->transitionWasCancelled();
      TSR_LOG_DEBUG("UI: InAppMessage VC %p dismiss success? %@", self, success ? "YES" : "NO");
      if (success) {
        context->completeTransition(true);
      } else {
        finishCancelled();
      }
    };
    if (!fromView || !ui) return done(true);
    kit::AnimationOptions options;
    options.duration = duration;
    ui->animator().animate(options, {kit::PropertyAnimation::alpha(fromView, 0.0)}, done);
    return;
  }

  auto done = [context, self, weakWindow, finishCancelled](bool) {
    bool success = !context->transitionWasCancelled();
    TSR_LOG_DEBUG("UI: InAppMessage VC %p present success? %@", self, success ? "YES" : "NO");
    if (success) {
      context->completeTransition(true);
      if (auto window = weakWindow.lock()) window->updateIfActive();
    } else {
      finishCancelled();
    }
  };
  if (!toView || !ui) return done(true);
  toView->setAlpha(0.0);
  kit::AnimationOptions options;
  options.duration = duration;
  ui->animator().animate(options, {kit::PropertyAnimation::alpha(toView, 1.0)}, done);
}

// Orientation and the status bar follow the presenter: the overlay's root,
// which follows the app.

int TSRUIMessageViewController::supportedInterfaceOrientations() const {
  if (auto presenter = presentingViewController()) return presenter->supportedInterfaceOrientations();
  return kit::kInterfaceOrientationMaskAll;
}

bool TSRUIMessageViewController::shouldAutorotate() const {
  if (auto presenter = presentingViewController()) return presenter->shouldAutorotate();
  return true;
}

kit::StatusBarStyle TSRUIMessageViewController::preferredStatusBarStyle() const {
  if (auto presenter = presentingViewController()) return presenter->preferredStatusBarStyle();
  return kit::StatusBarStyle::kDefault;
}

bool TSRUIMessageViewController::prefersStatusBarHidden() const {
  if (auto presenter = presentingViewController()) return presenter->prefersStatusBarHidden();
  return false;
}

}  // namespace tessarin

#include "platform/ui/view_transition.h"

#include "platform/ui/animator.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

TransitionContext::TransitionContext(Parts parts, Completion completion)
    : parts_(std::move(parts)), completion_(std::move(completion)) {}

std::shared_ptr<ViewController> TransitionContext::viewControllerForKey(TransitionKey key) const {
  return key == TransitionKey::kFrom ? parts_.from : parts_.to;
}

std::shared_ptr<View> TransitionContext::viewForKey(TransitionKey key) const {
  return key == TransitionKey::kFrom ? parts_.fromView : parts_.toView;
}

Rect TransitionContext::finalFrameForViewController(const ViewController* vc) const {
  if (vc == parts_.to.get()) return parts_.toFinalFrame;
  if (vc == parts_.from.get()) return parts_.fromFinalFrame;
  return {};
}

void TransitionContext::completeTransition(bool didComplete) {
  if (completed_) return;
  completed_ = true;
  auto completion = std::move(completion_);
  completion_ = nullptr;
  if (completion) completion(didComplete);
}

double CoverVerticalTransition::transitionDuration(const TransitionContext& context) {
  return context.isAnimated() ? kDuration : 0;
}

void CoverVerticalTransition::animateTransition(const std::shared_ptr<TransitionContext>& context) {
  auto container = context->container();
  Window* window = container ? container->window() : nullptr;
  Screen* screen = window ? window->screen() : nullptr;
  if (!screen) {
    context->completeTransition(!context->transitionWasCancelled());
    return;
  }
  auto to = context->viewControllerForKey(TransitionKey::kTo);
  auto fromView = context->viewForKey(TransitionKey::kFrom);
  auto toView = context->viewForKey(TransitionKey::kTo);
  double height = container->bounds().height;
  std::shared_ptr<View> moving;
  double fromY, toY;
  bool presenting = toView && !toView->superview();
  if (presenting) {
    Rect final = context->finalFrameForViewController(to.get());
    toView->setFrame({final.x, final.y + height, final.width, final.height});
    container->addSubview(toView);
    moving = toView;
    fromY = final.y + height;
    toY = final.y;
  } else {
    moving = fromView ? fromView : context->viewControllerForKey(TransitionKey::kFrom)->view();
    fromY = moving->frame().y;
    toY = fromY + height;
  }
  std::weak_ptr<View> weak = moving;
  AnimationOptions options;
  options.duration = transitionDuration(*context);
  screen->environment().animator().animate(
      options,
      {PropertyAnimation::value(moving.get(), "frame.y", fromY, toY,
                                [weak](double y) {
                                  if (auto v = weak.lock()) {
                                    Rect f = v->frame();
                                    f.y = y;
                                    v->setFrame(f);
                                  }
                                })},
      [context](bool) { context->completeTransition(!context->transitionWasCancelled()); });
}

}  // namespace tessarin::platform::ui

// Custom presentation transitions: a presented view controller's
// transitioning delegate hands out an animator, which the kit calls with a
// transition context. The context says where the transition happens (the
// container view, a full-window view above the presenting one), which view
// controllers and views go and come, where the incoming one ends up, and
// whether to animate; the animator moves the views and calls
// completeTransition once, with false when the transition did not happen
// (it was cancelled).
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_VIEW_TRANSITION_H_
#define TESSARIN_PLATFORM_UI_VIEW_TRANSITION_H_

#include <functional>
#include <memory>

#include "platform/ui/geometry.h"

namespace tessarin::platform::ui {

class View;
class ViewController;

enum class TransitionKey { kFrom, kTo };

class TransitionContext {
 public:
  struct Parts {
    std::shared_ptr<View> container;
    std::shared_ptr<ViewController> from;
    std::shared_ptr<ViewController> to;
    // Null for a view the transition does not move: in a custom
    // presentation the presenting view stays where it is.
    std::shared_ptr<View> fromView;
    std::shared_ptr<View> toView;
    Rect fromFinalFrame;
    Rect toFinalFrame;
    bool animated = false;
  };
  using Completion = std::function<void(bool didComplete)>;

  TransitionContext(Parts parts, Completion completion);

  View* containerView() const { return parts_.container.get(); }
  const std::shared_ptr<View>& container() const { return parts_.container; }
  std::shared_ptr<ViewController> viewControllerForKey(TransitionKey key) const;
  std::shared_ptr<View> viewForKey(TransitionKey key) const;
  // Where the view controller's view is at the end; an empty rect for one
  // that leaves.
  Rect finalFrameForViewController(const ViewController* vc) const;
  bool isAnimated() const { return parts_.animated; }

  // What an interactive driver calls when the user abandons the transition;
  // the animator then completes with false.
  void cancelInteractiveTransition() { cancelled_ = true; }
  bool transitionWasCancelled() const { return cancelled_; }
  // The animator's last call. Later calls do nothing.
  void completeTransition(bool didComplete);
  bool isCompleted() const { return completed_; }

 private:
  Parts parts_;
  Completion completion_;
  bool cancelled_ = false;
  bool completed_ = false;
};

class AnimatedTransitioning {
 public:
  virtual ~AnimatedTransitioning() = default;
  virtual double transitionDuration(const TransitionContext& context) = 0;
  virtual void animateTransition(const std::shared_ptr<TransitionContext>& context) = 0;
};

class TransitioningDelegate {
 public:
  virtual ~TransitioningDelegate() = default;
  // Null: the kit's own transition.
  virtual std::shared_ptr<AnimatedTransitioning> animationControllerForPresented(
      const std::shared_ptr<ViewController>& presented, const std::shared_ptr<ViewController>& presenting,
      const std::shared_ptr<ViewController>& source) {
    (void)presented;
    (void)presenting;
    (void)source;
    return nullptr;
  }
  virtual std::shared_ptr<AnimatedTransitioning> animationControllerForDismissed(
      const std::shared_ptr<ViewController>& dismissed) {
    (void)dismissed;
    return nullptr;
  }
};

// The kit's own transition: the presented view slides up from the bottom
// edge over 0.3 s and back down when dismissed; at once when not animated.
class CoverVerticalTransition : public AnimatedTransitioning {
 public:
  static constexpr double kDuration = 0.3;
  double transitionDuration(const TransitionContext& context) override;
  void animateTransition(const std::shared_ptr<TransitionContext>& context) override;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_VIEW_TRANSITION_H_

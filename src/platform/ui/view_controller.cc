#include "platform/ui/view_controller.h"

#include <algorithm>

#include "platform/ui/screen.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

ViewController::ViewController()
    : topGuide_(std::make_shared<LayoutGuide>(LayoutGuideEdge::kTop)),
      bottomGuide_(std::make_shared<LayoutGuide>(LayoutGuideEdge::kBottom)) {}

ViewController::~ViewController() {
  if (view_) view_->viewController_ = nullptr;
}

const std::shared_ptr<View>& ViewController::view() {
  if (!view_) {
    loadView();
    if (!view_) setView(std::make_shared<View>());
    view_->addLayoutGuide(topGuide_);
    view_->addLayoutGuide(bottomGuide_);
    viewDidLoad();
  }
  return view_;
}

void ViewController::loadView() { setView(std::make_shared<View>()); }

void ViewController::setView(std::shared_ptr<View> view) {
  if (view_) view_->viewController_ = nullptr;
  view_ = std::move(view);
  if (view_) view_->viewController_ = this;
}

Window* ViewController::viewWindow() const { return view_ ? view_->window() : nullptr; }

const std::shared_ptr<LayoutGuide>& ViewController::topLayoutGuide() {
  view();
  return topGuide_;
}

const std::shared_ptr<LayoutGuide>& ViewController::bottomLayoutGuide() {
  view();
  return bottomGuide_;
}

void ViewController::updateLayoutGuides(Window* window) {
  EdgeInsets insets;
  if (window && window->screen()) insets = window->screen()->safeAreaInsets();
  if (topGuide_->length() == insets.top && bottomGuide_->length() == insets.bottom) return;
  topGuide_->setLength(insets.top);
  bottomGuide_->setLength(insets.bottom);
  if (view_) view_->setNeedsLayout();
}

void ViewController::beginAppearanceTransition(bool appearing, bool animated) {
  if (appearing) {
    if (appearance_ == Appearance::kAppearing || appearance_ == Appearance::kAppeared) return;
    appearance_ = Appearance::kAppearing;
    appearanceAnimated_ = animated;
    view();
    if (Window* window = viewWindow()) updateLayoutGuides(window);
    viewWillAppear(animated);
  } else {
    if (appearance_ == Appearance::kDisappearing || appearance_ == Appearance::kDisappeared) return;
    appearance_ = Appearance::kDisappearing;
    appearanceAnimated_ = animated;
    viewWillDisappear(animated);
  }
}

void ViewController::endAppearanceTransition() {
  if (appearance_ == Appearance::kAppearing) {
    appearance_ = Appearance::kAppeared;
    viewDidAppear(appearanceAnimated_);
  } else if (appearance_ == Appearance::kDisappearing) {
    appearance_ = Appearance::kDisappeared;
    viewDidDisappear(appearanceAnimated_);
  }
}

std::shared_ptr<AnimatedTransitioning> ViewController::animatorFor(const std::shared_ptr<ViewController>& presented,
                                                                   bool presenting) {
  if (presented->presentationStyle_ == ModalPresentationStyle::kCustom && presented->transitioningDelegate_) {
    auto self = shared_from_this();
    auto animator = presenting
                        ? presented->transitioningDelegate_->animationControllerForPresented(presented, self, self)
                        : presented->transitioningDelegate_->animationControllerForDismissed(presented);
    if (animator) return animator;
  }
  return std::make_shared<CoverVerticalTransition>();
}

void ViewController::presentViewController(std::shared_ptr<ViewController> vc, bool animated, Completion completion) {
  if (!vc || vc.get() == this || presented_ || transitioning_ || vc->presenting_.lock()) return;
  Window* window = viewWindow();
  if (!window) return;
  auto self = shared_from_this();
  presented_ = vc;
  vc->presenting_ = self;
  vc->beingPresented_ = true;
  transitioning_ = true;

  auto container = std::make_shared<View>(window->bounds());
  vc->container_ = container;
  window->addSubview(container);
  const auto& toView = vc->view();
  bool custom = vc->presentationStyle_ == ModalPresentationStyle::kCustom;
  TransitionContext::Parts parts;
  parts.container = container;
  parts.from = self;
  parts.to = vc;
  parts.fromView = custom ? nullptr : view_;
  parts.toView = toView;
  parts.fromFinalFrame = view_->frame();
  parts.toFinalFrame = container->bounds();
  parts.animated = animated;

  vc->updateLayoutGuides(window);
  vc->beginAppearanceTransition(true, animated);
  if (vc->presentationStyle_ == ModalPresentationStyle::kFullScreen) beginAppearanceTransition(false, animated);
  std::weak_ptr<ViewController> weak = self;
  auto context = std::make_shared<TransitionContext>(
      std::move(parts), [weak, vc, completion = std::move(completion)](bool completed) mutable {
        if (auto s = weak.lock()) s->finishPresentation(vc, completed, std::move(completion));
      });
  animatorFor(vc, true)->animateTransition(context);
}

void ViewController::finishPresentation(const std::shared_ptr<ViewController>& vc, bool completed,
                                        Completion completion) {
  transitioning_ = false;
  vc->beingPresented_ = false;
  bool fullScreen = vc->presentationStyle_ == ModalPresentationStyle::kFullScreen;
  if (completed) {
    // An animator that forgot to put the view in the container.
    if (vc->container_ && !vc->view_->superview()) {
      vc->view_->setFrame(vc->container_->bounds());
      vc->container_->addSubview(vc->view_);
    }
    vc->endAppearanceTransition();
    if (fullScreen) {
      endAppearanceTransition();
      view_->removeFromSuperview();
    }
  } else {
    vc->view_->removeFromSuperview();
    if (vc->container_) vc->container_->removeFromSuperview();
    vc->container_.reset();
    presented_.reset();
    vc->presenting_.reset();
    vc->beginAppearanceTransition(false, false);
    vc->endAppearanceTransition();
    if (fullScreen) {
      beginAppearanceTransition(true, false);
      endAppearanceTransition();
    }
  }
  if (completion) completion();
  runPendingDismissal();
}

void ViewController::dismissViewController(bool animated, Completion completion) {
  if (presented_) {
    dismissPresented(animated, std::move(completion));
  } else if (auto presenter = presenting_.lock()) {
    presenter->dismissPresented(animated, std::move(completion));
  } else if (completion) {
    completion();
  }
}

void ViewController::dismissPresented(bool animated, Completion completion) {
  if (transitioning_) {
    dismissalPending_ = true;
    pendingAnimated_ = animated;
    if (completion) pendingCompletions_.push_back(std::move(completion));
    return;
  }
  if (!presented_) {
    if (completion) completion();
    return;
  }
  auto self = shared_from_this();
  auto vc = presented_;
  transitioning_ = true;
  vc->beingDismissed_ = true;
  bool custom = vc->presentationStyle_ == ModalPresentationStyle::kCustom;
  bool fullScreen = vc->presentationStyle_ == ModalPresentationStyle::kFullScreen;
  auto container = vc->container_;
  if (fullScreen && container && view_ && !view_->superview()) {
    // Back in the window, under what covered it.
    if (View* window = container->superview()) {
      const auto& siblings = window->subviews();
      auto it = std::find(siblings.begin(), siblings.end(), container);
      window->insertSubview(view_, static_cast<std::size_t>(it - siblings.begin()));
    }
  }
  TransitionContext::Parts parts;
  parts.container = container;
  parts.from = vc;
  parts.to = self;
  parts.fromView = vc->view_;
  parts.toView = custom ? nullptr : view_;
  parts.toFinalFrame = view_ ? view_->frame() : Rect{};
  parts.animated = animated;

  vc->beginAppearanceTransition(false, animated);
  if (fullScreen) beginAppearanceTransition(true, animated);
  std::weak_ptr<ViewController> weak = self;
  auto context = std::make_shared<TransitionContext>(
      std::move(parts), [weak, vc, completion = std::move(completion)](bool completed) mutable {
        if (auto s = weak.lock()) s->finishDismissal(vc, completed, std::move(completion));
      });
  animatorFor(vc, false)->animateTransition(context);
}

void ViewController::finishDismissal(const std::shared_ptr<ViewController>& vc, bool completed,
                                     Completion completion) {
  transitioning_ = false;
  vc->beingDismissed_ = false;
  bool fullScreen = vc->presentationStyle_ == ModalPresentationStyle::kFullScreen;
  if (completed) {
    if (vc->view_) vc->view_->removeFromSuperview();
    if (vc->container_) vc->container_->removeFromSuperview();
    vc->container_.reset();
    presented_.reset();
    vc->presenting_.reset();
    vc->endAppearanceTransition();
    if (fullScreen) endAppearanceTransition();
  } else {
    vc->beginAppearanceTransition(true, false);
    vc->endAppearanceTransition();
    if (fullScreen) {
      beginAppearanceTransition(false, false);
      endAppearanceTransition();
      if (view_) view_->removeFromSuperview();
    }
  }
  if (completion) completion();
  runPendingDismissal();
}

void ViewController::runPendingDismissal() {
  if (!dismissalPending_ || transitioning_) return;
  dismissalPending_ = false;
  auto completions = std::move(pendingCompletions_);
  pendingCompletions_.clear();
  dismissPresented(pendingAnimated_, [completions = std::move(completions)] {
    for (const auto& completion : completions) completion();
  });
}

}  // namespace tessarin::platform::ui

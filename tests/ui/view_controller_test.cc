// View controllers: loading, appearance, presenting and dismissing with a
// custom animator (including cancelled transitions) and with the kit's own,
// layout guides and the orientation and status-bar answers.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/animator.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {
namespace {

class LoggingViewController : public ViewController {
 public:
  explicit LoggingViewController(std::vector<std::string>* log, std::string name) : log_(log), name_(std::move(name)) {}
  int loads = 0;

 protected:
  void loadView() override {
    ++loads;
    setView(std::make_shared<View>(Rect{0, 0, 1, 1}));
    log_->push_back(name_ + ".loadView");
  }
  void viewDidLoad() override { log_->push_back(name_ + ".viewDidLoad"); }
  void viewWillAppear(bool animated) override { Log("willAppear", animated); }
  void viewDidAppear(bool animated) override { Log("didAppear", animated); }
  void viewWillDisappear(bool animated) override { Log("willDisappear", animated); }
  void viewDidDisappear(bool animated) override { Log("didDisappear", animated); }

 private:
  void Log(const char* what, bool animated) { log_->push_back(name_ + "." + what + (animated ? "(animated)" : "")); }
  std::vector<std::string>* log_;
  std::string name_;
};

// Fades the presented view in and out, as a message does; can be told to
// abandon its transitions.
class FadeAnimator : public AnimatedTransitioning {
 public:
  FadeAnimator(Animator& animator, std::vector<std::string>* log) : animator_(animator), log_(log) {}
  bool cancel = false;
  std::shared_ptr<TransitionContext> lastContext;

  double transitionDuration(const TransitionContext& context) override { return context.isAnimated() ? 0.3 : 0; }
  void animateTransition(const std::shared_ptr<TransitionContext>& context) override {
    lastContext = context;
    auto to = context->viewForKey(TransitionKey::kTo);
    auto from = context->viewForKey(TransitionKey::kFrom);
    if (!to) to = context->viewControllerForKey(TransitionKey::kTo)->view();
    if (!from) from = context->viewControllerForKey(TransitionKey::kFrom)->view();
    AnimationOptions options;
    options.duration = transitionDuration(*context);
    if (cancel) context->cancelInteractiveTransition();
    bool presenting = !to->superview();
    log_->push_back(presenting ? "animator.present" : "animator.dismiss");
    std::shared_ptr<View> fading;
    double target;
    if (presenting) {
      context->containerView()->addSubview(to);
      to->setFrame(context->finalFrameForViewController(context->viewControllerForKey(TransitionKey::kTo).get()));
      to->setAlpha(0);
      fading = to;
      target = 1;
    } else {
      fading = from;
      target = 0;
    }
    animator_.animate(options, {PropertyAnimation::alpha(fading, target)}, [context, from, presenting](bool) {
      bool ok = !context->transitionWasCancelled();
      if (!ok && presenting) context->viewForKey(TransitionKey::kTo)->removeFromSuperview();
      context->completeTransition(ok);
    });
  }

 private:
  Animator& animator_;
  std::vector<std::string>* log_;
};

class MessageViewController : public LoggingViewController, public TransitioningDelegate {
 public:
  MessageViewController(std::vector<std::string>* log, std::shared_ptr<FadeAnimator> animator)
      : LoggingViewController(log, "message"), animator_(std::move(animator)) {
    setModalPresentationStyle(ModalPresentationStyle::kCustom);
    setTransitioningDelegate(this);
  }
  std::shared_ptr<AnimatedTransitioning> animationControllerForPresented(const std::shared_ptr<ViewController>&,
                                                                         const std::shared_ptr<ViewController>&,
                                                                         const std::shared_ptr<ViewController>&) override {
    return animator_;
  }
  std::shared_ptr<AnimatedTransitioning> animationControllerForDismissed(const std::shared_ptr<ViewController>&) override {
    return animator_;
  }

 private:
  std::shared_ptr<FadeAnimator> animator_;
};

class ViewControllerTest : public testing::Test {
 protected:
  void SetUp() override {
    window_ = std::make_shared<Window>(screen_);
    root_ = std::make_shared<LoggingViewController>(&log_, "root");
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
    animator_ = std::make_shared<FadeAnimator>(env_.animator(), &log_);
    message_ = std::make_shared<MessageViewController>(&log_, animator_);
    log_.clear();
  }
  // The context holds both view controllers, and the message holds the
  // animator that kept the context for the test to look at.
  void TearDown() override { animator_->lastContext.reset(); }

  sim::SimPlatform sim_;
  UIEnvironment env_{sim_};
  Screen screen_{env_, {375, 667}, 2};
  std::vector<std::string> log_;
  std::shared_ptr<Window> window_;
  std::shared_ptr<LoggingViewController> root_;
  std::shared_ptr<FadeAnimator> animator_;
  std::shared_ptr<MessageViewController> message_;
};

TEST_F(ViewControllerTest, TheViewLoadsOnceOnFirstUse) {
  std::vector<std::string> log;
  auto vc = std::make_shared<LoggingViewController>(&log, "vc");
  EXPECT_FALSE(vc->isViewLoaded());
  EXPECT_EQ(vc->viewIfLoaded(), nullptr);
  EXPECT_EQ(vc->viewWindow(), nullptr);
  auto view = vc->view();
  EXPECT_EQ(vc->view(), view);
  EXPECT_EQ(vc->loads, 1);
  EXPECT_EQ(log, (std::vector<std::string>{"vc.loadView", "vc.viewDidLoad"}));
  EXPECT_EQ(view->viewController(), vc.get());
}

TEST_F(ViewControllerTest, CustomPresentationAppearsWhenTheAnimatorCompletes) {
  int completions = 0;
  root_->presentViewController(message_, true, [&] { ++completions; });
  EXPECT_EQ(log_, (std::vector<std::string>{"message.loadView", "message.viewDidLoad", "message.willAppear(animated)",
                                            "animator.present"}));
  EXPECT_TRUE(message_->isBeingPresented());
  EXPECT_EQ(root_->presentedViewController(), message_);
  EXPECT_EQ(message_->presentingViewController(), root_);

  auto& context = *animator_->lastContext;
  EXPECT_TRUE(context.isAnimated());
  EXPECT_EQ(context.viewForKey(TransitionKey::kFrom), nullptr);  // the root's view stays put
  EXPECT_EQ(context.viewForKey(TransitionKey::kTo), message_->view());
  EXPECT_EQ(context.viewControllerForKey(TransitionKey::kFrom), root_);
  EXPECT_EQ(context.containerView()->window(), window_.get());
  EXPECT_EQ(context.containerView()->frame(), window_->bounds());
  EXPECT_EQ(context.finalFrameForViewController(message_.get()), window_->bounds());

  sim_.advance(0.15);
  EXPECT_EQ(completions, 0);
  EXPECT_GT(message_->view()->alpha(), 0.3);
  sim_.advance(0.2);
  EXPECT_EQ(completions, 1);
  EXPECT_FALSE(message_->isBeingPresented());
  EXPECT_EQ(log_.back(), "message.didAppear(animated)");
  EXPECT_EQ(message_->viewWindow(), window_.get());
  EXPECT_TRUE(root_->isAppeared());  // a custom presentation covers nothing

  // One presentation at a time.
  auto other = std::make_shared<MessageViewController>(&log_, animator_);
  root_->presentViewController(other, false);
  EXPECT_EQ(root_->presentedViewController(), message_);
  EXPECT_EQ(other->presentingViewController(), nullptr);

  log_.clear();
  message_->dismissViewController(true, [&] { ++completions; });
  EXPECT_EQ(log_, (std::vector<std::string>{"message.willDisappear(animated)", "animator.dismiss"}));
  EXPECT_EQ(animator_->lastContext->viewForKey(TransitionKey::kFrom), message_->view());
  EXPECT_EQ(animator_->lastContext->viewForKey(TransitionKey::kTo), nullptr);
  EXPECT_TRUE(message_->isBeingDismissed());
  sim_.advance(0.35);
  EXPECT_EQ(completions, 2);
  EXPECT_EQ(log_.back(), "message.didDisappear(animated)");
  EXPECT_EQ(root_->presentedViewController(), nullptr);
  EXPECT_EQ(message_->presentingViewController(), nullptr);
  EXPECT_EQ(message_->view()->superview(), nullptr);
  // Only the root's view is left in the window: the container went too.
  EXPECT_EQ(window_->subviews(), (std::vector<std::shared_ptr<View>>{root_->view()}));
}

TEST_F(ViewControllerTest, WithoutAnimationTheAnimatorHearsSoAndTheCallbacksSayNotAnimated) {
  root_->presentViewController(message_, false);
  EXPECT_FALSE(animator_->lastContext->isAnimated());
  sim_.runUntilIdle();  // a zero-length animation completes on the main queue
  EXPECT_EQ(log_.back(), "message.didAppear");
  root_->dismissViewController(false);
  sim_.runUntilIdle();
  EXPECT_EQ(log_.back(), "message.didDisappear");
  EXPECT_EQ(root_->presentedViewController(), nullptr);
}

TEST_F(ViewControllerTest, ACancelledPresentationUndoesItselfAndBalancesTheAppearance) {
  animator_->cancel = true;
  int completions = 0;
  root_->presentViewController(message_, true, [&] { ++completions; });
  sim_.advance(0.4);
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(log_, (std::vector<std::string>{"message.loadView", "message.viewDidLoad", "message.willAppear(animated)",
                                            "animator.present", "message.willDisappear", "message.didDisappear"}));
  EXPECT_TRUE(animator_->lastContext->transitionWasCancelled());
  EXPECT_EQ(root_->presentedViewController(), nullptr);
  EXPECT_EQ(message_->presentingViewController(), nullptr);
  EXPECT_EQ(window_->subviews(), (std::vector<std::shared_ptr<View>>{root_->view()}));
  // And a later presentation works.
  animator_->cancel = false;
  root_->presentViewController(message_, true);
  sim_.advance(0.4);
  EXPECT_EQ(root_->presentedViewController(), message_);
}

TEST_F(ViewControllerTest, ACancelledDismissalLeavesThePresentedViewControllerShown) {
  root_->presentViewController(message_, false);
  sim_.runUntilIdle();
  log_.clear();
  animator_->cancel = true;
  root_->dismissViewController(true);
  sim_.advance(0.4);
  EXPECT_EQ(log_, (std::vector<std::string>{"message.willDisappear(animated)", "animator.dismiss",
                                            "message.willAppear", "message.didAppear"}));
  EXPECT_EQ(root_->presentedViewController(), message_);
  EXPECT_EQ(message_->view()->window(), window_.get());
}

TEST_F(ViewControllerTest, ADismissalAskedForDuringThePresentationWaitsForIt) {
  root_->presentViewController(message_, true);
  int dismissed = 0;
  // What a newer message does to the one still fading in.
  env_.animator().removeAnimations(message_->view().get());
  root_->dismissViewController(false, [&] { ++dismissed; });
  EXPECT_EQ(root_->presentedViewController(), message_);
  sim_.runUntilIdle();
  EXPECT_EQ(dismissed, 1);
  EXPECT_EQ(root_->presentedViewController(), nullptr);
  EXPECT_EQ(log_.back(), "message.didDisappear");
  EXPECT_NE(std::find(log_.begin(), log_.end(), "message.didAppear(animated)"), log_.end());
}

TEST_F(ViewControllerTest, FullScreenPresentationsCoverThePresenterAndGiveItBack) {
  auto sheet = std::make_shared<LoggingViewController>(&log_, "sheet");
  root_->presentViewController(sheet, true);
  EXPECT_EQ(sheet->view()->frame().y, 667);  // slides up from below
  sim_.advance(0.35);
  EXPECT_EQ(sheet->view()->frame(), window_->bounds());
  EXPECT_EQ(root_->view()->superview(), nullptr);
  EXPECT_EQ(log_, (std::vector<std::string>{"sheet.loadView", "sheet.viewDidLoad", "sheet.willAppear(animated)",
                                            "root.willDisappear(animated)", "sheet.didAppear(animated)",
                                            "root.didDisappear(animated)"}));
  log_.clear();
  sheet->dismissViewController(true);
  EXPECT_EQ(root_->view()->superview(), window_.get());  // back under the sheet
  sim_.advance(0.35);
  EXPECT_EQ(log_, (std::vector<std::string>{"sheet.willDisappear(animated)", "root.willAppear(animated)",
                                            "sheet.didDisappear(animated)", "root.didAppear(animated)"}));
  EXPECT_EQ(window_->subviews(), (std::vector<std::shared_ptr<View>>{root_->view()}));
}

TEST_F(ViewControllerTest, LayoutGuidesMarkTheScreensSafeStripsOnceLaidOut) {
  Screen notched(env_, {375, 812}, 3);
  notched.setSafeAreaInsets({44, 0, 34, 0});
  auto window = std::make_shared<Window>(notched);
  auto vc = std::make_shared<ViewController>();
  window->setRootViewController(vc);
  window->makeKeyAndVisible();
  window->layoutIfNeeded();
  EXPECT_TRUE(vc->topLayoutGuide()->isLayoutGuide());
  EXPECT_EQ(vc->topLayoutGuide()->layoutParent(), vc->view().get());
  EXPECT_EQ(vc->topLayoutGuide()->layoutFrame(), (Rect{0, 0, 375, 44}));
  EXPECT_EQ(vc->bottomLayoutGuide()->layoutFrame(), (Rect{0, 778, 375, 34}));
}

TEST_F(ViewControllerTest, OrientationAndStatusBarAnswersAreOverridable) {
  EXPECT_EQ(root_->supportedInterfaceOrientations(), kInterfaceOrientationMaskAllButUpsideDown);
  EXPECT_EQ(kInterfaceOrientationMaskAll, 30);
  EXPECT_TRUE(root_->shouldAutorotate());
  EXPECT_EQ(root_->preferredStatusBarStyle(), StatusBarStyle::kDefault);
  EXPECT_FALSE(root_->prefersStatusBarHidden());
  struct Follower : ViewController {
    std::shared_ptr<ViewController> reference;
    int supportedInterfaceOrientations() const override { return reference->supportedInterfaceOrientations(); }
    bool prefersStatusBarHidden() const override { return true; }
    StatusBarStyle preferredStatusBarStyle() const override { return StatusBarStyle::kLightContent; }
  };
  struct Portrait : ViewController {
    int supportedInterfaceOrientations() const override { return kInterfaceOrientationMaskPortrait; }
  };
  auto follower = std::make_shared<Follower>();
  follower->reference = std::make_shared<Portrait>();
  const ViewController& asBase = *follower;
  EXPECT_EQ(asBase.supportedInterfaceOrientations(), kInterfaceOrientationMaskPortrait);
  EXPECT_TRUE(asBase.prefersStatusBarHidden());
  EXPECT_EQ(asBase.preferredStatusBarStyle(), StatusBarStyle::kLightContent);
}

}  // namespace
}  // namespace tessarin::platform::ui

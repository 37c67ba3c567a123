// A view controller: owns a view that it loads on demand, hears when the
// view appears and disappears, presents other view controllers over it
// (modally, with the kit's transition or a custom one) and answers what
// the window should do with orientation and the status bar.
//
// Appearance: a window's root view controller appears when the window is
// shown and disappears when it is hidden; a presented one appears with its
// presentation (will-appear before the transition, did-appear when it
// completes) and disappears with its dismissal. A cancelled transition
// balances the calls it began (will-appear is followed by will-disappear
// and did-disappear).
//
// One presentation at a time per view controller: presenting while one is
// shown or under way does nothing. A dismissal asked for while a transition
// is under way waits for it to finish. Completions run whether or not the
// transition completed.
//
// View controllers are shared objects (std::make_shared). Main thread only.
#ifndef TESSARIN_PLATFORM_UI_VIEW_CONTROLLER_H_
#define TESSARIN_PLATFORM_UI_VIEW_CONTROLLER_H_

#include <functional>
#include <memory>
#include <vector>

#include "platform/ui/layout_guide.h"
#include "platform/ui/view.h"
#include "platform/ui/view_transition.h"

namespace tessarin::platform::ui {

class Window;

// Bits as the reference platform numbers them (all = 30).
enum InterfaceOrientationMask : int {
  kInterfaceOrientationMaskPortrait = 1 << 1,
  kInterfaceOrientationMaskPortraitUpsideDown = 1 << 2,
  kInterfaceOrientationMaskLandscapeRight = 1 << 3,
  kInterfaceOrientationMaskLandscapeLeft = 1 << 4,
  kInterfaceOrientationMaskLandscape = (1 << 3) | (1 << 4),
  kInterfaceOrientationMaskAll = (1 << 1) | (1 << 2) | (1 << 3) | (1 << 4),
  kInterfaceOrientationMaskAllButUpsideDown = (1 << 1) | (1 << 3) | (1 << 4),
};

enum class StatusBarStyle { kDefault = 0, kLightContent = 1, kDarkContent = 3 };

enum class ModalPresentationStyle {
  kFullScreen,      // the presenting view leaves the window while covered
  kOverFullScreen,  // the presenting view stays underneath
  kCustom,          // stays underneath; the transitioning delegate animates
};

class ViewController : public std::enable_shared_from_this<ViewController> {
 public:
  using Completion = std::function<void()>;

  ViewController();
  virtual ~ViewController();
  ViewController(const ViewController&) = delete;
  ViewController& operator=(const ViewController&) = delete;

  virtual const char* typeName() const { return "ViewController"; }

  // The view, loaded on first use: loadView, then viewDidLoad.
  const std::shared_ptr<View>& view();
  bool isViewLoaded() const { return view_ != nullptr; }
  const std::shared_ptr<View>& viewIfLoaded() const { return view_; }
  // The window the view is in; null while it is in none or not loaded.
  Window* viewWindow() const;

  // Presentation.
  void presentViewController(std::shared_ptr<ViewController> vc, bool animated, Completion completion = nullptr);
  // Dismisses what this view controller presents, or, when it presents
  // nothing, itself from its presenter.
  void dismissViewController(bool animated, Completion completion = nullptr);
  const std::shared_ptr<ViewController>& presentedViewController() const { return presented_; }
  std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }
  bool isBeingPresented() const { return beingPresented_; }
  bool isBeingDismissed() const { return beingDismissed_; }
  ModalPresentationStyle modalPresentationStyle() const { return presentationStyle_; }
  void setModalPresentationStyle(ModalPresentationStyle style) { presentationStyle_ = style; }
  // Asked for the animator when this view controller is presented or
  // dismissed with the custom style. Not kept alive: it must outlive its use
  // (a view controller that is its own delegate passes `this`).
  TransitioningDelegate* transitioningDelegate() const { return transitioningDelegate_; }
  void setTransitioningDelegate(TransitioningDelegate* delegate) { transitioningDelegate_ = delegate; }

  // Layout guides: the strips at the top (status bar) and bottom of the
  // view that content should stay clear of, as long as the screen's safe
  // area insets.
  const std::shared_ptr<LayoutGuide>& topLayoutGuide();
  const std::shared_ptr<LayoutGuide>& bottomLayoutGuide();

  // What the window asks; subclasses answer for their content.
  virtual int supportedInterfaceOrientations() const { return kInterfaceOrientationMaskAllButUpsideDown; }
  virtual bool shouldAutorotate() const { return true; }
  virtual StatusBarStyle preferredStatusBarStyle() const { return StatusBarStyle::kDefault; }
  virtual bool prefersStatusBarHidden() const { return false; }

  // Appearance as containers and windows drive it: begin says the view is
  // about to appear (or disappear), end that it has. Unbalanced or repeated
  // calls do nothing.
  void beginAppearanceTransition(bool appearing, bool animated);
  void endAppearanceTransition();
  bool isAppeared() const { return appearance_ == Appearance::kAppeared; }

 protected:
  // Makes the view; the default is a plain view. An override calls setView.
  virtual void loadView();
  void setView(std::shared_ptr<View> view);
  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool animated) { (void)animated; }
  virtual void viewDidAppear(bool animated) { (void)animated; }
  virtual void viewWillDisappear(bool animated) { (void)animated; }
  virtual void viewDidDisappear(bool animated) { (void)animated; }

 private:
  enum class Appearance { kDisappeared, kAppearing, kAppeared, kDisappearing };
  std::shared_ptr<AnimatedTransitioning> animatorFor(const std::shared_ptr<ViewController>& presented,
                                                     bool presenting);
  void finishPresentation(const std::shared_ptr<ViewController>& presented, bool completed, Completion completion);
  void dismissPresented(bool animated, Completion completion);
  void finishDismissal(const std::shared_ptr<ViewController>& presented, bool completed, Completion completion);
  void updateLayoutGuides(Window* window);
  void runPendingDismissal();

  std::shared_ptr<View> view_;
  std::shared_ptr<ViewController> presented_;
  std::weak_ptr<ViewController> presenting_;
  std::shared_ptr<View> container_;  // while presented: where the view is
  ModalPresentationStyle presentationStyle_ = ModalPresentationStyle::kFullScreen;
  TransitioningDelegate* transitioningDelegate_ = nullptr;
  bool beingPresented_ = false;
  bool beingDismissed_ = false;
  bool transitioning_ = false;  // of what this one presents
  // A dismissal asked for during a transition.
  bool dismissalPending_ = false;
  bool pendingAnimated_ = false;
  std::vector<Completion> pendingCompletions_;
  Appearance appearance_ = Appearance::kDisappeared;
  bool appearanceAnimated_ = false;
  std::shared_ptr<LayoutGuide> topGuide_;
  std::shared_ptr<LayoutGuide> bottomGuide_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_VIEW_CONTROLLER_H_

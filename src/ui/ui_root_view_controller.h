// TSRUIRootVC: the overlay window's transparent root view controller, over
// which messages are presented. It answers orientation and status-bar
// questions as the app's own window does ("top": its topmost presented
// view controller, "root": its root), so that the overlay never changes the
// app's appearance.
//
// Main thread only.
#ifndef TESSARIN_UI_UI_ROOT_VIEW_CONTROLLER_H_
#define TESSARIN_UI_UI_ROOT_VIEW_CONTROLLER_H_

#include <memory>
#include <string>

#include "platform/ui/view_controller.h"

namespace tessarin {

class Environment;

class TSRUIRootVC : public platform::ui::ViewController {
 public:
  explicit TSRUIRootVC(std::shared_ptr<Environment> environment);

  const char* typeName() const override { return "TSRUIRootVC"; }

  bool isAttachedToWindow() const { return attachedToWindow_; }
  const std::string& statusBarRef() const { return statusBarRef_; }
  const std::string& orientationRef() const { return orientationRef_; }

  int supportedInterfaceOrientations() const override;
  bool shouldAutorotate() const override;
  platform::ui::StatusBarStyle preferredStatusBarStyle() const override;
  bool prefersStatusBarHidden() const override;

 protected:
  void viewDidLoad() override;
  void viewDidAppear(bool animated) override;

 private:
  // The app's view controller a reference names, in the app's first normal
  // window; null when there is none (or the reference names neither).
  platform::ui::ViewController* referencedViewController(const std::string& reference) const;

  // The first appearance, reported on the main queue's next turn.
  void attach();

  std::shared_ptr<Environment> environment_;
  bool attachedToWindow_ = false;
  bool attachPending_ = false;
  std::string statusBarRef_;
  std::string orientationRef_;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_UI_ROOT_VIEW_CONTROLLER_H_

// TSRUIWindow: the SDK's overlay window for in-app messages. It floats
// above the app's windows, presents at most one message on its transparent
// root view controller (a newer message replaces the shown or waiting one),
// lets every touch that misses the message's panel fall through to the app,
// and is released a short while after it has nothing left to show.
//
// Main thread only.
#ifndef TESSARIN_UI_UI_WINDOW_H_
#define TESSARIN_UI_UI_WINDOW_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/notification_center.h"
#include "platform/ui/window.h"

namespace tessarin {

class Environment;
class TSRUIManager;
class TSRUIMessageViewController;

class TSRUIWindow : public platform::ui::Window {
 public:
  // How long an empty, hidden window is kept for a message that may follow.
  static constexpr double kRemovalDelay = 2.0;

  // A hidden window covering `screen`, with its root view controller, at
  // the level the configuration's "windowLevel" names.
  static std::shared_ptr<TSRUIWindow> initWithUIManager(const std::shared_ptr<TSRUIManager>& manager,
                                                        std::shared_ptr<Environment> environment,
                                                        platform::ui::Screen& screen);
  ~TSRUIWindow() override;

  const char* typeName() const override { return "TSRUIWindow"; }

  // The level a configuration value names: "normal", "alert" or
  // "statusbar" (any case, blanks ignored) with an optional offset, as in
  // "alert+5"; anything else, an offset of zero included, is alert − 1.
  static double windowLevelFromString(const std::optional<std::string>& string);

  bool isActive() const { return active_; }
  void setActive(bool active);
  void updateIfActive();
  void showMessage(const std::shared_ptr<TSRUIMessageViewController>& message);
  void hide();
  void hideIfNoContent();
  void hideAllAnimated(bool animated);

  bool hasContent() const;
  std::shared_ptr<TSRUIMessageViewController> newestMessage() const;
  const std::shared_ptr<TSRUIMessageViewController>& queuedMessageVC() const { return queuedMessageVC_; }
  std::shared_ptr<TSRUIManager> uiManager() const { return weakUIManager_.lock(); }

  platform::ui::View* hitTest(platform::ui::Point point) override;

 private:
  TSRUIWindow(platform::ui::Screen& screen, std::shared_ptr<Environment> environment);
  std::shared_ptr<TSRUIMessageViewController> presentedMessage() const;

  std::shared_ptr<Environment> environment_;
  bool active_ = false;
  std::weak_ptr<TSRUIManager> weakUIManager_;
  std::vector<platform::ObserverToken> notificationObjects_;
  std::shared_ptr<TSRUIMessageViewController> queuedMessageVC_;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_UI_WINDOW_H_

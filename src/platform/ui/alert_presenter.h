// The SDK's alerts drawn by the kit, for hosts whose only windows are the
// kit's (the Linux host's overlay): each alert is a window at the alert
// level over the whole screen, dimmed, with the alert's panel centred in
// it. The window is modal: it takes every touch on the screen while the
// alert is up, so nothing beneath it hears them; once the alert is
// dismissed the touches go through again, even while it fades out.
//
// Tapping a button dismisses the alert with that button's index; code
// dismisses it with -1. didDismiss runs once: after the fade when animated,
// before dismiss returns when not. A second alert shown while one is up is
// stacked above it.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_ALERT_PRESENTER_H_
#define TESSARIN_PLATFORM_UI_ALERT_PRESENTER_H_

#include <memory>
#include <string>
#include <vector>

#include "platform/alert.h"
#include "platform/ui/alert_view.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

class Screen;

class KitAlert : public Alert, public std::enable_shared_from_this<KitAlert> {
 public:
  bool visible() const override { return visible_; }
  void dismiss(bool animated) override { finish(-1, animated); }
  void replaceActivityIndicatorWithText(const std::string& text) override;

  // The alert's window and panel, until the alert has gone from the screen.
  const std::shared_ptr<Window>& window() const { return window_; }
  const std::shared_ptr<AlertView>& alertView() const { return view_; }

 private:
  friend class KitAlertPresenter;
  using Registry = std::vector<std::shared_ptr<KitAlert>>;

  explicit KitAlert(AlertRequest request) : request_(std::move(request)) {}
  void present(Screen& screen, std::weak_ptr<Registry> registry);
  void finish(int index, bool animated);
  void remove(int index);

  AlertRequest request_;
  std::shared_ptr<Window> window_;
  std::shared_ptr<AlertView> view_;
  // The presenter's alerts that are up; this one leaves it when it goes.
  std::weak_ptr<Registry> registry_;
  bool visible_ = false;
};

class KitAlertPresenter : public AlertPresenter {
 public:
  static constexpr double kFadeDuration = 0.2;

  // Alerts appear on `screen`, whose environment's animator fades them and
  // turns their spinners. The screen must outlive the presenter.
  explicit KitAlertPresenter(Screen& screen);
  // Alerts still up go with the presenter, as if code dismissed them
  // without animation.
  ~KitAlertPresenter() override;
  KitAlertPresenter(const KitAlertPresenter&) = delete;
  KitAlertPresenter& operator=(const KitAlertPresenter&) = delete;

  // The alert stays up, held here, until it is dismissed: the SDK may hold
  // it weakly meanwhile.
  std::shared_ptr<Alert> show(AlertRequest request) override;
  // The alerts up, bottom first.
  std::vector<std::shared_ptr<KitAlert>> visibleAlerts() const { return *shown_; }

 private:
  Screen& screen_;
  std::shared_ptr<KitAlert::Registry> shown_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_ALERT_PRESENTER_H_

// The simulated host's alerts: shown alerts are recorded so that a test
// can read what the person on the device would have seen, and tap buttons.
#ifndef TESSARIN_PLATFORM_SIM_SIM_ALERTS_H_
#define TESSARIN_PLATFORM_SIM_SIM_ALERTS_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/alert.h"

namespace tessarin::platform::sim {

class SimAlert : public Alert {
 public:
  explicit SimAlert(AlertRequest request) : request_(std::move(request)) {}

  bool visible() const override { return visible_; }
  void dismiss(bool animated) override { Dismiss(-1, animated); }
  void replaceActivityIndicatorWithText(const std::string& text) override {
    if (request_.activityIndicator) indicator_text_ = text;
  }

  const AlertRequest& request() const { return request_; }
  // How the alert went away: nothing while visible, else whether animated.
  std::optional<bool> dismissedAnimated() const { return dismissed_animated_; }
  // What replaced the activity indicator, if anything did.
  const std::optional<std::string>& indicatorText() const { return indicator_text_; }
  // The person taps a button: the alert goes away with that index.
  void tapButton(int index) { Dismiss(index, true); }

 private:
  void Dismiss(int index, bool animated);

  AlertRequest request_;
  bool visible_ = true;
  std::optional<bool> dismissed_animated_;
  std::optional<std::string> indicator_text_;
};

class SimAlertPresenter : public AlertPresenter {
 public:
  std::shared_ptr<Alert> show(AlertRequest request) override;
  // Every alert shown, oldest first.
  const std::vector<std::shared_ptr<SimAlert>>& shown() const { return shown_; }
  // The alerts still visible.
  std::vector<std::shared_ptr<SimAlert>> visible() const;

 private:
  std::vector<std::shared_ptr<SimAlert>> shown_;
};

}  // namespace tessarin::platform::sim

#endif  // TESSARIN_PLATFORM_SIM_SIM_ALERTS_H_

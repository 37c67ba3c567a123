// Alerts the SDK shows to the person testing or designing campaigns on the
// device: a short message, buttons, and optionally an activity indicator
// while something is under way.
#ifndef TESSARIN_PLATFORM_ALERT_H_
#define TESSARIN_PLATFORM_ALERT_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessarin::platform {

struct AlertRequest {
  std::string title;
  std::string message;
  // In the order shown; the first is the cancel button when there are two.
  std::vector<std::string> buttons;
  bool activityIndicator = false;
  // Called on the main thread once the alert is gone, with the index of
  // the button that dismissed it (-1 when code dismissed it).
  std::function<void(int buttonIndex)> didDismiss;
};

// One alert on screen. Main thread only.
class Alert {
 public:
  virtual ~Alert() = default;
  virtual bool visible() const = 0;
  // Removes the alert; nothing when it is gone already.
  virtual void dismiss(bool animated) = 0;
  // Shows `text` in a small centred label where the activity indicator was,
  // the moment the work it stood for has finished; nothing for an alert
  // without one.
  virtual void replaceActivityIndicatorWithText(const std::string& text) = 0;
};

class AlertPresenter {
 public:
  virtual ~AlertPresenter() = default;
  // Shows the alert over the application's windows; null when it cannot be
  // shown. Main thread only.
  virtual std::shared_ptr<Alert> show(AlertRequest request) = 0;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_ALERT_H_

#include "platform/sim/sim_alerts.h"

namespace tessarin::platform::sim {

void SimAlert::Dismiss(int index, bool animated) {
  if (!visible_) return;
  visible_ = false;
  dismissed_animated_ = animated;
  // The delegate may drop the last reference to this alert.
  auto did_dismiss = request_.didDismiss;
  if (did_dismiss) did_dismiss(index);
}

std::shared_ptr<Alert> SimAlertPresenter::show(AlertRequest request) {
  auto alert = std::make_shared<SimAlert>(std::move(request));
  shown_.push_back(alert);
  return alert;
}

std::vector<std::shared_ptr<SimAlert>> SimAlertPresenter::visible() const {
  std::vector<std::shared_ptr<SimAlert>> result;
  for (const auto& alert : shown_) {
    if (alert->visible()) result.push_back(alert);
  }
  return result;
}

}  // namespace tessarin::platform::sim

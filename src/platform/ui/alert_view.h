// The panel of an alert: a rounded, 270-point-wide box with a semibold
// title, a wrapping message, optionally an accessory in a 20 x 20 point
// place under the message (a spinner, or the short text that replaced it),
// and a row of buttons under a hairline: two side by side (the first on
// the left), one across the whole width, more stacked.
//
// The panel sizes itself to its content; a message too long for the height
// it is given ends in an ellipsis, so that the buttons stay on the screen.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_ALERT_VIEW_H_
#define TESSARIN_PLATFORM_UI_ALERT_VIEW_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/activity_indicator_view.h"
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

class UIEnvironment;

struct AlertContent {
  std::string title;
  std::string message;
  std::vector<std::string> buttons;
  bool activityIndicator = false;
};

class AlertView : public View {
 public:
  static constexpr double kWidth = 270;
  static constexpr double kButtonHeight = 44;
  static constexpr double kAccessorySize = ActivityIndicatorView::kSize;

  // Text in the environment's fonts for the reader's text size.
  AlertView(const UIEnvironment& environment, AlertContent content);
  const char* typeName() const override { return "AlertView"; }

  const std::shared_ptr<Label>& titleLabel() const { return title_; }
  const std::shared_ptr<Label>& messageLabel() const { return message_; }
  // In the order given, so a button's index is its place in the content.
  const std::vector<std::shared_ptr<Button>>& buttons() const { return buttons_; }
  // The spinner while it is shown: null without one, or once replaced.
  const std::shared_ptr<ActivityIndicatorView>& activityIndicator() const { return indicator_; }
  // The label that took the spinner's place, if one did.
  const std::shared_ptr<Label>& accessoryLabel() const { return accessoryLabel_; }

  // Runs with the index of a button the person tapped.
  void setButtonHandler(std::function<void(int index)> handler) { handler_ = std::move(handler); }

  // Stops and removes the spinner and shows `text` centred in its place;
  // a second call changes the text. Nothing for a panel without a spinner.
  void replaceActivityIndicatorWithText(std::string text);

  // Sizes the panel to its content for at most `maxHeight` points of
  // height, and answers the size.
  Size fitToHeight(double maxHeight);

  void layoutSubviews() override;

 private:
  struct Placement;
  Placement place() const;
  std::shared_ptr<View> makeSeparator();

  std::shared_ptr<Label> title_;
  std::shared_ptr<Label> message_;
  std::vector<std::shared_ptr<Button>> buttons_;
  std::vector<std::shared_ptr<View>> separators_;
  std::shared_ptr<ActivityIndicatorView> indicator_;
  std::shared_ptr<Label> accessoryLabel_;
  bool hasAccessory_ = false;
  Font accessoryFont_;
  double maxHeight_ = 0;  // 0: unlimited
  std::function<void(int)> handler_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_ALERT_VIEW_H_

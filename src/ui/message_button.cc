#include "ui/message_button.h"

#include "base/log.h"
#include "ui/message_action.h"
#include "ui/message_data.h"
#include "ui/message_view_controller.h"

namespace tessarin {

namespace kit = platform::ui;

std::shared_ptr<TSRUIMessageButton> TSRUIMessageButton::initWithJSON(
    const Json* json, const std::shared_ptr<TSRUIMessageViewController>& parentVC, const std::string& logName) {
  if (!json || !json->is_object() || !parentVC) {
    TSR_LOG_WARN("UI: InAppMessage Button %@ requires JSON and parentVC", logName);
    return nullptr;
  }
  kit::TextStyle style = kit::TextStyle::kBody;
  auto label = parentVC->labelFromJSON(*json, 1, kit::TextStyle::kBody, &style);
  if (!label) {
    TSR_LOG_WARN("UI: InAppMessage Button %@ requires text", logName);
    return nullptr;
  }

  auto button = std::make_shared<TSRUIMessageButton>();
  button->parent_ = parentVC;
  button->textStyle_ = style;
  const auto& title = button->titleLabel();
  title->setFont(label->font());
  title->setTextColor(label->textColor());
  title->setText(label->text());
  title->setNumberOfLines(label->numberOfLines());
  title->setTruncatesTail(label->truncatesTail());
  title->setTextAlignment(label->textAlignment());

  button->setBackgroundColor(message_data::Color(*json, "backgroundColor").value_or(kit::Color::clear()));
  button->setCornerRadius(std::max(0.0, message_data::Number(*json, "cornerRadius").value_or(10.0)));
  button->setBorderColor(message_data::Color(*json, "borderColor").value_or(kit::Color::black()));
  button->setBorderWidth(std::max(0.0, message_data::Number(*json, "borderWidth").value_or(0.0)));
  double vertical = message_data::Number(*json, "paddingVertical").value_or(0.0);
  double horizontal = message_data::Number(*json, "paddingHorizontal").value_or(10.0);
  button->setContentEdgeInsets({vertical, horizontal, vertical, horizontal});

  static const Json& kNoAction = *new Json(Json::object());  // never destroyed: threads may outlive exit
  const Json* tap = message_data::Dictionary(*json, "tap");
  button->tapAction_ = TSRUIMessageAction::initWithJSON(tap ? tap : &kNoAction, parentVC, FormatLogMessage("%@-tap", {LogArg(logName)}));
  if (!button->tapAction_) {
    TSR_LOG_WARN("UI: InAppMessage Button %@ has no action", logName);
    return nullptr;
  }
  std::weak_ptr<TSRUIMessageAction> action = button->tapAction_;
  button->addTarget(kit::ControlEvent::kTouchUpInside, [action](kit::Button& sender) {
    if (auto a = action.lock()) a->runActionBlock(&sender);
  });
  return button;
}

void TSRUIMessageButton::updatePreferredFont() {
  auto parent = parent_.lock();
  if (!parent) return;
  titleLabel()->setFont(parent->preferredFontForTextStyle(textStyle_));
  invalidateIntrinsicContentSize();
}

}  // namespace tessarin

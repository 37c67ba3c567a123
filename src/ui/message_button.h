// TSRUIMessageButton: a button of an in-app message, styled from its
// dictionary in the message data, that runs its action when the finger
// lifts over it.
//
// Main thread only.
#ifndef TESSARIN_UI_MESSAGE_BUTTON_H_
#define TESSARIN_UI_MESSAGE_BUTTON_H_

#include <memory>
#include <string>

#include "platform/ui/button.h"
#include "platform/ui/text_style.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRUIMessageAction;
class TSRUIMessageViewController;

class TSRUIMessageButton : public platform::ui::Button {
 public:
  // Null (logged) without JSON or parent, without text, or when its action
  // cannot be made.
  static std::shared_ptr<TSRUIMessageButton> initWithJSON(const Json* json,
                                                         const std::shared_ptr<TSRUIMessageViewController>& parentVC,
                                                         const std::string& logName);

  const char* typeName() const override { return "TSRUIMessageButton"; }

  platform::ui::TextStyle textStyle() const { return textStyle_; }
  const std::shared_ptr<TSRUIMessageAction>& tapAction() const { return tapAction_; }
  // The reader's text size changed: the title takes the style's new font.
  void updatePreferredFont();

 private:
  platform::ui::TextStyle textStyle_ = platform::ui::TextStyle::kBody;
  std::shared_ptr<TSRUIMessageAction> tapAction_;
  std::weak_ptr<TSRUIMessageViewController> parent_;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_MESSAGE_BUTTON_H_

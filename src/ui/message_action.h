// TSRUIMessageAction: what a button, a tap on the panel or a swipe of an
// in-app message does. One action can track a click-through and a
// dismissal, hide the message, track a named action and open a link, in
// that fixed order: the statistics leave before the message goes, and the
// link, which may take the user out of the app, is opened last.
//
// An empty action dictionary hides the message and tracks a dismissal:
// every way of touching a message closes it unless the data says otherwise.
//
// Main thread only.
#ifndef TESSARIN_UI_MESSAGE_ACTION_H_
#define TESSARIN_UI_MESSAGE_ACTION_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tessarin/json.h"

namespace tessarin {

class TSRUIMessageViewController;

class TSRUIMessageAction : public std::enable_shared_from_this<TSRUIMessageAction> {
 public:
  // Takes whatever sent the action (a button, a gesture recognizer); unused
  // by the action itself.
  using ActionBlock = std::function<void(const void* sender)>;

  // Null (logged) without JSON. The block holds the action and the parent
  // weakly, so a late touch after the message went does nothing.
  static std::shared_ptr<TSRUIMessageAction> initWithJSON(const Json* json,
                                                         const std::shared_ptr<TSRUIMessageViewController>& parentVC,
                                                         const std::string& logName);

  void runActionBlock(const void* sender);

  bool actionHide() const { return actionHide_; }
  bool actionDismiss() const { return actionDismiss_; }
  const std::optional<std::string>& actionLink() const { return actionLink_; }
  const std::optional<std::string>& actionTrack() const { return actionTrack_; }
  const ActionBlock& actionBlock() const { return actionBlock_; }
  void setActionBlock(ActionBlock block) { actionBlock_ = std::move(block); }

 private:
  TSRUIMessageAction() = default;

  bool actionHide_ = true;
  bool actionDismiss_ = true;
  std::optional<std::string> actionLink_;
  std::optional<std::string> actionTrack_;
  ActionBlock actionBlock_;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_MESSAGE_ACTION_H_

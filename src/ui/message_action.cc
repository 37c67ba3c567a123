#include "ui/message_action.h"

#include "base/log.h"
#include "base/sdk_facade.h"
#include "tracking/context_impl.h"
#include "ui/message_view_controller.h"
#include "ui/message_data.h"
#include "util/environment.h"
#include "util/networking.h"

namespace tessarin {

namespace {

std::optional<std::string> NonEmptyString(const Json& json, const char* key) {
  auto value = message_data::String(json, key);
  if (value && value->empty()) return std::nullopt;
  return value;
}

}  // namespace

std::shared_ptr<TSRUIMessageAction> TSRUIMessageAction::initWithJSON(
    const Json* json, const std::shared_ptr<TSRUIMessageViewController>& parentVC, const std::string& logName) {
  if (!json || !json->is_object()) {
    TSR_LOG_WARN("UI: InAppMessage Action %@ requires JSON", logName);
    return nullptr;
  }
  std::shared_ptr<TSRUIMessageAction> action(new TSRUIMessageAction());
  action->actionHide_ = message_data::Flag(*json, "hide").value_or(true);
  action->actionDismiss_ = message_data::Flag(*json, "trackDismissal").value_or(true);
  action->actionLink_ = NonEmptyString(*json, "link");
  action->actionTrack_ = NonEmptyString(*json, "trackAction");

  std::weak_ptr<TSRUIMessageAction> weakAction = action;
  std::weak_ptr<TSRUIMessageViewController> weakParent = parentVC;
  action->actionBlock_ = [weakAction, weakParent, logName](const void*) {
    auto self = weakAction.lock();
    auto parent = weakParent.lock();
    if (!self || !parent) return;
    TSR_LOG_DEBUG("UI: InAppMessage Action %p action %@", static_cast<const void*>(parent.get()), logName);
    auto facade = parent->environment().facade();
    auto context = facade ? facade->globalTrackingContext() : nullptr;
    // Statistics first, while the message is still the one on screen.
    if (context && self->actionLink_) context->trackClickthrough(parent->campaign());
    if (context && self->actionDismiss_) context->trackDismissal(parent->campaign());
    if (self->actionHide_) parent->hide();
    if (context && self->actionTrack_) context->trackAction(*self->actionTrack_);
    // Last, as it may take the user out of the app.
    if (self->actionLink_) TSRUtilityNetworking::openURLFromString(parent->environment().mainBundle(), self->actionLink_);
  };
  return action;
}

void TSRUIMessageAction::runActionBlock(const void* sender) {
  // A copy: the block may release the message, and with it this action.
  if (ActionBlock block = actionBlock_) block(sender);
}

}  // namespace tessarin

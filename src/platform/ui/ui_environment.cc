#include "platform/ui/ui_environment.h"

#include "platform/notification_center.h"
#include "platform/ui/animator.h"

namespace tessarin::platform::ui {

UIEnvironment::UIEnvironment(Platform& platform)
    : platform_(platform), animator_(std::make_unique<Animator>(platform)) {}

UIEnvironment::~UIEnvironment() = default;

void UIEnvironment::setContentSizeCategory(const std::string& category) {
  if (category == contentSizeCategory_ || !isContentSizeCategory(category)) return;
  contentSizeCategory_ = category;
  Json userInfo = Json::object();
  userInfo[kContentSizeCategoryNewValueKey] = category;
  platform_.notificationCenter().post(kContentSizeCategoryDidChangeNotification, this, userInfo);
}

}  // namespace tessarin::platform::ui

#include "push/notification_click_tracking.h"

#include <utility>

#include "base/log.h"
#include "base/sdk_facade.h"
#include "platform/user_notifications.h"
#include "tessarin/sdk_info.h"
#include "tracking/campaign_impl.h"
#include "tracking/context_impl.h"
#include "util/dictionary_util.h"
#include "util/json_util.h"

namespace tessarin {
namespace {

std::optional<std::string> StringValue(const Json& userInfo, const char* key) {
  if (!userInfo.is_object()) return std::nullopt;
  const Json* value = TSRUtilityDictionary::objectOfType(JsonKind::kString, key, userInfo);
  if (!value) return std::nullopt;
  return value->get<std::string>();
}

}  // namespace

void TSRNotificationClickTracking::trackClickIfNecessary(SdkFacade& facade, const Json& userInfo,
                                                         const std::optional<std::string>& actionIdentifier,
                                                         bool checkClicked) {
  std::optional<std::string> experience_id = StringValue(userInfo, TSRPushPayload_experienceId);
  if (!experience_id || experience_id->empty()) return;
  const bool test = userInfo.contains(TSRPushPayload_test);
  const char* test_word = test ? "test " : "";

  if (checkClicked && !notificationWasClickedByUser(facade, userInfo, actionIdentifier)) {
    TSR_LOG_INFO("Notification: Found %@experience [%@], but not clicked by user", test_word, *experience_id);
    return;
  }

  std::optional<Json> keys_array =
      TSRUtilityJSON::jsonArrayFromString(StringValue(userInfo, TSRPushPayload_promotedItemKeys));
  std::optional<Json> keys = TSRCampaignImpl::validatePromotedItemKeys(keys_array ? &*keys_array : nullptr);

  TSR_LOG_INFO("Notification: Found %@experience [%@], tracking click", test_word, *experience_id);
  std::optional<Json> payload = TSRCampaignImpl::statPayloadWithType(TSRCampaignStatType_clickthrough, *experience_id,
                                                                  std::nullopt, keys, false);
  auto context = facade.globalTrackingContext();
  if (!payload || !context) return;
  Json stats = Json::array();
  stats.push_back(std::move(*payload));
  context->trackStats(std::move(stats), test);
}

bool TSRNotificationClickTracking::notificationWasClickedByUser(const SdkFacade& facade, const Json& userInfo,
                                                                const std::optional<std::string>& actionIdentifier) {
  if (actionIdentifier) return *actionIdentifier != platform::kUNNotificationDismissActionIdentifier;
  if (facade.hasReachedActiveAfterLaunchOrBackground()) return false;
  return !notificationIsSilent(userInfo);
}

bool TSRNotificationClickTracking::notificationIsSilent(const Json& userInfo) {
  if (!userInfo.is_object()) return true;
  auto aps = userInfo.find("aps");
  return aps == userInfo.end() || !aps->is_object() || !aps->contains("alert");
}

}  // namespace tessarin

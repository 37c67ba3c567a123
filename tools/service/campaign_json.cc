#include "service/campaign_json.h"

#include <utility>

namespace tessarin::service {

Json CampaignWithMessage(const std::string& campaignId, const char* messagesKey, Json message,
                         const std::string& routingId) {
  Json campaign = {{"campaignId", campaignId},
                   {"campaignName", "Campaign " + campaignId},
                   {"experienceId", campaignId + "-exp"},
                   {"experienceName", "Experience " + campaignId},
                   {"userGroup", "Default"},
                   {messagesKey, Json::array({std::move(message)})}};
  if (!routingId.empty()) campaign["routingId"] = routingId;
  return campaign;
}

Json InAppMessage(Json message, const std::string& campaignId) {
  // Anything but an object goes as it is, for the SDK to refuse.
  if (!message.is_object()) return message;
  // emplace keeps a value the data already has.
  message.emplace("id", campaignId + "-msg");
  message.emplace("type", kInAppMessageType);
  message.emplace("targetName", kInAppMessageTarget);
  message.emplace("contentHash", campaignId + "-hash");
  return message;
}

}  // namespace tessarin::service

// Parsing of the service's campaign objects into TSRCampaign.
//
// Every rejection is one log line and yields null: the façade drops the
// element and goes on with the rest of the response. Optional parts that are
// malformed (an unknown user group, a bad promoted item) are skipped with a
// warning and the campaign is kept.
#include "tracking/campaign_impl.h"

#include <vector>

#include "base/log.h"
#include "util/config.h"
#include "util/dictionary_util.h"

namespace tessarin {
namespace {

// Configuration key of the time to live of a message that names none.
constexpr const char* kCampaignTTLKey = "campaignTTL";
// The identifier of the façade's global context, the only context in-app
// messages may be routed to.
constexpr const char* kGlobalContextId = "Global";
// Targets beginning with this prefix (in any letter case) belong to the SDK.
constexpr std::string_view kReservedTargetPrefix = "tsr";

// The string at `key`, or empty when it is missing, empty or not a string.
std::string StringForKey(const char* key, const Json& dictionary) {
  const Json* value = TSRUtilityDictionary::objectOfType(JsonKind::kString, key, dictionary);
  return value ? value->get<std::string>() : std::string();
}

// Reads a required string; an empty one is recorded in `missing` by its key.
std::string RequiredString(const char* key, const Json& dictionary, Json& missing) {
  std::string value = StringForKey(key, dictionary);
  if (value.empty()) missing.push_back(key);
  return value;
}

// Whether the target is one of the SDK's own. None of the letters of the
// prefix has a non-ASCII upper-case form, so comparing ASCII case-folded
// bytes is the same as lower-casing the whole string first.
bool IsReservedTarget(const std::string& target) {
  if (target.size() < kReservedTargetPrefix.size()) return false;
  for (std::size_t i = 0; i < kReservedTargetPrefix.size(); ++i) {
    char c = target[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != kReservedTargetPrefix[i]) return false;
  }
  return true;
}

LogArg OptionalValue(const Json* value) { return value ? LogArg(*value) : LogArg(); }

// A number of a typed look-up; booleans count as numbers there.
double NumberValue(const Json& number) {
  if (number.is_boolean()) return number.get<bool>() ? 1 : 0;
  return number.get<double>();
}

// The single message of a campaign's message array, when the array holds
// exactly one dictionary of the expected type. `data` chooses the wording
// of the log lines (data or mobile messages).
const Json* SingleMessage(const Json& json, const char* arrayKey, const char* expectedType, bool data) {
  const Json* messages = TSRUtilityDictionary::objectOfType(JsonKind::kArray, arrayKey, json, false);
  unsigned long count = messages ? static_cast<unsigned long>(messages->size()) : 0UL;
  if (count != 1) {
    if (data) {
      TSR_LOG_ERROR("Campaign: %lu data messages instead of 1", count);
    } else {
      TSR_LOG_ERROR("Campaign: %lu mobile messages instead of 1", count);
    }
    return nullptr;
  }
  const Json& message = messages->front();
  if (!message.is_object()) {
    if (data) {
      TSR_LOG_ERROR("Campaign: Unexpected data message class: %@", JsonClassName(message));
    } else {
      TSR_LOG_ERROR("Campaign: Unexpected mobile message class: %@", JsonClassName(message));
    }
    return nullptr;
  }
  const Json* type = TSRUtilityDictionary::objectOfType(JsonKind::kString, "type", message, false);
  if (!type || type->get_ref<const std::string&>() != expectedType) {
    if (data) {
      TSR_LOG_ERROR("Campaign: Unexpected data message type: %@", OptionalValue(type));
    } else {
      TSR_LOG_ERROR("Campaign: Unexpected mobile message type: %@", OptionalValue(type));
    }
    return nullptr;
  }
  return &message;
}

}  // namespace

std::shared_ptr<TSRCampaign> TSRCampaignImpl::campaignWithJSON(const Json& json, const TSRConfig& config, double now) {
  if (!json.is_object() || json.empty()) {
    TSR_LOG_ERROR("Campaign: JSON nil/empty");
    return nullptr;
  }
  TSR_LOG_DEBUG("Campaign: JSON: %@", json);
  // A campaign carrying both kinds is read as a data campaign only.
  const Json* data = TSRUtilityDictionary::objectOfType(JsonKind::kArray, "mobileDataMessages", json, false);
  if (data && !data->empty()) return TSRCampaignDataMessage::initWithJSON(json, config, now);
  const Json* ui = TSRUtilityDictionary::objectOfType(JsonKind::kArray, "mobileUiMessages", json, false);
  if (ui && !ui->empty()) return TSRCampaignUiMessage::initWithJSON(json, config, now);
  TSR_LOG_WARN("Campaign: Ignoring, no supported messages found");
  return nullptr;
}

std::shared_ptr<TSRCampaign> TSRCampaignDataMessage::initWithJSON(const Json& json, const TSRConfig& config,
                                                                  double now) {
  const Json* message = SingleMessage(json, "mobileDataMessages", TSRCampaignMessageType_data, true);
  if (!message) return nullptr;
  static const Json& kNoData = *new Json(Json::object());  // never destroyed, as the threads outlive exit
  const Json* data = TSRUtilityDictionary::objectOfType(JsonKind::kDictionary, "dataMap", *message);
  std::shared_ptr<TSRCampaignDataMessage> campaign(new TSRCampaignDataMessage());
  if (!campaign->initWithJSONMessageData(json, *message, data ? data : &kNoData, config, now)) return nullptr;
  // Reserved targets are the SDK's own; an app handler must never see them.
  if (IsReservedTarget(campaign->target())) {
    TSR_LOG_WARN("Campaign: Dropping data campaign intended for internal target: %@", campaign->target());
    return nullptr;
  }
  return campaign;
}

std::shared_ptr<TSRCampaign> TSRCampaignUiMessage::initWithJSON(const Json& json, const TSRConfig& config,
                                                                double now) {
  const Json* message = SingleMessage(json, "mobileUiMessages", TSRCampaignMessageType_ui, false);
  if (!message) return nullptr;
  // The SDK lays the message out itself from the whole message object.
  std::shared_ptr<TSRCampaignUiMessage> campaign(new TSRCampaignUiMessage());
  if (!campaign->initWithJSONMessageData(json, *message, message, config, now)) return nullptr;
  // In-app messages go only to the SDK's own handler on the global context.
  if (!IsReservedTarget(campaign->target())) {
    TSR_LOG_WARN("Campaign: Dropping internal UI campaign intended for target: %@", campaign->target());
    return nullptr;
  }
  if (campaign->contextId() != kGlobalContextId) {
    TSR_LOG_WARN("Campaign: Dropping internal UI campaign intended for contextId: %@", campaign->contextId());
    return nullptr;
  }
  return campaign;
}

bool TSRCampaignImpl::initWithJSONMessageData(const Json& json, const Json& message, const Json* data,
                                              const TSRConfig& config, double now) {
  if (!json.is_object()) return false;
  json_ = json;
  // Every missing required element is collected so that one line names them all.
  Json missing = Json::array();

  campaign_name_ = RequiredString("campaignName", json, missing);
  campaign_id_ = RequiredString("campaignId", json, missing);
  TSR_LOG_INFO("Campaign: Received [%@:%@]", campaign_name_, campaign_id_);

  context_id_ = RequiredString("routingId", json, missing);
  experience_id_ = RequiredString("experienceId", json, missing);
  experience_name_ = RequiredString("experienceName", json, missing);

  // A missing user group is not "Default" either, and is reported as invalid
  // too: the service always sends one.
  const Json* userGroup = TSRUtilityDictionary::objectOfType(JsonKind::kString, "userGroup", json);
  if (userGroup && *userGroup == TSRCampaignUserGroup_control) {
    is_control_group_ = true;
  } else if (!userGroup || *userGroup != TSRCampaignUserGroup_default) {
    TSR_LOG_WARN("Campaign: Ignoring invalid userGroup: %@", OptionalValue(userGroup));
  }

  // The key's presence marks a test campaign, whatever its value.
  test_ = json.contains("test");

  message_id_ = RequiredString("id", message, missing);
  if (const Json* contentHash = TSRUtilityDictionary::objectOfType(JsonKind::kString, "contentHash", message)) {
    message_content_hash_ = contentHash->get<std::string>();
  }
  target_ = RequiredString("targetName", message, missing);

  // Only a missing time to live falls back to the configured one; a zero or
  // negative one means the campaign never expires.
  std::optional<double> ttl;
  if (const Json* messageTTL = TSRUtilityDictionary::objectOfType(JsonKind::kNumber, "ttl", message, false)) {
    ttl = NumberValue(*messageTTL);
  } else {
    ttl = config.doubleForKey(kCampaignTTLKey);
  }
  if (ttl && *ttl > 0) expiration_time_ = now + *ttl;

  promoted_item_keys_ = validatePromotedItemKeys(
      TSRUtilityDictionary::objectOfType(JsonKind::kArray, "promotedItemKeys", message, false));

  // JSON keys are always strings, so every entry of a dictionary carries
  // over as it is.
  if (data && data->is_object()) {
    data_ = *data;
  } else {
    missing.push_back("dataMap");
  }

  if (!missing.empty()) {
    TSR_LOG_ERROR("Campaign: JSON, missing required elements: %@", missing);
    return false;
  }
  return true;
}

std::optional<Json> TSRCampaignImpl::validatePromotedItemKeys(const Json* promotedItemKeys) {
  if (!promotedItemKeys || !promotedItemKeys->is_array() || promotedItemKeys->empty()) return std::nullopt;
  Json valid = Json::array();
  for (const Json& item : *promotedItemKeys) {
    // Only a dictionary can be an item key; its keys are strings by
    // construction of the JSON value.
    if (!item.is_object()) {
      TSR_LOG_WARN("Campaign: Ignoring invalid promoted item %@ %@", JsonClassName(item), item);
      continue;
    }
    valid.push_back(item);
  }
  return valid;
}

bool TSRCampaign::isEqual(const TSRCampaign* other) const {
  if (other == this) return true;
  return other && isEqualToCampaign(*other);
}

bool TSRCampaign::isEqualToCampaign(const TSRCampaign& other) const {
  return &other == this || json_ == other.json_;
}

std::size_t TSRCampaign::hash() const {
  std::hash<std::string> text;
  // A missing content hash contributes nothing, as a nil object's hash would.
  std::size_t contentHash = message_content_hash_ ? text(*message_content_hash_) : 0;
  return text(context_id_) ^ text(campaign_id_) ^ text(campaign_name_) ^ text(experience_id_) ^
         text(experience_name_) ^ std::hash<bool>()(is_control_group_) ^ contentHash ^ text(message_id_) ^
         text(target_);
}

std::string TSRCampaign::description() const {
  return FormatLogMessage("[%@:%@] contextId: %@, target: %@, experience: [%@:%@], messageId: %@",
                          {campaign_name_, campaign_id_, context_id_, target_, experience_name_, experience_id_,
                           message_id_});
}

std::optional<Json> TSRCampaignImpl::toStatPayloadType(const TSRCampaign& campaign, long statType,
                                                       bool isExperience) {
  std::optional<std::string> messageId;
  if (!isExperience) messageId = campaign.messageId();
  return statPayloadWithType(statType, campaign.experienceId(), messageId, campaign.promotedItemKeys(),
                             campaign.isControlGroup());
}

std::optional<Json> TSRCampaignImpl::statPayloadWithType(long statType, const std::string& experienceId,
                                                         const std::optional<std::string>& messageId,
                                                         const std::optional<Json>& promotedItemKeys,
                                                         bool isControlGroup) {
  if (experienceId.empty()) return std::nullopt;
  Json payload = Json::object();
  if (messageId && !messageId->empty()) {
    payload["id"] = *messageId;
    payload["eid"] = experienceId;
    payload["type"] = "m";
  } else {
    payload["id"] = experienceId;
    payload["type"] = "e";
  }
  if (promotedItemKeys && promotedItemKeys->is_array() && !promotedItemKeys->empty()) {
    payload["piks"] = *promotedItemKeys;
  }
  std::optional<std::string> stat = statTypeToString(statType);
  if (!stat) return std::nullopt;
  payload["stat"] = *stat;
  if (isControlGroup) payload["ug"] = TSRCampaignUserGroup_control;
  return payload;
}

std::optional<std::string> TSRCampaignImpl::statTypeToString(long statType) {
  switch (statType) {
    case TSRCampaignStatType_impression: return "i";
    case TSRCampaignStatType_clickthrough: return "c";
    case TSRCampaignStatType_dismissal: return "d";
    default:
      TSR_LOG_ERROR("Campaign: Unexpected stat type [%ld]", statType);
      return std::nullopt;
  }
}

}  // namespace tessarin

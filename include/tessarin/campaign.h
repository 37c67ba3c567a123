// TSRCampaign: one personalisation decision of the service, as a handler
// registered on a context receives it.
//
// A campaign is one experience of a campaign carrying exactly one message for
// one target on one context. A data message (TSRCampaignDataMessage) carries
// key-value data that the app renders itself; an in-app message
// (TSRCampaignUiMessage) is rendered by the SDK. Campaigns are immutable once
// made; they are made only from the service's JSON.
#ifndef TESSARIN_CAMPAIGN_H_
#define TESSARIN_CAMPAIGN_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRConfig;

// Statistics a context reports about a campaign.
enum TSRCampaignStatType : long {
  TSRCampaignStatType_impression = 0,
  TSRCampaignStatType_clickthrough = 1,
  TSRCampaignStatType_dismissal = 2,
};

inline constexpr const char* TSRCampaignUserGroup_control = "Control";
inline constexpr const char* TSRCampaignUserGroup_default = "Default";
inline constexpr const char* TSRCampaignMessageType_data = "tsr_md";
inline constexpr const char* TSRCampaignMessageType_ui = "tsr_mn";

class TESSARIN_EXPORT TSRCampaign {
 public:
  virtual ~TSRCampaign() = default;

  // The campaign described by one element of a response's campaigns, or
  // null (logged) when it is malformed or not meant for an app handler.
  // `config` supplies the default time to live; `now` is the wall clock in
  // seconds since 1970, from which the expiration time is counted.
  static std::shared_ptr<TSRCampaign> campaignWithJSON(const Json& json, const TSRConfig& config, double now);

  // The valid elements of a promoted-item-keys array (dictionaries whose
  // keys are all strings), or nothing for a missing or empty array.
  static std::optional<Json> validatePromotedItemKeys(const Json* promotedItemKeys);

  // A stat payload, or nothing when the experience id is empty or the type
  // unknown. A message id makes it a message-level payload.
  static std::optional<Json> statPayloadWithType(long statType, const std::string& experienceId,
                                                 const std::optional<std::string>& messageId,
                                                 const std::optional<Json>& promotedItemKeys, bool isControlGroup);
  static std::optional<std::string> statTypeToString(long statType);
  std::optional<Json> toStatPayloadType(long statType, bool isExperience) const;

  bool isControlGroup() const { return is_control_group_; }
  bool test() const { return test_; }
  const std::string& target() const { return target_; }
  const std::string& campaignId() const { return campaign_id_; }
  const std::string& campaignName() const { return campaign_name_; }
  const std::string& experienceId() const { return experience_id_; }
  const std::string& experienceName() const { return experience_name_; }
  const std::string& messageId() const { return message_id_; }
  const std::optional<Json>& promotedItemKeys() const { return promoted_item_keys_; }
  // For a data message its "dataMap"; for an in-app message the message.
  const Json& data() const { return data_; }
  // The campaign object as the service sent it.
  const Json& json() const { return json_; }
  const std::string& contextId() const { return context_id_; }
  const std::optional<std::string>& messageContentHash() const { return message_content_hash_; }
  // Seconds since 1970; nothing for a campaign that never expires.
  std::optional<double> expirationTime() const { return expiration_time_; }

  // Campaigns are equal when their JSON is; the hash combines the routing
  // and identity fields.
  bool isEqual(const TSRCampaign* other) const;
  bool isEqualToCampaign(const TSRCampaign& other) const;
  std::size_t hash() const;
  bool operator==(const TSRCampaign& other) const { return isEqualToCampaign(other); }

  // For log lines.
  std::string description() const;

 protected:
  TSRCampaign() = default;
  // The initialiser both kinds of message share: reads the campaign and
  // message fields, answers false (logged) when a required one is missing.
  bool initWithJSONMessageData(const Json& json, const Json& message, const Json* data, const TSRConfig& config,
                               double now);

 private:
  bool is_control_group_ = false;
  bool test_ = false;
  std::string target_;
  std::string campaign_id_;
  std::string campaign_name_;
  std::string experience_id_;
  std::string experience_name_;
  std::string message_id_;
  std::optional<Json> promoted_item_keys_;
  Json data_ = Json::object();
  Json json_ = Json::object();
  std::string context_id_;
  std::optional<std::string> message_content_hash_;
  std::optional<double> expiration_time_;
};

class TESSARIN_EXPORT TSRCampaignDataMessage : public TSRCampaign {
 public:
  static std::shared_ptr<TSRCampaign> initWithJSON(const Json& json, const TSRConfig& config, double now);

 private:
  TSRCampaignDataMessage() = default;  // made only from JSON
};

class TESSARIN_EXPORT TSRCampaignUiMessage : public TSRCampaign {
 public:
  static std::shared_ptr<TSRCampaign> initWithJSON(const Json& json, const TSRConfig& config, double now);

 private:
  TSRCampaignUiMessage() = default;  // made only from JSON
};

// What a host app registers on a context for one target. It runs on the
// main thread.
using TSRCampaignHandler = std::function<void(const std::shared_ptr<TSRCampaign>& campaign)>;

}  // namespace tessarin

#endif  // TESSARIN_CAMPAIGN_H_

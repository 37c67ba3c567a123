// TSRCampaign: one personalisation decision of the service, as a handler
// registered on a context receives it.
//
// A campaign is one experience of a campaign carrying exactly one message for
// one target on one context. A data message carries key-value data that the
// app renders itself; an in-app message is rendered by the SDK and never
// reaches an app's handler.
// Campaigns are immutable once made; the SDK makes them from the service's
// JSON.
//
// Thread contract: a campaign never changes, so every member may be called
// from any thread.
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

inline constexpr const char* TSRCampaignUserGroup_control = "Control";
inline constexpr const char* TSRCampaignUserGroup_default = "Default";
inline constexpr const char* TSRCampaignMessageType_data = "tsr_md";
inline constexpr const char* TSRCampaignMessageType_ui = "tsr_mn";

class TESSARIN_EXPORT TSRCampaign {
 public:
  virtual ~TSRCampaign() = default;

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
  // Made only by the SDK, which fills in the fields below from the
  // service's JSON.
  TSRCampaign() = default;

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

// What a host app registers on a context for one target. It runs on the
// main thread.
using TSRCampaignHandler = std::function<void(const std::shared_ptr<TSRCampaign>& campaign)>;

}  // namespace tessarin

#endif  // TESSARIN_CAMPAIGN_H_

// How the SDK makes campaigns from the service's JSON, and the statistics a
// context reports about them.
//
// Thread contract: the parsing reads only its arguments and the stat
// payloads only the campaign, so each may run on any thread; the façade
// parses on the main thread.
#ifndef TESSARIN_TRACKING_CAMPAIGN_IMPL_H_
#define TESSARIN_TRACKING_CAMPAIGN_IMPL_H_

#include <memory>
#include <optional>
#include <string>

#include "tessarin/campaign.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRConfig;

// Statistics a context reports about a campaign.
enum TSRCampaignStatType : long {
  TSRCampaignStatType_impression = 0,
  TSRCampaignStatType_clickthrough = 1,
  TSRCampaignStatType_dismissal = 2,
};

class TSRCampaignImpl : public TSRCampaign {
 public:
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
  // The campaign's experience-level or message-level stat payload. Any
  // campaign an app hands back is read through its public fields only.
  static std::optional<Json> toStatPayloadType(const TSRCampaign& campaign, long statType, bool isExperience);

 protected:
  TSRCampaignImpl() = default;
  // The initialiser both kinds of message share: reads the campaign and
  // message fields, answers false (logged) when a required one is missing.
  bool initWithJSONMessageData(const Json& json, const Json& message, const Json* data, const TSRConfig& config,
                               double now);
};

// A campaign whose data the app renders itself.
class TSRCampaignDataMessage final : public TSRCampaignImpl {
 public:
  static std::shared_ptr<TSRCampaign> initWithJSON(const Json& json, const TSRConfig& config, double now);

 private:
  TSRCampaignDataMessage() = default;  // made only from JSON
};

// An in-app message, rendered by the SDK.
class TSRCampaignUiMessage final : public TSRCampaignImpl {
 public:
  static std::shared_ptr<TSRCampaign> initWithJSON(const Json& json, const TSRConfig& config, double now);

 private:
  TSRCampaignUiMessage() = default;  // made only from JSON
};

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_CAMPAIGN_IMPL_H_

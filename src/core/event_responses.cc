// The service's answer to a batch: one response per event, each with its
// errors, the anonymous affinity id and the campaigns for the dispatcher.
#include <string>

#include "base/collaborators.h"
#include "base/log.h"
#include "core/tessarin_impl.h"
#include "platform/platform.h"
#include "tracking/campaign_impl.h"
#include "util/config.h"
#include "util/dictionary_util.h"

namespace tessarin {

namespace {

std::string ErrorCodeText(long long code) {
  switch (code) {
    case 1: return "missing encrypted user id parameter";
    case 2: return "invalid encrypted user id parameter";
    case 3: return "busy";
    case 5: return "invalid event";
    default: return std::to_string(code);
  }
}

}  // namespace

void TessarinImpl::handleEventResponses(const Json& responses) {
  if (disabled_) return;
  if (!started_ || design_mode_) {
    TSR_LOG_DEBUG("Event Responses: Ignoring, Tessarin not started or in design mode");
    return;
  }
  if (!responses.is_array()) return;
  for (const Json& response : responses) {
    if (!response.is_object()) {
      TSR_LOG_ERROR("Event Response: Unexpected event class: %@ event: %@", JsonClassName(response), response);
      continue;
    }
    auto affinity = response.find("anonAffinityId");
    if (affinity != response.end() && affinity->is_string() && !affinity->get_ref<const std::string&>().empty()) {
      config_->setConfiguration(Json{{"__visitorAffinityId", *affinity}}, TSRConfig::kLayerSDK);
    }
    const Json* code = TSRUtilityDictionary::objectOfType(JsonKind::kNumber, "errorCode", response);
    const Json* errors = TSRUtilityDictionary::objectOfType(JsonKind::kArray, "validationErrors", response);
    long long error_code = code ? (code->is_boolean() ? code->get<bool>() : code->get<long long>()) : 0;
    if (error_code == 4) {
      // An anonymous-id correction: the rest of this response, campaigns
      // included, is skipped deliberately.
      TSR_LOG_INFO("An event response contained an anonymous id correction");
      continue;
    }
    if (error_code != 0) {
      if (errors) {
        TSR_LOG_ERROR("Event Response: Contained the error code [%@] with the validation errors: %@",
                      ErrorCodeText(error_code), *errors);
      } else {
        TSR_LOG_ERROR("Event Response: Contained the error code [%@]", ErrorCodeText(error_code));
      }
    }
    const Json* campaigns = TSRUtilityDictionary::objectOfType(JsonKind::kArray, "campaignResponses", response);
    if (!campaigns) continue;
    for (const Json& campaign : *campaigns) {
      if (!campaign.is_object()) {
        TSR_LOG_WARN("Campaign: ignoring, expected NSDictionary but found %@", JsonClassName(campaign));
        continue;
      }
      auto parsed = TSRCampaignImpl::campaignWithJSON(campaign, *config_, platform_->now(platform::Clock::kWall));
      if (parsed && campaign_dispatcher_) campaign_dispatcher_->handleCampaign(parsed);
    }
  }
}

}  // namespace tessarin

// Campaigns as the service writes them into an event response: one
// experience of a campaign carrying one message. The local service answers
// with them, and tessarin-render wraps a message's data in one, so both
// hand the SDK exactly what it receives from the hosted service.
//
// Plain JSON building, no I/O: a library of its own that needs no HTTP.
#ifndef TESSARIN_TOOLS_SERVICE_CAMPAIGN_JSON_H_
#define TESSARIN_TOOLS_SERVICE_CAMPAIGN_JSON_H_

#include <string>

#include "tessarin/json.h"

namespace tessarin::service {

// The reserved target and type of in-app messages, which the SDK shows
// itself; their campaigns are routed to the global context only.
inline constexpr const char* kInAppMessageTarget = "tsr_mn";
inline constexpr const char* kInAppMessageType = "tsr_mn";
inline constexpr const char* kGlobalRoutingId = "Global";

// A campaign `campaignId` with one experience whose single message sits in
// the array `messagesKey` ("mobileDataMessages" or "mobileUiMessages").
// Without a routing id the campaign names no context.
Json CampaignWithMessage(const std::string& campaignId, const char* messagesKey, Json message,
                         const std::string& routingId);

// An in-app message: `message` is the message's data (title, body,
// buttonMap, position, colours ...) and the message object at once; its
// "id", "type", "targetName" and "contentHash" are filled in where missing,
// so data that names another type or target keeps it (and the SDK refuses
// it as it would from the service). Anything but an object is left as it
// is.
Json InAppMessage(Json message, const std::string& campaignId);

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_CAMPAIGN_JSON_H_

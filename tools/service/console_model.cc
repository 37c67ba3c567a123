#include "service/console_model.h"

#include <algorithm>
#include <chrono>
#include <string>

#include "tessarin/events.h"

namespace tessarin::service {
namespace {

// The base record every event is built on; anything else an event carries
// was added for its action.
constexpr const char* kBaseKeys[] = {
    TSREvent_mobileBeaconVersion, TSREvent_anonId, TSREvent_anonAffinityId, TSREvent_userId,
    TSREvent_anon,                TSREvent_accountId, TSREvent_timestamp, TSREvent_device,
    TSREvent_osName,              TSREvent_osVersion, TSREvent_appName,   TSREvent_appVersion,
};

std::int64_t MillisSince1970(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Json ParseOrNull(const std::string& text) {
  Json parsed = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  return parsed.is_discarded() ? Json() : parsed;
}

bool Succeeded(const RecordedRequest& request) {
  return request.status >= 200 && request.status < 300 && !request.dropped;
}

// The "reason" of an error answer, which the SDK shows as the failure reason.
std::string ReasonOf(const RecordedRequest& request) {
  if (Succeeded(request) || !request.answer.is_object()) return {};
  auto reason = request.answer.find("reason");
  return reason != request.answer.end() && reason->is_string() ? reason->get<std::string>() : std::string();
}

// The targets a campaign's messages are for, whichever kind they are.
Json TargetsOf(const Json& campaign) {
  Json targets = Json::array();
  for (const char* key : {"mobileDataMessages", "mobileUiMessages"}) {
    auto messages = campaign.find(key);
    if (messages == campaign.end() || !messages->is_array()) continue;
    for (const Json& message : *messages) {
      if (message.is_object() && message.contains("targetName")) targets.push_back(message["targetName"]);
    }
  }
  return targets;
}

// The event responses of an answer: an array, or one object standing for a
// one-element array, as the SDK reads them.
std::vector<const Json*> ResponsesOf(const Json& answer) {
  std::vector<const Json*> responses;
  if (answer.is_array()) {
    for (const Json& response : answer) responses.push_back(&response);
  } else if (answer.is_object()) {
    responses.push_back(&answer);
  }
  return responses;
}

void CopyMember(const Json& from, const char* key, Json& to) {
  if (from.is_object() && from.contains(key)) to[key] = from[key];
}

Json NewestFirst(const std::deque<Json>& entries) { return Json(std::vector<Json>(entries.rbegin(), entries.rend())); }

}  // namespace

bool ConsoleModel::IsBaseKey(const std::string& key) {
  return std::any_of(std::begin(kBaseKeys), std::end(kBaseKeys), [&](const char* base) { return key == base; });
}

void ConsoleModel::Push(List& list, Json entry, std::size_t limit) {
  Json numbered = {{"id", ++list.total}};
  for (auto& [key, value] : entry.items()) numbered[key] = std::move(value);
  list.entries.push_back(std::move(numbered));
  while (list.entries.size() > limit) list.entries.pop_front();
}

void ConsoleModel::add(const RecordedRequest& request) {
  std::int64_t time = MillisSince1970(request.received);
  Json summary = {{"time", time}, {"method", request.method}, {"path", request.path},
                  {"endpoint", EndpointName(request.endpoint)}, {"status", request.status}};
  if (request.dropped) summary["dropped"] = true;
  if (std::string reason = ReasonOf(request); !reason.empty()) summary["reason"] = reason;
  Push(requests_, std::move(summary), limits_.requests);
  std::uint64_t batch = requests_.total;

  switch (request.endpoint) {
    case Endpoint::kAppConfig: addConfigRequest(request, time); break;
    case Endpoint::kEvents: addEvents(request, time, batch); break;
    case Endpoint::kConnect: addConnect(request, time); break;
    // Accepted screens are the service's to keep; the request list above
    // shows the refused ones.
    case Endpoint::kUploadScreen:
    case Endpoint::kUnknown: break;
  }
}

void ConsoleModel::addConfigRequest(const RecordedRequest& request, std::int64_t time) {
  Json entry = {{"time", time}, {"dataset", request.dataset}, {"params", request.configParams},
                {"status", request.status}};
  if (std::string since = request.header("If-Modified-Since"); !since.empty()) entry["ifModifiedSince"] = since;
  if (Succeeded(request)) entry["answer"] = request.answer;
  if (std::string reason = ReasonOf(request); !reason.empty()) entry["reason"] = reason;
  Push(configRequests_, std::move(entry), limits_.configRequests);
}

void ConsoleModel::addEvents(const RecordedRequest& request, std::int64_t time, std::uint64_t batch) {
  // A body that is no array of events was refused before anything was read
  // from it; the request list shows it.
  if (!request.body.is_array()) return;
  std::vector<std::uint64_t> eventIds;
  for (std::size_t index = 0; index < request.body.size(); ++index) {
    const Json& event = request.body[index];
    Json entry = {{"time", time}, {"dataset", request.dataset}, {"status", request.status},
                  {"batch", batch}, {"index", index}};
    Json fields = Json::object();
    Json base = Json::object();
    if (event.is_object()) {
      for (const auto& [key, value] : event.items()) (IsBaseKey(key) ? base : fields)[key] = value;
      CopyMember(event, TSREvent_action, entry);
    } else {
      entry["value"] = event;  // not an event at all, shown as it came
    }
    entry["fields"] = std::move(fields);
    entry["base"] = std::move(base);
    Push(events_, std::move(entry), limits_.events);
    eventIds.push_back(events_.total);

    // Statistics travel inside events as JSON text; what is not an array of
    // payloads is no statistic (and stays visible among the event's keys).
    if (!event.is_object() || !event.contains(TSREvent_campaignStats) ||
        !event[TSREvent_campaignStats].is_string()) {
      continue;
    }
    Json payloads = ParseOrNull(event[TSREvent_campaignStats].get<std::string>());
    if (!payloads.is_array()) continue;
    for (const Json& payload : payloads) {
      Json stat = {{"time", time}, {"dataset", request.dataset}, {"event", events_.total}};
      if (event.contains(TSREvent_contextId)) stat["routingId"] = event[TSREvent_contextId];
      stat["payload"] = payload;
      Push(stats_, std::move(stat), limits_.stats);
    }
  }

  // Campaigns count as answered only when the answer reached the SDK.
  if (!Succeeded(request)) return;
  std::vector<const Json*> responses = ResponsesOf(request.answer);
  for (std::size_t index = 0; index < responses.size(); ++index) {
    const Json& response = *responses[index];
    if (!response.is_object() || !response.contains("campaignResponses") ||
        !response["campaignResponses"].is_array()) {
      continue;
    }
    for (const Json& campaign : response["campaignResponses"]) {
      Json entry = {{"time", time}, {"dataset", request.dataset}, {"batch", batch}};
      // Responses answer the batch's events one for one; a verbatim answer
      // may hold more responses than there were events.
      if (index < eventIds.size()) entry["event"] = eventIds[index];
      CopyMember(campaign, "campaignId", entry);
      CopyMember(campaign, "experienceId", entry);
      CopyMember(campaign, "routingId", entry);
      if (campaign.is_object()) entry["targets"] = TargetsOf(campaign);
      entry["campaign"] = campaign;
      Push(campaigns_, std::move(entry), limits_.campaigns);
    }
  }
}

void ConsoleModel::addConnect(const RecordedRequest& request, std::int64_t time) {
  Json entry = {{"time", time}, {"dataset", request.dataset}, {"status", request.status},
                {"accepted", Succeeded(request)}};
  if (std::string reason = ReasonOf(request); !reason.empty()) entry["reason"] = reason;
  entry["info"] = request.body.is_null() && !request.bodyText.empty() ? Json(request.bodyText) : request.body;
  Push(connects_, std::move(entry), limits_.connects);
}

Json ConsoleModel::toJson(const std::vector<UploadedScreen>& screens) const {
  Json json = Json::object();
  json["totals"] = {{"configRequests", configRequests_.total}, {"events", events_.total},
                    {"campaigns", campaigns_.total},           {"stats", stats_.total},
                    {"connects", connects_.total},             {"screens", screens.size()},
                    {"requests", requests_.total}};
  json["configRequests"] = NewestFirst(configRequests_.entries);
  json["events"] = NewestFirst(events_.entries);
  json["campaigns"] = NewestFirst(campaigns_.entries);
  json["stats"] = NewestFirst(stats_.entries);
  json["connects"] = NewestFirst(connects_.entries);
  Json list = Json::array();
  for (auto screen = screens.rbegin(); screen != screens.rend(); ++screen) {
    Json entry = {{"sequence", screen->sequence}, {"time", MillisSince1970(screen->received)},
                  {"dataset", screen->dataset},   {"width", screen->width},
                  {"height", screen->height},     {"bytes", screen->png.size()},
                  {"image", "/console/screens/" + std::to_string(screen->sequence) + ".png"}};
    if (!screen->description.is_null()) {
      entry["description"] = screen->description;
    } else {
      entry["descriptionText"] = screen->descriptionText;
    }
    Json info = screen->info;
    if (info.is_object()) info.erase(TSREvent_viewControllerDescription);
    entry["info"] = std::move(info);
    list.push_back(std::move(entry));
  }
  json["screens"] = std::move(list);
  json["requests"] = NewestFirst(requests_.entries);
  return json;
}

}  // namespace tessarin::service

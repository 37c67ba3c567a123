#include "demo/demo_service.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "demo/console.h"
#include "demo/message_demo.h"
#include "tessarin/events.h"

namespace tessarin::demo {
namespace {

using service::Endpoint;
using service::LocalService;

// The local service's app configuration. The product screen of the
// simulated session is reported by its own action name; the home screen
// matches no rule and sends no view action.
Json AppConfiguration(const Options& options) {
  Json view_configs = Json::array(
      {Json{{"action", "Product Detail"}, {"matchRule", "$[?(@.className == 'ProductViewController')]"}}});
  Json config = {{"eventThrottleInterval", 10}, {"trackOrientation", true}, {"viewConfigs", view_configs}};
  if (options.events) {
    // A load run measures how fast events get through, not the queue's
    // guards: none of its events may be throttled or trimmed for count.
    config["eventThrottleLimit"] = 1000000000;
    config["maxEventsInQueue"] = std::max<long>(1000, *options.events + 1000);
  }
  return config;
}

std::optional<Json> ReadClientConfiguration(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  Json client = Json::parse(text.str(), nullptr, false);
  if (!in || client.is_discarded() || !client.is_object()) return std::nullopt;
  return client;
}

// Fields every event carries (who, when, on what), left out of summaries.
bool IsCommonField(const std::string& key) {
  static const char* const kCommon[] = {
      TSREvent_mobileBeaconVersion, TSREvent_anonId,   TSREvent_anonAffinityId, TSREvent_userId,
      TSREvent_anon,                TSREvent_accountId, TSREvent_timestamp,     TSREvent_device,
      TSREvent_osName,              TSREvent_osVersion, TSREvent_appName,       TSREvent_appVersion};
  return std::any_of(std::begin(kCommon), std::end(kCommon), [&key](const char* common) { return key == common; });
}

// Long texts (an item as JSON, say) cut to their beginning.
Json Shortened(const Json& value) {
  constexpr std::size_t kShown = 60;
  if (!value.is_string() || value.get_ref<const std::string&>().size() <= kShown + 3) return value;
  return value.get_ref<const std::string&>().substr(0, kShown) + "...";
}

}  // namespace

std::optional<DemoService> PrepareService(const Options& options) {
  DemoService demo;
  if (!options.config_file.empty()) {
    auto client = ReadClientConfiguration(options.config_file);
    if (!client) {
      std::cerr << "tessarin-demo: " << options.config_file << " does not hold a JSON object\n";
      return std::nullopt;
    }
    demo.client = std::move(*client);
  } else {
    demo.local = std::make_unique<LocalService>();
    if (!demo.local->start()) {
      std::cerr << "tessarin-demo: could not start the local Tessarin service: " << demo.local->error() << "\n";
      return std::nullopt;
    }
    demo.local->setAppConfig(options.dataset, AppConfiguration(options));
    Json campaigns = Json::array();
    int n = 0;
    for (const std::string& target : options.handle) {
      ++n;
      campaigns.push_back(LocalService::DataCampaign(
          target, Json{{"headline", "Offer " + std::to_string(n) + " for " + target}, {"discount", 5 * n}},
          "demo-" + std::to_string(n), "Global"));
    }
    // The in-app message rides on the same answer: the SDK shows it itself.
    campaigns.push_back(LocalService::InAppMessageCampaign(DemoInAppMessage(), kDemoMessageCampaign));
    demo.local->queueCampaigns(std::move(campaigns));
    demo.local->setAnonAffinityId("demo-affinity-1");
    Say(Line() << "demo: local Tessarin service at " << demo.local->baseUrl());
    demo.client = Json{{"account", options.account}, {"dataset", options.dataset}, {"domain", "127.0.0.1"},
                       {"protocol", "http"}, {"port", demo.local->port()}, {"useCDN", false}};
  }
  // The user's configuration decides these when it names them.
  if (!demo.client.contains("usePushNotifications")) demo.client["usePushNotifications"] = true;
  // The demo app hands its tokens over itself and links no messaging
  // library, so the SDK need not look for one (and warn that it is absent).
  if (!demo.client.contains("allowFirebaseTokenFetch")) demo.client["allowFirebaseTokenFetch"] = false;
  if (options.events && !demo.client.contains("eventQueueByteLimitOnContent")) {
    demo.client["eventQueueByteLimitOnContent"] = true;
  }
  return demo;
}

void AbandonService(DemoService& service) { (void)service.local.release(); }

std::size_t EventsWhere(LocalService& service, const std::function<bool(const Json&)>& matches) {
  std::size_t count = 0;
  for (const auto& request : service.requests(Endpoint::kEvents)) {
    if (!request.body.is_array()) continue;
    for (const Json& event : request.body) count += event.is_object() && matches(event);
  }
  return count;
}

std::size_t EventsWith(LocalService& service, const char* key) {
  return EventsWhere(service, [key](const Json& event) { return event.contains(key); });
}

std::size_t EventsWithAction(LocalService& service, const char* action) {
  return EventsWhere(service,
                     [action](const Json& event) { return event.value(TSREvent_action, std::string()) == action; });
}

void PrintRequests(LocalService& service) {
  for (const auto& request : service.requests()) {
    Say(Line() << "sent: " << request.method << " " << request.path << " -> " << request.status);
    if (!request.body.is_null()) Say(Line() << "      " << JsonDump(request.body));
  }
}

void PrintRequestSummaries(LocalService& service, bool full) {
  for (const auto& request : service.requests()) {
    Line line;
    line << "sent: " << request.method << " " << request.path << " -> " << request.status;
    if (request.endpoint == Endpoint::kEvents && request.body.is_array()) {
      line << ", " << request.body.size() << " event(s):";
    }
    Say(line);
    if (request.endpoint != Endpoint::kEvents || !request.body.is_array()) continue;
    for (const Json& event : request.body) {
      if (!event.is_object()) continue;
      Json own = Json::object();
      for (const auto& [key, value] : event.items()) {
        if (IsCommonField(key)) continue;
        own[key] = full ? value : Shortened(value);
      }
      Say(Line() << "      " << JsonDump(own));
    }
  }
}

}  // namespace tessarin::demo

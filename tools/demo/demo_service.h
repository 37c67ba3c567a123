// The service the demo talks to: the local Tessarin service the demo starts
// and scripts, or the user's own (--config FILE), and the client
// configuration that points the SDK at it. With the local service the demo
// can also read back what reached it.
#ifndef TESSARIN_TOOLS_DEMO_DEMO_SERVICE_H_
#define TESSARIN_TOOLS_DEMO_DEMO_SERVICE_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "demo/options.h"
#include "service/local_service.h"
#include "tessarin/json.h"

namespace tessarin::demo {

struct DemoService {
  // Null with --config: the user's service, which the demo cannot inspect.
  std::unique_ptr<service::LocalService> local;
  // What the app starts the SDK with.
  Json client;
};

// Reads --config, or starts and scripts the local service: the app
// configuration (for a load run one that neither throttles nor trims the
// run's events), a data campaign per handled target, the in-app message
// and an anonymous affinity id. Nothing, after an error on stderr, when neither works.
std::optional<DemoService> PrepareService(const Options& options);

// Lets the process end without stopping the local service, which would
// first wait out the SDK's kept-alive connection.
void AbandonService(DemoService& service);

// Events the local service has received that `matches` accepts.
std::size_t EventsWhere(service::LocalService& service, const std::function<bool(const Json&)>& matches);
std::size_t EventsWith(service::LocalService& service, const char* key);
std::size_t EventsWithAction(service::LocalService& service, const char* action);

// One "sent:" line per request the local service received, each followed
// by its JSON body.
void PrintRequests(service::LocalService& service);
// One "sent:" line per request, and an indented line per event with what
// it reports: the fields every event carries are left out and, unless
// `full`, long texts are cut short.
void PrintRequestSummaries(service::LocalService& service, bool full);

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_DEMO_SERVICE_H_

// tessarin-demo: a scripted shop app that takes part in the service through
// the Tessarin SDK.
//
// The app runs on the simulated host: its screens, touches and lifecycle
// are scripted and the SDK's timers run on virtual time, while every
// request goes over real HTTP. By default the demo starts the local
// Tessarin service on a free loopback port, points the SDK at it, runs a
// short session, waits until every event has been delivered, prints what
// was sent and what came back, and exits 0.
//
// In the session the user touches the app, sees a home screen, opens a
// product screen (which the service's "viewConfigs" rule names "Product
// Detail", so its screen view is reported as that action), adds the product
// to the cart there, goes back and buys it. Along the way the platform hands
// the app delegate a push token, a marketer's test link ("tsrdemo://test/all")
// is opened, and the user opens a push notification of an experience; the
// SDK intercepts the app's delegates and reports each of them. The local
// service answers with a data campaign for the demo's own target
// ("home-banner") and one for each --handle TARGET, and the demo's handlers
// print each campaign they receive as one line:
//   campaign: <target> <the campaign's data as compact JSON>
// With --config FILE it starts the SDK with that client
// configuration (a JSON object: "account", "dataset", "domain", "protocol",
// "port", "useCDN", ...) and talks to that service instead.
#include <stdlib.h>

#include <any>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "core/config.h"
#include "platform/sim/sim_notifications.h"
#include "platform/sim/sim_platform.h"
#include "platform/user_notifications.h"
#include "service/local_service.h"
#include "tessarin/context.h"
#include "tessarin/items.h"
#include "tessarin/log.h"
#include "tessarin/order.h"
#include "tessarin/screen.h"
#include "tessarin/tessarin.h"
#include "transport/queued_event_sender.h"
#include "util/di.h"

namespace {

using tessarin::Json;
using tessarin::platform::sim::SimPlatform;
using tessarin::service::Endpoint;
using tessarin::service::LocalService;

struct Options {
  std::string account = "demo-account";
  std::string dataset = "demo-dataset";
  std::string config_file;
  std::string data_dir;
  long log_level = tessarin::TSRLogLevelDebug;
  double timeout = 10;
  std::vector<std::string> handle = {"home-banner"};
};

void Usage() {
  std::cout << "usage: tessarin-demo [--account NAME] [--dataset NAME] [--config FILE]\n"
               "                     [--data-dir DIR] [--log-level N] [--timeout SECONDS]\n"
               "                     [--handle TARGET]...\n"
               "\n"
               "Each --handle TARGET registers a campaign handler for TARGET on the global context\n"
               "(besides the demo's own \"home-banner\"); every campaign delivered to one is printed\n"
               "as 'campaign: <target> <data as JSON>'. The local service answers one data campaign\n"
               "per handled target.\n"
               "\n"
               "Without --config the demo starts the local Tessarin service on a free loopback port\n"
               "and points the SDK at it. --config FILE holds a client configuration (JSON object)\n"
               "for a service of your own. --data-dir keeps the SDK's files there (default: a new\n"
               "temporary directory). The SDK's log is printed at --log-level (default 4000, Debug).\n";
}

bool Parse(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    std::string value;
    auto take = [&]() {
      if (i + 1 >= argc) return false;
      value = argv[++i];
      return true;
    };
    if (arg == "--help" || arg == "-h") return false;
    if (!take()) return false;
    if (arg == "--account") options->account = value;
    else if (arg == "--dataset") options->dataset = value;
    else if (arg == "--config") options->config_file = value;
    else if (arg == "--data-dir") options->data_dir = value;
    else if (arg == "--log-level") options->log_level = std::strtol(value.c_str(), nullptr, 10);
    else if (arg == "--timeout") options->timeout = std::strtod(value.c_str(), nullptr);
    else if (arg == "--handle") options->handle.push_back(value);
    else return false;
  }
  return true;
}

// Runs the app until `done` holds or `seconds` of real time pass. Virtual
// time moves on in small steps meanwhile, so that the SDK's own timers (the
// event queue's throttle, say) fire as they would while the user waits.
bool WaitFor(SimPlatform& sim, const std::function<bool()>& done, double seconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    if (sim.runUntil(done, 0.02)) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    sim.advance(0.5);
  }
}

// Events the service has received that `matches` accepts.
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
  return EventsWhere(service, [action](const Json& event) { return event.value("action", std::string()) == action; });
}

// A method of the app's own that prints that it ran and answers `result`.
tessarin::platform::ImpPtr AppMethod(std::string what, std::any result = {}) {
  return tessarin::platform::MakeImp(
      [what = std::move(what), result](tessarin::platform::HostObject&, const tessarin::platform::HostArgs&) {
        std::cout << "app: " << what << "\n";
        return result;
      });
}

std::string TemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tessarin-demo-XXXXXX").string();
  const char* made = mkdtemp(pattern.data());
  return made ? made : "";
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, &options)) {
    Usage();
    return 2;
  }

  // The client configuration and, unless one is given, the local service.
  std::unique_ptr<LocalService> service;
  Json client;
  if (!options.config_file.empty()) {
    std::ifstream in(options.config_file);
    std::stringstream text;
    text << in.rdbuf();
    client = Json::parse(text.str(), nullptr, false);
    if (!in || client.is_discarded() || !client.is_object()) {
      std::cerr << "tessarin-demo: " << options.config_file << " does not hold a JSON object\n";
      return 2;
    }
  } else {
    service = std::make_unique<LocalService>();
    if (!service->start()) {
      std::cerr << "tessarin-demo: could not start the local Tessarin service\n";
      return 1;
    }
    // The product screen is reported by its own action name; the home
    // screen matches no rule and sends no view action.
    Json view_configs = Json::array(
        {Json{{"action", "Product Detail"}, {"matchRule", "$[?(@.className == 'ProductViewController')]"}}});
    service->setAppConfig(options.dataset, Json{{"eventThrottleInterval", 10},
                                                {"trackOrientation", true},
                                                {"viewConfigs", view_configs}});
    Json campaigns = Json::array();
    int n = 0;
    for (const std::string& target : options.handle) {
      ++n;
      campaigns.push_back(LocalService::DataCampaign(
          target, Json{{"headline", "Offer " + std::to_string(n) + " for " + target}, {"discount", 5 * n}},
          "demo-" + std::to_string(n), "Global"));
    }
    service->queueCampaigns(std::move(campaigns));
    service->setAnonAffinityId("demo-affinity-1");
    std::cout << "demo: local Tessarin service at " << service->baseUrl() << "\n";
    client = Json{{"account", options.account}, {"dataset", options.dataset}, {"domain", "127.0.0.1"},
                  {"protocol", "http"}, {"port", service->port()}, {"useCDN", false}};
  }

  // The app: a simulated device whose files live in the data directory.
  std::string data_dir = options.data_dir.empty() ? TemporaryDirectory() : options.data_dir;
  auto sim = std::make_shared<SimPlatform>(data_dir);
  sim->app().bundle_identifier = "com.tessarin.demo";
  sim->app().info["CFBundleShortVersionString"] = "1.0.0";
  for (const char* name : {"HomeViewController", "ProductViewController"}) {
    sim->app().runtime().defineClass(name, "UIViewController");
  }
  // The user allows notifications, the app registers for them, and the
  // platform has a device token to hand to the app delegate.
  sim->app().notification_settings = tessarin::platform::sim::SimApplication::AllowedNotificationSettings();
  sim->app().registered_for_remote_notifications = true;
  sim->app().device_token = std::string("\x5e\x55\x10\x00\xca\xfe\xf0\x0d", 8);
  // The app's delegates, with their own code; the SDK intercepts them.
  using tessarin::platform::sim::DefineAppClass;
  auto& runtime = sim->app().runtime();
  auto app_delegate_class = DefineAppClass(
      runtime, "DemoAppDelegate",
      {{"application:didRegisterForRemoteNotificationsWithDeviceToken:", AppMethod("received its push token")},
       {"application:openURL:options:", AppMethod("asked to open a URL, not one of its own", false)}});
  auto notification_delegate_class = DefineAppClass(
      runtime, "DemoNotificationDelegate",
      {{"userNotificationCenter:didReceiveNotificationResponse:withCompletionHandler:",
        AppMethod("the user opened a notification")}},
      "NSObject");
  if (!client.contains("usePushNotifications")) client["usePushNotifications"] = true;

  // The level goes first so the SDK's whole start is visible.
  tessarin::TSRLogger::setLogLevel(options.log_level);
  auto sdk = tessarin::Tessarin::createWithEnvironment(std::make_shared<tessarin::TSRUtilityDI>(sim));
  sdk->setLogLevel(options.log_level);

  // The app's own handlers, registered before the start so that no
  // campaign can arrive ahead of them. They run on the app's main thread.
  std::size_t delivered = 0;
  auto global = sdk->globalContext();
  if (global) {
    for (const std::string& target : options.handle) {
      global->setCampaignHandler(
          [&delivered, &sdk, target](const std::shared_ptr<tessarin::TSRCampaign>& campaign) {
            std::cout << "campaign: " << target << " " << tessarin::JsonDump(campaign->data()) << std::endl;
            ++delivered;
            // The app reports that it showed the campaign.
            if (auto context = sdk->globalContext()) context->trackImpression(campaign);
          },
          target);
    }
  }

  // A short session: launch (the app sets its delegates), consent and
  // start, an identity and an attribute; the user touches the app, so its
  // screens become active. The app registers for push notifications, and
  // the platform delivers the device token to its delegate.
  sim->app().setDelegate(std::make_shared<tessarin::platform::HostObject>(app_delegate_class));
  // The notification centre holds its delegate weakly; the app keeps it.
  auto notification_delegate = std::make_shared<tessarin::platform::HostObject>(notification_delegate_class);
  tessarin::platform::sim::CurrentNotificationCenter(runtime)->send("setDelegate:", {notification_delegate});
  sim->launchApp();
  sim->app().applicationObject()->send("registerForRemoteNotifications");
  sdk->startWithConfiguration(client);
  sdk->setUserId("demo-user");
  sdk->setUserAttribute("gold", "tier");
  sim->app().sendEvent();
  bool loaded = WaitFor(*sim, [&] { return sdk->isServerConfigLoaded() || sdk->disabled(); }, options.timeout);

  // A marketer's test link: from now on events ask for all test campaigns.
  tessarin::platform::sim::SendToAppDelegate(sim->app(), "application:openURL:options:",
                                             {std::string("tsrdemo://test/all"), Json::object()});
  sim->runUntilIdle();
  std::cout << "demo: test selection " << sdk->testExperienceId().value_or("(none)") << "\n";

  // Home, then the product screen over it: the product is viewed and put
  // in the cart there, so those events carry the product screen's context.
  auto home = sim->app().makeViewController("HomeViewController");
  home->setTitle("Home");
  auto window = sim->app().addWindow(home);
  sim->app().appear(home);
  sim->app().sendEvent();
  auto shoes = tessarin::TSRProduct::productWithId("sku-42", "Trail Shoes", 89.0, "https://shop.example/sku-42",
                                                   "https://shop.example/sku-42.png", "Light trail shoes");
  shoes->currency = "EUR";
  shoes->categories.push_back(tessarin::TSRCategory::categoryWithId("shoes"));
  auto line = tessarin::TSRLineItem::lineItemWithItem(shoes, 1);

  auto product = sim->app().makeViewController("ProductViewController");
  product->setTitle("Trail Shoes");
  home->present(product);
  sim->app().disappear(home);
  sim->app().appear(product);
  sim->app().sendEvent();
  if (auto screen = tessarin::tessarinScreen(product)) {
    std::cout << "demo: product screen is context " << screen->identifier() << ", view action "
              << screen->viewAction().value_or("(none)") << "\n";
    screen->viewItem(shoes);
    screen->addToCart(line);
  }
  // The user reads about the product for a while before going back; the
  // screen reports that time when it goes.
  sim->runUntilIdle();
  sim->advance(12);

  // A push notification of an experience, opened by the user: a click.
  Json push = {{"aps", {{"alert", "Trail Shoes are back"}}}, {"tsr-eid", "demo-exp-7"}};
  tessarin::platform::sim::DeliverNotificationResponse(
      runtime, tessarin::platform::sim::MakeNotificationResponse(
                   runtime, push, tessarin::platform::kUNNotificationDefaultActionIdentifier));

  // Back home, and the purchase.
  sim->app().disappear(product);
  home->dismissPresented();
  sim->app().appear(home);
  sim->app().sendEvent();
  if (global) {
    auto order = tessarin::TSROrder::orderWithId("order-1001", {line}, 89.0);
    order->totalValueCurrency = "EUR";
    global->purchase(order);
  }
  // The purchase reaches the queue through the main queue; let it get
  // there before judging by the queue's count whether all was delivered.
  sim->runUntilIdle();

  auto queue = [&] { return std::dynamic_pointer_cast<tessarin::TSRQueuedEventSender>(sdk->eventSender()); };
  // Delivered: the queue is empty and, with the local service, its answer
  // (which carries an affinity id) has been read.
  bool drained = loaded && WaitFor(
                               *sim,
                               [&] {
                                 auto q = queue();
                                 return q && q->eventQueueCount() == 0 &&
                                        (!service || (sdk->config().stringForKey("__visitorAffinityId") &&
                                                      delivered >= options.handle.size() &&
                                                      EventsWith(*service, ".cStat") >= options.handle.size() + 1 &&
                                                      EventsWith(*service, "_ptu") >= 1 &&
                                                      (!global || EventsWithAction(*service, "Purchase") >= 1)));
                               },
                               options.timeout);

  std::cout << "demo: server configuration " << (sdk->isServerConfigLoaded() ? "loaded" : "not loaded")
            << (sdk->disabled() ? " (SDK disabled by the service)" : "") << "\n";
  if (service) {
    for (const auto& request : service->requests()) {
      std::cout << "sent: " << request.method << " " << request.path << " -> " << request.status << "\n";
      if (!request.body.is_null()) std::cout << "      " << tessarin::JsonDump(request.body) << "\n";
    }
  }
  std::cout << "came back: anonymous affinity id "
            << sdk->config().stringForKey("__visitorAffinityId").value_or("(none)") << ", " << delivered
            << " campaign(s) delivered to handlers\n";

  sdk->stop();
  sim->runUntilIdle();
  std::cout << "demo: " << (drained ? "every event delivered" : "events still queued") << ", stopped\n";
  // The process ends here and the service's threads with it; stopping the
  // service would first wait out the SDK's kept-alive connection.
  service.release();
  return drained ? 0 : 1;
}

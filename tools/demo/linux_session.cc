// The app describes itself to the host, reports its lifecycle and the
// user's input, and does its tracking on the global context: a Linux app
// has no view controllers, so there are no screens. It gives the SDK its
// window's size and composites the SDK's overlay (the in-app message) over
// its own frame (linux_message.cc). Having no delegates
// for the SDK to intercept, it hands the SDK its push token, the links it
// is asked to open and the notifications the user opens itself. The SDK
// works on its own main loop thread, so the campaign handlers run there,
// while the app's thread waits for what it needs with deadlines.
#include "demo/linux_session.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <thread>

#include "demo/console.h"
#include "demo/linux_message.h"
#include "demo/message_demo.h"
#include "demo/shop.h"
#include "tessarin/context.h"
#include "tessarin/events.h"
#include "tessarin/host.h"
#include "tessarin/tessarin.h"

namespace tessarin::demo {
namespace {

using Clock = std::chrono::steady_clock;

// The action a load run records.
constexpr const char* kLoadAction = "Load Event";
// A load run's flush may take --timeout for every this many events.
constexpr double kEventsPerTimeout = 1000;
// The app's window: a phone-sized one, in points and pixels per point.
constexpr double kScreenWidth = 375;
constexpr double kScreenHeight = 667;
constexpr double kScreenScale = 2;

Clock::time_point After(double seconds) {
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Checks `done` every few milliseconds until it holds or `deadline` passes.
bool WaitUntil(const std::function<bool()>& done, Clock::time_point deadline) {
  for (;;) {
    if (done()) return true;
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

std::string Fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string Hex(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

// For --stay: whoever watches from outside ends the process.
[[noreturn]] void StayUntilKilled(std::size_t recorded) {
  Say(Line() << "recorded " << recorded << " events");
  for (;;) pause();
}

class LinuxApp {
 public:
  LinuxApp(const Options& options, DemoService& service) : options_(options), service_(service) {}

  // Describes the app to the host, makes the SDK and registers the
  // campaign handlers; false when the host was set up before.
  bool Create(const std::string& data_dir) {
    TessarinHostOptions host;
    host.bundleIdentifier = "com.tessarin.demo";
    host.bundleVersion = "1.0.0";
    host.dataDirectory = data_dir;
    // The app's window, on which the SDK shows its messages; the app keeps
    // a copy of what the SDK draws over it.
    host.screenWidth = kScreenWidth;
    host.screenHeight = kScreenHeight;
    host.screenScale = kScreenScale;
    host.overlayCallback = OverlayCopy::CallbackFor(overlay_);
    if (!TessarinHost::configure(host)) {
      Say("demo: the Linux host was already set up");
      return false;
    }
    // The level goes first so the SDK's whole start is visible.
    TSRLogger::setLogLevel(options_.log_level);
    sdk_ = Tessarin::sharedInstance();
    sdk_->setLogLevel(options_.log_level);
    global_ = sdk_->globalContext();
    Say("demo: Linux host, data directory " + data_dir);
    // Registered before the start, so that no campaign can arrive ahead
    // of its handler. The SDK calls them on its main loop thread.
    auto delivered = delivered_;
    for (const std::string& target : options_.handle) {
      global_->setCampaignHandler(
          [delivered, target](const std::shared_ptr<TSRCampaign>& campaign) {
            Say("campaign: " + target + " " + JsonDump(campaign->data()));
            // The app showed it, and says so.
            if (auto context = Tessarin::sharedInstance()->globalContext()) context->trackImpression(campaign);
            delivered->fetch_add(1);
          },
          target);
    }
    return true;
  }

  // Launch, the user's consent and the start, the first touch; then waits
  // for the service's configuration, which lets the SDK send.
  bool Launch() {
    TessarinHost::applicationDidFinishLaunching();
    sdk_->startWithConfiguration(service_.client);
    TessarinHost::applicationDidBecomeActive();
    TessarinHost::reportUserEvent();
    sdk_->setUserId("demo-user");
    sdk_->setUserAttribute("gold", "tier");
    Say("app: launched, started Tessarin, became active; the user (demo-user, tier gold) touched it");
    auto start = Clock::now();
    bool loaded = WaitUntil([this] { return sdk_->isServerConfigLoaded() || sdk_->disabled(); },
                            After(options_.timeout));
    if (sdk_->disabled()) {
      Say("demo: the service switched Tessarin off");
      return false;
    }
    Say(loaded ? "demo: server configuration loaded after " + Fixed(SecondsSince(start), 2) + " s"
               : "demo: no server configuration within " + Fixed(options_.timeout, 1) + " s; nothing is sent");
    return loaded;
  }

  int Session(bool loaded) {
    Shop shop;
    const std::string token = DemoDeviceToken();
    sdk_->setAPNSToken(token);
    Say("app: handed Tessarin its push token " + Hex(token));
    bool handled = sdk_->handleOpenURL(kDemoTestLink);
    Say(std::string("app: asked to open ") + kDemoTestLink + ": " +
        (handled ? "Tessarin's link, handled by Tessarin" : "not Tessarin's"));

    TessarinHost::reportUserEvent();
    global_->viewItem(shop.shoes);
    Say("app: the user viewed sku-42 (Trail Shoes)");
    TessarinHost::reportUserEvent();
    global_->addToCart(shop.line);
    Say("app: the user put it in the cart");
    // The user clicks the desktop notification itself: its default action.
    sdk_->handleNotification(DemoPushNotification(), TessarinNotificationDefaultActionIdentifier);
    Say("app: the user opened a notification of experience demo-exp-7");
    TessarinHost::reportUserEvent();
    global_->purchase(shop.order);
    Say("app: the user bought it (order-1001)");
    if (options_.stay) StayUntilKilled(3);

    // With the local service, every handled target gets a campaign; its
    // impression is an event of its own, so it must be there to flush.
    auto start = Clock::now();
    const std::size_t handlers = options_.handle.size();
    bool arrived = !service_.local || WaitUntil([&] { return Delivered() >= handlers; }, After(options_.timeout));
    // The in-app message: with the local service one always comes; another
    // service may send none, which matters only when the user was to act.
    bool acted = !loaded || !(service_.local || options_.needsMessage()) ||
                 ActOnLinuxMessage(options_, *overlay_, kDemoAppBackground);
    bool drained = loaded && Flush(options_.timeout, start);

    if (auto* local = service_.local.get()) {
      PrintRequestSummaries(*local, options_.verbose);
      std::string affinity = "(none)";
      for (const auto& request : local->requests(service::Endpoint::kEvents)) {
        if (!request.body.is_array()) continue;
        for (const Json& event : request.body) {
          if (!event.is_object()) continue;
          affinity = event.value(TSREvent_anonAffinityId, affinity);
        }
      }
      Say(Line() << "came back: " << Delivered() << " campaign(s) delivered to handlers; anonymous affinity id "
                 << affinity << " on later events");
      std::size_t push_events = EventsWith(*local, TSREvent_pushTokenUpdates);
      Say(push_events ? "demo: push token reported"
                      : "demo: push token not reported (the SDK finds the notification settings of a Linux host "
                        "not determined)");
      Say(Line() << "demo: " << EventsWith(*local, TSREvent_testMessages)
                 << " event(s) asked for test campaigns after the link");
      std::size_t clicks = EventsWhere(*local, [](const Json& event) {
        return event.value(TSREvent_campaignStats, std::string()).find("\"stat\":\"c\"") != std::string::npos;
      });
      Say(Line() << "demo: " << clicks << " click(s) on notifications reported");
      PrintCampaignStats(*local);
      arrived = arrived && EventsWithAction(*local, TSRItemAction_purchase) >= 1;
    }
    Say("demo: events: " + sdk_->eventDiagnostics().description());
    Terminate();
    bool ok = drained && arrived && acted;
    Say(ok ? "demo: every event delivered" : "demo: not everything was delivered");
    return ok ? 0 : 1;
  }

  int Load(long count) {
    const std::uint64_t sent_before = sdk_->eventDiagnostics().eventsSent;
    auto start = Clock::now();
    if (options_.rate > 0) {
      // Paced: event i is due i/rate seconds after the start.
      for (long i = 0; i < count; ++i) {
        std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(
                                                  std::chrono::duration<double>(i / options_.rate)));
        global_->trackAction(kLoadAction);
      }
    } else {
      for (long i = 0; i < count; ++i) global_->trackAction(kLoadAction);
    }
    double recording = SecondsSince(start);
    Say(Line() << "demo: recorded " << count << " \"" << kLoadAction << "\" actions in " << Fixed(recording * 1000, 2)
               << " ms");
    if (options_.stay) StayUntilKilled(static_cast<std::size_t>(count));

    double timeout = options_.timeout * std::max(1.0, count / kEventsPerTimeout);
    bool drained = Flush(timeout, start);
    double delivering = SecondsSince(start);
    TSREventDiagnostics diagnostics = sdk_->eventDiagnostics();
    Say("demo: events: " + diagnostics.description());
    // Delivered: what reached the local service, else what the SDK counts.
    std::uint64_t delivered = diagnostics.eventsSent - sent_before;
    bool all_arrived = true;
    if (auto* local = service_.local.get()) {
      std::size_t arrived = EventsWithAction(*local, kLoadAction);
      delivered = arrived;
      Say(Line() << "demo: the service received " << arrived << " \"" << kLoadAction << "\" events (" << count
                 << " recorded by this run) in " << local->requests(service::Endpoint::kEvents).size()
                 << " requests");
      // A data directory used before may hold earlier runs' events too.
      all_arrived = arrived >= static_cast<std::size_t>(count);
    }
    Say(Line() << "demo: rate: " << delivered << " events delivered in " << Fixed(delivering, 2) << " s from the "
               << "first recorded, " << Fixed(delivered / std::max(delivering, 1e-6), 0) << " events/s");
    Terminate();
    bool ok = drained && diagnostics.dropped() == 0 && all_arrived;
    Say(ok ? "demo: every event delivered" : "demo: not everything was delivered");
    return ok ? 0 : 1;
  }

 private:
  std::size_t Delivered() const { return delivered_->load(); }

  // Sends what is queued and waits until the queue is empty.
  bool Flush(double timeout, Clock::time_point since) {
    bool drained = sdk_->flush(timeout);
    Say(drained ? "demo: flushed, the queue is empty after " + Fixed(SecondsSince(since), 2) + " s"
                : "demo: events still queued after " + Fixed(SecondsSince(since), 2) + " s");
    return drained;
  }

  void Terminate() {
    TessarinHost::applicationWillTerminate();
    Say("app: will terminate");
  }

  const Options& options_;
  DemoService& service_;
  std::shared_ptr<Tessarin> sdk_;
  std::shared_ptr<TSRContext> global_;
  std::shared_ptr<std::atomic<std::size_t>> delivered_ = std::make_shared<std::atomic<std::size_t>>(0);
  std::shared_ptr<OverlayCopy> overlay_ = std::make_shared<OverlayCopy>();
};

}  // namespace

int RunLinuxApp(const Options& options, DemoService& service, const std::string& data_dir) {
  LinuxApp app(options, service);
  if (!app.Create(data_dir)) return 1;
  bool loaded = app.Launch();
  if (!options.events) return app.Session(loaded);
  if (!loaded) return 1;
  return app.Load(*options.events);
}

}  // namespace tessarin::demo

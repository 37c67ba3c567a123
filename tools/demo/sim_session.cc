// The app runs on the simulated host: its screens, touches and lifecycle
// are scripted and the SDK's timers run on virtual time, while every
// request goes over real HTTP.
//
// In the session the user touches the app, sees a home screen, opens a
// product screen (which the service's "viewConfigs" rule names "Product
// Detail", so its screen view is reported as that action), adds the product
// to the cart there, goes back and buys it. Along the way the platform hands
// the app delegate a push token, a marketer's test link is opened, and the
// user opens a push notification of an experience; the SDK intercepts the
// app's delegates and reports each of them.
//
// The SDK shows the in-app message the service answers over the app's
// windows on the simulated screen; the user's finger on it is a scripted
// touch played into that screen on virtual time.
#include "demo/sim_session.h"

#include <any>
#include <chrono>
#include <functional>
#include <memory>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "demo/console.h"
#include "demo/message_demo.h"
#include "demo/shop.h"
#include "demo/sim_wait.h"
#include "platform/sim/sim_notifications.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/user_notifications.h"
#include "tessarin/context.h"
#include "tracking/screen_impl.h"
#include "transport/queued_event_sender.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"
#include "util/config.h"

namespace tessarin::demo {
namespace {

using platform::sim::SimPlatform;
using platform::ui::sim::SimUI;

// A method of the app's own that prints that it ran and answers `result`.
platform::ImpPtr AppMethod(std::string what, std::any result = {}) {
  return platform::MakeImp([what = std::move(what), result](platform::HostObject&, const platform::HostArgs&) {
    Say("app: " + what);
    return result;
  });
}

// The message the SDK shows now, if any.
std::shared_ptr<TSRUIMessageViewController> ShownMessage(TessarinImpl& sdk) {
  auto manager = std::dynamic_pointer_cast<TSRUIManager>(sdk.uiManager());
  return manager ? manager->newestMessage() : nullptr;
}

// Waits for the in-app message to appear, then takes the screenshot and
// makes the gesture the options ask for; prints what happened. False when
// something asked for could not be done.
bool ActOnMessage(const Options& options, SimPlatform& sim, TessarinImpl& sdk) {
  std::shared_ptr<TSRUIMessageViewController> message;
  // It has appeared when its fade-in is over, which is when its impression
  // is tracked.
  bool appeared = WaitFor(
      sim,
      [&] {
        message = ShownMessage(sdk);
        return message && message->trackedImpression();
      },
      options.timeout);
  if (!appeared) {
    Say(Line() << "demo: no in-app message appeared within " << options.timeout << " s");
    return !options.needsMessage();
  }
  auto& screen = SimUI::of(sim).screen();
  render::MessageFrames frames = render::FramesOf(*message);
  Say(DescribeMessage(frames));
  bool ok = options.screenshot.empty() || WriteScreenshot(options.screenshot, screen.snapshot());

  std::string said, error;
  auto gesture = MessageGesture(options, frames, &said, &error);
  if (!gesture) {
    if (!error.empty()) Say("demo: " + error);
    return ok && error.empty();
  }
  auto playback = gesture->play(screen, sim);
  sim.advance(gesture->duration() + 0.001);
  Say("demo: the user " + said);
  // The message fades out (or a swipe carries it away) after the action.
  WaitFor(sim, [&] { return ShownMessage(sdk) != message; }, 2 * message->animDuration() + 1);
  Say(ShownMessage(sdk) == message ? "demo: the message is still shown" : "demo: the message is gone");
  for (const std::string& url : sim.app().opened_urls) Say("app: the system was asked to open " + url);
  return ok && playback->finished;
}

}  // namespace

int RunSimSession(const Options& options, DemoService& demo, const std::string& data_dir) {
  service::LocalService* service = demo.local.get();
  Json client = demo.client;

  // The app: a simulated device whose files live in the data directory.
  auto sim = std::make_shared<SimPlatform>(data_dir);
  sim->app().bundle_identifier = "com.tessarin.demo";
  sim->app().info["CFBundleShortVersionString"] = "1.0.0";
  for (const char* name : {"HomeViewController", "ProductViewController"}) {
    sim->app().runtime().defineClass(name, "UIViewController");
  }
  // The user allows notifications, the app registers for them, and the
  // platform has a device token to hand to the app delegate.
  sim->app().notification_settings = platform::sim::SimApplication::AllowedNotificationSettings();
  sim->app().registered_for_remote_notifications = true;
  sim->app().device_token = DemoDeviceToken();
  // The app's delegates, with their own code; the SDK intercepts them.
  using platform::sim::DefineAppClass;
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

  // The screen, before the SDK is made, so that it shows its messages there.
  SimUI::of(*sim);

  // The level goes first so the SDK's whole start is visible.
  TSRLogger::setLogLevel(options.log_level);
  auto sdk = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  sdk->setLogLevel(options.log_level);

  // The app's own handlers, registered before the start so that no
  // campaign can arrive ahead of them. They run on the app's main thread.
  std::size_t delivered = 0;
  auto global = sdk->globalContext();
  if (global) {
    for (const std::string& target : options.handle) {
      global->setCampaignHandler(
          [&delivered, &sdk, target](const std::shared_ptr<TSRCampaign>& campaign) {
            Say("campaign: " + target + " " + JsonDump(campaign->data()));
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
  sim->app().setDelegate(std::make_shared<platform::HostObject>(app_delegate_class));
  // The notification centre holds its delegate weakly; the app keeps it.
  auto notification_delegate = std::make_shared<platform::HostObject>(notification_delegate_class);
  platform::sim::CurrentNotificationCenter(runtime)->send("setDelegate:", {notification_delegate});
  sim->launchApp();
  sim->app().applicationObject()->send("registerForRemoteNotifications");
  sdk->startWithConfiguration(client);
  sdk->setUserId("demo-user");
  sdk->setUserAttribute("gold", "tier");
  sim->app().sendEvent();
  bool loaded = WaitFor(*sim, [&] { return sdk->isServerConfigLoaded() || sdk->disabled(); }, options.timeout);

  // A marketer's test link: from now on events ask for all test campaigns.
  platform::sim::SendToAppDelegate(sim->app(), "application:openURL:options:",
                                   {std::string(kDemoTestLink), Json::object()});
  sim->runUntilIdle();
  Say("demo: test selection " + sdk->testExperienceId().value_or("(none)"));

  // Home, then the product screen over it: the product is viewed and put
  // in the cart there, so those events carry the product screen's context.
  auto home = SimUI::of(*sim).makeViewController("HomeViewController");
  home->setTitle("Home");
  home->kit().view()->setBackgroundColor(platform::ui::Color::fromRGBA(kDemoAppBackground << 8 | 0xff));
  auto window = SimUI::of(*sim).addWindow(home);
  SimUI::of(*sim).appear(home);
  sim->app().sendEvent();
  Shop shop;

  auto product = SimUI::of(*sim).makeViewController("ProductViewController");
  product->setTitle("Trail Shoes");
  home->present(product);
  SimUI::of(*sim).disappear(home);
  SimUI::of(*sim).appear(product);
  sim->app().sendEvent();
  if (auto screen = tessarinScreen(product)) {
    Say("demo: product screen is context " + screen->identifier() + ", view action " +
        screen->viewAction().value_or("(none)"));
    screen->viewItem(shop.shoes);
    screen->addToCart(shop.line);
  }
  // The user reads about the product for a while before going back; the
  // screen reports that time when it goes.
  sim->runUntilIdle();
  sim->advance(12);

  // A push notification of an experience, opened by the user: a click.
  platform::sim::DeliverNotificationResponse(
      runtime, platform::sim::MakeNotificationResponse(runtime, DemoPushNotification(),
                                                       platform::kUNNotificationDefaultActionIdentifier));

  // Back home, and the purchase.
  SimUI::of(*sim).disappear(product);
  home->dismissPresented();
  SimUI::of(*sim).appear(home);
  sim->app().sendEvent();
  if (global) global->purchase(shop.order);
  // The purchase reaches the queue through the main queue; let it get
  // there before judging by the queue's count whether all was delivered.
  sim->runUntilIdle();

  auto queue = [&] { return std::dynamic_pointer_cast<TSRQueuedEventSender>(sdk->eventSender()); };
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

  // The in-app message: with the local service one always comes; another
  // service may send none, which matters only when the user was to act.
  bool acted = true;
  if (loaded && (service || options.needsMessage())) {
    acted = ActOnMessage(options, *sim, *sdk);
    // What the message reported goes out before the tally.
    sim->runUntilIdle();
    bool flushed = false;
    if (auto q = queue()) q->flush([&flushed] { flushed = true; });
    drained = WaitFor(*sim, [&] { return flushed; }, options.timeout) && drained;
  }

  Say(Line() << "demo: server configuration " << (sdk->isServerConfigLoaded() ? "loaded" : "not loaded")
             << (sdk->disabled() ? " (SDK disabled by the service)" : ""));
  if (service) {
    PrintRequests(*service);
    PrintCampaignStats(*service);
  }
  Say(Line() << "came back: anonymous affinity id "
             << sdk->config().stringForKey("__visitorAffinityId").value_or("(none)") << ", " << delivered
             << " campaign(s) delivered to handlers");

  sdk->stop();
  sim->runUntilIdle();
  Say(Line() << "demo: " << (drained ? "every event delivered" : "events still queued") << ", stopped");
  return drained && acted ? 0 : 1;
}

}  // namespace tessarin::demo

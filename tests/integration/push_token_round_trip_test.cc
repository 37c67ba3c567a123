// A push token from the app delegate's callback to the local Tessarin
// service: the token-update event as the service receives it.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "service/local_service.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using service::Endpoint;
using service::LocalService;

TEST(PushTokenRoundTrip, TheTokenUpdateEventReachesTheServiceWithItsTokensAsText) {
  LocalService service;
  ASSERT_TRUE(service.start());
  service.setAppConfig("shop", Json{{"eventThrottleLimit", 500}});
  auto sim = std::make_shared<SimPlatform>();
  sim->app().notification_settings = platform::sim::SimApplication::AllowedNotificationSettings();
  sim->app().registered_for_remote_notifications = true;
  auto facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  sim->launchApp();
  facade->startWithConfiguration(Json{{"account", "acme"},
                                      {"dataset", "shop"},
                                      {"domain", "127.0.0.1"},
                                      {"protocol", "http"},
                                      {"port", service.port()},
                                      {"useCDN", false},
                                      {"usePushNotifications", true}});
  ASSERT_TRUE(sim->runUntil([&] { return facade->isServerConfigLoaded(); }, 15.0));

  auto received = [&] {
    std::vector<Json> events;
    for (const auto& batch : service.requests(Endpoint::kEvents)) {
      for (const Json& event : batch.body) {
        if (event.value(".se", "") == "ptu") events.push_back(event);
      }
    }
    return events;
  };
  // As the app delegate's interception passes it (swizzling is on by default).
  facade->setAPNSToken(std::string("\xde\xad\xbe\xef", 4), true);
  ASSERT_TRUE(sim->runUntil([&] { return received().size() == 1; }, 15.0));
  facade->setAPNSToken(std::string("\x01\x02", 2), true);
  ASSERT_TRUE(sim->runUntil([&] { return received().size() == 2; }, 15.0));

  auto events = received();
  EXPECT_EQ(events[0].value("_ptu", ""), R"({"APNS_SANDBOX":{"token":"deadbeef"}})");
  EXPECT_EQ(events[1].value("_ptu", ""), R"({"APNS_SANDBOX":{"token":"0102","previous":"deadbeef"}})");
  EXPECT_EQ(events[1].value(".mbv", ""), "1.5.0");
  EXPECT_FALSE(events[1].value(".anonId", "").empty());
  facade.reset();
  sim.reset();
}

}  // namespace
}  // namespace tessarin

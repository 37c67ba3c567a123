// The SDK against the local Tessarin service over loopback: real HTTP and
// HTTPS traffic, the simulated host's virtual time for everything else.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "service/local_service.h"
#include "support/log_capture.h"
#include "transport/queued_event_sender.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using service::Endpoint;
using service::LocalService;
using testing::LogCapture;

class SdkRoundTrip : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    LocalService::Options options;
    options.https = GetParam();
    service = std::make_unique<LocalService>(options);
    ASSERT_TRUE(service->start());
    service->setAppConfig("shop", Json{{"eventThrottleLimit", 500}});
    if (options.https) {
      platform::curl::CurlTransportOptions transport;
      transport.caInfoPath = service->certificatePath();
      sim->setTransportOptions(transport);
    }
  }
  void TearDown() override {
    // The client goes first: its transport closes the kept-alive connection,
    // so the service does not wait for it to time out.
    facade.reset();
    sim.reset();
    service.reset();
  }

  void MakeFacade() {
    facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  }
  Json Client(const std::string& dataset = "shop") const {
    return Json{{"account", "acme"},    {"dataset", dataset},
                {"domain", "127.0.0.1"}, {"protocol", GetParam() ? "https" : "http"},
                {"port", service->port()}, {"useCDN", false}};
  }
  std::shared_ptr<TSRQueuedEventSender> Queue() {
    return std::dynamic_pointer_cast<TSRQueuedEventSender>(facade->eventSender());
  }
  bool RunUntil(const std::function<bool()>& done) { return sim->runUntil(done, 15.0); }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::unique_ptr<LocalService> service;
  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<TessarinImpl> facade;
};

TEST_P(SdkRoundTrip, ConfigurationThenEventsThenResponses) {
  service->setAnonAffinityId("aff-9");
  MakeFacade();
  sim->launchApp();
  facade->startWithConfiguration(Client());
  ASSERT_TRUE(RunUntil([&] { return facade->isServerConfigLoaded(); }));
  EXPECT_EQ(facade->config().longForKey("eventThrottleLimit"), 500);
  auto config_requests = service->requests(Endpoint::kAppConfig);
  ASSERT_EQ(config_requests.size(), 1u);
  EXPECT_EQ(config_requests[0].configParams,
            (std::vector<std::string>{"iOS", "com.tessarin.simhost", "1.0", "1.5.0"}));

  facade->setUserId("user-1");
  facade->setUserAttribute("gold", "tier");
  facade->sendAction("Demo Action", "Global", Json::object());
  // The start's own launch and install actions go first, in the same
  // batch or an earlier one.
  auto demo_action = [&]() -> std::optional<Json> {
    for (const auto& batch : service->requests(Endpoint::kEvents)) {
      for (const Json& event : batch.body) {
        if (event.value("action", "") == "Demo Action") return event;
      }
    }
    return std::nullopt;
  };
  ASSERT_TRUE(RunUntil([&] {
    return demo_action() && Queue()->eventQueueCount() == 0 && facade->config().stringForKey("__visitorAffinityId");
  }));
  auto batches = service->requests(Endpoint::kEvents);
  const Json action = *demo_action();
  EXPECT_EQ(action["userId"], "user-1");
  EXPECT_EQ(action["tier"], "gold");
  EXPECT_EQ(batches.back().header("Content-Encoding"), "gzip");
  EXPECT_TRUE(batches.back().query.count("clientSendTimestamp"));
  EXPECT_EQ(facade->config().stringForKey("__visitorAffinityId"), "aff-9");

  // The next configuration check is conditional once the age has passed.
  sim->advance(121);
  sim->postLifecycle(platform::kApplicationDidBecomeActiveNotification);
  ASSERT_TRUE(RunUntil([&] { return service->requests(Endpoint::kAppConfig).size() == 2 && !facade->configRequestUUID(); }));
  auto second = service->requests(Endpoint::kAppConfig).back();
  EXPECT_FALSE(second.header("If-Modified-Since").empty());
  EXPECT_EQ(second.status, 304);
  EXPECT_TRUE(log.contains("Config: not modified, setting updated timestamp only"));

  // After a foreground the request is unconditional again.
  sim->enterBackground();
  sim->enterForeground();
  ASSERT_TRUE(RunUntil([&] { return service->requests(Endpoint::kAppConfig).size() == 3 && !facade->configRequestUUID(); }));
  EXPECT_TRUE(service->requests(Endpoint::kAppConfig).back().header("If-Modified-Since").empty());
}

TEST_P(SdkRoundTrip, UnknownDatasetDisablesForGood) {
  MakeFacade();
  sim->launchApp();
  facade->startWithConfiguration(Client("unknown"));
  ASSERT_TRUE(RunUntil([&] { return facade->disabled(); }));
  EXPECT_EQ(log.countContaining("Config: not found, disabling. Send request failed, status code 404"), 1);

  facade.reset();
  MakeFacade();
  EXPECT_TRUE(facade->disabled());
  EXPECT_EQ(facade->eventSender(), nullptr);
}

TEST_P(SdkRoundTrip, ConnectionLostKeepsTheBatchAndRefusalDropsIt) {
  MakeFacade();
  sim->launchApp();
  facade->startWithConfiguration(Client());
  ASSERT_TRUE(RunUntil([&] { return facade->isServerConfigLoaded(); }));
  // What the start tracked goes out first.
  ASSERT_TRUE(RunUntil([&] { return log.countContaining("Events: Successfully sent") == 1; }));
  ASSERT_EQ(Queue()->eventQueueCount(), 0u);
  log.clear();

  // Closed mid-answer: a connectivity problem, so the batch goes back.
  service::Fault dropped;
  dropped.dropConnection = true;
  service->queueFault(Endpoint::kEvents, dropped);
  facade->sendAction("Kept", "Global", Json::object());
  ASSERT_TRUE(RunUntil([&] { return log.count("Events: Re-enqueueing events to send later.") == 1; }));
  EXPECT_EQ(log.countContaining("Network: Events: Could not send. General network connectivity problem. "
                                "The network connection was lost."),
            1);
  EXPECT_EQ(Queue()->eventQueueCount(), 1u);
  sim->advance(1);
  ASSERT_TRUE(RunUntil([&] { return log.count("Events: Successfully sent 1 events.") == 1; }));
  EXPECT_EQ(service->requests(Endpoint::kEvents).back().body.back()["action"], "Kept");

  // Refused by the service: dropped, with the service's reason.
  service::Fault refused;
  refused.status = 400;
  refused.body = Json{{"reason", "Unknown dataset shop"}};
  service->queueFault(Endpoint::kEvents, refused);
  facade->sendAction("Refused", "Global", Json::object());
  ASSERT_TRUE(RunUntil([&] { return log.count("Events: Dropping 1 events that failed to send") == 1; }));
  EXPECT_TRUE(log.contains(
      "Events: Failed to send 1 events. Send request failed, status code 400 Unknown dataset shop Check that the "
      "account exists and that the request is formatted properly."));
  EXPECT_EQ(Queue()->eventQueueCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Loopback, SdkRoundTrip, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Https" : "Http"; });

TEST(SdkBackOff, RefusedConnectionKeepsTheBatchAndBacksOffOnVirtualTime) {
  LogCapture log{TSRLogLevelInfo};
  auto sim = std::make_shared<SimPlatform>();
  int port;
  {
    LocalService closed;
    ASSERT_TRUE(closed.start());
    port = closed.port();
  }
  {
    // A server configuration is already present, so events flow at once.
    TSRConfig config(std::make_shared<TSRUtilityDI>(sim));
    config.replaceConfiguration(Json{{"eventThrottleLimit", 500}}, TSRConfig::kLayerServer);
  }
  auto facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  sim->launchApp();
  facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
                                      {"protocol", "http"}, {"port", port}, {"useCDN", false}});
  facade->sendAction("Kept", "Global", Json::object());
  auto queue = std::dynamic_pointer_cast<TSRQueuedEventSender>(facade->eventSender());
  ASSERT_TRUE(queue);

  const double expected[] = {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 600, 600};
  int failures = 0;
  std::size_t batch = 0;  // the action and what the start tracked
  for (double delay : expected) {
    ++failures;
    ASSERT_TRUE(sim->runUntil(
        [&] { return log.count("Events: Re-enqueueing events to send later.") == failures; }, 15.0))
        << "waiting for failure " << failures;
    EXPECT_EQ(queue->queueSendDelay(), delay);
    if (failures == 1) batch = queue->eventQueueCount();
    EXPECT_GE(batch, 1u);
    EXPECT_EQ(queue->eventQueueCount(), batch);  // the batch is back at the head, nothing lost
    sim->advance(delay);
  }
  EXPECT_GE(log.countContaining("Network: Events: Could not send. Could not contact Tessarin."), 12);
  EXPECT_EQ(log.countContaining("Dropping"), 0);
  facade.reset();
  sim.reset();
}

}  // namespace
}  // namespace tessarin

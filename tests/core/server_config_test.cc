#include <gtest/gtest.h>

#include "base/error.h"
#include "core/tessarin_impl.h"
#include "platform/http_transport.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::FakeSender;
using testing::LogCapture;

platform::HttpResponse Response(long status, std::vector<std::pair<std::string, std::string>> headers = {}) {
  platform::HttpResponse response;
  response.statusCode = status;
  response.headers = std::move(headers);
  return response;
}

TSRError HttpError(long status) {
  return TSRError{kTessarinSDKIdentifier, 0, "Send request failed, status code " + std::to_string(status),
                  "missing dataset", "Check that the account exists and that the request is formatted properly."};
}

class ServerConfigTest : public ::testing::Test {
 protected:
  void SetUp() override { Make(); }
  void Make() {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
  }
  void Start() {
    facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}});
    sim->runUntilIdle();
  }
  FakeSender::ConfigRequest& Last() { return env->sender->configRequests.back(); }
  void Succeed(const Json& body, std::vector<std::pair<std::string, std::string>> headers = {}) {
    auto& request = Last();
    request.success(env->sender.get(), request.uuid, Response(200, std::move(headers)), body);
    sim->runUntilIdle();
  }
  void Fail(long status) {
    auto& request = Last();
    request.failure(env->sender.get(), request.uuid, Response(status), HttpError(status));
    sim->runUntilIdle();
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<TessarinImpl> facade;
};

TEST_F(ServerConfigTest, FirstStartAsksOnceAndHoldsEventsUntilTheAnswer) {
  Start();
  ASSERT_EQ(env->sender->configRequests.size(), 1u);
  EXPECT_EQ(Last().params, Json::array({"iOS", "com.tessarin.simhost", "1.0", "1.5.0"}));
  EXPECT_FALSE(Last().lastModified);
  EXPECT_TRUE(log.contains("Config: update attempt", TSRLogLevelInfo));
  EXPECT_FALSE(env->journalHas("queue.start"));

  // Triggers while the request is in flight ask nothing more.
  sim->postLifecycle(platform::kApplicationDidBecomeActiveNotification);
  env->reachability->block(2);
  sim->runUntilIdle();
  EXPECT_EQ(env->sender->configRequests.size(), 1u);

  Succeed(Json{{"eventThrottleLimit", 80}}, {{"last-modified", "Sat, 21 Nov 2026 07:00:00 GMT"}});
  EXPECT_TRUE(log.contains("Config: update success", TSRLogLevelInfo));
  EXPECT_EQ(facade->config().longForKey("eventThrottleLimit"), 80);
  EXPECT_EQ(facade->config().lastModified(), 1795244400.0);
  EXPECT_TRUE(facade->isServerConfigLoaded());
  EXPECT_TRUE(env->journalHas("queue.start"));
  EXPECT_FALSE(facade->configRequestUUID());
}

TEST_F(ServerConfigTest, ConditionalAfterMaxAgeAndUnconditionalAfterForeground) {
  Start();
  Succeed(Json{{"k", 1}}, {{"Last-Modified", "Sat, 21 Nov 2026 07:00:00 GMT"}});
  env->reachability->block(2);
  EXPECT_EQ(env->sender->configRequests.size(), 1u);  // still fresh

  sim->advance(121);
  env->reachability->block(2);
  sim->runUntilIdle();
  ASSERT_EQ(env->sender->configRequests.size(), 2u);
  EXPECT_EQ(Last().lastModified, 1795244400.0);

  auto& request = Last();
  request.failure(env->sender.get(), request.uuid, Response(304), HttpError(304));
  sim->runUntilIdle();
  EXPECT_TRUE(log.contains("Config: not modified, setting updated timestamp only", TSRLogLevelDebug));
  EXPECT_FALSE(facade->config().expired());
  EXPECT_EQ(facade->config().longForKey("k"), 1);

  sim->enterBackground();
  sim->enterForeground();
  ASSERT_EQ(env->sender->configRequests.size(), 3u);
  EXPECT_FALSE(Last().lastModified);
}

TEST_F(ServerConfigTest, NotFoundDisablesAndStaysDisabledAcrossLaunches) {
  Start();
  Fail(404);
  EXPECT_TRUE(log.contains(
      "Config: not found, disabling. Send request failed, status code 404 missing dataset Check that the account "
      "exists and that the request is formatted properly.",
      TSRLogLevelError));
  EXPECT_TRUE(facade->disabled());
  EXPECT_TRUE(env->journalHas("queue.delete"));

  facade.reset();
  Make();
  EXPECT_TRUE(facade->disabled());
  // A switched-off SDK keeps asking, so the service can switch it on again.
  Start();
  sim->enterBackground();
  sim->enterForeground();
  ASSERT_FALSE(env->sender->configRequests.empty());
  Succeed(Json::object());
  EXPECT_FALSE(facade->disabled());
}

TEST_F(ServerConfigTest, ErrorsKeepTheLayersAndRetryOnTheNextTrigger) {
  Start();
  auto& request = Last();
  TSRError offline{"NSURLErrorDomain", -1009, "The Internet connection appears to be offline.", std::nullopt,
                   std::nullopt};
  request.failure(env->sender.get(), request.uuid, std::nullopt, offline);
  sim->runUntilIdle();
  EXPECT_TRUE(log.contains(
      "Config: update error, keeping existing config. The Internet connection appears to be offline. (null) (null)",
      TSRLogLevelError));
  EXPECT_TRUE(facade->config().hasEmptyLayer(TSRConfig::kLayerServer));
  EXPECT_FALSE(facade->isServerConfigLoaded());

  env->reachability->block(1);
  sim->runUntilIdle();
  EXPECT_EQ(env->sender->configRequests.size(), 2u);
}

TEST_F(ServerConfigTest, AnswersToAnAbandonedRequestAreIgnored) {
  Start();
  FakeSender::ConfigRequest first = Last();
  facade->resetAndClearProperties(false);
  Start();
  ASSERT_EQ(env->sender->configRequests.size(), 2u);
  first.success(env->sender.get(), first.uuid, Response(200), Json{{"stale", true}});
  sim->runUntilIdle();
  EXPECT_FALSE(facade->config().boolForKey("stale"));
  EXPECT_TRUE(facade->configRequestUUID());
}

}  // namespace
}  // namespace tessarin

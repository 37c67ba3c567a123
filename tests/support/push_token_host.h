// A façade over the simulated host with the real push token manager and a
// recording event queue, for tests of how push tokens are reported.
#ifndef TESSARIN_TESTS_SUPPORT_PUSH_TOKEN_HOST_H_
#define TESSARIN_TESTS_SUPPORT_PUSH_TOKEN_HOST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "push/push_token_manager.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"
#include "util/config.h"
#include "util/json_util.h"

namespace tessarin::testing {

// The fakes of FakeEnvironment, except the push token manager, which is
// the one the SDK builds.
class PushEnvironment : public FakeEnvironment {
 public:
  using FakeEnvironment::FakeEnvironment;
  std::shared_ptr<PushTokenReporter> pushTokenManagerWithConfig(const TSRConfig& config,
                                                                const std::shared_ptr<EventQueue>& queue) override {
    return TSRUtilityDI::pushTokenManagerWithConfig(config, queue);
  }
};

class PushHostTest : public ::testing::Test {
 protected:
  // The user lets the app's notifications show, and the app registered for
  // them; swizzling is as `swizzling` says.
  void Make(bool swizzling = true) {
    sim->app().info["TessarinSwizzlingEnabled"] = swizzling;
    sim->app().notification_settings = platform::sim::SimApplication::AllowedNotificationSettings();
    sim->app().registered_for_remote_notifications = true;
    env = std::make_shared<PushEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
    sim->runUntilIdle();
  }
  // Starts with push on; `server` adds server-layer configuration.
  void Start(const Json& server = Json::object()) {
    if (!server.empty()) facade->config().setConfiguration(server, TSRConfig::kLayerServer);
    facade->startWithConfiguration(
        Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", true}, {"useDesignMode", false}});
    sim->runUntilIdle();
  }
  std::shared_ptr<TSRPushTokenManager> Manager() {
    return std::dynamic_pointer_cast<TSRPushTokenManager>(facade->pushTokenManager());
  }
  // The "_ptu" texts of the push-token events queued so far, in order.
  std::vector<std::string> Reports() const {
    std::vector<std::string> texts;
    if (!env->queue) return texts;
    for (const Json& event : env->queue->events) {
      if (event.value(TSREvent_simulatedEndpoint, "") == "ptu") texts.push_back(event.value(TSREvent_pushTokenUpdates, ""));
    }
    return texts;
  }
  // An APNs token as the app delegate's interception hands it over.
  void DeliverAPNs(const std::string& bytes) {
    facade->setAPNSToken(bytes, true);
    sim->runUntilIdle();
  }

  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  std::shared_ptr<PushEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_PUSH_TOKEN_HOST_H_

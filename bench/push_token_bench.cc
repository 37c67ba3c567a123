// What a push token costs the host app's main thread, from the app
// delegate's callback until the token-update event is in the queue. The
// notification settings are answered at once here: on a device that answer
// comes from another process, and the main thread does not wait for it.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "platform/sim/sim_platform.h"
#include "tessarin/tessarin.h"
#include "util/di.h"

namespace tessarin {
namespace {

using platform::sim::SimApplication;
using platform::sim::SimPlatform;

struct PushHost {
  PushHost() {
    sim->app().notification_settings = SimApplication::AllowedNotificationSettings();
    sim->app().notification_settings_inline = true;
    sim->app().registered_for_remote_notifications = true;
    facade = Tessarin::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
    sim->launchApp();
    // Port 9 (discard) is never asked: with no server configuration the
    // queue holds its events.
    facade->startWithConfiguration(Json{{"account", "bench"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
                                        {"protocol", "http"}, {"port", 9}, {"useCDN", false},
                                        {"usePushNotifications", true}});
    sim->runUntilIdle();
  }
  ~PushHost() {
    facade.reset();
    sim->runUntilIdle();
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<Tessarin> facade;
};

// A 32-byte device token whose last bytes count the iterations, so every
// token is new and reported.
void BM_PushNewAPNsTokenUntilQueued(benchmark::State& state) {
  PushHost host;
  // Swizzling is on (no switch in the Info values): the interception's call acts.
  const bool if_swizzling = host.facade->swizzlingEnabled();
  std::string token(32, '\x5a');
  unsigned long long counter = 0;
  for (auto _ : state) {
    ++counter;
    std::memcpy(&token[24], &counter, sizeof counter);
    host.facade->setAPNSToken(token, if_swizzling);
    if (counter % 1000 == 0) {
      state.PauseTiming();
      host.sim->runUntilIdle();  // the queue's own work
      state.ResumeTiming();
    }
  }
}
BENCHMARK(BM_PushNewAPNsTokenUntilQueued)->Repetitions(5)->ReportAggregatesOnly(true);

// The platform delivers the same token at every launch: nothing to report.
void BM_PushUnchangedAPNsToken(benchmark::State& state) {
  PushHost host;
  const bool if_swizzling = host.facade->swizzlingEnabled();
  const std::string token(32, '\x5a');
  host.facade->setAPNSToken(token, if_swizzling);
  host.sim->runUntilIdle();
  for (auto _ : state) host.facade->setAPNSToken(token, if_swizzling);
}
BENCHMARK(BM_PushUnchangedAPNsToken)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
}  // namespace tessarin

// What a push token costs the host app's main thread, from the app
// delegate's callback until the token-update event is in the queue. The
// notification settings are answered at once here: on a device that answer
// comes from another process, and the main thread does not wait for it.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_notifications.h"
#include "platform/sim/sim_platform.h"

namespace tessarin {
namespace {

using platform::sim::SimApplication;
using platform::sim::SimPlatform;

constexpr const char* kTokenSelector = "application:didRegisterForRemoteNotificationsWithDeviceToken:";

struct PushHost {
  PushHost() {
    sim->app().notification_settings = SimApplication::AllowedNotificationSettings();
    sim->app().notification_settings_inline = true;
    sim->app().registered_for_remote_notifications = true;
    // The app's delegate receives tokens; the SDK intercepts that method
    // (swizzling is on: the Info values do not switch it off).
    auto delegate_class = platform::sim::DefineAppClass(
        sim->app().runtime(), "BenchAppDelegate",
        {{kTokenSelector, platform::MakeImp([](platform::HostObject&, const platform::HostArgs&) { return std::any(); })}});
    facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
    sim->app().setDelegate(std::make_shared<platform::HostObject>(delegate_class));
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
  std::shared_ptr<TessarinImpl> facade;
};

// A 32-byte device token whose last bytes count the iterations, so every
// token is new and reported.
void BM_PushNewAPNsTokenUntilQueued(benchmark::State& state) {
  PushHost host;
  std::string token(32, '\x5a');
  unsigned long long counter = 0;
  for (auto _ : state) {
    ++counter;
    std::memcpy(&token[24], &counter, sizeof counter);
    platform::sim::SendToAppDelegate(host.sim->app(), kTokenSelector, {token});
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
  const std::string token(32, '\x5a');
  platform::sim::SendToAppDelegate(host.sim->app(), kTokenSelector, {token});
  host.sim->runUntilIdle();
  for (auto _ : state) platform::sim::SendToAppDelegate(host.sim->app(), kTokenSelector, {token});
}
BENCHMARK(BM_PushUnchangedAPNsToken)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
}  // namespace tessarin

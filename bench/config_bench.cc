// Typed look-ups in the layered configuration. Subsystems read tunables on
// the host app's UI thread, often, so a look-up that finds nothing in the
// upper layers and falls through to the defaults must stay cheap.
#include <benchmark/benchmark.h>

#include <memory>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "util/config.h"

namespace tessarin {
namespace {

// A configuration as it stands after a start: a client layer, a few SDK
// records, a server layer and one run-time override.
struct StartedConfig {
  StartedConfig() {
    config.replaceConfiguration({{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", true},
                                 {"useDesignMode", false}},
                                TSRConfig::kLayerClient);
    config.setConfiguration({{"__lastAppVersion", "2.1"}, {"__visitorAffinityId", "a1b2c3d4"}},
                            TSRConfig::kLayerSDK);
    config.replaceConfiguration({{"__lastModified", 1767225600}, {"logLevel", 2000}, {"maxScreens", 40},
                                 {"eventThrottleLimit", 40}, {"useCDN", false}, {"trackOrientation", true},
                                 {"viewConfigs", Json::array()}, {"campaignTTL", "600"}},
                                TSRConfig::kLayerServer);
    config.setConfiguration({{"logLevel", 4000}}, TSRConfig::kLayerRuntime);
  }
  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  TSRConfig config{std::make_shared<TSRUtilityDI>(sim)};
};

// The last of the 34 defaults, reached after every upper layer misses.
void BM_NumberLookupFallingThroughToDefaults(benchmark::State& state) {
  StartedConfig started;
  for (auto _ : state) benchmark::DoNotOptimize(started.config.numberForKey("designerAlertTime"));
}
BENCHMARK(BM_NumberLookupFallingThroughToDefaults);

// A key longer than the small-string buffer, held as text by the server
// layer and as a number by the defaults: the mistyped value is skipped.
void BM_NumberLookupSkippingMistypedServerValue(benchmark::State& state) {
  StartedConfig started;
  for (auto _ : state) benchmark::DoNotOptimize(started.config.numberForKey("campaignTTL"));
}
BENCHMARK(BM_NumberLookupSkippingMistypedServerValue);

void BM_NumberLookupFoundInRuntimeLayer(benchmark::State& state) {
  StartedConfig started;
  for (auto _ : state) benchmark::DoNotOptimize(started.config.numberForKey("logLevel"));
}
BENCHMARK(BM_NumberLookupFoundInRuntimeLayer);

}  // namespace
}  // namespace tessarin

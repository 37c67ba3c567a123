// The simulated host must make long virtual spans cheap: a day of a
// one-second repeating timer is one benchmark iteration.
#include <benchmark/benchmark.h>

#include "platform/sim/sim_platform.h"

namespace tessarin::platform::sim {
namespace {

void BM_SimTwentyFourHoursOfOneSecondTimer(benchmark::State& state) {
  for (auto _ : state) {
    SimPlatform sim;
    long fired = 0;
    TimerSpec spec;
    spec.startDelay = 1;
    spec.interval = 1;
    auto timer = sim.scheduleTimer(sim.mainQueue(), spec, [&] { ++fired; });
    sim.advance(24 * 3600);
    timer->cancel();
    if (fired != 24 * 3600) state.SkipWithError("wrong number of firings");
    benchmark::DoNotOptimize(fired);
  }
  state.SetLabel("86400 firings per iteration");
}
BENCHMARK(BM_SimTwentyFourHoursOfOneSecondTimer)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessarin::platform::sim

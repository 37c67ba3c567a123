// The event pipeline from the host app's side: what one action costs the
// calling (main) thread, and how many events per second reach the local
// service over loopback with the throttle lifted.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "service/local_service.h"
#include "transport/queued_event_sender.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using service::Endpoint;
using service::LocalService;

Json ClientFor(int port) {
  return Json{{"account", "bench"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
              {"protocol", "http"},  {"port", port},      {"useCDN", false}};
}

// The main thread's share of sendAction: the record is built and handed to
// the queue; the queue's own work runs later, outside the measurement.
void BM_SendActionOnMainThread(benchmark::State& state) {
  auto sim = std::make_shared<SimPlatform>();
  auto facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  sim->launchApp();
  // Port 9 (discard) is never asked: with no server configuration the queue
  // holds its events.
  facade->startWithConfiguration(ClientFor(9));
  sim->runUntilIdle();
  Json fields = {{".pv", ""}};
  long sent = 0;
  for (auto _ : state) {
    facade->sendAction("View Screen", "Global", fields);
    if (++sent % 1000 == 0) {
      state.PauseTiming();
      sim->runUntilIdle();
      state.ResumeTiming();
    }
  }
  facade.reset();
}
BENCHMARK(BM_SendActionOnMainThread);

// End to end over loopback: the queue sends batch after batch on one reused
// connection; the figure is events delivered per second. Each iteration
// uses a fresh SDK, because a queue's byte estimate only ever rises (by
// design) and caps what one queue sends at about 1 MiB of estimated bytes.
void BM_EndToEndThroughput(benchmark::State& state) {
  LocalService service;
  if (!service.start()) {
    state.SkipWithError("local service did not start");
    return;
  }
  service.setAppConfig("shop", Json{{"eventThrottleLimit", 100000000}, {"maxEventsInQueue", 100000}});
  // Counted as the service answers, so waiting costs the SDK's thread nothing.
  std::atomic<long> received{0};
  service.setEventResponder([&received](const Json& events) {
    received += static_cast<long>(events.size());
    Json answers = Json::array();
    for (std::size_t i = 0; i < events.size(); ++i) answers.push_back(LocalService::EventResponse());
    return answers;
  });
  const long events_per_iteration = state.range(0);
  for (auto _ : state) {
    state.PauseTiming();
    service.clearRequests();
    received = 0;
    auto sim = std::make_shared<SimPlatform>();
    auto facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
    sim->launchApp();
    facade->startWithConfiguration(ClientFor(service.port()));
    if (!sim->runUntil([&] { return facade->isServerConfigLoaded(); }, 10.0)) {
      state.SkipWithError("no server configuration");
      break;
    }
    state.ResumeTiming();
    for (long i = 0; i < events_per_iteration; ++i) facade->sendAction("T", "Global", Json::object());
    bool done = sim->runUntil([&] { return received.load() >= events_per_iteration; }, 60.0);
    state.PauseTiming();
    if (!done) state.SkipWithError("events were not all delivered");
    facade.reset();
    sim.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * events_per_iteration);
}
BENCHMARK(BM_EndToEndThroughput)->Arg(4000)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace tessarin

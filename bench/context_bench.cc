// What reporting an item view costs the host app's main thread: the item
// becomes JSON, is checked, condensed for pings and handed to the queue.
// The queue's own work runs later, outside the measurement.
#include <benchmark/benchmark.h>

#include "platform/sim/sim_platform.h"
#include "tessarin/context.h"
#include "tessarin/items.h"
#include "tessarin/tessarin.h"
#include "util/di.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;

// Ten fields and three categories.
std::shared_ptr<TSRProduct> BenchProduct() {
  auto product = TSRProduct::productWithId("sku-1001", "Trail Shoes", 89.0, "https://shop.example/sku-1001",
                                           "https://shop.example/sku-1001.png", "Light shoes for rough ground");
  product->currency = "EUR";
  product->listPrice = 99.0;
  product->inventoryCount = 12;
  for (const char* id : {"shoes", "outdoor", "sale"}) {
    product->categories.push_back(TSRCategory::categoryWithId(id, false, std::string("Category ") + id, std::nullopt));
  }
  return product;
}

void BM_ViewItemOnMainThread(benchmark::State& state) {
  auto sim = std::make_shared<SimPlatform>();
  auto environment = std::make_shared<TSRUtilityDI>(sim);
  auto facade = Tessarin::createWithEnvironment(environment);
  sim->launchApp();
  environment->hostApp().setLastEventDate(sim->now(platform::Clock::kWall));
  // Port 9 (discard) is never asked: with no server configuration the queue
  // holds its events.
  facade->startWithConfiguration(Json{{"account", "bench"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
                                      {"protocol", "http"}, {"port", 9}, {"useCDN", false}});
  sim->runUntilIdle();
  auto context = facade->globalContext();
  auto product = BenchProduct();
  long viewed = 0;
  for (auto _ : state) {
    context->viewItem(product);
    if (++viewed % 1000 == 0) {
      state.PauseTiming();
      sim->runUntilIdle();
      state.ResumeTiming();
    }
  }
  context.reset();
  facade.reset();
}
BENCHMARK(BM_ViewItemOnMainThread);

}  // namespace
}  // namespace tessarin

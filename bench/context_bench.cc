// What reporting an item view costs the host app's main thread: the item
// becomes JSON, is checked, condensed for pings and handed to the queue.
// The queue's own work runs later, outside the measurement.
#include <benchmark/benchmark.h>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "tessarin/context.h"
#include "tessarin/items.h"
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

void ViewRepeatedly(benchmark::State& state, const std::shared_ptr<TSRProduct>& product) {
  auto sim = std::make_shared<SimPlatform>();
  auto environment = std::make_shared<TSRUtilityDI>(sim);
  auto facade = TessarinImpl::createWithEnvironment(environment);
  sim->launchApp();
  // Port 9 (discard) is never asked: with no server configuration the queue
  // holds its events.
  facade->startWithConfiguration(Json{{"account", "bench"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
                                      {"protocol", "http"}, {"port", 9}, {"useCDN", false}});
  // The user touches the app, so its contexts are active.
  sim->app().sendEvent();
  sim->runUntilIdle();
  auto context = facade->globalContext();
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

// The product above: plain, so its texts are written straight from it.
void BM_ViewItemOnMainThread(benchmark::State& state) { ViewRepeatedly(state, BenchProduct()); }
BENCHMARK(BM_ViewItemOnMainThread);

// The same product as an object of the app's own subclass, which may write
// JSON of its own: the view goes through the item's JSON and its checks.
class AppProduct : public TSRProduct {};

void BM_ViewItemThroughJsonOnMainThread(benchmark::State& state) {
  auto product = std::make_shared<AppProduct>();
  static_cast<TSRProduct&>(*product) = *BenchProduct();
  ViewRepeatedly(state, product);
}
BENCHMARK(BM_ViewItemThroughJsonOnMainThread);

}  // namespace
}  // namespace tessarin

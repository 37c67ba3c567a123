// A view controller appearing: what the interception of "viewDidAppear:"
// costs the main thread when the screen must be described anew, made
// visible and active, matched against the view-action rules and its view
// action sent. The view controller sits three levels deep (navigation and
// tab containers), so the description has two ancestors; the host's own
// "viewDidAppear:" runs too. Disappearing again is outside the figure.
#include <benchmark/benchmark.h>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/sim/sim_ui.h"
#include "tracking/screen_impl.h"
#include "util/config.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;

Json ViewConfigs() {
  return Json::array({
      Json{{"action", "Home"}, {"matchRule", "$[?(@.className == 'HomeViewController')]"}},
      Json{{"action", "Cart"}, {"matchRule", "$[?(@.title == 'Cart')]"}},
      Json{{"action", "Search"}, {"matchRule", "$[?(@.name =~ /^search/i)]"}},
      Json{{"action", "Product"}, {"matchRule", "$.parentDescription[?(@.title == 'Shop')]"}},
  });
}

void BM_ScreenViewDidAppearBuildsDescription(benchmark::State& state) {
  auto sim = std::make_shared<SimPlatform>();
  sim->app().runtime().defineClass("ProductViewController", "UIViewController");
  auto facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  facade->config().setConfiguration(Json{{"viewConfigs", ViewConfigs()}}, TSRConfig::kLayerServer);
  sim->launchApp();
  // Port 9 (discard) is never asked: with no server configuration the queue
  // holds its events.
  facade->startWithConfiguration(Json{{"account", "bench"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
                                      {"protocol", "http"}, {"port", 9}, {"usePushNotifications", false}});
  // The user touches the app, so its contexts are active.
  sim->app().sendEvent();
  sim->runUntilIdle();

  auto& ui = platform::ui::sim::SimUI::of(*sim);
  auto tabs = ui.makeViewController("UITabBarController");
  auto window = ui.addWindow(tabs);
  tabs->setViewLoaded(true);
  auto shop = ui.makeViewController("UINavigationController");
  shop->setTitle("Shop");
  shop->setViewLoaded(true);
  tabs->addChild(shop);
  auto product = ui.makeViewController("ProductViewController");
  product->setTitle("Lamp");
  product->setNavigationItem(sim->app().makeNavigationItem("Lamp"));
  shop->addChild(product);
  product->setViewLoaded(true);
  auto screen = tessarinScreen(product);

  long shown = 0;
  for (auto _ : state) {
    product->send("viewDidAppear:", {false});
    state.PauseTiming();
    shown += screen->isActive();
    product->send("viewWillDisappear:", {false});
    if (shown % 256 == 0) sim->runUntilIdle();
    state.ResumeTiming();
  }
  if (shown != static_cast<long>(state.iterations())) state.SkipWithError("the screen did not become active");
  facade.reset();
}
BENCHMARK(BM_ScreenViewDidAppearBuildsDescription);

}  // namespace
}  // namespace tessarin

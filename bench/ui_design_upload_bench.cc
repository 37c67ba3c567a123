// Design mode: from a screen becoming visible to its upload request leaving
// for the network, past the upload delay (which runs on virtual time here,
// so what is measured is the SDK's own work once the delay is over): the
// description, the snapshot of a 390 × 844 point window at scale 3 limited
// to the default 1024 pixels, the PNG, the multipart body and its gzip.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "design/screen_uploads.h"
#include "platform/http_transport.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/color.h"
#include "platform/ui/image.h"
#include "platform/ui/label.h"
#include "platform/ui/sim/sim_ui.h"
#include "tracking/view_controller_description.h"
#include "tracking/view_controller_tracking.h"
#include "ui/utility_image.h"
#include "util/config.h"

namespace tessarin {
namespace {

namespace kit = platform::ui;

// Answers every request at once and counts the uploads that reached it.
class AnsweringTransport : public platform::HttpTransport {
 public:
  void perform(platform::HttpRequest request, platform::HttpCompletion completion) override {
    if (request.url.find("uploadScreen") != std::string::npos) {
      ++uploads;
      bytes = request.body.size();
    }
    completion(platform::HttpResponse{200, request.url, {{"Content-Type", "application/json"}}}, "{}", std::nullopt);
  }
  std::size_t uploads = 0;
  std::size_t bytes = 0;
};

// A home screen with a header, a hero picture, some text and a grid of
// product tiles: enough that the PNG has real content to compress.
void FillHomeScreen(kit::View& root) {
  root.setBackgroundColor(kit::Color::fromRGBA(0xF4F1EAFF));
  auto add = [&root](kit::Rect frame, std::uint32_t rgba) {
    auto view = std::make_shared<kit::View>();
    view->setFrame(frame);
    view->setBackgroundColor(kit::Color::fromRGBA(rgba));
    root.addSubview(view);
    return view;
  };
  add({0, 0, 390, 100}, 0x1E3A5FFF);
  add({16, 116, 358, 220}, 0xC8553DFF);
  for (int i = 0; i < 6; ++i) {
    add({16.0 + (i % 2) * 183, 460.0 + (i / 2) * 120, 175, 110}, 0xFFFFFFFF);
  }
  const char* texts[] = {"Trail Shoes", "Autumn collection: twenty percent off everything in the shop until Sunday",
                         "Rain Jacket", "Wool Socks"};
  double y = 350;
  for (const char* text : texts) {
    auto label = std::make_shared<kit::Label>();
    label->setText(text);
    label->setNumberOfLines(2);
    label->setFrame({16, y, 358, 44});
    root.addSubview(label);
    y += 26;
  }
}

void BM_DesignScreenUploadAfterTheDelay(benchmark::State& state) {
  auto sim = std::make_shared<platform::sim::SimPlatform>();
  sim->app().simulator = false;
  auto transport = std::make_shared<AnsweringTransport>();
  sim->setHttpTransport(transport);
  sim->hostRuntime()->defineClass("HomeViewController", "UIViewController");
  auto& ui = kit::sim::SimUI::of(*sim);
  auto home = ui.makeViewController("HomeViewController");
  FillHomeScreen(*home->kit().view());
  auto window = ui.addWindow(home);

  auto facade = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  sim->launchApp();
  facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}, {"useDesignMode", true}});
  sim->runUntilIdle();
  ui.appear(home);
  sim->runUntilIdle();
  facade->setDesignMode(true);
  sim->advance(5);
  const double delay = facade->config().doubleForKey("screenUploadDelay").value_or(0.3);
  const std::string hash = std::to_string(static_cast<unsigned long>(tsr_description(*home)->hash()));

  for (auto _ : state) {
    state.PauseTiming();
    // Each round is a first visit, record and all.
    TSRScreenUploads(facade->config()).forget(hash);
    const std::size_t before = transport->uploads;
    facade->scheduleDesignUploadForVC(home);
    // Up to a millisecond before the timer fires; the rest is timed.
    sim->advance(delay - 0.001);
    state.ResumeTiming();
    sim->advance(0.002);
    if (transport->uploads == before) state.SkipWithError("no upload left");
  }
  state.counters["body_bytes"] = static_cast<double>(transport->bytes);
  facade->stop();
  sim->runUntilIdle();
}
BENCHMARK(BM_DesignScreenUploadAfterTheDelay)->Unit(benchmark::kMillisecond);

// The two parts of the work above that grow with the picture: drawing the
// window at the limited scale, and encoding what was drawn as PNG.
void BM_DesignSnapshotAndPng(benchmark::State& state) {
  auto sim = std::make_shared<platform::sim::SimPlatform>();
  sim->hostRuntime()->defineClass("HomeViewController", "UIViewController");
  auto& ui = kit::sim::SimUI::of(*sim);
  auto home = ui.makeViewController("HomeViewController");
  FillHomeScreen(*home->kit().view());
  auto window = ui.addWindow(home);
  ui.appear(home);
  auto env = std::make_shared<TSRUtilityDI>(sim);
  const bool encode = state.range(0) == 1;
  auto image = TSRUtilityImage::snapshotWindow(*env, &window->kit(), 1024);
  for (auto _ : state) {
    if (encode) {
      benchmark::DoNotOptimize(image->encodePNG());
    } else {
      benchmark::DoNotOptimize(TSRUtilityImage::snapshotWindow(*env, &window->kit(), 1024));
    }
  }
  state.SetLabel(encode ? "PNG encoding" : "snapshot");
}
BENCHMARK(BM_DesignSnapshotAndPng)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessarin

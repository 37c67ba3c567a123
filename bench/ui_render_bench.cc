// Drawing what an in-app message puts on screen: a 375 x 667 point screen
// with the app's window and an overlay holding a panel (title, body, three
// buttons), at scale 2 (750 x 1334 pixels). Text shaping is part of it:
// every frame lays the labels out again, as a redraw after a change would.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "platform/sim/sim_platform.h"
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {
namespace {

std::shared_ptr<Label> MakeLabel(const std::string& text, TextStyle style, int lines, Rect frame) {
  auto label = std::make_shared<Label>();
  label->setFrame(frame);
  label->setText(text);
  label->setNumberOfLines(lines);
  label->setFont(preferredFont(style, kContentSizeCategoryLarge));
  label->setTextColor(Color::white());
  label->setTextAlignment(TextAlignment::kCenter);
  return label;
}

struct MessageScreen {
  sim::SimPlatform sim;
  UIEnvironment env{sim};
  Screen screen{env, {375, 667}, 2};
  std::shared_ptr<Window> app = std::make_shared<Window>(screen);
  std::shared_ptr<Window> overlay = std::make_shared<Window>(screen);

  MessageScreen() {
    app->setBackgroundColor(Color::white());
    app->makeKeyAndVisible();
    overlay->setWindowLevel(kWindowLevelAlert - 1);
    overlay->setRootViewController(std::make_shared<ViewController>());
    auto panel = std::make_shared<View>(Rect{10, 30, 355, 170});
    panel->setBackgroundColor(Color::black());
    panel->setCornerRadius(12);
    panel->setBorderWidth(1);
    panel->setBorderColor(Color::white());
    panel->setAlpha(0.95);
    overlay->rootViewController()->view()->addSubview(panel);
    panel->addSubview(MakeLabel("Weekend sale", TextStyle::kHeadline, 1, {10, 10, 335, 22}));
    panel->addSubview(MakeLabel("Everything in the shop is twenty percent off until Sunday night, online and in stores",
                                TextStyle::kBody, 2, {10, 32, 335, 44}));
    const char* titles[] = {"Later", "Details", "Shop now"};
    for (int i = 0; i < 3; ++i) {
      auto button = std::make_shared<Button>();
      button->setFrame({10 + i * 113.0, 116, 109, 44});
      button->setTitle(titles[i]);
      button->titleLabel()->setFont(preferredFont(TextStyle::kBody, kContentSizeCategoryLarge));
      button->titleLabel()->setTextColor(Color::white());
      button->setBackgroundColor(Color::fromRGBA(0x0a84ffff));
      button->setCornerRadius(10);
      button->setContentEdgeInsets({0, 10, 0, 10});
      panel->addSubview(button);
    }
    overlay->makeKeyAndVisible();
    overlay->layoutIfNeeded();
    app->layoutIfNeeded();
  }
};

void BM_RenderMessageScreenAtScale2(benchmark::State& state) {
  MessageScreen s;
  for (auto _ : state) {
    Image image = s.screen.snapshot(2);
    benchmark::DoNotOptimize(image.data());
  }
}
BENCHMARK(BM_RenderMessageScreenAtScale2)->Unit(benchmark::kMillisecond);

// The same frame encoded as PNG, as a design-mode screenshot upload does.
void BM_RenderAndEncodeMessageScreenPNG(benchmark::State& state) {
  MessageScreen s;
  for (auto _ : state) {
    std::string png = s.screen.snapshot(2).encodePNG();
    benchmark::DoNotOptimize(png.data());
  }
}
BENCHMARK(BM_RenderAndEncodeMessageScreenPNG)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessarin::platform::ui

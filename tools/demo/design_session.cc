// The app runs on the simulated host, on a phone rather than a simulator,
// so the editor's gesture takes three fingers. The app allows design
// connections; the marketer holds three fingers on the home screen for
// three seconds; the SDK asks the service for a designer connection (on a
// cellular network it first asks the marketer, who accepts). Connected, the
// marketer opens the product screen, goes back home and opens the product
// screen again. The SDK uploads each screen once, after the marketer has
// stayed on it a moment, with a picture of what it shows; the demo prints
// the uploads the service received and checks both.
#include "demo/design_session.h"

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "demo/console.h"
#include "demo/message_demo.h"
#include "demo/sim_wait.h"
#include "platform/network_reachability.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/color.h"
#include "platform/ui/image.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/ui/touch_script.h"
#include "tessarin/log.h"

namespace tessarin::demo {
namespace {

using platform::sim::SimPlatform;
using platform::ui::sim::SimUI;
using platform::ui::sim::SimViewController;

constexpr std::uint32_t kProductBackground = 0x2E6B4F;  // RGB

// Virtual time moves a tenth of a second at a time: the upload delay is 0.3.
constexpr double kStep = 0.1;

std::string Hex(std::uint32_t rgb) {
  char text[8];
  std::snprintf(text, sizeof text, "#%06X", rgb & 0xFFFFFFu);
  return text;
}

// The centre of an uploaded picture, as RGB; 0 when it is not a picture.
std::uint32_t CentreColour(const service::UploadedScreen& screen) {
  auto image = platform::ui::Image::decodePNG(screen.png);
  if (!image || image->width() == 0) return 0;
  return image->pixel(image->width() / 2, image->height() / 2) & 0xFFFFFFu;
}

}  // namespace

int RunDesignSession(const Options& options, DemoService& demo, const std::string& data_dir) {
  service::LocalService* service = demo.local.get();
  auto sim = std::make_shared<SimPlatform>(data_dir);
  sim->app().bundle_identifier = "com.tessarin.demo";
  sim->app().simulator = false;
  for (const char* name : {"HomeViewController", "ProductViewController"}) {
    sim->app().runtime().defineClass(name, "UIViewController");
  }
  using namespace platform;
  sim->setReachabilityFlags(options.cellular ? kReachabilityFlagReachable | kReachabilityFlagIsWWAN
                                             : kReachabilityFlagReachable);
  SimUI& ui = SimUI::of(*sim);
  const std::map<std::string, std::uint32_t> colours = {{"HomeViewController", kDemoAppBackground},
                                                        {"ProductViewController", kProductBackground}};
  auto screen = [&](const char* cls, const char* title) {
    auto vc = ui.makeViewController(cls);
    vc->setTitle(title);
    vc->kit().view()->setBackgroundColor(platform::ui::Color::fromRGBA(colours.at(cls) << 8 | 0xff));
    return vc;
  };
  auto home = screen("HomeViewController", "Home");
  auto product = screen("ProductViewController", "Trail Shoes");

  TSRLogger::setLogLevel(options.log_level);
  auto sdk = TessarinImpl::createWithEnvironment(std::make_shared<TSRUtilityDI>(sim));
  sdk->setLogLevel(options.log_level);
  // The app shows its window as it launches, then starts the SDK.
  auto window = ui.addWindow(home);
  sim->launchApp();
  ui.appear(home);
  sdk->startWithConfiguration(demo.client);
  sdk->allowDesignConnections();
  sim->app().sendEvent();
  if (!WaitFor(*sim, [&] { return sdk->isServerConfigLoaded(); }, options.timeout, kStep)) {
    Say("demo: the server configuration did not arrive");
    return 1;
  }

  // Three fingers held still on the home screen.
  platform::ui::TouchScript press;
  for (int finger = 1; finger <= 3; ++finger) press.down({100.0 + 60 * finger, 400}, finger);
  press.wait(3.2);
  for (int finger = 1; finger <= 3; ++finger) press.up(finger);
  press.play(ui.screen(), *sim);
  sim->advance(press.duration() + 0.01);
  Say("demo: the marketer holds three fingers on the home screen for 3 seconds");

  if (options.cellular) {
    std::shared_ptr<platform::sim::SimAlert> warning;
    WaitFor(
        *sim,
        [&] {
          auto visible = sim->alerts().visible();
          warning = visible.empty() ? nullptr : visible.back();
          return warning && warning->request().buttons.size() == 2;
        },
        options.timeout, kStep);
    if (!warning) {
      Say("demo: the SDK did not ask about the cellular connection");
      return 1;
    }
    Say("demo: the SDK asks: " + warning->request().message);
    warning->tapButton(1);
    Say("demo: the marketer answers " + warning->request().buttons[1]);
  }
  if (!WaitFor(*sim, [&] { return sdk->designMode(); }, options.timeout, kStep)) {
    Say("demo: the designer connection was not made");
    return 1;
  }
  Say("demo: connected to the designer");

  auto uploads = [&] { return service ? service->uploadedScreens().size() : 0; };
  auto visit = [&](const std::shared_ptr<SimViewController>& from, const std::shared_ptr<SimViewController>& to) {
    ui.disappear(from);
    window->setRootViewController(to);
    ui.appear(to);
    Say("demo: the marketer opens " + to->title().value_or("?"));
    // The marketer stays a moment, and a new screen's upload is answered
    // before the next screen.
    sim->advance(1.0);
    WaitFor(*sim, [&] { return !sdk->designUploadRequestUUID(); }, options.timeout, kStep);
  };
  WaitFor(*sim, [&] { return uploads() >= 1 && !sdk->designUploadRequestUUID(); }, options.timeout, kStep);
  visit(home, product);
  visit(product, home);
  visit(home, product);

  bool ok = sdk->designMode();
  std::map<std::string, int> seen;
  if (service) {
    for (const auto& upload : service->uploadedScreens()) {
      const std::string cls = upload.description.is_object() ? upload.description.value("className", "?") : "?";
      const std::uint32_t centre = CentreColour(upload);
      auto colour = colours.find(cls);
      bool matches = colour != colours.end() && colour->second == centre;
      ok = ok && matches;
      ++seen[cls];
      Say(Line() << "upload: " << cls << " " << upload.width << "x" << upload.height << " centre " << Hex(centre)
                 << (matches ? " (what the screen shows)" : " (NOT what the screen shows)"));
    }
    ok = ok && seen.size() == colours.size();
    for (const auto& [cls, count] : seen) ok = ok && count == 1;
  }
  Say(Line() << "demo: " << seen.size() << " screen(s) uploaded"
             << (ok ? ", each once, with a picture of what it shows" : "; expected each screen exactly once"));
  sdk->stop();
  sim->runUntilIdle();
  return ok ? 0 : 1;
}

}  // namespace tessarin::demo

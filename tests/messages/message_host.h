// A simulated app for in-app message tests: a phone screen with the app's
// own window and view controller, the SDK started over recording fakes for
// the network side but with the real campaign dispatcher and message
// manager, so that a message arrives the way the service sends it (in an
// event response) and its statistics leave as events the test can read.
#ifndef TESSARIN_TESTS_MESSAGES_MESSAGE_HOST_H_
#define TESSARIN_TESTS_MESSAGES_MESSAGE_HOST_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "platform/ui/screen.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/ui/touch_script.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"
#include "ui/ui_window.h"

namespace tessarin::testing {

class MessageEnvironment : public FakeEnvironment {
 public:
  using FakeEnvironment::FakeEnvironment;
  std::shared_ptr<CampaignRouter> campaignDispatcherWithConfig(const TSRConfig& config) override {
    return TSRUtilityDI::campaignDispatcherWithConfig(config);
  }
  std::shared_ptr<MessagePresenter> uiManagerWithCampaignDispatcher(
      const std::shared_ptr<CampaignRouter>& dispatcher) override {
    auto made = TSRUtilityDI::uiManagerWithCampaignDispatcher(dispatcher);
    manager = std::dynamic_pointer_cast<TSRUIManager>(made);
    return made;
  }
  // Weak: the manager holds its environment, and the façade holds the manager.
  std::weak_ptr<TSRUIManager> manager;
};

// An in-app message campaign as the service sends it: `data` is the
// message, to which the message's own fields are added.
inline Json UiCampaign(const std::string& id, Json data, const std::string& userGroup = "Default") {
  data["id"] = id + "-msg";
  data["type"] = "tsr_mn";
  data["targetName"] = "tsr_mn";
  Json campaign = Json::object();
  campaign["campaignId"] = id;
  campaign["campaignName"] = "Campaign " + id;
  campaign["experienceId"] = id + "-exp";
  campaign["experienceName"] = "Experience " + id;
  campaign["routingId"] = "Global";
  campaign["userGroup"] = userGroup;
  campaign["mobileUiMessages"] = Json::array({data});
  return campaign;
}

class MessageHost : public ::testing::Test {
 protected:
  // The app's window is shown with its view controller when the app
  // launches; the SDK starts in the foreground and the user touches the
  // app, so the global context takes campaigns at once.
  void SetUp() override {
    ui = &platform::ui::sim::SimUI::of(*sim);
    appRoot = ui->makeViewController();
    appWindow = ui->addWindow(appRoot);
    ui->appear(appRoot);
    env = std::make_shared<MessageEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
    facade->startWithConfiguration(Json{{"account", "acme"},
                                        {"dataset", "shop"},
                                        {"usePushNotifications", false},
                                        {"useDesignMode", false}});
    sim->app().sendEvent();
    sim->runUntilIdle();
    ASSERT_NE(env->manager.lock(), nullptr);
  }
  void TearDown() override {
    if (HasFailure() && std::getenv("TESSARIN_DUMP_LOG")) {
      for (const auto& line : log.messages()) std::cerr << line << "\n";
    }
    // Nothing stays presented past the test, so nothing keeps a message alive.
    if (auto manager = env ? env->manager.lock() : nullptr) manager->hideAllAnimated(false);
    sim->advance(3);
  }

  platform::ui::Screen& screen() { return ui->screen(); }
  TSRUIManager& manager() { return *env->manager.lock(); }

  // The service answers a batch with these campaigns; then `seconds` pass.
  void Respond(const Json& campaigns, double seconds = 1.0) {
    env->queue->success(env->queue.get(), "batch", std::nullopt,
                        Json::array({Json{{"campaignResponses", campaigns}}}));
    sim->runUntilIdle();
    sim->advance(seconds);
  }
  void Show(const std::string& id, const Json& data, double seconds = 1.0) {
    Respond(Json::array({UiCampaign(id, data)}), seconds);
  }

  std::shared_ptr<TSRUIMessageViewController> Shown() {
    auto window = manager().window();
    if (!window || !window->rootViewController()) return nullptr;
    return std::dynamic_pointer_cast<TSRUIMessageViewController>(window->rootViewController()->presentedViewController());
  }
  // The panel's frame on the screen.
  platform::ui::Rect PanelFrame() {
    auto message = Shown();
    if (!message) return {};
    const auto& panel = message->mainView();
    platform::ui::Point origin = panel->convertToScreen({0, 0});
    return {origin.x, origin.y, panel->bounds().width, panel->bounds().height};
  }
  // Centre of a view on the screen.
  static platform::ui::Point Centre(const platform::ui::View& view) {
    return view.convertToScreen({view.bounds().width / 2, view.bounds().height / 2});
  }

  void Play(const platform::ui::TouchScript& script) {
    script.play(screen(), *sim);
    sim->advance(script.duration() + 0.05);
  }
  void Tap(platform::ui::Point at) { Play(platform::ui::TouchScript().down(at).wait(0.05).up()); }

  // The statistics events queued so far, as "<stat>:<type>:<id>" strings.
  std::vector<std::string> Stats() const {
    std::vector<std::string> out;
    for (const Json& event : env->queue->events) {
      if (!event.contains(TSREvent_campaignStats)) continue;
      // The payloads travel as JSON text.
      for (const Json& stat : Json::parse(event[TSREvent_campaignStats].get<std::string>())) {
        out.push_back(stat.value("stat", "") + ":" + stat.value("type", "") + ":" + stat.value("id", ""));
      }
    }
    return out;
  }
  // The actions the app's global context sent, by name.
  std::vector<std::string> Actions() const {
    std::vector<std::string> out;
    for (const Json& event : env->queue->events) {
      if (event.contains(TSREvent_action) && !event.contains(TSREvent_campaignStats)) {
        out.push_back(event[TSREvent_action].get<std::string>());
      }
    }
    return out;
  }

  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  platform::ui::sim::SimUI* ui = nullptr;
  std::shared_ptr<platform::ui::sim::SimViewController> appRoot;
  std::shared_ptr<platform::ui::sim::SimWindow> appWindow;
  std::shared_ptr<MessageEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  LogCapture log{TSRLogLevelDebug};
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_MESSAGES_MESSAGE_HOST_H_

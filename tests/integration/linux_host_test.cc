// The Linux host as an app drives it: the shared instance, lifecycle reports
// from the app's own thread, real threads and real time, against the local
// Tessarin service over loopback. Each case runs the probe app in a process
// of its own (a fresh shared instance, files under a temporary
// XDG_DATA_HOME), so that it can also be killed.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "integration/linux_host_fixture.h"
#include "tessarin/json.h"

namespace tessarin {
namespace {

using namespace std::chrono_literals;

class LinuxHostTest : public LinuxHostFixture {};

TEST_F(LinuxHostTest, LifecycleReportsFromTheAppsThreadTakeEffectInOrder) {
  // The reports come at once after the first use of the shared instance,
  // which the app made on another thread: none may be lost.
  for (int run = 0; run < 3; ++run) {
    auto probe = Probe("lifecycle", service->port());
    Json launched = Line(*probe, "reachedActive");
    EXPECT_EQ(launched["reachedActive"], true) << run;
    EXPECT_EQ(launched["processedLaunch"], true) << run;
    // Becoming active counts as the user's activity: no touch needed.
    EXPECT_EQ(launched["globalActive"], true) << run;
    Json background = Line(*probe, "backgroundReachedActive");
    EXPECT_EQ(background["backgroundReachedActive"], false);
    EXPECT_EQ(background["backgroundGlobalActive"], false);
    Json foreground = Line(*probe, "foregroundReachedActive");
    EXPECT_EQ(foreground["foregroundReachedActive"], true);
    EXPECT_EQ(foreground["foregroundGlobalActive"], true);
    EXPECT_EQ(probe->wait(10s), 0);
  }
}

TEST_F(LinuxHostTest, QuittingFromTheForegroundSavesTheQueue) {
  auto probe = Probe("terminate", ClosedPort());
  EXPECT_EQ(Line(*probe, "terminated")["terminated"], true);
  EXPECT_EQ(probe->wait(10s), 0);
  std::ifstream file(data_ + "/com.tessarin.probe/Tessarin-events");
  ASSERT_TRUE(file) << "no queue file";
  std::stringstream text;
  text << file.rdbuf();
  Json saved = Json::parse(text.str(), nullptr, false);
  ASSERT_TRUE(saved.is_array()) << text.str();
  int tracked = 0;
  for (const Json& event : saved) tracked += event.value("action", "").rfind("Terminate Event ", 0) == 0;
  EXPECT_EQ(tracked, 5);
}

TEST_F(LinuxHostTest, TheAppsOwnPushLinkAndNotificationCallsActWithDefaultOptions) {
  auto probe = Probe("entrypoints", service->port(), "", {"PROBE_OS=Tessarix"});
  Json result = Line(*probe, "mine");
  EXPECT_EQ(result["mine"], true);
  EXPECT_EQ(result["other"], false);
  EXPECT_EQ(result["drained"], true);

  bool token = false, click = false, test_selection = false;
  auto seen_all = [&] {
    token = click = test_selection = false;
    for (const Json& event : Events()) {
      std::string tokens = event.value("_ptu", "");
      if (tokens.find("\"token\":\"0102feff\"") != std::string::npos &&
          tokens.find("\"GCM\"") != std::string::npos) {
        token = true;
      }
      if (event.value(".cStat", "").find("\"id\":\"exp-9\"") != std::string::npos) click = true;
      if (event.value("action", "") == "Probe Action") test_selection = event.value(".testMessages", "") == "true";
    }
    return token && click && test_selection;
  };
  auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!seen_all() && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(10ms);
  EXPECT_TRUE(token) << "push tokens not reported";
  EXPECT_TRUE(click) << "notification click not reported";
  EXPECT_TRUE(test_selection) << "test link did not select test campaigns";
  // The OS name the host gave travels in every event...
  for (const Json& event : Events()) EXPECT_EQ(event.value(".on", ""), "Tessarix");
  // And it names the app's configuration on the service.
  auto configs = service->requests(Endpoint::kAppConfig);
  ASSERT_FALSE(configs.empty());
  EXPECT_NE(configs[0].path.find("/Tessarix/com.tessarin.probe/1.0/"), std::string::npos) << configs[0].path;
}

TEST_F(LinuxHostTest, ARefusedConnectionIsRetriedAfterAboutOneSecond) {
  int port = service->port();
  auto probe = Probe("retry", port);
  ASSERT_EQ(Line(*probe, "loaded")["loaded"], true);
  StopService();  // refuses connections from now on
  std::ofstream(data_ + "/go").put('\n');
  ASSERT_EQ(Line(*probe, "retrying")["retrying"], true) << "the first attempt did not fail";
  StartService(port);
  Json delivered = Line(*probe, "delivered");
  EXPECT_EQ(delivered["delivered"], true);
  long after = delivered.value("afterFailureMs", -1L);
  EXPECT_GE(after, 800);
  EXPECT_LE(after, 3000);
  EXPECT_EQ(ActionCounts()["Retry Event"], 1);
}

TEST_F(LinuxHostTest, EventsOfAKilledProcessAreDeliveredAfterTheNextStart) {
  constexpr int kEvents = 200;
  int port = ClosedPort();
  auto recorder = Probe("record", port, std::to_string(kEvents));
  ASSERT_EQ(Line(*recorder, "recorded")["recorded"], kEvents);
  // A second for the events to reach the disk, then the process dies.
  std::this_thread::sleep_for(1200ms);
  recorder->kill(SIGKILL);
  EXPECT_EQ(recorder->wait(5s), 128 + SIGKILL);

  StartService(port);
  auto deliverer = Probe("deliver", port);
  Json result = Line(*deliverer, "drained", 30s);
  EXPECT_EQ(result["drained"], true) << result.dump();
  // Nothing was drawn and no JSONPath condition ran, so neither the drawing
  // libraries nor ICU were loaded.
  EXPECT_EQ(result["drawingLoaded"], false);
  EXPECT_EQ(result["unicodeLoaded"], false);
  EXPECT_EQ(deliverer->wait(10s), 0);
  auto counts = ActionCounts();
  int missing = 0, duplicates = 0;
  for (int i = 0; i < kEvents; ++i) {
    int seen = counts["Kill Event " + std::to_string(i)];
    missing += seen == 0;
    duplicates += seen > 1 ? seen - 1 : 0;
  }
  EXPECT_EQ(missing, 0);
  EXPECT_LE(duplicates, 50);  // at most the batch in flight
}

TEST_F(LinuxHostTest, TheOverlayDrawsTheSdksWindowForTheAppAndTakesOnlyPressesOnItsViews) {
  auto probe = Probe("overlay", service->port());
  Json result = Line(*probe, "shown", 30s);
  ASSERT_TRUE(result.is_object()) << "the probe printed nothing";
  // The red view reached the app's callback, on the SDK's main thread, and
  // nothing was drawn beside it.
  EXPECT_EQ(result["shown"], true);
  EXPECT_GE(result["shownFrames"], 1);
  EXPECT_EQ(result["offViewPixel"], 0);
  EXPECT_EQ(result["onSdkThread"], true);
  // A press on the view is the SDK's to the end, wherever it moves; one
  // beside it is the app's, even when it moves onto the view.
  EXPECT_EQ(result["onViewDown"], true);
  EXPECT_EQ(result["onViewMove"], true);
  EXPECT_EQ(result["onViewUp"], true);
  EXPECT_EQ(result["offViewDown"], false);
  EXPECT_EQ(result["offViewMove"], false);
  EXPECT_EQ(result["offViewUp"], false);
  EXPECT_EQ(result["touches"], "be");
  // A smaller screen gets a frame of its size; hiding the window says the
  // overlay is gone.
  EXPECT_EQ(result["resized"], true);
  EXPECT_EQ(result["hidden"], true);
  EXPECT_EQ(probe->wait(10s), 0);
}

TEST_F(LinuxHostTest, InAppMessagesAndAlertsReachTheAppsOverlayAndTheAppsPointerActsOnThem) {
  // One message with a green button after "First", one with a blue panel
  // and no buttons after "Next", one to swipe away after "Swipe".
  auto message = [](const std::string& id, Json data) {
    data["id"] = id;
    data["type"] = "tsr_mn";
    data["targetName"] = "tsr_mn";
    return Json{{"campaignId", id},     {"campaignName", id},   {"experienceId", id + "-exp"},
                {"experienceName", id}, {"routingId", "Global"}, {"userGroup", "Default"},
                {"mobileUiMessages", Json::array({data})}};
  };
  Json first = message("button-msg", {{"position", "center"},
                                      {"title", {{"text", "Hello"}}},
                                      {"buttonMap", {{"0", {{"text", "OK"}, {"backgroundColor", "#00FF00"}}}}}});
  Json next = message("panel-msg", {{"position", "bottom"}, {"backgroundColor", "#0000FF"}, {"body", {{"text", "Tap"}}}});
  Json swipe = message("swipe-msg", {{"backgroundColor", "#FF00FF"},
                                     {"body", {{"text", "Swipe"}}},
                                     {"interactionMap", {{"swipeLeft", Json::object()}}}});
  service->setEventResponder([first, next, swipe](const Json& events) {
    Json responses = Json::array();
    for (const Json& event : events) {
      std::string action = event.value("action", "");
      Json campaigns = Json::array();
      if (action == "First") campaigns.push_back(first);
      if (action == "Next") campaigns.push_back(next);
      if (action == "Swipe") campaigns.push_back(swipe);
      responses.push_back(LocalService::EventResponse(campaigns));
    }
    return responses;
  });

  auto probe = Probe("message", service->port());
  Json result = Line(*probe, "buttonShown", 60s);
  ASSERT_TRUE(result.is_object()) << "the probe printed nothing";
  EXPECT_EQ(result["buttonShown"], true);
  EXPECT_EQ(result["buttonDown"], true);
  EXPECT_EQ(result["buttonUp"], true);
  EXPECT_EQ(result["buttonHidden"], true);
  EXPECT_EQ(result["panelShown"], true);
  EXPECT_EQ(result["besideDown"], false);
  EXPECT_EQ(result["panelDown"], true);
  EXPECT_EQ(result["panelUp"], true);
  EXPECT_EQ(result["panelHidden"], true);
  EXPECT_EQ(result["swipeShown"], true);
  EXPECT_EQ(result["swipeTaken"], true);
  EXPECT_EQ(result["swipeHidden"], true);
  EXPECT_EQ(result["alertShown"], true);
  EXPECT_EQ(result["alertTakesTouches"], true);
  EXPECT_EQ(result["alertGone"], true);
  EXPECT_EQ(result["flushed"], true);
  EXPECT_EQ(probe->wait(10s), 0);

  // Each message's impression and dismissal reached the service.
  std::multiset<std::string> stats;
  for (const Json& event : Events()) {
    if (!event.contains(".cStat")) continue;
    for (const Json& stat : Json::parse(event[".cStat"].get<std::string>())) {
      if (stat.value("type", "") == "m") stats.insert(stat.value("id", "") + ":" + stat.value("stat", ""));
    }
  }
  EXPECT_EQ(stats, (std::multiset<std::string>{"button-msg:i", "button-msg:d", "panel-msg:i", "panel-msg:d",
                                                "swipe-msg:i", "swipe-msg:d"}));
}

}  // namespace
}  // namespace tessarin

// Design mode as the person at the editor meets it: the hidden press on the
// app's window, the connection (with its Wi-Fi warning), and the screens
// uploaded as the user moves through the app, on the simulated phone with
// the network side recorded and answered by the test.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "design/design_gesture.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/color.h"
#include "platform/ui/image.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/ui/touch_script.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"
#include "tracking/view_controller_tracking.h"
#include "util/config.h"

namespace tessarin::testing {
namespace {

namespace kit = platform::ui;

constexpr std::uint32_t kHomeColour = 0xff2060ff;     // RGBA
constexpr std::uint32_t kProductColour = 0x20a040ff;  // RGBA

platform::HttpResponse Ok() {
  platform::HttpResponse response;
  response.statusCode = 200;
  return response;
}

TSRError ConnectivityError() {
  return TSRError{kTSRURLErrorDomain, -1009, "The Internet connection appears to be offline.", std::nullopt,
                  std::nullopt};
}
TSRError ServiceError() {
  return TSRError{"com.tessarin.sdk", 0, "Request failed.", "Bad request (400)", "Check the request."};
}

class DesignModeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim->app().simulator = false;  // a device: three fingers
    for (const char* name : {"HomeViewController", "ProductViewController"}) {
      sim->hostRuntime()->defineClass(name, "UIViewController");
    }
    ui = &kit::sim::SimUI::of(*sim);
    home = Screen("HomeViewController", kHomeColour);
    product = Screen("ProductViewController", kProductColour);
    window = ui->addWindow(home);
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->launchApp();
    facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}, {"useDesignMode", true}});
    sim->runUntilIdle();
    // The server's configuration arrives, so ordinary events flow.
    auto& config = env->sender->configRequests.back();
    config.success(env->sender.get(), config.uuid, Ok(), Json{{"maxScreens", 4}});
    Visit(home);
  }

  std::shared_ptr<kit::sim::SimViewController> Screen(const std::string& cls, std::uint32_t colour) {
    auto vc = ui->makeViewController(cls);
    vc->kit().view()->setBackgroundColor(kit::Color::fromRGBA(colour));
    return vc;
  }
  // The user moves to `vc` and stays there for `seconds`.
  void Visit(const std::shared_ptr<kit::sim::SimViewController>& vc, double seconds = 1.0) {
    if (current && current != vc) ui->disappear(current);
    window->setRootViewController(vc);
    ui->appear(vc);
    current = vc;
    sim->runUntilIdle();
    sim->advance(seconds);
  }
  // A press of `fingers` fingers held still for `seconds` in the middle of
  // the app's window.
  void Press(int fingers, double seconds) {
    kit::TouchScript script;
    for (int finger = 1; finger <= fingers; ++finger) script.down({100.0 + 40 * finger, 300}, finger);
    script.wait(seconds);
    for (int finger = 1; finger <= fingers; ++finger) script.up(finger);
    script.play(ui->screen(), *sim);
    sim->advance(script.duration() + 0.1);
  }
  FakeSender& Sender() { return *env->sender; }
  void Answer(FakeSender::DesignerRequest& request) {
    request.success(env->sender.get(), request.uuid, Ok(), Json::object());
    sim->runUntilIdle();
  }
  void Fail(FakeSender::DesignerRequest& request, const TSRError& error) {
    request.failure(env->sender.get(), request.uuid, std::nullopt, error);
    sim->runUntilIdle();
  }
  void Connect() {
    Press(3, 3.2);
    ASSERT_FALSE(Sender().connectRequests.empty());
    Answer(Sender().connectRequests.back());
    ASSERT_TRUE(facade->designMode());
  }
  std::vector<std::string> AlertMessages() const {
    std::vector<std::string> out;
    for (const auto& alert : sim->alerts().shown()) out.push_back(alert->request().message);
    return out;
  }
  // The class name in each upload's description, in order.
  std::vector<std::string> UploadedClasses() const {
    std::vector<std::string> out;
    for (const auto& upload : env->sender->uploadRequests) {
      out.push_back(Json::parse(upload.info[".vcd"].get<std::string>()).value("className", "?"));
    }
    return out;
  }

  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  kit::sim::SimUI* ui = nullptr;
  std::shared_ptr<kit::sim::SimViewController> home, product, current;
  std::shared_ptr<kit::sim::SimWindow> window;
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(DesignModeTest, OnlyAThreeFingerPressOfThreeSecondsConnectsAndNotAgainWhileConnected) {
  Press(3, 2.8);
  Press(2, 3.5);
  EXPECT_TRUE(Sender().connectRequests.empty());

  Press(3, 3.2);
  ASSERT_EQ(Sender().connectRequests.size(), 1u);
  EXPECT_TRUE(log.contains("Attempting to connect to designer"));
  // The request carries who is asking, as every event does.
  EXPECT_EQ(Sender().connectRequests[0].info.value(TSREvent_appName, ""), "com.tessarin.simhost");
  // A second press while the first request is pending asks nothing more.
  Press(3, 3.2);
  EXPECT_EQ(Sender().connectRequests.size(), 1u);

  env->journal->clear();
  Answer(Sender().connectRequests[0]);
  EXPECT_TRUE(facade->designMode());
  EXPECT_EQ(AlertMessages(), std::vector<std::string>{"Connected."});
  EXPECT_TRUE(log.contains("Designer: Connected.", TSRLogLevelInfo));
  EXPECT_TRUE(env->journalHas("queue.stop"));
  // Ordinary actions stop while connected.
  facade->globalContext()->trackAction("tap");
  sim->runUntilIdle();
  EXPECT_TRUE(log.contains("Action: Ignoring, Tessarin in design mode: action [tap] contextId [Global]"));

  const int recognized = log.count("Design connect gesture recognized");
  Press(3, 3.2);
  EXPECT_EQ(log.count("Design connect gesture recognized"), recognized + 1);
  EXPECT_EQ(Sender().connectRequests.size(), 1u);
}

TEST_F(DesignModeTest, ASimulatorTakesTwoFingersAndAFailedConnectionCanBeRetried) {
  sim->app().simulator = true;
  facade->stop();
  sim->runUntilIdle();
  EXPECT_EQ(facade->designGestureRecognizer(), nullptr);
  facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}, {"useDesignMode", true}});
  sim->runUntilIdle();

  Press(2, 3.2);
  ASSERT_EQ(Sender().connectRequests.size(), 1u);
  Fail(Sender().connectRequests[0], ServiceError());
  EXPECT_TRUE(log.contains("Design connect error: Request failed. Bad request (400) Check the request."));
  EXPECT_FALSE(facade->designMode());
  Press(2, 3.2);
  EXPECT_EQ(Sender().connectRequests.size(), 2u);
}

TEST_F(DesignModeTest, WithoutUseDesignModeThePressDoesNothingUntilTheAppAllowsConnections) {
  facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}, {"useDesignMode", false}});
  facade->stop();
  sim->runUntilIdle();
  facade->startWithConfiguration(Json{{"account", "acme"}, {"dataset", "shop"}});
  sim->runUntilIdle();
  EXPECT_EQ(facade->designGestureRecognizer(), nullptr);
  Press(3, 3.2);
  EXPECT_TRUE(Sender().connectRequests.empty());

  facade->allowDesignConnections();
  sim->runUntilIdle();
  Press(3, 3.2);
  EXPECT_EQ(Sender().connectRequests.size(), 1u);
}

TEST_F(DesignModeTest, OnCellularThePersonIsWarnedAndDecides) {
  env->reachability->status = 1;
  Press(3, 3.2);
  Answer(Sender().connectRequests.at(0));
  auto alerts = sim->alerts().visible();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0]->request().title, "Tessarin Designer");
  EXPECT_EQ(alerts[0]->request().message,
            "We recommend using this feature over a Wi-Fi network. Are you sure you wish to proceed?");
  EXPECT_EQ(alerts[0]->request().buttons, (std::vector<std::string>{"Cancel", "OK"}));
  alerts[0]->tapButton(0);
  sim->runUntilIdle();
  EXPECT_TRUE(log.contains("Designer: User did not allow design mode connection without WiFi", TSRLogLevelInfo));
  EXPECT_FALSE(facade->designMode());
  EXPECT_EQ(facade->designConnectRequestUUID(), std::nullopt);

  // A warning left unanswered goes after "designerAlertTime" seconds, and
  // silence is no consent.
  Press(3, 3.2);
  Answer(Sender().connectRequests.at(1));
  ASSERT_EQ(sim->alerts().visible().size(), 1u);
  sim->advance(3.1);
  EXPECT_TRUE(sim->alerts().visible().empty());
  EXPECT_EQ(log.count("Designer: User did not allow design mode connection without WiFi"), 2);
  EXPECT_FALSE(facade->designMode());

  // The gesture starts again; this time the person accepts.
  Press(3, 3.2);
  Answer(Sender().connectRequests.at(2));
  sim->alerts().visible().at(0)->tapButton(1);
  sim->runUntilIdle();
  EXPECT_TRUE(log.contains("Designer: User allowed design mode connection without WiFi", TSRLogLevelInfo));
  EXPECT_TRUE(facade->designMode());
  EXPECT_EQ(facade->designConnectRequestUUID(), "connect-3");
}

TEST_F(DesignModeTest, WithAlertsSwitchedOffACellularConnectionIsRefused) {
  facade->config().setConfiguration(Json{{"designerAlertTime", 0}}, TSRConfig::kLayerServer);
  env->reachability->status = 1;
  Press(3, 3.2);
  Answer(Sender().connectRequests.at(0));
  EXPECT_TRUE(sim->alerts().shown().empty());
  EXPECT_TRUE(log.contains("Designer: User unable to allow design mode connection without WiFi", TSRLogLevelError));
  EXPECT_FALSE(facade->designMode());
  EXPECT_EQ(facade->designConnectRequestUUID(), std::nullopt);
}

TEST_F(DesignModeTest, EachScreenIsUploadedOnceWithWhatItShowsAndOnlyIfTheUserStays) {
  Connect();
  // Connecting uploads the screen the user is on, after the delay.
  sim->advance(0.25);
  EXPECT_TRUE(Sender().uploadRequests.empty());
  sim->advance(0.1);
  ASSERT_EQ(UploadedClasses(), std::vector<std::string>{"HomeViewController"});

  auto& upload = Sender().uploadRequests[0];
  EXPECT_EQ(upload.mimeType, "image/png");
  EXPECT_EQ(upload.info[".vcd"], tsr_description(*home)->toJSONStringPrettyPrinted(false));
  EXPECT_TRUE(upload.info.contains(TSREvent_anonId));
  // The picture is the window as the user sees it, within 1024 pixels.
  auto image = kit::Image::decodePNG(upload.imageData);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->height(), 1024);
  EXPECT_LT(image->width(), 1024);
  EXPECT_EQ(image->pixel(image->width() / 2, image->height() / 2), 0xff2060ffu >> 8 | 0xff000000u);
  // Recorded before the answer; the alert shows the work and then a check mark.
  auto uploading = sim->alerts().visible().at(0);
  EXPECT_EQ(uploading->request().message, "Uploading screen...");
  EXPECT_TRUE(uploading->request().activityIndicator);
  sim->advance(10);
  EXPECT_TRUE(uploading->visible());
  Answer(upload);
  EXPECT_EQ(uploading->indicatorText(), "✓");
  EXPECT_EQ(uploading->dismissedAnimated(), true);
  EXPECT_EQ(facade->designUploadRequestUUID(), std::nullopt);

  // A screen left within the delay is not uploaded; one the user stays on is.
  Visit(product, 0.1);
  Visit(home, 1.0);
  EXPECT_EQ(UploadedClasses().size(), 1u);
  EXPECT_TRUE(log.countContaining("Designer: Already uploaded on ") == 1);
  Visit(product, 1.0);
  Answer(Sender().uploadRequests.back());
  Visit(home, 1.0);
  Visit(product, 1.0);
  EXPECT_EQ(UploadedClasses(), (std::vector<std::string>{"HomeViewController", "ProductViewController"}));
  auto product_image = kit::Image::decodePNG(Sender().uploadRequests[1].imageData);
  ASSERT_TRUE(product_image);
  EXPECT_EQ(product_image->pixel(10, 10), 0x20a040u | 0xff000000u);
}

TEST_F(DesignModeTest, TheRecordOutlivesTheProcessAndAFailedUploadIsForgotten) {
  Connect();
  sim->advance(1);
  ASSERT_EQ(Sender().uploadRequests.size(), 1u);
  // The network dropped: the connection stays and the record goes, so the
  // next visit uploads the screen again.
  Fail(Sender().uploadRequests[0], ConnectivityError());
  EXPECT_TRUE(facade->designMode());
  EXPECT_TRUE(log.countContaining("Designer: Upload error for vcd: ") == 1);
  EXPECT_EQ(AlertMessages().back(), "Screen upload failed.");
  Visit(product, 0.1);
  Visit(home, 1.0);
  ASSERT_EQ(Sender().uploadRequests.size(), 2u);
  Answer(Sender().uploadRequests[1]);

  // The next launch knows the screen.
  facade->config().waitForPendingWrites();
  auto relaunched_env = std::make_shared<FakeEnvironment>(sim);
  auto relaunched = TessarinImpl::createWithEnvironment(relaunched_env);
  sim->runUntilIdle();
  const std::string hash = std::to_string(static_cast<unsigned long>(tsr_description(*home)->hash()));
  const Json* uploads = relaunched->config().jsonForKey("__screenUploads");
  ASSERT_NE(uploads, nullptr);
  EXPECT_TRUE(uploads->contains(hash));
}

TEST_F(DesignModeTest, AServiceRefusalEndsTheSessionAndTheAppReturnsToNormal) {
  Connect();
  sim->advance(1);
  ASSERT_EQ(Sender().uploadRequests.size(), 1u);
  const std::size_t config_requests = Sender().configRequests.size();
  env->journal->clear();
  Fail(Sender().uploadRequests[0], ServiceError());
  EXPECT_FALSE(facade->designMode());
  EXPECT_EQ(AlertMessages().back(), "Disconnected.");
  EXPECT_EQ(facade->designConnectRequestUUID(), std::nullopt);
  // Ordinary events flow again and the configuration is asked for anew.
  EXPECT_TRUE(env->journalHas("queue.start"));
  EXPECT_EQ(Sender().configRequests.size(), config_requests + 1);
  // Visiting screens uploads nothing any more.
  Visit(product, 1.0);
  EXPECT_EQ(Sender().uploadRequests.size(), 1u);

  // Going to the background also ends a session, and stopping removes the press.
  Connect();
  sim->enterBackground();
  sim->runUntilIdle();
  EXPECT_FALSE(facade->designMode());
  sim->enterForeground();
  sim->runUntilIdle();
  ASSERT_NE(facade->designGestureRecognizer(), nullptr);
  facade->stop();
  sim->runUntilIdle();
  EXPECT_EQ(facade->designGestureRecognizer(), nullptr);
  EXPECT_TRUE(window->kit().gestureRecognizers().empty());
}

}  // namespace
}  // namespace tessarin::testing

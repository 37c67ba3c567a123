// The kit's own alerts on a simulated screen on virtual time: how they are
// drawn, what tapping their buttons and dismissing them by code report,
// the spinner's turning, and that an alert is modal while it is up.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/alert_presenter.h"
#include "platform/ui/animator.h"
#include "platform/ui/screen.h"
#include "platform/ui/touch_script.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_renderer.h"
#include "support/golden.h"
#include "touch_log.h"

namespace tessarin::platform::ui {
namespace {

void ExpectGolden(const Image& image, const std::string& name) {
  tessarin::testing::ExpectMatchesGolden(image, tessarin::testing::GoldenPath(__FILE__, name));
}

constexpr const char* kWarning =
    "We recommend using this feature over a Wi-Fi network. Are you sure you wish to proceed?";

class AlertTest : public ::testing::Test {
 protected:
  // The app: one white window at the normal level, all of it a view that
  // hears touches.
  void SetUp() override {
    app_->setBackgroundColor(Color::white());
    app_->addSubview(appView_);
    app_->makeKeyAndVisible();
  }

  AlertRequest Request(std::string message, std::vector<std::string> buttons, bool indicator = false) {
    AlertRequest request;
    request.title = "Tessarin Designer";
    request.message = std::move(message);
    request.buttons = std::move(buttons);
    request.activityIndicator = indicator;
    request.didDismiss = [this](int index) { dismissed_.push_back(index); };
    return request;
  }
  // Shows the alert and lets it fade in.
  std::shared_ptr<KitAlert> Show(AlertRequest request) {
    auto alert = std::dynamic_pointer_cast<KitAlert>(presenter_.show(std::move(request)));
    AfterFade();
    return alert;
  }
  // A fade, and the frames after it that let the animator's frames stop.
  void AfterFade() { sim_.advance(KitAlertPresenter::kFadeDuration + 3 * Animator::kFrameInterval); }
  // A finger down and up at `point`: whether the screen took it.
  bool Tap(Point point) {
    TouchScript script;
    script.down(point).wait(0.05).up();
    auto playback = script.play(screen_, sim_);
    sim_.advance(script.duration() + 0.001);
    return playback->finished && playback->taken.at(0);
  }
  static Point Centre(const View& view) {
    return view.convertToScreen({view.bounds().width / 2, view.bounds().height / 2});
  }
  static Rect ScreenFrame(const View& view) {
    Point origin = view.convertToScreen({0, 0});
    return {origin.x, origin.y, view.bounds().width, view.bounds().height};
  }
  Image Shot(const Rect& area) const {
    std::vector<const View*> shown;
    for (Window* window : screen_.windows()) {
      if (!window->isHidden()) shown.push_back(window);
    }
    return renderViews(shown, area, 2);
  }

  sim::SimPlatform sim_;
  UIEnvironment env_{sim_};
  Screen screen_{env_, {320, 480}, 2};
  // Before the presenter, which dismisses what is still up as it goes.
  std::vector<int> dismissed_;
  KitAlertPresenter presenter_{screen_};
  std::shared_ptr<Window> app_ = std::make_shared<Window>(screen_);
  std::shared_ptr<TouchLog> appView_ = std::make_shared<TouchLog>(screen_.bounds());
};

TEST_F(AlertTest, TwoButtonsSitSideBySideUnderTheWrappedMessageInACentredPanel) {
  auto alert = Show(Request(kWarning, {"Cancel", "OK"}));
  const AlertView& panel = *alert->alertView();
  Rect frame = ScreenFrame(panel);
  EXPECT_EQ(frame, (Rect{25, frame.y, AlertView::kWidth, frame.height}));
  EXPECT_NEAR(frame.y + frame.height / 2, 240, 0.5);
  // Cancel, the first, on the left: the index a tap reports is its place.
  Rect cancel = panel.buttons().at(0)->frame(), ok = panel.buttons().at(1)->frame();
  EXPECT_EQ(panel.buttons()[0]->titleLabel()->text(), "Cancel");
  EXPECT_EQ(ok, (Rect{cancel.maxX(), cancel.y, AlertView::kWidth - cancel.maxX(), cancel.height}));
  ExpectGolden(Shot({frame.x - 10, frame.y - 10, frame.width + 20, frame.height + 20}), "alert_two_buttons@2x");
}

TEST_F(AlertTest, OnAResizedScreenThePanelIsCentredAgainAndATooLongMessageIsCut) {
  auto alert = Show(Request(kWarning, {"Cancel", "OK"}));
  const AlertView& panel = *alert->alertView();
  double height = panel.bounds().height;
  // A host window dragged wide and very low: the buttons stay on it.
  screen_.setSize({480, 180}, 2);
  sim_.runUntilIdle();
  Rect frame = ScreenFrame(panel);
  EXPECT_EQ(frame.x, 105);
  EXPECT_GE(frame.y, 20);
  EXPECT_LE(frame.maxY(), 160);
  EXPECT_GT(panel.messageLabel()->numberOfLines(), 0);  // ends in an ellipsis
  EXPECT_EQ(panel.buttons()[1]->frame().maxY(), frame.height);

  screen_.setSize({320, 480}, 2);
  sim_.runUntilIdle();
  EXPECT_EQ(panel.bounds().height, height);
  EXPECT_EQ(panel.messageLabel()->numberOfLines(), 0);
}

TEST_F(AlertTest, ACheckMarkTakesTheSpinnersPlace) {
  auto alert = Show(Request("Uploading screen...", {"OK"}, true));
  AlertView& panel = *alert->alertView();
  ASSERT_TRUE(panel.activityIndicator());
  Rect spinner = panel.activityIndicator()->frame();
  alert->replaceActivityIndicatorWithText("✓");
  sim_.runUntilIdle();
  EXPECT_FALSE(panel.activityIndicator());
  ASSERT_TRUE(panel.accessoryLabel());
  EXPECT_EQ(panel.accessoryLabel()->frame(), spinner);
  ExpectGolden(Shot(ScreenFrame(panel)), "alert_check_mark@2x");

  // An alert without a spinner has no place for a text.
  auto plain = Show(Request("Connected.", {"OK"}));
  double height = plain->alertView()->bounds().height;
  plain->replaceActivityIndicatorWithText("✓");
  sim_.runUntilIdle();
  EXPECT_FALSE(plain->alertView()->accessoryLabel());
  EXPECT_EQ(plain->alertView()->bounds().height, height);
}

TEST_F(AlertTest, TappingAButtonDismissesWithItsIndexOnceAndTheWindowLeavesTheScreen) {
  for (int index : {0, 1}) {
    SCOPED_TRACE(index);
    dismissed_.clear();
    auto alert = Show(Request(kWarning, {"Cancel", "OK"}));
    Point button = Centre(*alert->alertView()->buttons()[index]);
    EXPECT_TRUE(Tap(button));
    EXPECT_FALSE(alert->visible());
    AfterFade();
    EXPECT_EQ(dismissed_, std::vector<int>{index});
    EXPECT_EQ(screen_.windows(), std::vector<Window*>{app_.get()});
    // Where the button was is the app's again.
    appView_->heard.clear();
    EXPECT_TRUE(Tap(button));
    AfterFade();
    EXPECT_EQ(dismissed_, std::vector<int>{index});
    EXPECT_EQ(appView_->heard, (std::vector<std::string>{"began", "ended"}));
  }
}

TEST_F(AlertTest, CodeDismissesWithMinusOneAfterTheFadeOrAtOnce) {
  auto faded = Show(Request("Connected.", {"OK"}));
  faded->dismiss(true);
  faded->dismiss(true);
  EXPECT_TRUE(dismissed_.empty());  // still fading
  AfterFade();
  EXPECT_EQ(dismissed_, std::vector<int>{-1});

  auto cut = Show(Request("Disconnected.", {"OK"}));
  std::weak_ptr<Window> window = cut->window();
  cut->dismiss(false);
  EXPECT_EQ(dismissed_, (std::vector<int>{-1, -1}));
  EXPECT_TRUE(window.lock() == nullptr || window.lock()->isHidden());
  AfterFade();
  EXPECT_EQ(dismissed_, (std::vector<int>{-1, -1}));
  EXPECT_TRUE(presenter_.visibleAlerts().empty());

  // A presenter that goes takes its alerts with it.
  auto presenter = std::make_unique<KitAlertPresenter>(screen_);
  auto left = presenter->show(Request("Connected.", {"OK"}));
  presenter.reset();
  EXPECT_FALSE(left->visible());
  EXPECT_EQ(dismissed_, (std::vector<int>{-1, -1, -1}));
  sim_.runUntilIdle();
  EXPECT_EQ(screen_.windows(), std::vector<Window*>{app_.get()});
}

TEST_F(AlertTest, TheSpinnerTurnsOnVirtualTimeAndLeavesNoFramesBehindOnceItGoes) {
  auto alert = Show(Request("Uploading screen...", {"OK"}, true));
  auto spinner = alert->alertView()->activityIndicator();
  // Nothing is due without time passing, and time passes in frames only.
  EXPECT_EQ(sim_.runUntilIdle(), 0u);
  EXPECT_EQ(sim_.activeTimers().size(), 1u);
  double before = spinner->angle();
  sim_.advance(0.25);
  EXPECT_NE(spinner->angle(), before);
  sim_.advance(30);
  EXPECT_TRUE(alert->visible());  // an alert with a spinner waits for its work

  alert->dismiss(true);
  AfterFade();
  EXPECT_TRUE(sim_.activeTimers().empty());

  // The check mark stops it too, while the alert stays up.
  auto done = Show(Request("Uploading screen...", {"OK"}, true));
  done->replaceActivityIndicatorWithText("✓");
  sim_.advance(Animator::kFrameInterval);
  EXPECT_TRUE(done->visible());
  EXPECT_TRUE(sim_.activeTimers().empty());
}

TEST_F(AlertTest, WhileUpTheAlertTakesEveryTouchAndOnceDismissedLetsThemThrough) {
  // From the moment it is shown, before it has faded in.
  auto alert = std::dynamic_pointer_cast<KitAlert>(presenter_.show(Request(kWarning, {"Cancel", "OK"})));
  EXPECT_TRUE(Tap({5, 5}));
  AfterFade();
  // Outside the panel, and on the panel off its buttons: taken, and nothing
  // happens.
  EXPECT_TRUE(Tap({5, 5}));
  EXPECT_TRUE(Tap(Centre(*alert->alertView()->titleLabel())));
  EXPECT_TRUE(appView_->heard.empty());
  EXPECT_TRUE(alert->visible());
  EXPECT_TRUE(dismissed_.empty());

  // Even while it fades out, the app has its touches back.
  alert->dismiss(true);
  EXPECT_TRUE(Tap({5, 5}));
  EXPECT_EQ(appView_->heard, (std::vector<std::string>{"began", "ended"}));
}

TEST_F(AlertTest, ASecondAlertStacksAboveTheFirstWhichThePresenterKeepsUp) {
  std::vector<int> first;
  auto request = Request("Connected.", {"OK"});
  request.didDismiss = [&first](int index) { first.push_back(index); };
  std::weak_ptr<KitAlert> below = Show(std::move(request));
  auto above = Show(Request(kWarning, {"Cancel", "OK"}));
  ASSERT_TRUE(below.lock());  // only the presenter holds it
  auto windows = screen_.windows();
  ASSERT_EQ(windows.size(), 3u);
  EXPECT_EQ(windows[1], below.lock()->window().get());
  EXPECT_EQ(windows[2], above->window().get());

  EXPECT_TRUE(Tap(Centre(*above->alertView()->buttons()[1])));
  AfterFade();
  EXPECT_EQ(dismissed_, std::vector<int>{1});
  ASSERT_TRUE(below.lock() && below.lock()->visible());
  EXPECT_TRUE(Tap({5, 5}));
  EXPECT_TRUE(appView_->heard.empty());  // the first alert is still modal

  EXPECT_TRUE(Tap(Centre(*below.lock()->alertView()->buttons()[0])));
  AfterFade();
  EXPECT_EQ(first, std::vector<int>{0});
  EXPECT_FALSE(below.lock());
}

}  // namespace
}  // namespace tessarin::platform::ui

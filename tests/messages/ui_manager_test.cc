// The message manager and its overlay window, driven as the app meets them:
// campaigns in event responses, the app's window underneath, touches on
// the screen, and virtual time.
#include <gtest/gtest.h>

#include "messages/message_host.h"
#include "platform/ui/window.h"
#include "util/config.h"

namespace tessarin {
namespace {

namespace kit = platform::ui;
using testing::MessageHost;
using testing::UiCampaign;

const Json kMessage = {{"title", {{"text", "Spring sale"}}}, {"body", {{"text", "Everything 20% off"}}}};

class UIManagerTest : public MessageHost {};

TEST_F(UIManagerTest, AMessageIsShownOverTheAppAndItsImpressionTrackedOnce) {
  Show("cmp-1", kMessage);
  auto message = Shown();
  ASSERT_NE(message, nullptr);
  auto window = manager().window();
  EXPECT_FALSE(window->isHidden());
  EXPECT_TRUE(window->isActive());
  EXPECT_EQ(window->windowLevel(), kit::kWindowLevelAlert - 1);
  EXPECT_EQ(message->view()->alpha(), 1.0);  // the fade has run
  EXPECT_EQ(log.countContaining("UI: Created window"), 1);
  EXPECT_EQ(log.countContaining("present success? YES"), 1);
  EXPECT_EQ(Stats(), (std::vector<std::string>{"i:e:cmp-1-exp", "i:m:cmp-1-msg"}));

  // Hidden and shown again (the app went away and came back), the same
  // message does not count a second impression.
  window->setHidden(true);
  window->setHidden(false);
  sim->advance(1);
  EXPECT_EQ(Stats().size(), 2u);
}

TEST_F(UIManagerTest, AnEqualCampaignIsIgnoredWhetherShownOrStillWaiting) {
  // Both copies arrive in one response: the second finds the first waiting
  // for the window to become active.
  Respond(Json::array({UiCampaign("cmp-1", kMessage), UiCampaign("cmp-1", kMessage)}));
  EXPECT_EQ(log.count("UI: Ignoring equal InAppMessage Id [cmp-1-msg], already showing or will show Id [cmp-1-msg]",
                      TSRLogLevelDebug),
            1);
  auto first = Shown();
  ASSERT_NE(first, nullptr);
  // Shown, a third copy is ignored as well, and the message stays the same.
  Show("cmp-1", kMessage);
  EXPECT_EQ(log.countContaining("UI: Ignoring equal InAppMessage Id [cmp-1-msg]"), 2);
  EXPECT_EQ(Shown(), first);
  EXPECT_EQ(log.countContaining("present success? YES"), 1);
}

TEST_F(UIManagerTest, AControlGroupMessageTracksItsImpressionWithoutAWindow) {
  Respond(Json::array({UiCampaign("cmp-c", kMessage, "Control")}));
  EXPECT_TRUE(log.contains("UI: Tracking impression but not rendering control group InAppMessage Id [cmp-c-msg]",
                           TSRLogLevelInfo));
  EXPECT_EQ(manager().window(), nullptr);
  EXPECT_EQ(Stats(), (std::vector<std::string>{"i:e:cmp-c-exp", "i:m:cmp-c-msg"}));
}

TEST_F(UIManagerTest, ANewerMessageReplacesTheShownOneAndOnlyTheLastOfTwoWaitingIsShown) {
  // Two messages before the window is active: the second replaces the first.
  Respond(Json::array({UiCampaign("cmp-1", kMessage), UiCampaign("cmp-2", kMessage)}));
  ASSERT_NE(Shown(), nullptr);
  EXPECT_EQ(Shown()->campaign()->campaignId(), "cmp-2");
  EXPECT_EQ(Stats(), (std::vector<std::string>{"i:e:cmp-2-exp", "i:m:cmp-2-msg"}));

  // A third while the second is shown: the second goes at once, without
  // its fade, and the third fades in.
  auto second = Shown();
  Respond(Json::array({UiCampaign("cmp-3", kMessage)}), 0);
  EXPECT_EQ(second->presentingViewController(), nullptr);  // gone without waiting for a fade
  sim->advance(0.15);
  auto third = Shown();
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(third->campaign()->campaignId(), "cmp-3");
  EXPECT_GT(third->view()->alpha(), 0.0);
  EXPECT_LT(third->view()->alpha(), 1.0);  // still fading in
  sim->advance(1);
  EXPECT_EQ(third->view()->alpha(), 1.0);
  EXPECT_EQ(log.countContaining("UI: InAppMessage VC present wait"), 3);
}

TEST_F(UIManagerTest, TheEmptiedWindowIsRemovedTwoSecondsLaterUnlessAMessageComesFirst) {
  Show("cmp-1", kMessage);
  auto window = manager().window();
  ASSERT_NE(Shown(), nullptr);
  // A tap on a panel without buttons hides the message; the empty window hides.
  Tap(Centre(*Shown()->mainView()));
  sim->advance(1);
  EXPECT_EQ(Shown(), nullptr);
  EXPECT_TRUE(window->isHidden());

  // A message 1.5 s later keeps the window: the removal finds it in use.
  sim->advance(0.5);
  Show("cmp-2", kMessage, 2.0);
  EXPECT_EQ(manager().window(), window);
  EXPECT_FALSE(window->isHidden());
  EXPECT_EQ(log.countContaining("UI: Removing window"), 0);
  ASSERT_NE(Shown(), nullptr);

  // Hidden again (once the 0.3 s fade is over) and left alone, it goes
  // 2 s later, and is released.
  Tap(Centre(*Shown()->mainView()));
  sim->advance(2.1);
  EXPECT_EQ(manager().window(), window);
  std::weak_ptr<TSRUIWindow> weak = window;
  window.reset();
  sim->advance(0.3);
  EXPECT_EQ(manager().window(), nullptr);
  EXPECT_EQ(log.countContaining("UI: Removing window"), 1);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(log.countContaining("UI: Dealloc window"), 1);

  // The next message makes a new window.
  Show("cmp-3", kMessage);
  EXPECT_NE(Shown(), nullptr);
  EXPECT_EQ(log.countContaining("UI: Created window"), 2);
}

TEST_F(UIManagerTest, WindowLevelStrings) {
  const double alert = kit::kWindowLevelAlert;
  struct Case {
    std::optional<std::string> text;
    double level;
    bool warns;
  } cases[] = {
      {std::nullopt, alert - 1, false},
      {"", alert - 1, false},
      {"normal", kit::kWindowLevelNormal, false},
      {"alert", alert, false},
      {"Status Bar +1", kit::kWindowLevelStatusBar + 1, false},
      {"ALERT-1", alert - 1, false},
      {"alert+5", alert + 5, false},
      {"alert+2.5", alert + 2.5, false},
      {"alert0", alert - 1, true},
      {"alertx", alert - 1, true},
      {"alert+1e99", alert - 1, true},
      {"alertnan", alert - 1, true},
      {"foo", alert - 1, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.value_or("(none)"));
    log.clear();
    EXPECT_EQ(TSRUIWindow::windowLevelFromString(c.text), c.level);
    EXPECT_EQ(log.count("UI: Window level unsupported: " + c.text.value_or(""), TSRLogLevelWarn), c.warns ? 1 : 0);
  }
  // The level the server's configuration names is the window's.
  ASSERT_FALSE(env->sender->configRequests.empty());
  auto& request = env->sender->configRequests.back();
  platform::HttpResponse ok;
  ok.statusCode = 200;
  request.success(env->sender.get(), request.uuid, ok, Json{{"windowLevel", "statusbar"}});
  sim->runUntilIdle();
  Show("cmp-1", kMessage);
  ASSERT_NE(manager().window(), nullptr);
  EXPECT_EQ(manager().window()->windowLevel(), kit::kWindowLevelStatusBar);
}

TEST_F(UIManagerTest, TouchesOutsideThePanelReachTheAppBeneath) {
  Show("cmp-1", kMessage);
  auto message = Shown();
  ASSERT_NE(message, nullptr);
  kit::Rect panel = PanelFrame();
  // Above the app's own view: the panel and what is inside it.
  kit::View* onPanel = screen().hitTest({panel.x + panel.width / 2, panel.y + panel.height / 2});
  ASSERT_NE(onPanel, nullptr);
  EXPECT_TRUE(onPanel == message->mainView().get() || onPanel->isDescendantOf(message->mainView().get()));
  // Below the panel, the app's view takes the touch.
  kit::View* below = screen().hitTest({panel.x + panel.width / 2, panel.y + panel.height + 100});
  EXPECT_EQ(below, appRoot->kit().view().get());
}

TEST_F(UIManagerTest, StoppingTheSdkHidesTheMessageAndAnInvalidCampaignShowsNothing) {
  Show("cmp-bad", Json{{"body", {{"text", ""}}}});
  EXPECT_TRUE(log.contains("UI: InAppMessage VC requires title and/or body", TSRLogLevelWarn));
  EXPECT_EQ(log.countContaining("UI: Ignoring invalid InAppMessage campaign: {"), 1);
  EXPECT_EQ(manager().window(), nullptr);

  Show("cmp-1", kMessage);
  auto window = manager().window();
  ASSERT_NE(Shown(), nullptr);
  facade->stop();
  sim->runUntilIdle();
  EXPECT_TRUE(window->isHidden());
  EXPECT_EQ(window->rootViewController()->presentedViewController(), nullptr);
}

}  // namespace
}  // namespace tessarin

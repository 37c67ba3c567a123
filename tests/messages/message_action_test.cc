// What touching a message does: its buttons, a tap on the panel and the
// action dictionaries behind them, down to the statistics and actions that
// leave and the link that opens.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/log.h"
#include "messages/message_host.h"
#include "ui/message_action.h"
#include "ui/message_button.h"

namespace tessarin {
namespace {

namespace kit = platform::ui;
using testing::MessageHost;

class MessageActionTest : public MessageHost {
 protected:
  // Shows a message with one button whose "tap" is `tap` (none when null)
  // and presses it.
  void PressButtonWith(const Json& tap) {
    Json button = {{"text", "Go"}};
    if (!tap.is_null()) button["tap"] = tap;
    Show("cmp-1", Json{{"title", {{"text", "Offer"}}}, {"buttonMap", {{"0", button}}}});
    ASSERT_NE(Shown(), nullptr);
    ASSERT_EQ(Shown()->buttons().size(), 1u);
    message = Shown();
    env->queue->events.clear();
    Tap(Centre(*message->buttons()[0]));
    sim->advance(1);
  }
  // Index of the first log line containing `fragment`, or -1.
  long LogIndex(const std::string& fragment) const {
    auto messages = log.messages();
    for (std::size_t i = 0; i < messages.size(); ++i) {
      if (messages[i].find(fragment) != std::string::npos) return static_cast<long>(i);
    }
    return -1;
  }
  bool Gone() const { return message && message->presentingViewController() == nullptr; }

  std::shared_ptr<TSRUIMessageViewController> message;
};

TEST_F(MessageActionTest, AButtonWithoutTapHidesTheMessageAndTracksADismissal) {
  PressButtonWith(nullptr);
  EXPECT_TRUE(Gone());
  EXPECT_EQ(Stats(), (std::vector<std::string>{"d:e:cmp-1-exp", "d:m:cmp-1-msg"}));
  EXPECT_TRUE(Actions().empty());
  EXPECT_TRUE(sim->app().opened_urls.empty());
  EXPECT_EQ(log.countContaining("UI: InAppMessage Action "), 1);
  EXPECT_EQ(log.countContaining(" action button0-tap"), 1);
}

TEST_F(MessageActionTest, ANamedActionWithoutHideOrDismissalLeavesTheMessageUp) {
  PressButtonWith(Json{{"hide", false}, {"trackDismissal", false}, {"trackAction", "Learn More"}});
  EXPECT_FALSE(Gone());
  EXPECT_TRUE(Stats().empty());
  EXPECT_EQ(Actions(), (std::vector<std::string>{"Learn More"}));
  // Pressed again, it acts again.
  Tap(Centre(*message->buttons()[0]));
  EXPECT_EQ(Actions().size(), 2u);
}

TEST_F(MessageActionTest, ALinkTracksTheStatisticsFirstThenHidesThenActsAndOpensTheLinkLast) {
  PressButtonWith(Json{{"link", "https://shop.example/sale"}, {"trackAction", "Open Sale"}});
  EXPECT_TRUE(Gone());
  EXPECT_EQ(Stats(), (std::vector<std::string>{"c:e:cmp-1-exp", "c:m:cmp-1-msg", "d:e:cmp-1-exp", "d:m:cmp-1-msg"}));
  EXPECT_EQ(Actions(), (std::vector<std::string>{"Open Sale"}));
  EXPECT_EQ(sim->app().opened_urls, (std::vector<std::string>{"https://shop.example/sale"}));

  long clickthrough = LogIndex("\"stat\":\"c\"");
  long dismissal = LogIndex("\"stat\":\"d\"");
  long hiding = LogIndex("UI: InAppMessage VC will disappear");
  long action = LogIndex("Action: [Open Sale]");
  long opened = LogIndex("Network: Open URL https://shop.example/sale");
  ASSERT_GE(clickthrough, 0);
  EXPECT_LT(clickthrough, dismissal);
  EXPECT_LT(dismissal, hiding);
  EXPECT_LT(hiding, action);
  EXPECT_LT(action, opened);
}

TEST_F(MessageActionTest, ThePanelTapRunsTheInteractionMapsTapAndATouchAfterTheMessageWentDoesNothing) {
  Show("cmp-1", Json{{"body", {{"text", "Tap me"}}},
                     {"interactionMap", {{"tap", {{"trackDismissal", false}, {"trackAction", "Panel"}}}}}});
  message = Shown();
  ASSERT_NE(message, nullptr);
  ASSERT_NE(message->tapAction(), nullptr);
  env->queue->events.clear();
  Tap(Centre(*message->mainView()));
  sim->advance(1);
  EXPECT_TRUE(Gone());
  EXPECT_EQ(Actions(), (std::vector<std::string>{"Panel"}));
  EXPECT_TRUE(Stats().empty());
  EXPECT_TRUE(log.contains("UI: InAppMessage VC " + FormatLogMessage("%p", {LogArg(static_cast<const void*>(message.get()))}) +
                           " dismiss success? YES"));

  // The action outlives nothing: once the message is released its block
  // does nothing.
  auto action = message->tapAction();
  message.reset();
  sim->advance(3);
  env->queue->events.clear();
  action->runActionBlock(nullptr);
  EXPECT_TRUE(Actions().empty());
}

TEST_F(MessageActionTest, ActionDictionariesAndTheirDefaults) {
  EXPECT_EQ(TSRUIMessageAction::initWithJSON(nullptr, nullptr, "swipe-swipeUp"), nullptr);
  EXPECT_TRUE(log.contains("UI: InAppMessage Action swipe-swipeUp requires JSON", TSRLogLevelWarn));
  Json empty = Json::object();
  auto defaults = TSRUIMessageAction::initWithJSON(&empty, nullptr, "x");
  ASSERT_NE(defaults, nullptr);
  EXPECT_TRUE(defaults->actionHide());
  EXPECT_TRUE(defaults->actionDismiss());
  EXPECT_FALSE(defaults->actionLink());
  EXPECT_FALSE(defaults->actionTrack());
  // Wrong types count as absent; an empty link or name is none.
  Json odd = {{"hide", "no"}, {"trackDismissal", 0}, {"link", ""}, {"trackAction", 7}};
  auto parsed = TSRUIMessageAction::initWithJSON(&odd, nullptr, "y");
  EXPECT_TRUE(parsed->actionHide());
  EXPECT_FALSE(parsed->actionDismiss());
  EXPECT_FALSE(parsed->actionLink());
  EXPECT_FALSE(parsed->actionTrack());
  // Without a parent the block does nothing at all.
  parsed->runActionBlock(nullptr);
  EXPECT_EQ(log.countContaining("UI: InAppMessage Action 0x"), 0);

  EXPECT_EQ(TSRUIMessageButton::initWithJSON(&empty, nullptr, "button7"), nullptr);
  EXPECT_TRUE(log.contains("UI: InAppMessage Button button7 requires JSON and parentVC", TSRLogLevelWarn));
}

TEST_F(MessageActionTest, AFlingRunsItsDirectionsActionAndASlowDragPutsThePanelBack) {
  Show("cmp-1", Json{{"title", {{"text", "Swipe me"}}},
                     {"buttonMap", {{"0", {{"text", "OK"}}}}},
                     {"interactionMap", {{"swipeLeft", {{"trackAction", "Swiped"}}}, {"tap", {{"trackAction", "x"}}}}}});
  message = Shown();
  ASSERT_NE(message, nullptr);
  ASSERT_EQ(message->swipes().size(), 1u);
  ASSERT_NE(message->swipeRecognizer(), nullptr);
  const kit::Rect resting = PanelFrame();
  // On the title, clear of the button.
  kit::Point start = message->titleLabel()->convertToScreen({5, 5});
  env->queue->events.clear();

  // Too slow to fling: the panel follows the finger, then goes back.
  Play(kit::TouchScript().down(start).dragBy({-120, 0}, 300).up());
  sim->advance(1);
  EXPECT_FALSE(Gone());
  EXPECT_NEAR(PanelFrame().x, resting.x, 0.01);
  EXPECT_TRUE(Actions().empty());

  // A fling carries it off the screen, then its action runs: a dismissal
  // (the default) and the named action; the message is gone.
  Play(kit::TouchScript().down(start).dragBy({-150, 0}, 1500).up());
  sim->advance(1);
  EXPECT_TRUE(log.contains("UI: Swiped swipeLeft", TSRLogLevelDebug));
  EXPECT_TRUE(Gone());
  EXPECT_EQ(Stats(), (std::vector<std::string>{"d:e:cmp-1-exp", "d:m:cmp-1-msg"}));
  EXPECT_EQ(Actions(), (std::vector<std::string>{"Swiped"}));
}

}  // namespace
}  // namespace tessarin

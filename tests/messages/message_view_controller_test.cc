// A message's data and what it becomes on the screen: where the panel sits,
// its labels and row of buttons, what bad data degrades to, the reader's
// text size, and how a few messages look.
#include <gtest/gtest.h>

#include <cmath>

#include "messages/message_host.h"
#include "platform/ui/label.h"
#include "platform/ui/layout/layout_constraint.h"
#include "support/golden.h"
#include "tracking/campaign_impl.h"
#include "ui/message_button.h"
#include "ui/utility_image.h"
#include "util/config.h"

namespace tessarin {
namespace {

namespace kit = platform::ui;
using testing::MessageHost;
using testing::UiCampaign;

// A phone with a status bar and a home indicator.
constexpr kit::EdgeInsets kSafeArea{47, 0, 34, 0};

class MessageViewControllerTest : public MessageHost {
 protected:
  void SetUp() override {
    MessageHost::SetUp();
    screen().setSafeAreaInsets(kSafeArea);
    appRoot->kit().view()->setBackgroundColor(kit::Color::white());
  }
  // The frame of a subview of the panel, in the panel's coordinates.
  static kit::Rect InPanel(const kit::View& view) { return view.frame(); }
};

TEST_F(MessageViewControllerTest, ThePanelSitsWhereItsPositionAndGuidesSay) {
  const double width = screen().bounds().width, height = screen().bounds().height;
  struct Case {
    Json options;
    double top;     // the panel's top edge, or NAN
    double bottom;  // its bottom edge, or NAN
  } cases[] = {
      {Json::object(), kSafeArea.top + 10, NAN},
      {{{"position", "BOTTOM"}}, NAN, height - kSafeArea.bottom - 10},
      {{{"position", "middle"}}, kSafeArea.top + 10, NAN},  // unknown: the top, silently
      {{{"position", "top"}, {"useLayoutGuides", false}}, 10, NAN},
      {{{"position", "bottom"}, {"useLayoutGuides", false}, {"marginVertical", 24}}, NAN, height - 24},
      {{{"position", "top"}, {"marginVertical", 0}, {"marginHorizontal", 0}}, kSafeArea.top, NAN},
  };
  int n = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options.dump());
    Json data = {{"title", {{"text", "Hello"}}}};
    data.update(c.options);
    Show("cmp-" + std::to_string(++n), data);
    ASSERT_NE(Shown(), nullptr);
    kit::Rect panel = PanelFrame();
    double margin = c.options.value("marginHorizontal", 10.0);
    EXPECT_DOUBLE_EQ(panel.x, margin);
    EXPECT_DOUBLE_EQ(panel.width, width - 2 * margin);
    EXPECT_GE(panel.height, 44);
    if (!std::isnan(c.top)) {
      EXPECT_NEAR(panel.y, c.top, 0.01);
    }
    if (!std::isnan(c.bottom)) {
      EXPECT_NEAR(panel.maxY(), c.bottom, 0.01);
    }
  }
  for (const auto& record : log.records()) EXPECT_GT(record.level, TSRLogLevelWarn) << record.message;

  Show("cmp-centre", Json{{"position", "Center"}, {"body", {{"text", "Centred"}}}});
  kit::Rect panel = PanelFrame();
  EXPECT_NEAR(panel.y + panel.height / 2, height / 2, 0.01);
}

TEST_F(MessageViewControllerTest, LabelsStackFromThePanelTopWithNoSpaceBetweenTitleAndBody) {
  Show("cmp-body", Json{{"body", {{"text", "Only a body"}}}});
  auto message = Shown();
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->titleLabel(), nullptr);
  ASSERT_NE(message->bodyLabel(), nullptr);
  EXPECT_DOUBLE_EQ(InPanel(*message->bodyLabel()).y, 10);
  EXPECT_EQ(message->bodyLabel()->numberOfLines(), 2);

  Show("cmp-both", Json{{"paddingVertical", 6},
                        {"title", {{"text", "Title"}, {"textAlignment", "LEFT"}, {"textColor", "#FF0000"}}},
                        {"body", {{"text", "Body"}, {"textStyle", "Caption2"}, {"textAlignment", "justify"}}}});
  message = Shown();
  ASSERT_NE(message, nullptr);
  kit::Rect title = InPanel(*message->titleLabel()), body = InPanel(*message->bodyLabel());
  EXPECT_DOUBLE_EQ(title.y, 6);
  EXPECT_DOUBLE_EQ(body.y, title.maxY());
  EXPECT_DOUBLE_EQ(PanelFrame().height, body.maxY() + 6);
  EXPECT_EQ(message->titleLabel()->textAlignment(), kit::TextAlignment::kLeft);
  EXPECT_EQ(message->titleLabel()->textColor(), kit::Color::fromRGBA(0xFF0000FF));
  EXPECT_EQ(message->titleStyle(), kit::TextStyle::kHeadline);
  EXPECT_EQ(message->bodyStyle(), kit::TextStyle::kCaption2);
  EXPECT_EQ(message->bodyLabel()->textAlignment(), kit::TextAlignment::kCenter);
  EXPECT_TRUE(log.contains("UI: InAppMessage Text alignment not supported: justify", TSRLogLevelWarn));

  Show("cmp-style", Json{{"title", {{"text", "T"}, {"textStyle", "Title1"}}}});
  EXPECT_TRUE(log.contains("UI: InAppMessage Text style not supported: title1", TSRLogLevelWarn));
  EXPECT_EQ(Shown()->titleStyle(), kit::TextStyle::kHeadline);
}

TEST_F(MessageViewControllerTest, TheButtonLoopStopsAtAMissingKeyOrAForeignValueAndSkipsAFailedButton) {
  Json title = {{"text", "Choose"}};
  Show("cmp-gap", Json{{"title", title},
                       {"buttonMap", {{"0", {{"text", "A"}}}, {"1", {{"text", "B"}}}, {"3", {{"text", "D"}}}}}});
  ASSERT_NE(Shown(), nullptr);
  EXPECT_EQ(Shown()->buttons().size(), 2u);

  Show("cmp-class", Json{{"title", title}, {"buttonMap", {{"0", "x"}, {"1", {{"text", "B"}}}}}});
  EXPECT_TRUE(Shown()->buttons().empty());
  EXPECT_EQ(log.countContaining("UI: InAppMessage Button class unexpected NSString"), 1);
  EXPECT_NE(Shown()->tapAction(), nullptr);  // no buttons: the panel takes taps

  Show("cmp-skip", Json{{"title", title},
                        {"buttonMap", {{"0", {{"text", "A"}}}, {"1", {{"text", ""}}}, {"2", {{"text", "C"}}}}}});
  ASSERT_EQ(Shown()->buttons().size(), 2u);
  EXPECT_EQ(Shown()->buttons()[1]->titleLabel()->text(), "C");
  EXPECT_TRUE(log.contains("UI: InAppMessage Button button1 requires text", TSRLogLevelWarn));
  EXPECT_EQ(Shown()->tapAction(), nullptr);  // with buttons, "tap" is ignored
}

TEST_F(MessageViewControllerTest, ButtonsRowIsCentredAndStrictWidthsAreEqual) {
  Json buttons = {{"0", {{"text", "OK"}}}, {"1", {{"text", "Tell me much more about it"}}}};
  for (bool strict : {true, false}) {
    SCOPED_TRACE(strict ? "strict" : "loose");
    Show(strict ? "cmp-strict" : "cmp-loose",
         Json{{"title", {{"text", "Two buttons"}}},
              {"buttonMap", buttons},
              {"interactionSettings", {{"buttonsWidthStrict", strict}, {"buttonsHeightMin", 50}}}});
    auto message = Shown();
    ASSERT_NE(message, nullptr);
    ASSERT_EQ(message->buttons().size(), 2u);
    // A custom height alone leaves the minimum width at three default heights.
    EXPECT_EQ(message->buttonsWidthMin(), 108);
    kit::Rect a = InPanel(*message->buttons()[0]), b = InPanel(*message->buttons()[1]);
    EXPECT_GE(a.width, 108);
    EXPECT_GE(a.height, 50);
    EXPECT_DOUBLE_EQ(b.x, a.maxX() + 10);
    // Loose, the equal widths give way to anything stronger than a
    // button's wish to hug its title.
    EXPECT_NEAR(a.width, b.width, 0.01);
    int equalWidths = 0;
    for (const auto& constraint : message->mainView()->constraints()) {
      if (constraint->firstAttribute() != kit::LayoutAttribute::kWidth || !constraint->secondItem()) continue;
      if (constraint->firstItem() != message->buttons()[1].get()) continue;
      ++equalWidths;
      EXPECT_EQ(constraint->priority(), strict ? 1000 : 251);
    }
    EXPECT_EQ(equalWidths, 1);
    double panelWidth = message->mainView()->bounds().width;
    EXPECT_NEAR(a.x - 10, panelWidth - 10 - b.maxX(), 0.01);  // centred between the paddings
    EXPECT_DOUBLE_EQ(message->mainView()->bounds().height, a.maxY() + 10);
  }
}

TEST_F(MessageViewControllerTest, CampaignsThatAreNotMessagesAreRefused) {
  auto make = [&](Json json) {
    return TSRCampaignImpl::campaignWithJSON(json, facade->config(), sim->now(platform::Clock::kWall));
  };
  Json data = {{"title", {{"text", "T"}}}};
  Json other = UiCampaign("cmp-t", data);
  other["mobileUiMessages"][0]["targetName"] = "tsr_other";
  EXPECT_EQ(TSRUIMessageViewController::initWithCampaign(make(other), env), nullptr);
  EXPECT_TRUE(log.contains("UI: InAppMessage campaign unexpected target tsr_other", TSRLogLevelWarn));

  Json dataCampaign = UiCampaign("cmp-d", data);
  dataCampaign.erase("mobileUiMessages");
  dataCampaign["mobileDataMessages"] = Json::array({{{"id", "m"}, {"type", "tsr_md"}, {"targetName", "hero"}}});
  EXPECT_EQ(TSRUIMessageViewController::initWithCampaign(make(dataCampaign), env), nullptr);
  EXPECT_TRUE(log.contains("UI: InAppMessage campaign unexpected class TSRCampaignDataMessage", TSRLogLevelWarn));
  EXPECT_EQ(TSRUIMessageViewController::initWithCampaign(nullptr, env), nullptr);
  EXPECT_TRUE(log.contains("UI: InAppMessage campaign unexpected class (null)", TSRLogLevelWarn));
}

TEST_F(MessageViewControllerTest, ABiggerTextSizeGrowsTheShownPanel) {
  Show("cmp-1", Json{{"title", {{"text", "Title"}}},
                     {"body", {{"text", "Body"}}},
                     {"buttonMap", {{"0", {{"text", "OK"}}}}}});
  auto message = Shown();
  ASSERT_NE(message, nullptr);
  double before = PanelFrame().height;
  double titleSize = message->titleLabel()->font().pointSize;
  ui->environment().setContentSizeCategory(kit::kContentSizeCategoryAccessibilityExtraLarge);
  sim->advance(0.1);
  EXPECT_TRUE(log.contains(std::string("UI: InAppMessage VC new preferred content size category: ") +
                           kit::kContentSizeCategoryAccessibilityExtraLarge));
  EXPECT_GT(message->titleLabel()->font().pointSize, titleSize);
  EXPECT_GT(message->buttons()[0]->titleLabel()->font().pointSize, 17);
  EXPECT_GT(PanelFrame().height, before);
}

// Data from anywhere must never crash or hang the app: every value of the
// wrong type, out of range or absurd in size degrades or refuses the message.
TEST_F(MessageViewControllerTest, HostileDataDegradesOrIsRefused) {
  Json manyButtons = Json::object();
  for (int i = 0; i < 3000; ++i) manyButtons[std::to_string(i)] = {{"text", "B" + std::to_string(i)}};
  std::string longText(200000, 'w');
  const Json variants[] = {
      {{"title", "not a dictionary"}, {"body", {{"text", 42}}}},
      {{"title", {{"text", "T"}}}, {"heightMin", 1e308}, {"marginHorizontal", -1e308}, {"animDuration", 1e300}},
      {{"title", {{"text", "T"}}}, {"heightMin", -500}, {"paddingVertical", -80}, {"paddingHorizontal", 9000}},
      {{"title", {{"text", "T"}}}, {"marginVertical", 5000}, {"marginHorizontal", 400}},
      {{"title", {{"text", "T"}}}, {"buttonMap", manyButtons}},
      {{"title", {{"text", longText}}}, {"body", {{"text", longText}}}},
      {{"title", {{"text", "T"}, {"textColor", "#zz"}}}, {"backgroundColor", "red"}, {"borderColor", ""},
       {"cornerRadius", -4}, {"borderWidth", 99999}},
      {{"title", {{"text", "T"}}}, {"buttonMap", {{"0", {{"text", "B"}, {"tap", "x"}, {"paddingVertical", 1e9}}}}},
       {"interactionSettings", {{"buttonsWidthMin", 99999}, {"buttonsSpacing", -99999}, {"buttonsHeightMin", true}}}},
      {{"title", {{"text", "T"}}}, {"interactionMap", {{"tap", 5}, {"swipeLeft", Json::array()}}}},
      {{"unknown", {{"deep", {1, 2, 3}}}}, {"title", {{"text", "T"}}}, {"useLayoutGuides", "yes"}},
      {{"title", {{"text", "\xff\xfe broken \xc3"}}}},
  };
  int n = 0;
  for (const Json& data : variants) {
    SCOPED_TRACE(n);
    Show("cmp-h" + std::to_string(++n), data);
    auto message = Shown();
    if (!message) continue;
    kit::Rect panel = PanelFrame();
    for (double v : {panel.x, panel.y, panel.width, panel.height}) EXPECT_TRUE(std::isfinite(v));
    EXPECT_LE(message->buttons().size(), 16u);
  }
  EXPECT_TRUE(log.contains("UI: InAppMessage Buttons limited to 16 of 3000", TSRLogLevelWarn));
  EXPECT_GE(log.countContaining("UI: InAppMessage Number out of range for heightMin"), 1);
}

// How messages look, against PNGs kept beside the tests (the app's white
// window below; the screen at one pixel per point).
TEST_F(MessageViewControllerTest, MessagesLookAsTheyDid) {
  struct Variant {
    const char* name;
    Json data;
  } variants[] = {
      {"message_bottom_buttons",
       {{"position", "bottom"},
        {"backgroundColor", "#1E3A5FFF"},
        {"cornerRadius", 12},
        {"title", {{"text", "Spring sale"}, {"textColor", "#FFD166"}}},
        {"body", {{"text", "Everything 20% off until Sunday, in every store and online."}}},
        {"buttonMap",
         {{"0", {{"text", "Later"}, {"borderColor", "#FFFFFF"}, {"borderWidth", 1}}},
          {"1", {{"text", "Shop now"}, {"backgroundColor", "#EF476F"}}}}}}},
      {"message_top_title",
       {{"borderColor", "#06D6A0"}, {"borderWidth", 3}, {"title", {{"text", "Welcome back"}, {"textAlignment", "left"}}}}},
      {"message_center_body",
       {{"position", "center"},
        {"backgroundColor", "#00000080"},
        {"body", {{"text", "A translucent panel in the middle of the screen"}, {"textStyle", "footnote"}}}}},
  };
  int n = 0;
  for (const auto& v : variants) {
    SCOPED_TRACE(v.name);
    Show("cmp-g" + std::to_string(++n), v.data);
    ASSERT_NE(Shown(), nullptr);
    testing::ExpectMatchesGolden(screen().snapshot(1.0), testing::GoldenPath(__FILE__, v.name));
  }
}

}  // namespace
}  // namespace tessarin

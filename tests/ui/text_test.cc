// Dynamic type and text measurement: the style sizes per category, the
// category change notification, and how labels measure and wrap.
#include <gtest/gtest.h>

#include <string>

#include "platform/notification_center.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/label.h"
#include "platform/ui/text_layout.h"
#include "platform/ui/text_style.h"
#include "platform/ui/ui_environment.h"

namespace tessarin::platform::ui {
namespace {

TEST(DynamicType, DefaultSizesAndWeightsAtTheLargeCategory) {
  struct Case {
    TextStyle style;
    double size;
    FontWeight weight;
  };
  for (const Case& c : {Case{TextStyle::kHeadline, 17, FontWeight::kSemibold}, Case{TextStyle::kSubheadline, 15, FontWeight::kRegular},
                        Case{TextStyle::kBody, 17, FontWeight::kRegular}, Case{TextStyle::kFootnote, 13, FontWeight::kRegular},
                        Case{TextStyle::kCaption1, 12, FontWeight::kRegular}, Case{TextStyle::kCaption2, 11, FontWeight::kRegular}}) {
    SCOPED_TRACE(textStyleName(c.style));
    Font font = preferredFont(c.style, kContentSizeCategoryLarge);
    EXPECT_EQ(font.pointSize, c.size);
    EXPECT_EQ(font.weight, c.weight);
    EXPECT_EQ(font.family, "DejaVu Sans");
    EXPECT_EQ(textStyleFromName(textStyleName(c.style)), c.style);
  }
  EXPECT_FALSE(textStyleFromName("title1").has_value());
  // Unknown categories read as large.
  EXPECT_EQ(preferredFont(TextStyle::kBody, "UICTContentSizeCategoryHuge").pointSize, 17);
}

TEST(DynamicType, EveryStyleGrowsStepByStepWithTheCategory) {
  const char* categories[] = {
      kContentSizeCategoryExtraSmall, kContentSizeCategorySmall, kContentSizeCategoryMedium,
      kContentSizeCategoryLarge, kContentSizeCategoryExtraLarge, kContentSizeCategoryExtraExtraLarge,
      kContentSizeCategoryExtraExtraExtraLarge, kContentSizeCategoryAccessibilityMedium,
      kContentSizeCategoryAccessibilityLarge, kContentSizeCategoryAccessibilityExtraLarge,
      kContentSizeCategoryAccessibilityExtraExtraLarge, kContentSizeCategoryAccessibilityExtraExtraExtraLarge};
  for (TextStyle style : {TextStyle::kHeadline, TextStyle::kSubheadline, TextStyle::kBody, TextStyle::kFootnote,
                          TextStyle::kCaption1, TextStyle::kCaption2}) {
    SCOPED_TRACE(textStyleName(style));
    double previous = 0;
    for (const char* category : categories) {
      EXPECT_TRUE(isContentSizeCategory(category));
      double size = preferredFont(style, category).pointSize;
      EXPECT_GE(size, previous) << category;
      previous = size;
    }
    // From large up, each step is a real step.
    EXPECT_LT(preferredFont(style, kContentSizeCategoryLarge).pointSize,
              preferredFont(style, kContentSizeCategoryExtraLarge).pointSize);
  }
  EXPECT_EQ(preferredFont(TextStyle::kBody, kContentSizeCategoryExtraExtraExtraLarge).pointSize, 23);
  EXPECT_EQ(preferredFont(TextStyle::kBody, kContentSizeCategoryExtraSmall).pointSize, 14);
}

TEST(DynamicType, TheHostsCategoryChangeIsPostedWithTheNewValue) {
  sim::SimPlatform sim;
  UIEnvironment env(sim);
  EXPECT_EQ(env.contentSizeCategory(), kContentSizeCategoryLarge);
  std::vector<std::string> seen;
  auto token = sim.notificationCenter().addObserver(
      kContentSizeCategoryDidChangeNotification, nullptr, nullptr,
      [&](const Notification& n) { seen.push_back(n.userInfo[kContentSizeCategoryNewValueKey].get<std::string>()); });
  env.setContentSizeCategory(kContentSizeCategoryExtraExtraLarge);
  env.setContentSizeCategory(kContentSizeCategoryExtraExtraLarge);  // no change
  env.setContentSizeCategory("bogus");                               // not a category
  EXPECT_EQ(seen, (std::vector<std::string>{kContentSizeCategoryExtraExtraLarge}));
  EXPECT_EQ(env.preferredFont(TextStyle::kHeadline).pointSize, 21);
  sim.notificationCenter().removeObserver(token);
}

class LabelMeasure : public testing::Test {
 protected:
  std::shared_ptr<Label> MakeLabel(std::string text, int lines, TextStyle style = TextStyle::kBody) {
    auto label = std::make_shared<Label>();
    label->setText(std::move(text));
    label->setNumberOfLines(lines);
    label->setFont(preferredFont(style, kContentSizeCategoryLarge));
    return label;
  }
  const std::string kLong = "Free shipping on every order this weekend, no code needed, just add to your basket";
};

TEST_F(LabelMeasure, OneLineIsAsWideAsItsTextAndOneLineHigh) {
  auto shortLabel = MakeLabel("Sale", 1);
  auto longLabel = MakeLabel(kLong, 1);
  Size s = shortLabel->intrinsicContentSize(-1);
  Size l = longLabel->intrinsicContentSize(-1);
  EXPECT_GT(s.width, 20);
  EXPECT_GT(l.width, 10 * s.width);
  // A 17-point line is a little more than 17 points high, whatever the text.
  EXPECT_EQ(s.height, l.height);
  EXPECT_GE(s.height, 17);
  EXPECT_LE(s.height, 24);
  // A given width does not wrap a one-line label.
  EXPECT_EQ(longLabel->intrinsicContentSize(100), l);
  EXPECT_EQ(MakeLabel("", 1)->intrinsicContentSize(-1), (Size{0, 0}));
}

TEST_F(LabelMeasure, SeveralLinesWrapAtTheGivenWidthUpToTheLineLimit) {
  double lineHeight = MakeLabel("Sale", 1)->intrinsicContentSize(-1).height;
  auto two = MakeLabel(kLong, 2);
  auto unlimited = MakeLabel(kLong, 0);
  Size unwrapped = two->intrinsicContentSize(-1);
  EXPECT_EQ(unwrapped.height, lineHeight);  // no width yet: one line

  Size wrapped = two->intrinsicContentSize(200);
  EXPECT_LE(wrapped.width, 200);
  EXPECT_NEAR(wrapped.height, 2 * lineHeight, 1);
  Size all = unlimited->intrinsicContentSize(200);
  EXPECT_GT(all.height, 3 * lineHeight - 1);
  EXPECT_NEAR(all.height / lineHeight, std::round(all.height / lineHeight), 0.1);
  // Wider means fewer lines.
  EXPECT_LT(unlimited->intrinsicContentSize(400).height, all.height);
  // Without truncation, the lines past the limit are still not shown.
  two->setTruncatesTail(false);
  EXPECT_NEAR(two->intrinsicContentSize(200).height, 2 * lineHeight, 1);
}

TEST_F(LabelMeasure, BiggerCategoriesMeasureBigger) {
  auto label = MakeLabel("Learn more", 1);
  Size large = label->intrinsicContentSize(-1);
  label->setFont(preferredFont(TextStyle::kBody, kContentSizeCategoryAccessibilityExtraExtraExtraLarge));
  Size huge = label->intrinsicContentSize(-1);
  EXPECT_NEAR(huge.width / large.width, 53.0 / 17.0, 0.15);
  EXPECT_GT(huge.height, 2.5 * large.height);
  // Semibold is wider than regular at the same size.
  auto bold = MakeLabel("Learn more", 1, TextStyle::kHeadline);
  EXPECT_GT(bold->intrinsicContentSize(-1).width, large.width);
}

}  // namespace
}  // namespace tessarin::platform::ui

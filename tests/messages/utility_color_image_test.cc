// Colour strings of message data, and pictures of views, windows and the
// screen scaled to a pixel limit.
#include <gtest/gtest.h>

#include "platform/sim/sim_platform.h"
#include "platform/ui/screen.h"
#include "platform/ui/sim/sim_ui.h"
#include "platform/ui/window.h"
#include "support/log_capture.h"
#include "ui/utility_color.h"
#include "ui/utility_image.h"
#include "util/environment.h"

namespace tessarin {
namespace {

namespace kit = platform::ui;
using testing::LogCapture;

TEST(UtilityColorTest, ColourStrings) {
  LogCapture log(TSRLogLevelWarn);
  struct Case {
    std::optional<std::string> text;
    std::optional<std::uint32_t> rgba;
  } cases[] = {
      {"#abcdef", 0xABCDEFFF},
      {"#ABCDEF", 0xABCDEFFF},
      {"#FF000080", 0xFF000080},
      {"#00FF00", 0x00FF00FF},
      {"x123456", 0x123456FF},    // seven characters: the first is never read
      {"#FFF", 0x00000FFF},       // passes by its "#"; the number is FFF
      {"#12", 0x00000012},
      {"123456", std::nullopt},   // six characters without "#"
      {"#GG0000", std::nullopt},  // no digit at the second character
      {"", std::nullopt},
      {std::nullopt, std::nullopt},
      {"#FFFFFFFFFF", 0xFFFFFFFF},  // too large: all ones
      {"é123456", 0x123456FF},      // a character, not a byte, is skipped (seven characters)
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.value_or("(none)"));
    log.clear();
    auto color = TSRUtilityColor::colorFromHexString(c.text);
    ASSERT_EQ(color.has_value(), c.rgba.has_value());
    if (color) {
      EXPECT_EQ(*color, kit::Color::fromRGBA(*c.rgba));
    }
    EXPECT_EQ(log.countContaining("Color: Not supported: "), c.rgba ? 0 : 1);
  }
  // The rejected string is logged as it was scanned: with its alpha added.
  log.clear();
  TSRUtilityColor::colorFromHexString(std::string("#GG0000"));
  EXPECT_TRUE(log.contains("Color: Not supported: #GG0000FF", TSRLogLevelWarn));
}

class UtilityImageTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  kit::sim::SimUI& ui = kit::sim::SimUI::of(*sim);
  std::shared_ptr<Environment> env = std::make_shared<Environment>(sim);
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(UtilityImageTest, ALimitScalesDownByTheLongerSideAndNeverUp) {
  struct Case {
    double width, height, scale;
    unsigned limit;
    double expected;
    const char* line;
  } cases[] = {
      {1000, 500, 2, 1000, 1.0, "Image: Snapshot limit width to 1000"},
      {300, 600, 3, 900, 1.5, "Image: Snapshot limit height to 900"},  // 450 × 900 pixels
      {400, 400, 2, 400, 1.0, "Image: Snapshot limit width to 400"},  // square: by width
      {100, 50, 2, 1000, 2.0, nullptr},                                // within the limit
      {1000, 500, 2, 0, 2.0, nullptr},                                 // no limit
  };
  for (const auto& c : cases) {
    log.clear();
    EXPECT_DOUBLE_EQ(TSRUtilityImage::limitedScale(c.width, c.height, c.scale, c.limit), c.expected);
    EXPECT_EQ(log.countContaining("Image: Snapshot limit"), c.line ? 1 : 0);
    if (c.line) {
      EXPECT_TRUE(log.contains(c.line, TSRLogLevelDebug));
    }
  }
}

TEST_F(UtilityImageTest, ViewsWindowsAndTheScreenAreDrawnAtTheirScreensScale) {
  auto window = std::make_shared<kit::Window>(ui.screen());
  window->setBackgroundColor(kit::Color::fromRGBA(0x336699FF));
  window->makeKeyAndVisible();
  auto view = std::make_shared<kit::View>(kit::Rect{10, 20, 100, 50});
  view->setBackgroundColor(kit::Color::fromRGBA(0xFF0000FF));
  window->addSubview(view);

  // In a window on the 3× screen.
  auto image = TSRUtilityImage::snapshotView(*env, view.get(), 0);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width(), 300);
  EXPECT_EQ(image->height(), 150);
  EXPECT_EQ(image->pixel(150, 75), 0xFFFF0000u);
  EXPECT_TRUE(log.contains("Image: Snapshot complete"));
  // Outside any window, a given screen's scale, else the main screen's.
  auto loose = std::make_shared<kit::View>(kit::Rect{0, 0, 10, 10});
  EXPECT_EQ(TSRUtilityImage::snapshotView(*env, loose.get(), 0)->width(), 30);
  EXPECT_FALSE(TSRUtilityImage::snapshotView(*env, nullptr, 0));

  auto screen = TSRUtilityImage::snapshotScreen(*env, nullptr, 844);
  ASSERT_TRUE(screen);
  EXPECT_EQ(screen->height(), 844);
  EXPECT_EQ(screen->width(), 390);
  EXPECT_EQ(screen->pixel(5, 5), 0xFF336699u);
  EXPECT_EQ(screen->pixel(60, 45), 0xFFFF0000u);

  auto whole = TSRUtilityImage::snapshotWindow(*env, window.get(), 0);
  EXPECT_EQ(whole->width(), 390 * 3);
}

}  // namespace
}  // namespace tessarin

// Drawing: view trees against golden PNGs (tests/ui/golden/), compared with
// a small per-channel tolerance, plus the properties the goldens rely on
// checked pixel by pixel. TESSARIN_UPDATE_GOLDENS=1 rewrites the goldens
// from what the kit draws now (look at them before checking them in).
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/sim/sim_platform.h"
#include "platform/ui/button.h"
#include "platform/ui/label.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_renderer.h"
#include "platform/ui/window.h"
#include "support/golden.h"

// Fontconfig keeps its configuration and font cache for the life of the
// process (Pango's font map holds them); the leak checker reports them at
// exit. Nothing of the kit's own is hidden by this.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace tessarin::platform::ui {
namespace {

int Channel(std::uint32_t pixel, int shift) { return static_cast<int>((pixel >> shift) & 0xff); }

void ExpectGolden(const Image& image, const std::string& name) {
  tessarin::testing::ExpectMatchesGolden(image, tessarin::testing::GoldenPath(__FILE__, name));
}

// A message-like panel: rounded, bordered, translucent, clipping a square
// that pokes out of its corner, with a title, a body and a button.
std::shared_ptr<View> PanelTree() {
  auto root = std::make_shared<View>(Rect{0, 0, 240, 160});
  root->setBackgroundColor(Color::fromRGBA(0xf2f2f7ff));
  auto panel = std::make_shared<View>(Rect{20, 20, 200, 120});
  panel->setBackgroundColor(Color::fromRGBA(0x1c1c1eff));
  panel->setCornerRadius(16);
  panel->setBorderWidth(3);
  panel->setBorderColor(Color::fromRGBA(0x0a84ffff));
  panel->setAlpha(0.9);
  panel->setClipsToBounds(true);
  root->addSubview(panel);
  auto corner = std::make_shared<View>(Rect{-10, -10, 40, 40});
  corner->setBackgroundColor(Color::fromRGBA(0xff3b30ff));
  panel->addSubview(corner);
  auto title = std::make_shared<Label>();
  title->setFrame({10, 12, 180, 24});
  title->setText("Weekend sale");
  title->setFont(preferredFont(TextStyle::kHeadline, kContentSizeCategoryLarge));
  title->setTextColor(Color::white());
  title->setTextAlignment(TextAlignment::kCenter);
  panel->addSubview(title);
  auto body = std::make_shared<Label>();
  body->setFrame({10, 38, 180, 36});
  body->setText("Everything in the shop is twenty percent off until Sunday night");
  body->setNumberOfLines(2);
  body->setFont(preferredFont(TextStyle::kFootnote, kContentSizeCategoryLarge));
  body->setTextColor(Color::fromRGBA(0xd1d1d6ff));
  body->setTextAlignment(TextAlignment::kLeft);
  panel->addSubview(body);
  auto button = std::make_shared<Button>();
  button->setFrame({50, 80, 100, 30});
  button->setTitle("Shop now");
  button->titleLabel()->setFont(preferredFont(TextStyle::kBody, kContentSizeCategoryLarge));
  button->titleLabel()->setTextColor(Color::white());
  button->setBackgroundColor(Color::fromRGBA(0x0a84ffff));
  button->setCornerRadius(10);
  button->layoutSubviews();
  panel->addSubview(button);
  return root;
}

TEST(RenderGolden, PanelWithCornersBorderAlphaClippingAndText) {
  auto tree = PanelTree();
  Image image = renderView(*tree, 2);
  ASSERT_EQ(image.width(), 480);
  ASSERT_EQ(image.height(), 320);
  ExpectGolden(image, "panel@2x");
}

TEST(RenderGolden, LabelAlignmentWrappingAndTruncation) {
  auto root = std::make_shared<View>(Rect{0, 0, 200, 150});
  root->setBackgroundColor(Color::white());
  double y = 0;
  for (auto alignment : {TextAlignment::kLeft, TextAlignment::kCenter, TextAlignment::kRight}) {
    auto label = std::make_shared<Label>();
    label->setFrame({0, y, 200, 24});
    label->setText("Aligned");
    label->setTextAlignment(alignment);
    label->setFont(preferredFont(TextStyle::kBody, kContentSizeCategoryLarge));
    root->addSubview(label);
    y += 24;
  }
  auto truncated = std::make_shared<Label>();
  truncated->setFrame({0, y, 200, 40});
  truncated->setText("A body that is far too long for two lines of a narrow label, so its end is cut");
  truncated->setNumberOfLines(2);
  truncated->setFont(preferredFont(TextStyle::kCaption1, kContentSizeCategoryLarge));
  truncated->setTextColor(Color::fromRGBA(0x3a3a3cff));
  root->addSubview(truncated);
  ExpectGolden(renderView(*root, 1), "labels@1x");
}

class RenderPixels : public ::testing::Test {
 protected:
  static std::uint32_t Opaque(std::uint32_t rgb) { return 0xff000000u | rgb; }
};

TEST_F(RenderPixels, RoundedCornersBordersAndClippingLandWhereTheyShould) {
  auto root = std::make_shared<View>(Rect{0, 0, 100, 100});
  root->setBackgroundColor(Color::white());
  auto box = std::make_shared<View>(Rect{10, 10, 80, 80});
  box->setBackgroundColor(Color::fromRGBA(0x00ff00ff));
  box->setCornerRadius(20);
  box->setBorderWidth(4);
  box->setBorderColor(Color::fromRGBA(0x0000ffff));
  box->setClipsToBounds(true);
  root->addSubview(box);
  auto poke = std::make_shared<View>(Rect{-10, 30, 20, 20});
  poke->setBackgroundColor(Color::fromRGBA(0xff0000ff));
  box->addSubview(poke);
  Image image = renderView(*root, 1);

  EXPECT_EQ(image.pixel(12, 12), Opaque(0xffffff));  // outside the rounded corner
  EXPECT_EQ(image.pixel(50, 11), Opaque(0x0000ff));  // border, inside the bounds
  EXPECT_EQ(image.pixel(50, 50), Opaque(0x00ff00));
  EXPECT_EQ(image.pixel(5, 40), Opaque(0xffffff));   // the subview is clipped
  EXPECT_EQ(image.pixel(16, 40), Opaque(0xff0000));  // ... inside the border
  EXPECT_EQ(image.pixel(11, 40), Opaque(0x0000ff));  // the border draws over subviews
  box->setClipsToBounds(false);
  EXPECT_EQ(renderView(*root, 1).pixel(5, 40), Opaque(0xff0000));
}

TEST_F(RenderPixels, AlphaFadesAViewAndItsSubviewsAsOne) {
  auto root = std::make_shared<View>(Rect{0, 0, 60, 20});
  root->setBackgroundColor(Color::black());
  auto group = std::make_shared<View>(Rect{0, 0, 60, 20});
  group->setAlpha(0.5);
  root->addSubview(group);
  auto a = std::make_shared<View>(Rect{0, 0, 40, 20});
  a->setBackgroundColor(Color::white());
  auto b = std::make_shared<View>(Rect{20, 0, 40, 20});
  b->setBackgroundColor(Color::white());
  group->addSubview(a);
  group->addSubview(b);
  Image image = renderView(*root, 1);
  // Where the two overlap it is no brighter than where only one is.
  EXPECT_EQ(image.pixel(30, 10), image.pixel(10, 10));
  EXPECT_NEAR(Channel(image.pixel(30, 10), 16), 128, 1);
  group->setHidden(true);
  EXPECT_EQ(renderView(*root, 1).pixel(30, 10), Opaque(0));
}

TEST_F(RenderPixels, DrawViewHierarchyScalesTheViewIntoTheRect) {
  auto view = std::make_shared<View>(Rect{300, 300, 10, 10});
  view->setBackgroundColor(Color::fromRGBA(0xff0000ff));
  auto half = std::make_shared<View>(Rect{5, 0, 5, 10});
  half->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  view->addSubview(half);
  Image image(40, 40);
  ASSERT_TRUE(image.draw([&](cairo_t* cr) {
    EXPECT_TRUE(drawViewHierarchyInRect(cr, *view, {20, 20, 20, 20}, true));
    EXPECT_FALSE(drawViewHierarchyInRect(cr, *view, {0, 0, 0, 10}, false));
  }));
  EXPECT_EQ(image.pixel(10, 10), 0u);  // outside the rect: untouched
  EXPECT_EQ(image.pixel(25, 30), Opaque(0xff0000));
  EXPECT_EQ(image.pixel(35, 30), Opaque(0x0000ff));
}

TEST_F(RenderPixels, ScreenSnapshotsDrawVisibleWindowsInOrderAndPNGRoundTrips) {
  sim::SimPlatform sim;
  UIEnvironment env(sim);
  Screen screen(env, {30, 20}, 2);
  auto app = std::make_shared<Window>(screen);
  app->setBackgroundColor(Color::fromRGBA(0x00ff00ff));
  app->makeKeyAndVisible();
  auto overlay = std::make_shared<Window>(screen);
  overlay->setWindowLevel(kWindowLevelAlert - 1);
  auto panel = std::make_shared<View>(Rect{0, 0, 10, 20});
  panel->setBackgroundColor(Color::fromRGBA(0xff0000ff));
  overlay->addSubview(panel);
  overlay->makeKeyAndVisible();
  // Shown later but at a lower level: under the overlay.
  auto late = std::make_shared<Window>(screen);
  late->setBackgroundColor(Color::fromRGBA(0x0000ffff));
  late->setFrame({0, 0, 5, 20});
  late->makeKeyAndVisible();

  Image shot = screen.snapshot();
  ASSERT_EQ(shot.width(), 60);
  EXPECT_EQ(shot.pixel(4, 4), Opaque(0xff0000));
  EXPECT_EQ(shot.pixel(40, 4), Opaque(0x00ff00));
  overlay->setHidden(true);
  Image below = screen.snapshot(1);
  EXPECT_EQ(below.width(), 30);
  EXPECT_EQ(below.pixel(2, 2), Opaque(0x0000ff));
  EXPECT_EQ(below.pixel(7, 2), Opaque(0x00ff00));

  std::string png = shot.encodePNG();
  ASSERT_EQ(png.substr(1, 3), "PNG");
  auto decoded = Image::decodePNG(png);
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->pixel(4, 4), shot.pixel(4, 4));
  EXPECT_EQ(decoded->pixel(40, 4), shot.pixel(40, 4));
  EXPECT_FALSE(Image::decodePNG("not a png").has_value());
}

// Noise does not compress, so the encoder's output has to grow many times;
// partial alpha goes through straight alpha in the file and back.
TEST(PngEncoding, EveryPixelSurvivesWithAndWithoutTransparency) {
  for (bool transparent : {false, true}) {
    Image image(601, 300);
    std::uint32_t seed = 12345;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) {
        seed = seed * 1664525u + 1013904223u;
        std::uint32_t a = transparent ? (x % 3 == 0 ? 0 : x % 3 == 1 ? 255 : (seed >> 24) | 1) : 255;
        auto channel = [&](int shift) { return ((seed >> shift) & 0xFF) * a / 255; };
        std::uint32_t pixel = a << 24 | channel(0) << 16 | channel(8) << 8 | channel(16);
        std::memcpy(image.data() + y * image.stride() + x * 4, &pixel, 4);
      }
    }
    auto decoded = Image::decodePNG(image.encodePNG());
    ASSERT_TRUE(decoded.has_value());
    ASSERT_EQ(decoded->width(), 601);
    int worst = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) {
        for (int shift : {0, 8, 16, 24}) {
          int want = (image.pixel(x, y) >> shift) & 0xFF, got = (decoded->pixel(x, y) >> shift) & 0xFF;
          worst = std::max(worst, std::abs(want - got));
        }
      }
    }
    // Opaque pictures are exact; premultiplied colour loses at most a step
    // on its way through straight alpha.
    EXPECT_LE(worst, transparent ? 1 : 0) << (transparent ? "with alpha" : "opaque");
  }
}

}  // namespace
}  // namespace tessarin::platform::ui

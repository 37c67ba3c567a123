// tessarin-render: a message rendered from its data alone, as the SDK shows
// it, checked through the files it writes and the frames it prints.
#include "render/render_cli.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "platform/sim/sim_platform.h"
#include "platform/ui/image.h"

namespace tessarin::render {
namespace {

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

class RenderToolTest : public ::testing::Test {
 protected:
  // Writes `data` as the data file and runs the tool on it with `args`.
  ToolRun Render(const std::string& data, std::vector<std::string> args = {}) {
    EXPECT_TRUE(files().writeFileAtomically(DataPath(), data).ok);
    args.insert(args.begin(), {"--data", DataPath(), "--out", PngPath()});
    return Run(args);
  }
  ToolRun Run(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    int status = RunRenderTool(args, files(), out, err);
    return {status, out.str(), err.str()};
  }
  std::optional<platform::ui::Image> Png() {
    std::string png;
    if (!files().readFile(PngPath(), &png).ok) return std::nullopt;
    return platform::ui::Image::decodePNG(png);
  }

  platform::FileSystem& files() { return *scratch_.posixFileSystem(); }
  std::string DataPath() const { return scratch_.directory() + "/message.json"; }
  std::string PngPath() const { return scratch_.directory() + "/message.png"; }

 private:
  // Only for its temporary directory, removed with it.
  platform::sim::SimPlatform scratch_;
};

// A panel at the bottom in an opaque colour, with a title, a body whose
// alignment the SDK does not know, and two buttons.
constexpr const char* kBottomMessage = R"({
  "position": "bottom", "backgroundColor": "#336699",
  "title": {"text": "Spring sale"},
  "body": {"text": "Everything 20% off", "textAlignment": "justified"},
  "buttonMap": {"0": {"text": "Shop"}, "1": {"text": "Later"}}
})";

TEST_F(RenderToolTest, DrawsThePanelAtTheBottomOverTheBackgroundAndPrintsItsFrames) {
  ToolRun run = Render(kBottomMessage, {"--size", "320x480", "--scale", "2", "--background", "#102030"});
  ASSERT_EQ(run.status, kRenderToolOk) << run.err;
  // A warning that does not stop the message is still the author's to see.
  EXPECT_NE(run.err.find("Warn: UI: InAppMessage Text alignment not supported: justified"), std::string::npos)
      << run.err;

  Json frames = Json::parse(run.out);
  const Json& panel = frames["panel"];
  ASSERT_EQ(panel.size(), 4u);
  const double x = panel[0].get<double>(), y = panel[1].get<double>(), w = panel[2].get<double>(),
               h = panel[3].get<double>();
  // The default margins, the bottom edge held to the screen's.
  EXPECT_DOUBLE_EQ(x, 10);
  EXPECT_DOUBLE_EQ(w, 300);
  EXPECT_DOUBLE_EQ(y + h, 470);
  EXPECT_GT(h, 44);
  ASSERT_EQ(frames["buttons"].size(), 2u);
  for (const Json& button : frames["buttons"]) {
    EXPECT_GE(button[0].get<double>(), x);
    EXPECT_GE(button[1].get<double>(), y);
    EXPECT_LE(button[0].get<double>() + button[2].get<double>(), x + w);
    EXPECT_LE(button[1].get<double>() + button[3].get<double>(), y + h);
  }
  EXPECT_LE(frames["buttons"][0][0].get<double>() + frames["buttons"][0][2].get<double>(),
            frames["buttons"][1][0].get<double>());

  auto png = Png();
  ASSERT_TRUE(png);
  EXPECT_EQ(png->width(), 640);
  EXPECT_EQ(png->height(), 960);
  // Above the panel the app's window; in its corner the panel's colour,
  // fully opaque once the fade-in is over.
  EXPECT_EQ(png->pixel(20, 20), 0xFF102030u);
  EXPECT_EQ(png->pixel(static_cast<int>(2 * x + 2), static_cast<int>(2 * y + 2)), 0xFF336699u);
}

TEST_F(RenderToolTest, DataTheSdkRefusesIsExitStatusOneWithItsWarning) {
  ToolRun untitled = Render(R"({"position": "bottom", "buttonMap": {"0": {"text": "Shop"}}})");
  EXPECT_EQ(untitled.status, kRenderToolNotShown);
  EXPECT_NE(untitled.err.find("Warn: UI: InAppMessage VC requires title and/or body"), std::string::npos)
      << untitled.err;
  EXPECT_EQ(untitled.out, "");
  EXPECT_FALSE(Png());

  // What the data names itself is the SDK's to judge, as from the service.
  ToolRun elsewhere = Render(R"({"title": {"text": "Hi"}, "targetName": "promo"})");
  EXPECT_EQ(elsewhere.status, kRenderToolNotShown);
  EXPECT_NE(elsewhere.err.find("Warn: Campaign: Dropping internal UI campaign intended for target: promo"),
            std::string::npos)
      << elsewhere.err;
}

TEST_F(RenderToolTest, BadInvocationsAndFilesStopBeforeRendering) {
  EXPECT_EQ(Render("[1, 2]").status, kRenderToolInvalidJson);
  EXPECT_EQ(Render("{\"title\": ").status, kRenderToolInvalidJson);
  EXPECT_EQ(Render(kBottomMessage, {"--size", "320by480"}).status, kRenderToolUsage);
  EXPECT_EQ(Render(kBottomMessage, {"--background", "#12345"}).status, kRenderToolUsage);
  EXPECT_EQ(Render(kBottomMessage, {"--scale", "0"}).status, kRenderToolUsage);
  EXPECT_EQ(Run({"--data", DataPath()}).status, kRenderToolUsage);
  EXPECT_FALSE(Png());

  ToolRun missing = Run({"--data", DataPath() + ".absent", "--out", PngPath()});
  EXPECT_EQ(missing.status, kRenderToolNoInput);
  EXPECT_NE(missing.err.find("cannot read"), std::string::npos);
  EXPECT_EQ(Render(kBottomMessage, {"--out", DataPath() + ".absent/screen.png"}).status, kRenderToolCantCreate);
}

}  // namespace
}  // namespace tessarin::render

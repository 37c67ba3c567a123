#include "demo/message_demo.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include "demo/console.h"

namespace tessarin::demo {
namespace {

namespace ui = platform::ui;

// A finger rests this long on what it taps.
constexpr double kTapHold = 0.05;

ui::Point Centre(const ui::Rect& rect) { return {rect.x + rect.width / 2, rect.y + rect.height / 2}; }

std::string At(ui::Point point) {
  return Line() << "(" << static_cast<int>(point.x) << ", " << static_cast<int>(point.y) << ")";
}

ui::Point SwipeDelta(const std::string& direction) {
  if (direction == "left") return {-kSwipeDistance, 0};
  if (direction == "right") return {kSwipeDistance, 0};
  if (direction == "up") return {0, -kSwipeDistance};
  return {0, kSwipeDistance};
}

const char* StatName(const std::string& stat) {
  if (stat == "i") return "impression";
  if (stat == "c") return "click-through";
  if (stat == "d") return "dismissal";
  return "unknown statistic";
}

std::string Text(const Json& payload, const char* key) { return payload.value(key, std::string()); }

}  // namespace

Json DemoInAppMessage() {
  return Json::parse(R"({
    "position": "bottom",
    "backgroundColor": "#1F3A5F",
    "cornerRadius": 12,
    "borderWidth": 1,
    "borderColor": "#F2A541",
    "title": {"text": "Trail Shoes are back", "textColor": "#FFFFFF"},
    "body": {"text": "Light trail shoes in every size, 5% off this week.", "textColor": "#DDE6F0"},
    "buttonMap": {
      "0": {"text": "Shop now", "backgroundColor": "#F2A541", "textColor": "#1F3A5F",
            "tap": {"link": "https://shop.example/sku-42"}},
      "1": {"text": "Not now", "textColor": "#FFFFFF", "borderColor": "#FFFFFF", "borderWidth": 1}
    },
    "interactionMap": {"swipeLeft": {}, "swipeRight": {}, "swipeUp": {}, "swipeDown": {}}
  })");
}

std::optional<ui::TouchScript> MessageGesture(const Options& options, const render::MessageFrames& frames,
                                              std::string* said, std::string* error) {
  ui::TouchScript script;
  switch (options.action) {
    case MessageAction::kNone: return std::nullopt;
    case MessageAction::kPressButton: {
      if (options.button >= static_cast<int>(frames.buttons.size())) {
        *error = Line() << "the message has no button " << options.button << " (it has "
                        << frames.buttons.size() << ")";
        return std::nullopt;
      }
      ui::Point centre = Centre(frames.buttons[options.button]);
      *said = Line() << "pressed button " << options.button << " at " << At(centre);
      return script.down(centre).wait(kTapHold).up();
    }
    case MessageAction::kTapPanel: {
      ui::Point grip = render::PanelGrip(frames);
      *said = "tapped the panel at " + At(grip);
      return script.down(grip).wait(kTapHold).up();
    }
    case MessageAction::kSwipe: {
      ui::Point grip = render::PanelGrip(frames);
      *said = Line() << "swiped the panel " << options.swipe << " from " << At(grip) << ", "
                     << static_cast<int>(kSwipeDistance) << " points at " << static_cast<int>(kSwipeSpeed)
                     << " points/s";
      return script.down(grip).dragBy(SwipeDelta(options.swipe), kSwipeSpeed).up();
    }
  }
  return std::nullopt;
}

std::string DescribeMessage(const render::MessageFrames& frames) {
  return "demo: in-app message shown, " + JsonDump(frames.toJson());
}

bool WriteScreenshot(const std::string& path, const ui::Image& image) {
  std::string png = image.encodePNG();
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(png.data(), static_cast<std::streamsize>(png.size()));
  file.close();
  if (png.empty() || !file) {
    Say("demo: could not write the screenshot to " + path);
    return false;
  }
  Say(Line() << "demo: screenshot written to " << path << " (" << image.width() << " x " << image.height()
             << " pixels)");
  return true;
}

void PrintCampaignStats(const service::LocalService& service) {
  std::vector<Json> stats = service.campaignStats();
  // A statistic about a message is sent about its experience too; the
  // message's line says both.
  auto aboutAMessage = [&stats](const Json& experienceLevel) {
    return std::any_of(stats.begin(), stats.end(), [&experienceLevel](const Json& payload) {
      return Text(payload, "type") == "m" && Text(payload, "eid") == Text(experienceLevel, "id") &&
             Text(payload, "stat") == Text(experienceLevel, "stat");
    });
  };
  for (const Json& payload : stats) {
    Line line;
    line << "stat: " << StatName(Text(payload, "stat"));
    if (Text(payload, "type") == "m") {
      line << " of message " << Text(payload, "id") << " (experience " << Text(payload, "eid") << ")";
    } else if (!aboutAMessage(payload)) {
      line << " of experience " << Text(payload, "id");
    } else {
      continue;
    }
    if (Text(payload, "ug") == "Control") line << ", control group";
    Say(line);
  }
}

}  // namespace tessarin::demo

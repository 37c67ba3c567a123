#include "render/render_cli.h"

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <ostream>

#include "render/message_render.h"

namespace tessarin::render {
namespace {

namespace ui = platform::ui;

constexpr const char* kUsage =
    "usage: tessarin-render --data FILE --out FILE.png [--size WxH] [--scale S] [--background #RRGGBB]\n";

constexpr const char* kHelp =
    "\n"
    "Renders the in-app message whose data is in FILE (the message object of a\n"
    "campaign: title, body, buttonMap, position, colours ...) as the SDK shows it:\n"
    "on a phone screen of WxH points (default 375x667) at S pixels per point\n"
    "(default 2), over an app window of the background colour (default #FFFFFF),\n"
    "with the fade-in finished. Writes the screen to FILE.png and prints the\n"
    "panel's and the buttons' frames in points as one line of JSON:\n"
    "  {\"panel\":[x,y,w,h],\"buttons\":[[x,y,w,h],...]}\n"
    "The data needs no \"id\", \"type\" or \"targetName\"; those it names are kept.\n"
    "What the SDK warns about while reading the data goes to standard error.\n"
    "\n"
    "Exit status: 0 written; 1 the SDK does not show this message (its warnings\n"
    "say why); 2 FILE is not a JSON object; 64 bad usage; 66 FILE cannot be read;\n"
    "73 FILE.png cannot be written.\n";

// Beyond these a preview is a mistake, and its pixels would not fit in memory.
constexpr double kMaxSide = 10000;
constexpr double kMaxScale = 8;
constexpr double kMaxPixels = 64e6;

struct Arguments {
  std::string data;
  std::string out;
  RenderOptions render;
};

enum class Parse { kRun, kHelp, kBad };

// A number that is the whole text, finite and in (0, max].
std::optional<double> Positive(const std::string& text, double max) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (*end != '\0' || !std::isfinite(value) || value <= 0 || value > max) return std::nullopt;
  return value;
}

std::optional<ui::Size> ParseSize(const std::string& text) {
  auto x = text.find('x');
  if (x == std::string::npos) return std::nullopt;
  auto width = Positive(text.substr(0, x), kMaxSide);
  auto height = Positive(text.substr(x + 1), kMaxSide);
  if (!width || !height) return std::nullopt;
  return ui::Size{*width, *height};
}

// "#RRGGBB" exactly: a preview's background is opaque.
std::optional<ui::Color> ParseBackground(const std::string& text) {
  if (text.size() != 7 || text[0] != '#') return std::nullopt;
  for (char c : text.substr(1)) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
  }
  auto rgb = static_cast<std::uint32_t>(std::strtoul(text.c_str() + 1, nullptr, 16));
  return ui::Color::fromRGBA(rgb << 8 | 0xff);
}

Parse ParseArguments(const std::vector<std::string>& args, Arguments* parsed, std::string* problem) {
  std::map<std::string, std::string> values;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--help" || arg == "-h") return Parse::kHelp;
    if (arg != "--data" && arg != "--out" && arg != "--size" && arg != "--scale" && arg != "--background") {
      *problem = (arg.size() > 1 && arg[0] == '-' ? "unknown option " : "unexpected argument ") + arg;
      return Parse::kBad;
    }
    if (i + 1 == args.size()) {
      *problem = arg + " needs a value";
      return Parse::kBad;
    }
    values[arg] = args[++i];
  }
  if (!values.count("--data") || !values.count("--out")) {
    *problem = "--data and --out are required";
    return Parse::kBad;
  }
  parsed->data = values["--data"];
  parsed->out = values["--out"];
  if (values.count("--size")) {
    auto size = ParseSize(values["--size"]);
    if (!size) {
      *problem = "--size is WIDTHxHEIGHT in points, not " + values["--size"];
      return Parse::kBad;
    }
    parsed->render.size = *size;
  }
  if (values.count("--scale")) {
    auto scale = Positive(values["--scale"], kMaxScale);
    if (!scale) {
      *problem = "--scale is a number of pixels per point up to 8, not " + values["--scale"];
      return Parse::kBad;
    }
    parsed->render.scale = *scale;
  }
  if (values.count("--background")) {
    auto background = ParseBackground(values["--background"]);
    if (!background) {
      *problem = "--background is #RRGGBB, not " + values["--background"];
      return Parse::kBad;
    }
    parsed->render.background = *background;
  }
  const ui::Size& size = parsed->render.size;
  const double scale = parsed->render.scale;
  if (size.width * scale * size.height * scale > kMaxPixels) {
    *problem = "the screen would be more than 64 million pixels";
    return Parse::kBad;
  }
  return Parse::kRun;
}

}  // namespace

int RunRenderTool(const std::vector<std::string>& args, platform::FileSystem& files, std::ostream& out,
                  std::ostream& err) {
  Arguments arguments;
  std::string problem;
  switch (ParseArguments(args, &arguments, &problem)) {
    case Parse::kHelp:
      out << kUsage << kHelp;
      return kRenderToolOk;
    case Parse::kBad:
      err << "tessarin-render: " << problem << "\n" << kUsage;
      return kRenderToolUsage;
    case Parse::kRun: break;
  }

  std::string text;
  platform::IoResult read = files.readFile(arguments.data, &text);
  if (!read.ok) {
    err << "tessarin-render: cannot read " << arguments.data << ": " << read.description << "\n";
    return kRenderToolNoInput;
  }
  Json data = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (data.is_discarded() || !data.is_object()) {
    err << "tessarin-render: " << arguments.data << " does not hold a JSON object\n";
    return kRenderToolInvalidJson;
  }

  Rendering rendering = RenderMessage(data, arguments.render);
  // Warnings that did not stop the message (an unknown text style, a colour
  // it cannot read) matter to whoever wrote the data as much as those that did.
  for (const LogRecord& record : rendering.problems) err << record.label << ": " << record.message << "\n";
  if (!rendering.shown) {
    err << "tessarin-render: the SDK does not show this message\n";
    return kRenderToolNotShown;
  }
  platform::IoResult written = files.writeFileAtomically(arguments.out, rendering.screen.encodePNG());
  if (!written.ok) {
    err << "tessarin-render: cannot write " << arguments.out << ": " << written.description << "\n";
    return kRenderToolCantCreate;
  }
  out << JsonDump(rendering.frames.toJson()) << "\n";
  return kRenderToolOk;
}

}  // namespace tessarin::render

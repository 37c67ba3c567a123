// The demo's command line.
#ifndef TESSARIN_TOOLS_DEMO_OPTIONS_H_
#define TESSARIN_TOOLS_DEMO_OPTIONS_H_

#include <optional>
#include <string>
#include <vector>

namespace tessarin::demo {

enum class Host { kSim, kLinux };

// What the user does to the in-app message once it has appeared.
enum class MessageAction { kNone, kPressButton, kTapPanel, kSwipe };

struct Options {
  Host host = Host::kSim;
  std::string account = "demo-account";
  std::string dataset = "demo-dataset";
  std::string config_file;
  std::string data_dir;
  // The SDK's log threshold: warnings and errors unless --verbose (Debug)
  // or an explicit --log-level.
  long log_level = 2000;
  bool verbose = false;
  double timeout = 10;
  std::vector<std::string> handle = {"home-banner"};
  // A load run of this many "Load Event" actions instead of the shop
  // session (Linux host only).
  std::optional<long> events;
  // Events per second for a load run; 0 records as fast as possible.
  double rate = 0;
  // Stay alive after recording, without flushing, until killed.
  bool stay = false;
  // A PNG of the whole screen once the in-app message has appeared.
  std::string screenshot;
  MessageAction action = MessageAction::kNone;
  int button = 0;           // --press-button N
  std::string swipe;        // --swipe: "left", "right", "up" or "down"
  // The design-mode session instead of the shop session; with `cellular`
  // the device is on a cellular network, so the SDK asks first.
  bool design = false;
  bool cellular = false;

  // Whether the session must see an in-app message to do what was asked.
  bool needsMessage() const { return !screenshot.empty() || action != MessageAction::kNone; }
};

// Fills `options` from the arguments; false with `error` set on bad usage,
// or with `error` empty for --help.
bool ParseOptions(int argc, char** argv, Options* options, std::string* error);
void PrintUsage();

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_OPTIONS_H_

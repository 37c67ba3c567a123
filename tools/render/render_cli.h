// tessarin-render's command line: renders an in-app message from its data
// file to a PNG of the screen and prints where the panel and its buttons
// are. A library of its own, which the tests drive.
#ifndef TESSARIN_TOOLS_RENDER_RENDER_CLI_H_
#define TESSARIN_TOOLS_RENDER_RENDER_CLI_H_

#include <iosfwd>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tessarin::render {

// Exit statuses of the tool.
enum RenderToolStatus : int {
  kRenderToolOk = 0,
  kRenderToolNotShown = 1,    // the SDK does not show the message; its warnings say why
  kRenderToolInvalidJson = 2, // the data file is not a JSON object
  kRenderToolUsage = 64,      // as EX_USAGE
  kRenderToolNoInput = 66,    // as EX_NOINPUT
  kRenderToolCantCreate = 73, // as EX_CANTCREAT
};

// Runs the tool with its arguments (without the program name):
// `--data FILE --out FILE.png [--size WxH] [--scale S] [--background #RRGGBB]`.
// Files are read and written through `files`. Prints the frames as one line
// of JSON to `out`, the SDK's warnings and the tool's messages to `err`, and
// returns the exit status.
int RunRenderTool(const std::vector<std::string>& args, platform::FileSystem& files, std::ostream& out,
                  std::ostream& err);

}  // namespace tessarin::render

#endif  // TESSARIN_TOOLS_RENDER_RENDER_CLI_H_

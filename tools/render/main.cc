// tessarin-render: renders an in-app message from its data, as the SDK shows
// it, to a PNG. See `tessarin-render --help`.
#include <iostream>
#include <string>
#include <vector>

#include "platform/posix_file_system.h"
#include "render/render_cli.h"

int main(int argc, char** argv) {
  tessarin::platform::PosixFileSystem files("");
  std::vector<std::string> args(argv + 1, argv + argc);
  return tessarin::render::RunRenderTool(args, files, std::cout, std::cerr);
}

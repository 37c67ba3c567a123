// tessarin-jsonpath: tries a JSONPath expression (a view-action rule) over a
// JSON document. See `tessarin-jsonpath --help`.
#include <iostream>
#include <string>
#include <vector>

#include "jsonpath/json_path_cli.h"
#include "platform/posix_file_system.h"
#include "tessarin/log.h"

int main(int argc, char** argv) {
  // The evaluator's warnings (ignored regular-expression flags, patterns
  // that do not compile) explain an empty result, so they are shown.
  tessarin::TSRLogger::setLogLevel(tessarin::TSRLogLevelWarn);
  tessarin::platform::PosixFileSystem files("");
  std::vector<std::string> args(argv + 1, argv + argc);
  return tessarin::RunJsonPathTool(args, files, std::cin, std::cout, std::cerr);
}

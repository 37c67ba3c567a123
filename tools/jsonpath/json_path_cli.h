// tessarin-jsonpath: evaluates one expression over a JSON document and
// prints the results, so that a view-action rule can be tried out against a
// saved screen description before it goes into the configuration.
#ifndef TESSARIN_TOOLS_JSONPATH_JSON_PATH_CLI_H_
#define TESSARIN_TOOLS_JSONPATH_JSON_PATH_CLI_H_

#include <iosfwd>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tessarin {

// Exit statuses of the tool.
enum JsonPathToolStatus : int {
  kJsonPathToolOk = 0,
  kJsonPathToolInvalidJson = 2,
  kJsonPathToolUsage = 64,    // as EX_USAGE
  kJsonPathToolNoInput = 66,  // as EX_NOINPUT
};

// Runs the tool with its arguments (without the program name):
// `[--paths] EXPRESSION [FILE]`. FILE is read through `files`; without it,
// or when it is "-", the document comes from `in`. Prints one line of
// compact JSON to `out`, messages to `err`, and returns the exit status.
int RunJsonPathTool(const std::vector<std::string>& args, platform::FileSystem& files, std::istream& in,
                    std::ostream& out, std::ostream& err);

}  // namespace tessarin

#endif  // TESSARIN_TOOLS_JSONPATH_JSON_PATH_CLI_H_

// One screen of views described as JSON, laid out by the layout engine:
// what `tessarin-layout` reads and prints. See main.cc for the format.
#ifndef TESSARIN_TOOLS_LAYOUT_LAYOUT_FILE_H_
#define TESSARIN_TOOLS_LAYOUT_LAYOUT_FILE_H_

#include <string>

namespace tessarin::tools {

// Lays out the screen `json` describes. Returns true and the frames as one
// JSON object in `output`, or false and a one-line `error`.
bool layOutFile(const std::string& json, std::string* output, std::string* error);

}  // namespace tessarin::tools

#endif  // TESSARIN_TOOLS_LAYOUT_LAYOUT_FILE_H_

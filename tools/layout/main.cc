// tessarin-layout FILE: lays out one screen of views with the UI kit's
// layout engine and prints their frames, for checking the engine from
// outside. FILE is JSON:
//   {"size": [W, H],
//    "views": {"name": {"intrinsic": [w, h], "hugging": [h, v], "compression": [h, v],
//                       "parent": "other view"}, ...},
//    "metrics": {"m": 10, ...},
//    "formats": ["H:|-m-[a]-m-|", "V:|-[a(>=44)]", ...],
//    "constraints": [["a", "centerY", "==", "root", "centerY", 1.0, 0.0, 1000], ...],
//    "direction": "ltr" or "rtl"}
// Views are subviews of the root ("|", "root") unless they name a parent.
// Every key but "size", "views" and "formats" may be left out. The output
// is one JSON object {"name": [x, y, w, h], ...}, relative to each view's
// parent and rounded to 0.01; a malformed file or format, or required
// constraints that cannot all hold, give a one-line error and exit status 1.
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "layout/layout_file.h"

int main(int argc, char** argv) {
  if (argc != 2 || std::string(argv[1]) == "--help") {
    std::cerr << "usage: tessarin-layout FILE" << std::endl;
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::cerr << "tessarin-layout: cannot read " << argv[1] << std::endl;
    return 2;
  }
  std::stringstream text;
  text << in.rdbuf();
  std::string output, error;
  if (!tessarin::tools::layOutFile(text.str(), &output, &error)) {
    // One line, whatever the message held.
    for (char& c : error) {
      if (c == '\n') c = ' ';
    }
    std::cerr << "tessarin-layout: " << error << std::endl;
    return 1;
  }
  std::cout << output << std::endl;
  return 0;
}

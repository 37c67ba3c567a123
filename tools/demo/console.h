// The demo's own lines on standard output.
//
// On the Linux host the SDK calls the app's campaign handlers on its own
// main loop thread while the app's thread prints too, so every line is
// written whole, under one lock, and flushed at once: a demo killed with
// SIGKILL (see --stay) has printed everything it said.
#ifndef TESSARIN_TOOLS_DEMO_CONSOLE_H_
#define TESSARIN_TOOLS_DEMO_CONSOLE_H_

#include <sstream>
#include <string>

namespace tessarin::demo {

// Prints `line` and a newline.
void Say(const std::string& line);

// Say(Line() << "sent " << n << " events"): a line built in pieces.
class Line {
 public:
  template <typename T>
  Line& operator<<(const T& value) {
    text_ << value;
    return *this;
  }
  operator std::string() const { return text_.str(); }

 private:
  std::ostringstream text_;
};

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_CONSOLE_H_

// A view of the app's that records the touches it hears, a run of moves as
// one "moved".
#ifndef TESSARIN_TESTS_UI_TOUCH_LOG_H_
#define TESSARIN_TESTS_UI_TOUCH_LOG_H_

#include <string>
#include <vector>

#include "platform/ui/touch.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

class TouchLog : public View {
 public:
  using View::View;
  std::vector<std::string> heard;
  void touchBegan(const Touch&) override { heard.push_back("began"); }
  void touchMoved(const Touch&) override {
    if (heard.empty() || heard.back() != "moved") heard.push_back("moved");
  }
  void touchEnded(const Touch&) override { heard.push_back("ended"); }
  void touchCancelled(const Touch&) override { heard.push_back("cancelled"); }
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_TESTS_UI_TOUCH_LOG_H_

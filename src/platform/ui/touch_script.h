// Scripted touches for tests and demonstrations: a timeline of touch-down,
// move, up and cancel events, played into a screen on the platform's clock
// (virtual time on the simulated host, so a test advances the clock past
// the script's duration and every event has happened at its time).
//
//   TouchScript().down({300, 100}).dragBy({-200, 0}, 600).up()
//
// drags a finger 200 points left at 600 points a second, one move a frame.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_TOUCH_SCRIPT_H_
#define TESSARIN_PLATFORM_UI_TOUCH_SCRIPT_H_

#include <map>
#include <memory>
#include <vector>

#include "platform/platform.h"
#include "platform/ui/touch.h"

namespace tessarin::platform::ui {

class Screen;

class TouchScript {
 public:
  struct Event {
    double time = 0;  // seconds from the start of the script
    TouchPhase phase = TouchPhase::kBegan;
    int id = 1;
    Point location;
  };
  // What playing a script has done so far.
  struct Playback {
    std::vector<bool> taken;  // the screen's answer to each event played
    bool finished = false;
  };
  static constexpr double kFrameInterval = 1.0 / 60;

  TouchScript& down(Point location, int id = 1);
  TouchScript& moveTo(Point location, int id = 1);
  // Moves from the finger's current location by `delta` at `speed` points
  // per second, one event a frame, the last one exactly at the end.
  TouchScript& dragBy(Point delta, double speed, int id = 1);
  TouchScript& wait(double seconds);
  TouchScript& up(int id = 1);
  TouchScript& cancel(int id = 1);

  const std::vector<Event>& events() const { return events_; }
  double duration() const { return cursor_; }

  // Schedules every event on the main queue at its time from now.
  std::shared_ptr<const Playback> play(Screen& screen, Platform& platform) const;

 private:
  std::vector<Event> events_;
  std::map<int, Point> locations_;
  double cursor_ = 0;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TOUCH_SCRIPT_H_

#include "platform/ui/touch_script.h"

#include <cmath>

#include "platform/ui/screen.h"

namespace tessarin::platform::ui {

TouchScript& TouchScript::down(Point location, int id) {
  events_.push_back({cursor_, TouchPhase::kBegan, id, location});
  locations_[id] = location;
  return *this;
}

TouchScript& TouchScript::moveTo(Point location, int id) {
  events_.push_back({cursor_, TouchPhase::kMoved, id, location});
  locations_[id] = location;
  return *this;
}

TouchScript& TouchScript::dragBy(Point delta, double speed, int id) {
  Point start = locations_[id];
  double distance = std::hypot(delta.x, delta.y);
  if (distance <= 0 || speed <= 0) return *this;
  double seconds = distance / speed;
  int steps = std::max(1, static_cast<int>(std::ceil(seconds / kFrameInterval - 1e-9)));
  double begin = cursor_;
  for (int i = 1; i <= steps; ++i) {
    double f = static_cast<double>(i) / steps;
    cursor_ = begin + seconds * f;
    moveTo({start.x + delta.x * f, start.y + delta.y * f}, id);
  }
  return *this;
}

TouchScript& TouchScript::wait(double seconds) {
  if (seconds > 0) cursor_ += seconds;
  return *this;
}

TouchScript& TouchScript::up(int id) {
  events_.push_back({cursor_, TouchPhase::kEnded, id, locations_[id]});
  return *this;
}

TouchScript& TouchScript::cancel(int id) {
  events_.push_back({cursor_, TouchPhase::kCancelled, id, locations_[id]});
  return *this;
}

std::shared_ptr<const TouchScript::Playback> TouchScript::play(Screen& screen, Platform& platform) const {
  auto playback = std::make_shared<Playback>();
  if (events_.empty()) {
    playback->finished = true;
    return playback;
  }
  auto main = platform.mainQueue();
  // The screen is the caller's: a script must not outlive it.
  Screen* target = &screen;
  Platform* clock = &platform;
  for (std::size_t i = 0; i < events_.size(); ++i) {
    Event event = events_[i];
    bool last = i + 1 == events_.size();
    TimerSpec spec;
    spec.startDelay = event.time;
    platform.scheduleTimer(main, spec, [playback, event, last, target, clock] {
      double now = clock->now(Clock::kMonotonic);
      bool taken = false;
      switch (event.phase) {
        case TouchPhase::kBegan: taken = target->touchDown(event.id, event.location, now); break;
        case TouchPhase::kMoved: taken = target->touchMoved(event.id, event.location, now); break;
        case TouchPhase::kEnded: taken = target->touchUp(event.id, event.location, now); break;
        case TouchPhase::kCancelled: taken = target->touchCancelled(event.id, now); break;
      }
      playback->taken.push_back(taken);
      if (last) playback->finished = true;
    });
  }
  return playback;
}

}  // namespace tessarin::platform::ui

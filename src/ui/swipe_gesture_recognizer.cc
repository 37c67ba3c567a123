// Placeholder until the recognizer lands: no message gets swipe support.
#include "ui/swipe_gesture_recognizer.h"

namespace tessarin {

std::shared_ptr<TSRUISwipeGestureRecognizer> TSRUISwipeGestureRecognizer::initWithSwipeActions(SwipeActions,
                                                                                                const Json&) {
  return nullptr;
}

}  // namespace tessarin

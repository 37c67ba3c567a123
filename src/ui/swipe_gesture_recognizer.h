// TSRUISwipeGestureRecognizer: lets the user drag an in-app message's panel
// in the directions that have an action and fling it off the screen, which
// then runs that direction's action. The panel moves by the constants of
// the constraints that place it in its superview, not by a transform, so it
// stays laid out, and a drag that is let go puts it back where it was.
//
// Main thread only.
#ifndef TESSARIN_UI_SWIPE_GESTURE_RECOGNIZER_H_
#define TESSARIN_UI_SWIPE_GESTURE_RECOGNIZER_H_

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/ui/pan_gesture_recognizer.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRUISwipeGestureRecognizer : public platform::ui::PanGestureRecognizer {
 public:
  using ActionBlock = std::function<void(platform::ui::GestureRecognizer& sender)>;
  // Direction key ("swipeLeft", "swipeRight", "swipeUp", "swipeDown") → action.
  using SwipeActions = std::map<std::string, ActionBlock>;

  static constexpr const char* kSwipeLeft = "swipeLeft";
  static constexpr const char* kSwipeRight = "swipeRight";
  static constexpr const char* kSwipeUp = "swipeUp";
  static constexpr const char* kSwipeDown = "swipeDown";

  // Null (logged) when no action has a direction key. `options` is the
  // message's "interactionSettings" (thresholds; anything else is ignored).
  static std::shared_ptr<TSRUISwipeGestureRecognizer> initWithSwipeActions(SwipeActions swipeActions,
                                                                          const Json& options);

  const char* typeName() const override { return "TSRUISwipeGestureRecognizer"; }

  // Finds the constraints that place the view in its superview, once.
  bool checkConstraints();

  const SwipeActions& swipeActions() const;
  double axisLockThreshold() const;
  double keepHoldThreshold() const;
  double timeThreshold() const;
  double velocityThreshold() const;
  double resetAnimDuration() const;
  bool finished() const;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_SWIPE_GESTURE_RECOGNIZER_H_

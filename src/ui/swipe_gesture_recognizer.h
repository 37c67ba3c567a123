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
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/layout/layout_constraint.h"
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

  // The signed distance at which the drag locked onto an axis (0: not
  // locked on that axis).
  double axisLockOffsetX() const { return axisLockOffsetX_; }
  double axisLockOffsetY() const { return axisLockOffsetY_; }
  // The constraints that move the panel, as found by checkConstraints:
  // left side, centre, right side (top, centre, bottom). Empty until found.
  std::vector<std::shared_ptr<platform::ui::layout::LayoutConstraint>> horizontalConstraints() const;
  std::vector<std::shared_ptr<platform::ui::layout::LayoutConstraint>> verticalConstraints() const;

 protected:
  // Puts a panel that was dragged but not flung back where it rests.
  void reset() override;

 private:
  // A constraint that places the panel, with the constant it has at rest
  // and which way the panel goes when the constant grows: +1 right or
  // down, -1 left or up.
  struct HeldConstraint {
    std::shared_ptr<platform::ui::layout::LayoutConstraint> constraint;
    double restingConstant = 0;
    double sign = 1;
  };
  enum class Lock { kNone, kHorizontal, kVertical };

  TSRUISwipeGestureRecognizer() = default;

  void configureDefaultsAndOptions(const Json& options);
  void handleGesture(platform::ui::GestureRecognizer& sender);
  void trackMovement(platform::ui::View& view, platform::ui::View& superview, platform::ui::Point translation);
  bool touchKeepsHold(platform::ui::View& view) const;
  void moveConstraints(const std::vector<HeldConstraint>& constraints, double offset);
  void endGesture(platform::ui::View& view, platform::ui::View& superview);
  // Takes over from a reset animation still running when a new drag starts.
  void stopResetAnimation(platform::ui::View& view);
  bool hasAction(const char* direction) const;
  Lock lock() const;

  SwipeActions swipeActions_;
  float axisLockThreshold_ = 10;
  float keepHoldThreshold_ = 20;
  double timeThreshold_ = 0.45;
  float velocityThreshold_ = 500;
  double resetAnimDuration_ = 0.3;
  double axisLockOffsetX_ = 0;
  double axisLockOffsetY_ = 0;
  // Found on the first gesture that has them; absent until then.
  std::optional<std::vector<HeldConstraint>> horizontal_;
  std::optional<std::vector<HeldConstraint>> vertical_;
  bool finished_ = false;
  // The media time of the latest movement of this gesture.
  std::optional<double> lastMovementTime_;
  // Where the drag has put the panel, from where it rests.
  platform::ui::Point offset_;
  // The drag has changed a constant or the alpha since the last reset.
  bool moved_ = false;
  bool resetAnimating_ = false;
  int resetGeneration_ = 0;
  bool warnedThisGesture_ = false;
};

}  // namespace tessarin

#endif  // TESSARIN_UI_SWIPE_GESTURE_RECOGNIZER_H_

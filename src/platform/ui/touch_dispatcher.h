// Routes a screen's touches to views and gesture recognizers.
//
// A touch sequence runs from the first finger down to the last finger up.
// Each finger goes to the view the screen's hit test finds where it went
// down, and to the gesture recognizers of that view and its ancestors.
// Recognizers see a touch before the view does. When one recognizes, the
// others still possible fail (one gesture at a time), and if it cancels
// touches in view, the views hear their touches cancelled. A recognizer that
// delays touches holds back the views' touch-began until it fails. Finished
// recognizers are reset after the event that finished them and sit out the
// rest of the sequence.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_TOUCH_DISPATCHER_H_
#define TESSARIN_PLATFORM_UI_TOUCH_DISPATCHER_H_

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/ui/touch.h"

namespace tessarin::platform::ui {

class GestureRecognizer;
class Screen;
class View;

class TouchDispatcher {
 public:
  explicit TouchDispatcher(Screen& screen) : screen_(screen) {}

  bool touchDown(int id, Point location, double timestamp);
  bool touchMoved(int id, Point location, double timestamp);
  bool touchUp(int id, Point location, double timestamp);
  bool touchCancelled(int id, double timestamp);

  // A recognizer changed state outside a touch (a timer fired, a target
  // ended it): apply what its new state means for the others and the views.
  void recognizerChanged(GestureRecognizer& recognizer);

  bool inSequence() const { return !touches_.empty(); }

 private:
  struct TouchRecord {
    Touch touch;
    std::weak_ptr<View> view;
    std::vector<std::weak_ptr<GestureRecognizer>> recognizers;
    bool beganDelivered = false;
    bool withheld = false;  // cancelled for the view, or its beginning dropped
    bool finished = false;      // the finger lifted or was cancelled
    bool viewFinished = false;  // the view heard the touch end or cancel
  };

  bool update(int id, TouchPhase phase, Point location, double timestamp);
  void settle();
  bool recognizerParticipates(const GestureRecognizer* recognizer) const;
  void endSequenceIfDone();

  Screen& screen_;
  std::map<int, TouchRecord> touches_;
  // The recognizers of this sequence, in the order they joined it.
  std::vector<std::shared_ptr<GestureRecognizer>> recognizers_;
  std::set<const GestureRecognizer*> recognized_;  // past possible in this sequence
  std::set<const GestureRecognizer*> sittingOut_;  // finished in this sequence
  bool settling_ = false;
  int dispatching_ = 0;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_TOUCH_DISPATCHER_H_

// The hidden gesture that asks for a designer connection: a long press of
// several fingers on the app's first normal window. It watches the app's
// touches without taking them: it neither cancels them in the views nor
// delays their beginning, so the app behaves as if it were not there.
//
// Main thread only, like the views it is attached to.
#ifndef TESSARIN_DESIGN_DESIGN_GESTURE_H_
#define TESSARIN_DESIGN_DESIGN_GESTURE_H_

#include <functional>
#include <memory>

namespace tessarin {

namespace platform {
class Window;
namespace ui {
class GestureRecognizer;
class Window;
}  // namespace ui
}  // namespace platform

class TSRDesignGesture {
 public:
  using Action = std::function<void(platform::ui::GestureRecognizer& recognizer)>;

  // The kit window that draws a host window; null for a window the kit does
  // not draw (a host whose app has a toolkit of its own).
  static std::shared_ptr<platform::ui::Window> kitWindowOf(const platform::Window& window);

  // A long press of `touches` fingers held `minimumDuration` seconds,
  // attached to `window`; `action` hears each state it reports.
  TSRDesignGesture(const std::shared_ptr<platform::ui::Window>& window, int touches, double minimumDuration,
                   Action action);
  // Detaches.
  ~TSRDesignGesture();
  TSRDesignGesture(const TSRDesignGesture&) = delete;
  TSRDesignGesture& operator=(const TSRDesignGesture&) = delete;

  bool isAttachedTo(const platform::ui::Window* window) const;
  // Leaves the window it is on; nothing once it has.
  void detach();
  const std::shared_ptr<platform::ui::GestureRecognizer>& recognizer() const { return recognizer_; }

 private:
  std::weak_ptr<platform::ui::Window> window_;
  std::shared_ptr<platform::ui::GestureRecognizer> recognizer_;
};

}  // namespace tessarin

#endif  // TESSARIN_DESIGN_DESIGN_GESTURE_H_

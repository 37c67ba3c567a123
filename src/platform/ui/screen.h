// A screen: its size and scale, the one ordered list of the windows shown
// on it, hit testing across them, touch input and snapshots.
//
// Hit testing asks the visible windows from the top down; a window whose
// hit test finds no view of its own (a transparent overlay that only its
// panel should take touches for) lets the touch fall through to the windows
// below. A touch no window takes is not taken: the host's own interface
// handles it.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_SCREEN_H_
#define TESSARIN_PLATFORM_UI_SCREEN_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/ui/geometry.h"
#include "platform/ui/image.h"

namespace tessarin::platform::ui {

class TouchDispatcher;
class UIEnvironment;
class View;
class Window;

class Screen {
 public:
  // `environment` must outlive the screen.
  Screen(UIEnvironment& environment, Size size, double scale);
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  UIEnvironment& environment() { return environment_; }
  Rect bounds() const { return {0, 0, size_.width, size_.height}; }
  double scale() const { return scale_; }
  // The host's screen changed size or scale (a resized app window, a move
  // to another monitor). Windows that covered the old screen cover the new
  // one; everything is damaged.
  void setSize(Size size, double scale);
  // The strips at the screen's edges that content should stay clear of
  // (status bar, rounded corners); view controllers' layout guides follow.
  const EdgeInsets& safeAreaInsets() const { return safeAreaInsets_; }
  void setSafeAreaInsets(const EdgeInsets& insets) { safeAreaInsets_ = insets; }

  // Every window on this screen, hidden ones too, back to front: by level,
  // then by when they were last shown.
  std::vector<Window*> windows() const;
  Window* keyWindow() const { return keyWindow_; }

  // The view that takes a touch at `point` (screen coordinates), from the
  // front window down; null when none does.
  View* hitTest(Point point) const;

  // Touch input, as the host reports it (timestamps on the platform's
  // monotonic clock). Each call answers whether the kit took the touch:
  // false for a finger that went down where no kit view takes touches, so
  // that the host hands it to its own interface.
  bool touchDown(int id, Point location, double timestamp);
  bool touchMoved(int id, Point location, double timestamp);
  bool touchUp(int id, Point location, double timestamp);
  bool touchCancelled(int id, double timestamp);
  TouchDispatcher& touchDispatcher() { return *touches_; }

  // The visible windows, back to front, at `scale` pixels per point (0:
  // the screen's own); transparent where no window draws.
  Image snapshot(double scale = 0) const;

  // Whether any window is shown: when none is, the kit draws nothing.
  bool hasVisibleWindows() const;

  // Damage, in screen coordinates (points), as the bounding rectangle of
  // everything marked since it was last taken, cut to the screen.
  void setNeedsDisplayInRect(const Rect& rect);
  bool hasDamage() const { return !damage_.isEmpty(); }
  const Rect& damage() const { return damage_; }
  // The damage, which is then cleared.
  Rect takeDamage();
  // Runs when the screen goes from undamaged to damaged, inside whatever
  // change caused it: the handler should schedule a redraw, not draw. One
  // handler at a time; null removes it.
  void setDamageHandler(std::function<void()> handler) { damageHandler_ = std::move(handler); }

  // Grows whenever something on the screen may look different.
  std::uint64_t contentVersion() const { return contentVersion_; }

 private:
  friend class Window;
  void addWindow(Window* window);
  void removeWindow(Window* window);
  void windowShown(Window* window);
  void windowHidden(Window* window);
  void makeKey(Window* window);

  UIEnvironment& environment_;
  Size size_;
  double scale_;
  EdgeInsets safeAreaInsets_;
  std::vector<Window*> windows_;
  std::vector<std::shared_ptr<View>> visible_;  // keeps shown windows alive
  Window* keyWindow_ = nullptr;
  std::uint64_t showSequence_ = 0;
  std::uint64_t contentVersion_ = 0;
  Rect damage_;
  std::function<void()> damageHandler_;
  std::unique_ptr<TouchDispatcher> touches_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_SCREEN_H_

// A window: the root of a view tree that the screen shows, at a level. The
// screen keeps its windows in one list, ordered by level and, within a
// level, by the order they were last shown; hit testing and screenshots
// follow that order. A window starts hidden and covers the screen.
//
// The screen keeps a visible window alive; a hidden one lives as long as
// its owner keeps it. Create windows with std::make_shared.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_WINDOW_H_
#define TESSARIN_PLATFORM_UI_WINDOW_H_

#include <cstdint>
#include <memory>

#include "platform/ui/layout_pass.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

class Screen;
class ViewController;

// Levels as the reference platform numbers them, so that what is specified
// relative to them (alert − 1 for an overlay) orders the same way:
// normal < alert − 1 < alert < status bar.
inline constexpr double kWindowLevelNormal = 0;
inline constexpr double kWindowLevelAlert = 2000;
inline constexpr double kWindowLevelStatusBar = 3000;

// Posted on the platform's notification centre when a window goes from
// hidden to visible; the notification's object is the Window.
inline constexpr const char* kWindowDidBecomeVisibleNotification = "UIWindowDidBecomeVisibleNotification";
inline constexpr const char* kWindowDidBecomeHiddenNotification = "UIWindowDidBecomeHiddenNotification";

class Window : public View {
 public:
  // `screen` must outlive the window or detach it (it does so when it goes).
  explicit Window(Screen& screen);
  ~Window() override;

  const char* typeName() const override { return "Window"; }
  Window* asWindow() override { return this; }
  const Window* asWindow() const override { return this; }

  // Null once the screen has gone.
  Screen* screen() const { return screen_; }

  double windowLevel() const { return level_; }
  void setWindowLevel(double level);

  // Showing a window puts it in front of the others of its level, lets its
  // root view controller appear and posts the became-visible notification;
  // hiding it lets the root view controller disappear.
  void setHidden(bool hidden) override;
  void makeKeyAndVisible();
  bool isKeyWindow() const;

  // The root view controller's view fills the window.
  const std::shared_ptr<ViewController>& rootViewController() const { return root_; }
  void setRootViewController(std::shared_ptr<ViewController> root);

  // Layout: setNeedsLayout anywhere in the tree schedules one pass on the
  // main queue; runLayoutPass lays out now.
  void scheduleLayoutPass();
  void runLayoutPass();

  // When the window was last shown, for ordering within a level.
  std::uint64_t orderShown() const { return orderShown_; }

  void layoutSubviews() override;

 private:
  friend class Screen;
  Screen* screen_;
  double level_ = kWindowLevelNormal;
  std::uint64_t orderShown_ = 0;
  std::shared_ptr<ViewController> root_;
  LayoutPass layoutPass_;
  bool layoutScheduled_ = false;
  bool inLayoutPass_ = false;
  // Scheduled passes hold this weakly.
  std::shared_ptr<Window*> self_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_WINDOW_H_

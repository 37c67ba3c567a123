// The Linux host's screen: the UI kit's environment and screen made with
// the process's platform, the compositor that draws the screen's windows
// for the app, and the app's pointer input routed to them.
//
// The app has a toolkit of its own, so the SDK's windows are not drawn by
// the system: the compositor hands their pixels to the app's overlay
// callback, and the app forwards its pointer input, which the screen's hit
// test takes or lets fall through.
//
// Thread contract: setScreen, setCallback and pointer may be called from
// any thread; userInterface() and screen() are for the main queue only,
// like every object of the kit.
#ifndef TESSARIN_CORE_HOST_OVERLAY_H_
#define TESSARIN_CORE_HOST_OVERLAY_H_

#include <chrono>
#include <memory>
#include <mutex>

#include "platform/platform.h"
#include "tessarin/host.h"

namespace tessarin {

namespace platform::ui {
class OverlayCompositor;
class Screen;
class UIEnvironment;
}  // namespace platform::ui

class HostOverlay {
 public:
  enum class Pointer { kDown, kMove, kUp, kCancel };

  // How long a press from another thread waits for the main queue.
  static constexpr std::chrono::milliseconds kPressWait{100};

  // `platform` must outlive the overlay. The screen has no size until
  // setScreen gives it one.
  explicit HostOverlay(platform::Platform& platform);
  ~HostOverlay();
  HostOverlay(const HostOverlay&) = delete;
  HostOverlay& operator=(const HostOverlay&) = delete;

  platform::ui::UIEnvironment& userInterface() { return *ui_; }
  platform::ui::Screen& screen() { return *screen_; }

  void setScreen(double width, double height, double scale);
  void setCallback(TessarinOverlayCallback callback);
  // Whether the SDK took the input (see TessarinHost::pointerDown).
  bool pointer(Pointer phase, double x, double y, double timestamp);

 private:
  struct PendingPress;
  // On the main thread at once, else queued there.
  void onMain(std::function<void()> task);
  bool press(double x, double y, double timestamp);

  platform::Platform& platform_;
  std::unique_ptr<platform::ui::UIEnvironment> ui_;
  std::unique_ptr<platform::ui::Screen> screen_;
  std::unique_ptr<platform::ui::OverlayCompositor> compositor_;
  // Whether the SDK holds the pointer's current sequence: it took the press
  // and has not seen the release or cancel yet.
  std::mutex mutex_;
  bool held_ = false;
};

}  // namespace tessarin

#endif  // TESSARIN_CORE_HOST_OVERLAY_H_

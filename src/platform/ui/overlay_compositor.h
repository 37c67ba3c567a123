// The kit's windows drawn for a host that composites them itself.
//
// On a host whose operating system does not draw the SDK's windows (a Linux
// app has its own toolkit), the compositor renders the screen's shown
// windows into one image the size of the screen in pixels and hands it to
// the host whenever it changed: after the screen was damaged, at most once
// a frame (the animator's 60 a second), redrawing only the damaged pixels.
//
// Each delivery carries the whole image and the rectangle of it that
// changed since the previous delivery. When the last window is hidden, one
// more delivery says the overlay is no longer visible; its image is fully
// transparent and its damage is the whole image. Nothing more is delivered
// until a window is shown again. A screen of no size delivers nothing.
//
// Main thread only; deliveries run on the main queue. The image's pixels
// are valid during a delivery only.
#ifndef TESSARIN_PLATFORM_UI_OVERLAY_COMPOSITOR_H_
#define TESSARIN_PLATFORM_UI_OVERLAY_COMPOSITOR_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/platform.h"
#include "platform/ui/image.h"

namespace tessarin::platform::ui {

class Screen;

// A rectangle of pixels.
struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

struct OverlayFrame {
  // Premultiplied ARGB32 (Image's format), `stride` bytes a row.
  const Image* image = nullptr;
  PixelRect damage;
  // False once nothing of the kit is shown: the host stops compositing.
  bool visible = false;
};

class OverlayCompositor {
 public:
  using Delivery = std::function<void(const OverlayFrame& frame)>;

  // `screen` must outlive the compositor. Without a delivery nothing is
  // drawn; the damage waits for one.
  explicit OverlayCompositor(Screen& screen, Delivery delivery = nullptr);
  ~OverlayCompositor();
  OverlayCompositor(const OverlayCompositor&) = delete;
  OverlayCompositor& operator=(const OverlayCompositor&) = delete;

  // A new receiver has none of the pixels yet: while something is shown,
  // it gets a whole frame next.
  void setDelivery(Delivery delivery);

  // Draws and delivers what is damaged now, without waiting for the frame.
  void flush();

  std::size_t framesDelivered() const { return framesDelivered_; }

  // At most one delivery in this time; a change sooner waits for it.
  static constexpr double kFrameInterval = 1.0 / 60;

 private:
  void scheduleFrame();

  Screen& screen_;
  Platform& platform_;
  Delivery delivery_;
  Image image_;
  double imageScale_ = 0;
  bool shownVisible_ = false;  // what the last delivery said
  bool scheduled_ = false;
  std::uint64_t frameSequence_ = 0;  // which scheduled frame is current
  double lastDelivery_ = -1e9;  // on the monotonic clock
  std::shared_ptr<Timer> timer_;
  std::size_t framesDelivered_ = 0;
  // Scheduled frames hold this weakly: the compositor may go first.
  std::shared_ptr<OverlayCompositor*> self_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_OVERLAY_COMPOSITOR_H_

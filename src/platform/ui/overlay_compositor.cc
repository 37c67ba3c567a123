#include "platform/ui/overlay_compositor.h"

#include <algorithm>
#include <cmath>

#include "platform/ui/drawing_library.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view_renderer.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

namespace {

// Frames fall on the animator's ticks, which timers deliver a little late
// or early on a real clock: a change this close to the end of the interval
// belongs to the next frame, not to one after a wait.
constexpr double kFrameSlack = 0.002;

int PixelsFor(double points, double scale) { return static_cast<int>(std::ceil(points * scale - 1e-9)); }

}  // namespace

OverlayCompositor::OverlayCompositor(Screen& screen, Delivery delivery)
    : screen_(screen), platform_(screen.environment().platform()), self_(std::make_shared<OverlayCompositor*>(this)) {
  screen_.setDamageHandler([this] { scheduleFrame(); });
  setDelivery(std::move(delivery));
}

OverlayCompositor::~OverlayCompositor() {
  screen_.setDamageHandler(nullptr);
  if (timer_) timer_->cancel();
}

void OverlayCompositor::setDelivery(Delivery delivery) {
  delivery_ = std::move(delivery);
  // The receiver has seen nothing yet, and no frame of it to wait after.
  shownVisible_ = false;
  lastDelivery_ = -1e9;
  if (!delivery_) return;
  if (screen_.hasVisibleWindows()) {
    screen_.setNeedsDisplayInRect(screen_.bounds());
    // A fresh image: the receiver has none of the pixels.
    image_ = Image();
  }
  if (screen_.hasDamage()) scheduleFrame();
}

void OverlayCompositor::scheduleFrame() {
  if (scheduled_ || !delivery_) return;
  scheduled_ = true;
  std::uint64_t sequence = ++frameSequence_;
  std::weak_ptr<OverlayCompositor*> weak = self_;
  auto run = [weak, sequence] {
    auto self = weak.lock();
    if (self && (*self)->scheduled_ && (*self)->frameSequence_ == sequence) (*self)->flush();
  };
  double wait = lastDelivery_ + kFrameInterval - platform_.now(Clock::kMonotonic);
  if (wait <= kFrameSlack) {
    // Later in this turn of the main loop, so that the rest of the change
    // (a layout pass, the other properties of an animation) joins it.
    platform_.mainQueue()->async(run);
    return;
  }
  TimerSpec nextFrame;
  nextFrame.startDelay = wait;
  timer_ = platform_.scheduleTimer(platform_.mainQueue(), nextFrame, run);
}

void OverlayCompositor::flush() {
  scheduled_ = false;
  ++frameSequence_;
  if (timer_) {
    timer_->cancel();
    timer_.reset();
  }
  // Without a receiver the damage waits for one.
  if (!delivery_ || !screen_.hasDamage()) return;
  bool visible = screen_.hasVisibleWindows();
  Rect damage = screen_.takeDamage();
  // Nothing was shown and nothing is: the receiver has nothing to learn.
  if (!visible && !shownVisible_) return;

  double scale = screen_.scale();
  Rect bounds = screen_.bounds();
  int width = PixelsFor(bounds.width, scale);
  int height = PixelsFor(bounds.height, scale);
  if (width <= 0 || height <= 0) return;
  bool fresh = image_.width() != width || image_.height() != height || imageScale_ != scale;
  if (fresh) {
    image_ = Image(width, height);
    imageScale_ = scale;
  }

  PixelRect pixels{0, 0, width, height};
  if (!fresh && visible) {
    // Outwards to whole pixels: edges drawn at fractions of a pixel blend
    // into the pixels they touch.
    int left = std::clamp(static_cast<int>(std::floor(damage.x * scale + 1e-9)), 0, width);
    int top = std::clamp(static_cast<int>(std::floor(damage.y * scale + 1e-9)), 0, height);
    int right = std::clamp(PixelsFor(damage.maxX(), scale), 0, width);
    int bottom = std::clamp(PixelsFor(damage.maxY(), scale), 0, height);
    pixels = {left, top, right - left, bottom - top};
  }
  if (pixels.width <= 0 || pixels.height <= 0) return;

  image_.draw([&](cairo_t* cr) {
    drawing().cairo_rectangle(cr, pixels.x, pixels.y, pixels.width, pixels.height);
    drawing().cairo_clip(cr);
    drawing().cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    drawing().cairo_paint(cr);
    drawing().cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    if (!visible) return;
    drawing().cairo_scale(cr, scale, scale);
    for (Window* window : screen_.windows()) {
      if (window->isHidden()) continue;
      const Rect& f = window->frame();
      const Rect& b = window->bounds();
      drawing().cairo_save(cr);
      drawing().cairo_translate(cr, f.x - b.x, f.y - b.y);
      drawView(cr, *window);
      drawing().cairo_restore(cr);
    }
  });

  shownVisible_ = visible;
  lastDelivery_ = platform_.now(Clock::kMonotonic);
  ++framesDelivered_;
  // The receiver may replace itself while it runs.
  Delivery deliver = delivery_;
  deliver(OverlayFrame{&image_, pixels, visible});
}

}  // namespace tessarin::platform::ui

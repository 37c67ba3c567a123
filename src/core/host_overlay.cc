#include "core/host_overlay.h"

#include <cmath>
#include <condition_variable>

#include "platform/ui/overlay_compositor.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"

namespace tessarin {

namespace ui = platform::ui;

namespace {

// The app has one pointer; the kit follows touches by number.
constexpr int kPointerTouch = 1;

double Points(double value) { return std::isfinite(value) && value > 0 ? value : 0; }

}  // namespace

// A press handed to the main queue by a thread that waits for the answer,
// within bounds. A press whose waiter gave up is not delivered when its
// turn comes: the app was told it is its own.
struct HostOverlay::PendingPress {
  std::mutex mutex;
  std::condition_variable answered;
  bool done = false;
  bool abandoned = false;
  bool taken = false;
};

HostOverlay::HostOverlay(platform::Platform& platform)
    : platform_(platform),
      ui_(std::make_unique<ui::UIEnvironment>(platform)),
      screen_(std::make_unique<ui::Screen>(*ui_, ui::Size{0, 0}, 1)),
      compositor_(std::make_unique<ui::OverlayCompositor>(*screen_)) {}

HostOverlay::~HostOverlay() = default;

void HostOverlay::onMain(std::function<void()> task) {
  if (platform_.isMainThread()) {
    task();
    return;
  }
  platform_.mainQueue()->async(std::move(task));
}

void HostOverlay::setScreen(double width, double height, double scale) {
  ui::Size size{Points(width), Points(height)};
  if (!(std::isfinite(scale) && scale > 0)) scale = 1;
  onMain([this, size, scale] { screen_->setSize(size, scale); });
}

void HostOverlay::setCallback(TessarinOverlayCallback callback) {
  ui::OverlayCompositor::Delivery delivery;
  if (callback) {
    delivery = [callback = std::move(callback)](const ui::OverlayFrame& frame) {
      TessarinOverlayFrame out;
      out.pixels = frame.image->data();
      out.width = frame.image->width();
      out.height = frame.image->height();
      out.stride = frame.image->stride();
      out.damageX = frame.damage.x;
      out.damageY = frame.damage.y;
      out.damageWidth = frame.damage.width;
      out.damageHeight = frame.damage.height;
      out.visible = frame.visible;
      callback(out);
    };
  }
  onMain([this, delivery = std::move(delivery)]() mutable { compositor_->setDelivery(std::move(delivery)); });
}

bool HostOverlay::pointer(Pointer phase, double x, double y, double timestamp) {
  if (phase == Pointer::kDown) return press(x, y, timestamp);
  // What follows a press goes where the press went, and needs no answer
  // from the main queue: the SDK holds the sequence or it does not.
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!held_) return false;
    if (phase != Pointer::kMove) held_ = false;
  }
  onMain([this, phase, x, y, timestamp] {
    switch (phase) {
      case Pointer::kMove: screen_->touchMoved(kPointerTouch, {x, y}, timestamp); break;
      case Pointer::kUp: screen_->touchUp(kPointerTouch, {x, y}, timestamp); break;
      case Pointer::kCancel: screen_->touchCancelled(kPointerTouch, timestamp); break;
      case Pointer::kDown: break;
    }
  });
  return true;
}

bool HostOverlay::press(double x, double y, double timestamp) {
  {
    // A press starts a new sequence, whatever became of the last one.
    std::lock_guard<std::mutex> lock(mutex_);
    held_ = false;
  }
  if (platform_.isMainThread()) {
    bool taken = screen_->touchDown(kPointerTouch, {x, y}, timestamp);
    std::lock_guard<std::mutex> lock(mutex_);
    held_ = taken;
    return taken;
  }
  auto pending = std::make_shared<PendingPress>();
  platform_.mainQueue()->async([this, pending, x, y, timestamp] {
    std::lock_guard<std::mutex> waiting(pending->mutex);
    if (pending->abandoned) return;
    pending->taken = screen_->touchDown(kPointerTouch, {x, y}, timestamp);
    pending->done = true;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      held_ = pending->taken;
    }
    pending->answered.notify_all();
  });
  std::unique_lock<std::mutex> waiting(pending->mutex);
  if (!pending->answered.wait_for(waiting, kPressWait, [&] { return pending->done; })) {
    pending->abandoned = true;
    return false;
  }
  return pending->taken;
}

}  // namespace tessarin

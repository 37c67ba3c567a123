// The Linux host's overlay on the simulated platform: the app's pointer
// input goes to the SDK's views or falls through to the app, from the main
// thread or another one, and frames reach the app's callback.
#include "core/host_overlay.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "platform/ui/pass_through_window.h"
#include "platform/ui/screen.h"
#include "platform/ui/touch_dispatcher.h"
#include "platform/ui/view.h"
#include "platform/ui/window.h"

namespace tessarin {
namespace {

namespace ui = platform::ui;
using Pointer = HostOverlay::Pointer;

// Records the touches that reach it.
class TouchLog : public ui::View {
 public:
  using View::View;
  void touchBegan(const ui::Touch&) override { events.push_back('b'); }
  void touchMoved(const ui::Touch&) override { events.push_back('m'); }
  void touchEnded(const ui::Touch&) override { events.push_back('e'); }
  void touchCancelled(const ui::Touch&) override { events.push_back('c'); }
  std::string events;
};


class HostOverlayTest : public testing::Test {
 protected:
  void SetUp() override {
    overlay_ = std::make_unique<HostOverlay>(sim_);
    overlay_->setScreen(100, 80, 2);
    window_ = std::make_shared<ui::PassThroughWindow>(overlay_->screen());
    view_ = std::make_shared<TouchLog>(ui::Rect{10, 10, 40, 20});
    view_->setBackgroundColor(ui::Color::fromRGBA(0x00ff00ff));
    window_->addSubview(view_);
    window_->makeKeyAndVisible();
    sim_.runUntilIdle();
  }
  void TearDown() override {
    // What was queued for the overlay runs before it goes.
    window_->setHidden(true);
    sim_.runUntilIdle();
  }

  // A pointer call made on a thread of the app's own while the main queue
  // runs, or (with `runMain` false) while it is busy elsewhere.
  bool FromAppThread(Pointer phase, double x, double y, bool runMain = true,
                     std::chrono::milliseconds* took = nullptr) {
    std::atomic<bool> answered{false};
    bool taken = false;
    auto start = std::chrono::steady_clock::now();
    std::thread app([&] {
      taken = overlay_->pointer(phase, x, y, 1.0);
      answered = true;
    });
    // The main queue turns until the app has its answer (runUntil would
    // wait for a task after the last one the app's call queued).
    auto deadline = start + std::chrono::seconds(5);
    while (runMain && !answered && std::chrono::steady_clock::now() < deadline) {
      sim_.runUntilIdle();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    app.join();
    if (took) *took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    return taken;
  }

  platform::sim::SimPlatform sim_;
  std::unique_ptr<HostOverlay> overlay_;
  std::shared_ptr<ui::PassThroughWindow> window_;
  std::shared_ptr<TouchLog> view_;
};

TEST_F(HostOverlayTest, APressOnAnSdkViewStaysTheSdksUntilReleasedAndOneElsewhereFallsThrough) {
  // On the main thread every call answers at once.
  EXPECT_TRUE(overlay_->pointer(Pointer::kDown, 20, 20, 1.0));
  // Off the view, but the sequence is the SDK's.
  EXPECT_TRUE(overlay_->pointer(Pointer::kMove, 90, 70, 1.1));
  EXPECT_TRUE(overlay_->pointer(Pointer::kUp, 90, 70, 1.2));
  EXPECT_EQ(view_->events, "bme");
  // Nothing is pressed now.
  EXPECT_FALSE(overlay_->pointer(Pointer::kMove, 20, 20, 1.3));
  EXPECT_FALSE(overlay_->pointer(Pointer::kUp, 20, 20, 1.3));

  // A press beside the view is the app's, moving onto the view or not.
  EXPECT_FALSE(overlay_->pointer(Pointer::kDown, 80, 60, 2.0));
  EXPECT_FALSE(overlay_->pointer(Pointer::kMove, 20, 20, 2.1));
  EXPECT_FALSE(overlay_->pointer(Pointer::kUp, 20, 20, 2.2));
  EXPECT_EQ(view_->events, "bme");

  EXPECT_TRUE(overlay_->pointer(Pointer::kDown, 49, 29, 3.0));
  EXPECT_TRUE(overlay_->pointer(Pointer::kCancel, 49, 29, 3.1));
  EXPECT_FALSE(overlay_->pointer(Pointer::kCancel, 49, 29, 3.2));
  EXPECT_EQ(view_->events, "bmebc");

  // With nothing of the SDK's shown, or no screen, every press is the app's.
  window_->setHidden(true);
  EXPECT_FALSE(overlay_->pointer(Pointer::kDown, 20, 20, 4.0));
  window_->setHidden(false);
  overlay_->setScreen(0, 0, 1);
  EXPECT_FALSE(overlay_->pointer(Pointer::kDown, 20, 20, 5.0));
  EXPECT_EQ(view_->events, "bmebc");
}

TEST_F(HostOverlayTest, APressFromAnotherThreadWaitsForTheMainQueueWithinBounds) {
  EXPECT_TRUE(FromAppThread(Pointer::kDown, 20, 20));
  EXPECT_EQ(view_->events, "b");
  // What follows answers without the main queue and arrives there in order.
  EXPECT_TRUE(FromAppThread(Pointer::kMove, 25, 20, false));
  EXPECT_TRUE(FromAppThread(Pointer::kUp, 25, 20, false));
  sim_.runUntilIdle();
  EXPECT_EQ(view_->events, "bme");

  // The main queue is busy: the app gets its answer after the bound, and
  // the SDK never acts on the press it was not given.
  std::chrono::milliseconds took{};
  EXPECT_FALSE(FromAppThread(Pointer::kDown, 20, 20, false, &took));
  EXPECT_GE(took, HostOverlay::kPressWait);
  EXPECT_LT(took, std::chrono::seconds(2));
  sim_.runUntilIdle();
  EXPECT_FALSE(FromAppThread(Pointer::kUp, 20, 20, false));
  sim_.runUntilIdle();
  EXPECT_EQ(view_->events, "bme");
  EXPECT_FALSE(overlay_->screen().touchDispatcher().inSequence());
}

TEST_F(HostOverlayTest, FramesReachTheAppsCallbackWithTheirSizeDamageAndPixels) {
  std::vector<TessarinOverlayFrame> frames;
  std::uint32_t green = 0;
  overlay_->setCallback([&](const TessarinOverlayFrame& frame) {
    frames.push_back(frame);
    // Read while the pixels are valid: (20, 20) points is (40, 40) pixels.
    std::memcpy(&green, frame.pixels + 40 * frame.stride + 40 * 4, 4);
  });
  sim_.runUntilIdle();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_TRUE(frames[0].visible);
  EXPECT_EQ(frames[0].width, 200);
  EXPECT_EQ(frames[0].height, 160);
  EXPECT_GE(frames[0].stride, 800);
  EXPECT_EQ(frames[0].damageX, 0);
  EXPECT_EQ(frames[0].damageY, 0);
  EXPECT_EQ(frames[0].damageWidth, 200);
  EXPECT_EQ(frames[0].damageHeight, 160);
  EXPECT_EQ(green, 0xff00ff00u);

  overlay_->setCallback(nullptr);
  view_->setAlpha(0.5);
  sim_.advance(1);
  EXPECT_EQ(frames.size(), 1u);
}

}  // namespace
}  // namespace tessarin

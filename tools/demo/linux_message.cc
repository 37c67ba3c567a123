#include "demo/linux_message.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <optional>
#include <thread>

#include "core/tessarin_impl.h"
#include "platform/alert.h"
#include "demo/console.h"
#include "demo/message_demo.h"
#include "platform/ui/screen.h"
#include "ui/message_view_controller.h"
#include "ui/ui_manager.h"

namespace tessarin::demo {
namespace {

namespace ui = platform::ui;
using Clock = std::chrono::steady_clock;

// How long the message may take to fade out (or fly off) after the
// gesture, and the SDK's main queue to answer a question.
constexpr auto kGoneWithin = std::chrono::seconds(2);
constexpr auto kAnswerWithin = std::chrono::milliseconds(500);
// How often the app looks again while it waits.
constexpr auto kPoll = std::chrono::milliseconds(10);

// What the app learns of the message from the SDK's main queue.
struct MessageState {
  const void* message = nullptr;  // identity only: null when none is shown
  bool appeared = false;          // faded in, and the frame showing it delivered
  render::MessageFrames frames;
  // The SDK's own alert (the test link's confirmation) is up: it takes
  // every touch until it goes.
  bool alertUp = false;
};

MessageState ReadMessageState() {
  MessageState state;
  auto sdk = TessarinImpl::shared();
  state.alertUp = sdk->alertView() && sdk->alertView()->visible();
  auto manager = std::dynamic_pointer_cast<TSRUIManager>(sdk->uiManager());
  auto message = manager ? manager->newestMessage() : nullptr;
  if (!message) return state;
  state.message = message.get();
  ui::Screen* screen = sdk->environment().screen();
  // Damage left on the screen is a frame the app has not received yet.
  state.appeared = message->trackedImpression() && screen && !screen->hasDamage();
  if (state.appeared) state.frames = render::FramesOf(*message);
  return state;
}

// Asks the SDK's main queue; nothing when it did not answer in time.
std::optional<MessageState> AskSdk() {
  struct Answer {
    std::mutex mutex;
    std::condition_variable ready;
    std::optional<MessageState> state;
  };
  auto answer = std::make_shared<Answer>();
  TessarinImpl::shared()->environment().platform().mainQueue()->async([answer] {
    MessageState state = ReadMessageState();
    std::lock_guard<std::mutex> lock(answer->mutex);
    answer->state = state;
    answer->ready.notify_all();
  });
  std::unique_lock<std::mutex> lock(answer->mutex);
  answer->ready.wait_for(lock, kAnswerWithin, [&answer] { return answer->state.has_value(); });
  return answer->state;
}

// Asks until `done` holds for the answer or `deadline` passes; the last
// answer.
MessageState AskUntil(const std::function<bool(const MessageState&)>& done, Clock::time_point deadline) {
  MessageState last;
  for (;;) {
    if (auto state = AskSdk()) {
      last = *state;
      if (done(last)) return last;
    }
    if (Clock::now() >= deadline) return last;
    std::this_thread::sleep_for(kPoll);
  }
}

double Seconds(Clock::time_point time) { return std::chrono::duration<double>(time.time_since_epoch()).count(); }

// The user's finger, as the app's pointer events: each at its time in the
// script from now, stamped with the real time it happens.
bool Replay(const ui::TouchScript& gesture) {
  auto start = Clock::now();
  bool taken = false;
  for (const ui::TouchScript::Event& event : gesture.events()) {
    std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(
                                              std::chrono::duration<double>(event.time)));
    const double x = event.location.x, y = event.location.y, at = Seconds(Clock::now());
    switch (event.phase) {
      case ui::TouchPhase::kBegan: taken = TessarinHost::pointerDown(x, y, at); break;
      case ui::TouchPhase::kMoved: TessarinHost::pointerMove(x, y, at); break;
      case ui::TouchPhase::kEnded: TessarinHost::pointerUp(x, y, at); break;
      case ui::TouchPhase::kCancelled: TessarinHost::pointerCancel(x, y, at); break;
    }
  }
  return taken;
}

}  // namespace

TessarinOverlayCallback OverlayCopy::CallbackFor(const std::shared_ptr<OverlayCopy>& copy) {
  return [copy](const TessarinOverlayFrame& frame) { copy->take(frame); };
}

void OverlayCopy::take(const TessarinOverlayFrame& frame) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (frame.width != width_ || frame.height != height_ || frame.stride != stride_) {
    width_ = frame.width;
    height_ = frame.height;
    stride_ = frame.stride;
    pixels_.assign(static_cast<std::size_t>(stride_) * height_, 0);
  }
  // Only the damaged rows and columns changed.
  const std::size_t offset = static_cast<std::size_t>(frame.damageX) * 4;
  const std::size_t bytes = static_cast<std::size_t>(frame.damageWidth) * 4;
  for (int y = frame.damageY; y < frame.damageY + frame.damageHeight; ++y) {
    const std::size_t row = static_cast<std::size_t>(y) * stride_ + offset;
    std::memcpy(pixels_.data() + row, frame.pixels + row, bytes);
  }
}

ui::Image OverlayCopy::compositedOver(std::uint32_t rgb) const {
  std::lock_guard<std::mutex> lock(mutex_);
  ui::Image image(width_, height_);
  for (int y = 0; y < height_; ++y) {
    const auto* from = reinterpret_cast<const std::uint32_t*>(pixels_.data() + static_cast<std::size_t>(y) * stride_);
    auto* to = reinterpret_cast<std::uint32_t*>(image.data() + static_cast<std::size_t>(y) * image.stride());
    for (int x = 0; x < width_; ++x) {
      // Premultiplied "over": the overlay's colour plus what its coverage
      // leaves of the background.
      const std::uint32_t over = from[x], left = 255 - (over >> 24);
      std::uint32_t out = 0xff000000;
      for (int shift = 0; shift < 24; shift += 8) {
        const std::uint32_t channel = ((over >> shift) & 0xff) + ((rgb >> shift) & 0xff) * left / 255;
        out |= std::min<std::uint32_t>(channel, 255) << shift;
      }
      to[x] = out;
    }
  }
  return image;
}

bool ActOnLinuxMessage(const Options& options, const OverlayCopy& overlay, std::uint32_t appBackground) {
  auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                     std::chrono::duration<double>(options.timeout));
  // The user reads the test link's confirmation first; it goes by itself.
  MessageState shown = AskUntil([](const MessageState& state) { return state.appeared && !state.alertUp; }, deadline);
  if (!shown.appeared) {
    Say(Line() << "demo: no in-app message appeared within " << options.timeout << " s");
    return !options.needsMessage();
  }
  Say(DescribeMessage(shown.frames));
  bool ok = options.screenshot.empty() || WriteScreenshot(options.screenshot, overlay.compositedOver(appBackground));

  std::string said, error;
  auto gesture = MessageGesture(options, shown.frames, &said, &error);
  if (!gesture) {
    if (!error.empty()) Say("demo: " + error);
    return ok && error.empty();
  }
  bool taken = Replay(*gesture);
  Say("demo: the user " + said + (taken ? "" : " (the SDK did not take the press)"));
  MessageState after = AskUntil([&shown](const MessageState& state) { return state.message != shown.message; },
                                Clock::now() + kGoneWithin);
  Say(after.message == shown.message ? "demo: the message is still shown" : "demo: the message is gone");
  return ok && taken;
}

}  // namespace tessarin::demo

// The in-app message on the Linux host: the app keeps a copy of the SDK's
// overlay from the frames it receives, composites it over its own plain
// window for a screenshot, and forwards the user's pointer to the SDK
// through TessarinHost, in real time with real timestamps, as an app with
// a toolkit of its own does.
//
// Where the message and its buttons are is asked of the SDK on its main
// queue, where its objects live; everything else goes through the public
// host interface.
#ifndef TESSARIN_TOOLS_DEMO_LINUX_MESSAGE_H_
#define TESSARIN_TOOLS_DEMO_LINUX_MESSAGE_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "demo/options.h"
#include "platform/ui/image.h"
#include "tessarin/host.h"

namespace tessarin::demo {

// The app's copy of the SDK's overlay. The SDK delivers frames on its main
// queue; the app's thread reads the copy.
class OverlayCopy {
 public:
  // The callback that keeps this copy up to date.
  static TessarinOverlayCallback CallbackFor(const std::shared_ptr<OverlayCopy>& copy);

  // The overlay composited over an opaque background of 0xRRGGBB: what the
  // app's window shows. Empty before the first frame.
  platform::ui::Image compositedOver(std::uint32_t rgb) const;

 private:
  void take(const TessarinOverlayFrame& frame);

  mutable std::mutex mutex_;
  std::vector<std::uint8_t> pixels_;
  int width_ = 0;
  int height_ = 0;
  int stride_ = 0;
};

// Waits for the in-app message to appear (its fade-in over and the frame
// that shows it delivered), then writes the screenshot and makes the
// gesture the options ask for; prints what happened. False when something
// asked for could not be done.
bool ActOnLinuxMessage(const Options& options, const OverlayCopy& overlay, std::uint32_t appBackground);

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_LINUX_MESSAGE_H_

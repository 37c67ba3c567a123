// The in-app message part of the demo, shared by both hosts: the message
// the local service answers, the gesture each --press-button, --tap-panel
// or --swipe makes on it, the screenshot file, and the statistics of
// campaigns that reached the service.
#ifndef TESSARIN_TOOLS_DEMO_MESSAGE_DEMO_H_
#define TESSARIN_TOOLS_DEMO_MESSAGE_DEMO_H_

#include <cstdint>
#include <optional>
#include <string>

#include "demo/options.h"
#include "platform/ui/image.h"
#include "platform/ui/touch_script.h"
#include "render/message_render.h"
#include "service/local_service.h"
#include "tessarin/json.h"

namespace tessarin::demo {

// The colour of the app's plain windows under the message, 0xRRGGBB.
inline constexpr std::uint32_t kDemoAppBackground = 0xF4F1EA;

// The campaign the local service answers the message in.
inline constexpr const char* kDemoMessageCampaign = "demo-message";

// The shop's message: at the bottom, a title, a body and two buttons, "Shop
// now" (a link: a click-through and a dismissal) and "Not now" (a
// dismissal); a fling in any direction dismisses it too.
Json DemoInAppMessage();

// A fling: this far, this fast (fast enough for the message's swipe).
inline constexpr double kSwipeDistance = 300;
inline constexpr double kSwipeSpeed = 1500;

// The gesture the options' action makes on a message with these frames,
// starting now; `said` tells what it does ("pressed button 0 at (x, y)").
// Nothing, with `error`, for a button the message does not have.
std::optional<platform::ui::TouchScript> MessageGesture(const Options& options,
                                                        const render::MessageFrames& frames, std::string* said,
                                                        std::string* error);

// "demo: in-app message shown, {"panel":[...],"buttons":[...]}".
std::string DescribeMessage(const render::MessageFrames& frames);

// Writes `image` to `path` as a PNG and says so; false (said) when it cannot.
bool WriteScreenshot(const std::string& path, const platform::ui::Image& image);

// One "stat:" line per statistic of a campaign that reached the service,
// in order: "stat: click-through of message M (experience E)", or "of
// experience E" for a statistic about a whole experience (an opened
// notification's).
void PrintCampaignStats(const service::LocalService& service);

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_MESSAGE_DEMO_H_

// Renders an in-app message from its data alone, as the SDK shows it when
// the service answers it: a simulated phone screen with a plain app window,
// the message campaign handed to the SDK's message manager, virtual time run
// past the message's fade-in, and the screen snapshotted. A marketer sees a
// campaign's message before it goes out; the demo and the tests find the
// panel and its buttons on a screen with FramesOf.
//
// Main thread of the caller; each rendering makes a simulated host of its
// own, and captures the SDK's warnings through the process's log sink while
// it runs (so two renderings must not overlap).
#ifndef TESSARIN_TOOLS_RENDER_MESSAGE_RENDER_H_
#define TESSARIN_TOOLS_RENDER_MESSAGE_RENDER_H_

#include <string>
#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/geometry.h"
#include "platform/ui/image.h"
#include "tessarin/json.h"
#include "tessarin/log.h"

namespace tessarin {

class TSRUIMessageViewController;

namespace render {

// Where a message's panel and its buttons (in order "0", "1", ...) are on
// the screen, in points.
struct MessageFrames {
  platform::ui::Rect panel;
  std::vector<platform::ui::Rect> buttons;

  // {"panel":[x,y,w,h],"buttons":[[x,y,w,h],...]}
  Json toJson() const;
};

// The frames of a message whose view is in a window on a screen.
MessageFrames FramesOf(const TSRUIMessageViewController& message);

// A point of the panel that no button covers (in its top padding), where a
// tap or a drag reaches the panel itself.
platform::ui::Point PanelGrip(const MessageFrames& frames);

struct RenderOptions {
  platform::ui::Size size{375, 667};  // the screen, in points
  double scale = 2;                   // pixels per point
  platform::ui::Color background = platform::ui::Color::white();  // the app's window
};

struct Rendering {
  // False when the SDK does not show the data (its warnings say why).
  bool shown = false;
  // The whole screen at the options' scale, the message fully faded in.
  platform::ui::Image screen;
  MessageFrames frames;
  // The SDK's warnings and errors while it read and showed the data.
  std::vector<LogRecord> problems;
};

// Shows `data`, the message object as a campaign carries it (title, body,
// buttonMap, position, colours ...), given an "id", "type" and
// "targetName" where it has none.
Rendering RenderMessage(const Json& data, const RenderOptions& options);

}  // namespace render
}  // namespace tessarin

#endif  // TESSARIN_TOOLS_RENDER_MESSAGE_RENDER_H_

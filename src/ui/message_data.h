// Typed reads of in-app message data. The data comes from the service and
// ultimately from whoever wrote the campaign, so every read expects the
// worst: a value of the wrong type counts as absent, and a number that no
// layout could use (beyond kMaxMagnitude) counts as absent too, with a
// Warn, so that the message keeps its default instead of a panel a
// billion points wide.
//
// Thread contract: pure, any thread.
#ifndef TESSARIN_UI_MESSAGE_DATA_H_
#define TESSARIN_UI_MESSAGE_DATA_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/ui/color.h"
#include "tessarin/json.h"

namespace tessarin::message_data {

// Larger than any screen in points or any sensible duration in seconds.
inline constexpr double kMaxMagnitude = 100000;

// A number (booleans count as 0 and 1).
std::optional<double> Number(const Json& json, std::string_view key);
// A number read as a flag: anything but zero is true.
std::optional<bool> Flag(const Json& json, std::string_view key);
std::optional<std::string> String(const Json& json, std::string_view key);
// A dictionary; null when absent or of another type.
const Json* Dictionary(const Json& json, std::string_view key);
// A colour string that parses; an unparsable one is logged and absent.
std::optional<platform::ui::Color> Color(const Json& json, std::string_view key);

}  // namespace tessarin::message_data

#endif  // TESSARIN_UI_MESSAGE_DATA_H_

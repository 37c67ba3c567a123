#include "ui/utility_color.h"

#include <cctype>
#include <cstdint>

#include "base/log.h"

namespace tessarin {

namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads a hexadecimal number as a scanner does: leading white space, an
// optional "0x", then digits; a value too large for 32 bits is all ones.
std::optional<std::uint32_t> ScanHexInt(const std::string& text, std::size_t from) {
  std::size_t i = from;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  if (i + 1 < text.size() && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X') && i + 2 < text.size() &&
      HexDigit(text[i + 2]) >= 0) {
    i += 2;
  }
  if (i >= text.size() || HexDigit(text[i]) < 0) return std::nullopt;
  std::uint64_t value = 0;
  bool overflow = false;
  for (; i < text.size() && HexDigit(text[i]) >= 0; ++i) {
    value = (value << 4) | static_cast<std::uint64_t>(HexDigit(text[i]));
    if (value > 0xffffffffull) overflow = true, value &= 0xffffffffull;
  }
  return overflow ? 0xffffffffu : static_cast<std::uint32_t>(value);
}

}  // namespace

std::optional<platform::ui::Color> TSRUtilityColor::colorFromHexString(const std::optional<std::string>& string) {
  std::string hex = string.value_or("");
  // Counted in characters as the message data's text is, not in bytes.
  std::size_t length = 0;
  for (unsigned char c : hex) length += (c & 0xc0) != 0x80;
  if (length != 7 && length != 9 && (hex.empty() || hex[0] != '#')) {
    TSR_LOG_WARN("Color: Not supported: %@", string);
    return std::nullopt;
  }
  if (length == 7) hex += "FF";
  // The first character is never read, whatever it is.
  std::size_t second = hex.empty() ? 0 : 1;
  while (second < hex.size() && (static_cast<unsigned char>(hex[second]) & 0xc0) == 0x80) ++second;
  auto number = ScanHexInt(hex, second);
  if (!number) {
    TSR_LOG_WARN("Color: Not supported: %@", hex);
    return std::nullopt;
  }
  return platform::ui::Color::fromRGBA(*number);
}

}  // namespace tessarin

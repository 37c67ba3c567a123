// The colour strings of in-app message data ("backgroundColor",
// "textColor", "borderColor", ...), read by TSRUtilityColor. A string in
// the documented forms, "#RRGGBB" and "#RRGGBBAA", must read as its value;
// anything else may be refused or read loosely, but must give a colour
// whose components are fractions.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "ui/utility_color.h"

namespace tessarin::fuzz {
namespace {

constexpr std::size_t kMaxInput = 4096;

void Expect(bool holds, const char* what) {
  if (!holds) Fail("color", what);
}

// The value of "#RRGGBB" (opaque) or "#RRGGBBAA", or nothing.
std::optional<std::uint32_t> DocumentedForm(std::string_view text) {
  if ((text.size() != 7 && text.size() != 9) || text[0] != '#') return std::nullopt;
  std::uint32_t value = 0;
  for (char c : text.substr(1)) {
    int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    if (digit < 0) return std::nullopt;
    value = value << 4 | static_cast<std::uint32_t>(digit);
  }
  return text.size() == 7 ? value << 8 | 0xff : value;
}

bool Fraction(double component) { return component >= 0 && component <= 1; }

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(color) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxInput) return;
  std::optional<platform::ui::Color> color = TSRUtilityColor::colorFromHexString(std::string(input));
  if (std::optional<std::uint32_t> value = DocumentedForm(input)) {
    Expect(color && *color == platform::ui::Color::fromRGBA(*value), "a colour in the documented form misread");
  }
  if (color) {
    Expect(Fraction(color->red) && Fraction(color->green) && Fraction(color->blue) && Fraction(color->alpha),
           "a colour component outside 0...1");
  }
}

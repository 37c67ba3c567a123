// A colour as the kit stores it: straight (not premultiplied) red, green,
// blue and alpha, each 0..1, in the sRGB space the screen shows.
#ifndef TESSARIN_PLATFORM_UI_COLOR_H_
#define TESSARIN_PLATFORM_UI_COLOR_H_

#include <cstdint>

namespace tessarin::platform::ui {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 0;

  static constexpr Color clear() { return {0, 0, 0, 0}; }
  static constexpr Color black() { return {0, 0, 0, 1}; }
  static constexpr Color white() { return {1, 1, 1, 1}; }
  // 0xRRGGBBAA, the form colours are written in elsewhere in the SDK.
  static constexpr Color fromRGBA(std::uint32_t rgba) {
    return {((rgba >> 24) & 0xff) / 255.0, ((rgba >> 16) & 0xff) / 255.0, ((rgba >> 8) & 0xff) / 255.0,
            (rgba & 0xff) / 255.0};
  }
  bool isClear() const { return alpha <= 0; }
  friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_COLOR_H_

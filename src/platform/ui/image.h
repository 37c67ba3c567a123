// Pixels the kit drew: premultiplied ARGB, 32 bits a pixel in native byte
// order (Cairo's ARGB32, what a Linux host composites), rows `stride` bytes
// apart. Encodes to and decodes from PNG in memory.
#ifndef TESSARIN_PLATFORM_UI_IMAGE_H_
#define TESSARIN_PLATFORM_UI_IMAGE_H_

#include <cairo.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tessarin::platform::ui {

class Image {
 public:
  Image() = default;
  // Transparent black.
  Image(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  int stride() const { return stride_; }
  bool empty() const { return width_ == 0 || height_ == 0; }
  const std::uint8_t* data() const { return pixels_.data(); }
  std::uint8_t* data() { return pixels_.data(); }
  // 0xAARRGGBB, premultiplied.
  std::uint32_t pixel(int x, int y) const;

  // Runs `paint` with a Cairo context on this image's pixels, which hold
  // the drawing when it returns. False, without running it, when the image
  // is empty or nothing can be drawn (the drawing libraries are missing).
  bool draw(const std::function<void(cairo_t*)>& paint);

  // PNG with straight alpha (RGB when the image is opaque), compressed for
  // speed rather than size.
  std::string encodePNG() const;
  static std::optional<Image> decodePNG(const std::string& png);

 private:
  int width_ = 0;
  int height_ = 0;
  int stride_ = 0;
  std::vector<std::uint8_t> pixels_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_IMAGE_H_

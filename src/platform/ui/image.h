// Pixels the kit drew: premultiplied ARGB, 32 bits a pixel in native byte
// order (Cairo's ARGB32, what a Linux host composites), rows `stride` bytes
// apart. Encodes to and decodes from PNG in memory.
#ifndef TESSARIN_PLATFORM_UI_IMAGE_H_
#define TESSARIN_PLATFORM_UI_IMAGE_H_

#include <cairo.h>

#include <cstdint>
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

  // A Cairo surface drawing into this image's pixels; the image must
  // outlive it. Destroy it with cairo_surface_destroy.
  cairo_surface_t* createSurface();

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

#include "platform/ui/image.h"

#include <cstring>

#include "platform/ui/drawing_library.h"
#include "platform/ui/png_encoder.h"

namespace tessarin::platform::ui {

namespace {

struct Reader {
  const std::string* png;
  std::size_t offset;
};

cairo_status_t readFromString(void* closure, unsigned char* data, unsigned int length) {
  auto* reader = static_cast<Reader*>(closure);
  if (reader->png->size() - reader->offset < length) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, reader->png->data() + reader->offset, length);
  reader->offset += length;
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

Image::Image(int width, int height)
    : width_(width > 0 ? width : 0),
      height_(height > 0 ? height : 0),
      // Cairo's stride for 32-bit pixels: rows are whole words already.
      stride_(width_ * 4),
      pixels_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_), 0) {}

std::uint32_t Image::pixel(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return 0;
  std::uint32_t value;
  std::memcpy(&value, pixels_.data() + static_cast<std::size_t>(y) * stride_ + static_cast<std::size_t>(x) * 4, 4);
  return value;
}

bool Image::draw(const std::function<void(cairo_t*)>& paint) {
  if (empty() || !drawingAvailable()) return false;
  cairo_surface_t* surface =
      drawing().cairo_image_surface_create_for_data(pixels_.data(), CAIRO_FORMAT_ARGB32, width_, height_, stride_);
  cairo_t* cr = drawing().cairo_create(surface);
  paint(cr);
  drawing().cairo_destroy(cr);
  drawing().cairo_surface_flush(surface);
  drawing().cairo_surface_destroy(surface);
  return true;
}

std::string Image::encodePNG() const {
  if (empty()) return {};
  return EncodePNG(pixels_.data(), width_, height_, stride_);
}

std::optional<Image> Image::decodePNG(const std::string& png) {
  if (!drawingAvailable()) return std::nullopt;
  Reader reader{&png, 0};
  cairo_surface_t* surface = drawing().cairo_image_surface_create_from_png_stream(readFromString, &reader);
  if (drawing().cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
    drawing().cairo_surface_destroy(surface);
    return std::nullopt;
  }
  Image image(drawing().cairo_image_surface_get_width(surface), drawing().cairo_image_surface_get_height(surface));
  image.draw([&](cairo_t* cr) {
    drawing().cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    drawing().cairo_set_source_surface(cr, surface, 0, 0);
    drawing().cairo_paint(cr);
  });
  drawing().cairo_surface_destroy(surface);
  return image;
}

}  // namespace tessarin::platform::ui

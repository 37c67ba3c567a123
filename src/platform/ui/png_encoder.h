// PNG encoding tuned for pictures of user interfaces, which are sent while
// someone waits (a designer's screen upload) and written by tools: large
// flat areas and sharp edges, where a fast deflate over rows filtered
// against the row above does nearly as well as a thorough one, in a
// fraction of the time.
#ifndef TESSARIN_PLATFORM_UI_PNG_ENCODER_H_
#define TESSARIN_PLATFORM_UI_PNG_ENCODER_H_

#include <cstdint>
#include <string>

namespace tessarin::platform::ui {

// `pixels` are premultiplied ARGB, 32 bits a pixel in native byte order,
// `stride` bytes a row. Written as 8-bit RGB when every pixel is opaque,
// else as 8-bit RGBA with straight alpha. Empty when zlib fails.
std::string EncodePNG(const std::uint8_t* pixels, int width, int height, int stride);

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_PNG_ENCODER_H_

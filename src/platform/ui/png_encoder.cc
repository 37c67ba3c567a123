#include "platform/ui/png_encoder.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace tessarin::platform::ui {
namespace {

constexpr std::uint8_t kFilterNone = 0;
constexpr std::uint8_t kFilterUp = 2;
constexpr std::uint8_t kColourRGB = 2;
constexpr std::uint8_t kColourRGBA = 6;

void PutBigEndian(std::string& out, std::uint32_t value) {
  const char bytes[4] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                         static_cast<char>(value)};
  out.append(bytes, 4);
}

void PutChunk(std::string& out, const char type[4], const std::string& data) {
  PutBigEndian(out, static_cast<std::uint32_t>(data.size()));
  const std::size_t start = out.size();
  out.append(type, 4);
  out += data;
  uLong crc = crc32(0L, Z_NULL, 0);
  crc = crc32(crc, reinterpret_cast<const Bytef*>(out.data() + start), static_cast<uInt>(out.size() - start));
  PutBigEndian(out, static_cast<std::uint32_t>(crc));
}

bool Opaque(const std::uint8_t* pixels, int width, int height, int stride) {
  for (int y = 0; y < height; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(pixels + static_cast<std::size_t>(y) * stride);
    for (int x = 0; x < width; ++x) {
      if ((row[x] >> 24) != 0xFF) return false;
    }
  }
  return true;
}

// One row as the file stores it: straight colour, alpha when kept.
void UnpackRow(const std::uint32_t* row, int width, bool alpha, std::uint8_t* out) {
  for (int x = 0; x < width; ++x) {
    const std::uint32_t p = row[x];
    const unsigned a = p >> 24;
    unsigned r = (p >> 16) & 0xFF, g = (p >> 8) & 0xFF, b = p & 0xFF;
    if (a != 0xFF && a != 0) {
      r = (r * 255 + a / 2) / a;
      g = (g * 255 + a / 2) / a;
      b = (b * 255 + a / 2) / a;
    }
    *out++ = static_cast<std::uint8_t>(r);
    *out++ = static_cast<std::uint8_t>(g);
    *out++ = static_cast<std::uint8_t>(b);
    if (alpha) *out++ = static_cast<std::uint8_t>(a);
  }
}

}  // namespace

std::string EncodePNG(const std::uint8_t* pixels, int width, int height, int stride) {
  if (width <= 0 || height <= 0) return {};
  const bool alpha = !Opaque(pixels, width, height, stride);
  const std::size_t channels = alpha ? 4 : 3;
  const std::size_t row_bytes = static_cast<std::size_t>(width) * channels;

  z_stream zs{};
  // The fastest level, and runs only: rows filtered against the row above
  // turn flat areas into zeros, which is what runs compress best.
  if (deflateInit2(&zs, Z_BEST_SPEED, Z_DEFLATED, 15, 8, Z_RLE) != Z_OK) return {};
  // The output grows as it is written: a picture of a user interface
  // compresses to a few percent of its pixels, so reserving the worst case
  // would mostly be touching memory for nothing.
  std::string idat;
  std::vector<std::uint8_t> previous(row_bytes), current(row_bytes), filtered(row_bytes + 1);
  auto deflateRow = [&](int flush) {
    zs.next_in = filtered.data();
    zs.avail_in = static_cast<uInt>(filtered.size());
    do {
      if (idat.size() - zs.total_out < 16384) idat.resize(std::max<std::size_t>(65536, idat.size() * 2));
      zs.next_out = reinterpret_cast<Bytef*>(idat.data() + zs.total_out);
      zs.avail_out = static_cast<uInt>(idat.size() - zs.total_out);
      if (deflate(&zs, flush) == Z_STREAM_ERROR) return false;
    } while (zs.avail_out == 0 || (flush == Z_FINISH && zs.avail_in > 0));
    return zs.avail_in == 0;
  };
  bool ok = true;
  for (int y = 0; y < height && ok; ++y) {
    UnpackRow(reinterpret_cast<const std::uint32_t*>(pixels + static_cast<std::size_t>(y) * stride), width, alpha,
              current.data());
    if (y == 0) {
      filtered[0] = kFilterNone;
      std::memcpy(filtered.data() + 1, current.data(), row_bytes);
    } else {
      filtered[0] = kFilterUp;
      for (std::size_t i = 0; i < row_bytes; ++i) filtered[i + 1] = static_cast<std::uint8_t>(current[i] - previous[i]);
    }
    ok = deflateRow(y + 1 == height ? Z_FINISH : Z_NO_FLUSH);
    current.swap(previous);
  }
  idat.resize(zs.total_out);
  deflateEnd(&zs);
  if (!ok) return {};

  std::string header;
  PutBigEndian(header, static_cast<std::uint32_t>(width));
  PutBigEndian(header, static_cast<std::uint32_t>(height));
  header += static_cast<char>(8);                                   // bits a channel
  header += static_cast<char>(alpha ? kColourRGBA : kColourRGB);
  header.append(3, '\0');                                           // deflate, adaptive filters, no interlace

  std::string png("\x89PNG\r\n\x1a\n", 8);
  PutChunk(png, "IHDR", header);
  PutChunk(png, "IDAT", idat);
  PutChunk(png, "IEND", std::string());
  return png;
}

}  // namespace tessarin::platform::ui

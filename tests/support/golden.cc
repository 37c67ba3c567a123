#include "support/golden.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace tessarin::testing {

namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

int Channel(std::uint32_t pixel, int shift) { return static_cast<int>((pixel >> shift) & 0xff); }

int MaxChannelDifference(std::uint32_t a, std::uint32_t b) {
  int diff = 0;
  for (int shift : {0, 8, 16, 24}) diff = std::max(diff, std::abs(Channel(a, shift) - Channel(b, shift)));
  return diff;
}

}  // namespace

std::string GoldenPath(const std::string& source_file, const std::string& name) {
  if (const char* dir = std::getenv("TESSARIN_UI_GOLDEN_DIR")) return std::string(dir) + "/" + name + ".png";
  // __FILE__ may be relative to the directory the test was compiled in,
  // which is the test executable's.
  std::string dir = source_file.substr(0, source_file.find_last_of('/'));
  if (dir.empty() || dir[0] != '/') {
    char exe[4096];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    std::string base = n > 0 ? std::string(exe, static_cast<std::size_t>(n)) : ".";
    dir = base.substr(0, base.find_last_of('/')) + "/" + dir;
  }
  return dir + "/golden/" + name + ".png";
}

void ExpectMatchesGolden(const platform::ui::Image& image, const std::string& path) {
  if (std::getenv("TESSARIN_UPDATE_GOLDENS")) {
    std::ofstream(path, std::ios::binary) << image.encodePNG();
    GTEST_SKIP() << "rewrote " << path;
  }
  auto golden = platform::ui::Image::decodePNG(ReadFile(path));
  ASSERT_TRUE(golden.has_value()) << "no golden at " << path << " (TESSARIN_UPDATE_GOLDENS=1 writes it)";
  ASSERT_EQ(golden->width(), image.width());
  ASSERT_EQ(golden->height(), image.height());
  int worst = 0, over = 0, worstX = 0, worstY = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      int diff = MaxChannelDifference(image.pixel(x, y), golden->pixel(x, y));
      if (diff > kGoldenTolerance) ++over;
      if (diff > worst) {
        worst = diff;
        worstX = x;
        worstY = y;
      }
    }
  }
  EXPECT_EQ(over, 0) << path << ": " << over << " pixels differ by more than " << kGoldenTolerance << ", worst "
                     << worst << " at (" << worstX << ", " << worstY << ")";
}

}  // namespace tessarin::testing

// JsonDump writes most values itself; its text must be the JSON library's,
// byte for byte, since the queue's saved file, the journal and the wire all
// carry it.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

#include "tessarin/json.h"

namespace tessarin {
namespace {

std::string LibraryText(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// Text drawn from bytes that each take a different path: plain ASCII, the
// escaped ones, control characters, DEL, valid multi-byte UTF-8 and bytes
// that are not UTF-8 at all (lone continuation bytes, a cut-off sequence).
std::string RandomText(std::mt19937& random) {
  static const char* const kPieces[] = {"a", "Z", "0", " ", "\"", "\\", "/", "\n", "\t", "\x01", "\x1f", "\x7f",
                                        "é", "€", "😀", "\x80", "\xc3", "\xff", "{}", "key"};
  std::string text;
  const int length = static_cast<int>(random() % 8);
  for (int i = 0; i < length; ++i) text += kPieces[random() % std::size(kPieces)];
  return text;
}

Json RandomValue(std::mt19937& random, int depth) {
  switch (random() % (depth > 3 ? 7 : 9)) {
    case 0: return nullptr;
    case 1: return random() % 2 == 0;
    case 2: return static_cast<std::int64_t>(random()) - (1LL << 31);
    case 3: return std::numeric_limits<std::uint64_t>::max() - random() % 3;
    case 4: {
      static const double kDoubles[] = {0.0, -0.0, 1.5, 1e300, 3.0, -2.5e-7, 0.1,
                                        std::numeric_limits<double>::quiet_NaN(),
                                        std::numeric_limits<double>::infinity()};
      return kDoubles[random() % std::size(kDoubles)];
    }
    case 5:
    case 6: return RandomText(random);
    case 7: {
      Json object = Json::object();
      const int members = static_cast<int>(random() % 5);
      for (int i = 0; i < members; ++i) object[RandomText(random)] = RandomValue(random, depth + 1);
      return object;
    }
    default: {
      Json array = Json::array();
      const int elements = static_cast<int>(random() % 5);
      for (int i = 0; i < elements; ++i) array.push_back(RandomValue(random, depth + 1));
      return array;
    }
  }
}

TEST(JsonDumpTest, WritesWhatTheLibraryWritesForEveryKindOfValue) {
  std::mt19937 random(20261125);
  for (int i = 0; i < 5000; ++i) {
    Json value = RandomValue(random, 0);
    ASSERT_EQ(JsonDump(value), LibraryText(value)) << "document " << i;
  }
  // Values no random draw makes: the extremes of both integer kinds, and a
  // binary value.
  Json extremes = {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(),
                   std::numeric_limits<std::uint64_t>::max(), Json::binary({1, 2, 3})};
  EXPECT_EQ(JsonDump(extremes), LibraryText(extremes));
}

}  // namespace
}  // namespace tessarin

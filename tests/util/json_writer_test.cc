#include "util/json_writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>

namespace tessarin {
namespace {

std::string General(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::strict); }

TEST(JsonWriterTest, WritesWhatTheGeneralWriterWrites) {
  Json item = Json::parse(R"({"_id":"sku-42","type":"p","price":89.0,"q":3,"neg":-7,"big":18446744073709551615,
      "f":[0.1,1e21,1.5e-7,-0.0,123456789012345680000.0],"ok":true,"no":false,"none":null,
      "nested":{"a":[],"b":{},"c":[{"d":"e"}]},"escapes":"q\"b\\s/\b\f\n\r\t\u0001\u001f\u007f end"})");
  std::string fast;
  ASSERT_TRUE(AppendCompactAsciiJson(item, &fast));
  EXPECT_EQ(fast, General(item));
  // Key order is the insertion order, as the general writer keeps it.
  Json ordered = Json::object();
  ordered["z"] = 1;
  ordered["a"] = 2;
  EXPECT_EQ(CompactJsonText(ordered), R"({"z":1,"a":2})");
}

TEST(JsonWriterTest, RandomAsciiDocumentsMatchTheGeneralWriter) {
  std::mt19937 random(7);
  auto text = [&] {
    std::string s;
    // Mostly printable, so that long plain runs occur between the bytes
    // that must be escaped.
    for (int n = random() % 40; n > 0; --n) {
      s.push_back(static_cast<char>(random() % 10 == 0 ? random() % 128 : 0x20 + random() % 95));
    }
    return s;
  };
  std::function<Json(int)> make = [&](int depth) -> Json {
    switch (depth > 3 ? random() % 5 : random() % 7) {
      case 0: return text();
      case 1: return static_cast<std::int64_t>(random()) - (1LL << 31);
      case 2: return std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 80) - 40);
      case 3: return random() % 2 == 0;
      case 4: return nullptr;
      case 5: {
        Json array = Json::array();
        for (int n = random() % 4; n > 0; --n) array.push_back(make(depth + 1));
        return array;
      }
      default: {
        Json object = Json::object();
        for (int n = random() % 4; n > 0; --n) object[text()] = make(depth + 1);
        return object;
      }
    }
  };
  for (int i = 0; i < 2000; ++i) {
    Json document = make(0);
    EXPECT_EQ(CompactJsonText(document), General(document)) << i;
  }
}

TEST(JsonWriterTest, NonAsciiTextIsLeftToTheGeneralWriter) {
  std::string out;
  EXPECT_FALSE(AppendCompactAsciiJson(Json{{"name", "Café"}}, &out));
  EXPECT_FALSE(AppendCompactAsciiJson(Json{{"Café", 1}}, &out));
  EXPECT_EQ(CompactJsonText(Json{{"name", "Café"}}), R"({"name":"Café"})");
  // Invalid UTF-8 fails exactly as the general writer fails.
  Json invalid = Json{{"name", std::string("\xC3\x28")}};
  EXPECT_THROW(CompactJsonText(invalid), Json::type_error);
}

}  // namespace
}  // namespace tessarin

#include "util/json_writer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace tessarin {
namespace {

std::string General(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::strict); }

TEST(JsonWriterTest, WritesWhatTheGeneralWriterWrites) {
  Json item = Json::parse(R"({"_id":"sku-42","type":"p","price":89.0,"q":3,"neg":-7,"big":18446744073709551615,
      "f":[0.1,1e21,1.5e-7,-0.0,123456789012345680000.0],"ok":true,"no":false,"none":null,
      "nested":{"a":[],"b":{},"c":[{"d":"e"}]},"escapes":"q\"b\\s/\b\f\n\r\t\u0001\u001f\u007f end"})");
  std::string fast;
  ASSERT_TRUE(AppendCompactJson(item, &fast));
  EXPECT_EQ(fast, General(item));
  // Key order is the insertion order, as the general writer keeps it.
  Json ordered = Json::object();
  ordered["z"] = 1;
  ordered["a"] = 2;
  EXPECT_EQ(CompactJsonText(ordered), R"({"z":1,"a":2})");
}

// Compares with the general writer, refusals included.
void ExpectSameAsGeneralWriter(const Json& document, int index) {
  std::string general;
  try {
    general = General(document);
  } catch (const Json::type_error&) {
    EXPECT_THROW(CompactJsonText(document), Json::type_error) << index;
    return;
  }
  EXPECT_EQ(CompactJsonText(document), general) << index;
}

TEST(JsonWriterTest, RandomDocumentsMatchTheGeneralWriter) {
  std::mt19937 random(7);
  // Well-formed sequences of every length, and malformed ones: a stray
  // continuation byte, overlong forms, a surrogate, past U+10FFFF, cut short.
  const std::vector<std::string> beyond_ascii = {
      "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9D\x84\x9E", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\xC2\x80",
      "\x80",     "\xC0\x80",     "\xE0\x80\xAF",     "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"};
  auto text = [&] {
    std::string s;
    // Mostly printable, so that long plain runs occur between the bytes
    // that need attention.
    for (int n = random() % 40; n > 0; --n) {
      switch (random() % 20) {
        case 0: s.push_back(static_cast<char>(random() % 128)); break;
        case 1: s += beyond_ascii[random() % 6]; break;
        default: s.push_back(static_cast<char>(0x20 + random() % 95));
      }
    }
    // Now and then, one malformed sequence.
    if (random() % 25 == 0) s.insert(random() % (s.size() + 1), beyond_ascii[6 + random() % 6]);
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
  for (int i = 0; i < 3000; ++i) ExpectSameAsGeneralWriter(make(0), i);
}

TEST(JsonWriterTest, TextBeyondAsciiIsKeptAndMalformedTextIsLeftToTheGeneralWriter) {
  std::string out;
  EXPECT_TRUE(AppendCompactJson(Json{{"Caf\xC3\xA9", "\xE2\x82\xAC 5 \xF0\x9D\x84\x9E"}}, &out));
  EXPECT_EQ(out, "{\"Caf\xC3\xA9\":\"\xE2\x82\xAC 5 \xF0\x9D\x84\x9E\"}");
  out.clear();
  EXPECT_FALSE(AppendCompactJson(Json{{"name", std::string("\xED\xA0\x80")}}, &out));
  // Malformed text fails exactly as the general writer fails.
  Json invalid = Json{{"name", std::string("\xC3\x28")}};
  EXPECT_THROW(CompactJsonText(invalid), Json::type_error);
}

}  // namespace
}  // namespace tessarin

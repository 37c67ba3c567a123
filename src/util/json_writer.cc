#include "util/json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tessarin {
namespace {

constexpr char kHex[] = "0123456789abcdef";

constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// Whether any byte of the word needs attention: outside ASCII, a control
// character, a quote or a backslash. Borrows only ever flag bytes above a
// byte that is flagged already, so "none" is exact.
bool WordNeedsAttention(std::uint64_t word) {
  auto has_zero = [](std::uint64_t v) { return (v - kOnes) & ~v & kHighBits; };
  const std::uint64_t control = (word - kOnes * 0x20) & ~word & kHighBits;
  return ((word & kHighBits) | control | has_zero(word ^ (kOnes * '"')) | has_zero(word ^ (kOnes * '\\'))) != 0;
}

// The same question for a single byte.
constexpr std::array<bool, 256> kNeedsAttention = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c < 256; ++c) table[c] = c < 0x20 || c >= 0x80 || c == '"' || c == '\\';
  return table;
}();

// The length of the well-formed UTF-8 sequence that starts at `p`, or 0.
// Overlong forms, surrogates and code points past U+10FFFF are not
// well-formed; the general writer refuses them too.
std::size_t Utf8SequenceLength(const unsigned char* p, const unsigned char* end) {
  const unsigned char lead = p[0];
  std::size_t length;
  unsigned char low = 0x80, high = 0xBF;  // the second byte's range
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (static_cast<std::size_t>(end - p) < length) return 0;
  if (p[1] < low || p[1] > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (p[i] < 0x80 || p[i] > 0xBF) return 0;
  }
  return length;
}

}  // namespace

void JsonTextWriter::Grow(std::size_t n) {
  out_->resize(std::max({2 * out_->size(), used_ + n, kFirstRoom}));
}

void JsonTextWriter::Put(std::string_view text) {
  std::memcpy(Room(text.size()), text.data(), text.size());
  used_ += text.size();
}

// A string with something to escape or check, from its first such byte
// on. Text beyond ASCII is kept as it is, once it is known to be UTF-8.
bool JsonTextWriter::Escaped(const char* run, const char* p, const char* end) {
  for (; p != end; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c >= 0x80) {
      std::size_t length = Utf8SequenceLength(reinterpret_cast<const unsigned char*>(p),
                                              reinterpret_cast<const unsigned char*>(end));
      if (length == 0) return false;
      p += length - 1;
      continue;
    }
    if (!kNeedsAttention[c]) continue;
    Put(std::string_view(run, p - run));
    run = p + 1;
    switch (c) {
      case '"': Put("\\\""); break;
      case '\\': Put("\\\\"); break;
      case '\b': Put("\\b"); break;
      case '\f': Put("\\f"); break;
      case '\n': Put("\\n"); break;
      case '\r': Put("\\r"); break;
      case '\t': Put("\\t"); break;
      default: {
        const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
        Put(std::string_view(escape, sizeof(escape)));
      }
    }
  }
  Put(std::string_view(run, end - run));
  Put('"');
  return true;
}

bool JsonTextWriter::String(std::string_view text, char suffix) {
  const char* begin = text.data();
  const char* end = begin + text.size();
  const char* p = begin;
  // Plain text goes by in words of eight bytes, the rest a byte at a time.
  while (end - p >= 8) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof(word));
    if (WordNeedsAttention(word)) break;
    p += 8;
  }
  while (p != end && !kNeedsAttention[static_cast<unsigned char>(*p)]) ++p;
  if (p != end) {
    Put('"');
    if (!Escaped(begin, p, end)) return false;
    if (suffix) Put(suffix);
    return true;
  }
  char* d = Room(text.size() + 3);
  d[0] = '"';
  std::memcpy(d + 1, begin, text.size());
  d[text.size() + 1] = '"';
  d[text.size() + 2] = suffix;
  used_ += text.size() + (suffix ? 3 : 2);
  return true;
}

template <class Int>
void JsonTextWriter::PutInteger(Int value) {
  constexpr std::size_t kDigits = 24;
  char* d = Room(kDigits);
  used_ += std::to_chars(d, d + kDigits, value).ptr - d;
}

bool JsonTextWriter::Value(const Json& value) {
  switch (value.type()) {
    case Json::value_t::object: {
      Put('{');
      bool first = true;
      for (const auto& [key, element] : value.get_ref<const Json::object_t&>()) {
        if (!first) Put(',');
        first = false;
        if (!String(key, ':')) return false;
        if (!Value(element)) return false;
      }
      Put('}');
      return true;
    }
    case Json::value_t::array: {
      Put('[');
      bool first = true;
      for (const Json& element : value.get_ref<const Json::array_t&>()) {
        if (!first) Put(',');
        first = false;
        if (!Value(element)) return false;
      }
      Put(']');
      return true;
    }
    case Json::value_t::string:
      return String(value.get_ref<const std::string&>());
    case Json::value_t::boolean:
      Put(value.get<bool>() ? std::string_view("true") : std::string_view("false"));
      return true;
    case Json::value_t::number_integer:
      PutInteger(value.get<std::int64_t>());
      return true;
    case Json::value_t::number_unsigned:
      PutInteger(value.get<std::uint64_t>());
      return true;
    case Json::value_t::number_float:
      // JSON has no form for these; the general writer decides what
      // becomes of them.
      if (!std::isfinite(value.get<double>())) return false;
      // The general writer's number format (shortest round trip, ".0" on
      // whole numbers, its exponent style) is kept by letting it write.
      Put(value.dump());
      return true;
    case Json::value_t::null:
      Put("null");
      return true;
    default:
      // Binary values and the discarded marker never occur in the SDK's
      // documents; the general writer knows what to do with them.
      return false;
  }
}

bool AppendCompactJson(const Json& value, std::string* out) {
  JsonTextWriter writer(out);
  return writer.Value(value);
}

std::string CompactJsonText(const Json& value) {
  std::string text;
  if (AppendCompactJson(value, &text)) return text;
  return value.dump(-1, ' ', false, Json::error_handler_t::strict);
}

}  // namespace tessarin

#include "util/json_writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

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

// Writes into the string's own buffer through a cursor. Growing the string
// a call at a time (push_back, append) costs more than the text itself for
// the short keys and values items are made of; here one comparison guards
// each piece. The string holds scratch bytes past the cursor until Finish.
class Cursor {
 public:
  explicit Cursor(std::string* out) : out_(out), used_(out->size()) {}
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  // Room for `n` more bytes, at the cursor.
  char* Room(std::size_t n) {
    if (out_->size() - used_ < n) out_->resize(std::max({2 * out_->size(), used_ + n, kFirstRoom}));
    return out_->data() + used_;
  }
  void Advance(std::size_t n) { used_ += n; }
  void Put(char c) {
    *Room(1) = c;
    ++used_;
  }
  void Put(std::string_view text) {
    std::memcpy(Room(text.size()), text.data(), text.size());
    used_ += text.size();
  }
  void Finish() { out_->resize(used_); }

 private:
  // An item's text, usually, in one go.
  static constexpr std::size_t kFirstRoom = 512;

  std::string* out_;
  std::size_t used_;
};

// The rare string with something to escape, from its first such byte on.
bool AppendEscaped(const char* run, const char* p, const char* end, Cursor& out) {
  for (; p != end; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c >= 0x80) return false;
    if (!kNeedsAttention[c]) continue;
    out.Put(std::string_view(run, p - run));
    run = p + 1;
    switch (c) {
      case '"': out.Put("\\\""); break;
      case '\\': out.Put("\\\\"); break;
      case '\b': out.Put("\\b"); break;
      case '\f': out.Put("\\f"); break;
      case '\n': out.Put("\\n"); break;
      case '\r': out.Put("\\r"); break;
      case '\t': out.Put("\\t"); break;
      default: {
        const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
        out.Put(std::string_view(escape, sizeof(escape)));
      }
    }
  }
  out.Put(std::string_view(run, end - run));
  out.Put('"');
  return true;
}

// A quoted string, followed by `suffix` (a key's colon) when there is one.
bool AppendString(const std::string& text, char suffix, Cursor& out) {
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
    out.Put('"');
    if (!AppendEscaped(begin, p, end, out)) return false;
    if (suffix) out.Put(suffix);
    return true;
  }
  char* d = out.Room(text.size() + 3);
  d[0] = '"';
  std::memcpy(d + 1, begin, text.size());
  d[text.size() + 1] = '"';
  d[text.size() + 2] = suffix;
  out.Advance(text.size() + (suffix ? 3 : 2));
  return true;
}

template <class Integer>
void AppendInteger(Integer value, Cursor& out) {
  constexpr std::size_t kDigits = 24;
  char* d = out.Room(kDigits);
  out.Advance(std::to_chars(d, d + kDigits, value).ptr - d);
}

bool AppendValue(const Json& value, Cursor& out) {
  switch (value.type()) {
    case Json::value_t::object: {
      out.Put('{');
      bool first = true;
      for (const auto& [key, element] : value.get_ref<const Json::object_t&>()) {
        if (!first) out.Put(',');
        first = false;
        if (!AppendString(key, ':', out)) return false;
        if (!AppendValue(element, out)) return false;
      }
      out.Put('}');
      return true;
    }
    case Json::value_t::array: {
      out.Put('[');
      bool first = true;
      for (const Json& element : value.get_ref<const Json::array_t&>()) {
        if (!first) out.Put(',');
        first = false;
        if (!AppendValue(element, out)) return false;
      }
      out.Put(']');
      return true;
    }
    case Json::value_t::string:
      return AppendString(value.get_ref<const std::string&>(), '\0', out);
    case Json::value_t::boolean:
      out.Put(value.get<bool>() ? std::string_view("true") : std::string_view("false"));
      return true;
    case Json::value_t::number_integer:
      AppendInteger(value.get<std::int64_t>(), out);
      return true;
    case Json::value_t::number_unsigned:
      AppendInteger(value.get<std::uint64_t>(), out);
      return true;
    case Json::value_t::number_float:
      // The general writer's number format (shortest round trip, ".0" on
      // whole numbers, its exponent style) is kept by letting it write.
      out.Put(value.dump());
      return true;
    case Json::value_t::null:
      out.Put("null");
      return true;
    default:
      // Binary values and the discarded marker never occur in the SDK's
      // documents; the general writer knows what to do with them.
      return false;
  }
}

}  // namespace

bool AppendCompactAsciiJson(const Json& value, std::string* out) {
  Cursor cursor(out);
  bool written = AppendValue(value, cursor);
  cursor.Finish();
  return written;
}

std::string CompactJsonText(const Json& value) {
  std::string text;
  if (AppendCompactAsciiJson(value, &text)) return text;
  return value.dump(-1, ' ', false, Json::error_handler_t::strict);
}

}  // namespace tessarin

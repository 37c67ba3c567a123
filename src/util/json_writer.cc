#include "util/json_writer.h"

#include <charconv>
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

bool AppendString(const std::string& text, std::string* out) {
  out->push_back('"');
  const char* run = text.data();
  const char* end = text.data() + text.size();
  const char* p = run;
  while (p != end) {
    // Plain text goes by in words of eight bytes; a word that needs
    // attention is taken a byte at a time.
    while (end - p >= 8) {
      std::uint64_t word;
      std::memcpy(&word, p, sizeof(word));
      if (WordNeedsAttention(word)) break;
      p += 8;
    }
    for (const char* stop = end - p > 8 ? p + 8 : end; p != stop; ++p) {
      const auto c = static_cast<unsigned char>(*p);
      if (c >= 0x80) return false;
      if (c >= 0x20 && c != '"' && c != '\\') continue;
      out->append(run, p);
      run = p + 1;
      switch (c) {
        case '"': out->append("\\\""); break;
        case '\\': out->append("\\\\"); break;
        case '\b': out->append("\\b"); break;
        case '\f': out->append("\\f"); break;
        case '\n': out->append("\\n"); break;
        case '\r': out->append("\\r"); break;
        case '\t': out->append("\\t"); break;
        default: {
          const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
          out->append(escape, sizeof(escape));
        }
      }
    }
  }
  out->append(run, end);
  out->push_back('"');
  return true;
}

template <class Integer>
void AppendInteger(Integer value, std::string* out) {
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
  out->append(buffer, result.ptr);
}

}  // namespace

bool AppendCompactAsciiJson(const Json& value, std::string* out) {
  switch (value.type()) {
    case Json::value_t::object: {
      out->push_back('{');
      bool first = true;
      for (const auto& [key, element] : value.get_ref<const Json::object_t&>()) {
        if (!first) out->push_back(',');
        first = false;
        if (!AppendString(key, out)) return false;
        out->push_back(':');
        if (!AppendCompactAsciiJson(element, out)) return false;
      }
      out->push_back('}');
      return true;
    }
    case Json::value_t::array: {
      out->push_back('[');
      bool first = true;
      for (const Json& element : value.get_ref<const Json::array_t&>()) {
        if (!first) out->push_back(',');
        first = false;
        if (!AppendCompactAsciiJson(element, out)) return false;
      }
      out->push_back(']');
      return true;
    }
    case Json::value_t::string:
      return AppendString(value.get_ref<const std::string&>(), out);
    case Json::value_t::boolean:
      out->append(value.get<bool>() ? "true" : "false");
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
      out->append(value.dump());
      return true;
    case Json::value_t::null:
      out->append("null");
      return true;
    default:
      // Binary values and the discarded marker never occur in the SDK's
      // documents; the general writer knows what to do with them.
      return false;
  }
}

std::string CompactJsonText(const Json& value) {
  std::string text;
  text.reserve(256);
  if (AppendCompactAsciiJson(value, &text)) return text;
  return value.dump(-1, ' ', false, Json::error_handler_t::strict);
}

}  // namespace tessarin

#include "util/utf8_text.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cstdint>

namespace tessarin {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsAscii(std::string_view text) {
  for (unsigned char c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

}  // namespace

void AppendUtf8(std::string& out, char32_t c) {
  uint8_t bytes[U8_MAX_LENGTH];
  int32_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, c);
  out.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

bool IsUnicodeWhiteSpace(char32_t c) {
  if (c <= 0x20) return c == 0x20 || (c >= 0x09 && c <= 0x0D);
  if (c < 0x85) return false;
  if (c <= 0xA0) return c == 0x85 || c == 0xA0;
  if (c < 0x1680) return false;
  if (c < 0x2000) return c == 0x1680;
  if (c <= 0x200A) return true;
  return c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

std::string ReplaceMalformedUtf8(std::string_view text) {
  if (IsAscii(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  ForEachCharacter(text, [&](char32_t c, std::size_t begin, std::size_t end, bool malformed) {
    if (malformed) {
      AppendUtf8(out, c);
    } else {
      out.append(text.substr(begin, end - begin));
    }
  });
  return out;
}

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  ForEachCharacter(text, [&](char32_t c, std::size_t, std::size_t, bool) {
    if (c <= 0xFFFF) {
      out.push_back(static_cast<char16_t>(c));
    } else {
      out.push_back(static_cast<char16_t>(U16_LEAD(c)));
      out.push_back(static_cast<char16_t>(U16_TRAIL(c)));
    }
  });
  return out;
}

std::string Utf8FromUtf16(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  const int32_t length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U16_NEXT(text.data(), i, length, c);
    AppendUtf8(out, U_IS_SURROGATE(c) ? kReplacement : static_cast<char32_t>(c));
  }
  return out;
}

bool Utf16Less(std::string_view a, std::string_view b) {
  // Byte order is code point order, which is UTF-16 order except that
  // U+E000..U+FFFF sort after the surrogates that encode U+10000 and up.
  if (IsAscii(a) && IsAscii(b)) return a < b;
  return Utf16FromUtf8(a) < Utf16FromUtf8(b);
}

}  // namespace tessarin

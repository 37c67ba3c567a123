#include "util/unicode_trim.h"

#include <algorithm>

#include <unicode/utf8.h>

#include "util/utf8_text.h"

namespace tessarin {
namespace {

// Invalid sequences are never trimmed.
bool IsTrimmable(UChar32 c) { return c >= 0 && IsUnicodeWhiteSpace(static_cast<char32_t>(c)); }

}  // namespace

std::string TrimWhitespaceAndNewlines(std::string_view text) {
  const auto* s = reinterpret_cast<const uint8_t*>(text.data());
  int32_t length = static_cast<int32_t>(text.size());
  int32_t begin = 0;
  while (begin < length) {
    int32_t next = begin;
    UChar32 c;
    U8_NEXT(s, next, length, c);
    if (!IsTrimmable(c)) break;
    begin = next;
  }
  // Read forwards (ICU's backward decoding is not header-only): the end is
  // just after the last character that is kept.
  int32_t end = begin;
  for (int32_t i = begin; i < length;) {
    UChar32 c;
    U8_NEXT(s, i, length, c);
    if (!IsTrimmable(c)) end = i;
  }
  return std::string(text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

std::size_t Utf16Length(std::string_view text) {
  // Most of what is measured (every event's keys and values) is ASCII, one
  // unit a byte: only text with other bytes is decoded.
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return text.size();
  }
  const auto* s = reinterpret_cast<const uint8_t*>(text.data());
  int32_t length = static_cast<int32_t>(text.size());
  std::size_t units = 0;
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U8_NEXT(s, i, length, c);
    units += (c > 0xFFFF) ? 2 : 1;
  }
  return units;
}

std::string Utf16Prefix(std::string_view text, std::size_t units) {
  const auto* s = reinterpret_cast<const uint8_t*>(text.data());
  int32_t length = static_cast<int32_t>(text.size());
  std::size_t counted = 0;
  int32_t i = 0;
  while (i < length) {
    int32_t next = i;
    UChar32 c;
    U8_NEXT(s, next, length, c);
    std::size_t width = (c > 0xFFFF) ? 2 : 1;
    if (counted + width > units) break;
    counted += width;
    i = next;
  }
  return std::string(text.substr(0, static_cast<std::size_t>(i)));
}

}  // namespace tessarin

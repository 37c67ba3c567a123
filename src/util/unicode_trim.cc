#include "util/unicode_trim.h"

#include <algorithm>

#include <unicode/utf8.h>

#include "util/utf8_text.h"

namespace tessarin {

std::string TrimWhitespaceAndNewlines(std::string_view text) {
  // What is kept runs from the first character that is not white space to
  // the end of the last; a malformed sequence is never trimmed.
  std::size_t begin = text.size(), end = 0;
  ForEachCharacter(text, [&](char32_t c, std::size_t from, std::size_t to, bool malformed) {
    if (malformed || !IsUnicodeWhiteSpace(c)) {
      begin = std::min(begin, from);
      end = to;
    }
  });
  return begin < end ? std::string(text.substr(begin, end - begin)) : std::string();
}

std::size_t Utf16Length(std::string_view text) {
  // Most of what is measured (every event's keys and values) is ASCII, one
  // unit a byte: only text with other bytes is decoded.
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    return text.size();
  }
  std::size_t units = 0;
  ForEachCharacter(text, [&](char32_t c, std::size_t, std::size_t, bool) { units += (c > 0xFFFF) ? 2 : 1; });
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

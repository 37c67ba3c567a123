// UTF-8 text as the platform's UTF-16 strings see it: conversion both ways,
// repair of malformed sequences, UTF-16 order, and the Unicode White_Space
// set. Done here rather than by ICU's library because every event needs
// some of it and ICU is loaded only when something needs its tables.
// Malformed input is read as ICU reads it (its header-only decoding
// macros): each maximal ill-formed subsequence is one U+FFFD.
#ifndef TESSARIN_UTIL_UTF8_TEXT_H_
#define TESSARIN_UTIL_UTF8_TEXT_H_

#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tessarin {

// Calls `each(c, begin, end, malformed)` for every character of `text`,
// with the byte range it came from; a malformed sequence arrives as U+FFFD.
template <typename Each>
void ForEachCharacter(std::string_view text, Each&& each) {
  const auto* s = reinterpret_cast<const uint8_t*>(text.data());
  const int32_t length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    const int32_t begin = i;
    UChar32 c;
    U8_NEXT(s, i, length, c);
    each(c < 0 ? char32_t{0xFFFD} : static_cast<char32_t>(c), static_cast<std::size_t>(begin),
         static_cast<std::size_t>(i), c < 0);
  }
}

// `c` (a Unicode scalar value) appended in UTF-8.
void AppendUtf8(std::string& out, char32_t c);

// The 25 code points of Unicode's White_Space property (tab to carriage
// return, space, U+0085, the no-break and typographic spaces, the line and
// paragraph separators); what "\s" matches and what trimming removes.
bool IsUnicodeWhiteSpace(char32_t c);

// Each malformed sequence replaced by U+FFFD; well-formed text unchanged.
std::string ReplaceMalformedUtf8(std::string_view text);

std::u16string Utf16FromUtf8(std::string_view text);
// Unpaired surrogates become U+FFFD.
std::string Utf8FromUtf16(std::u16string_view text);

// Whether `a` sorts before `b` by UTF-16 code unit, as the platform orders
// strings (which differs from byte order for characters above U+FFFF).
bool Utf16Less(std::string_view a, std::string_view b);

}  // namespace tessarin

#endif  // TESSARIN_UTIL_UTF8_TEXT_H_

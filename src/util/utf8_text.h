// UTF-8 text as the platform's UTF-16 strings see it: conversion both ways,
// repair of malformed sequences, UTF-16 order, and the Unicode White_Space
// set. Done here rather than by ICU's library because every event needs
// some of it and ICU is loaded only when something needs its tables.
// Malformed input is read as ICU reads it (its header-only decoding
// macros): each maximal ill-formed subsequence is one U+FFFD.
#ifndef TESSARIN_UTIL_UTF8_TEXT_H_
#define TESSARIN_UTIL_UTF8_TEXT_H_

#include <string>
#include <string_view>

namespace tessarin {

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

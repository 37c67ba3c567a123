// Trimming by the Unicode white-space property, as the platform's
// white-space-and-newline character set trims. Silent: callers that must
// report a trim (TSRUtilityString) do so themselves.
#ifndef TESSARIN_UTIL_UNICODE_TRIM_H_
#define TESSARIN_UTIL_UNICODE_TRIM_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace tessarin {

std::string TrimWhitespaceAndNewlines(std::string_view text);
// The length of `text` in UTF-16 code units (the platform's string length).
std::size_t Utf16Length(std::string_view text);
// The longest prefix of at most `units` UTF-16 code units that does not split
// a character.
std::string Utf16Prefix(std::string_view text, std::size_t units);

}  // namespace tessarin

#endif  // TESSARIN_UTIL_UNICODE_TRIM_H_

#include "util/string_util.h"

#include <algorithm>
#include <cstdint>

#include "base/log.h"
#include "platform/unicode_library.h"
#include "util/unicode_trim.h"
#include "util/utf8_text.h"

namespace tessarin {
namespace {

bool IsAsciiAlphaNumeric(char32_t c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The length of `text` without one final line terminator, which "$" lets
// an anchored match leave over: what ends a line for the expression engine
// is U+000A to U+000D, U+0085, U+2028, U+2029, and "\r\n" as one.
std::size_t WithoutFinalLineTerminator(std::string_view text) {
  if (text.ends_with("\r\n")) return text.size() - 2;
  if (!text.empty() && text.back() >= 0x0A && text.back() <= 0x0D) return text.size() - 1;
  if (text.ends_with("\xC2\x85")) return text.size() - 2;
  if (text.ends_with("\xE2\x80\xA8") || text.ends_with("\xE2\x80\xA9")) return text.size() - 3;
  return text.size();
}

}  // namespace

std::optional<std::string> TSRUtilityString::trimString(const std::optional<std::string>& string) {
  if (!string) return std::nullopt;
  std::string trimmed = TrimWhitespaceAndNewlines(*string);
  if (trimmed.size() == string->size()) return string;
  TSR_LOG_WARN("String: Trimming: '%@'", *string);
  return trimmed;
}

std::optional<std::string> TSRUtilityString::removeAllWhitespaceFromString(
    const std::optional<std::string>& string) {
  if (!string) return std::nullopt;
  // As the expression engine reads its input: a malformed sequence stays,
  // as U+FFFD.
  std::string out;
  out.reserve(string->size());
  ForEachCharacter(*string, [&](char32_t c, std::size_t begin, std::size_t end, bool malformed) {
    if (malformed) {
      AppendUtf8(out, c);
    } else if (!IsUnicodeWhiteSpace(c)) {
      out.append(*string, begin, end - begin);
    }
  });
  return out;
}

bool TSRUtilityString::onlyAlphaNumericCharsInString(const std::optional<std::string>& string) {
  if (!string || string->empty()) return true;
  const std::string_view text(*string);
  bool only = true;
  ForEachCharacter(text.substr(0, WithoutFinalLineTerminator(text)),
                   [&](char32_t c, std::size_t, std::size_t, bool malformed) {
                     // Case-insensitive matching folds U+017F (long s) to "s"
                     // and U+212A (Kelvin sign) to "k"; nothing else outside
                     // ASCII folds into the set.
                     only = only && !malformed && (IsAsciiAlphaNumeric(c) || c == 0x017F || c == 0x212A);
                   });
  return only;
}

std::string TSRUtilityString::stringFromData(std::string_view data) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(data.size() * 2);
  for (unsigned char byte : data) {
    out.push_back(kDigits[byte >> 4]);
    out.push_back(kDigits[byte & 0x0F]);
  }
  return out;
}

std::optional<std::string> TSRUtilityString::stringFromPushPlatform(int platform) {
  switch (platform) {
    case 0: return "APNS";
    case 1: return "APNS_SANDBOX";
    case 2: return "GCM";
    default: return std::nullopt;
  }
}

int TSRUtilityString::pushPlatformFromString(const std::optional<std::string>& string) {
  if (!string) return -1;
  // Full Unicode upper-casing, locale-independent, as the platform's
  // upper-cased string is ("apn\u017F" is "APNS"). ASCII needs no tables.
  std::string upper = *string;
  if (std::all_of(upper.begin(), upper.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    for (char& c : upper) {
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
  } else {
    if (!platform::unicodeAvailable()) return -1;
    std::u16string text = Utf16FromUtf8(*string);
    std::u16string upperText(text.size() * 3 + 1, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = platform::unicode().u_strToUpper(upperText.data(), static_cast<int32_t>(upperText.size()), text.data(),
                                                      static_cast<int32_t>(text.size()), "", &status);
    if (U_FAILURE(status)) return -1;
    upperText.resize(static_cast<std::size_t>(length));
    upper = Utf8FromUtf16(upperText);
  }
  for (int platform = 0; platform <= 2; ++platform) {
    if (upper == *stringFromPushPlatform(platform)) return platform;
  }
  return -1;
}

}  // namespace tessarin

#include "util/string_util.h"

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <memory>

#include "base/log.h"
#include "util/unicode_trim.h"

namespace tessarin {
namespace {

// Expressions are compiled once and shared: a compiled pattern is immutable
// and hands out one matcher per call, so any thread may use it.
const icu::RegexPattern* Compile(const char* expression, uint32_t flags) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parse_error;
  icu::RegexPattern* pattern =
      icu::RegexPattern::compile(icu::UnicodeString(expression, -1, US_INV), flags, parse_error, status);
  if (U_FAILURE(status)) {
    delete pattern;
    return nullptr;
  }
  return pattern;
}

const icu::RegexPattern* WhitespacePattern() {
  static const icu::RegexPattern* const pattern = Compile("\\s", 0);
  return pattern;
}

const icu::RegexPattern* AlphaNumericPattern() {
  static const icu::RegexPattern* const pattern = Compile("^[a-zA-Z0-9]*$", UREGEX_CASE_INSENSITIVE);
  return pattern;
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
  const icu::RegexPattern* pattern = WhitespacePattern();
  if (!pattern) return string;
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString input = icu::UnicodeString::fromUTF8(*string);
  std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
  if (U_FAILURE(status)) return string;
  icu::UnicodeString replaced = matcher->replaceAll(icu::UnicodeString(), status);
  if (U_FAILURE(status)) return string;
  std::string out;
  replaced.toUTF8String(out);
  return out;
}

bool TSRUtilityString::onlyAlphaNumericCharsInString(const std::optional<std::string>& string) {
  if (!string || string->empty()) return true;
  const icu::RegexPattern* pattern = AlphaNumericPattern();
  if (!pattern) return false;
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString input = icu::UnicodeString::fromUTF8(*string);
  std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
  if (U_FAILURE(status)) return false;
  // Anchored at the start, the expression can match at most once.
  bool found = matcher->find(status);
  return U_SUCCESS(status) && found;
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
  // upper-cased string is.
  std::string upper;
  icu::UnicodeString::fromUTF8(*string).toUpper(icu::Locale::getRoot()).toUTF8String(upper);
  for (int platform = 0; platform <= 2; ++platform) {
    if (upper == *stringFromPushPlatform(platform)) return platform;
  }
  return -1;
}

}  // namespace tessarin

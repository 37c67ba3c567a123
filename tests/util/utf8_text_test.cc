// The SDK's own UTF-8 handling against ICU's, which it stands in for on the
// paths every event takes: the same answer for every code point, for
// malformed input of every shape, and for orderings across the planes.
#include "util/utf8_text.h"

#include <gtest/gtest.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <memory>
#include <random>

#include "util/string_util.h"
#include "util/unicode_trim.h"

namespace tessarin {
namespace {

std::string Utf8Of(UChar32 c) {
  std::string out;
  icu::UnicodeString(c).toUTF8String(out);
  return out;
}

bool IcuFinds(const icu::RegexPattern& pattern, const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text);
  std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(unicode, status));
  return U_SUCCESS(status) && matcher->find(status);
}

std::unique_ptr<icu::RegexPattern> IcuCompile(const char16_t* expression, uint32_t flags) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  std::unique_ptr<icu::RegexPattern> pattern(icu::RegexPattern::compile(expression, flags, parseError, status));
  EXPECT_TRUE(U_SUCCESS(status));
  return pattern;
}

// Strings of bytes that are mostly malformed UTF-8: lead and trail bytes,
// surrogates, overlongs and truncations in every mix.
std::vector<std::string> MalformedSamples() {
  std::vector<std::string> samples = {"\x80", "\xC0\x80", "\xC2", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                      "\xF0\x9F\x98", "a\xE2\x80", "\xFF\xFE", "\xE2\x80\xA8\x85"};
  std::mt19937 random(17);
  const unsigned char pieces[] = {0x00, 0x20, 0x41, 0x7F, 0x80, 0x85, 0xA0, 0xBF, 0xC0, 0xC2,
                                  0xDF, 0xE0, 0xE2, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF, 0x9F};
  for (int n = 0; n < 3000; ++n) {
    std::string sample;
    for (int length = static_cast<int>(random() % 8); length > 0; --length) {
      sample.push_back(static_cast<char>(pieces[random() % sizeof(pieces)]));
    }
    samples.push_back(sample);
  }
  return samples;
}

TEST(Utf8Text, WhiteSpaceIsIcusWhiteSpacePropertyAndWhatItsBackslashSMatches) {
  auto whiteSpace = IcuCompile(u"\\s", 0);
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    if (U_IS_SURROGATE(c)) continue;
    bool expected = u_hasBinaryProperty(c, UCHAR_WHITE_SPACE);
    ASSERT_EQ(IsUnicodeWhiteSpace(static_cast<char32_t>(c)), expected) << std::hex << c;
    if (c < 0x3100) {
      ASSERT_EQ(IcuFinds(*whiteSpace, Utf8Of(c)), expected) << std::hex << c;
    }
  }
}

TEST(Utf8Text, MalformedInputReadsAsIcuReadsIt) {
  auto whiteSpace = IcuCompile(u"\\s", 0);
  for (const std::string& sample : MalformedSamples()) {
    icu::UnicodeString icu = icu::UnicodeString::fromUTF8(sample);
    std::string icuUtf8;
    icu.toUTF8String(icuUtf8);
    ASSERT_EQ(ReplaceMalformedUtf8(sample), icuUtf8);
    std::u16string utf16 = Utf16FromUtf8(sample);
    ASSERT_EQ(utf16, std::u16string(icu.getBuffer(), static_cast<std::size_t>(icu.length())));
    ASSERT_EQ(Utf8FromUtf16(utf16), icuUtf8);
    // Removing white space keeps the repaired text around it.
    icu::UnicodeString removed = icu;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(whiteSpace->matcher(removed, status));
    std::string expected;
    matcher->replaceAll(icu::UnicodeString(), status).toUTF8String(expected);
    ASSERT_EQ(TSRUtilityString::removeAllWhitespaceFromString(sample), expected);
  }
  // An unpaired surrogate from the UTF-16 side is repaired too.
  EXPECT_EQ(Utf8FromUtf16(u"a\xD800z\xDC00"), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
}

TEST(Utf8Text, AlphaNumericCheckAgreesWithTheCaseInsensitiveExpression) {
  auto alphaNumeric = IcuCompile(u"^[a-zA-Z0-9]*$", UREGEX_CASE_INSENSITIVE);
  for (UChar32 c = 0; c <= 0x10FFFF; c += (c < 0x3000 ? 1 : 7)) {
    if (U_IS_SURROGATE(c)) continue;
    for (const std::string& text : {Utf8Of(c), "ab" + Utf8Of(c), Utf8Of(c) + "z9"}) {
      ASSERT_EQ(TSRUtilityString::onlyAlphaNumericCharsInString(text), IcuFinds(*alphaNumeric, text))
          << std::hex << c;
    }
  }
  // "$" leaves over one final line break, "\r\n" included, but no more.
  for (const std::string text : {"ab\r\n", "ab\n\n", "ab\n\r", "\r\n", "ab\ncd", "K\xE2\x80\xA9", "ab\xC2\x85",
                                 "ab\x85", "a\xC5\xBF" "b"}) {
    EXPECT_EQ(TSRUtilityString::onlyAlphaNumericCharsInString(text), IcuFinds(*alphaNumeric, text)) << text;
  }
  for (const std::string& sample : MalformedSamples()) {
    ASSERT_EQ(TSRUtilityString::onlyAlphaNumericCharsInString(sample),
              sample.empty() || IcuFinds(*alphaNumeric, sample));
  }
}

TEST(Utf8Text, TrimmingAgreesWithTheWhiteSpacePropertyOnMalformedEnds) {
  for (const std::string& sample : MalformedSamples()) {
    for (const std::string& text : {" " + sample + "\xE3\x80\x80", sample}) {
      // ICU's reading, trimmed code point by code point.
      icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text);
      std::string trimmed = TrimWhitespaceAndNewlines(text);
      std::string expected;
      int32_t begin = 0, end = unicode.length();
      while (begin < end && u_hasBinaryProperty(unicode.char32At(begin), UCHAR_WHITE_SPACE)) ++begin;
      while (end > begin && u_hasBinaryProperty(unicode.char32At(end - 1), UCHAR_WHITE_SPACE)) --end;
      unicode.tempSubStringBetween(begin, end).toUTF8String(expected);
      ASSERT_EQ(ReplaceMalformedUtf8(trimmed), expected);
    }
  }
}

TEST(Utf8Text, OrderIsUtf16CodeUnitOrder) {
  const std::vector<std::string> texts = {"", "a", "B", "ab", "\xC3\xA9", "\xEF\xBD\x9E", "\xF0\x9F\x98\x80",
                                          "\xEE\x80\x80", "\xF4\x8F\xBF\xBF", "a\xF0\x9F\x98\x80", "\x80"};
  for (const std::string& a : texts) {
    for (const std::string& b : texts) {
      bool expected = icu::UnicodeString::fromUTF8(a).compare(icu::UnicodeString::fromUTF8(b)) < 0;
      EXPECT_EQ(Utf16Less(a, b), expected) << a << " < " << b;
    }
  }
}

}  // namespace
}  // namespace tessarin

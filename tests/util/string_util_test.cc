#include "util/string_util.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"

namespace tessarin {
namespace {

using testing::LogCapture;

TEST(StringTrim, RemovesUnicodeWhiteSpaceAndNewlinesFromBothEndsOnly) {
  LogCapture capture;
  // Tab, LF, VT, FF, CR, NEL, NBSP, ideographic space, line separator.
  const std::string untrimmed = "\t\n\v\f\r\xC2\x85\xC2\xA0 a \xE3\x80\x80 b\xE2\x80\xA8\xE3\x80\x80";
  EXPECT_EQ(TSRUtilityString::trimString(untrimmed), "a \xE3\x80\x80 b");
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"String: Trimming: '" + untrimmed + "'"});
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelWarn);
}

TEST(StringTrim, LeavesOtherTextAloneWithoutLogging) {
  LogCapture capture;
  // A zero-width space and a byte-order mark are not white space.
  EXPECT_EQ(TSRUtilityString::trimString("\xE2\x80\x8B" "x\xEF\xBB\xBF"), "\xE2\x80\x8B" "x\xEF\xBB\xBF");
  EXPECT_EQ(TSRUtilityString::trimString("caf\xC3\xA9"), "caf\xC3\xA9");
  EXPECT_EQ(TSRUtilityString::trimString(""), "");
  EXPECT_EQ(TSRUtilityString::trimString(std::nullopt), std::nullopt);
  EXPECT_TRUE(capture.records().empty());
  EXPECT_EQ(TSRUtilityString::trimString(" \n "), "");
  EXPECT_EQ(capture.count("String: Trimming: ' \n '"), 1);
}

TEST(StringWhitespace, EveryWhiteSpaceCharacterIsRemoved) {
  EXPECT_EQ(TSRUtilityString::removeAllWhitespaceFromString(" Gr\xC3\xBC" "n e\tr\nb\xC2\xA0s\xE3\x80\x80" "e "),
            "Gr\xC3\xBCnerbse");
  EXPECT_EQ(TSRUtilityString::removeAllWhitespaceFromString(""), "");
  EXPECT_EQ(TSRUtilityString::removeAllWhitespaceFromString(std::nullopt), std::nullopt);
}

TEST(StringAlphaNumeric, OnlyAsciiLettersAndDigits) {
  EXPECT_TRUE(TSRUtilityString::onlyAlphaNumericCharsInString(std::nullopt));
  EXPECT_TRUE(TSRUtilityString::onlyAlphaNumericCharsInString(""));
  EXPECT_TRUE(TSRUtilityString::onlyAlphaNumericCharsInString("abcXYZ0189"));
  EXPECT_FALSE(TSRUtilityString::onlyAlphaNumericCharsInString("abc def"));
  EXPECT_FALSE(TSRUtilityString::onlyAlphaNumericCharsInString("abc-1"));
  EXPECT_FALSE(TSRUtilityString::onlyAlphaNumericCharsInString("caf\xC3\xA9"));
  EXPECT_FALSE(TSRUtilityString::onlyAlphaNumericCharsInString("\nabc"));
}

TEST(StringHex, TwoLowerCaseDigitsPerByteInOrder) {
  EXPECT_EQ(TSRUtilityString::stringFromData(std::string("\x00\x0f\xa0\xff\x7e", 5)), "000fa0ff7e");
  EXPECT_EQ(TSRUtilityString::stringFromData(""), "");
}

TEST(StringPushPlatform, NamesAndTheirInverse) {
  for (int platform : {0, 1, 2}) {
    auto name = TSRUtilityString::stringFromPushPlatform(platform);
    ASSERT_TRUE(name);
    EXPECT_EQ(TSRUtilityString::pushPlatformFromString(*name), platform);
  }
  EXPECT_EQ(TSRUtilityString::stringFromPushPlatform(1), "APNS_SANDBOX");
  EXPECT_EQ(TSRUtilityString::stringFromPushPlatform(3), std::nullopt);
  EXPECT_EQ(TSRUtilityString::pushPlatformFromString("apns_Sandbox"), 1);
  // Full upper-casing: a long s is an "S".
  EXPECT_EQ(TSRUtilityString::pushPlatformFromString("apn\xC5\xBF"), 0);
  EXPECT_EQ(TSRUtilityString::pushPlatformFromString("APNS "), -1);
  EXPECT_EQ(TSRUtilityString::pushPlatformFromString(std::nullopt), -1);
}

}  // namespace
}  // namespace tessarin

#include "util/dictionary_util.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"

namespace tessarin {
namespace {

using testing::LogCapture;

const Json kCampaign = Json::parse(R"({
  "name": "Spring",
  "ttl": 30,
  "control": true,
  "type": null,
  "message": {"data": {"position": "top", "heightMin": 44}, "keys": ["a"]},
  "with.dot": "literal"
})");

TEST(DictionaryLookup, KeyPathsDescendIntoNestedDictionaries) {
  LogCapture capture;
  const Json* position = TSRUtilityDictionary::objectOfType(JsonKind::kString, "message.data.position", kCampaign);
  ASSERT_NE(position, nullptr);
  EXPECT_EQ(position, &kCampaign["message"]["data"]["position"]);
  const Json* data = TSRUtilityDictionary::objectOfType(JsonKind::kDictionary, "message.data", kCampaign);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ((*data)["heightMin"], 44);
  // Booleans are numbers.
  ASSERT_NE(TSRUtilityDictionary::objectOfType(JsonKind::kNumber, "control", kCampaign), nullptr);
  EXPECT_TRUE(capture.records().empty());
}

TEST(DictionaryLookup, MissingValuesAndDeadEndPathsFindNothingSilently) {
  LogCapture capture;
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "absent", kCampaign), nullptr);
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "message.data.width", kCampaign), nullptr);
  // A dot always separates keys, so a key containing one cannot be reached.
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "with.dot", kCampaign), nullptr);
  // Paths running into a string or an array stop there.
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "name.length", kCampaign), nullptr);
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "message.keys.0", kCampaign), nullptr);
  const Json array = Json::array({kCampaign}), null;
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "name", array), nullptr);
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "name", null), nullptr);
  EXPECT_TRUE(capture.records().empty());
}

TEST(DictionaryLookup, ValueOfAnotherKindIsAbsentAndLogged) {
  LogCapture capture;
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kString, "ttl", kCampaign), nullptr);
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kArray, "message.data", kCampaign, false), nullptr);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{
                "Dictionary: keyPath: ttl expected class: NSString but found class: NSNumber",
                "Dictionary: keyPath: message.data expected class: NSArray but found class: NSDictionary"}));
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelError);
}

TEST(DictionaryLookup, NullIsLoggedOnlyWhenAsked) {
  LogCapture capture;
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kNumber, "type", kCampaign, false), nullptr);
  EXPECT_TRUE(capture.records().empty());
  EXPECT_EQ(TSRUtilityDictionary::objectOfType(JsonKind::kNumber, "type", kCampaign), nullptr);
  EXPECT_EQ(capture.messages(),
            std::vector<std::string>{"Dictionary: keyPath: type expected class: NSNumber but found class: NSNull"});
  // Asking for a null finds it.
  const Json* null = TSRUtilityDictionary::objectOfType(JsonKind::kNull, "type", kCampaign);
  ASSERT_NE(null, nullptr);
  EXPECT_TRUE(null->is_null());
}

TEST(DictionaryTrim, TopLevelStringsAreTrimmedAndEverythingElseKept) {
  LogCapture capture;
  Json input = Json::parse(R"({"z": " a ", "n": 1, "inner": {"s": " b "}, "list": [" c "], "ok": "d"})");
  Json trimmed = TSRUtilityDictionary::trimDictionaryStrings(input);
  EXPECT_EQ(JsonDump(trimmed), R"({"z":"a","n":1,"inner":{"s":" b "},"list":[" c "],"ok":"d"})");
  EXPECT_EQ(input["z"], " a ");
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"String: Trimming: ' a '"});
  EXPECT_EQ(TSRUtilityDictionary::trimDictionaryStrings(Json(" x ")), " x ");
}

}  // namespace
}  // namespace tessarin

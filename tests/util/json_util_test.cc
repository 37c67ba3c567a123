#include "util/json_util.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/log_capture.h"

namespace tessarin {
namespace {

using testing::LogCapture;

TEST(JsonParse, OnlyTheRequestedContainerIsAccepted) {
  LogCapture capture;
  const std::string array = R"([1, {"a": null}])";
  EXPECT_EQ(TSRUtilityJSON::jsonFromData(array), std::nullopt);
  EXPECT_EQ(capture.messages(),
            std::vector<std::string>{"JSON: Unexpected class for deserialized JSON Object: NSArray"});
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelError);
  capture.clear();

  auto raw = TSRUtilityJSON::rawJSONFromData(array);
  ASSERT_TRUE(raw);
  EXPECT_EQ(*raw, Json::parse(array));
  EXPECT_EQ(TSRUtilityJSON::jsonArrayFromData(array), Json::parse(array));
  EXPECT_TRUE(capture.records().empty());

  EXPECT_EQ(TSRUtilityJSON::jsonArrayFromData(R"({"a": 1})"), std::nullopt);
  EXPECT_EQ(TSRUtilityJSON::jsonArrayFromData("\"text\""), std::nullopt);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"JSON: Unexpected class for deserialized JSON Array: NSDictionary",
                                      "JSON: Unexpected class for deserialized JSON Array: NSString"}));
}

TEST(JsonParse, MalformedDataIsAnErrorAndNotAContainer) {
  LogCapture capture;
  EXPECT_EQ(TSRUtilityJSON::jsonFromData("{\"a\": "), std::nullopt);
  auto messages = capture.messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].rfind("JSON: Error deserializing raw object/array: ", 0), 0u) << messages[0];
  EXPECT_EQ(messages[1], "JSON: Unexpected class for deserialized JSON Object: (null)");
  capture.clear();
  EXPECT_EQ(TSRUtilityJSON::rawJSONFromData(""), std::nullopt);
  EXPECT_EQ(capture.countContaining("JSON: Error deserializing raw object/array: "), 1);
}

TEST(JsonParse, StringsReportEachStepThatFailed) {
  LogCapture capture;
  EXPECT_EQ(TSRUtilityJSON::jsonFromString(std::nullopt), std::nullopt);
  EXPECT_EQ(TSRUtilityJSON::jsonArrayFromString(std::nullopt), std::nullopt);
  EXPECT_EQ(TSRUtilityJSON::jsonFromString("{\"a\":\"\xff\"}"), std::nullopt);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"JSON: No object string specified", "JSON: No array string specified",
                                      "JSON: Couldn't encode as UTF8 string: {\"a\":\"\xEF\xBF\xBD\"}"}));
  capture.clear();

  EXPECT_EQ(TSRUtilityJSON::jsonFromString("[1]"), std::nullopt);
  EXPECT_EQ(capture.messages().back(), "JSON: Couldn't deserialize string into JSON Object: [1]");
  EXPECT_EQ(TSRUtilityJSON::jsonArrayFromString("{}"), std::nullopt);
  EXPECT_EQ(capture.messages().back(), "JSON: Couldn't deserialize string into JSON Array: {}");
  capture.clear();

  EXPECT_EQ(TSRUtilityJSON::jsonFromString(R"({"k":"\u00e9"})"), Json({{"k", "\xC3\xA9"}}));
  EXPECT_EQ(TSRUtilityJSON::jsonArrayFromString("[]"), Json::array());
  EXPECT_TRUE(capture.records().empty());
}

TEST(JsonSerialize, OnlyObjectsAndArraysOfFiniteValues) {
  LogCapture capture;
  EXPECT_EQ(TSRUtilityJSON::dataFromJSON(std::nullopt), std::nullopt);
  EXPECT_TRUE(capture.records().empty());

  EXPECT_EQ(TSRUtilityJSON::dataFromJSON(Json(5)), std::nullopt);
  EXPECT_EQ(TSRUtilityJSON::stringFromJSON(Json("text")), std::nullopt);
  Json infinite = {{"n", std::numeric_limits<double>::infinity()}};
  EXPECT_EQ(TSRUtilityJSON::dataFromJSON(infinite), std::nullopt);
  Json nested_nan = Json::array({Json::array({std::nan("")})});
  EXPECT_EQ(TSRUtilityJSON::dataFromJSON(nested_nan), std::nullopt);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"JSON: Couldn't serialize, not valid object/array: 5",
                                      "JSON: Couldn't serialize, not valid object/array: text",
                                      "JSON: Couldn't serialize, not valid object/array: {\"n\":null}",
                                      "JSON: Couldn't serialize, not valid object/array: [[null]]"}));
}

TEST(JsonSerialize, CompactTextKeepsTheParsedKeyOrderAndRoundTrips) {
  auto parsed = TSRUtilityJSON::jsonFromData(R"({"z": 1, "a": [true, 2.5], "m": {"y": "x"}, "ts": 1767225600123,
                                                 "t": "\u00e9"})");
  ASSERT_TRUE(parsed);
  auto text = TSRUtilityJSON::stringFromJSON(*parsed);
  EXPECT_EQ(text, "{\"z\":1,\"a\":[true,2.5],\"m\":{\"y\":\"x\"},\"ts\":1767225600123,\"t\":\"\xC3\xA9\"}");
  EXPECT_EQ(TSRUtilityJSON::jsonFromString(TSRUtilityJSON::stringFromJSON(*parsed, true)), parsed);
}

}  // namespace
}  // namespace tessarin

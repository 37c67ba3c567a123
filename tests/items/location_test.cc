#include "tessarin/location.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/log_capture.h"
#include "tessarin/items.h"

namespace tessarin {
namespace {

using testing::LogCapture;

TEST(LocationConstructors, RefuseOutOfRangeOrEmptyValues) {
  LogCapture capture;
  auto pole = TSRLocation::locationWithLatitude(90.0, -180.0);
  ASSERT_NE(pole, nullptr);
  EXPECT_EQ(pole->latitude, 90.0);
  EXPECT_EQ(pole->longitude, -180.0);
  EXPECT_TRUE(capture.records().empty());

  EXPECT_EQ(TSRLocation::locationWithLatitude(90.5, 10), nullptr);
  EXPECT_EQ(TSRLocation::locationWithLatitude(-45, 180.25), nullptr);
  EXPECT_EQ(TSRLocation::locationWithLatitude(std::nan(""), 0), nullptr);
  EXPECT_EQ(capture.count("Items: Invalid location. Latitude 90.5 Longitude 10", TSRLogLevelError), 1);
  EXPECT_EQ(capture.count("Items: Invalid location. Latitude -45 Longitude 180.25", TSRLogLevelError), 1);

  capture.clear();
  EXPECT_EQ(TSRLocation::locationWithCity("", "BE"), nullptr);
  EXPECT_EQ(TSRLocation::locationWithCity("Berlin", ""), nullptr);
  EXPECT_EQ(TSRLocation::locationWithPostalCode(""), nullptr);
  EXPECT_EQ(capture.messages(), (std::vector<std::string>{
                                    "Items: Invalid location. City is nil or empty.",
                                    "Items: Invalid location. State/Province Code is nil or empty.",
                                    "Items: Invalid location. Postal Code is nil or empty.",
                                }));
  EXPECT_EQ(capture.records()[2].level, TSRLogLevelError);

  auto city = TSRLocation::locationWithCity("Berlin", "BE");
  ASSERT_NE(city, nullptr);
  EXPECT_EQ(city->toJSONDictionary(), Json::parse(R"({"city":"Berlin","stateProvinceCode":"BE"})"));
}

TEST(LocationJson, LonglatIsLongitudeFirstAndOnlyExactlyTwoNumbers) {
  LogCapture capture;
  Json json = Json::parse(R"({"longlat": [13.4, 52.5]})");
  auto location = TSRLocation::locationFromJSONDictionary(&json);
  ASSERT_NE(location, nullptr);
  EXPECT_EQ(location->longitude, 13.4);
  EXPECT_EQ(location->latitude, 52.5);
  EXPECT_EQ(location->toJSONDictionary(), json);
  // Booleans are numbers in the platform's JSON model.
  Json flags = Json::parse(R"({"longlat": [true, false]})");
  location = TSRLocation::locationFromJSONDictionary(&flags);
  ASSERT_NE(location, nullptr);
  EXPECT_EQ(location->longitude, 1);
  EXPECT_EQ(location->latitude, 0);

  for (const char* text : {R"({"longlat": [13.4, 52.5, 1]})", R"({"longlat": [13.4]})", R"({"longlat": ["13", 52]})",
                           R"({"longlat": {"lon": 13.4, "lat": 52.5}})", R"({"city": "Berlin"})", "{}", "[]"}) {
    Json unusable = Json::parse(text);
    EXPECT_EQ(TSRLocation::locationFromJSONDictionary(&unusable), nullptr) << text;
  }
  EXPECT_EQ(TSRLocation::locationFromJSONDictionary(nullptr), nullptr);
  EXPECT_TRUE(capture.records().empty());
}

TEST(LocationJson, PartsMergeIntoOneLocation) {
  LogCapture capture;
  Json full = Json::parse(R"({"longlat": [-0.1, 51.5], "city": "London", "stateProvinceCode": "LND",
                              "postalCode": "EC1A"})");
  auto location = TSRLocation::locationFromJSONDictionary(&full);
  ASSERT_NE(location, nullptr);
  EXPECT_EQ(location->toJSONDictionary(), full);

  // Coordinates out of range are refused; the city then starts the location.
  Json farOff = Json::parse(R"({"longlat": [200, 10], "city": "Oslo", "stateProvinceCode": "03"})");
  location = TSRLocation::locationFromJSONDictionary(&farOff);
  ASSERT_NE(location, nullptr);
  EXPECT_FALSE(location->latitude);
  EXPECT_EQ(location->city, "Oslo");
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"Items: Invalid location. Latitude 10 Longitude 200"});

  Json postalOnly = Json::parse(R"({"postalCode": "75001", "city": "Paris"})");
  location = TSRLocation::locationFromJSONDictionary(&postalOnly);
  ASSERT_NE(location, nullptr);
  EXPECT_EQ(location->toJSONDictionary(), Json::parse(R"({"postalCode":"75001"})"));
}

TEST(LocationJson, WritingLeavesOutInvalidPartsAndSaysWhich) {
  LogCapture capture;
  auto location = TSRLocation::locationWithPostalCode("10115");
  location->city = "Berlin";
  EXPECT_EQ(location->toJSONDictionary(), Json::parse(R"({"postalCode":"10115"})"));
  EXPECT_EQ(capture.messages(),
            std::vector<std::string>{"Items: Ignored invalid fields: State or Province Code was empty. "});
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelInfo);

  // Fields changed after construction are checked again.
  capture.clear();
  location = TSRLocation::locationWithLatitude(45, 90);
  location->latitude = 95.5;
  location->stateProvinceCode = "";
  location->city = "";
  EXPECT_EQ(location->toJSONDictionary(), std::nullopt);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"Items: Ignored invalid fields: Latitude was 95.5. City was empty. State or "
                                      "Province Code was empty. ",
                                      "Items: Invalid location"}));
  EXPECT_EQ(capture.records()[1].level, TSRLogLevelError);

  capture.clear();
  location = TSRLocation::locationWithLatitude(45, 90);
  location->longitude.reset();
  location->postalCode = "";
  EXPECT_EQ(location->toJSONDictionary(), std::nullopt);
  EXPECT_EQ(capture.messages().at(0), "Items: Ignored invalid fields: Longitude was (null). Postal Code was empty. ");

  // An item whose location has nothing valid left carries no location.
  capture.clear();
  auto product = TSRProduct::productWithId("sku-1");
  product->location = location;
  EXPECT_EQ(product->toJSONDictionary(), Json::parse(R"({"_id":"sku-1","type":"p"})"));
  EXPECT_TRUE(capture.contains("Items: Invalid location", TSRLogLevelError));
}

}  // namespace
}  // namespace tessarin

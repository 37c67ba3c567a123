#include <gtest/gtest.h>

#include <chrono>

#include "support/log_capture.h"
#include "tessarin/items.h"

namespace tessarin {
namespace {

using testing::LogCapture;

std::string UtcText(double secondsSince1970) {
  using namespace std::chrono;
  sys_seconds time{seconds{static_cast<long long>(secondsSince1970)}};
  year_month_day date{floor<days>(time)};
  hh_mm_ss clock{time - floor<days>(time)};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02ld:%02ld:%02lld", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<long>(clock.hours().count()), static_cast<long>(clock.minutes().count()),
                static_cast<long long>(clock.seconds().count()));
  return text;
}

const Json kProduct = Json::parse(R"({
  "_id": "sku-1", "type": "p", "name": "Trail Shoe", "description": "Light", "url": "https://shop/sku-1",
  "imageUrl": "https://shop/sku-1.png", "published": 1500000000000, "expiration": 1500000000123,
  "tags": [{"_id": "t-1", "type": "t", "tagType": "Brand", "name": "Acme"}],
  "promotionState": "Excluded",
  "location": {"longlat": [13.4, 52.5], "postalCode": "10115"},
  "rating": 4.5, "numRatings": 12,
  "categories": [{"_id": "c-1", "type": "c", "isDepartment": true}, {"_id": "c-2", "type": "c", "isDepartment": false}],
  "price": 49.99, "priceDescription": "sale", "listPrice": 60, "currency": "EUR", "inventoryCount": 3,
  "alternateId": "alt-1"
})");

TEST(ItemJson, ProductRoundTripsEveryField) {
  LogCapture capture;
  auto item = TSRItem::fromJSONDictionary(&kProduct);
  auto product = std::dynamic_pointer_cast<TSRProduct>(item);
  ASSERT_NE(product, nullptr);
  EXPECT_EQ(product->tsrId, "sku-1");
  EXPECT_EQ(product->tsrDescription, "Light");
  EXPECT_EQ(product->promotionState, TSRPromotionState_excluded);
  EXPECT_EQ(product->price, 49.99);
  EXPECT_EQ(product->inventoryCount, 3);
  ASSERT_EQ(product->tags.size(), 1u);
  EXPECT_EQ(std::dynamic_pointer_cast<TSRTag>(product->tags[0])->tagType, TSRTagType_brand);
  ASSERT_EQ(product->categories.size(), 2u);
  EXPECT_TRUE(std::dynamic_pointer_cast<TSRCategory>(product->categories[0])->isDepartment);
  EXPECT_FALSE(std::dynamic_pointer_cast<TSRCategory>(product->categories[1])->isDepartment);
  ASSERT_NE(product->location, nullptr);
  EXPECT_EQ(product->location->longitude, 13.4);
  EXPECT_EQ(product->location->latitude, 52.5);

  // Milliseconds in, seconds in the field, the same milliseconds out.
  ASSERT_TRUE(product->published);
  EXPECT_EQ(*product->published, 1500000000.0);
  EXPECT_EQ(UtcText(*product->published), "2017-07-14 02:40:00");

  Json written = product->toJSONDictionary();
  EXPECT_EQ(written, kProduct);
  // Whole numbers keep their integer form on the wire.
  std::string text = JsonDump(written);
  EXPECT_NE(text.find(R"("published":1500000000000,"expiration":1500000000123)"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("numRatings":12)"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("listPrice":60,)"), std::string::npos) << text;
  EXPECT_TRUE(capture.records().empty());
}

TEST(ItemJson, ArticlesAndBlogsUseTheSubtitleKey) {
  LogCapture capture;
  for (const char* type : {"a", "b"}) {
    Json json = {{"_id", "post-1"},
                 {"type", type},
                 {"subtitle", "Part two"},
                 {"modifiedDate", 1500000000000},
                 {"categories", Json::array({{{"_id", "news"}, {"type", "c"}, {"isDepartment", false}}})}};
    auto item = TSRItem::fromJSONDictionary(&json);
    ASSERT_NE(item, nullptr);
    EXPECT_STREQ(item->typeCode(), type);
    if (auto article = std::dynamic_pointer_cast<TSRArticle>(item)) {
      EXPECT_EQ(article->subTitle, "Part two");
      EXPECT_EQ(article->modifiedDate, 1500000000.0);
    } else {
      auto blog = std::dynamic_pointer_cast<TSRBlog>(item);
      ASSERT_NE(blog, nullptr);
      EXPECT_EQ(blog->subTitle, "Part two");
    }
    EXPECT_EQ(item->toJSONDictionary(), json);
  }
  // The field's own spelling is not the key.
  Json camel = {{"_id", "post-2"}, {"subTitle", "ignored"}};
  auto article = TSRArticle::articleFromJSONDictionary(&camel);
  ASSERT_NE(article, nullptr);
  EXPECT_FALSE(article->subTitle);

  auto blog = TSRBlog::blogWithId("b-1", "Diary", "Day 3", "https://blog/3", std::nullopt);
  EXPECT_EQ(blog->toJSONDictionary(), Json::parse(R"({"_id":"b-1","type":"b","name":"Diary","subtitle":"Day 3",
                                                      "url":"https://blog/3"})"));
  EXPECT_TRUE(capture.records().empty());
}

TEST(ItemJson, TagTypesAndCategoriesRoundTrip) {
  LogCapture capture;
  const char* names[] = {"Brand", "ItemClass", "Gender", "Style", "Author", "Keyword", "ContentClass"};
  for (long type = 0; type < 7; ++type) {
    Json json = {{"_id", "tag"}, {"type", "t"}, {"tagType", names[type]}};
    auto tag = std::dynamic_pointer_cast<TSRTag>(TSRItem::fromJSONDictionary(&json));
    ASSERT_NE(tag, nullptr) << names[type];
    EXPECT_EQ(tag->tagType, type);
    EXPECT_EQ(tag->toJSONDictionary(), json);
  }
  // A tag type the app set out of range is not written.
  auto tag = TSRTag::tagWithId("t-9", static_cast<TSRTagType>(7), "Odd", std::nullopt);
  EXPECT_EQ(tag->toJSONDictionary(), Json::parse(R"({"_id":"t-9","type":"t","name":"Odd"})"));
  tag->tagType = static_cast<TSRTagType>(-1);
  EXPECT_FALSE(tag->toJSONDictionary().contains("tagType"));

  auto department = TSRCategory::categoryWithId("shoes", true, "Shoes", "All shoes");
  Json departmentJson = department->toJSONDictionary();
  EXPECT_EQ(departmentJson, Json::parse(R"({"_id":"shoes","type":"c","name":"Shoes","description":"All shoes",
                                            "isDepartment":true})"));
  auto back = TSRCategory::categoryFromJSONDictionary(&departmentJson);
  ASSERT_NE(back, nullptr);
  EXPECT_TRUE(back->isDepartment);
  EXPECT_TRUE(capture.records().empty());
}

TEST(ItemJson, OnlyTheTwoKnownPromotionStatesAreKept) {
  Json json = {{"_id", "sku-2"}, {"type", "p"}, {"promotionState", "Featured"}};
  auto product = TSRProduct::productFromJSONDictionary(&json);
  ASSERT_NE(product, nullptr);
  EXPECT_EQ(product->promotionState, TSRPromotionState_none);
  EXPECT_FALSE(product->toJSONDictionary().contains("promotionState"));

  json["promotionState"] = "Prioritized";
  product = TSRProduct::productFromJSONDictionary(&json);
  EXPECT_EQ(product->promotionState, TSRPromotionState_prioritized);
  EXPECT_EQ(product->toJSONDictionary()["promotionState"], "Prioritized");
}

TEST(ItemJson, ValuesOfAnotherKindOrNullCountAsAbsent) {
  LogCapture capture;
  Json json = Json::parse(R"({"_id": "sku-3", "type": "p", "name": 5, "url": null, "rating": "high",
                              "published": "2017-07-14", "location": "Berlin", "tags": {"_id": "t"},
                              "categories": "shoes", "price": [1], "isDepartment": "yes", "currency": 978})");
  auto product = TSRProduct::productFromJSONDictionary(&json);
  ASSERT_NE(product, nullptr);
  EXPECT_FALSE(product->name || product->url || product->rating || product->published || product->price ||
               product->currency);
  EXPECT_EQ(product->location, nullptr);
  EXPECT_TRUE(product->tags.empty() && product->categories.empty());
  EXPECT_EQ(product->toJSONDictionary(), Json::parse(R"({"_id":"sku-3","type":"p"})"));
  // Booleans are numbers, as the platform's JSON model has them.
  Json category = {{"_id", "c"}, {"isDepartment", 1}};
  EXPECT_TRUE(TSRCategory::categoryFromJSONDictionary(&category)->isDepartment);
  EXPECT_TRUE(capture.records().empty());
}

TEST(ItemJson, RefusedItemsAreLoggedVerbatim) {
  LogCapture capture;
  EXPECT_EQ(TSRItem::fromJSONDictionary(nullptr), nullptr);
  EXPECT_EQ(TSRProduct::productFromJSONDictionary(nullptr), nullptr);
  EXPECT_EQ(capture.count("Items: from JSON, nil", TSRLogLevelWarn), 2);

  capture.clear();
  for (const char* text : {R"({"_id": "", "type": "p"})", R"({"_id": 42, "type": "a"})", R"({"type": "c"})"}) {
    Json json = Json::parse(text);
    EXPECT_EQ(TSRItem::fromJSONDictionary(&json), nullptr) << text;
  }
  EXPECT_EQ(capture.count("Items: from JSON, missing tsrId", TSRLogLevelError), 3);

  capture.clear();
  Json unknownType = {{"_id", "x"}, {"type", "z"}}, numericType = {{"_id", "x"}, {"type", 1}}, noType = {{"_id", "x"}};
  EXPECT_EQ(TSRItem::fromJSONDictionary(&unknownType), nullptr);
  EXPECT_EQ(TSRItem::fromJSONDictionary(&numericType), nullptr);
  EXPECT_EQ(TSRItem::fromJSONDictionary(&noType), nullptr);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"Items: from JSON, invalid item type z", "Items: from JSON, invalid item type 1",
                                      "Items: from JSON, invalid item type (null)"}));
  EXPECT_EQ(capture.count("Items: from JSON, invalid item type z", TSRLogLevelError), 1);

  capture.clear();
  Json badTag = {{"_id", "t"}, {"type", "t"}, {"tagType", "Color"}}, untypedTag = {{"_id", "t"}};
  EXPECT_EQ(TSRTag::tagFromJSONDictionary(&badTag), nullptr);
  EXPECT_EQ(TSRTag::tagFromJSONDictionary(&untypedTag), nullptr);
  EXPECT_EQ(capture.count("Items: JSON invalid tag type Color", TSRLogLevelError), 1);
  EXPECT_EQ(capture.count("Items: JSON invalid tag type (null)", TSRLogLevelError), 1);
}

TEST(ItemJson, InvalidArrayElementsAreSkippedWithAWarning) {
  LogCapture capture;
  Json json = Json::parse(R"({"_id": "sku-4", "type": "p",
    "tags": ["sale", {"_id": "t-1", "tagType": "Color"}, {"_id": "t-2", "tagType": "Style"}],
    "categories": [7, {"_id": ""}, {"_id": "c-1"}]})");
  auto product = TSRProduct::productFromJSONDictionary(&json);
  ASSERT_NE(product, nullptr);
  ASSERT_EQ(product->tags.size(), 1u);
  EXPECT_EQ(product->tags[0]->tsrId, "t-2");
  ASSERT_EQ(product->categories.size(), 1u);
  EXPECT_EQ(product->categories[0]->tsrId, "c-1");
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{
                "Items: from JSON, ignoring invalid tag NSString sale",
                "Items: JSON invalid tag type Color",
                R"(Items: from JSON, ignoring invalid tag NSDictionary {"_id":"t-1","tagType":"Color"})",
                "Items: from JSON, ignoring invalid category object (expected NSDictionary): NSNumber 7",
                "Items: from JSON, missing tsrId",
            }));
  EXPECT_EQ(capture.count("Items: from JSON, ignoring invalid tag NSString sale", TSRLogLevelWarn), 1);

  // Merging keeps the categories it has when the JSON gives none that work.
  capture.clear();
  product->mergeCategorizedItemFieldsFromJSONDictionary(Json::parse(R"({"categories": ["x"]})"));
  ASSERT_EQ(product->categories.size(), 1u);
  EXPECT_EQ(product->categories[0]->tsrId, "c-1");
  product->mergeCategorizedItemFieldsFromJSONDictionary(Json::parse(R"({"categories": [{"_id": "c-9"}]})"));
  ASSERT_EQ(product->categories.size(), 1u);
  EXPECT_EQ(product->categories[0]->tsrId, "c-9");

  capture.clear();
  Json array = Json::parse(R"([{"_id": "a-1", "type": "a"}, 5, {"_id": "x", "type": "q"}, null,
                               {"_id": "t-1", "type": "t", "tagType": "Author"}])");
  auto items = TSRItem::fromJSONArray(&array);
  ASSERT_EQ(items.size(), 2u);
  EXPECT_NE(std::dynamic_pointer_cast<TSRArticle>(items[0]), nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<TSRTag>(items[1]), nullptr);
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"Items: from JSON, invalid item object (expected NSDictionary): NSNumber 5",
                                      "Items: from JSON, invalid item type q",
                                      "Items: from JSON, invalid item object (expected NSDictionary): NSNull <null>"}));
  EXPECT_TRUE(TSRItem::fromJSONArray(nullptr).empty());
}

TEST(ItemJson, WritingSkipsElementsOfTheWrongClass) {
  LogCapture capture;
  auto product = TSRProduct::productWithId("sku-5", "Boot", 120, std::nullopt, std::nullopt, std::nullopt);
  product->tags = {TSRTag::tagWithId("t-1", TSRTagType_gender), TSRProduct::productWithId("sku-6"), nullptr};
  product->categories = {TSRTag::tagWithId("t-2", TSRTagType_keyword)};
  Json json = product->toJSONDictionary();
  EXPECT_EQ(json, Json::parse(R"({"_id":"sku-5","type":"p","name":"Boot","price":120,
                                  "tags":[{"_id":"t-1","type":"t","tagType":"Gender"}]})"));
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{
                "Items: to JSON, ignoring invalid object (expected TSRTag) in tags array: TSRProduct <TSRProduct: "
                "_id=sku-6>",
                "Items: to JSON, ignoring invalid object (expected TSRTag) in tags array: NSNull <null>",
                "Items: to JSON, ignoring invalid object (expected TSRCategory) in categories array: TSRTag <TSRTag: "
                "_id=t-2>",
            }));
  EXPECT_EQ(capture.countContaining("to JSON, ignoring"), 3);
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelWarn);
}

TEST(ItemConstruction, AnEmptyIdMakesNoItem) {
  EXPECT_EQ(TSRItem::initWithTsrId(""), nullptr);
  EXPECT_EQ(TSRCategorizedItem::initWithTsrId(""), nullptr);
  EXPECT_EQ(TSRProduct::productWithId(""), nullptr);
  EXPECT_EQ(TSRProduct::productWithId("", "n", 1, "u", "i", "d"), nullptr);
  EXPECT_EQ(TSRArticle::articleWithId(""), nullptr);
  EXPECT_EQ(TSRBlog::blogWithId(""), nullptr);
  EXPECT_EQ(TSRCategory::categoryWithId("", true, "n", "d"), nullptr);
  EXPECT_EQ(TSRTag::tagWithId("", TSRTagType_brand), nullptr);

  // Items made with `init` carry only their type (the base classes have none).
  EXPECT_EQ(TSRItem().toJSONDictionary(), Json::object());
  EXPECT_EQ(TSRCategorizedItem().toJSONDictionary(), Json::object());
  EXPECT_EQ(TSRArticle().toJSONDictionary(), Json::parse(R"({"type":"a"})"));

  auto plain = TSRItem::initWithTsrId("i-1");
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(plain->description(), "<TSRItem: _id=i-1>");
  Json json = {{"_id", "i-1"}, {"type", "p"}, {"price", 3}};
  // Reading as a given class ignores "type"; the base class reads only the base fields.
  auto base = TSRItem::initWithJSON(&json);
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(std::dynamic_pointer_cast<TSRProduct>(base), nullptr);
  EXPECT_EQ(base->toJSONDictionary(), Json::parse(R"({"_id":"i-1"})"));
}

}  // namespace
}  // namespace tessarin

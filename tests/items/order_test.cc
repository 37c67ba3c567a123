#include "tessarin/order.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "tessarin/review.h"

namespace tessarin {
namespace {

using testing::LogCapture;

TEST(OrderJson, WritesLineItemsAndSkipsMissingOnes) {
  LogCapture capture;
  auto order = TSROrder::orderWithId("o-1",
                                     {TSRLineItem::lineItemWithProductId("sku-1", "Shoe", 49.99, 2), nullptr,
                                      TSRLineItem::lineItemWithItem(TSRArticle::articleWithId("a-1"), std::nullopt)},
                                     99.98);
  order->totalValueCurrency = "EUR";
  EXPECT_EQ(order->toJSONDictionary(), Json::parse(R"({
    "orderId": "o-1",
    "lineItems": [{"quantity": 2, "item": {"_id": "sku-1", "type": "p", "name": "Shoe", "price": 49.99}},
                  {"item": {"_id": "a-1", "type": "a"}}],
    "totalValue": 99.98, "totalValueCurrency": "EUR"})"));
  EXPECT_EQ(capture.messages(),
            std::vector<std::string>{
                "Items: Ignoring invalid object (expected TSRLineItem) in lineItems array: NSNull <null>"});
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelWarn);

  // No usable line item: no "lineItems" at all.
  auto empty = TSROrder::initWithLineItems({nullptr});
  EXPECT_EQ(empty->toJSONDictionary(), Json::object());
  EXPECT_EQ(TSROrder().toJSONDictionary(), Json::object());
}

TEST(LineItemJson, HoldsAnyItemOrNone) {
  // `init` holds an item with nothing set.
  EXPECT_EQ(TSRLineItem().toJSONDictionary(), Json::parse(R"({"item": {}})"));
  // An empty product id makes no product, so only the quantity remains.
  auto noProduct = TSRLineItem::lineItemWithProductId("", "Shoe", 10, 1);
  EXPECT_EQ(noProduct->item, nullptr);
  EXPECT_EQ(noProduct->toJSONDictionary(), Json::parse(R"({"quantity": 1})"));

  auto tagLine = TSRLineItem::initWithItem(TSRTag::tagWithId("t-1", TSRTagType_style), 1.5);
  EXPECT_EQ(tagLine->toJSONDictionary(),
            Json::parse(R"({"quantity": 1.5, "item": {"_id": "t-1", "type": "t", "tagType": "Style"}})"));
  EXPECT_EQ(tagLine->description(), "<TSRLineItem: item=<TSRTag: _id=t-1>>");
}

TEST(ReviewJson, WritesPurchasedOnlyWhenTrue) {
  auto review = TSRReview::reviewWithItemId("sku-1", 1500000000.0, 4, "Comfortable", false);
  EXPECT_EQ(review->toJSONDictionary(),
            Json::parse(R"({"date": 1500000000000, "itemId": "sku-1", "rating": 4, "title": "Comfortable"})"));
  review->purchased = true;
  review->content = "Fits well";
  review->userDisplayName = "Ana";
  Json json = review->toJSONDictionary();
  EXPECT_EQ(json, Json::parse(R"({"date": 1500000000000, "itemId": "sku-1", "rating": 4, "title": "Comfortable",
                                  "content": "Fits well", "userDisplayName": "Ana", "purchased": true})"));
  EXPECT_TRUE(json["purchased"].is_boolean());
  EXPECT_EQ(JsonDump(json).substr(0, 40), R"({"date":1500000000000,"itemId":"sku-1",")");

  // `init` reviews the item "".
  EXPECT_EQ(TSRReview().toJSONDictionary(), Json::parse(R"({"itemId": ""})"));
}

}  // namespace
}  // namespace tessarin

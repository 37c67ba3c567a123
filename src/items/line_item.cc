// TSRLineItem: one item of an order or cart change, with its quantity.
#include "items/json_fields.h"
#include "tessarin/order.h"

namespace tessarin {

TSRLineItem::TSRLineItem() : item(std::make_shared<TSRItem>()) {}

std::shared_ptr<TSRLineItem> TSRLineItem::initWithItem(std::shared_ptr<TSRItem> item, std::optional<double> quantity) {
  auto lineItem = std::make_shared<TSRLineItem>();
  lineItem->item = std::move(item);
  lineItem->quantity = quantity;
  return lineItem;
}

std::shared_ptr<TSRLineItem> TSRLineItem::lineItemWithItem(std::shared_ptr<TSRItem> item,
                                                           std::optional<double> quantity) {
  return initWithItem(std::move(item), quantity);
}

std::shared_ptr<TSRLineItem> TSRLineItem::lineItemWithProductId(const std::string& productId,
                                                                const std::optional<std::string>& productName,
                                                                std::optional<double> price,
                                                                std::optional<double> quantity) {
  std::shared_ptr<TSRProduct> product = TSRProduct::productWithId(productId);
  if (product) {
    product->name = productName;
    product->price = price;
  }
  return initWithItem(std::move(product), quantity);
}

Json TSRLineItem::toJSONDictionary() const {
  Json json = Json::object();
  items::PutNumber(json, "quantity", quantity);
  if (item) json["item"] = item->toJSONDictionary();
  return json;
}

std::string TSRLineItem::description() const {
  return "<TSRLineItem: item=" + (item ? item->description() : std::string("(null)")) + ">";
}

}  // namespace tessarin

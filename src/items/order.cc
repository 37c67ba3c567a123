// TSROrder: a purchase, written with the line items it holds.
#include "tessarin/order.h"

#include "base/log.h"
#include "items/json_fields.h"
#include "items/log_names.h"

namespace tessarin {

std::shared_ptr<TSROrder> TSROrder::initWithLineItems(std::vector<std::shared_ptr<TSRLineItem>> lineItems) {
  auto order = std::make_shared<TSROrder>();
  order->lineItems = std::move(lineItems);
  return order;
}

std::shared_ptr<TSROrder> TSROrder::orderWithId(const std::optional<std::string>& orderId,
                                                std::vector<std::shared_ptr<TSRLineItem>> lineItems,
                                                std::optional<double> totalValue) {
  auto order = initWithLineItems(std::move(lineItems));
  order->orderId = orderId;
  order->totalValue = totalValue;
  return order;
}

Json TSROrder::toJSONDictionary() const {
  Json json = Json::object();
  items::PutString(json, "orderId", orderId);
  Json lineItemsJson = Json::array();
  for (const auto& lineItem : lineItems) {
    if (!lineItem) {
      TSR_LOG_WARN("Items: Ignoring invalid object (expected TSRLineItem) in lineItems array: %@ %@",
                   items::kNullElementClassName, items::kNullElementDescription);
      continue;
    }
    lineItemsJson.push_back(lineItem->toJSONDictionary());
  }
  if (!lineItemsJson.empty()) json["lineItems"] = std::move(lineItemsJson);
  items::PutNumber(json, "totalValue", totalValue);
  items::PutString(json, "totalValueCurrency", totalValueCurrency);
  return json;
}

}  // namespace tessarin

// Purchases: an order made of line items, each an item with a quantity.
//
// Like items, orders and line items are shared objects with public fields;
// a field that is not set is left out of the JSON form. Numbers are doubles
// (whole numbers are written without a fraction).
//
// Thread contract: as for items, orders and line items are plain values the
// app owns; a context reads them on the caller's thread, before its call
// returns.
#ifndef TESSARIN_ORDER_H_
#define TESSARIN_ORDER_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tessarin/export.h"
#include "tessarin/items.h"
#include "tessarin/json.h"

namespace tessarin {

class TESSARIN_EXPORT TSRLineItem {
 public:
  // `init`: a line item holding an item with nothing set.
  TSRLineItem();

  // Any item class; written as the item's own JSON form.
  std::shared_ptr<TSRItem> item;
  std::optional<double> quantity;

  static std::shared_ptr<TSRLineItem> initWithItem(std::shared_ptr<TSRItem> item, std::optional<double> quantity);
  static std::shared_ptr<TSRLineItem> lineItemWithItem(std::shared_ptr<TSRItem> item, std::optional<double> quantity);
  // A line item for a product with this id, name and price. An empty id
  // makes no product, and the line item then holds no item.
  static std::shared_ptr<TSRLineItem> lineItemWithProductId(const std::string& productId,
                                                            const std::optional<std::string>& productName,
                                                            std::optional<double> price,
                                                            std::optional<double> quantity);

  // "quantity" and "item", each when set.
  Json toJSONDictionary() const;
  std::string description() const;
};

class TESSARIN_EXPORT TSROrder {
 public:
  std::optional<std::string> orderId;
  // A null element stands for something that is not a line item: it is
  // skipped, with a warning, when the order is written.
  std::vector<std::shared_ptr<TSRLineItem>> lineItems;
  std::optional<double> totalValue;
  std::optional<std::string> totalValueCurrency;

  static std::shared_ptr<TSROrder> initWithLineItems(std::vector<std::shared_ptr<TSRLineItem>> lineItems);
  static std::shared_ptr<TSROrder> orderWithId(const std::optional<std::string>& orderId,
                                               std::vector<std::shared_ptr<TSRLineItem>> lineItems,
                                               std::optional<double> totalValue);

  // Every set field under its key; "lineItems" only when at least one line
  // item was written.
  Json toJSONDictionary() const;
};

}  // namespace tessarin

#endif  // TESSARIN_ORDER_H_

#include "demo/shop.h"

namespace tessarin::demo {

Shop::Shop() {
  shoes = TSRProduct::productWithId("sku-42", "Trail Shoes", 89.0, "https://shop.example/sku-42",
                                    "https://shop.example/sku-42.png", "Light trail shoes");
  shoes->currency = "EUR";
  shoes->categories.push_back(TSRCategory::categoryWithId("shoes"));
  line = TSRLineItem::lineItemWithItem(shoes, 1);
  order = TSROrder::orderWithId("order-1001", {line}, 89.0);
  order->totalValueCurrency = "EUR";
}

std::string DemoDeviceToken() { return std::string("\x5e\x55\x10\x00\xca\xfe\xf0\x0d", 8); }

Json DemoPushNotification() {
  return Json{{"aps", {{"alert", "Trail Shoes are back"}}}, {"tsr-eid", "demo-exp-7"}};
}

}  // namespace tessarin::demo

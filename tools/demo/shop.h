// What the demo's shop app sells and what reaches it from outside: one
// product, its cart line and order, the device's push token, a marketer's
// test link and a push notification of an experience. Both hosts' sessions
// use the same ones, so their events can be compared.
#ifndef TESSARIN_TOOLS_DEMO_SHOP_H_
#define TESSARIN_TOOLS_DEMO_SHOP_H_

#include <memory>
#include <string>

#include "tessarin/items.h"
#include "tessarin/json.h"
#include "tessarin/order.h"

namespace tessarin::demo {

struct Shop {
  std::shared_ptr<TSRProduct> shoes;
  std::shared_ptr<TSRLineItem> line;  // one pair of shoes
  std::shared_ptr<TSROrder> order;    // the line, paid

  Shop();
};

// The device token the platform hands the app, as raw bytes.
std::string DemoDeviceToken();
// A marketer's link selecting every test campaign.
inline constexpr const char* kDemoTestLink = "tsrdemo://test/all";
// A notification of experience "demo-exp-7", as the platform delivers it.
Json DemoPushNotification();

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_SHOP_H_

// The C interface end to end: tessarin-capi-probe, a C app linked to the
// shared library, plays a session against the local service in a process
// of its own (a fresh shared instance, the real Linux host). The probe
// checks what the interface answers it; this test checks what the service
// received.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "service/local_service.h"
#include "support/child_process.h"
#include "tessarin/events.h"
#include "tessarin/json.h"

namespace tessarin {
namespace {

using service::Endpoint;
using service::LocalService;
using testing::ChildProcess;

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/tessarin-capi-XXXXXX";
    if (mkdtemp(pattern)) path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class CapiRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(data.path().empty());
    ASSERT_TRUE(service.start()) << service.error();
    service.setAppConfig("shop", Json::object());
  }

  // Every event the service received, in order.
  std::vector<Json> Events() const {
    std::vector<Json> events;
    for (const auto& batch : service.requests(Endpoint::kEvents)) {
      if (!batch.body.is_array()) continue;
      for (const Json& event : batch.body) events.push_back(event);
    }
    return events;
  }

  // Reads the probe's lines until it is done (or gives up) and waits for it
  // to exit; its exit status.
  static int RunProbe(ChildProcess& probe) {
    probe.readLineContaining("done", std::chrono::seconds(30));
    auto status = probe.wait(std::chrono::seconds(5));
    return status ? *status : -1;
  }

  static LocalService::Options OverTls() {
    LocalService::Options options;
    options.https = true;
    return options;
  }

  TempDir data;
  // Over TLS, its generated certificate handed to the probe as the one to trust.
  LocalService service{OverTls()};
};

const Json* Find(const std::vector<Json>& events, const std::function<bool(const Json&)>& match) {
  for (const Json& event : events) {
    if (match(event)) return &event;
  }
  return nullptr;
}

bool HasAction(const Json& event, const std::string& action) {
  auto it = event.find(TSREvent_action);
  return it != event.end() && *it == action;
}

// The campaign statistics payloads the service received.
std::vector<Json> StatPayloads(const std::vector<Json>& events) {
  std::vector<Json> payloads;
  for (const Json& event : events) {
    auto it = event.find(TSREvent_campaignStats);
    if (it == event.end() || !it->is_string()) continue;
    for (const Json& payload : Json::parse(it->get<std::string>())) payloads.push_back(payload);
  }
  return payloads;
}

TEST_F(CapiRoundTrip, SessionOfACApp) {
  service.queueCampaigns(
      Json::array({LocalService::DataCampaign("hero", Json{{"headline", "Spring sale"}}, "cmp-1", "Global")}));

  ChildProcess probe({TESSARIN_CAPI_PROBE, std::to_string(service.port()), data.path(), service.certificatePath()});
  ASSERT_TRUE(probe.started());
  ASSERT_EQ(RunProbe(probe), 0) << "the probe's own checks failed (see its stderr)";

  // The campaign reached the C handler with its data as JSON text.
  const auto& lines = probe.lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), R"(campaign hero {"headline":"Spring sale"})");
  EXPECT_EQ(lines.back(), "done");

  // The host options went into the configuration request.
  auto config = service.requests(Endpoint::kAppConfig);
  ASSERT_FALSE(config.empty());
  EXPECT_EQ(config[0].configParams, (std::vector<std::string>{"CapiOS", "com.tessarin.capi-probe", "1.0", "1.5.0"}));

  auto events = Events();
  const Json* home = Find(events, [](const Json& e) { return HasAction(e, "Open Home"); });
  ASSERT_NE(home, nullptr);
  EXPECT_EQ(home->value(TSREvent_userId, ""), "c-user");
  EXPECT_EQ(home->value(TSREvent_contextId, ""), "Global");
  EXPECT_EQ(home->value(TSREvent_osName, ""), "CapiOS");
  EXPECT_NE(JsonDump(*home).find("gold"), std::string::npos) << "the attribute rides on the next action";

  const Json* view = Find(events, [](const Json& e) { return HasAction(e, TSRItemAction_viewItem); });
  ASSERT_NE(view, nullptr);
  Json item = Json::parse(view->value(TSREvent_item, "{}"));
  EXPECT_EQ(item["_id"], "sku-1");
  EXPECT_EQ(item["type"], "p");
  EXPECT_EQ(item["price"], 89);
  EXPECT_EQ(item["categories"], Json::parse(R"([{"_id":"shoes","type":"c","isDepartment":false}])"));

  // A view with an action name of the app's: the action, the item action riding along.
  const Json* category = Find(events, [](const Json& e) { return HasAction(e, "Browse Shoes"); });
  ASSERT_NE(category, nullptr);
  EXPECT_EQ(category->value(TSREvent_itemAction, ""), TSRItemAction_viewCategory);

  const Json* cart = Find(events, [](const Json& e) { return HasAction(e, TSRItemAction_addToCart); });
  ASSERT_NE(cart, nullptr);
  Json line = Json::parse(cart->value(TSREvent_lineItem, "{}"));
  EXPECT_EQ(line["quantity"], 2);
  EXPECT_EQ(line["item"]["_id"], "sku-1");

  const Json* purchase = Find(events, [](const Json& e) { return HasAction(e, TSRItemAction_purchase); });
  ASSERT_NE(purchase, nullptr);
  Json order = Json::parse(purchase->value(TSREvent_order, "{}"));
  EXPECT_EQ(order["orderId"], "o-1");
  EXPECT_EQ(order["totalValue"], 178);
  EXPECT_EQ(order["totalValueCurrency"], "EUR");
  ASSERT_EQ(order["lineItems"].size(), 1u);

  // Refused input sent nothing: one purchase, one cart event.
  int purchases = 0, carts = 0;
  for (const Json& event : events) {
    purchases += HasAction(event, TSRItemAction_purchase);
    carts += HasAction(event, TSRItemAction_addToCart);
  }
  EXPECT_EQ(purchases, 1);
  EXPECT_EQ(carts, 1);

  // The impression from inside the handler, the click later through a copy.
  auto stats = StatPayloads(events);
  auto has_stat = [&](const char* type, const char* stat) {
    for (const Json& payload : stats) {
      if (payload.value("type", "") == type && payload.value("stat", "") == stat &&
          payload.value("id", "").rfind("cmp-1", 0) == 0)
        return true;
    }
    return false;
  };
  EXPECT_TRUE(has_stat("e", "i"));
  EXPECT_TRUE(has_stat("m", "i"));
  EXPECT_TRUE(has_stat("e", "c"));
  EXPECT_TRUE(has_stat("m", "c"));
}

}  // namespace
}  // namespace tessarin

#include "capi/capi_items.h"

#include <string>

#include "base/log.h"

namespace tessarin::capi {
namespace {

bool IsNumber(const Json& value) { return value.is_number(); }  // not a boolean

// The member `key` of `json` when present; refuses (logs) one of the wrong kind.
template <class Check>
bool Member(const char* function, const char* object, const Json& json, const char* key, Check check,
            const char* expected, const Json** out) {
  *out = nullptr;
  auto it = json.find(key);
  if (it == json.end() || it->is_null()) return true;
  if (!check(*it)) {
    TSR_LOG_ERROR("C API: %@: %@ \"%@\" is not %@: %@", function, object, key, expected, *it);
    return false;
  }
  *out = &*it;
  return true;
}

void WarnUnknownKeys(const char* function, const char* object, const Json& json,
                     std::initializer_list<const char*> known) {
  for (const auto& [key, value] : json.items()) {
    bool found = false;
    for (const char* name : known) found = found || key == name;
    if (!found) TSR_LOG_WARN("C API: %@: ignoring unknown %@ key \"%@\"", function, object, key);
  }
}

}  // namespace

std::optional<Json> ParseJsonText(const char* function, const char* text) {
  Json json = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) {
    TSR_LOG_ERROR("C API: %@: not JSON: %@", function, text);
    return std::nullopt;
  }
  return json;
}

std::shared_ptr<TSRItem> ItemFromJson(const char* function, const Json& json) {
  if (!json.is_object()) {
    TSR_LOG_ERROR("C API: %@: an item is a JSON object: %@", function, json);
    return nullptr;
  }
  auto item = TSRItem::fromJSONDictionary(&json);  // logs why it makes none
  if (!item) TSR_LOG_ERROR("C API: %@: not an item: %@", function, json);
  return item;
}

std::shared_ptr<TSRLineItem> LineItemFromJson(const char* function, const Json& json) {
  if (!json.is_object()) {
    TSR_LOG_ERROR("C API: %@: a line item is a JSON object: %@", function, json);
    return nullptr;
  }
  WarnUnknownKeys(function, "line item", json, {"item", "quantity"});
  auto item = json.find("item");
  if (item == json.end()) {
    TSR_LOG_ERROR("C API: %@: a line item needs an \"item\": %@", function, json);
    return nullptr;
  }
  const Json* quantity = nullptr;
  if (!Member(function, "line item", json, "quantity", IsNumber, "a number", &quantity)) return nullptr;
  auto made = ItemFromJson(function, *item);
  if (!made) return nullptr;
  return TSRLineItem::lineItemWithItem(std::move(made),
                                       quantity ? std::optional<double>(quantity->get<double>()) : std::nullopt);
}

std::shared_ptr<TSROrder> OrderFromJson(const char* function, const Json& json) {
  if (!json.is_object()) {
    TSR_LOG_ERROR("C API: %@: an order is a JSON object: %@", function, json);
    return nullptr;
  }
  WarnUnknownKeys(function, "order", json, {"orderId", "lineItems", "totalValue", "totalValueCurrency"});
  auto is_string = [](const Json& value) { return value.is_string(); };
  auto is_array = [](const Json& value) { return value.is_array(); };
  const Json* order_id = nullptr;
  const Json* line_items = nullptr;
  const Json* total = nullptr;
  const Json* currency = nullptr;
  if (!Member(function, "order", json, "orderId", is_string, "a string", &order_id) ||
      !Member(function, "order", json, "lineItems", is_array, "an array", &line_items) ||
      !Member(function, "order", json, "totalValue", IsNumber, "a number", &total) ||
      !Member(function, "order", json, "totalValueCurrency", is_string, "a string", &currency)) {
    return nullptr;
  }
  std::vector<std::shared_ptr<TSRLineItem>> lines;
  if (line_items) {
    for (const Json& element : *line_items) {
      auto line = LineItemFromJson(function, element);
      if (!line) return nullptr;
      lines.push_back(std::move(line));
    }
  }
  auto order = TSROrder::orderWithId(order_id ? std::optional<std::string>(order_id->get<std::string>()) : std::nullopt,
                                     std::move(lines),
                                     total ? std::optional<double>(total->get<double>()) : std::nullopt);
  if (currency) order->totalValueCurrency = currency->get<std::string>();
  return order;
}

}  // namespace tessarin::capi

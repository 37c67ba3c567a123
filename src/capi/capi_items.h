// The C interface's JSON texts made into the SDK's catalog objects: items,
// line items and orders, as a C++ app would build them. What cannot be made
// is logged under the name of the C function that was given it.
#ifndef TESSARIN_CAPI_CAPI_ITEMS_H_
#define TESSARIN_CAPI_CAPI_ITEMS_H_

#include <memory>
#include <optional>

#include "tessarin/items.h"
#include "tessarin/json.h"
#include "tessarin/order.h"

namespace tessarin::capi {

// The parsed text, or nothing (logged) when it is not JSON.
std::optional<Json> ParseJsonText(const char* function, const char* text);

// Null (logged) when `json` does not describe one: an item needs "type" and
// "_id"; a line item needs a valid "item"; every line item of an order must
// be valid. Fields of the wrong kind are refused, not skipped, so that what
// is sent is what the app meant.
std::shared_ptr<TSRItem> ItemFromJson(const char* function, const Json& json);
std::shared_ptr<TSRLineItem> LineItemFromJson(const char* function, const Json& json);
std::shared_ptr<TSROrder> OrderFromJson(const char* function, const Json& json);

}  // namespace tessarin::capi

#endif  // TESSARIN_CAPI_CAPI_ITEMS_H_

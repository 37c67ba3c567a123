#include "base/log.h"
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "items/log_names.h"

namespace tessarin::items {

void JsonFieldSink::Text(const char* key, const std::string& value) { PutValue(json_, key, Json(value)); }

void JsonFieldSink::Code(const char* key, const char* value) { PutValue(json_, key, Json(value)); }

void JsonFieldSink::Number(const char* key, double value) { PutValue(json_, key, NumberJson(value)); }

void JsonFieldSink::Date(const char* key, double seconds) { PutValue(json_, key, DateJson(seconds)); }

void JsonFieldSink::Flag(const char* key, bool value) { PutValue(json_, key, Json(value)); }

void JsonFieldSink::Items(const char* key, const std::vector<std::shared_ptr<TSRItem>>& list, NestedList kind) {
  Json elements = Json::array();
  elements.get_ref<Json::array_t&>().reserve(list.size());
  for (const auto& element : list) {
    const bool usable = kind == NestedList::kTags ? dynamic_cast<const TSRTag*>(element.get()) != nullptr
                                                  : dynamic_cast<const TSRCategory*>(element.get()) != nullptr;
    if (!usable) {
      if (kind == NestedList::kTags) {
        TSR_LOG_WARN("Items: to JSON, ignoring invalid object (expected TSRTag) in tags array: %@ %@",
                     ElementClassName(element.get()), ElementDescription(element.get()));
      } else {
        TSR_LOG_WARN("Items: to JSON, ignoring invalid object (expected TSRCategory) in categories array: %@ %@",
                     ElementClassName(element.get()), ElementDescription(element.get()));
      }
      continue;
    }
    elements.push_back(element->toJSONDictionary());
  }
  if (!elements.empty()) PutValue(json_, key, std::move(elements));
}

void JsonFieldSink::Location(const char* key, const TSRLocation& location) {
  if (std::optional<Json> json = location.toJSONDictionary()) PutValue(json_, key, std::move(*json));
}

}  // namespace tessarin::items

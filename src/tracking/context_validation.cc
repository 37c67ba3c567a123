// TSRContextImpl: checking and condensing what the host app reports. Invalid
// input is logged and left out, never thrown; every message counts in
// promoteWarnings, so a host app's developer can see that the context
// complained.
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "tracking/context_impl.h"
#include "tracking/item_field_tables.h"
#include "util/json_util.h"
#include "util/json_writer.h"

namespace tessarin {

namespace {

// A view into the item's own text; empty when the type is missing or not
// text.
std::string_view TypeValue(const Json& item) {
  auto type = item.find("type");
  return type != item.end() && type->is_string() ? std::string_view(type->get_ref<const std::string&>())
                                                 : std::string_view();
}

LogArg TypeArg(const Json& item) {
  auto type = item.is_object() ? item.find("type") : item.end();
  if (!item.is_object() || type == item.end() || type->is_null()) return LogArg();
  return LogArg(*type);
}

}  // namespace

bool TSRContextImpl::isRequiredObjectMissing(const Json* object, const std::string& objectName) {
  if (object && !object->is_null()) return false;
  Warn();
  TSR_LOG_ERROR("Context: Required %@ was not provided", objectName);
  return true;
}

bool TSRContextImpl::isWrongKindOfClass(const Json* object, const std::string& name, JsonKind kind) {
  // Only an absent value is "none"; a JSON null is a value of the wrong kind.
  if (!object) return false;
  if (JsonIsKind(*object, kind)) return false;
  Warn();
  TSR_LOG_ERROR("Context: %@ should be a %@ but was a %@", name, JsonKindName(kind), JsonClassName(*object));
  return true;
}

bool TSRContextImpl::hasRequiredStringFields(const Json& item) {
  if (!item.is_object()) {
    Warn();
    TSR_LOG_ERROR("Context: item to be serialized should be an NSDictionary but was %@", JsonClassName(item));
    return false;
  }
  const auto& required = TypeValue(item) == "t" ? ItemFields().required_tag : ItemFields().required_item;
  for (const std::string& field : required) {
    auto value = item.find(field);
    const Json* found = value == item.end() ? nullptr : &*value;
    if (isWrongKindOfClass(found, field, JsonKind::kString)) return false;
    if (!found || found->get_ref<const std::string&>().empty()) {
      Warn();
      TSR_LOG_ERROR("Context: %@ was missing the required field %@", TypeArg(item), field);
      return false;
    }
  }
  return true;
}

void TSRContextImpl::logUnknownItemFields(const Json& item) {
  if (!item.is_object()) return;
  std::string_view type = TypeValue(item);
  const TSRFieldSet* known = KnownFieldsForType(type);
  if (!known) {
    Warn();
    TSR_LOG_WARN("Context: Unknown item type [%@]", TypeArg(item));
    return;
  }
  logUnknownFields(item, std::string(type), *known);
}

void TSRContextImpl::logUnknownFields(const Json& object, const std::string& objectName,
                                      const TSRFieldSet& knownFields) {
  if (!object.is_object()) return;
  for (const auto& [key, value] : object.items()) {
    if (knownFields.count(key)) continue;
    Warn();
    TSR_LOG_WARN("Context: Unknown field [%@] for [%@]", key, objectName);
  }
}

std::optional<std::string> TSRContextImpl::stringifyItemToJson(const Json* item) {
  if (!item || item->is_null()) return std::nullopt;
  if (!item->is_object()) {
    Warn();
    TSR_LOG_ERROR("Context: item should be an NSDictionary but was a %@", JsonClassName(*item));
    return std::nullopt;
  }
  if (!TSRUtilityJSON::isValidJSONObject(*item)) {
    Warn();
    TSR_LOG_ERROR("Context: %@ is not a valid JSON object according to NSJSONSerialization -isValidJSONObject",
                  TypeArg(*item));
    return std::nullopt;
  }
  try {
    // Strict, so that text which is not UTF-8 is refused rather than sent
    // altered.
    return CompactJsonText(*item);
  } catch (const std::exception& error) {
    Warn();
    TSR_LOG_ERROR("Context: Could not make a JSON string from object %@: %@", TypeArg(*item), error.what());
    return std::nullopt;
  }
}

namespace {

// What the strict writer accepts, in one walk: UTF-8 text (keys too) and
// finite numbers.
bool Writable(const Json& value) {
  switch (value.type()) {
    case Json::value_t::string:
      return TSRUtilityJSON::isValidUTF8(value.get_ref<const std::string&>());
    case Json::value_t::number_float:
      return std::isfinite(value.get<double>());
    case Json::value_t::array:
      for (const Json& element : value.get_ref<const Json::array_t&>()) {
        if (!Writable(element)) return false;
      }
      return true;
    case Json::value_t::object:
      for (const auto& [key, element] : value.get_ref<const Json::object_t&>()) {
        if (!TSRUtilityJSON::isValidUTF8(key) || !Writable(element)) return false;
      }
      return true;
    case Json::value_t::binary:
    case Json::value_t::discarded:
      return false;
    default:
      return true;
  }
}

}  // namespace

Json TSRContextImpl::pickFields(const Json& dictionary, const std::vector<std::string>& fieldNames) {
  Json picked = Json::object();
  if (!dictionary.is_object()) return picked;
  picked.get_ref<Json::object_t&>().reserve(fieldNames.size());
  for (const std::string& name : fieldNames) {
    auto value = dictionary.find(name);
    if (value != dictionary.end()) picked[name] = *value;
  }
  return picked;
}

Json TSRContextImpl::stripEmptyCategoriesAndTagsFromItem(const Json& item) {
  Json stripped = item;
  if (!stripped.is_object()) return stripped;
  for (const char* key : {"categories", "tags"}) {
    auto value = stripped.find(key);
    if (value != stripped.end() && value->is_array() && value->empty()) stripped.erase(key);
  }
  return stripped;
}

std::optional<Json> TSRContextImpl::sparsifyItem(const Json& item) {
  if (!item.is_object()) return std::nullopt;
  const ItemFieldTables& tables = ItemFields();
  // Categories and tags are reduced from the item itself rather than copied
  // whole first: this runs on every item view.
  Json sparse = Json::object();
  sparse.get_ref<Json::object_t&>().reserve(tables.sparse_item.size());
  for (std::size_t i = 0; i < tables.sparse_item.size(); ++i) {
    const std::string& name = tables.sparse_item[i];
    auto value = item.find(name);
    if (value == item.end()) continue;
    bool nested = tables.sparse_item_nested[i] && value->is_array();
    sparse[name] = nested ? Json::array() : *value;
  }
  if (!hasRequiredStringFields(sparse)) return std::nullopt;

  if (auto categories = sparse.find("categories"); categories != sparse.end()) {
    if (isWrongKindOfClass(&*categories, "categories", JsonKind::kArray)) return std::nullopt;
    if (categories->is_array()) {
      Json reduced = Json::array();
      for (const Json& category : *item.find("categories")) {
        if (isWrongKindOfClass(&category, "category", JsonKind::kDictionary) || !category.is_object()) {
          return std::nullopt;
        }
        if (!hasRequiredStringFields(category)) return std::nullopt;
        Json condensed = pickFields(category, tables.required_item);
        logUnknownItemFields(condensed);
        reduced.push_back(std::move(condensed));
      }
      *categories = std::move(reduced);
    }
  }
  if (auto tags = sparse.find("tags"); tags != sparse.end()) {
    if (isWrongKindOfClass(&*tags, "tags", JsonKind::kArray)) return std::nullopt;
    if (tags->is_array()) {
      Json reduced = Json::array();
      for (const Json& tag : *item.find("tags")) {
        if (isWrongKindOfClass(&tag, "tag", JsonKind::kDictionary) || !tag.is_object()) return std::nullopt;
        if (!hasRequiredStringFields(tag)) return std::nullopt;
        // A tag's unknown fields are reported from its full form, a
        // category's from its reduced one.
        logUnknownItemFields(tag);
        reduced.push_back(pickFields(tag, tables.required_tag));
      }
      *tags = std::move(reduced);
    }
  }
  for (const char* key : {"categories", "tags"}) {
    auto value = sparse.find(key);
    if (value != sparse.end() && value->is_array() && value->empty()) sparse.erase(value);
  }
  logUnknownItemFields(sparse);
  return sparse;
}

// The two below follow sparsifyItem step by step; the item view relies
// on them logging, counting and condensing exactly as it does.

TSRContextImpl::Condensable TSRContextImpl::CheckCondensable(const Json& item, bool requiredFieldsChecked) {
  if (!item.is_object()) return Condensable::kRefused;
  // The condensed item carries the item's own "_id", "type" and "tagType",
  // so the item's required fields are the condensed item's.
  if (!requiredFieldsChecked && !hasRequiredStringFields(item)) return Condensable::kRefused;
  const ItemFieldTables& tables = ItemFields();
  // Whether the strict writer would take the condensed item, gathered along
  // the way: it is refused only after every check has logged.
  bool writable = true;
  for (const ItemFieldTables::NestedList& nested : tables.nested_lists) {
    auto list = item.find(nested.list);
    if (list == item.end()) continue;
    if (isWrongKindOfClass(&*list, nested.list, JsonKind::kArray) || !list->is_array()) {
      return Condensable::kRefused;
    }
    for (const Json& element : *list) {
      if (isWrongKindOfClass(&element, nested.element, JsonKind::kDictionary) || !element.is_object()) {
        return Condensable::kRefused;
      }
      if (!hasRequiredStringFields(element)) return Condensable::kRefused;
      if (nested.full_form_fields) {
        logUnknownItemFields(element);
      } else if (!KnownFieldsForType(TypeValue(element))) {
        // A condensed category holds only "_id" and "type", which every
        // known type accepts: only an unknown type is reported.
        Warn();
        TSR_LOG_WARN("Context: Unknown item type [%@]", TypeArg(element));
      }
      for (const std::string& field : nested.kept) {
        auto kept = element.find(field);
        if (kept != element.end()) writable = writable && Writable(*kept);
      }
    }
  }
  std::string_view type = TypeValue(item);
  const std::vector<bool>* known = SparseKnownForType(type);
  if (!known) {
    Warn();
    TSR_LOG_WARN("Context: Unknown item type [%@]", TypeArg(item));
  }
  // The condensed item's keys, in its order; empty lists are left out, and
  // lists were looked at above.
  for (std::size_t i = 0; i < tables.sparse_item.size(); ++i) {
    const std::string& name = tables.sparse_item[i];
    auto value = item.find(name);
    if (value == item.end()) continue;
    bool nested = tables.sparse_item_nested[i];
    if (nested && value->empty()) continue;
    if (known && !(*known)[i]) {
      Warn();
      TSR_LOG_WARN("Context: Unknown field [%@] for [%@]", name, type);
    }
    if (!nested) writable = writable && Writable(*value);
  }
  return writable ? Condensable::kWritable : Condensable::kUnwritable;
}

Json TSRContextImpl::CondenseCheckedItem(const Json& item) {
  const ItemFieldTables& tables = ItemFields();
  Json condensed = Json::object();
  condensed.get_ref<Json::object_t&>().reserve(tables.sparse_item.size());
  for (std::size_t i = 0; i < tables.sparse_item.size(); ++i) {
    const std::string& name = tables.sparse_item[i];
    auto value = item.find(name);
    if (value == item.end()) continue;
    if (!tables.sparse_item_nested[i] || !value->is_array()) {
      condensed[name] = *value;
      continue;
    }
    if (value->empty()) continue;
    Json reduced = Json::array();
    const std::vector<std::string>& kept = name == "tags" ? tables.required_tag : tables.required_item;
    for (const Json& element : *value) reduced.push_back(pickFields(element, kept));
    condensed[name] = std::move(reduced);
  }
  return condensed;
}

std::optional<Json> TSRContextImpl::sparsifyLineItem(const Json& lineItem) {
  if (isWrongKindOfClass(&lineItem, "lineItem", JsonKind::kDictionary) || !lineItem.is_object()) {
    return std::nullopt;
  }
  Json sparse = lineItem;
  auto item = sparse.find("item");
  if (item == sparse.end()) return std::nullopt;
  auto condensed = sparsifyItem(*item);
  if (!condensed) return std::nullopt;
  *item = std::move(*condensed);
  logUnknownFields(sparse, "lineItem", ItemFields().known_line_item);
  return sparse;
}

std::optional<Json> TSRContextImpl::sparsifyLineItemsInOrder(const Json& order) {
  if (isWrongKindOfClass(&order, "order", JsonKind::kDictionary) || !order.is_object()) return std::nullopt;
  Json sparse = order;
  auto found = sparse.find("lineItems");
  if (found != sparse.end()) {
    Json line_items = std::move(*found);
    sparse.erase("lineItems");
    if (isWrongKindOfClass(&line_items, "lineItems", JsonKind::kArray) || !line_items.is_array()) {
      return std::nullopt;
    }
    Json condensed = Json::array();
    for (const Json& line_item : line_items) {
      if (auto sparse_line_item = sparsifyLineItem(line_item)) condensed.push_back(std::move(*sparse_line_item));
    }
    if (!condensed.empty()) sparse["lineItems"] = std::move(condensed);
  }
  logUnknownFields(sparse, "order", ItemFields().known_order);
  return sparse;
}

}  // namespace tessarin

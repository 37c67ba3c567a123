// TSRCategorizedItem: the categories shared by products, articles and blogs.
#include "base/log.h"
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tessarin/items.h"

namespace tessarin {

std::shared_ptr<TSRCategorizedItem> TSRCategorizedItem::initWithTsrId(const std::string& tsrId) {
  return withId<TSRCategorizedItem>(tsrId);
}

std::shared_ptr<TSRCategorizedItem> TSRCategorizedItem::initWithJSON(const Json* json) {
  return build(std::make_shared<TSRCategorizedItem>(), json);
}

bool TSRCategorizedItem::readJSON(const Json& json) {
  if (!TSRItem::readJSON(json)) return false;
  mergeCategorizedItemFieldsFromJSONDictionary(json);
  return true;
}

void TSRCategorizedItem::mergeCategorizedItemFieldsFromJSONDictionary(const Json& json) {
  const Json* categoriesJson = items::FieldOfKind(json, TSRItem_categories, JsonKind::kArray);
  if (!categoriesJson) return;
  std::vector<std::shared_ptr<TSRItem>> built;
  for (const Json& element : *categoriesJson) {
    if (!element.is_object()) {
      TSR_LOG_WARN("Items: from JSON, ignoring invalid category object (expected NSDictionary): %@ %@",
                   JsonClassName(element), element);
      continue;
    }
    // A category that cannot be built has logged why already.
    if (auto category = TSRCategory::categoryFromJSONDictionary(&element)) built.push_back(std::move(category));
  }
  // Merging: categories the JSON could not supply keep what was there.
  if (!built.empty()) categories = std::move(built);
}

void TSRCategorizedItem::writeFields(items::FieldSink& out) const {
  TSRItem::writeFields(out);
  if (!categories.empty()) out.Items(TSRItem_categories, categories, items::NestedList::kCategories);
}

}  // namespace tessarin

// TSRItem: the fields every catalog item has, its JSON form, and the
// class-dispatching readers.
#include "core/log.h"
#include "items/json_fields.h"
#include "items/log_names.h"
#include "tessarin/items.h"

namespace tessarin {

using items::DateField;
using items::FieldOfKind;
using items::NumberField;
using items::PutDate;
using items::PutNumber;
using items::PutValue;
using items::PutString;
using items::StringField;

std::shared_ptr<TSRItem> TSRItem::initWithTsrId(const std::string& tsrId) { return withId<TSRItem>(tsrId); }

std::shared_ptr<TSRItem> TSRItem::initWithJSON(const Json* json) { return build(std::make_shared<TSRItem>(), json); }

bool TSRItem::readInto(TSRItem& item, const Json* json) {
  if (!json) {
    TSR_LOG_WARN("Items: from JSON, nil");
    return false;
  }
  return item.readJSON(*json);
}

bool TSRItem::readJSON(const Json& json) {
  std::optional<std::string> id = StringField(json, TSRItem_tsrId);
  if (!id || id->empty()) {
    TSR_LOG_ERROR("Items: from JSON, missing tsrId");
    return false;
  }
  tsrId = std::move(id);
  name = StringField(json, TSRItem_name);
  tsrDescription = StringField(json, TSRItem_tsrDescription);
  url = StringField(json, TSRItem_url);
  imageUrl = StringField(json, TSRItem_imageUrl);
  if (const Json* locationJson = FieldOfKind(json, TSRItem_location, JsonKind::kDictionary)) {
    location = TSRLocation::locationFromJSONDictionary(locationJson);
  }
  rating = NumberField(json, TSRItem_rating);
  numRatings = NumberField(json, TSRItem_numRatings);
  published = DateField(json, TSRItem_published);
  expiration = DateField(json, TSRItem_expiration);

  std::optional<std::string> promotion = StringField(json, TSRItem_promotionState);
  if (promotion == TSRPromotionStateString_excluded) {
    promotionState = TSRPromotionState_excluded;
  } else if (promotion == TSRPromotionStateString_prioritized) {
    promotionState = TSRPromotionState_prioritized;
  } else {
    promotionState = TSRPromotionState_none;
  }

  if (const Json* tagsJson = FieldOfKind(json, TSRItem_tags, JsonKind::kArray)) {
    for (const Json& element : *tagsJson) {
      std::shared_ptr<TSRTag> tag;
      if (element.is_object()) tag = TSRTag::tagFromJSONDictionary(&element);
      if (!tag) {
        TSR_LOG_WARN("Items: from JSON, ignoring invalid tag %@ %@", JsonClassName(element), element);
        continue;
      }
      tags.push_back(std::move(tag));
    }
  }
  return true;
}

std::shared_ptr<TSRItem> TSRItem::fromJSONDictionary(const Json* json) {
  if (!json) {
    TSR_LOG_WARN("Items: from JSON, nil");
    return nullptr;
  }
  const Json* type = nullptr;
  if (json->is_object()) {
    auto it = json->find(TSRItem_type);
    if (it != json->end()) type = &*it;
  }
  if (type && type->is_string()) {
    const std::string& code = type->get_ref<const std::string&>();
    if (code == "p") return TSRProduct::productFromJSONDictionary(json);
    if (code == "a") return TSRArticle::articleFromJSONDictionary(json);
    if (code == "b") return TSRBlog::blogFromJSONDictionary(json);
    if (code == "c") return TSRCategory::categoryFromJSONDictionary(json);
    if (code == "t") return TSRTag::tagFromJSONDictionary(json);
  }
  TSR_LOG_ERROR("Items: from JSON, invalid item type %@", type ? LogArg(*type) : LogArg());
  return nullptr;
}

std::vector<std::shared_ptr<TSRItem>> TSRItem::fromJSONArray(const Json* json) {
  std::vector<std::shared_ptr<TSRItem>> result;
  if (!json || !json->is_array()) return result;
  for (const Json& element : *json) {
    if (!element.is_object()) {
      TSR_LOG_ERROR("Items: from JSON, invalid item object (expected NSDictionary): %@ %@", JsonClassName(element),
                    element);
      continue;
    }
    if (std::shared_ptr<TSRItem> item = fromJSONDictionary(&element)) result.push_back(std::move(item));
  }
  return result;
}

Json TSRItem::toJSONDictionary() const {
  Json json = Json::object();
  // Room for every field of the largest item class, so that building it
  // never moves what is already written.
  json.get_ref<Json::object_t&>().reserve(20);
  writeJSON(json);
  return json;
}

void TSRItem::writeJSON(Json& json) const {
  PutString(json, TSRItem_tsrId, tsrId);
  if (const char* code = typeCode()) PutValue(json, TSRItem_type, code);
  PutString(json, TSRItem_name, name);
  PutString(json, TSRItem_tsrDescription, tsrDescription);
  PutString(json, TSRItem_url, url);
  PutString(json, TSRItem_imageUrl, imageUrl);
  PutDate(json, TSRItem_published, published);
  PutDate(json, TSRItem_expiration, expiration);

  Json tagsJson;
  for (const auto& element : tags) {
    auto tag = std::dynamic_pointer_cast<TSRTag>(element);
    if (!tag) {
      TSR_LOG_WARN("Items: to JSON, ignoring invalid object (expected TSRTag) in tags array: %@ %@",
                   items::ElementClassName(element.get()), items::ElementDescription(element.get()));
      continue;
    }
    tagsJson.push_back(tag->toJSONDictionary());
  }
  if (!tagsJson.empty()) PutValue(json, TSRItem_tags, std::move(tagsJson));

  if (promotionState == TSRPromotionState_prioritized) {
    PutValue(json, TSRItem_promotionState, TSRPromotionStateString_prioritized);
  } else if (promotionState == TSRPromotionState_excluded) {
    PutValue(json, TSRItem_promotionState, TSRPromotionStateString_excluded);
  }
  if (location) {
    if (std::optional<Json> locationJson = location->toJSONDictionary()) {
      PutValue(json, TSRItem_location, std::move(*locationJson));
    }
  }
  PutNumber(json, TSRItem_rating, rating);
  PutNumber(json, TSRItem_numRatings, numRatings);
}

std::string TSRItem::description() const {
  return std::string("<") + className() + ": _id=" + (tsrId ? *tsrId : "(null)") + ">";
}

}  // namespace tessarin

// TSRItem: the fields every catalog item has, its JSON form, and the
// class-dispatching readers.
#include "base/log.h"
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tessarin/items.h"

namespace tessarin {

using items::DateField;
using items::FieldOfKind;
using items::NumberField;
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
  items::JsonFieldSink sink(json);
  writeFields(sink);
  return json;
}

void TSRItem::writeFields(items::FieldSink& out) const {
  out.TextIfSet(TSRItem_tsrId, tsrId);
  if (const char* code = typeCode()) out.Code(TSRItem_type, code);
  out.TextIfSet(TSRItem_name, name);
  out.TextIfSet(TSRItem_tsrDescription, tsrDescription);
  out.TextIfSet(TSRItem_url, url);
  out.TextIfSet(TSRItem_imageUrl, imageUrl);
  out.DateIfSet(TSRItem_published, published);
  out.DateIfSet(TSRItem_expiration, expiration);
  if (!tags.empty()) out.Items(TSRItem_tags, tags, items::NestedList::kTags);
  if (promotionState == TSRPromotionState_prioritized) {
    out.Code(TSRItem_promotionState, TSRPromotionStateString_prioritized);
  } else if (promotionState == TSRPromotionState_excluded) {
    out.Code(TSRItem_promotionState, TSRPromotionStateString_excluded);
  }
  if (location) out.Location(TSRItem_location, *location);
  out.NumberIfSet(TSRItem_rating, rating);
  out.NumberIfSet(TSRItem_numRatings, numRatings);
}

std::string TSRItem::description() const {
  return std::string("<") + className() + ": _id=" + (tsrId ? *tsrId : "(null)") + ">";
}

}  // namespace tessarin

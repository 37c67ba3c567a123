// TSRTag: a brand, author, keyword or other label an item carries.
#include <array>

#include "base/log.h"
#include "items/field_sink.h"
#include "tessarin/items.h"

namespace tessarin {
namespace {

// Indexed by TSRTagType.
constexpr std::array<const char*, 7> kTagTypeStrings = {
    TSRTagTypeString_brand,  TSRTagTypeString_itemClass, TSRTagTypeString_gender,       TSRTagTypeString_style,
    TSRTagTypeString_author, TSRTagTypeString_keyword,   TSRTagTypeString_contentClass,
};

}  // namespace

const char* TSRTag::tagTypeString(long tagType) {
  if (tagType < 0 || tagType >= static_cast<long>(kTagTypeStrings.size())) return nullptr;
  return kTagTypeStrings[static_cast<std::size_t>(tagType)];
}

std::optional<TSRTagType> TSRTag::tagTypeFromString(const std::string& string) {
  for (std::size_t i = 0; i < kTagTypeStrings.size(); ++i) {
    if (string == kTagTypeStrings[i]) return static_cast<TSRTagType>(i);
  }
  return std::nullopt;
}

std::shared_ptr<TSRTag> TSRTag::initWithTsrId(const std::string& tsrId) { return withId<TSRTag>(tsrId); }

std::shared_ptr<TSRTag> TSRTag::initWithJSON(const Json* json) { return build(std::make_shared<TSRTag>(), json); }

std::shared_ptr<TSRTag> TSRTag::tagWithId(const std::string& tsrId, TSRTagType type) {
  auto tag = initWithTsrId(tsrId);
  if (tag) tag->tagType = type;
  return tag;
}

std::shared_ptr<TSRTag> TSRTag::tagWithId(const std::string& tsrId, TSRTagType type,
                                          const std::optional<std::string>& name,
                                          const std::optional<std::string>& tsrDescription) {
  auto tag = tagWithId(tsrId, type);
  if (!tag) return nullptr;
  tag->name = name;
  tag->tsrDescription = tsrDescription;
  return tag;
}

std::shared_ptr<TSRTag> TSRTag::tagFromJSONDictionary(const Json* json) { return initWithJSON(json); }

bool TSRTag::readJSON(const Json& json) {
  if (!TSRItem::readJSON(json)) return false;
  auto it = json.find(TSRItem_tagType);
  const Json* value = it == json.end() ? nullptr : &*it;
  std::optional<TSRTagType> type;
  if (value && value->is_string()) type = tagTypeFromString(value->get<std::string>());
  if (!type) {
    // A tag is only meaningful with its type, so an unknown one refuses the tag.
    TSR_LOG_ERROR("Items: JSON invalid tag type %@", value ? LogArg(*value) : LogArg());
    return false;
  }
  tagType = *type;
  return true;
}

void TSRTag::writeFields(items::FieldSink& out) const {
  TSRItem::writeFields(out);
  if (const char* type = tagTypeString(tagType)) out.Code(TSRItem_tagType, type);
}

}  // namespace tessarin

// TSRCategory: a category of the catalog, possibly a department.
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tessarin/items.h"

namespace tessarin {

std::shared_ptr<TSRCategory> TSRCategory::initWithTsrId(const std::string& tsrId) { return withId<TSRCategory>(tsrId); }

std::shared_ptr<TSRCategory> TSRCategory::initWithJSON(const Json* json) {
  return build(std::make_shared<TSRCategory>(), json);
}

std::shared_ptr<TSRCategory> TSRCategory::categoryWithId(const std::string& tsrId) { return initWithTsrId(tsrId); }

std::shared_ptr<TSRCategory> TSRCategory::categoryWithId(const std::string& tsrId, bool isDepartment,
                                                         const std::optional<std::string>& name,
                                                         const std::optional<std::string>& tsrDescription) {
  auto category = initWithTsrId(tsrId);
  if (!category) return nullptr;
  category->isDepartment = isDepartment;
  category->name = name;
  category->tsrDescription = tsrDescription;
  return category;
}

std::shared_ptr<TSRCategory> TSRCategory::categoryFromJSONDictionary(const Json* json) { return initWithJSON(json); }

bool TSRCategory::readJSON(const Json& json) {
  if (!TSRItem::readJSON(json)) return false;
  isDepartment = items::NumberField(json, TSRItem_isDepartment).value_or(0) != 0;
  return true;
}

void TSRCategory::writeFields(items::FieldSink& out) const {
  TSRItem::writeFields(out);
  out.Flag(TSRItem_isDepartment, isDepartment);
}

}  // namespace tessarin

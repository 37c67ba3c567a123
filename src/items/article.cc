// TSRArticle: an article the user reads.
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tessarin/items.h"

namespace tessarin {

std::shared_ptr<TSRArticle> TSRArticle::initWithTsrId(const std::string& tsrId) { return withId<TSRArticle>(tsrId); }

std::shared_ptr<TSRArticle> TSRArticle::initWithJSON(const Json* json) {
  return build(std::make_shared<TSRArticle>(), json);
}

std::shared_ptr<TSRArticle> TSRArticle::articleWithId(const std::string& tsrId) { return initWithTsrId(tsrId); }

std::shared_ptr<TSRArticle> TSRArticle::articleWithId(const std::string& tsrId, const std::optional<std::string>& name,
                                                      const std::optional<std::string>& subTitle,
                                                      const std::optional<std::string>& url,
                                                      const std::optional<std::string>& tsrDescription) {
  auto article = initWithTsrId(tsrId);
  if (!article) return nullptr;
  article->name = name;
  article->subTitle = subTitle;
  article->url = url;
  article->tsrDescription = tsrDescription;
  return article;
}

std::shared_ptr<TSRArticle> TSRArticle::articleFromJSONDictionary(const Json* json) { return initWithJSON(json); }

bool TSRArticle::readJSON(const Json& json) {
  if (!TSRCategorizedItem::readJSON(json)) return false;
  modifiedDate = items::DateField(json, TSRItem_modifiedDate);
  subTitle = items::StringField(json, TSRItem_subTitle);
  return true;
}

void TSRArticle::writeFields(items::FieldSink& out) const {
  TSRCategorizedItem::writeFields(out);
  out.DateIfSet(TSRItem_modifiedDate, modifiedDate);
  out.TextIfSet(TSRItem_subTitle, subTitle);
}

}  // namespace tessarin

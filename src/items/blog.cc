// TSRBlog: a blog post; it carries the same fields as an article.
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tessarin/items.h"

namespace tessarin {

std::shared_ptr<TSRBlog> TSRBlog::initWithTsrId(const std::string& tsrId) { return withId<TSRBlog>(tsrId); }

std::shared_ptr<TSRBlog> TSRBlog::initWithJSON(const Json* json) { return build(std::make_shared<TSRBlog>(), json); }

std::shared_ptr<TSRBlog> TSRBlog::blogWithId(const std::string& tsrId) { return initWithTsrId(tsrId); }

std::shared_ptr<TSRBlog> TSRBlog::blogWithId(const std::string& tsrId, const std::optional<std::string>& name,
                                             const std::optional<std::string>& subTitle,
                                             const std::optional<std::string>& url,
                                             const std::optional<std::string>& tsrDescription) {
  auto blog = initWithTsrId(tsrId);
  if (!blog) return nullptr;
  blog->name = name;
  blog->subTitle = subTitle;
  blog->url = url;
  blog->tsrDescription = tsrDescription;
  return blog;
}

std::shared_ptr<TSRBlog> TSRBlog::blogFromJSONDictionary(const Json* json) { return initWithJSON(json); }

bool TSRBlog::readJSON(const Json& json) {
  if (!TSRCategorizedItem::readJSON(json)) return false;
  modifiedDate = items::DateField(json, TSRItem_modifiedDate);
  subTitle = items::StringField(json, TSRItem_subTitle);
  return true;
}

void TSRBlog::writeFields(items::FieldSink& out) const {
  TSRCategorizedItem::writeFields(out);
  out.DateIfSet(TSRItem_modifiedDate, modifiedDate);
  out.TextIfSet(TSRItem_subTitle, subTitle);
}

}  // namespace tessarin

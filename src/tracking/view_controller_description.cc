#include "tracking/view_controller_description.h"

#include <cstdint>
#include <functional>

#include "util/json_util.h"

namespace tessarin {
namespace {

void PutText(Json& object, const char* key, const std::optional<std::string>& value) {
  if (value) object[key] = *value;
}

void PutArray(Json& object, const char* key, const std::optional<std::vector<std::string>>& value) {
  if (!value) return;
  Json array = Json::array();
  for (const std::string& element : *value) array.push_back(element);
  object[key] = std::move(array);
}

// The multiply-by-31 fold; unsigned, so overflow wraps.
struct Fold {
  std::uint64_t h = 17;
  void add(std::uint64_t next) { h = 31 * h + next; }
  void text(const std::optional<std::string>& value) { add(value ? std::hash<std::string>{}(*value) : 0); }
  void array(const std::optional<std::vector<std::string>>& value) {
    if (!value) return add(0);
    for (const std::string& element : *value) add(std::hash<std::string>{}(element));
  }
  void nested(const std::shared_ptr<TSRViewControllerDescription>& value) { add(value ? value->hash() : 0); }
};

}  // namespace

Json TSRViewControllerDescription::toJSONObject() const {
  Json object = Json::object();
  PutText(object, "name", name);
  PutText(object, "title", title);
  PutText(object, "nibName", nibName);
  PutText(object, "className", className);
  PutArray(object, "classHierarchy", classHierarchy);
  PutText(object, "restorationIdentifier", restorationIdentifier);
  PutText(object, "navigationItemTitle", navigationItemTitle);
  PutText(object, "accessibilityLabel", accessibilityLabel);
  PutArray(object, "storyboardSegueIds", storyboardSegueIds);
  if (parentDescription) object["parentDescription"] = parentDescription->toJSONObject();
  if (presentingDescription) object["presentingDescription"] = presentingDescription->toJSONObject();
  return object;
}

std::optional<std::string> TSRViewControllerDescription::toJSONStringPrettyPrinted(bool prettyPrinted) const {
  return TSRUtilityJSON::stringFromJSON(toJSONObject(), prettyPrinted);
}

bool TSRViewControllerDescription::isEqualToVCD(const TSRViewControllerDescription* other) const {
  if (!other) return false;
  if (other == this) return true;
  return toJSONObject() == other->toJSONObject();
}

std::size_t TSRViewControllerDescription::hash() const {
  Fold fold;
  fold.text(name);
  fold.text(title);
  fold.text(nibName);
  fold.text(className);
  fold.array(classHierarchy);
  fold.text(restorationIdentifier);
  fold.text(navigationItemTitle);
  fold.text(accessibilityLabel);
  fold.array(storyboardSegueIds);
  fold.nested(parentDescription);
  fold.nested(presentingDescription);
  return static_cast<std::size_t>(fold.h);
}

std::string TSRViewControllerDescription::description() const {
  return "<TSRViewControllerDescription: " + JsonDump(toJSONObject()) + ">";
}

}  // namespace tessarin

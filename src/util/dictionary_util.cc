#include "util/dictionary_util.h"

#include "base/log.h"
#include "util/string_util.h"

namespace tessarin {
namespace {

// Follows the key path one dot-separated key at a time.
const Json* ValueAtKeyPath(std::string_view keyPath, const Json& dictionary) {
  const Json* current = &dictionary;
  for (;;) {
    if (!current->is_object()) return nullptr;
    std::size_t dot = keyPath.find('.');
    std::string_view key = keyPath.substr(0, dot);
    auto it = current->find(std::string(key));
    if (it == current->end()) return nullptr;
    current = &*it;
    if (dot == std::string_view::npos) return current;
    keyPath.remove_prefix(dot + 1);
  }
}

}  // namespace

const Json* TSRUtilityDictionary::objectOfType(JsonKind kind, std::string_view keyPath, const Json& dictionary,
                                               bool logNull) {
  const Json* value = ValueAtKeyPath(keyPath, dictionary);
  if (!value) return nullptr;
  if (JsonIsKind(*value, kind)) return value;
  if (value->is_null() && !logNull) return nullptr;
  TSR_LOG_ERROR("Dictionary: keyPath: %@ expected class: %@ but found class: %@", keyPath, JsonKindName(kind),
                JsonClassName(*value));
  return nullptr;
}

Json TSRUtilityDictionary::trimDictionaryStrings(const Json& dictionary) {
  if (!dictionary.is_object()) return dictionary;
  Json trimmed = Json::object();
  for (const auto& [key, value] : dictionary.items()) {
    if (value.is_string()) {
      trimmed[key] = *TSRUtilityString::trimString(value.get<std::string>());
    } else {
      trimmed[key] = value;
    }
  }
  return trimmed;
}

}  // namespace tessarin

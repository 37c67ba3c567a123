#include "ui/message_data.h"

#include <cmath>

#include "base/log.h"
#include "ui/utility_color.h"
#include "util/dictionary_util.h"

namespace tessarin::message_data {

std::optional<double> Number(const Json& json, std::string_view key) {
  const Json* value = TSRUtilityDictionary::objectOfType(JsonKind::kNumber, key, json, false);
  if (!value) return std::nullopt;
  double number = value->is_boolean() ? (value->get<bool>() ? 1.0 : 0.0) : value->get<double>();
  if (!std::isfinite(number) || std::fabs(number) > kMaxMagnitude) {
    TSR_LOG_WARN("UI: InAppMessage Number out of range for %@: %@", std::string(key), *value);
    return std::nullopt;
  }
  return number;
}

std::optional<bool> Flag(const Json& json, std::string_view key) {
  const Json* value = TSRUtilityDictionary::objectOfType(JsonKind::kNumber, key, json, false);
  if (!value) return std::nullopt;
  if (value->is_boolean()) return value->get<bool>();
  return value->get<double>() != 0;
}

std::optional<std::string> String(const Json& json, std::string_view key) {
  const Json* value = TSRUtilityDictionary::objectOfType(JsonKind::kString, key, json, false);
  if (!value) return std::nullopt;
  return value->get<std::string>();
}

const Json* Dictionary(const Json& json, std::string_view key) {
  return TSRUtilityDictionary::objectOfType(JsonKind::kDictionary, key, json, false);
}

std::optional<platform::ui::Color> Color(const Json& json, std::string_view key) {
  auto string = String(json, key);
  if (!string) return std::nullopt;
  return TSRUtilityColor::colorFromHexString(string);
}

}  // namespace tessarin::message_data

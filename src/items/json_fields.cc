#include "items/json_fields.h"

#include <cassert>
#include <cmath>

#include "util/date_time_util.h"

namespace tessarin::items {

const Json* FieldOfKind(const Json& json, const char* key, JsonKind kind) {
  if (!json.is_object()) return nullptr;
  auto it = json.find(key);
  if (it == json.end() || !JsonIsKind(*it, kind)) return nullptr;
  return &*it;
}

std::optional<std::string> StringField(const Json& json, const char* key) {
  const Json* value = FieldOfKind(json, key, JsonKind::kString);
  if (!value) return std::nullopt;
  return value->get<std::string>();
}

double NumberValue(const Json& number) {
  // The JSON library will not convert a boolean to a double itself.
  if (number.is_boolean()) return number.get<bool>() ? 1 : 0;
  return number.get<double>();
}

std::optional<double> NumberField(const Json& json, const char* key) {
  const Json* value = FieldOfKind(json, key, JsonKind::kNumber);
  if (!value) return std::nullopt;
  return NumberValue(*value);
}

std::optional<double> DateField(const Json& json, const char* key) {
  // Divided as a double rather than through the unsigned millisecond
  // conversion, so that fractions and dates before 1970 read as written.
  std::optional<double> millis = NumberField(json, key);
  if (!millis) return std::nullopt;
  return *millis / 1000;
}

Json NumberJson(double value) {
  // 2^63: beyond it a whole double no longer fits a signed 64-bit integer.
  constexpr double kInt64Limit = 9223372036854775808.0;
  if (std::isfinite(value) && std::trunc(value) == value && std::fabs(value) < kInt64Limit) {
    return Json(static_cast<std::int64_t>(value));
  }
  return Json(value);
}

Json DateJson(double seconds) { return Json(TSRUtilityDateTime::epochMillisFromDate(seconds)); }

void PutValue(Json& json, const char* key, Json value) {
  auto& fields = json.get_ref<Json::object_t&>();
  assert(fields.find(key) == fields.end());
  fields.emplace_back(key, std::move(value));
}

void PutString(Json& json, const char* key, const std::optional<std::string>& value) {
  if (value) PutValue(json, key, Json(*value));
}

void PutNumber(Json& json, const char* key, const std::optional<double>& value) {
  if (value) PutValue(json, key, NumberJson(*value));
}

void PutDate(Json& json, const char* key, const std::optional<double>& seconds) {
  if (seconds) PutValue(json, key, DateJson(*seconds));
}

}  // namespace tessarin::items

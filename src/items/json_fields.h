// Typed reads and writes of the fields of catalog objects.
//
// A value of another kind, or JSON null, reads as absent without a log
// line: catalog JSON often comes from the app's own data, and a field the
// SDK cannot use is simply not carried over.
#ifndef TESSARIN_ITEMS_JSON_FIELDS_H_
#define TESSARIN_ITEMS_JSON_FIELDS_H_

#include <optional>
#include <string>

#include "tessarin/json.h"

namespace tessarin::items {

// The value under `key` when `json` is an object holding one of `kind`.
const Json* FieldOfKind(const Json& json, const char* key, JsonKind kind);
std::optional<std::string> StringField(const Json& json, const char* key);
// The value of a JSON number; booleans count as numbers (1 and 0).
double NumberValue(const Json& number);
// Booleans count as numbers (1 and 0).
std::optional<double> NumberField(const Json& json, const char* key);
// A number of milliseconds since 1970, as seconds since 1970.
std::optional<double> DateField(const Json& json, const char* key);

// A number as the service expects it: whole numbers without a fraction.
Json NumberJson(double value);
// Seconds since 1970 as whole milliseconds since 1970.
Json DateJson(double seconds);

// The writers below add a field to an object that does not hold `key` yet,
// as an object being built from a catalog object's own fields never does.
// They append without looking the key up: items are written on every view.
void PutValue(Json& json, const char* key, Json value);
void PutString(Json& json, const char* key, const std::optional<std::string>& value);
void PutNumber(Json& json, const char* key, const std::optional<double>& value);
void PutDate(Json& json, const char* key, const std::optional<double>& seconds);

}  // namespace tessarin::items

#endif  // TESSARIN_ITEMS_JSON_FIELDS_H_

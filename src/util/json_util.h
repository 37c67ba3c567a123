// TSRUtilityJSON: parsing and serialising with the SDK's log lines; every
// failure is logged and answered with nothing.
#ifndef TESSARIN_UTIL_JSON_UTIL_H_
#define TESSARIN_UTIL_JSON_UTIL_H_

#include <optional>
#include <string>

#include "tessarin/json.h"

namespace tessarin {

class TSRUtilityJSON {
 public:
  // Any JSON value (object, array or fragment).
  static std::optional<Json> rawJSONFromData(const std::string& data);
  // Only an object / only an array.
  static std::optional<Json> jsonFromData(const std::string& data);
  static std::optional<Json> jsonArrayFromData(const std::string& data);
  static std::optional<Json> jsonFromString(const std::optional<std::string>& string);
  static std::optional<Json> jsonArrayFromString(const std::optional<std::string>& string);
  // Only an object or an array (with finite numbers) serialises. The
  // overloads that take a value spare a caller with no optional the copy of
  // its whole tree that making one would cost.
  static std::optional<std::string> dataFromJSON(const Json& object, bool prettyPrinted = false);
  static std::optional<std::string> dataFromJSON(const std::optional<Json>& object, bool prettyPrinted = false);
  static std::optional<std::string> stringFromJSON(const Json& object, bool prettyPrinted = false);
  static std::optional<std::string> stringFromJSON(const std::optional<Json>& object, bool prettyPrinted = false);

  static bool isValidJSONObject(const Json& object);
  static bool isValidUTF8(const std::string& text);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_JSON_UTIL_H_

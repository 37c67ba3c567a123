#include "util/json_util.h"

#include <cmath>
#include <cstring>

#include "base/log.h"
#include "util/utf8_text.h"

namespace tessarin {
namespace {

std::optional<Json> Parse(const std::string& data, std::string* error) {
  try {
    return Json::parse(data);
  } catch (const Json::exception& e) {
    *error = e.what();
    return std::nullopt;
  }
}

// The text as it can be shown: each malformed UTF-8 sequence becomes U+FFFD.
std::string Printable(const std::string& text) { return ReplaceMalformedUtf8(text); }

// The class name of what parsing produced, "(null)" when it produced nothing.
LogArg ClassOf(const std::optional<Json>& parsed) {
  return parsed ? LogArg(JsonClassName(*parsed)) : LogArg();
}

bool ValidValue(const Json& value) {
  if (value.is_number_float()) return std::isfinite(value.get<double>());
  if (value.is_array()) {
    for (const auto& element : value) {
      if (!ValidValue(element)) return false;
    }
  }
  if (value.is_object()) {
    for (const auto& element : value) {
      if (!ValidValue(element)) return false;
    }
  }
  return !value.is_discarded() && !value.is_binary();
}

}  // namespace

bool TSRUtilityJSON::isValidUTF8(const std::string& text) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t n = text.size();
  for (std::size_t i = 0; i < n;) {
    // ASCII, the bulk of an event's text, eight bytes at a time.
    if (i + 8 <= n) {
      std::uint64_t eight;
      std::memcpy(&eight, s + i, sizeof eight);
      if ((eight & 0x8080808080808080ULL) == 0) {
        i += 8;
        continue;
      }
    }
    unsigned char c = s[i];
    std::size_t length;
    std::uint32_t code;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xE0) == 0xC0) {
      length = 2;
      code = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      length = 3;
      code = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      length = 4;
      code = c & 0x07;
    } else {
      return false;
    }
    if (i + length > n) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((s[i + k] & 0xC0) != 0x80) return false;
      code = (code << 6) | (s[i + k] & 0x3F);
    }
    static const std::uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < kMinimum[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

bool TSRUtilityJSON::isValidJSONObject(const Json& object) {
  return (object.is_object() || object.is_array()) && ValidValue(object);
}

std::optional<Json> TSRUtilityJSON::rawJSONFromData(const std::string& data) {
  std::string error;
  auto parsed = Parse(data, &error);
  if (!parsed) TSR_LOG_ERROR("JSON: Error deserializing raw object/array: %@", error);
  return parsed;
}

std::optional<Json> TSRUtilityJSON::jsonFromData(const std::string& data) {
  // Nothing parsed is not a dictionary either, so a parse failure is also
  // reported as an unexpected class.
  auto parsed = rawJSONFromData(data);
  if (!parsed || !parsed->is_object()) {
    TSR_LOG_ERROR("JSON: Unexpected class for deserialized JSON Object: %@", ClassOf(parsed));
    return std::nullopt;
  }
  return parsed;
}

std::optional<Json> TSRUtilityJSON::jsonArrayFromData(const std::string& data) {
  auto parsed = rawJSONFromData(data);
  if (!parsed || !parsed->is_array()) {
    TSR_LOG_ERROR("JSON: Unexpected class for deserialized JSON Array: %@", ClassOf(parsed));
    return std::nullopt;
  }
  return parsed;
}

std::optional<Json> TSRUtilityJSON::jsonFromString(const std::optional<std::string>& string) {
  if (!string) {
    TSR_LOG_ERROR("JSON: No object string specified");
    return std::nullopt;
  }
  if (!isValidUTF8(*string)) {
    TSR_LOG_ERROR("JSON: Couldn't encode as UTF8 string: %@", Printable(*string));
    return std::nullopt;
  }
  auto parsed = jsonFromData(*string);
  if (!parsed) TSR_LOG_ERROR("JSON: Couldn't deserialize string into JSON Object: %@", *string);
  return parsed;
}

std::optional<Json> TSRUtilityJSON::jsonArrayFromString(const std::optional<std::string>& string) {
  if (!string) {
    TSR_LOG_ERROR("JSON: No array string specified");
    return std::nullopt;
  }
  if (!isValidUTF8(*string)) {
    TSR_LOG_ERROR("JSON: Couldn't encode as UTF8 string: %@", Printable(*string));
    return std::nullopt;
  }
  auto parsed = jsonArrayFromData(*string);
  if (!parsed) TSR_LOG_ERROR("JSON: Couldn't deserialize string into JSON Array: %@", *string);
  return parsed;
}

std::optional<std::string> TSRUtilityJSON::dataFromJSON(const Json& object, bool prettyPrinted) {
  if (!isValidJSONObject(object)) {
    TSR_LOG_ERROR("JSON: Couldn't serialize, not valid object/array: %@", object);
    return std::nullopt;
  }
  try {
    return prettyPrinted ? object.dump(2, ' ', false, Json::error_handler_t::replace) : JsonDump(object);
  } catch (const Json::exception& e) {
    TSR_LOG_ERROR("JSON: Error serializing: %@ for: %@", e.what(), object);
    return std::nullopt;
  }
}

std::optional<std::string> TSRUtilityJSON::dataFromJSON(const std::optional<Json>& object, bool prettyPrinted) {
  if (!object) return std::nullopt;
  return dataFromJSON(*object, prettyPrinted);
}

std::optional<std::string> TSRUtilityJSON::stringFromJSON(const Json& object, bool prettyPrinted) {
  auto data = dataFromJSON(object, prettyPrinted);
  if (!data) return std::nullopt;
  if (!isValidUTF8(*data)) {
    TSR_LOG_ERROR("JSON: Couldn't decode UTF8 string for: %@", object);
    return std::nullopt;
  }
  return data;
}

std::optional<std::string> TSRUtilityJSON::stringFromJSON(const std::optional<Json>& object, bool prettyPrinted) {
  if (!object) return std::nullopt;
  return stringFromJSON(*object, prettyPrinted);
}

}  // namespace tessarin

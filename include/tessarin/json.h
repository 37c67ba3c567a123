// The one JSON value type of Tessarin.
//
// Dictionaries keep their insertion order (so what the SDK writes reads the
// way it was built), but two dictionaries are equal when they hold the same
// keys with equal values, whatever the order, and `JsonHash` agrees with that.
// Serialisation is compact, deterministic and never throws on bad UTF-8.
#ifndef TESSARIN_JSON_H_
#define TESSARIN_JSON_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tessarin/export.h"

namespace tessarin {

template <class Key, class T, class IgnoredLess = std::less<Key>,
          class Allocator = std::allocator<std::pair<const Key, T>>>
struct JsonObjectMap : nlohmann::ordered_map<Key, T, IgnoredLess, Allocator> {
  using Base = nlohmann::ordered_map<Key, T, IgnoredLess, Allocator>;
  using Base::Base;

  friend bool operator==(const JsonObjectMap& a, const JsonObjectMap& b) {
    if (a.size() != b.size()) return false;
    for (const auto& [key, value] : a) {
      auto it = b.find(key);
      if (it == b.end() || !(it->second == value)) return false;
    }
    return true;
  }
  friend bool operator!=(const JsonObjectMap& a, const JsonObjectMap& b) { return !(a == b); }
};

using Json = nlohmann::basic_json<JsonObjectMap>;

// The kinds a typed look-up can ask for. Booleans are numbers, as they are in
// the reference platform's JSON model.
enum class JsonKind { kString, kNumber, kArray, kDictionary, kNull };

TESSARIN_EXPORT bool JsonIsKind(const Json& value, JsonKind kind);
TESSARIN_EXPORT const char* JsonKindName(JsonKind kind);

// The class name the reference platform would report for a value
// ("NSString", "NSNumber", "NSArray", "NSDictionary", "NSNull"), used in
// log lines that name a value's class.
TESSARIN_EXPORT const char* JsonClassName(const Json& value);

// Compact text; invalid UTF-8 in strings is replaced, never thrown.
TESSARIN_EXPORT std::string JsonDump(const Json& value);

// Hash consistent with Json equality: key order is ignored, and numbers that
// compare equal (1 and 1.0) hash alike.
TESSARIN_EXPORT std::size_t JsonHash(const Json& value);

struct JsonHasher {
  std::size_t operator()(const Json& value) const { return JsonHash(value); }
};

}  // namespace tessarin

#endif  // TESSARIN_JSON_H_

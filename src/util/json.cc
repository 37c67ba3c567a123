#include "tessarin/json.h"

#include <cmath>
#include <cstdint>

namespace tessarin {

bool JsonIsKind(const Json& value, JsonKind kind) {
  switch (kind) {
    case JsonKind::kString: return value.is_string();
    case JsonKind::kNumber: return value.is_number() || value.is_boolean();
    case JsonKind::kArray: return value.is_array();
    case JsonKind::kDictionary: return value.is_object();
    case JsonKind::kNull: return value.is_null();
  }
  return false;
}

const char* JsonKindName(JsonKind kind) {
  switch (kind) {
    case JsonKind::kString: return "NSString";
    case JsonKind::kNumber: return "NSNumber";
    case JsonKind::kArray: return "NSArray";
    case JsonKind::kDictionary: return "NSDictionary";
    case JsonKind::kNull: return "NSNull";
  }
  return "NSObject";
}

const char* JsonClassName(const Json& value) {
  if (value.is_string()) return "NSString";
  if (value.is_number() || value.is_boolean()) return "NSNumber";
  if (value.is_array()) return "NSArray";
  if (value.is_object()) return "NSDictionary";
  if (value.is_null()) return "NSNull";
  return "NSObject";
}

namespace {

std::size_t Mix(std::size_t seed, std::size_t h) {
  return seed ^ (h + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

std::size_t HashNumber(double d) {
  if (d == 0) d = 0;  // +0 and -0 are equal
  // Integral values hash through their integer form so 1 and 1.0 agree.
  if (std::isfinite(d) && d == std::floor(d) && std::fabs(d) < 9.2e18) {
    return std::hash<std::int64_t>{}(static_cast<std::int64_t>(d));
  }
  return std::hash<double>{}(d);
}

}  // namespace

std::size_t JsonHash(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null: return 0x6e756c6cU;
    case Json::value_t::boolean: return Mix(1, value.get<bool>() ? 1 : 0);
    case Json::value_t::number_integer:
      return HashNumber(static_cast<double>(value.get<std::int64_t>()));
    case Json::value_t::number_unsigned:
      return HashNumber(static_cast<double>(value.get<std::uint64_t>()));
    case Json::value_t::number_float: return HashNumber(value.get<double>());
    case Json::value_t::string: return std::hash<std::string>{}(value.get_ref<const std::string&>());
    case Json::value_t::array: {
      std::size_t seed = 0xa5a5;
      for (const auto& element : value) seed = Mix(seed, JsonHash(element));
      return seed;
    }
    case Json::value_t::object: {
      // Order-insensitive: combine per-entry hashes with a commutative sum.
      std::size_t sum = 0x0b1ec7;
      for (const auto& [key, element] : value.items()) {
        sum += Mix(std::hash<std::string>{}(key), JsonHash(element));
      }
      return sum;
    }
    default: return 0;
  }
}

}  // namespace tessarin

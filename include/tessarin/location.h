// TSRLocation: where an item is, as coordinates, a city with its state or
// province, a postal code, or any mix of these.
//
// Locations are made only through the class constructors, which refuse
// (and log) values the service would reject. The fields stay writable so an
// app can complete a location it made; what it writes is checked again when
// the location is turned into JSON, and invalid parts are left out there.
//
// Thread contract: a plain value the app owns, like the item it belongs to.
#ifndef TESSARIN_LOCATION_H_
#define TESSARIN_LOCATION_H_

#include <memory>
#include <optional>
#include <string>

#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

// JSON keys of a location. "longlat" holds [longitude, latitude].
inline constexpr const char* TSRLocation_longlat = "longlat";
inline constexpr const char* TSRLocation_city = "city";
inline constexpr const char* TSRLocation_stateProvinceCode = "stateProvinceCode";
inline constexpr const char* TSRLocation_postalCode = "postalCode";

class TESSARIN_EXPORT TSRLocation {
 public:
  // Degrees; a latitude within ±90 and a longitude within ±180. Nothing for
  // a location made without coordinates.
  std::optional<double> latitude;
  std::optional<double> longitude;
  // Written only together, and only when both are non-empty.
  std::optional<std::string> city;
  std::optional<std::string> stateProvinceCode;
  std::optional<std::string> postalCode;

  // Each yields null, logged at Error, when its values are out of range or
  // empty.
  static std::shared_ptr<TSRLocation> locationWithLatitude(double latitude, double longitude);
  static std::shared_ptr<TSRLocation> locationWithCity(const std::string& city, const std::string& stateProvinceCode);
  static std::shared_ptr<TSRLocation> locationWithPostalCode(const std::string& postalCode);

  // Reads "longlat" (used only when it is an array of exactly two numbers),
  // "city" with "stateProvinceCode" (both needed) and "postalCode" into one
  // location; null when none of them gave a valid part, or for null input.
  static std::shared_ptr<TSRLocation> locationFromJSONDictionary(const Json* json);

  // The valid parts as a JSON object. Invalid parts are left out and listed
  // in one Info line; when no valid part remains the result is nothing
  // (logged at Error), and an item then carries no "location".
  std::optional<Json> toJSONDictionary() const;

  std::string description() const;

 private:
  // Explicit, so that not even `{}` can make one outside the class.
  struct PrivateTag {
    explicit PrivateTag() = default;
  };

 public:
  // Only the class constructors above make locations (they hold the
  // validation); the tag keeps this constructor out of reach while still
  // allowing std::make_shared.
  explicit TSRLocation(PrivateTag) {}

 private:
  static std::shared_ptr<TSRLocation> initPrivate();
};

}  // namespace tessarin

#endif  // TESSARIN_LOCATION_H_

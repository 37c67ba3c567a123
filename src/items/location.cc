// TSRLocation: validated on the way in (the class constructors) and again on
// the way out, because the app may change the fields in between.
#include "tessarin/location.h"

#include <cmath>

#include "base/log.h"
#include "items/json_fields.h"

namespace tessarin {
namespace {

// NaN fails both comparisons, so it is never a valid coordinate.
bool ValidLatitude(double latitude) { return std::fabs(latitude) <= 90; }
bool ValidLongitude(double longitude) { return std::fabs(longitude) <= 180; }

bool NonEmpty(const std::optional<std::string>& text) { return text && !text->empty(); }

}  // namespace

std::shared_ptr<TSRLocation> TSRLocation::initPrivate() { return std::make_shared<TSRLocation>(PrivateTag{}); }

std::shared_ptr<TSRLocation> TSRLocation::locationWithLatitude(double latitude, double longitude) {
  if (!ValidLatitude(latitude) || !ValidLongitude(longitude)) {
    TSR_LOG_ERROR("Items: Invalid location. Latitude %@ Longitude %@", latitude, longitude);
    return nullptr;
  }
  auto location = initPrivate();
  location->latitude = latitude;
  location->longitude = longitude;
  return location;
}

std::shared_ptr<TSRLocation> TSRLocation::locationWithCity(const std::string& city,
                                                           const std::string& stateProvinceCode) {
  // Both checks run so that one call reports everything that is missing.
  bool valid = true;
  if (city.empty()) {
    TSR_LOG_ERROR("Items: Invalid location. City is nil or empty.");
    valid = false;
  }
  if (stateProvinceCode.empty()) {
    TSR_LOG_ERROR("Items: Invalid location. State/Province Code is nil or empty.");
    valid = false;
  }
  if (!valid) return nullptr;
  auto location = initPrivate();
  location->city = city;
  location->stateProvinceCode = stateProvinceCode;
  return location;
}

std::shared_ptr<TSRLocation> TSRLocation::locationWithPostalCode(const std::string& postalCode) {
  if (postalCode.empty()) {
    TSR_LOG_ERROR("Items: Invalid location. Postal Code is nil or empty.");
    return nullptr;
  }
  auto location = initPrivate();
  location->postalCode = postalCode;
  return location;
}

std::shared_ptr<TSRLocation> TSRLocation::locationFromJSONDictionary(const Json* json) {
  if (!json) return nullptr;
  std::shared_ptr<TSRLocation> location;
  const Json* longlat = items::FieldOfKind(*json, TSRLocation_longlat, JsonKind::kArray);
  if (longlat && longlat->size() == 2 && JsonIsKind((*longlat)[0], JsonKind::kNumber) &&
      JsonIsKind((*longlat)[1], JsonKind::kNumber)) {
    location = locationWithLatitude(items::NumberValue((*longlat)[1]), items::NumberValue((*longlat)[0]));
  }

  // The other parts join the location the coordinates started, or start one.
  std::optional<std::string> city = items::StringField(*json, TSRLocation_city);
  std::optional<std::string> code = items::StringField(*json, TSRLocation_stateProvinceCode);
  if (city && code) {
    if (location) {
      location->city = std::move(city);
      location->stateProvinceCode = std::move(code);
    } else {
      location = locationWithCity(*city, *code);
    }
  }
  std::optional<std::string> postalCode = items::StringField(*json, TSRLocation_postalCode);
  if (postalCode) {
    if (location) {
      location->postalCode = std::move(postalCode);
    } else {
      location = locationWithPostalCode(*postalCode);
    }
  }
  return location;
}

std::optional<Json> TSRLocation::toJSONDictionary() const {
  Json json = Json::object();
  std::string ignored;

  if (latitude || longitude) {
    bool longitudeValid = longitude && ValidLongitude(*longitude);
    bool latitudeValid = latitude && ValidLatitude(*latitude);
    if (!longitudeValid) ignored += FormatLogMessage("Longitude was %@. ", {LogArg(longitude)});
    if (!latitudeValid) ignored += FormatLogMessage("Latitude was %@. ", {LogArg(latitude)});
    if (longitudeValid && latitudeValid) {
      json[TSRLocation_longlat] = Json::array({items::NumberJson(*longitude), items::NumberJson(*latitude)});
    }
  }

  if (city || stateProvinceCode) {
    // A city means nothing to the service without its state or province.
    bool cityValid = NonEmpty(city);
    bool codeValid = NonEmpty(stateProvinceCode);
    if (!cityValid) ignored += "City was empty. ";
    if (!codeValid) ignored += "State or Province Code was empty. ";
    if (cityValid && codeValid) {
      json[TSRLocation_city] = *city;
      json[TSRLocation_stateProvinceCode] = *stateProvinceCode;
    }
  }

  if (postalCode) {
    if (postalCode->empty()) {
      ignored += "Postal Code was empty. ";
    } else {
      json[TSRLocation_postalCode] = *postalCode;
    }
  }

  if (!ignored.empty()) TSR_LOG_INFO("Items: Ignored invalid fields: %@", ignored);
  if (json.empty()) {
    TSR_LOG_ERROR("Items: Invalid location");
    return std::nullopt;
  }
  return json;
}

std::string TSRLocation::description() const {
  return FormatLogMessage(
      "<TSRLocation: latitude=%@ longitude=%@ city=%@ stateProvinceCode=%@ postalCode=%@>",
      {LogArg(latitude), LogArg(longitude), LogArg(city), LogArg(stateProvinceCode), LogArg(postalCode)});
}

}  // namespace tessarin

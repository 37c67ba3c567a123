// TSRUtilityEvents: the base record every event starts from.
#ifndef TESSARIN_TRANSPORT_EVENTS_UTIL_H_
#define TESSARIN_TRANSPORT_EVENTS_UTIL_H_

#include <optional>

#include "tessarin/json.h"

namespace tessarin {

class SdkFacade;

class TSRUtilityEvents {
 public:
  // The base fields (time, device, operating system, application, SDK
  // version, identities, anonymous ids), or nothing before the façade is
  // started or when the device has no identifier for vendor.
  static std::optional<Json> buildBaseParams(SdkFacade& facade);
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_EVENTS_UTIL_H_

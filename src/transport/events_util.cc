#include "transport/events_util.h"

#include "core/config.h"
#include "core/log.h"
#include "tessarin/events.h"
#include "tessarin/tessarin.h"
#include "util/date_time_util.h"
#include "util/device_util.h"
#include "util/di.h"
#include "util/host_app.h"

namespace tessarin {

std::optional<Json> TSRUtilityEvents::buildBaseParams(Tessarin& facade) {
  if (!facade.started()) {
    TSR_LOG_DEBUG(
        "Events: Ignoring event, SDK not started. Call -startWithClientConfiguration: after obtaining user "
        "consent.");
    return std::nullopt;
  }
  TSRUtilityDI& environment = facade.environment();
  Json event = Json::object();
  // Room for the base keys and the few an action adds, so the record is
  // not moved while it grows.
  event.get_ref<Json::object_t&>().reserve(20);
  event[TSREvent_mobileBeaconVersion] = kTessarinSDKVersion;

  auto anon_id = TSRUtilityDevice::identifierForVendor(environment);
  if (!anon_id) {
    TSR_LOG_ERROR("Cannot build event, no anonId");
    return std::nullopt;
  }
  event[TSREvent_anonId] = *anon_id;
  if (auto affinity = facade.config().stringForKey("__visitorAffinityId")) {
    event[TSREvent_anonAffinityId] = *affinity;
  }

  if (auto user = facade.userId()) {
    event[TSREvent_userId] = *user;
  } else {
    event[TSREvent_anon] = "true";  // a string, as the service expects
  }
  if (auto account = facade.accountId()) event[TSREvent_accountId] = *account;

  event[TSREvent_timestamp] = TSRUtilityDateTime::currentTimeEpochMillis(environment.platform());
  std::string machine = TSRUtilityDevice::machine(environment);
  if (!machine.empty()) event[TSREvent_device] = machine;
  std::string os_name = environment.currentDevice().systemName();
  if (!os_name.empty()) event[TSREvent_osName] = os_name;
  std::string os_version = TSRUtilityDevice::osVersion(environment);
  if (!os_version.empty()) event[TSREvent_osVersion] = os_version;
  TSRUtilityHostApp& host = environment.hostApp();
  if (auto bundle = host.bundleIdentifier()) event[TSREvent_appName] = *bundle;
  if (auto version = host.bundleVersion()) event[TSREvent_appVersion] = *version;
  return event;
}

}  // namespace tessarin

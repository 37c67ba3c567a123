#include "transport/events_util.h"

#include "base/log.h"
#include "base/sdk_facade.h"
#include "tessarin/events.h"
#include "tessarin/sdk_info.h"
#include "util/config.h"
#include "util/date_time_util.h"
#include "util/device_util.h"
#include "util/environment.h"
#include "util/host_app.h"

namespace tessarin {

std::optional<Json> TSRUtilityEvents::buildBaseParams(SdkFacade& facade) {
  if (!facade.started()) {
    TSR_LOG_DEBUG(
        "Events: Ignoring event, SDK not started. Call -startWithClientConfiguration: after obtaining user "
        "consent.");
    return std::nullopt;
  }
  Environment& environment = facade.environment();
  Json event = Json::object();
  auto& fields = event.get_ref<Json::object_t&>();
  // Room for the base keys and the few an action adds, so the record is
  // not moved while it grows.
  fields.reserve(20);
  // Every key below is new to the record: appended, not looked up, as
  // this runs for every event.
  auto put = [&fields](const char* key, Json value) { fields.emplace_back(key, std::move(value)); };
  put(TSREvent_mobileBeaconVersion, kTessarinSDKVersion);

  auto anon_id = TSRUtilityDevice::identifierForVendor(environment);
  if (!anon_id) {
    TSR_LOG_ERROR("Cannot build event, no anonId");
    return std::nullopt;
  }
  put(TSREvent_anonId, std::move(*anon_id));
  if (auto affinity = facade.config().stringForKey("__visitorAffinityId")) {
    put(TSREvent_anonAffinityId, std::move(*affinity));
  }

  if (auto user = facade.userId()) {
    put(TSREvent_userId, std::move(*user));
  } else {
    put(TSREvent_anon, "true");  // a string, as the service expects
  }
  if (auto account = facade.accountId()) put(TSREvent_accountId, std::move(*account));

  put(TSREvent_timestamp, TSRUtilityDateTime::currentTimeEpochMillis(environment.platform()));
  std::string machine = TSRUtilityDevice::machine(environment);
  if (!machine.empty()) put(TSREvent_device, std::move(machine));
  std::string os_name = environment.currentDevice().systemName();
  if (!os_name.empty()) put(TSREvent_osName, std::move(os_name));
  std::string os_version = TSRUtilityDevice::osVersion(environment);
  if (!os_version.empty()) put(TSREvent_osVersion, std::move(os_version));
  TSRUtilityHostApp& host = environment.hostApp();
  if (auto bundle = host.bundleIdentifier()) put(TSREvent_appName, std::move(*bundle));
  if (auto version = host.bundleVersion()) put(TSREvent_appVersion, std::move(*version));
  return event;
}

}  // namespace tessarin

// The server configuration: when the façade asks the service for it, and
// what it does with the answer (a 304 keeps the cached layer, a 400 or 404
// switches the SDK off, an error keeps what there is).
#include <string>
#include <vector>

#include "base/collaborators.h"
#include "base/error.h"
#include "base/log.h"
#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/http_transport.h"
#include "platform/platform.h"
#include "util/config.h"
#include "util/host_app.h"
#include "util/networking.h"

namespace tessarin {

std::optional<std::vector<std::string>> TessarinImpl::buildConfigRequestParams() {
  std::optional<std::string> os_name = di_->currentDevice().systemName();
  if (os_name && os_name->empty()) os_name.reset();
  TSRUtilityHostApp& host = di_->hostApp();
  std::optional<std::string> bundle_id = host.bundleIdentifier();
  std::optional<std::string> bundle_version = host.bundleVersion();
  std::string missing;
  auto note = [&missing](const std::optional<std::string>& value, const char* name) {
    if (value) return;
    if (!missing.empty()) missing += ", ";
    missing += name;
  };
  note(os_name, "os name");
  note(bundle_id, "bundle id");
  note(bundle_version, "bundle version");
  if (!missing.empty()) {
    TSR_LOG_ERROR("Missing params for config request: %@", missing);
    return std::nullopt;
  }
  return std::vector<std::string>{*os_name, *bundle_id, *bundle_version, kTessarinSDKVersion};
}

void TessarinImpl::sendConfigRequestIfNecessary() {
  // Being disabled does not stop the request: a switched-off SDK keeps
  // asking, so the service can switch it on again.
  if (config_->hasEmptyLayer(TSRConfig::kLayerClient) || !config_->expired() || config_request_uuid_ ||
      design_mode_) {
    return;
  }
  if (!sender_) return;  // nothing to ask with
  TSR_LOG_INFO("Config: update attempt");
  std::optional<double> last_modified = config_->lastModified();
  double request_date = platform_->now(platform::Clock::kWall);
  auto params = buildConfigRequestParams();
  if (!params) {
    TSR_LOG_ERROR("Config: Need params for request");
    return;
  }
  Json param_array = Json::array();
  for (const std::string& param : *params) param_array.push_back(param);

  std::weak_ptr<TessarinImpl> weak = weak_from_this();
  // Only the answer to the request in flight, from the current sender, counts.
  auto current = [weak](HttpSender* sender, const std::string& uuid) -> std::shared_ptr<TessarinImpl> {
    auto self = weak.lock();
    if (!self || sender != self->sender_.get() || self->config_request_uuid_ != uuid) return nullptr;
    self->config_request_uuid_.reset();
    return self;
  };
  config_request_uuid_ = sender_->requestConfigWithParams(
      param_array, last_modified,
      [current, request_date](HttpSender* sender, const std::string& uuid,
                              const std::optional<platform::HttpResponse>& response, const Json& json) {
        if (auto self = current(sender, uuid)) {
          self->processConfigResponse(response ? &*response : nullptr, &json, nullptr, request_date);
        }
      },
      [current, request_date](HttpSender* sender, const std::string& uuid,
                              const std::optional<platform::HttpResponse>& response, const TSRError& error) {
        if (auto self = current(sender, uuid)) {
          self->processConfigResponse(response ? &*response : nullptr, nullptr, &error, request_date);
        }
      });
}

void TessarinImpl::processConfigResponse(const platform::HttpResponse* response, const Json* json,
                                     const TSRError* error, double requestDate) {
  (void)requestDate;
  if (design_mode_) {
    TSR_LOG_INFO("Config: dropping response, in design mode");
    return;
  }
  long status = response ? response->statusCode : 0;
  auto texts = [error](auto&& log) {
    if (error) {
      log(LogArg(error->description), LogArg(error->failureReason), LogArg(error->recoverySuggestion));
    } else {
      log(LogArg(), LogArg(), LogArg());
    }
  };
  if (status == 304) {
    TSR_LOG_DEBUG("Config: not modified, setting updated timestamp only");
    config_->setConfiguration(Json::object(), TSRConfig::kLayerServer);
    MarkServerConfigLoaded();
    return;
  }
  if (status == 400 || status == 404) {
    texts([](const LogArg& a, const LogArg& b, const LogArg& c) {
      TSR_LOG_ERROR("Config: not found, disabling. %@ %@ %@", a, b, c);
    });
    config_->replaceConfiguration(Json{{"disable", true}}, TSRConfig::kLayerServer);
    onConfigUpdate();
    return;
  }
  if (!response || error) {
    texts([](const LogArg& a, const LogArg& b, const LogArg& c) {
      TSR_LOG_ERROR("Config: update error, keeping existing config. %@ %@ %@", a, b, c);
    });
    return;
  }
  TSR_LOG_INFO("Config: update success");
  Json server = json && json->is_object() ? *json : Json::object();
  if (auto header = response->header("Last-Modified")) {
    if (auto modified = TSRUtilityNetworking::dateFromHttpDateString(*header)) server["__lastModified"] = *modified;
  }
  config_->replaceConfiguration(server, TSRConfig::kLayerServer);
  onConfigUpdate();
}

}  // namespace tessarin

#include "design/screen_uploads.h"

#include "util/config.h"

namespace tessarin {
namespace {

constexpr const char* kKey = "__screenUploads";

Json Current(const TSRConfig& config) {
  const Json* uploads = config.jsonForKey(kKey);
  return uploads && uploads->is_object() ? *uploads : Json::object();
}

}  // namespace

std::optional<double> TSRScreenUploads::uploadedAt(const std::string& hashText) const {
  const Json* uploads = config_.jsonForKey(kKey);
  if (!uploads || !uploads->is_object()) return std::nullopt;
  auto it = uploads->find(hashText);
  if (it == uploads->end() || !it->is_number()) return std::nullopt;
  return it->get<double>();
}

void TSRScreenUploads::record(const std::string& hashText, double time) {
  Json uploads = Current(config_);
  uploads[hashText] = time;
  config_.setConfiguration(Json{{kKey, std::move(uploads)}}, TSRConfig::kLayerSDK);
}

void TSRScreenUploads::forget(const std::string& hashText) {
  Json uploads = Current(config_);
  if (uploads.erase(hashText) == 0) return;
  config_.setConfiguration(Json{{kKey, std::move(uploads)}}, TSRConfig::kLayerSDK);
}

}  // namespace tessarin

#include "service/script.h"

#include <fstream>
#include <sstream>

namespace tessarin::service {
namespace {

std::optional<Endpoint> EndpointNamed(const std::string& name) {
  for (Endpoint endpoint : {Endpoint::kEvents, Endpoint::kAppConfig, Endpoint::kConnect, Endpoint::kUploadScreen}) {
    if (name == EndpointName(endpoint)) return endpoint;
  }
  return std::nullopt;
}

bool ApplyFaults(LocalService& service, const Json& faults, std::string& error) {
  if (!faults.is_object()) {
    error = "\"faults\" must be an object";
    return false;
  }
  for (const auto& [name, list] : faults.items()) {
    auto endpoint = EndpointNamed(name);
    if (!endpoint || !list.is_array()) {
      error = "\"faults\" member \"" + name + "\" must name an endpoint and hold an array";
      return false;
    }
    for (const Json& entry : list) {
      if (!entry.is_object()) {
        error = "each fault must be an object";
        return false;
      }
      Fault fault;
      fault.status = entry.value("status", 0);
      if (fault.status != 0 && (fault.status < 100 || fault.status > 599)) {
        error = "fault \"status\" " + std::to_string(fault.status) + " is no HTTP status";
        return false;
      }
      fault.body = entry.value("body", Json());
      if (entry.contains("reason")) {
        if (entry.contains("body")) {
          error = "a fault has \"reason\" or \"body\", not both";
          return false;
        }
        fault.body = Json{{"reason", entry["reason"].get<std::string>()}};
      }
      fault.delay = std::chrono::milliseconds(entry.value("delayMs", 0));
      fault.dropConnection = entry.value("drop", false);
      fault.resetConnection = entry.value("reset", false);
      if (fault.dropConnection && fault.resetConnection) {
        error = "a fault has \"drop\" or \"reset\", not both";
        return false;
      }
      int times = entry.value("times", 1);
      bool standing = entry.value("standing", false);
      if (times < 1 || (standing && entry.contains("times"))) {
        error = standing ? "a standing fault has no \"times\"" : "fault \"times\" must be at least 1";
        return false;
      }
      if (standing) {
        service.setStandingFault(*endpoint, fault);
      } else {
        for (int i = 0; i < times; ++i) service.queueFault(*endpoint, fault);
      }
    }
  }
  return true;
}

bool ApplyAppConfig(LocalService& service, const Json& configs, std::string& error) {
  if (!configs.is_object()) {
    error = "\"appConfig\" must be an object of datasets";
    return false;
  }
  for (const auto& [dataset, entry] : configs.items()) {
    if (!entry.is_object() || !entry.contains("config")) {
      error = "\"appConfig\" member \"" + dataset + "\" must hold {\"config\": ...}";
      return false;
    }
    auto lastModified = std::chrono::system_clock::now();
    if (entry.contains("lastModified")) {
      auto parsed = LocalService::ParseHttpDate(entry.value("lastModified", ""));
      if (!parsed) {
        error = "\"lastModified\" of \"" + dataset + "\" is not an HTTP date";
        return false;
      }
      lastModified = *parsed;
    }
    service.setAppConfig(dataset, entry["config"], lastModified);
  }
  return true;
}

}  // namespace

bool ApplyScript(LocalService& service, const Json& script, std::string& error) {
  if (!script.is_object()) {
    error = "a script is a JSON object";
    return false;
  }
  try {
    if (script.contains("eventResponse")) service.setEventResponseTemplate(script["eventResponse"]);
    for (const Json& body : script.value("eventAnswers", Json::array())) service.queueEventAnswer(body);
    for (const Json& campaigns : script.value("campaigns", Json::array())) service.queueCampaigns(campaigns);
    if (script.contains("appConfig") && !ApplyAppConfig(service, script["appConfig"], error)) return false;
    if (script.contains("connect")) service.setConnectAnswer(script["connect"]);
    if (script.contains("uploadScreen")) service.setUploadScreenAnswer(script["uploadScreen"]);
    if (script.contains("faults") && !ApplyFaults(service, script["faults"], error)) return false;
    if (script.contains("certificateFor")) {
      const Json& names = script["certificateFor"];
      if (!names.is_array() || names.empty()) {
        error = "\"certificateFor\" must be a non-empty array of names";
        return false;
      }
      service.setCertificateNames(names.get<std::vector<std::string>>());
    }
  } catch (const Json::exception& e) {
    // A member of the wrong kind, e.g. "status": "503".
    error = e.what();
    return false;
  }
  return true;
}

bool ReadScriptFile(const std::string& path, Json& script, std::string& error) {
  std::ifstream file(path);
  if (!file) {
    error = "cannot read " + path;
    return false;
  }
  std::stringstream text;
  text << file.rdbuf();
  script = Json::parse(text.str(), nullptr, /*allow_exceptions=*/false);
  if (script.is_discarded()) {
    error = path + " is not JSON";
    return false;
  }
  return true;
}

}  // namespace tessarin::service

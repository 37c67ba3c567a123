#include "tessarin/client_configuration_builder.h"

#include "base/log.h"
#include "util/unicode_trim.h"

namespace tessarin {

Json TSRClientConfigurationBuilder::toDictionary() const {
  return Json::object({
      {"account", account},
      {"dataset", dataset},
      {"usePushNotifications", usePushNotifications},
      {"useDesignMode", useDesignMode},
  });
}

void TSRClientConfigurationBuilder::logInvalidEntries() {
  account = TrimWhitespaceAndNewlines(account);
  dataset = TrimWhitespaceAndNewlines(dataset);
  std::string report;
  if (account.empty()) report += "  - Missing: account\n";
  if (dataset.empty()) report += "  - Missing: dataset\n";
  if (!report.empty()) TSR_LOG_ERROR("ClientConfigurationBuilder: Invalid entries:\n%@", report);
}

}  // namespace tessarin

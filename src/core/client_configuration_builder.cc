#include "tessarin/client_configuration_builder.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

#include "core/log.h"

namespace tessarin {
namespace {

// `text` without Unicode white space at either end. Text that is not valid
// UTF-8 stops the trimming where it begins, so no byte of it is lost.
std::string TrimWhiteSpace(const std::string& text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int32_t>(text.size());
  std::int32_t begin = -1;  // where the first kept code point starts
  std::int32_t end = 0;     // where the last kept code point ends
  for (std::int32_t offset = 0; offset < length;) {
    std::int32_t start = offset;
    UChar32 c;
    U8_NEXT(bytes, offset, length, c);
    if (c >= 0 && u_isUWhiteSpace(c)) continue;
    if (begin < 0) begin = start;
    end = offset;
  }
  if (begin < 0) return std::string();
  return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

}  // namespace

Json TSRClientConfigurationBuilder::toDictionary() const {
  return Json::object({
      {"account", account},
      {"dataset", dataset},
      {"usePushNotifications", usePushNotifications},
      {"useDesignMode", useDesignMode},
  });
}

void TSRClientConfigurationBuilder::logInvalidEntries() {
  account = TrimWhiteSpace(account);
  dataset = TrimWhiteSpace(dataset);
  std::string report;
  if (account.empty()) report += "  - Missing: account\n";
  if (dataset.empty()) report += "  - Missing: dataset\n";
  if (!report.empty()) TSR_LOG_ERROR("ClientConfigurationBuilder: Invalid entries:\n%@", report);
}

}  // namespace tessarin

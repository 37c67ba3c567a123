#include "platform/http_transport.h"

#include <strings.h>

namespace tessarin::platform {

std::optional<std::string> HttpResponse::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0) return value;
  }
  return std::nullopt;
}

}  // namespace tessarin::platform

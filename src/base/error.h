// TSRError: what the transport reports when something fails.
//
// It carries only what the SDK's errors and the URL-loading errors it
// classifies need: a domain, a code and the three user-facing texts. It is a
// plain value: there is no user-info dictionary, no underlying error and no
// localisation table (the texts are the SDK's own English strings).
#ifndef TESSARIN_BASE_ERROR_H_
#define TESSARIN_BASE_ERROR_H_

#include <optional>
#include <string>

namespace tessarin {

// The domain of errors that come from loading a URL (connection, DNS, TLS),
// whose codes are the platform's URL-loading codes (-1001 timed out, ...).
inline constexpr const char* kTSRURLErrorDomain = "NSURLErrorDomain";

struct TSRError {
  std::string domain;
  long code = 0;
  std::string description;  // the localized description
  // Absent texts print as "(null)" in log lines, as the service's support
  // staff know them from the reference platform.
  std::optional<std::string> failureReason;
  std::optional<std::string> recoverySuggestion;
};

}  // namespace tessarin

#endif  // TESSARIN_BASE_ERROR_H_

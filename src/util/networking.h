// TSRUtilityNetworking: the service's endpoints, query strings, HTTP dates,
// the classification of failed connections, and opening URLs.
//
// URLs are text; TSRURL (util/networking_url.h) parses and edits them.
// Dates are seconds since 1970.
#ifndef TESSARIN_UTIL_NETWORKING_H_
#define TESSARIN_UTIL_NETWORKING_H_

#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRConfig;

// The service's hosts. An account's default host is the account name
// followed by "." and the service domain; the app configuration is read
// through the content-delivery host unless "useCDN" is off.
inline constexpr const char* kTSRServiceDomain = "api.tessarin.io";
inline constexpr const char* kTSRServiceCDNHost = "cdn.tessarin.io";

// The three endpoints derived from a configuration; nothing where no URL
// could be formed (no account or dataset, or a malformed result).
struct TSREndpoints {
  std::optional<std::string> urlConfig;
  std::optional<std::string> urlEvents;
  std::optional<std::string> urlDesigner;
};

// What connectivityProblem reports; zero is "not a connectivity problem".
enum TSRConnectivityProblem : int {
  TSRConnectivityProblemNone = 0,
  TSRConnectivityProblemGeneral = 1,       // no network, connection lost, DNS failure
  TSRConnectivityProblemUnreachable = 2,   // the service's host did not answer
  TSRConnectivityProblemProxy = 3,         // authentication, redirects, TLS
};

class TSRUtilityNetworking {
 public:
  // The endpoints the sender uses, from "protocol", "domain", "port",
  // "useCDN", "account", "dataset" and the "urlConfig", "urlEvents" and
  // "urlDesigner" overrides. Each ends with an empty path component.
  static TSREndpoints endpointsWithConfig(const TSRConfig& config);

  // Adds string and number values of `params` to the URL's query, keys in
  // ascending order, each key and value percent-encoded; other values are
  // skipped with a warning. A URL that does not parse comes back as it is.
  static std::string addQueryParams(const Json& params, const std::string& toURL);
  // Percent-encodes everything but letters, digits and "-", ".", "_", "~".
  static std::string urlEncodeString(std::string_view string);

  // "Wed, 21 Oct 2015 07:28:00 GMT"; nothing in, nothing out.
  static std::optional<std::string> httpDateStringFromDate(std::optional<double> date);
  static std::optional<double> dateFromHttpDateString(const std::optional<std::string>& string);

  // Asks the host application to open the URL and logs the outcome.
  static void openURL(platform::HostApplication& application, const std::optional<std::string>& url);
  static void openURLFromString(platform::HostApplication& application, const std::optional<std::string>& string);

  // Whether a failed request failed to connect (and is worth retrying), and
  // how; with a tag the matching Error line is logged.
  static int connectivityProblemForError(const TSRError* error, const char* logTag);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_NETWORKING_H_

#include "util/networking.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "util/config.h"
#include "util/networking_url.h"
#include "util/utf8_text.h"

namespace tessarin {
namespace {

// The number as the platform writes a number's string value: integers and
// whole floating-point values without a fraction, booleans as 1 and 0.
std::string NumberString(const Json& number) {
  if (number.is_boolean()) return number.get<bool>() ? "1" : "0";
  if (number.is_number_integer()) return JsonDump(number);
  double value = number.get<double>();
  if (std::trunc(value) == value && std::fabs(value) < 1e15) return std::to_string(static_cast<long long>(value));
  return JsonDump(number);
}


struct EndpointInputs {
  std::string protocol;
  std::string domain;
  int port = 0;
  std::string dataset;
  std::string account;
};

// The override when it is a URL, else the derived URL, each ending with an
// empty path component. `warning` is logged for an override that is not used.
std::optional<std::string> Endpoint(const std::optional<std::string>& override, const char* warning,
                                    const EndpointInputs& in, const std::string& host, const char* path) {
  std::optional<TSRURL> url;
  if (override) url = TSRURL::parse(*override);
  if (!url) {
    if (override && !override->empty()) TSR_LOG_WARN(warning, *override);
    if (!in.account.empty() && !in.dataset.empty() && !in.domain.empty()) {
      url = TSRURL::parse(in.protocol + "://" + host + ":" + std::to_string(in.port) + path);
    }
  }
  if (!url) return std::nullopt;
  return url->appendingPathComponent("").absoluteString();
}

// HTTP dates ("Wed, 21 Oct 2015 07:28:00 GMT"): English names, GMT, whole
// seconds. Written and read here rather than by a locale-aware date
// formatter, which would load calendar, locale and time-zone data (several
// megabytes resident) for one fixed format.
constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Days since 1970-01-01 of a proleptic Gregorian date, and back.
long long DaysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, long long& y, unsigned& m, unsigned& d) {
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = static_cast<long long>(yoe) + era * 400 + (m <= 2);
}

bool IsLeap(long long y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

unsigned DaysInMonth(long long y, unsigned m) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

std::optional<std::string> FormatHttpDate(double seconds) {
  if (!std::isfinite(seconds) || std::fabs(seconds) > 1e14) return std::nullopt;
  const long long whole = static_cast<long long>(std::floor(seconds));
  long long days = whole / 86400;
  long long rest = whole % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  long long year;
  unsigned month, day;
  CivilFromDays(days, year, month, day);
  const long long weekday = ((days % 7) + 11) % 7;  // 1970-01-01 was a Thursday
  char text[64];
  std::snprintf(text, sizeof text, "%s, %02u %s %04lld %02lld:%02lld:%02lld GMT", kWeekdays[weekday], day,
                kMonths[month - 1], year, rest / 3600, rest / 60 % 60, rest % 60);
  return std::string(text);
}

// Reads `count` digits (exactly, or 1 to `count` when not `exact`).
bool ReadNumber(std::string_view& text, std::size_t count, bool exact, unsigned& value) {
  std::size_t n = 0;
  value = 0;
  while (n < count && n < text.size() && text[n] >= '0' && text[n] <= '9') value = value * 10 + (text[n++] - '0');
  if (n == 0 || (exact && n != count)) return false;
  text.remove_prefix(n);
  return true;
}

bool ReadLiteral(std::string_view& text, std::string_view literal) {
  if (text.size() < literal.size()) return false;
  for (std::size_t i = 0; i < literal.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != std::tolower(static_cast<unsigned char>(literal[i]))) {
      return false;
    }
  }
  text.remove_prefix(literal.size());
  return true;
}

// One of `names`, as its index.
template <std::size_t N>
bool ReadName(std::string_view& text, const char* const (&names)[N], unsigned& index) {
  for (unsigned i = 0; i < N; ++i) {
    if (ReadLiteral(text, names[i])) {
      index = i;
      return true;
    }
  }
  return false;
}

std::optional<double> ParseHttpDate(std::string_view text) {
  unsigned weekday, day, month, year, hour, minute, second;
  if (!ReadName(text, kWeekdays, weekday) || !ReadLiteral(text, ", ") || !ReadNumber(text, 2, false, day) ||
      !ReadLiteral(text, " ") || !ReadName(text, kMonths, month) || !ReadLiteral(text, " ") ||
      !ReadNumber(text, 4, true, year) || !ReadLiteral(text, " ") || !ReadNumber(text, 2, true, hour) ||
      !ReadLiteral(text, ":") || !ReadNumber(text, 2, true, minute) || !ReadLiteral(text, ":") ||
      !ReadNumber(text, 2, true, second) || !ReadLiteral(text, " ")) {
    return std::nullopt;
  }
  // The whole string has to be a date; a date followed by anything else is
  // not one.
  if (!(ReadLiteral(text, "GMT") || ReadLiteral(text, "UTC")) || !text.empty()) return std::nullopt;
  ++month;
  if (day < 1 || day > DaysInMonth(year, month) || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const long long days = DaysFromCivil(year, month, day);
  return static_cast<double>(days * 86400 + hour * 3600 + minute * 60 + second);
}

}  // namespace

TSREndpoints TSRUtilityNetworking::endpointsWithConfig(const TSRConfig& config) {
  EndpointInputs in;
  in.account = config.stringForKey("account").value_or("");
  in.dataset = config.stringForKey("dataset").value_or("");
  in.protocol = config.stringForKey("protocol").value_or("");
  in.port = static_cast<int>(config.longForKey("port").value_or(0));
  in.domain = config.stringForKey("domain").value_or("");
  if (in.domain.empty() && !in.account.empty()) in.domain = in.account + "." + kTSRServiceDomain;
  const bool use_cdn = config.boolForKey("useCDN").value_or(false);
  const std::string query = "?_ak=" + in.account;

  TSREndpoints endpoints;
  endpoints.urlConfig = Endpoint(config.stringForKey("urlConfig"),
                                 "Falling back to default URL for config, issue with %@", in,
                                 use_cdn ? std::string(kTSRServiceCDNHost) : in.domain,
                                 ("/api/dataset/" + in.dataset + "/appConfig" + query).c_str());
  endpoints.urlEvents = Endpoint(config.stringForKey("urlEvents"),
                                 "Falling back to default URL for events, issue with %@", in, in.domain,
                                 ("/mr/dataset/" + in.dataset + query).c_str());
  endpoints.urlDesigner = Endpoint(config.stringForKey("urlDesigner"),
                                   "Falling back to default URL for designer, issue with %@", in, in.domain,
                                   ("/api/dataset/" + in.dataset + "/mobileEditor" + query).c_str());
  return endpoints;
}

std::string TSRUtilityNetworking::addQueryParams(const Json& params, const std::string& toURL) {
  if (!params.is_object() || params.empty()) return toURL;
  std::optional<TSRURL> url = TSRURL::parse(toURL);
  if (!url) return toURL;
  std::string query = url->query.value_or("");

  // JSON keys are always strings, so no key is dropped for its class.
  std::vector<std::string> keys;
  for (const auto& [key, value] : params.items()) keys.push_back(key);
  // Keys sort as the platform compares strings: by UTF-16 code unit.
  std::sort(keys.begin(), keys.end(), [](const std::string& a, const std::string& b) { return Utf16Less(a, b); });

  for (const std::string& key : keys) {
    const Json& value = params.at(key);
    std::string text;
    if (value.is_string()) {
      text = value.get<std::string>();
    } else if (JsonIsKind(value, JsonKind::kNumber)) {
      text = NumberString(value);
    } else {
      TSR_LOG_WARN("Network: Ignoring URL param value, unsupported class %@ %@ key %@", JsonClassName(value), value,
                   key);
      continue;
    }
    if (!query.empty()) query += "&";
    query += urlEncodeString(key) + "=" + urlEncodeString(text);
  }
  url->query = query;
  return url->absoluteString();
}

std::string TSRUtilityNetworking::urlEncodeString(std::string_view string) {
  // The query-allowed characters less every delimiter that could end or
  // split a key or value leave exactly the unreserved characters.
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(string.size());
  for (unsigned char c : string) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
        c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xf];
    }
  }
  return out;
}

std::optional<std::string> TSRUtilityNetworking::httpDateStringFromDate(std::optional<double> date) {
  if (!date) return std::nullopt;
  return FormatHttpDate(*date);
}

std::optional<double> TSRUtilityNetworking::dateFromHttpDateString(const std::optional<std::string>& string) {
  if (!string) return std::nullopt;
  return ParseHttpDate(*string);
}

void TSRUtilityNetworking::openURL(platform::HostApplication& application, const std::optional<std::string>& url) {
  if (!url) {
    TSR_LOG_WARN("Network: Open URL fail, nil");
    return;
  }
  // Without an application object there is nothing that can open a URL.
  if (!application.hasSharedApplication()) {
    TSR_LOG_ERROR("Network: Open URL fail, UIApplication does not respond to expected open-url methods");
    return;
  }
  application.openURL(*url, [text = *url](bool success) {
    if (success) {
      TSR_LOG_INFO("Network: Open URL %@", text);
    } else {
      TSR_LOG_WARN("Network: Open URL fail, app did not handle %@", text);
    }
  });
}

void TSRUtilityNetworking::openURLFromString(platform::HostApplication& application,
                                             const std::optional<std::string>& string) {
  std::optional<TSRURL> url = string ? TSRURL::parse(*string) : std::nullopt;
  if (!url) {
    TSR_LOG_WARN("Network: Open URL fail, string invalid %@", string);
    return;
  }
  openURL(application, url->absoluteString());
}

int TSRUtilityNetworking::connectivityProblemForError(const TSRError* error, const char* logTag) {
  if (error == nullptr || error->domain != kTSRURLErrorDomain) return TSRConnectivityProblemNone;
  int problem = TSRConnectivityProblemNone;
  switch (error->code) {
    case -1020:  // data not allowed
    case -1019:  // call is active
    case -1018:  // international roaming off
    case -1009:  // not connected to the internet
    case -1006:  // DNS lookup failed
    case -1005:  // network connection lost
      problem = TSRConnectivityProblemGeneral;
      break;
    case -1004:  // cannot connect to host
    case -1003:  // cannot find host
    case -1001:  // timed out
      problem = TSRConnectivityProblemUnreachable;
      break;
    case -1013:  // user authentication required
    case -1012:  // user cancelled authentication
    case -1010:  // redirect to non-existent location
    case -1007:  // too many redirects
      problem = TSRConnectivityProblemProxy;
      break;
    default:
      // -1206 through -1200: secure connection and client certificate failures.
      if (error->code >= -1206 && error->code <= -1200) problem = TSRConnectivityProblemProxy;
      break;
  }
  if (logTag == nullptr) return problem;
  switch (problem) {
    case TSRConnectivityProblemGeneral:
      TSR_LOG_ERROR("Network: %@ Could not send. General network connectivity problem. %@ %@", logTag,
                    error->description, error->failureReason);
      break;
    case TSRConnectivityProblemUnreachable:
      TSR_LOG_ERROR("Network: %@ Could not send. Could not contact Tessarin. %@ %@", logTag, error->description,
                    error->failureReason);
      break;
    case TSRConnectivityProblemProxy:
      TSR_LOG_ERROR("Network: %@ Could not send. Might be a proxy in the way. %@ %@", logTag, error->description,
                    error->failureReason);
      break;
    default:
      break;
  }
  return problem;
}

}  // namespace tessarin

#include "util/networking.h"

#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <vector>

#include "base/log.h"
#include "util/config.h"
#include "util/networking_url.h"

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

// Keys sort as the platform compares strings: by UTF-16 code unit.
bool Utf16Less(const std::string& a, const std::string& b) {
  return icu::UnicodeString::fromUTF8(a).compare(icu::UnicodeString::fromUTF8(b)) < 0;
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

// One formatter serves every caller; formatting and parsing are not safe to
// run at once on one formatter, so calls take turns.
class HttpDateFormatter {
 public:
  static HttpDateFormatter& shared() {
    // Never destroyed: the SDK's threads may still parse a date while the
    // process exits and runs its static destructors.
    static HttpDateFormatter* formatter = new HttpDateFormatter();
    return *formatter;
  }

  std::optional<std::string> format(double seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!format_) return std::nullopt;
    icu::UnicodeString text;
    format_->format(seconds * 1000.0, text);
    std::string out;
    return text.toUTF8String(out);
  }

  std::optional<double> parse(const std::string& string) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!format_) return std::nullopt;
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(string);
    icu::ParsePosition position(0);
    UDate date = format_->parse(text, position);
    // The whole string has to be a date; a date followed by anything else is
    // not one.
    if (position.getErrorIndex() >= 0 || position.getIndex() != text.length()) return std::nullopt;
    return date / 1000.0;
  }

 private:
  HttpDateFormatter() {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(
        icu::UnicodeString::fromUTF8("EEE, dd MMM yyyy HH:mm:ss zzz"), icu::Locale("en_US_POSIX"), status);
    if (U_FAILURE(status)) return;
    format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8("GMT")));
    format->setLenient(false);
    format_ = std::move(format);
  }

  std::mutex mutex_;
  std::unique_ptr<icu::SimpleDateFormat> format_;
};

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
  std::sort(keys.begin(), keys.end(), Utf16Less);

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
  return HttpDateFormatter::shared().format(*date);
}

std::optional<double> TSRUtilityNetworking::dateFromHttpDateString(const std::optional<std::string>& string) {
  if (!string) return std::nullopt;
  return HttpDateFormatter::shared().parse(*string);
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

// The HTTP transport: the URL-loading system's part of the seam.
//
// A request goes out, and exactly one completion comes back on the
// transport's own thread (the URL-loading queue): a response with its body,
// or a failure carrying the platform's URL-loading error code (-1001 timed
// out, -1004 cannot connect, -1005 connection lost, -1202 untrusted
// certificate, ...). Callers hop to their own queue from there.
#ifndef TESSARIN_PLATFORM_HTTP_TRANSPORT_H_
#define TESSARIN_PLATFORM_HTTP_TRANSPORT_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessarin::platform {

struct HttpRequest {
  std::string method = "GET";
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

struct HttpResponse {
  long statusCode = 0;
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  // The value of a header, its name compared without regard to case.
  std::optional<std::string> header(std::string_view name) const;
};

struct TransportFailure {
  long code = -1;           // the platform's URL-loading error code
  std::string description;  // the localized description
  std::string failureReason;
};

using HttpCompletion = std::function<void(const std::optional<HttpResponse>& response, std::string body,
                                          const std::optional<TransportFailure>& failure)>;

class HttpTransport {
 public:
  virtual ~HttpTransport() = default;
  // Starts the request and returns at once.
  virtual void perform(HttpRequest request, HttpCompletion completion) = 0;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_HTTP_TRANSPORT_H_

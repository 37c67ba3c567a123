#include "transport/sender.h"

#include <cstdio>

#include "base/log.h"
#include "transport/gzip.h"
#include "transport/plain_event_responses.h"
#include "util/config.h"
#include "util/date_time_util.h"
#include "util/environment.h"
#include "util/json_util.h"
#include "util/networking.h"
#include "util/networking_url.h"
#include "util/safety.h"

namespace tessarin {
namespace {

// The system's texts are kept as written, placeholders included, and
// expanded by the log call's own formatter.
std::string Format(const char* format, std::vector<LogArg> args) { return FormatLogMessage(format, args); }

constexpr const char* kSendEventsTag = "-[TSRSender sendEvents:timeZone:success:failure:]";
constexpr const char* kRequestConfigTag = "-[TSRSender requestConfigWithParams:lastModified:success:failure:]";
constexpr const char* kConnectTag = "-[TSRSender connectWithInfo:success:failure:]";
constexpr const char* kUploadScreenTag = "-[TSRSender uploadScreenWithInfo:imageData:mimeType:success:failure:]";
constexpr const char* kSendRequestTag = "-[TSRSender sendRequest:UUID:processBlock:failureBlock:]";

// Bodies this large are not worth reading for a reason.
constexpr std::size_t kMaxReasonBodySize = 10000;

bool Acceptable(long statusCode) { return statusCode >= 200 && statusCode < 300; }

std::optional<std::string> Optional(std::string text) {
  if (text.empty()) return std::nullopt;
  return text;
}

TSRError UnableToParseResponse() {
  return TSRSender::errorWithDescription("Unable to parse response.", "Expected JSON.", "");
}

}  // namespace

std::shared_ptr<TSRSender> TSRSender::initWithConfig(std::shared_ptr<Environment> di, const TSRConfig& config) {
  if (!di || di->platform().httpTransport() == nullptr) {
    TSR_LOG_ERROR("Could not create session");
    return nullptr;
  }
  auto sender = std::make_shared<TSRSender>(Passkey{}, std::move(di));
  sender->updateWithConfig(config);
  return sender;
}

TSRSender::TSRSender(Passkey, std::shared_ptr<Environment> di) : di_(std::move(di)) {
  std::random_device device;
  std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
  random_.seed(seed);
}

void TSRSender::updateWithConfig(const TSRConfig& config) {
  TSREndpoints endpoints = TSRUtilityNetworking::endpointsWithConfig(config);
  std::lock_guard<std::mutex> lock(mutex_);
  url_config_ = std::move(endpoints.urlConfig);
  url_events_ = std::move(endpoints.urlEvents);
  url_designer_ = std::move(endpoints.urlDesigner);
}

std::string TSRSender::urlEvents() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return url_events_.value_or("");
}

std::optional<std::string> TSRSender::urlConfig() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return url_config_;
}

std::optional<std::string> TSRSender::urlDesigner() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return url_designer_;
}

std::string TSRSender::newRequestUUID() {
  std::uint64_t high, low;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    high = random_();
    low = random_();
  }
  // Version 4 (random), variant 10xx.
  high = (high & 0xFFFFFFFFFFFF0FFFULL) | 0x0000000000004000ULL;
  low = (low & 0x3FFFFFFFFFFFFFFFULL) | 0x8000000000000000ULL;
  char text[37];
  std::snprintf(text, sizeof(text), "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
  return text;
}

TSRError TSRSender::errorWithDescription(std::string description, std::string failureReason,
                                         std::string recoverySuggestion) {
  return TSRError{TSRErrorDomain, 0, std::move(description), Optional(std::move(failureReason)),
                  Optional(std::move(recoverySuggestion))};
}

// --- Building and sending ----------------------------------------------------

std::optional<platform::HttpRequest> TSRSender::createRequest(const std::string& uuid,
                                                              const std::optional<std::string>& url,
                                                              const std::optional<Json>& json,
                                                              const std::optional<std::string>& data,
                                                              const std::optional<std::string>& dataMimeType,
                                                              const FailureReporter& failure) {
  std::optional<TSRURL> parsed = url ? TSRURL::parse(*url) : std::nullopt;
  if (!parsed || parsed->absoluteString().empty()) {
    failure(std::nullopt,
            errorWithDescription("Unable to send request.", "Cannot form url/request.", "Repair url/request."));
    return std::nullopt;
  }
  if (data.has_value() != dataMimeType.has_value()) {
    failure(std::nullopt, errorWithDescription("Unable to send request.", "Optional data/mimeType must exist as pair.",
                                               "Provide complete request."));
    return std::nullopt;
  }
  std::optional<std::string> jsonData;
  if (json) {
    jsonData = TSRUtilityJSON::dataFromJSON(*json);
    if (!jsonData) {
      failure(std::nullopt, errorWithDescription("Unable to send request.", "Cannot serialize JSON.", "Repair JSON."));
      return std::nullopt;
    }
  }

  platform::HttpRequest request;
  request.url = parsed->absoluteString();
  if (jsonData && data) {
    // The boundary is the request's UUID: it cannot occur in the JSON part
    // by chance, and it ties a received upload to the request that sent it.
    request.headers.emplace_back("Content-Type", Format("multipart/form-data; boundary=%@", {uuid}));
    std::string::size_type slash = dataMimeType->find('/');
    std::string dataName = slash == std::string::npos ? *dataMimeType : dataMimeType->substr(0, slash);
    if (dataName.empty()) dataName = "undefined";
    std::string& body = request.body;
    body += Format("--%@\r\n", {uuid});
    body += Format("Content-Disposition: form-data; name=\"%@\"\r\n", {"meta"});
    body += "Content-Type: application/json\r\n\r\n";
    body += *jsonData;
    body += "\r\n";
    body += Format("--%@\r\n", {uuid});
    body += Format("Content-Disposition: form-data; name=\"%@\"; size=%lu\r\n",
                   {dataName, static_cast<unsigned long>(data->size())});
    body += Format("Content-Type: %@\r\n\r\n", {*dataMimeType});
    body += *data;
    body += "\r\n";
    body += Format("--%@--\r\n", {uuid});
  } else if (jsonData) {
    return jsonRequest(std::move(request.url), std::move(*jsonData));
  } else if (data) {
    request.headers.emplace_back("Content-Type", *dataMimeType);
    request.body = *data;
  } else {
    request.method = "GET";
    return request;
  }

  request.method = "POST";
  Compress(request);
  return request;
}

platform::HttpRequest TSRSender::jsonRequest(std::string url, std::string json, std::string gzip) {
  platform::HttpRequest request;
  request.url = std::move(url);
  request.method = "POST";
  request.headers.emplace_back("Content-Type", "application/json");
  if (!gzip.empty() && TSRGzipCodec::shared().canDeflate()) {
    request.headers.emplace_back("Content-Encoding", "gzip");
    request.body = std::move(gzip);
    return request;
  }
  request.body = std::move(json);
  Compress(request);
  return request;
}

void TSRSender::Compress(platform::HttpRequest& request) {
  if (!TSRGzipCodec::shared().canDeflate()) {
    TSR_LOG_ERROR("Unable to compress data, missing gzip category?");
    return;
  }
  TSRError gzipError;
  std::optional<std::string> compressed = tsr_dataByGZipCompressingWithError(request.body, &gzipError);
  if (!compressed) {
    TSR_LOG_WARN("Unable to compress data, gzip error: %@", gzipError.description);
    return;
  }
  request.headers.emplace_back("Content-Encoding", "gzip");
  request.body = std::move(*compressed);
}

void TSRSender::sendRequest(platform::HttpRequest request, const std::string& uuid, ProcessBlock process,
                            FailureReporter failure) {
  (void)uuid;  // the reporters already carry it
  platform::HttpTransport* transport = di_->platform().httpTransport();
  if (transport == nullptr) {
    failure(std::nullopt,
            errorWithDescription("Unable to create URL Session Task", "Unexpected issue with URL Session", ""));
    return;
  }
  std::weak_ptr<TSRSender> weak = weak_from_this();
  transport->perform(std::move(request), [weak, process = std::move(process), failure = std::move(failure)](
                                             const Response& response, std::string body,
                                             const std::optional<platform::TransportFailure>& transportFailure) {
    auto self = weak.lock();
    if (!self) return;
    TSRUtilitySafety::runWithTag(kSendRequestTag, [&] {
      if (transportFailure) {
        // Passed on as the URL-loading system reported it, so that the
        // queue can tell a connectivity problem from a refusal.
        failure(response, TSRError{kTSRURLErrorDomain, transportFailure->code, transportFailure->description,
                                   Optional(transportFailure->failureReason), std::nullopt});
      } else if (!response) {
        failure(std::nullopt, errorWithDescription("Unable to process event response.",
                                                   Format("Unexpected response class: %@", {LogArg()}), "Retry at a later time."));
      } else if (Acceptable(response->statusCode)) {
        process(*response, body);
      } else {
        failure(response, errorForStatus(*response, body));
      }
    });
  });
}

TSRError TSRSender::errorForStatus(const platform::HttpResponse& response, const std::string& body) {
  const long status = response.statusCode;
  std::string reason;
  if (!body.empty() && body.size() < kMaxReasonBodySize && TSRUtilityJSON::isValidUTF8(body)) {
    Json parsed = Json::parse(body, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_object()) {
      auto found = parsed.find(TSRErrorDescriptionReason);
      if (found != parsed.end() && found->is_string()) reason = found->get<std::string>();
    }
  }
  if (reason.empty()) {
    reason = Format("HTTP status code %ld (%@).", {status, localizedStringForStatusCode(status)});
  }
  return errorWithDescription(Format("Send request failed, status code %ld", {status}), std::move(reason),
                              status == 400 ? "Check that the account exists and that the request is formatted properly."
                                            : "Check the format of the request and retry at a later time.");
}

std::string TSRSender::localizedStringForStatusCode(long statusCode) {
  switch (statusCode) {
    case 100: return "continue";
    case 101: return "switching protocols";
    case 200: return "no error";
    case 201: return "created";
    case 202: return "accepted";
    case 203: return "non-authoritative information";
    case 204: return "no content";
    case 205: return "reset content";
    case 206: return "partial content";
    case 300: return "multiple choices";
    case 301: return "moved permanently";
    case 302: return "found";
    case 303: return "see other";
    case 304: return "not modified";
    case 305: return "needs proxy";
    case 307: return "redirected";
    case 400: return "bad request";
    case 401: return "unauthorized";
    case 402: return "payment required";
    case 403: return "forbidden";
    case 404: return "not found";
    case 405: return "method not allowed";
    case 406: return "unacceptable";
    case 407: return "proxy authentication required";
    case 408: return "request timed out";
    case 409: return "conflict";
    case 410: return "no longer exists";
    case 411: return "length required";
    case 412: return "precondition failed";
    case 413: return "request too large";
    case 414: return "requested URL too long";
    case 415: return "unsupported media type";
    case 416: return "requested range not satisfiable";
    case 417: return "expectation failed";
    case 429: return "too many requests";
    case 500: return "internal server error";
    case 501: return "unimplemented";
    case 502: return "bad gateway";
    case 503: return "service unavailable";
    case 504: return "gateway timed out";
    case 505: return "unsupported version";
    default: break;
  }
  if (statusCode >= 100 && statusCode < 200) return "informational";
  if (statusCode >= 200 && statusCode < 300) return "success";
  if (statusCode >= 300 && statusCode < 400) return "redirected";
  if (statusCode >= 400 && statusCode < 500) return "client error";
  return "server error";
}

// --- Delivering results --------------------------------------------------------

template <class Block, class Payload>
void TSRSender::Deliver(Block block, const char* tag, const std::string& uuid, const Response& response,
                        Payload payload) {
  if (!block) return;
  TSRUtilitySafety::runAsyncOnQueue(di_->platform().mainQueue(), tag,
                                    [self = shared_from_this(), block = std::move(block), uuid, response,
                                     payload = std::move(payload)] { block(self.get(), uuid, response, payload); });
}

void TSRSender::handleSuccessJSONArrayBlock(ArraySuccessBlock block, const char* tag, const std::string& uuid,
                                            const Response& response, std::optional<Json> jsonArray) {
  Deliver(std::move(block), tag, uuid, response, std::move(jsonArray));
}

void TSRSender::handleSuccessJSONBlock(JsonSuccessBlock block, const char* tag, const std::string& uuid,
                                       const Response& response, Json json) {
  Deliver(std::move(block), tag, uuid, response, std::move(json));
}

void TSRSender::handleFailureBlock(FailureBlock block, const char* tag, const std::string& uuid,
                                   const Response& response, TSRError error) {
  Deliver(std::move(block), tag, uuid, response, std::move(error));
}

void TSRSender::handleEventFailureBlock(EventFailureBlock block, const char* tag, const std::string& uuid,
                                        const Response& response, TSRError error) {
  Deliver(std::move(block), tag, uuid, response, std::move(error));
}

TSRSender::FailureReporter TSRSender::failureReporter(FailureBlock block, const char* tag, const std::string& uuid) {
  // Called either while the operation runs or from a transport completion
  // that holds the sender, so `this` is alive whenever it is called.
  return [this, block = std::move(block), tag, uuid](const Response& response, const TSRError& error) {
    handleFailureBlock(block, tag, uuid, response, error);
  };
}

void TSRSender::deliverJsonObject(JsonSuccessBlock success, FailureBlock failure, const char* tag,
                                  const std::string& uuid, const platform::HttpResponse& response,
                                  const std::string& body, bool emptyIsNull) {
  if (body.empty() && emptyIsNull) {
    handleSuccessJSONBlock(std::move(success), tag, uuid, response, Json());
    return;
  }
  std::optional<Json> json = TSRUtilityJSON::rawJSONFromData(body);
  if (!json) {
    handleFailureBlock(std::move(failure), tag, uuid, response, UnableToParseResponse());
    return;
  }
  handleSuccessJSONBlock(std::move(success), tag, uuid, response, std::move(*json));
}

// --- The four operations ---------------------------------------------------------

std::string TSRSender::sendEvents(const Json& events, const std::optional<std::string>& timeZone,
                                  ArraySuccessBlock success, EventFailureBlock failure) {
  return SendEventsJson(TSRUtilityJSON::dataFromJSON(events), timeZone, std::move(success), std::move(failure), true);
}

std::string TSRSender::sendEventBatch(EventBatch batch, const std::optional<std::string>& timeZone,
                                      ArraySuccessBlock success, EventFailureBlock failure) {
  return SendEventsJson(std::move(batch.json), timeZone, std::move(success), std::move(failure), false,
                        std::move(batch.gzip));
}

std::string TSRSender::SendEventsJson(std::optional<std::string> json, const std::optional<std::string>& timeZone,
                                      ArraySuccessBlock success, EventFailureBlock failure, bool onMain,
                                  std::string gzip) {
  std::string uuid = newRequestUUID();
  // Straight from the answering thread unless the caller wants the main queue.
  FailureReporter report = [this, failure, uuid, onMain](const Response& response, const TSRError& error) {
    if (onMain) {
      handleEventFailureBlock(failure, kSendEventsTag, uuid, response, error);
    } else if (failure) {
      failure(this, uuid, response, error);
    }
  };
  auto succeed = [this, success, uuid, onMain](const Response& response, std::optional<Json> responses) {
    if (onMain) {
      handleSuccessJSONArrayBlock(success, kSendEventsTag, uuid, response, std::move(responses));
    } else if (success) {
      success(this, uuid, response, responses);
    }
  };
  std::optional<std::string> url = Optional(urlEvents());
  if (url) {
    Json params = Json::object();
    params["clientSendTimestamp"] = TSRUtilityDateTime::currentTimeEpochMillis(di_->platform());
    if (timeZone && !timeZone->empty()) params["clientTimeZone"] = *timeZone;
    url = TSRUtilityNetworking::addQueryParams(params, *url);
  }
  std::optional<TSRURL> parsed = url ? TSRURL::parse(*url) : std::nullopt;
  if (!parsed || parsed->absoluteString().empty()) {
    report(std::nullopt,
           errorWithDescription("Unable to send request.", "Cannot form url/request.", "Repair url/request."));
    return uuid;
  }
  if (!json) {
    report(std::nullopt, errorWithDescription("Unable to send request.", "Cannot serialize JSON.", "Repair JSON."));
    return uuid;
  }
  sendRequest(jsonRequest(parsed->absoluteString(), std::move(*json), std::move(gzip)), uuid,
              [succeed, report, onMain](const platform::HttpResponse& response, const std::string& body) {
                if (body.empty()) {
                  succeed(response, std::nullopt);
                  return;
                }
                // The queue's batches: responses that say nothing to the
                // façade are left out rather than built (see event_sender.h).
                if (!onMain && IsPlainEventResponses(body)) {
                  succeed(response, Json::array());
                  return;
                }
                std::optional<Json> json = TSRUtilityJSON::rawJSONFromData(body);
                if (json && json->is_array()) {
                  succeed(response, std::move(json));
                } else if (json && json->is_object()) {
                  succeed(response, Json::array({std::move(*json)}));
                } else {
                  TSR_LOG_ERROR("Deserialized unexpended class as event responses: %@",
                                json ? LogArg(JsonClassName(*json)) : LogArg());
                  report(response, UnableToParseResponse());
                }
              },
              report);
  return uuid;
}

std::string TSRSender::requestConfigWithParams(const Json& params, std::optional<double> lastModified,
                                               JsonSuccessBlock success, FailureBlock failure) {
  std::string uuid = newRequestUUID();
  FailureReporter report = failureReporter(failure, kRequestConfigTag, uuid);
  std::optional<std::string> url = urlConfig();
  if (url && params.is_array()) {
    if (std::optional<TSRURL> parsed = TSRURL::parse(*url)) {
      for (const Json& param : params) {
        if (!param.is_string()) {
          TSR_LOG_WARN("Config: Param not string, ignoring: %@", param);
          continue;
        }
        parsed = parsed->appendingPathComponent(param.get<std::string>());
      }
      url = parsed->absoluteString();
    }
  }
  auto request = createRequest(uuid, url, std::nullopt, std::nullopt, std::nullopt, report);
  if (!request) return uuid;
  if (lastModified && *lastModified != 0) {
    if (auto date = TSRUtilityNetworking::httpDateStringFromDate(lastModified)) {
      request->headers.emplace_back("If-Modified-Since", *date);
    }
  }
  sendRequest(std::move(*request), uuid,
              [this, success = std::move(success), failure = std::move(failure), uuid](
                  const platform::HttpResponse& response, const std::string& body) {
                deliverJsonObject(success, failure, kRequestConfigTag, uuid, response, body, false);
              },
              report);
  return uuid;
}

std::string TSRSender::connectWithInfo(const Json& info, JsonSuccessBlock success, FailureBlock failure) {
  std::string uuid = newRequestUUID();
  FailureReporter report = failureReporter(failure, kConnectTag, uuid);
  std::optional<std::string> url = urlDesigner();
  if (url) {
    if (auto parsed = TSRURL::parse(*url)) url = parsed->appendingPathComponent("connect").absoluteString();
  }
  auto request = createRequest(uuid, url, info, std::nullopt, std::nullopt, report);
  if (!request) return uuid;
  sendRequest(std::move(*request), uuid,
              [this, success = std::move(success), failure = std::move(failure), uuid](
                  const platform::HttpResponse& response, const std::string& body) {
                deliverJsonObject(success, failure, kConnectTag, uuid, response, body, true);
              },
              report);
  return uuid;
}

std::string TSRSender::uploadScreenWithInfo(const Json& info, const std::string& imageData,
                                            const std::string& mimeType, JsonSuccessBlock success,
                                            FailureBlock failure) {
  std::string uuid = newRequestUUID();
  FailureReporter report = failureReporter(failure, kUploadScreenTag, uuid);
  std::optional<std::string> url = urlDesigner();
  if (url) {
    if (auto parsed = TSRURL::parse(*url)) url = parsed->appendingPathComponent("uploadScreen").absoluteString();
  }
  auto request = createRequest(uuid, url, info, imageData, mimeType, report);
  if (!request) return uuid;
  sendRequest(std::move(*request), uuid,
              [this, success = std::move(success), failure = std::move(failure), uuid](
                  const platform::HttpResponse& response, const std::string& body) {
                deliverJsonObject(success, failure, kUploadScreenTag, uuid, response, body, true);
              },
              report);
  return uuid;
}

}  // namespace tessarin

// TSRSender: the SDK's only HTTP client.
//
// It derives the service's three endpoints from the configuration, builds
// requests (JSON or a multipart upload, gzip-compressed), runs them on the
// platform's HTTP transport, accepts only 2xx answers and turns every other
// outcome into a TSRError with user-facing texts. Each operation returns a
// request UUID at once; later exactly one of its blocks runs on the main
// queue, tagged with that UUID. The transport's completions do their
// parsing on the URL-loading thread and hold the sender weakly: a sender
// that is gone by then reports nothing.
#ifndef TESSARIN_TRANSPORT_SENDER_H_
#define TESSARIN_TRANSPORT_SENDER_H_

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>

#include "base/collaborators.h"
#include "base/error.h"
#include "platform/http_transport.h"
#include "tessarin/json.h"
#include "tessarin/sdk_info.h"
#include "transport/event_sender.h"

namespace tessarin {

class TSRConfig;
class Environment;

// The domain of the errors the SDK makes itself (code 0): the SDK identifier.
inline constexpr const char* TSRErrorDomain = kTessarinSDKIdentifier;
// The member of a service error body that says why a request was refused.
inline constexpr const char* TSRErrorDescriptionReason = "reason";

class TSRSender : public HttpSender, public TSREventSender, public std::enable_shared_from_this<TSRSender> {
  struct Passkey {};

 public:
  using JsonSuccessBlock = HttpSender::JsonSuccessBlock;
  using FailureBlock = HttpSender::FailureBlock;
  using ArraySuccessBlock = TSREventSender::ArraySuccessBlock;
  using EventFailureBlock = TSREventSender::FailureBlock;

  // Nothing (after Error "Could not create session") when the platform
  // has no HTTP transport.
  static std::shared_ptr<TSRSender> initWithConfig(std::shared_ptr<Environment> di, const TSRConfig& config);

  TSRSender(Passkey, std::shared_ptr<Environment> di);

  // Recomputes the three endpoints.
  void updateWithConfig(const TSRConfig& config) override;

  std::string urlEvents() const override;
  std::optional<std::string> urlConfig() const;
  std::optional<std::string> urlDesigner() const;

  // POST of the batch to the events endpoint, with the client's send time
  // and time zone in the query. Success gets the event responses.
  std::string sendEvents(const Json& events, const std::optional<std::string>& timeZone, ArraySuccessBlock success,
                         EventFailureBlock failure) override;
  // The same request with the batch's text as the body; the blocks run on
  // the thread the answer arrived on.
  std::string sendEventBatch(EventBatch batch, const std::optional<std::string>& timeZone,
                             ArraySuccessBlock success, EventFailureBlock failure) override;
  // GET of the app configuration: each string of `params` is one more path
  // segment; "If-Modified-Since" when `lastModified` is given and not zero.
  std::string requestConfigWithParams(const Json& params, std::optional<double> lastModified,
                                      JsonSuccessBlock success, FailureBlock failure) override;
  // POST of the info as JSON to the designer's "connect".
  std::string connectWithInfo(const Json& info, JsonSuccessBlock success, FailureBlock failure) override;
  // Multipart POST of the info and the image to the designer's "uploadScreen".
  std::string uploadScreenWithInfo(const Json& info, const std::string& imageData, const std::string& mimeType,
                                   JsonSuccessBlock success, FailureBlock failure) override;

  // The platform's text for an HTTP status ("not found", "service
  // unavailable"); the status class's text for codes it does not name.
  static std::string localizedStringForStatusCode(long statusCode);
  // An error of TSRErrorDomain, code 0.
  static TSRError errorWithDescription(std::string description, std::string failureReason,
                                       std::string recoverySuggestion);

 private:
  using Response = std::optional<platform::HttpResponse>;
  // Reports a failure of one request; safe to call on any thread.
  using FailureReporter = std::function<void(const Response& response, const TSRError& error)>;
  // Gets an acceptable answer, on the URL-loading thread.
  using ProcessBlock = std::function<void(const platform::HttpResponse& response, const std::string& body)>;

  std::string newRequestUUID();

  // The request, or nothing after reporting why it cannot be made.
  std::optional<platform::HttpRequest> createRequest(const std::string& uuid, const std::optional<std::string>& url,
                                                     const std::optional<Json>& json,
                                                     const std::optional<std::string>& data,
                                                     const std::optional<std::string>& dataMimeType,
                                                     const FailureReporter& failure);
  // A POST of the JSON text, gzip-compressed when it can be; `gzip`, when
  // given, is that text compressed already.
  static platform::HttpRequest jsonRequest(std::string url, std::string json, std::string gzip = {});
  static void Compress(platform::HttpRequest& request);
  // Sends the events' JSON (none: it could not be written, which fails the
  // request), or `gzip` when it is that JSON compressed already; results on
  // the main queue when `onMain`.
  std::string SendEventsJson(std::optional<std::string> json, const std::optional<std::string>& timeZone,
                             ArraySuccessBlock success, EventFailureBlock failure, bool onMain,
                             std::string gzip = {});
  void sendRequest(platform::HttpRequest request, const std::string& uuid, ProcessBlock process,
                   FailureReporter failure);
  // The failure of an answer outside the acceptable range.
  static TSRError errorForStatus(const platform::HttpResponse& response, const std::string& body);

  // Run the block, when there is one, on the main queue under the tag.
  // Runs `block` on the main queue, guarded with `tag`, passing this sender,
  // the request's UUID, the response and the payload; a missing block is skipped.
  template <class Block, class Payload>
  void Deliver(Block block, const char* tag, const std::string& uuid, const Response& response, Payload payload);
  void handleSuccessJSONArrayBlock(ArraySuccessBlock block, const char* tag, const std::string& uuid,
                                   const Response& response, std::optional<Json> jsonArray);
  void handleSuccessJSONBlock(JsonSuccessBlock block, const char* tag, const std::string& uuid,
                              const Response& response, Json json);
  void handleFailureBlock(FailureBlock block, const char* tag, const std::string& uuid, const Response& response,
                          TSRError error);
  void handleEventFailureBlock(EventFailureBlock block, const char* tag, const std::string& uuid,
                               const Response& response, TSRError error);
  // The failure reporter of an operation whose failures go to `block`.
  FailureReporter failureReporter(FailureBlock block, const char* tag, const std::string& uuid);
  // Parses a JSON object answer for connect, upload and configuration.
  void deliverJsonObject(JsonSuccessBlock success, FailureBlock failure, const char* tag, const std::string& uuid,
                         const platform::HttpResponse& response, const std::string& body, bool emptyIsNull);

  std::shared_ptr<Environment> di_;
  mutable std::mutex mutex_;  // the endpoints and the UUID generator
  std::optional<std::string> url_config_;
  std::optional<std::string> url_events_;
  std::optional<std::string> url_designer_;
  std::mt19937_64 random_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_SENDER_H_

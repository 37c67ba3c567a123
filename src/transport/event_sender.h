// What the event queue needs of the HTTP sender: the events endpoint and a
// way to send one batch. Results come back tagged with the request's UUID
// and the sender that made them: on the main queue for sendEvents, on the
// thread the answer arrived on for sendEventBatch.
#ifndef TESSARIN_TRANSPORT_EVENT_SENDER_H_
#define TESSARIN_TRANSPORT_EVENT_SENDER_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "base/error.h"
#include "platform/http_transport.h"
#include "tessarin/json.h"

namespace tessarin {

class TSREventSender {
 public:
  // Success gets the event responses (nothing for an empty body).
  using ArraySuccessBlock = std::function<void(TSREventSender* sender, const std::string& requestUUID,
                                               const std::optional<platform::HttpResponse>& response,
                                               const std::optional<Json>& eventResponses)>;
  using FailureBlock = std::function<void(TSREventSender* sender, const std::string& requestUUID,
                                          const std::optional<platform::HttpResponse>& response,
                                          const TSRError& error)>;

  virtual ~TSREventSender() = default;
  // The events endpoint; empty when none can be formed.
  virtual std::string urlEvents() const = 0;
  // Returns the request's UUID at once; later exactly one block runs.
  virtual std::string sendEvents(const Json& events, const std::optional<std::string>& timeZone,
                                 ArraySuccessBlock success, FailureBlock failure) = 0;

  // A batch as the queue keeps it: the events' JSON array, already written.
  // The queue writes each event once, as it enters, and never again.
  struct EventBatch {
    std::string json;
    std::size_t count = 0;
    // The JSON gzip-compressed as a request carries it, when the queue
    // compressed it ahead (while the batch before was in flight); empty
    // when the sender is to compress it.
    std::string gzip;
  };
  // As sendEvents, but the blocks may run on any thread (the queue hears
  // of its answer without waiting for the main queue, which may be busy
  // with the app's reports), and the responses may leave out those that
  // say nothing to the façade (each an object with no more than a zero
  // "errorCode" and an empty "campaignResponses"): an answer made only of
  // those comes as an empty list. This one parses the batch and sends it
  // through sendEvents; a sender that can send the text as it is does so.
  virtual std::string sendEventBatch(EventBatch batch, const std::optional<std::string>& timeZone,
                                     ArraySuccessBlock success, FailureBlock failure) {
    return sendEvents(Json::parse(batch.json, nullptr, false), timeZone, std::move(success), std::move(failure));
  }
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_EVENT_SENDER_H_

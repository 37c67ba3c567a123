// What the event queue needs of the HTTP sender: the events endpoint and a
// way to send one batch. Results come back on the main queue, tagged with
// the request's UUID and the sender that made them.
#ifndef TESSARIN_TRANSPORT_EVENT_SENDER_H_
#define TESSARIN_TRANSPORT_EVENT_SENDER_H_

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
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_EVENT_SENDER_H_

// What the façade needs of each collaborator it owns. The concrete classes
// (the queued event sender, the HTTP sender, the reachability monitor, the
// campaign dispatcher, the push token manager, the in-app message manager)
// implement these; the composition root builds them, so a test can hand the façade
// its own.
#ifndef TESSARIN_BASE_COLLABORATORS_H_
#define TESSARIN_BASE_COLLABORATORS_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/error.h"
#include "platform/http_transport.h"
#include "tessarin/campaign.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRConfig;

// The bounded, persisted queue of event records that sends them in batches.
class EventQueue {
 public:
  virtual ~EventQueue() = default;
  // Takes the event over; the caller keeps nothing of it.
  virtual void addEvent(Json event) = 0;
  virtual void startSendingQueuedEvents() = 0;
  virtual void stopSendingQueuedEvents() = 0;
  virtual void saveToFile() = 0;
  virtual void deleteFile() = 0;
  virtual void updateWithConfig(const TSRConfig& config) = 0;
  // Sends what is queued now, without waiting out a pending delay (while
  // sending is allowed), and calls `drained` once, on any thread, as soon
  // as the queue is empty with no request in flight (at once when it is
  // already). It may never be called: a caller that waits bounds its wait.
  virtual void flush(std::function<void()> drained) = 0;
};

// Called on the main queue with the queue that sent the batch, so that the
// façade can ignore a queue it has since dropped. The responses are null
// when the service answered with an empty body.
using EventQueueSuccessBlock =
    std::function<void(EventQueue* queue, const std::string& requestUUID,
                       const std::optional<platform::HttpResponse>& response, const Json& responses)>;
using EventQueueFailureBlock =
    std::function<void(EventQueue* queue, const std::optional<std::string>& requestUUID,
                       const std::optional<platform::HttpResponse>& response, const TSRError& error)>;

// The HTTP sender that talks to the service's endpoints.
class HttpSender {
 public:
  using JsonSuccessBlock = std::function<void(HttpSender* sender, const std::string& requestUUID,
                                              const std::optional<platform::HttpResponse>& response,
                                              const Json& json)>;
  using FailureBlock = std::function<void(HttpSender* sender, const std::string& requestUUID,
                                          const std::optional<platform::HttpResponse>& response,
                                          const TSRError& error)>;

  virtual ~HttpSender() = default;
  virtual void updateWithConfig(const TSRConfig& config) = 0;
  // GET of the app configuration with the parameters as further path
  // components, conditional on `lastModified` (seconds since 1970) when it
  // is given and not zero. Returns the request's UUID at once; one of the
  // blocks runs later on the main queue.
  virtual std::string requestConfigWithParams(const Json& params, std::optional<double> lastModified,
                                              JsonSuccessBlock success, FailureBlock failure) = 0;
  // POST of the info as JSON to the designer's "connect".
  virtual std::string connectWithInfo(const Json& info, JsonSuccessBlock success, FailureBlock failure) = 0;
  // Multipart POST of the info and the image to the designer's "uploadScreen".
  virtual std::string uploadScreenWithInfo(const Json& info, const std::string& imageData,
                                           const std::string& mimeType, JsonSuccessBlock success,
                                           FailureBlock failure) = 0;
};

// Follows the network's reachability and reports each change of status.
class ReachabilityMonitor {
 public:
  virtual ~ReachabilityMonitor() = default;
  virtual void startMonitoring() = 0;
  virtual void stopMonitoring() = 0;
  // The status of the last change seen: 0 not reachable, 1 through a
  // cellular network, 2 through Wi-Fi.
  virtual long lastStatus() const = 0;
};
using ReachabilityStatusBlock = std::function<void(int status)>;

// Routes campaigns to the handlers registered per context and target. All
// of it runs on the main thread. A contextId of nothing is refused (logged).
class CampaignRouter {
 public:
  virtual ~CampaignRouter() = default;
  virtual void handleCampaign(const std::shared_ptr<TSRCampaign>& campaign) = 0;
  // A null handler clears the target's handler.
  virtual void setHandler(TSRCampaignHandler handler, const std::optional<std::string>& contextId,
                          const std::string& target) = 0;
  virtual void registerContextIdIfNecessary(const std::optional<std::string>& contextId) = 0;
  virtual void unregisterContextId(const std::optional<std::string>& contextId) = 0;
  virtual void setDispatchingAllowed(bool allowed, const std::optional<std::string>& contextId) = 0;
  virtual void clearAllCampaignsHeld() = 0;
  virtual void unregisterAllAndDisable() = 0;
};

// Reports push tokens to the service.
class PushTokenReporter {
 public:
  virtual ~PushTokenReporter() = default;
  virtual void enqueuePushTokenUpdateEvent() = 0;
  // A token for a push platform (0 "APNS", 1 "APNS_SANDBOX", 2 "GCM");
  // called on the main thread.
  virtual void handlePushToken(const std::string& token, int platform) = 0;
};

// Shows in-app messages.
class MessagePresenter {
 public:
  virtual ~MessagePresenter() = default;
  virtual void hideAllAnimated(bool animated) = 0;
};

}  // namespace tessarin

#endif  // TESSARIN_BASE_COLLABORATORS_H_

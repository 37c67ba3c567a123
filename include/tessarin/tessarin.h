// Tessarin: the one entry object of the SDK.
//
// The host app starts it once, after the user's consent, with a client
// configuration (account and dataset); from then on Tessarin observes the
// application, sends what the app reports, and routes the service's
// campaigns back. Every entry point returns at once, never raises, and hops
// to the main thread where the SDK does its work.
//
// Thread contract: every member may be called from any thread. Calls made
// from one thread take effect in the order they were made.
#ifndef TESSARIN_TESSARIN_H_
#define TESSARIN_TESSARIN_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tessarin/campaign.h"
#include "tessarin/client_configuration_builder.h"
#include "tessarin/context.h"
#include "tessarin/diagnostics.h"
#include "tessarin/events.h"
#include "tessarin/export.h"
#include "tessarin/items.h"
#include "tessarin/json.h"
#include "tessarin/location.h"
#include "tessarin/log.h"
#include "tessarin/notification_actions.h"
#include "tessarin/order.h"
#include "tessarin/review.h"
#include "tessarin/sdk_info.h"

namespace tessarin {

class TSRContext;

// The interface an app uses; the SDK's own implementation is internal.
class TESSARIN_EXPORT Tessarin {
 public:
  // The process-wide instance, created on first use on the process's host
  // platform (see tessarin/host.h).
  static std::shared_ptr<Tessarin> sharedInstance();

  Tessarin() = default;
  Tessarin(const Tessarin&) = delete;
  Tessarin& operator=(const Tessarin&) = delete;
  virtual ~Tessarin();

  // Starting and stopping.
  virtual void startWithClientConfiguration(const std::function<void(TSRClientConfigurationBuilder&)>& block) = 0;
  virtual void startWithTessarinAccountKey(const std::string& account, const std::string& dataset) = 0;
  virtual void startWithConfiguration(const Json& configuration) = 0;
  virtual void stop() = 0;
  virtual void stopAndClearProperties(bool clearProperties) = 0;
  virtual void reset() = 0;
  virtual void resetAndClearProperties(bool clearProperties) = 0;

  // Identity: in memory only.
  virtual void setUserId(const std::optional<std::string>& userId) = 0;
  virtual std::optional<std::string> userId() = 0;
  virtual void setAccountId(const std::optional<std::string>& accountId) = 0;
  virtual std::optional<std::string> accountId() = 0;
  virtual std::optional<std::string> anonymousId() = 0;

  // Attributes ride on the next action event. A missing value clears the
  // attribute on the service.
  virtual void setUserAttribute(const std::optional<std::string>& value, const std::optional<std::string>& name) = 0;
  virtual void setAccountAttribute(const std::optional<std::string>& value,
                                   const std::optional<std::string>& name) = 0;

  virtual long logLevel() const = 0;
  virtual void setLogLevel(long logLevel) = 0;

  // Push and URL entry points for an app that switched swizzling off
  // ("TessarinSwizzlingEnabled" false in its Info.plist). With swizzling on
  // the SDK receives these values from the app's delegates itself and
  // ignores these calls, so each value is handled exactly once.
  virtual bool swizzlingEnabled() = 0;
  // The device token as the platform delivered it (raw bytes).
  virtual void setAPNSToken(std::string_view deviceToken) = 0;
  virtual void setFirebaseToken(const std::string& token) = 0;
  // A notification the user interacted with: its user info and the action
  // identifier of the response (UNNotificationDismissActionIdentifier when
  // it was swiped away).
  virtual void handleNotification(const Json& userInfo, const std::optional<std::string>& actionIdentifier) = 0;
  // Whether the URL is the SDK's (a scheme beginning with "tsr"); opens or
  // ends a test-campaign selection.
  virtual bool handleOpenURL(const std::optional<std::string>& url) = 0;

  // Lets the service's editor connect to this app, as "useDesignMode" in
  // the client configuration does: a long press of three fingers (two on a
  // simulator) held for three seconds then asks for a designer connection.
  // Main thread.
  virtual void allowDesignConnections() = 0;

  // The context of everything not tied to a screen; null before the first
  // start.
  virtual std::shared_ptr<TSRContext> globalContext() const = 0;

  // Sends everything queued now, without waiting out a retry delay, and
  // waits at most `timeoutSeconds` for the queue to drain; true when it
  // did. The SDK never calls it itself. It blocks: call it from a thread
  // other than the SDK's main thread (there it answers false at once while
  // anything is left to send). While sending is held (before the server
  // configuration arrives, or stopped) nothing drains.
  virtual bool flush(double timeoutSeconds) = 0;
  // What became of the events given to the SDK so far: sent, retried,
  // dropped by cause.
  virtual TSREventDiagnostics eventDiagnostics() const = 0;

  // State.
  virtual bool started() const = 0;
  virtual bool disabled() const = 0;
  virtual bool running() const = 0;
  virtual bool designMode() const = 0;
  virtual bool isServerConfigLoaded() const = 0;
};

}  // namespace tessarin

#endif  // TESSARIN_TESSARIN_H_

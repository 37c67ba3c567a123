// What the SDK's own parts (screens and contexts, the event queue, the push
// and URL interceptions, idle tracking) ask of the façade. The façade at the
// top of the SDK implements it; the parts below it hold this interface, so
// that they never depend on the layer that assembles them.
//
// Thread contract: the state queries are safe from any thread; every other
// operation runs on the SDK's main thread.
#ifndef TESSARIN_BASE_SDK_FACADE_H_
#define TESSARIN_BASE_SDK_FACADE_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tessarin/json.h"

namespace tessarin {

class Environment;
class TSRConfig;
class TSRContextImpl;
class TSRIdleTracking;
class EventQueue;
class CampaignRouter;
namespace platform {
class ViewController;
}  // namespace platform

class SdkFacade {
 public:
  virtual ~SdkFacade() = default;

  // State; any thread.
  virtual bool started() const = 0;
  virtual bool disabled() const = 0;
  virtual bool running() const = 0;
  virtual bool runningAndNotDesignMode() const = 0;
  virtual bool designMode() const = 0;
  virtual bool hasReachedActiveAfterLaunchOrBackground() const = 0;
  virtual std::optional<std::string> userId() = 0;
  virtual std::optional<std::string> accountId() = 0;

  // The object the façade's notifications are posted with: the façade as
  // the app holds it, which is not this interface's address.
  virtual const void* notificationSender() const = 0;

  virtual Environment& environment() = 0;
  virtual TSRConfig& config() = 0;
  // The global context, as the SDK's own parts use it; null while disabled.
  virtual std::shared_ptr<TSRContextImpl> globalTrackingContext() const = 0;
  // Collaborators; null while not part of the build or while disabled.
  virtual std::shared_ptr<EventQueue> eventSender() const = 0;
  virtual std::shared_ptr<CampaignRouter> campaignDispatcher() const = 0;
  virtual std::shared_ptr<TSRIdleTracking> idleTracking() const = 0;

  // Events. The fields are taken over (an item's JSON text can be long).
  virtual void sendAction(const std::string& action, const std::string& contextId, Json additionalFields) = 0;
  virtual void sendPingForItem(const Json& item, double timeOnPage) = 0;
  virtual void sendCampaignStats(const Json& stats, bool testing) = 0;

  // The gated forms of the push and URL entry points: a value acts only
  // when `ifSwizzling` equals the swizzling switch, so the intercepted
  // delegate callbacks pass true and the app's own calls false. A missing
  // `ifSwizzling` always acts (the SDK's own token fetch).
  virtual void setAPNSToken(std::string_view deviceToken, bool ifSwizzling) = 0;
  virtual void setFirebaseToken(const std::string& token, std::optional<bool> ifSwizzling) = 0;
  virtual void handleNotification(const Json& userInfo, const std::optional<std::string>& actionIdentifier,
                                  bool checkClicked, std::optional<bool> ifSwizzling) = 0;
  virtual bool handleURL(const std::optional<std::string>& url, bool ifSwizzling) = 0;

  // A screen became visible: while connected to the designer, its view
  // controller is uploaded once the user has stayed on it a moment.
  virtual void scheduleDesignUploadForVC(const std::shared_ptr<platform::ViewController>& vc) = 0;
};

// The process's shared façade, made on first use on the process's host;
// the layer that assembles the SDK provides it.
std::shared_ptr<SdkFacade> sharedSdkFacade();

}  // namespace tessarin

#endif  // TESSARIN_BASE_SDK_FACADE_H_

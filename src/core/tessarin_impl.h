// The façade's implementation: the app's interface (Tessarin), what the
// SDK's own parts ask of it (SdkFacade), and the state machine and
// collaborators behind both. Its topics are spread over the files of this
// folder, each named for its topic.
#ifndef TESSARIN_CORE_TESSARIN_IMPL_H_
#define TESSARIN_CORE_TESSARIN_IMPL_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/sdk_facade.h"
#include "core/composition_root.h"
#include "tessarin/tessarin.h"

namespace tessarin {

class TSRConfig;
class TSRContext;
class TSRContextImpl;
class TSRIdleTracking;
class TSRUtilityDI;
class Environment;
class EventQueue;
class HttpSender;
class ReachabilityMonitor;
class CampaignRouter;
class PushTokenReporter;
class TSRDesignGesture;
class MessagePresenter;
struct TSRError;
namespace platform {
class Platform;
class Alert;
class Timer;
struct HttpResponse;
class AlertPresenter;
namespace ui {
class GestureRecognizer;
class KitAlertPresenter;
class Screen;
}  // namespace ui
}  // namespace platform

class TessarinImpl final : public Tessarin, public SdkFacade, public std::enable_shared_from_this<TessarinImpl> {
 public:
  // The process-wide instance (made on first use), as the SDK's own parts
  // see it.
  static std::shared_ptr<TessarinImpl> shared();
  // A façade of its own over the given environment (a test's simulated host,
  // or an embedder's).
  static std::shared_ptr<TessarinImpl> createWithEnvironment(std::shared_ptr<TSRUtilityDI> environment);

  ~TessarinImpl() override;

  // Starting and stopping.
  void startWithClientConfiguration(const std::function<void(TSRClientConfigurationBuilder&)>& block) override;
  void startWithTessarinAccountKey(const std::string& account, const std::string& dataset) override;
  void startWithConfiguration(const Json& configuration) override;
  void stop() override;
  void stopAndClearProperties(bool clearProperties) override;
  void reset() override;
  void resetAndClearProperties(bool clearProperties) override;

  // Identity: in memory only, readable from any thread.
  void setUserId(const std::optional<std::string>& userId) override;
  std::optional<std::string> userId() override;
  void setAccountId(const std::optional<std::string>& accountId) override;
  std::optional<std::string> accountId() override;
  std::optional<std::string> anonymousId() override;

  // Attributes ride on the next action event. A missing value clears the
  // attribute on the service.
  void setUserAttribute(const std::optional<std::string>& value, const std::optional<std::string>& name) override;
  void setAccountAttribute(const std::optional<std::string>& value, const std::optional<std::string>& name) override;

  long logLevel() const override;
  void setLogLevel(long logLevel) override;

  // Push and URL entry points for an app that switched swizzling off
  // ("TessarinSwizzlingEnabled" false in its Info.plist). With swizzling on
  // the SDK receives these values from the app's delegates itself and
  // ignores these calls, so each value is handled exactly once.
  bool swizzlingEnabled() override;
  // The device token as the platform delivered it (raw bytes).
  void setAPNSToken(std::string_view deviceToken) override;
  void setFirebaseToken(const std::string& token) override;
  // A notification the user interacted with: its user info and the action
  // identifier of the response (UNNotificationDismissActionIdentifier when
  // it was swiped away).
  void handleNotification(const Json& userInfo, const std::optional<std::string>& actionIdentifier) override;
  // Whether the URL is the SDK's (a scheme beginning with "tsr"); opens or
  // ends a test-campaign selection.
  bool handleOpenURL(const std::optional<std::string>& url) override;
  void allowDesignConnections() override;

  std::shared_ptr<TSRContext> globalContext() const override;
  std::shared_ptr<TSRContextImpl> globalTrackingContext() const override;
  TSRConfig& config() override { return *config_; }

  // Sends everything queued now, without waiting out a retry delay, and
  // waits at most `timeoutSeconds` for the queue to drain; true when it
  // did. The SDK never calls it itself. It blocks: call it from a thread
  // other than the SDK's main thread (there it answers false at once while
  // anything is left to send). While sending is held (before the server
  // configuration arrives, or stopped) nothing drains.
  bool flush(double timeoutSeconds) override;
  // What became of the events given to the SDK so far: sent, retried,
  // dropped by cause. Any thread.
  TSREventDiagnostics eventDiagnostics() const override;

  // State queries: safe from any thread.
  bool started() const override { return started_; }
  bool disabled() const override { return disabled_; }
  bool running() const override { return started_ && !disabled_; }
  bool runningAndNotDesignMode() const override { return running() && !design_mode_; }
  bool designMode() const override { return design_mode_; }
  bool isServerConfigLoaded() const override { return server_config_loaded_; }

  // --- Used by the SDK's own parts. ---
  // Events. Each runs on the main thread.
  // The fields are taken over (an item's JSON text can be long).
  void sendAction(const std::string& action, const std::string& contextId, Json additionalFields) override;
  void sendPingForItem(const Json& item, double timeOnPage) override;
  void sendCampaignStats(const Json& stats, bool testing) override;
  std::optional<Json> buildFullEventParams();
  void handleEventResponses(const Json& responses);

  // The gated forms of the push and URL entry points: a value acts only
  // when `ifSwizzling` equals swizzlingEnabled(), so the swizzled delegate
  // callbacks pass true and the app's own calls false. A missing
  // `ifSwizzling` always acts (the SDK's own Firebase token fetch).
  void setAPNSToken(std::string_view deviceToken, bool ifSwizzling) override;
  void setFirebaseToken(const std::string& token, std::optional<bool> ifSwizzling) override;
  void handleNotification(const Json& userInfo, const std::optional<std::string>& actionIdentifier,
                          bool checkClicked, std::optional<bool> ifSwizzling) override;
  bool handleURL(const std::optional<std::string>& url, bool ifSwizzling) override;
  // Test-campaign selection.
  static std::optional<std::string> validateTestExperienceId(const std::optional<std::string>& experienceId);
  void updateTestExperienceId(const std::optional<std::string>& experienceId, bool alertOnlyIfChanging);
  // Shows `message` in the SDK's alert (titled "Tessarin Designer") for
  // "designerAlertTime" seconds, logging it under `title`; an empty
  // message dismisses the alert.
  void updateAlertViewWithTitle(const std::string& title, const std::string& message, bool cancelButtonAndDelegate,
                                bool activityIndicator);

  // Design mode: the connection to the service's editor and the upload of
  // the screens the user visits while it lasts.
  bool designModeAllowed() const;
  void updateDesignGestureRecognizer();
  // The gesture's action; null when called other than by a recognizer.
  void designGestureRecognized(platform::ui::GestureRecognizer* sender);
  void sendDesignerConnectRequest();
  void setDesignMode(bool designMode);
  void scheduleDesignUploadForVC(const std::shared_ptr<platform::ViewController>& vc) override;
  void sendDesignerScreenForViewController(const std::shared_ptr<platform::ViewController>& vc, bool allowResend);
  // Deliberately empty: the editor drives a connected session.
  void presentActionSheetForDesignMode();
  void forceScreenshotUploadCurrentVC();
  // A design action sheet's button; acts only for the current sheet.
  void actionSheet(const std::shared_ptr<platform::Alert>& actionSheet, int clickedButtonAtIndex);
  // The delegate's part when an alert that wanted one goes away.
  void alertView(const std::shared_ptr<platform::Alert>& alertView, int didDismissWithButtonIndex,
                 std::size_t numberOfButtons);
  const std::optional<std::string>& designConnectRequestUUID() const { return design_connect_request_uuid_; }
  const std::optional<std::string>& designUploadRequestUUID() const { return design_upload_request_uuid_; }
  const TSRDesignGesture* designGestureRecognizer() const { return design_gesture_.get(); }

  static const std::vector<std::string>& reservedEventKeys();
  // A null value clears the attribute; a value that is not a string is refused.
  void setAttributeValue(const Json& value, const std::optional<std::string>& name);
  void onConfigUpdate();
  void processLaunchIfNecessary();
  void startSystemsAsNecessary();
  void stopSystemsAsNecessary();
  void setDisabled(bool disabled);
  void trackInstallOrUpgradeIfNecessary();
  void sendConfigRequestIfNecessary();
  // The parameters of the server-configuration request, or nothing when one
  // is missing (logged).
  std::optional<std::vector<std::string>> buildConfigRequestParams();
  // The answer to the server-configuration request: a response (null when
  // none came), the parsed body on success, the error on failure.
  void processConfigResponse(const platform::HttpResponse* response, const Json* json, const TSRError* error,
                             double requestDate);
  const std::optional<std::string>& configRequestUUID() const { return config_request_uuid_; }
  bool hasReachedActiveAfterLaunchOrBackground() const override { return has_reached_active_; }
  bool processedLaunch() const { return processed_launch_; }
  const std::optional<std::string>& testExperienceId() const { return test_experience_id_; }
  // The alert on screen now, if the SDK shows one.
  const std::shared_ptr<platform::Alert>& alertView() const { return alert_view_; }
  // Attributes waiting for the next action event.
  const Json& pendingAttributes() const { return attributes_; }
  // Collaborators (null while not part of the build or while disabled).
  std::shared_ptr<EventQueue> eventSender() const override { return event_sender_; }
  std::shared_ptr<CampaignRouter> campaignDispatcher() const override { return campaign_dispatcher_; }
  std::shared_ptr<PushTokenReporter> pushTokenManager() const { return push_token_manager_; }
  std::shared_ptr<MessagePresenter> uiManager() const { return ui_manager_; }
  // Decides when the user is idle; made with the façade.
  std::shared_ptr<TSRIdleTracking> idleTracking() const override { return idle_tracking_; }
  Environment& environment() override { return *di_; }
  const void* notificationSender() const override { return static_cast<const Tessarin*>(this); }
  // The environment as the composition root that builds the collaborators.
  TSRUtilityDI& compositionRoot() { return *di_; }

 private:
  explicit TessarinImpl(std::shared_ptr<TSRUtilityDI> environment);
  void InitPrivate();
  void RegisterObserversAlways();
  void RegisterObserversWhenRunning();
  void RemoveObserversWhenRunning();
  void CreateEventSender();
  void MarkServerConfigLoaded();
  void StopSequence();
  void TrackOnGlobalContext(const std::string& action);
  std::string OrientationName();
  bool AppStateIs(int state);
  void Post(const char* name);
  // Where the SDK's alerts appear: the platform's, else the kit's on the
  // screen the SDK draws on; null when there is neither.
  platform::AlertPresenter* AlertPresenter();
  // Runs `body` on the main thread, guarded with `tag`, holding the façade weakly.
  void OnMain(const char* tag, std::function<void(TessarinImpl&)> body);

  std::shared_ptr<TSRUtilityDI> di_;
  std::shared_ptr<platform::Platform> platform_;
  std::unique_ptr<TSRConfig> config_;

  // Written on the main thread; read from any (the state queries above
  // are the app's to call from its own threads).
  std::atomic<bool> started_{false};
  std::atomic<bool> disabled_{false};
  std::atomic<bool> design_mode_{false};
  std::atomic<bool> server_config_loaded_{false};
  std::atomic<bool> has_reached_active_{false};
  std::atomic<bool> processed_launch_{false};

  mutable std::mutex identity_mutex_;
  std::optional<std::string> user_id_;
  std::optional<std::string> account_id_;

  Json attributes_ = Json::object();
  std::shared_ptr<TSRContextImpl> global_context_;

  bool observers_always_registered_ = false;
  std::vector<std::uint64_t> observers_always_;
  std::optional<std::vector<std::uint64_t>> observers_when_running_;

  std::optional<std::string> config_request_uuid_;
  std::shared_ptr<HttpSender> sender_;
  std::shared_ptr<EventQueue> event_sender_;
  std::shared_ptr<ReachabilityMonitor> reachability_;
  std::shared_ptr<CampaignRouter> campaign_dispatcher_;
  std::shared_ptr<PushTokenReporter> push_token_manager_;
  std::shared_ptr<MessagePresenter> ui_manager_;
  std::shared_ptr<TSRIdleTracking> idle_tracking_;

  std::optional<std::string> test_experience_id_;
  std::shared_ptr<platform::Timer> clear_test_experience_id_timer_;
  std::shared_ptr<platform::Alert> alert_view_;
  std::unique_ptr<platform::ui::KitAlertPresenter> kit_alert_presenter_;
  const platform::ui::Screen* kit_alert_screen_ = nullptr;

  std::unique_ptr<TSRDesignGesture> design_gesture_;
  std::optional<std::string> design_connect_request_uuid_;
  std::shared_ptr<platform::Timer> design_upload_timer_;
  std::optional<std::string> design_upload_request_uuid_;
  std::shared_ptr<platform::Alert> design_action_sheet_;
};

}  // namespace tessarin

#endif  // TESSARIN_CORE_TESSARIN_IMPL_H_

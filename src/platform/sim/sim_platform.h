// The simulated host: a scripted application and device on virtual time.
//
// Every queue's tasks run on the thread that drives the simulation, in the
// order they were queued; timers fire when the test advances virtual time,
// in deadline order. The wall clock and the monotonic clock advance together
// but the wall clock can also jump on its own. Other threads (a network
// thread, say) may queue tasks; `runUntil` waits for them with a deadline in
// real time.
#ifndef TESSARIN_PLATFORM_SIM_SIM_PLATFORM_H_
#define TESSARIN_PLATFORM_SIM_SIM_PLATFORM_H_

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/curl/curl_transport.h"
#include "platform/host_object.h"
#include "platform/http_transport.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "platform/sim/sim_alerts.h"
#include "platform/sim/sim_ui.h"

namespace tessarin::platform::sim {

class SimQueue;
class SimTimer;
class SimReachability;
class SimPlatform;

// The scripted application. Tests set what they need; defaults describe an
// app installed from a development build on the simulator, with no windows
// yet and no delegate.
struct SimApplication : HostApplication {
  SimApplication();

  std::optional<std::string> bundle_identifier = "com.tessarin.simhost";
  Json info = Json::object({{"CFBundleShortVersionString", "1.0"}});
  std::map<std::string, std::string> resources;  // "name.type" -> path
  std::optional<std::string> receipt_url;
  DateResult home_created{1600000000.0, ""};
  DateResult bundle_modified{1600000000.0, ""};
  bool has_shared_application = true;
  int state = 1;  // inactive until launched
  bool simulator = true;
  bool unit_tests = false;
  std::optional<int> status_bar_orientation;
  std::optional<std::pair<double, double>> window_size;  // else the first normal window's
  std::vector<std::string> opened_urls;  // every URL asked to open, in order
  bool open_url_result = true;           // what the system answers

  // Remote notifications. "isRegisteredForRemoteNotifications" of the
  // application object answers `registered_for_remote_notifications`;
  // "registerForRemoteNotifications" counts the request and, when a device
  // token is scripted, delivers it later on the main queue: the app becomes
  // registered and its delegate's
  // "application:didRegisterForRemoteNotificationsWithDeviceToken:" (when
  // the delegate has it) receives the application and the token's bytes.
  // Without a token the request stays unanswered.
  bool registered_for_remote_notifications = false;
  std::optional<std::string> device_token;
  std::size_t remote_notification_registrations = 0;
  // What the notification centre answers (the settings as they are when
  // asked), on a queue of its own, one task per request; with
  // `notification_settings_inline` the answer comes at once on the asking
  // thread instead (for measurements that leave the queue hop out).
  NotificationSettings notification_settings;
  bool notification_settings_inline = false;
  std::size_t notification_settings_requests = 0;
  // Settings with which a user sees the app's notifications.
  static NotificationSettings AllowedNotificationSettings() { return {2, 2, 2, 1}; }

  std::optional<std::string> bundleIdentifier() override { return bundle_identifier; }
  std::optional<Json> infoValue(const std::string& key) override;
  std::optional<std::string> bundleResourcePath(const std::string& name, const std::string& type) override;
  std::optional<std::string> appStoreReceiptURL() override { return receipt_url; }
  DateResult homeDirectoryCreationDate() override { return home_created; }
  DateResult bundleModificationDate() override { return bundle_modified; }
  bool hasSharedApplication() override { return has_shared_application; }
  int applicationState() override { return has_shared_application ? state : 0; }
  bool runningInSimulator() override { return simulator; }
  bool runningUnitTests() override { return unit_tests; }
  std::optional<int> statusBarOrientation() override { return status_bar_orientation; }
  std::optional<std::pair<double, double>> firstNormalWindowSize() override;
  void openURL(const std::string& url, std::function<void(bool success)> completion) override {
    opened_urls.push_back(url);
    if (completion) completion(open_url_result);
  }
  // Null while `has_shared_application` is false.
  std::shared_ptr<HostObject> applicationObject() override;
  std::vector<std::shared_ptr<Window>> windows() override;
  ui::UIEnvironment* userInterfaceEnvironment() override;
  ui::Screen* mainScreen() override;
  void getNotificationSettings(std::function<void(const NotificationSettings& settings)> completion) override;
  // The label of the queue the settings are answered on.
  static constexpr const char* kNotificationSettingsQueueLabel = "notification-settings.call-out";

  // The user interface (sim_ui.cc). The runtime holds UIKit's classes (see
  // DefineSimUIKitClasses); a test defines the app's own classes in it.
  HostRuntime& runtime() { return *runtime_; }
  // A plain instance of a registered class (an app delegate, say); null
  // when no class has that name.
  std::shared_ptr<HostObject> makeObject(const std::string& className);
  // A UINavigationItem with the title, for a view controller's
  // "_navigationItem" (ui::sim::SimViewController::setNavigationItem).
  std::shared_ptr<HostObject> makeNavigationItem(std::optional<std::string> title);
  // A segue template of the class (e.g. "UIStoryboardShowSegueTemplate")
  // whose "identifier" is `identifier`; null for an unknown class.
  std::shared_ptr<HostObject> makeSegueTemplate(const std::string& className,
                                                std::optional<std::string> identifier);
  // The application dispatches an event ("sendEvent:"); a new UIEvent when
  // none is given. Sent even when `has_shared_application` is false.
  void sendEvent(std::shared_ptr<HostObject> event = nullptr);
  // "setDelegate:" and "delegate" of the application object.
  void setDelegate(std::shared_ptr<HostObject> delegate);
  std::shared_ptr<HostObject> delegate();
  // Events the application's own "sendEvent:" dispatched.
  std::size_t dispatchedEvents() const;

  // The windows and view controllers (ui::sim::SimUI, which installs itself
  // on first use); until then the application has no windows.
  SimUserInterface* userInterface() const { return user_interface_.get(); }
  void setUserInterface(std::shared_ptr<SimUserInterface> ui);

 private:
  friend class SimPlatform;
  friend void DefineSimUIKitClasses(HostRuntime& runtime);
  void RegisterForRemoteNotifications();

  SimPlatform* platform_ = nullptr;  // the host this application belongs to
  std::shared_ptr<DispatchQueue> settings_queue_;
  std::shared_ptr<HostRuntime> runtime_;
  std::shared_ptr<SimApplicationObject> application_object_;
  std::shared_ptr<SimUserInterface> user_interface_;
};

struct SimDevice : Device {
  std::optional<std::string> vendor_id = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
  std::string machine = "iPhone15,2";
  std::string model_name = "iPhone";
  std::string system_name = "iOS";
  std::string system_version = "17.2";
  int idiom = 0;
  std::optional<std::string> time_zone = "Europe/Berlin";
  std::optional<std::string> advertising_id;
  std::optional<bool> advertising_enabled;

  std::optional<std::string> identifierForVendor() override { return vendor_id; }
  std::string hardwareMachine() override { return machine; }
  std::string model() override { return model_name; }
  std::string systemName() override { return system_name; }
  std::string systemVersion() override { return system_version; }
  int userInterfaceIdiom() override { return idiom; }
  std::optional<std::string> localTimeZoneName() override { return time_zone; }
  std::optional<std::string> advertisingIdentifier() override { return advertising_id; }
  std::optional<bool> advertisingTrackingEnabled() override { return advertising_enabled; }
};

// The scripted network that every reachability source reports on. Tests
// change it through SimPlatform::setReachabilityFlags so that started
// sources hear of the change; the switches below inject faults.
struct SimNetwork {
  ReachabilityFlags flags = kReachabilityFlagReachable;  // reachable, not over the cellular network
  bool available = true;     // false: the host has no reachability facility
  bool read_fails = false;   // reading the flags fails
  bool start_fails = false;  // a source cannot start
  bool stop_fails = false;   // a source cannot stop
};

// A timer as the simulation sees it, for tests that check how one was made.
struct SimTimerInfo {
  std::string queue;
  Clock clock;
  double deadline;  // on its own clock
  double interval;
  double leeway;
};

class SimPlatform : public Platform {
 public:
  // Files live in a new temporary directory, removed with the platform.
  SimPlatform();
  // Files live under `directory`, which is kept (a second host can then
  // reopen what the first one wrote).
  explicit SimPlatform(std::string directory);
  ~SimPlatform() override;

  // Platform.
  std::shared_ptr<DispatchQueue> mainQueue() override;
  bool isMainThread() override;
  std::shared_ptr<DispatchQueue> createSerialQueue(const std::string& label) override;
  std::shared_ptr<Timer> scheduleTimer(const std::shared_ptr<DispatchQueue>& queue,
                                       const TimerSpec& spec, Task block) override;
  double now(Clock clock) override;
  NotificationCenter& notificationCenter() override { return notifications_; }
  HostApplication& hostApplication() override { return app_; }
  Device& device() override { return device_; }
  FileSystem& fileSystem() override { return *files_; }
  std::shared_ptr<NetworkReachability> createNetworkReachability(const ReachabilityTarget& target,
                                                                 std::shared_ptr<DispatchQueue> queue,
                                                                 NetworkReachability::Callback callback) override;
  // Only the network is real: requests go out over libcurl (made on first
  // use) unless a test set a transport of its own.
  HttpTransport* httpTransport() override;
  // The scripted application's runtime, with UIKit's classes.
  HostRuntime* hostRuntime() override { return &app_.runtime(); }
  AlertPresenter* alertPresenter() override { return &alerts_; }

  // Scripting.
  SimApplication& app() { return app_; }
  SimDevice& simDevice() { return device_; }
  // The alerts shown so far.
  SimAlertPresenter& alerts() { return alerts_; }
  const std::string& directory() const { return directory_; }
  // The directory that plays the application-support directory.
  std::string applicationSupportPath() const { return directory_ + "/Library/Application Support"; }
  // Replaces the file system (e.g. with a ForwardingFileSystem that fails one call).
  void setFileSystem(std::shared_ptr<FileSystem> files) { files_ = std::move(files); }
  std::shared_ptr<FileSystem> posixFileSystem() const { return posix_files_; }

  // Runs queued tasks, and timers already due, until none is left. Returns
  // how many tasks ran.
  std::size_t runUntilIdle();
  // Advances both clocks by `seconds`, firing due timers in deadline order
  // and running the tasks they queue.
  void advance(double seconds);
  // Moves the wall clock alone; wall-clock timers now due fire.
  void jumpWallClock(double seconds);
  // Runs tasks (including ones other threads queue) until `done` answers
  // true or `real_seconds` of real time pass. Returns `done()`.
  bool runUntil(const std::function<bool()>& done, double real_seconds = 10.0);

  // Application lifecycle, as the application would post it.
  void setApplicationState(int state) { app_.state = state; }
  void postLifecycle(const char* name) { notifications_.post(name, &app_); }
  void launchApp();       // did finish launching, then active
  void enterBackground(); // will resign active, background
  void enterForeground(); // will enter foreground, active

  // The network. Changing the flags queues a report, on its own queue, for
  // every started source, in the order the sources were created; setting
  // the flags they already have reports nothing.
  SimNetwork& simNetwork() { return network_; }
  void setReachabilityFlags(ReachabilityFlags flags);
  // The targets of the sources created so far, and how many sources are
  // started now.
  std::vector<ReachabilityTarget> reachabilityTargets() const;
  std::size_t startedReachabilitySources() const;

  // The transport requests go through (a fake, say); null: none at all.
  void setHttpTransport(std::shared_ptr<HttpTransport> transport);
  // Options of the libcurl transport made on next use (the local service's
  // certificate to trust, short timeouts); drops the one made before. When
  // the options say nothing of it, a failed name lookup counts as offline
  // while the scripted network is not reachable.
  void setTransportOptions(curl::CurlTransportOptions options);

  std::vector<SimTimerInfo> activeTimers() const;
  std::size_t pendingTaskCount() const;

 private:
  friend class SimQueue;
  friend class SimTimer;
  struct Entry {
    SimQueue* queue;
    std::shared_ptr<DispatchQueue> keep_alive;
    Task task;
  };

  void Enqueue(SimQueue* queue, std::shared_ptr<DispatchQueue> keep_alive, Task task);
  void RunTask(SimQueue* queue, Task& task);
  bool RunOne();
  void RunQueueBacklog(SimQueue* queue);
  void FireTimer(const std::shared_ptr<SimTimer>& timer);
  std::shared_ptr<SimTimer> NextDueTimer(double mono_limit, double* due_mono);
  void Init();

  std::string directory_;
  bool remove_directory_ = false;
  std::thread::id owner_;
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<Entry> tasks_;
  SimQueue* current_ = nullptr;
  std::shared_ptr<SimQueue> main_;
  double mono_ = 1000.0;
  double wall_ = 1767225600.0;  // 2026-01-01T00:00:00Z
  std::uint64_t timer_sequence_ = 0;
  std::vector<std::shared_ptr<SimTimer>> timers_;
  NotificationCenter notifications_;
  SimApplication app_;
  SimAlertPresenter alerts_;
  SimDevice device_;
  std::shared_ptr<FileSystem> posix_files_;
  std::shared_ptr<FileSystem> files_;
  SimNetwork network_;
  mutable std::mutex reachability_mutex_;
  std::vector<std::weak_ptr<SimReachability>> reachability_sources_;
  std::vector<ReachabilityTarget> reachability_targets_;
  std::mutex transport_mutex_;
  bool transport_set_ = false;  // a test chose the transport
  curl::CurlTransportOptions transport_options_;
  std::shared_ptr<HttpTransport> transport_;
};

}  // namespace tessarin::platform::sim

#endif  // TESSARIN_PLATFORM_SIM_SIM_PLATFORM_H_

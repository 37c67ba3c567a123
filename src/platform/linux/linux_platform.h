// The Linux host: real threads, real clocks, real files.
//
// The main queue is a main loop on a thread of the platform's own, or, when
// the host application has a loop of its own (a GUI toolkit's, say), that
// loop, reached through the host's post hook. Every serial queue has a
// worker thread; one timer thread serves the timers of all queues. Files
// live under the data directory: `$XDG_DATA_HOME`, else `~/.local/share`,
// in which the SDK keeps a directory named by the bundle identifier.
//
// Destroying the platform stops everything it started and waits for it:
// timers are cancelled, queued tasks that have not started are dropped, the
// tasks running finish. Queues and timers still referenced afterwards are
// inert: what is queued on them is dropped, and they never fire.
#ifndef TESSARIN_PLATFORM_LINUX_LINUX_PLATFORM_H_
#define TESSARIN_PLATFORM_LINUX_LINUX_PLATFORM_H_

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/curl/curl_transport.h"
#include "platform/linux/linux_device.h"
#include "platform/linux/linux_host_application.h"
#include "platform/linux/linux_host_options.h"
#include "platform/linux/timer_service.h"
#include "platform/notification_center.h"
#include "platform/platform.h"
#include "platform/posix_file_system.h"

namespace tessarin::platform::linux_host {

class ThreadQueue;
class HostMainQueue;

class LinuxPlatform : public Platform {
 public:
  explicit LinuxPlatform(LinuxHostOptions options = {});
  ~LinuxPlatform() override;

  // The data directory of the user's environment: `$XDG_DATA_HOME` when it
  // is an absolute path, else `$HOME/.local/share` (the password database's
  // home when HOME is unset); empty when there is no home at all.
  static std::string DefaultDataDirectory();
  // "local.<program name>", for a host that did not name itself.
  static std::string DefaultBundleIdentifier();

  // Platform.
  std::shared_ptr<DispatchQueue> mainQueue() override { return main_; }
  bool isMainThread() override { return main_->isCurrent(); }
  std::shared_ptr<DispatchQueue> createSerialQueue(const std::string& label) override;
  std::shared_ptr<Timer> scheduleTimer(const std::shared_ptr<DispatchQueue>& queue, const TimerSpec& spec,
                                       Task block) override;
  double now(Clock clock) override { return timers_.now(clock); }
  NotificationCenter& notificationCenter() override { return notifications_; }
  HostApplication& hostApplication() override { return app_; }
  Device& device() override { return device_; }
  FileSystem& fileSystem() override { return files_; }
  // The internet's reachability, from the routing table (rtnetlink); the
  // other targets are not followed on Linux.
  std::shared_ptr<NetworkReachability> createNetworkReachability(const ReachabilityTarget& target,
                                                                 std::shared_ptr<DispatchQueue> queue,
                                                                 NetworkReachability::Callback callback) override;
  // libcurl on a network thread of its own, made on first use.
  HttpTransport* httpTransport() override;

  // Application lifecycle, as the host reports it: set the state, then post
  // the matching notification (the names are in platform.h).
  void setApplicationState(int state) { app_.setApplicationState(state); }
  void postLifecycle(const char* name) { notifications_.post(name, &app_); }

  const std::string& dataDirectory() const { return data_directory_; }
  LinuxHostApplication& linuxApp() { return app_; }
  LinuxDevice& linuxDevice() { return device_; }
  std::vector<LinuxTimerInfo> activeTimers() const { return timers_.activeTimers(); }

  // Stops timers and queues as destruction does. Idempotent.
  void shutdown();

 private:
  const std::string data_directory_;
  NotificationCenter notifications_;
  LinuxHostApplication app_;
  LinuxDevice device_;
  PosixFileSystem files_;
  TimerService timers_;
  std::shared_ptr<ThreadQueue> main_loop_;       // when the platform runs the main loop
  std::shared_ptr<HostMainQueue> host_main_;    // when the host's loop does
  std::shared_ptr<DispatchQueue> main_;
  std::mutex queues_mutex_;
  bool shut_down_ = false;
  std::vector<std::weak_ptr<ThreadQueue>> queues_;
  const curl::CurlTransportOptions transport_options_;
  std::mutex transport_mutex_;
  std::unique_ptr<curl::CurlTransport> transport_;
};

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_LINUX_PLATFORM_H_

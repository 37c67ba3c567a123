#include "platform/linux/linux_platform.h"
#include "platform/linux/rtnetlink_reachability.h"

#include <cerrno>

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/queues.h"

namespace tessarin::platform::linux_host {
namespace {

// The main queue's label, as the SDK's reference platform names it.
constexpr char kMainQueueLabel[] = "com.apple.main-thread";
constexpr char kNotificationSettingsQueueLabel[] = "notification-settings.call-out";

bool IsAbsolute(const char* path) { return path != nullptr && path[0] == '/'; }

std::string HomeDirectory() {
  const char* home = getenv("HOME");
  if (IsAbsolute(home)) return home;
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::string buffer(size > 0 ? static_cast<std::size_t>(size) : 16384, '\0');
  struct passwd entry;
  struct passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      IsAbsolute(found->pw_dir)) {
    return found->pw_dir;
  }
  return "";
}

curl::CurlTransportOptions TransportOptions(const LinuxHostOptions& options) {
  curl::CurlTransportOptions transport;
  transport.caInfoPath = options.trusted_certificates_file;
  if (options.request_timeout > 0) {
    transport.totalTimeout = options.request_timeout;
    transport.connectTimeout = std::min(transport.connectTimeout, options.request_timeout);
  }
  return transport;
}

}  // namespace

std::string LinuxPlatform::DefaultBundleIdentifier() {
  return std::string("local.") + program_invocation_short_name;
}

std::string LinuxPlatform::DefaultDataDirectory() {
  // A relative XDG_DATA_HOME is invalid and must be ignored.
  const char* xdg = getenv("XDG_DATA_HOME");
  if (IsAbsolute(xdg)) return xdg;
  std::string home = HomeDirectory();
  if (home.empty()) return "";
  return home + "/.local/share";
}

LinuxPlatform::LinuxPlatform(LinuxHostOptions options)
    : data_directory_(options.data_directory ? *options.data_directory : DefaultDataDirectory()),
      app_(options, data_directory_),
      device_(LinuxDevice::VendorOf(options), data_directory_, options.os_name),
      files_(data_directory_),
      transport_options_(TransportOptions(options)) {
  if (options.post_to_main) {
    host_main_ = std::make_shared<HostMainQueue>(kMainQueueLabel, std::move(options.post_to_main),
                                                 options.main_thread.value_or(std::this_thread::get_id()));
    main_ = host_main_;
  } else {
    main_loop_ = std::make_shared<ThreadQueue>(kMainQueueLabel);
    main_ = main_loop_;
  }
  app_.setCallOutQueueFactory([this] { return createSerialQueue(kNotificationSettingsQueueLabel); });
}

LinuxPlatform::~LinuxPlatform() { shutdown(); }

std::shared_ptr<NetworkReachability> LinuxPlatform::createNetworkReachability(
    const ReachabilityTarget& target, std::shared_ptr<DispatchQueue> queue, NetworkReachability::Callback callback) {
  if (target.kind != ReachabilityTarget::Kind::kInternet) return nullptr;
  return std::make_shared<RtnetlinkReachability>(std::move(queue), std::move(callback));
}

HttpTransport* LinuxPlatform::httpTransport() {
  std::lock_guard<std::mutex> lock(transport_mutex_);
  if (!transport_) transport_ = std::make_unique<curl::CurlTransport>(transport_options_);
  return transport_.get();
}

std::shared_ptr<DispatchQueue> LinuxPlatform::createSerialQueue(const std::string& label) {
  auto queue = std::make_shared<ThreadQueue>(label);
  bool shut_down;
  {
    std::lock_guard<std::mutex> lock(queues_mutex_);
    shut_down = shut_down_;
    if (!shut_down) {
      queues_.erase(std::remove_if(queues_.begin(), queues_.end(),
                                   [](const std::weak_ptr<ThreadQueue>& q) { return q.expired(); }),
                    queues_.end());
      queues_.push_back(queue);
    }
  }
  // A queue made while the platform goes away is born stopped.
  if (shut_down) queue->shutdown();
  return queue;
}

std::shared_ptr<Timer> LinuxPlatform::scheduleTimer(const std::shared_ptr<DispatchQueue>& queue,
                                                    const TimerSpec& spec, Task block) {
  return timers_.schedule(queue, spec, std::move(block));
}

void LinuxPlatform::shutdown() {
  std::vector<std::shared_ptr<ThreadQueue>> queues;
  {
    std::lock_guard<std::mutex> lock(queues_mutex_);
    shut_down_ = true;
    for (const auto& weak : queues_) {
      if (auto queue = weak.lock()) queues.push_back(std::move(queue));
    }
    queues_.clear();
  }
  // Every queue refuses work before anything is waited for, so a task
  // finishing meanwhile cannot hand new work to a queue not yet stopped.
  // Then the timers stop, and the queues' running tasks are waited for.
  if (host_main_) host_main_->shutdown();
  if (main_loop_) main_loop_->stop();
  for (const auto& queue : queues) queue->stop();
  timers_.stop();
  if (main_loop_) main_loop_->shutdown();
  for (const auto& queue : queues) queue->shutdown();
}

}  // namespace tessarin::platform::linux_host

#include "platform/linux/linux_host_application.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace tessarin::platform::linux_host {
namespace {

double Seconds(const struct statx_timestamp& t) { return static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9; }

std::string ErrnoText(const char* call, const std::string& path) {
  return std::string(call) + " " + path + ": " + std::strerror(errno);
}

}  // namespace

LinuxHostApplication::LinuxHostApplication(const LinuxHostOptions& options, std::string data_directory)
    : bundle_identifier_(options.bundle_identifier),
      bundle_version_(options.bundle_version),
      info_(options.info),
      resource_directory_(options.resource_directory),
      data_directory_(std::move(data_directory)),
      routes_delegates_(options.routes_delegates_through_sdk),
      notifications_allowed_(options.notifications_allowed),
      state_(options.initial_application_state) {}

std::optional<Json> LinuxHostApplication::infoValue(const std::string& key) {
  if (info_.is_object()) {
    auto it = info_.find(key);
    if (it != info_.end()) return *it;
  }
  if (key == "CFBundleShortVersionString" && bundle_version_) return Json(*bundle_version_);
  if (key == "CFBundleIdentifier" && bundle_identifier_) return Json(*bundle_identifier_);
  return std::nullopt;
}

std::optional<std::string> LinuxHostApplication::bundleResourcePath(const std::string& name,
                                                                    const std::string& type) {
  if (!resource_directory_ || name.empty()) return std::nullopt;
  std::string path = *resource_directory_ + "/" + name;
  if (!type.empty()) path += "." + type;
  struct stat st;
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  return path;
}

std::string LinuxHostApplication::homeDirectory() const {
  if (!bundle_identifier_ || bundle_identifier_->empty()) return data_directory_;
  return data_directory_ + "/" + *bundle_identifier_;
}

DateResult LinuxHostApplication::homeDirectoryCreationDate() {
  const std::string path = homeDirectory();
  struct statx st;
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_CTIME, &st) != 0) {
    return {std::nullopt, ErrnoText("statx", path)};
  }
  // Not every file system records a birth time; the status-change time of
  // a directory the SDK never renames is the nearest stand-in.
  if (st.stx_mask & STATX_BTIME) return {Seconds(st.stx_btime), ""};
  if (st.stx_mask & STATX_CTIME) return {Seconds(st.stx_ctime), ""};
  return {std::nullopt, "no creation time recorded for " + path};
}

DateResult LinuxHostApplication::bundleModificationDate() {
  static const char kExecutable[] = "/proc/self/exe";
  struct stat st;
  if (stat(kExecutable, &st) != 0) return {std::nullopt, ErrnoText("stat", kExecutable)};
  return {static_cast<double>(st.st_mtim.tv_sec) + st.st_mtim.tv_nsec / 1e9, ""};
}

void LinuxHostApplication::setCallOutQueueFactory(std::function<std::shared_ptr<DispatchQueue>()> factory) {
  std::lock_guard<std::mutex> lock(call_out_mutex_);
  call_out_factory_ = std::move(factory);
}

void LinuxHostApplication::getNotificationSettings(
    std::function<void(const NotificationSettings& settings)> completion) {
  if (!completion) return;
  NotificationSettings settings;
  constexpr int kDenied = 1, kAuthorized = 2, kEnabled = 2, kBanner = 1;
  if (notifications_allowed_) {
    settings = {kAuthorized, kEnabled, kEnabled, kBanner};
  } else {
    settings.authorizationStatus = kDenied;
  }
  std::shared_ptr<DispatchQueue> queue;
  {
    std::lock_guard<std::mutex> lock(call_out_mutex_);
    if (!call_out_queue_ && call_out_factory_) call_out_queue_ = call_out_factory_();
    queue = call_out_queue_;
  }
  if (!queue) {
    completion(settings);
    return;
  }
  queue->async([completion = std::move(completion), settings] { completion(settings); });
}

}  // namespace tessarin::platform::linux_host

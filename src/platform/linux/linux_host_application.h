// The host application as a Linux process sees itself: its identity and
// Info values come from the host's options (there is no bundle to read
// them from), its "home" is its own data directory, and its build date is
// the executable's.
#ifndef TESSARIN_PLATFORM_LINUX_LINUX_HOST_APPLICATION_H_
#define TESSARIN_PLATFORM_LINUX_LINUX_HOST_APPLICATION_H_

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/linux/linux_host_options.h"
#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin::platform::linux_host {

class LinuxHostApplication : public HostApplication {
 public:
  // `data_directory` plays the application-support directory.
  LinuxHostApplication(const LinuxHostOptions& options, std::string data_directory);

  std::optional<std::string> bundleIdentifier() override { return bundle_identifier_; }
  // The host's Info values; "CFBundleShortVersionString" falls back to the
  // bundle version the host gave on its own.
  std::optional<Json> infoValue(const std::string& key) override;
  // A file of the host's resource directory, when the host named one.
  std::optional<std::string> bundleResourcePath(const std::string& name, const std::string& type) override;
  // Applications here are not distributed with store receipts.
  std::optional<std::string> appStoreReceiptURL() override { return std::nullopt; }
  // When the application's own data directory came into being: its birth
  // time where the file system records one, else its status-change time.
  DateResult homeDirectoryCreationDate() override;
  // When the running executable was last modified (installed or rebuilt).
  DateResult bundleModificationDate() override;
  bool hasSharedApplication() override { return true; }
  int applicationState() override { return state_.load(); }
  bool runningInSimulator() override { return false; }
  bool runningUnitTests() override { return false; }
  bool swizzlingEnabledByDefault() override { return routes_delegates_; }
  // A Linux desktop session has no notification settings of the app's to
  // ask: the answer follows the host's word (authorized with alerts, or
  // denied), given on a queue of its own as elsewhere.
  void getNotificationSettings(std::function<void(const NotificationSettings& settings)> completion) override;

  // How the answers' queue is made, on first use (the platform's serial
  // queues); without it answers come on the asking thread.
  void setCallOutQueueFactory(std::function<std::shared_ptr<DispatchQueue>()> factory);

  void setApplicationState(int state) { state_.store(state); }
  // The directory whose creation date stands for the app's install date:
  // `<data directory>/<bundle identifier>`, or the data directory itself
  // when there is no bundle identifier.
  std::string homeDirectory() const;

 private:
  const std::optional<std::string> bundle_identifier_;
  const std::optional<std::string> bundle_version_;
  const Json info_;
  const std::optional<std::string> resource_directory_;
  const std::string data_directory_;
  const bool routes_delegates_;
  const bool notifications_allowed_;
  std::atomic<int> state_;
  std::mutex call_out_mutex_;
  std::function<std::shared_ptr<DispatchQueue>()> call_out_factory_;
  std::shared_ptr<DispatchQueue> call_out_queue_;
};

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_LINUX_HOST_APPLICATION_H_

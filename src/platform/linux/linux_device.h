// The machine a Linux host runs on, described as the SDK describes a device.
//
// The identifier for vendor is a random (version 4) UUID made the first time
// it is asked for and kept in the data directory, in a file named after the
// vendor: every application of one vendor run by the same user on the same
// machine reads the same identifier, another vendor gets another, and
// removing the file resets it, as removing all of a vendor's applications
// does on a phone.
#ifndef TESSARIN_PLATFORM_LINUX_LINUX_DEVICE_H_
#define TESSARIN_PLATFORM_LINUX_LINUX_DEVICE_H_

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/linux_host_options.h"
#include "platform/platform.h"

namespace tessarin::platform::linux_host {

class LinuxDevice : public Device {
 public:
  // An empty `vendor` has no identifier for vendor. `os_name` is what
  // events and the configuration request call the operating system.
  LinuxDevice(std::string vendor, std::string data_directory, std::string os_name = kDefaultOsName);

  static constexpr const char* kDefaultOsName = "Linux";

  // The vendor the options name, or the one their bundle identifier implies.
  static std::string VendorOf(const LinuxHostOptions& options);

  // Upper-case, as the platform's UUID text is; nothing without a vendor.
  std::optional<std::string> identifierForVendor() override;
  std::string hardwareMachine() override { return machine_; }  // uname's machine, e.g. "x86_64"
  std::string model() override { return "Linux"; }
  std::string systemName() override { return os_name_; }
  std::string systemVersion() override { return release_; }  // the kernel release
  int userInterfaceIdiom() override { return -1; }
  // The host's zone ID (TZ, else /etc/localtime's zone file, else
  // /etc/timezone), when the system has that zone. Every batch of events
  // asks for it, and a lookup costs a readlink and a stat, so an answer is
  // kept for a second, or until TZ changes: a new zone shows in what is
  // sent a second later at the latest.
  std::optional<std::string> localTimeZoneName() override;
  std::optional<std::string> advertisingIdentifier() override { return std::nullopt; }
  std::optional<bool> advertisingTrackingEnabled() override { return std::nullopt; }

  // The file that keeps this vendor's identifier.
  std::string vendorIdentifierPath() const;

 private:
  std::optional<std::string> LoadOrCreateVendorIdentifier() const;
  // The zone `tz` (the TZ variable's value, or empty) names.
  static std::optional<std::string> LookUpLocalTimeZone(std::string_view tz);

  const std::string vendor_;
  const std::string data_directory_;
  const std::string os_name_;
  std::string machine_;
  std::string release_;
  std::mutex mutex_;
  std::optional<std::string> vendor_id_;

  std::mutex zone_mutex_;
  bool zone_known_ = false;
  std::optional<std::string> zone_;
  std::string zone_tz_;  // TZ as it was when zone_ was looked up
  std::chrono::steady_clock::time_point zone_looked_up_;
};

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_LINUX_DEVICE_H_

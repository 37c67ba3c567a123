// What a Linux host application tells the platform about itself.
#ifndef TESSARIN_PLATFORM_LINUX_LINUX_HOST_OPTIONS_H_
#define TESSARIN_PLATFORM_LINUX_LINUX_HOST_OPTIONS_H_

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin::platform::linux_host {

struct LinuxHostOptions {
  // Reverse-DNS name of the application; the SDK keeps its files in a
  // directory of this name under the data directory.
  std::optional<std::string> bundle_identifier;
  // "CFBundleShortVersionString", unless `info` carries it.
  std::optional<std::string> bundle_version;
  // The application's Info values (an object), e.g. "TessarinConfiguration".
  Json info = Json::object();
  // Applications of one vendor share an identifier for vendor. When empty,
  // the vendor is the bundle identifier without its last component, so
  // "com.acme.shop" and "com.acme.news" count as one vendor.
  std::string vendor_name;
  // Replaces `$XDG_DATA_HOME` (or `~/.local/share`) as the data directory.
  std::optional<std::string> data_directory;
  // Where bundle resources are looked up; without it there are none.
  std::optional<std::string> resource_directory;
  // 0 active, 1 inactive, 2 background. A desktop application that does
  // not report its lifecycle is taken to be in the foreground.
  int initial_application_state = 0;
  // The operating system's name in events (".on") and in the path of the
  // server-configuration request.
  std::string os_name = "Linux";
  // Whether the host routes its application and notification delegates
  // through objects the SDK intercepts. A plain Linux process has none, so
  // the app hands push tokens, notifications and URLs to the SDK itself.
  bool routes_delegates_through_sdk = false;
  // Whether the user lets the app show notifications. A desktop has no
  // per-app settings for the SDK to ask, so the host says; a push token is
  // reported only when it does.
  bool notifications_allowed = true;
  // The HTTP transport's trust anchors (a PEM file; empty: the system's)
  // and its bound on a whole request in seconds (0: none).
  std::string trusted_certificates_file;
  double request_timeout = 0;

  // When set, main-queue tasks are handed to the host's own loop through
  // this hook, which must run them in order on `main_thread`. When not set
  // the platform runs a main loop on a thread of its own.
  std::function<void(Task)> post_to_main;
  // The thread of the host's loop; the thread that creates the platform
  // when left unset.
  std::optional<std::thread::id> main_thread;
};

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_LINUX_HOST_OPTIONS_H_

#include "platform/linux/linux_device.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <sys/stat.h>

#include <cctype>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>

#include "platform/posix_file_system.h"

namespace tessarin::platform::linux_host {
namespace {

// Where the system keeps its zone files, named by their zone IDs.
constexpr std::string_view kZoneDirectory = "/usr/share/zoneinfo/";

// The zone ID of a zone name or a zone file's path, when the system has
// such a zone: "Europe/Paris", "/usr/share/zoneinfo/Europe/Paris" and
// ".../zoneinfo/posix/Europe/Paris" all name Europe/Paris.
std::optional<std::string> ZoneId(std::string_view nameOrPath) {
  if (auto at = nameOrPath.rfind("zoneinfo/"); at != std::string_view::npos) {
    nameOrPath.remove_prefix(at + 9);
    for (std::string_view variant : {"posix/", "right/"}) {
      if (nameOrPath.substr(0, variant.size()) == variant) nameOrPath.remove_prefix(variant.size());
    }
  }
  if (nameOrPath.empty() || nameOrPath.front() == '/' || nameOrPath.find("..") != std::string_view::npos) {
    return std::nullopt;
  }
  for (char c : nameOrPath) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '/' && c != '_' && c != '-' && c != '+') {
      return std::nullopt;
    }
  }
  std::string id(nameOrPath);
  struct stat info;
  if (stat((std::string(kZoneDirectory) + id).c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  return id;
}

std::string NewRandomUuid() {
  std::random_device random;
  std::uint8_t bytes[16];
  for (int i = 0; i < 16; i += 4) {
    std::uint32_t word = random();
    for (int j = 0; j < 4; ++j) bytes[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4: random
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // the standard variant
  char text[37];
  std::snprintf(text, sizeof text,
                "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8], bytes[9],
                bytes[10], bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
  return text;
}

// The UUID in `text` (surrounding white space allowed), upper-cased, or
// nothing when the file holds something else.
std::optional<std::string> ParseUuid(const std::string& text) {
  std::size_t begin = text.find_first_not_of(" \t\r\n");
  std::size_t end = text.find_last_not_of(" \t\r\n");
  if (begin == std::string::npos) return std::nullopt;
  std::string uuid = text.substr(begin, end - begin + 1);
  if (uuid.size() != 36) return std::nullopt;
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    unsigned char c = static_cast<unsigned char>(uuid[i]);
    if (dash ? c != '-' : !std::isxdigit(c)) return std::nullopt;
    uuid[i] = static_cast<char>(std::toupper(c));
  }
  return uuid;
}

// A file-name-safe form of the vendor that keeps distinct vendors distinct.
std::string EscapeForFileName(const std::string& vendor) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : vendor) {
    if (std::isalnum(c) || c == '.' || c == '-' || c == '_') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xf];
    }
  }
  return out;
}

std::optional<std::string> ReadUuidFile(const std::string& path) {
  PosixFileSystem files("");
  std::string contents;
  if (!files.readFile(path, &contents).ok) return std::nullopt;
  return ParseUuid(contents);
}

}  // namespace

LinuxDevice::LinuxDevice(std::string vendor, std::string data_directory, std::string os_name)
    : vendor_(std::move(vendor)), data_directory_(std::move(data_directory)), os_name_(std::move(os_name)) {
  struct utsname names;
  if (uname(&names) == 0) {
    machine_ = names.machine;
    release_ = names.release;
  }
}

std::string LinuxDevice::VendorOf(const LinuxHostOptions& options) {
  if (!options.vendor_name.empty()) return options.vendor_name;
  if (!options.bundle_identifier) return "";
  const std::string& bundle = *options.bundle_identifier;
  std::size_t last_dot = bundle.rfind('.');
  if (last_dot == std::string::npos || last_dot == 0) return bundle;
  return bundle.substr(0, last_dot);
}

std::string LinuxDevice::vendorIdentifierPath() const {
  return data_directory_ + "/.tessarin-vendor-" + EscapeForFileName(vendor_);
}

std::optional<std::string> LinuxDevice::identifierForVendor() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!vendor_id_) vendor_id_ = LoadOrCreateVendorIdentifier();
  return vendor_id_;
}

std::optional<std::string> LinuxDevice::LoadOrCreateVendorIdentifier() const {
  if (vendor_.empty()) return std::nullopt;
  const std::string path = vendorIdentifierPath();
  if (auto existing = ReadUuidFile(path)) return existing;

  // Another application of the vendor may be making the file right now. The
  // new identifier is written in full to a private file first and then
  // linked into place, which fails if the file appeared meanwhile: whoever
  // links first wins and everyone else reads the winner's identifier.
  // Should the file not be writable at all, the identifier still holds for
  // this process.
  const std::string uuid = NewRandomUuid();
  PosixFileSystem files(data_directory_);
  if (!files.createDirectory(data_directory_).ok) return uuid;
  std::string temporary = path + ".tmp-XXXXXX";
  int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return uuid;
  const std::string contents = uuid + "\n";
  bool written = write(fd, contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()) &&
                 fsync(fd) == 0;
  close(fd);
  std::optional<std::string> result = uuid;
  if (written && link(temporary.c_str(), path.c_str()) != 0 && errno == EEXIST) {
    if (auto winner = ReadUuidFile(path)) {
      result = winner;
    } else {
      // What is there is not an identifier: replace it.
      rename(temporary.c_str(), path.c_str());
    }
  }
  unlink(temporary.c_str());
  return result;
}

std::optional<std::string> LinuxDevice::localTimeZoneName() {
  const char* tz = std::getenv("TZ");
  const std::string_view tzNow = tz ? tz : "";
  const auto now = std::chrono::steady_clock::now();
  std::lock_guard<std::mutex> lock(zone_mutex_);
  if (zone_known_ && tzNow == zone_tz_ && now - zone_looked_up_ < std::chrono::seconds(1)) return zone_;
  zone_ = LookUpLocalTimeZone(tzNow);
  zone_tz_ = tzNow;
  zone_looked_up_ = now;
  zone_known_ = true;
  return zone_;
}

std::optional<std::string> LinuxDevice::LookUpLocalTimeZone(std::string_view tz) {
  // As the C library finds the zone: TZ (":Zone", "Zone" or a zone file's
  // path), else the zone file /etc/localtime links to; then the name in
  // /etc/timezone. Read from the system's zone files rather than through a
  // time-zone library, which would load its own zone data (megabytes
  // resident) to tell the name of the zone.
  if (!tz.empty()) {
    if (tz.front() == ':') tz.remove_prefix(1);
    return ZoneId(tz);
  }
  char target[PATH_MAX];
  ssize_t length = readlink("/etc/localtime", target, sizeof target - 1);
  if (length > 0) {
    if (auto id = ZoneId(std::string_view(target, static_cast<std::size_t>(length)))) return id;
  }
  std::ifstream file("/etc/timezone");
  std::string line;
  if (std::getline(file, line)) return ZoneId(line);
  return std::nullopt;
}

}  // namespace tessarin::platform::linux_host

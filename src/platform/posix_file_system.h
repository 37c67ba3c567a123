// Files on a POSIX file system, shared by the simulated host (rooted in a
// temporary directory) and the Linux host (rooted in the user's data
// directory).
#ifndef TESSARIN_PLATFORM_POSIX_FILE_SYSTEM_H_
#define TESSARIN_PLATFORM_POSIX_FILE_SYSTEM_H_

#include <memory>
#include <string>

#include "platform/platform.h"

namespace tessarin::platform {

class PosixFileSystem : public FileSystem {
 public:
  // `application_support` is the directory that plays the role of the
  // user-domain application-support directory.
  explicit PosixFileSystem(std::string application_support)
      : application_support_(std::move(application_support)) {}

  std::optional<std::string> applicationSupportDirectory(std::string* error) override;
  IoResult createDirectory(const std::string& path) override;
  bool fileExists(const std::string& path) override;
  IoResult readFile(const std::string& path, std::string* contents) override;
  IoResult writeFileAtomically(const std::string& path, const std::string& contents) override;
  IoResult removeFile(const std::string& path) override;
  IoResult excludeFromBackup(const std::string& path) override;
  // write(2) and fdatasync(2) on a descriptor opened with O_APPEND.
  std::unique_ptr<AppendFile> openForAppend(const std::string& path, IoResult* result) override;

 private:
  std::string application_support_;
};

// Forwards every call to another file system, so a test can override one
// operation (to inject a fault) and keep the rest real.
class ForwardingFileSystem : public FileSystem {
 public:
  explicit ForwardingFileSystem(std::shared_ptr<FileSystem> target) : target_(std::move(target)) {}
  std::optional<std::string> applicationSupportDirectory(std::string* error) override {
    return target_->applicationSupportDirectory(error);
  }
  IoResult createDirectory(const std::string& path) override { return target_->createDirectory(path); }
  bool fileExists(const std::string& path) override { return target_->fileExists(path); }
  IoResult readFile(const std::string& path, std::string* contents) override {
    return target_->readFile(path, contents);
  }
  IoResult writeFileAtomically(const std::string& path, const std::string& contents) override {
    return target_->writeFileAtomically(path, contents);
  }
  IoResult removeFile(const std::string& path) override { return target_->removeFile(path); }
  IoResult excludeFromBackup(const std::string& path) override { return target_->excludeFromBackup(path); }
  std::unique_ptr<AppendFile> openForAppend(const std::string& path, IoResult* result) override {
    return target_->openForAppend(path, result);
  }

 protected:
  std::shared_ptr<FileSystem> target_;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_POSIX_FILE_SYSTEM_H_

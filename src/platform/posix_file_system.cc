#include "platform/posix_file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tessarin::platform {
namespace {

IoResult Errno(const std::string& what, const std::string& path) {
  int e = errno;
  return IoResult::Failure(e, what + " " + path + ": " + std::strerror(e));
}

class PosixAppendFile : public AppendFile {
 public:
  PosixAppendFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
  ~PosixAppendFile() override { close(fd_); }

  IoResult append(std::string_view data) override {
    const char* p = data.data();
    std::size_t left = data.size();
    while (left > 0) {
      ssize_t n = write(fd_, p, left);
      if (n < 0) {
        if (errno == EINTR) continue;
        return Errno("write", path_);
      }
      p += n;
      left -= static_cast<std::size_t>(n);
    }
    return IoResult::Success();
  }

  IoResult sync() override {
    // The data and the file's length; the rest of its metadata can wait.
    if (fdatasync(fd_) != 0) return Errno("fdatasync", path_);
    return IoResult::Success();
  }

 private:
  const int fd_;
  const std::string path_;
};

}  // namespace

std::optional<std::string> PosixFileSystem::applicationSupportDirectory(std::string* error) {
  IoResult made = createDirectory(application_support_);
  if (!made.ok) {
    if (error) *error = made.description;
    return std::nullopt;
  }
  return application_support_;
}

IoResult PosixFileSystem::createDirectory(const std::string& path) {
  if (path.empty()) return IoResult::Failure(EINVAL, "empty directory path");
  std::string partial;
  std::size_t pos = 0;
  while (pos != std::string::npos) {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (partial.empty()) continue;
    if (mkdir(partial.c_str(), 0700) != 0 && errno != EEXIST) return Errno("mkdir", partial);
  }
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return Errno("stat", path);
  if (!S_ISDIR(st.st_mode)) return IoResult::Failure(ENOTDIR, "not a directory: " + path);
  return IoResult::Success();
}

bool PosixFileSystem::fileExists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

IoResult PosixFileSystem::readFile(const std::string& path, std::string* contents) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return Errno("open", path);
  std::string data;
  char buffer[65536];
  for (;;) {
    ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      IoResult failure = Errno("read", path);
      close(fd);
      return failure;
    }
    if (n == 0) break;
    data.append(buffer, static_cast<std::size_t>(n));
  }
  close(fd);
  *contents = std::move(data);
  return IoResult::Success();
}

IoResult PosixFileSystem::writeFileAtomically(const std::string& path, const std::string& contents) {
  // Write a sibling temporary file, flush it to disk, then rename it over the
  // target: a reader sees the old file or the new one, never half of one.
  std::string temporary = path + ".tmp-XXXXXX";
  int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return Errno("mkostemp", temporary);
  fchmod(fd, 0600);
  const char* p = contents.data();
  std::size_t left = contents.size();
  while (left > 0) {
    ssize_t n = write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      IoResult failure = Errno("write", temporary);
      close(fd);
      unlink(temporary.c_str());
      return failure;
    }
    p += n;
    left -= static_cast<std::size_t>(n);
  }
  if (fsync(fd) != 0) {
    IoResult failure = Errno("fsync", temporary);
    close(fd);
    unlink(temporary.c_str());
    return failure;
  }
  close(fd);
  if (rename(temporary.c_str(), path.c_str()) != 0) {
    IoResult failure = Errno("rename", path);
    unlink(temporary.c_str());
    return failure;
  }
  return IoResult::Success();
}

IoResult PosixFileSystem::removeFile(const std::string& path) {
  if (unlink(path.c_str()) != 0) return Errno("unlink", path);
  return IoResult::Success();
}

std::unique_ptr<AppendFile> PosixFileSystem::openForAppend(const std::string& path, IoResult* result) {
  int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    if (result) *result = Errno("open", path);
    return nullptr;
  }
  if (result) *result = IoResult::Success();
  return std::make_unique<PosixAppendFile>(fd, path);
}

IoResult PosixFileSystem::excludeFromBackup(const std::string& path) {
  static const char kValue[] = "false";
  if (setxattr(path.c_str(), "user.xdg.robots.backup", kValue, sizeof kValue - 1, 0) != 0) {
    // A file system without user attributes has no backups to keep out of.
    if (errno == ENOTSUP) return IoResult::Success();
    return Errno("setxattr", path);
  }
  return IoResult::Success();
}

}  // namespace tessarin::platform

#include "util/persistence.h"

#include <string_view>
#include <utility>

#include "base/log.h"
#include "util/json_util.h"
#include "util/safety.h"

namespace tessarin {
namespace {

// The reference platform's number for the application-support directory
// kind, which the directory error line reports.
constexpr long kApplicationSupportDirectoryKind = 14;

// A path as a file URL prints in log lines: characters a URL path cannot
// hold (the space in "Application Support", non-ASCII bytes) are
// percent-encoded.
std::string FileURL(const std::string& path) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string url = "file://";
  for (unsigned char c : path) {
    bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                   std::string_view("!$&'()*+,-./:=@_~").find(static_cast<char>(c)) != std::string_view::npos;
    if (allowed) {
      url += static_cast<char>(c);
    } else {
      url += '%';
      url += kHex[c >> 4];
      url += kHex[c & 15];
    }
  }
  return url;
}

// What reading a file as UTF-8 reports when its bytes are not UTF-8.
std::string NotUTF8Description(const std::string& filename) {
  return "The file \u201c" + filename + "\u201d couldn\u2019t be opened using text encoding Unicode (UTF-8).";
}

}  // namespace

TSRUtilityPersistence::TSRUtilityPersistence(std::shared_ptr<platform::Platform> platform)
    : platform_(std::move(platform)) {}

std::optional<std::string> TSRUtilityPersistence::directory() {
  std::call_once(directory_once_, [this] {
    platform::FileSystem& files = platform_->fileSystem();
    std::string error;
    auto support = files.applicationSupportDirectory(&error);
    if (!support) {
      TSR_LOG_ERROR("Persistence: Could not find/create main directory %ld %@",
                    kApplicationSupportDirectoryKind, error);
      return;
    }
    auto bundle = platform_->hostApplication().bundleIdentifier();
    if (!bundle || bundle->empty()) {
      directory_ = *support;
      return;
    }
    std::string path = *support + "/" + *bundle;
    if (!files.createDirectory(path).ok) {
      TSR_LOG_ERROR("Persistence: Could not create directory %@", FileURL(path + "/"));
      return;
    }
    directory_ = path;
  });
  return directory_;
}

std::optional<std::string> TSRUtilityPersistence::PathFor(const std::string& filename) {
  if (filename.empty()) return std::nullopt;
  auto dir = directory();
  if (!dir) return std::nullopt;
  return *dir + "/" + filename;
}

std::optional<std::string> TSRUtilityPersistence::fileURL(const std::string& filename) {
  auto path = PathFor(filename);
  if (!path) return std::nullopt;
  return FileURL(*path);
}

bool TSRUtilityPersistence::saveJSONString(const std::optional<std::string>& string,
                                           const std::string& filename, bool excludeFromAppBackups) {
  if (!string) return false;
  auto path = PathFor(filename);
  if (!path) return false;
  platform::FileSystem& files = platform_->fileSystem();
  platform::IoResult written = files.writeFileAtomically(*path, *string);
  if (!written.ok) {
    TSR_LOG_ERROR("Persistence: Error writing string to %@: %@", FileURL(*path), written.description);
    return false;
  }
  if (excludeFromAppBackups) {
    platform::IoResult excluded = files.excludeFromBackup(*path);
    if (!excluded.ok) {
      TSR_LOG_WARN("Persistence: Could not exclude file from backups %@ %@", FileURL(*path),
                   excluded.description);
    }
  }
  return true;
}

void TSRUtilityPersistence::saveRawJSON(const std::optional<Json>& object, const std::string& filename,
                                        bool excludeFromAppBackups) {
  if (!object || filename.empty() || !directory()) return;
  auto text = TSRUtilityJSON::stringFromJSON(*object);
  if (!text) return;
  saveJSONString(text, filename, excludeFromAppBackups);
}

std::optional<std::string> TSRUtilityPersistence::loadJSONStringFromFilename(const std::string& filename) {
  auto path = PathFor(filename);
  if (!path) return std::nullopt;
  platform::FileSystem& files = platform_->fileSystem();
  if (!files.fileExists(*path)) return std::nullopt;
  std::string contents;
  platform::IoResult read = files.readFile(*path, &contents);
  if (!read.ok) {
    TSR_LOG_ERROR("Persistence: Error loading string from %@: %@", FileURL(*path), read.description);
    return std::nullopt;
  }
  if (!TSRUtilityJSON::isValidUTF8(contents)) {
    TSR_LOG_ERROR("Persistence: Error loading string from %@: %@", FileURL(*path),
                  NotUTF8Description(filename));
    return std::nullopt;
  }
  return contents;
}

std::optional<Json> TSRUtilityPersistence::loadJSONFromFilename(const std::string& filename) {
  auto text = loadJSONStringFromFilename(filename);
  if (!text) return std::nullopt;
  return TSRUtilityJSON::jsonFromString(text);
}

std::optional<Json> TSRUtilityPersistence::loadJSONArrayFromFilename(const std::string& filename) {
  auto text = loadJSONStringFromFilename(filename);
  if (!text) return std::nullopt;
  return TSRUtilityJSON::jsonArrayFromString(text);
}

void TSRUtilityPersistence::deleteFilename(const std::string& filename) {
  auto path = PathFor(filename);
  if (!path) return;
  platform::FileSystem& files = platform_->fileSystem();
  if (!files.fileExists(*path)) return;
  platform::IoResult removed = files.removeFile(*path);
  if (!removed.ok) TSR_LOG_ERROR("Persistence: Error removing %@ %@", FileURL(*path), removed.description);
}

TSRBackgroundFileWriter::TSRBackgroundFileWriter(std::shared_ptr<platform::Platform> platform,
                                                 TSRUtilityPersistence& persistence, std::string filename,
                                                 std::string queueLabel, bool excludeFromAppBackups,
                                                 WillWrite willWrite)
    : platform_(std::move(platform)),
      persistence_(persistence),
      filename_(std::move(filename)),
      queue_label_(std::move(queueLabel)),
      exclude_from_backups_(excludeFromAppBackups),
      will_write_(std::move(willWrite)) {}

TSRBackgroundFileWriter::~TSRBackgroundFileWriter() { waitForPendingWrites(); }

void TSRBackgroundFileWriter::save(Json contents) { Request(std::move(contents)); }

void TSRBackgroundFileWriter::remove() { Request(std::nullopt); }

void TSRBackgroundFileWriter::Request(std::optional<Json> contents) {
  std::lock_guard<std::mutex> lock(mutex_);
  pending_.emplace(std::move(contents));
  if (write_queued_) return;  // the write already queued will take this one
  write_queued_ = true;
  if (!queue_) queue_ = platform_->createSerialQueue(queue_label_);
  TSRUtilitySafety::runAsyncOnQueue(queue_, "-[TSRBackgroundFileWriter save:]_block_invoke",
                                    [this] { WritePending(); });
}

void TSRBackgroundFileWriter::WritePending() {
  std::optional<std::optional<Json>> work;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    work.swap(pending_);
    write_queued_ = false;
  }
  if (!work) return;
  if (!*work) {
    persistence_.deleteFilename(filename_);
    return;
  }
  if (will_write_) will_write_(**work);
  persistence_.saveRawJSON(std::move(*work), filename_, exclude_from_backups_);
}

void TSRBackgroundFileWriter::waitForPendingWrites() {
  std::shared_ptr<platform::DispatchQueue> queue;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    queue = queue_;
  }
  // The queue is serial: once an empty task has run on it, every write
  // queued before has finished. On the simulated host this runs them on the
  // calling thread.
  if (queue) queue->sync([] {});
}

}  // namespace tessarin

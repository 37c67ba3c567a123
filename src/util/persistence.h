// TSRUtilityPersistence: the SDK's few files, kept as UTF-8 JSON text in one
// private directory (the application-support directory, in a subdirectory
// named by the host app's bundle identifier) and written atomically.
#ifndef TESSARIN_UTIL_PERSISTENCE_H_
#define TESSARIN_UTIL_PERSISTENCE_H_

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRUtilityPersistence {
 public:
  explicit TSRUtilityPersistence(std::shared_ptr<platform::Platform> platform);

  // The private directory, worked out once; nothing when it could not be
  // found or created.
  std::optional<std::string> directory();
  // The file URL of a file in the private directory, as log lines show it.
  std::optional<std::string> fileURL(const std::string& filename);
  // The path of a file in the private directory, for the few callers that
  // work on the file itself (appending to it, say).
  std::optional<std::string> pathForFilename(const std::string& filename) { return PathFor(filename); }

  // Whether the file was written (a failure is logged here).
  bool saveJSONString(const std::optional<std::string>& string, const std::string& filename,
                      bool excludeFromAppBackups);
  void saveRawJSON(const std::optional<Json>& object, const std::string& filename,
                   bool excludeFromAppBackups);
  std::optional<std::string> loadJSONStringFromFilename(const std::string& filename);
  std::optional<Json> loadJSONFromFilename(const std::string& filename);
  std::optional<Json> loadJSONArrayFromFilename(const std::string& filename);
  void deleteFilename(const std::string& filename);

 private:
  std::optional<std::string> PathFor(const std::string& filename);

  std::shared_ptr<platform::Platform> platform_;
  std::once_flag directory_once_;
  std::optional<std::string> directory_;
};

// Keeps one file of the private directory in step with a JSON value that
// its owner changes on its own thread (the main thread, which may be the
// host app's UI thread), without making that thread wait for the disk.
// Writes run on a serial background queue of the platform, made on first
// use. A request that arrives while an earlier one is still waiting
// replaces it, so a burst of changes costs one atomic write of the latest
// value; a removal is ordered with the writes around it.
class TSRBackgroundFileWriter {
 public:
  // Told, on the writer's queue, of every value just before it is written.
  using WillWrite = std::function<void(const Json& contents)>;

  TSRBackgroundFileWriter(std::shared_ptr<platform::Platform> platform, TSRUtilityPersistence& persistence,
                          std::string filename, std::string queueLabel, bool excludeFromAppBackups,
                          WillWrite willWrite = nullptr);
  // Finishes what was requested: `persistence` is only borrowed.
  ~TSRBackgroundFileWriter();
  TSRBackgroundFileWriter(const TSRBackgroundFileWriter&) = delete;
  TSRBackgroundFileWriter& operator=(const TSRBackgroundFileWriter&) = delete;

  void save(Json contents);
  void remove();
  // Returns once everything requested before the call has reached the
  // disk. Any thread may call it, the writer's own queue included.
  void waitForPendingWrites();

 private:
  void Request(std::optional<Json> contents);
  void WritePending();

  std::shared_ptr<platform::Platform> platform_;
  TSRUtilityPersistence& persistence_;
  const std::string filename_;
  const std::string queue_label_;
  const bool exclude_from_backups_;
  const WillWrite will_write_;

  std::mutex mutex_;
  std::shared_ptr<platform::DispatchQueue> queue_;
  // What the next write puts on disk: a value, or nothing for a removal.
  std::optional<std::optional<Json>> pending_;
  bool write_queued_ = false;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_PERSISTENCE_H_

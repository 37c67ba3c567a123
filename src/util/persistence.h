// TSRUtilityPersistence: the SDK's few files, kept as UTF-8 JSON text in one
// private directory (the application-support directory, in a subdirectory
// named by the host app's bundle identifier) and written atomically.
#ifndef TESSARIN_UTIL_PERSISTENCE_H_
#define TESSARIN_UTIL_PERSISTENCE_H_

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

}  // namespace tessarin

#endif  // TESSARIN_UTIL_PERSISTENCE_H_

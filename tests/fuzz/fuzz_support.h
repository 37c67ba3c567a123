// What the fuzz targets share: files held in memory, a network whose
// answers the target writes, and a simulated app running the real façade.
#ifndef TESSARIN_TESTS_FUZZ_FUZZ_SUPPORT_H_
#define TESSARIN_TESTS_FUZZ_FUZZ_SUPPORT_H_

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/http_transport.h"
#include "platform/platform.h"
#include "platform/sim/sim_platform.h"
#include "tessarin/json.h"

namespace tessarin::fuzz {

// A file system in memory: an input becomes a file without touching the
// disk, and nothing outlives the object. Directories exist implicitly.
class MemoryFileSystem : public platform::FileSystem {
 public:
  static constexpr const char* kRoot = "/fuzz";
  static constexpr const char* kSupportDirectory = "/fuzz/Library/Application Support";

  std::optional<std::string> applicationSupportDirectory(std::string* error) override;
  platform::IoResult createDirectory(const std::string& path) override;
  bool fileExists(const std::string& path) override;
  platform::IoResult readFile(const std::string& path, std::string* contents) override;
  platform::IoResult writeFileAtomically(const std::string& path, const std::string& contents) override;
  platform::IoResult removeFile(const std::string& path) override;
  platform::IoResult excludeFromBackup(const std::string& path) override;
  std::unique_ptr<platform::AppendFile> openForAppend(const std::string& path, platform::IoResult* result) override;

  // The file's contents; nothing when it does not exist.
  std::optional<std::string> contents(const std::string& path) const;
  void put(const std::string& path, std::string contents);

 private:
  class Appender;
  mutable std::mutex mutex_;
  std::map<std::string, std::string> files_;
};

// What the service answers one request with.
struct Answer {
  long status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  // The request never got an answer: the URL-loading system's failure
  // (could not connect) instead of a response.
  bool unreachable = false;
};
using Answerer = std::function<Answer(const platform::HttpRequest& request)>;

// Holds each request until the target answers it, as the network would
// some time later on a thread of its own.
class ScriptedTransport : public platform::HttpTransport {
 public:
  void perform(platform::HttpRequest request, platform::HttpCompletion completion) override;
  // Answers the requests waiting now; returns how many there were.
  std::size_t answer(const Answerer& answerer);

 private:
  std::mutex mutex_;
  std::vector<std::pair<platform::HttpRequest, platform::HttpCompletion>> waiting_;
};

// The body of a request as the service reads it: inflated when it was sent
// compressed. Nothing when it cannot be read.
std::optional<Json> RequestJson(const platform::HttpRequest& request);
bool IsConfigRequest(const platform::HttpRequest& request);

// The service's ordinary answers: the app's configuration (empty) and, for
// a batch of events, one empty response per event.
Answer OrdinaryAnswer(const platform::HttpRequest& request);

// An app on the simulated host with the SDK behind the real façade, its
// files in memory and its network scripted. The façade is made by
// `launch`, so that a target can put files in place first.
class SimulatedApp {
 public:
  explicit SimulatedApp(std::shared_ptr<MemoryFileSystem> files = std::make_shared<MemoryFileSystem>());
  ~SimulatedApp();
  SimulatedApp(const SimulatedApp&) = delete;
  SimulatedApp& operator=(const SimulatedApp&) = delete;

  // The client configuration an app starts the SDK with.
  static Json ClientConfiguration();

  platform::sim::SimPlatform& sim() { return *sim_; }
  MemoryFileSystem& files() { return *files_; }
  const std::shared_ptr<MemoryFileSystem>& filesPtr() const { return files_; }
  TSRUtilityDI& environment() { return *environment_; }
  const std::shared_ptr<TSRUtilityDI>& environmentPtr() const { return environment_; }
  // The path of one of the SDK's files in its private directory.
  std::string pathOf(const std::string& filename);

  // The app finishes launching and becomes active, with the façade made.
  TessarinImpl& launch();
  TessarinImpl& sdk() { return *facade_; }
  // startWithConfiguration, then the main queue runs; the user touches the
  // app, so that its contexts are active.
  void start(const Json& client = ClientConfiguration());
  // Answers requests, and the requests those answers lead to, for at most
  // `rounds` rounds, running the main queue after each.
  void answerRequests(const Answerer& answerer, int rounds = 4);
  void advance(double seconds);

 private:
  std::shared_ptr<platform::sim::SimPlatform> sim_;
  std::shared_ptr<MemoryFileSystem> files_;
  std::shared_ptr<ScriptedTransport> transport_;
  std::shared_ptr<TSRUtilityDI> environment_;
  std::shared_ptr<TessarinImpl> facade_;
};

// A JSON value of the input, or nothing when it is not JSON.
std::optional<Json> ParseJson(std::string_view input);

}  // namespace tessarin::fuzz

#endif  // TESSARIN_TESTS_FUZZ_FUZZ_SUPPORT_H_

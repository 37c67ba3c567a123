#include "fuzz_support.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "fuzz_target.h"
#include "tessarin/log.h"
#include "transport/gzip.h"
#include "util/persistence.h"

namespace tessarin::fuzz {

void PrepareProcess() {
  static std::once_flag once;
  std::call_once(once, [] { TSRLogger::setWritesToStderr(std::getenv("TESSARIN_FUZZ_LOG") != nullptr); });
  // Every input: a configuration (the server's, a saved one) may set the
  // process's level, which must not carry over to the next input.
  TSRLogger::setLogLevel(TSRLogLevelDebug);
}

void Fail(const char* target, const char* what) {
  std::fprintf(stderr, "fuzz target %s: %s\n", target, what);
  std::abort();
}

// --- Files ---

class MemoryFileSystem::Appender : public platform::AppendFile {
 public:
  Appender(MemoryFileSystem& files, std::string path) : files_(files), path_(std::move(path)) {}
  platform::IoResult append(std::string_view data) override {
    std::lock_guard<std::mutex> lock(files_.mutex_);
    files_.files_[path_].append(data);
    return platform::IoResult::Success();
  }
  platform::IoResult sync() override { return platform::IoResult::Success(); }

 private:
  MemoryFileSystem& files_;
  std::string path_;
};

std::optional<std::string> MemoryFileSystem::applicationSupportDirectory(std::string*) { return kSupportDirectory; }

platform::IoResult MemoryFileSystem::createDirectory(const std::string&) { return platform::IoResult::Success(); }

bool MemoryFileSystem::fileExists(const std::string& path) {
  std::lock_guard<std::mutex> lock(mutex_);
  return files_.count(path) != 0;
}

platform::IoResult MemoryFileSystem::readFile(const std::string& path, std::string* contents) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = files_.find(path);
  if (found == files_.end()) return platform::IoResult::Failure(ENOENT, "no such file: " + path);
  *contents = found->second;
  return platform::IoResult::Success();
}

platform::IoResult MemoryFileSystem::writeFileAtomically(const std::string& path, const std::string& contents) {
  std::lock_guard<std::mutex> lock(mutex_);
  files_[path] = contents;
  return platform::IoResult::Success();
}

platform::IoResult MemoryFileSystem::removeFile(const std::string& path) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (files_.erase(path) == 0) return platform::IoResult::Failure(ENOENT, "no such file: " + path);
  return platform::IoResult::Success();
}

platform::IoResult MemoryFileSystem::excludeFromBackup(const std::string&) { return platform::IoResult::Success(); }

std::unique_ptr<platform::AppendFile> MemoryFileSystem::openForAppend(const std::string& path,
                                                                      platform::IoResult* result) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    files_[path];
  }
  if (result) *result = platform::IoResult::Success();
  return std::make_unique<Appender>(*this, path);
}

std::optional<std::string> MemoryFileSystem::contents(const std::string& path) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = files_.find(path);
  if (found == files_.end()) return std::nullopt;
  return found->second;
}

void MemoryFileSystem::put(const std::string& path, std::string contents) {
  std::lock_guard<std::mutex> lock(mutex_);
  files_[path] = std::move(contents);
}

// --- The network ---

void ScriptedTransport::perform(platform::HttpRequest request, platform::HttpCompletion completion) {
  std::lock_guard<std::mutex> lock(mutex_);
  waiting_.emplace_back(std::move(request), std::move(completion));
}

std::size_t ScriptedTransport::answer(const Answerer& answerer) {
  std::vector<std::pair<platform::HttpRequest, platform::HttpCompletion>> now;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    now.swap(waiting_);
  }
  for (auto& [request, completion] : now) {
    Answer answer = answerer(request);
    if (answer.unreachable) {
      completion(std::nullopt, "",
                 platform::TransportFailure{-1004, "Could not connect to the server.", "connection refused"});
      continue;
    }
    platform::HttpResponse response;
    response.statusCode = answer.status;
    response.url = request.url;
    response.headers = std::move(answer.headers);
    completion(response, std::move(answer.body), std::nullopt);
  }
  return now.size();
}

std::optional<Json> RequestJson(const platform::HttpRequest& request) {
  std::optional<std::string> body = request.body;
  for (const auto& [name, value] : request.headers) {
    if (name == "Content-Encoding" && value == "gzip") body = tsr_dataByGZipDecompressingDataWithError(request.body);
  }
  if (!body) return std::nullopt;
  return ParseJson(*body);
}

bool IsConfigRequest(const platform::HttpRequest& request) {
  // The configuration is the only request without a body.
  return request.method == "GET";
}

Answer OrdinaryAnswer(const platform::HttpRequest& request) {
  if (IsConfigRequest(request)) return {200, {}, "{}"};
  Json responses = Json::array();
  if (std::optional<Json> events = RequestJson(request); events && events->is_array()) {
    for (std::size_t i = 0; i < events->size(); ++i) responses.push_back(Json::object());
  }
  return {200, {}, JsonDump(responses)};
}

std::optional<Json> ParseJson(std::string_view input) {
  Json json = Json::parse(input.begin(), input.end(), nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) return std::nullopt;
  return json;
}

// --- The app ---

SimulatedApp::SimulatedApp(std::shared_ptr<MemoryFileSystem> files)
    // Rooted in a directory that is never made: every file is in memory.
    : sim_(std::make_shared<platform::sim::SimPlatform>(MemoryFileSystem::kRoot)),
      files_(std::move(files)),
      transport_(std::make_shared<ScriptedTransport>()) {
  sim_->setFileSystem(files_);
  sim_->setHttpTransport(transport_);
  environment_ = std::make_shared<TSRUtilityDI>(sim_);
}

SimulatedApp::~SimulatedApp() {
  facade_.reset();
  sim_->runUntilIdle();
  environment_.reset();
  sim_.reset();
}

Json SimulatedApp::ClientConfiguration() {
  return Json{{"account", "fuzz"}, {"dataset", "shop"}, {"domain", "127.0.0.1"},
              {"protocol", "http"}, {"port", 9},        {"useCDN", false}};
}

std::string SimulatedApp::pathOf(const std::string& filename) {
  return environment_->persistence().pathForFilename(filename).value_or(filename);
}

TessarinImpl& SimulatedApp::launch() {
  facade_ = TessarinImpl::createWithEnvironment(environment_);
  sim_->launchApp();
  sim_->runUntilIdle();
  return *facade_;
}

void SimulatedApp::start(const Json& client) {
  facade_->startWithConfiguration(client);
  sim_->runUntilIdle();
  sim_->app().sendEvent();
  sim_->runUntilIdle();
}

void SimulatedApp::answerRequests(const Answerer& answerer, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    sim_->runUntilIdle();
    if (transport_->answer(answerer) == 0) break;
    sim_->runUntilIdle();
  }
}

void SimulatedApp::advance(double seconds) { sim_->advance(seconds); }

}  // namespace tessarin::fuzz

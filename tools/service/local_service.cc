#include "service/local_service.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>
#include <string_view>

#include "service/campaign_json.h"
#include "service/console_model.h"
#include "service/console_page.h"
#include "tessarin/events.h"

namespace tessarin::service {
namespace {

// Headers whose presence or value says something about the SDK's requests.
constexpr const char* kHeadersOfInterest[] = {
    "Content-Type", "Content-Encoding", "Content-Length", "If-Modified-Since",
    "Accept", "Accept-Encoding", "User-Agent", "Cookie",
};

constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

Json ParseOrNull(const std::string& text) {
  Json parsed = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  return parsed.is_discarded() ? Json() : parsed;
}

Json Reason(const std::string& reason) { return Json{{"reason", reason}}; }

// Each open console stream holds one of the server's worker threads for as
// long as the page stays open; beyond these the page polls instead, so that
// forgotten tabs cannot starve the SDK's own requests.
constexpr int kMaxConsoleStreams = 4;
// An idle stream still says something now and then, so that a page whose
// connection silently died finds out and reconnects.
constexpr std::chrono::seconds kConsoleHeartbeat{15};

std::uint32_t BigEndian32(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// A PNG starts with its signature and then the IHDR chunk, whose first
// eight bytes are the width and height.
void ReadPngSize(const std::string& png, int& width, int& height) {
  static constexpr char kSignature[] = "\x89PNG\r\n\x1a\n";
  if (png.size() < 24 || png.compare(0, 8, kSignature, 8) != 0 || png.compare(12, 4, "IHDR") != 0) return;
  std::uint32_t w = BigEndian32(png, 16);
  std::uint32_t h = BigEndian32(png, 20);
  if (w > 0x7fffffffu || h > 0x7fffffffu) return;  // not a valid PNG size
  width = static_cast<int>(w);
  height = static_cast<int>(h);
}

// An upload's info carries the screen's description as JSON text under
// ".vcd"; the screenshot is the image part.
UploadedScreen ScreenFromUpload(const RecordedRequest& record) {
  UploadedScreen screen;
  screen.received = record.received;
  screen.dataset = record.dataset;
  screen.info = record.body;
  if (record.body.is_object()) {
    auto description = record.body.find(TSREvent_viewControllerDescription);
    if (description != record.body.end() && description->is_string()) {
      screen.descriptionText = description->get<std::string>();
      screen.description = ParseOrNull(screen.descriptionText);
    } else if (description != record.body.end()) {
      screen.description = *description;
      screen.descriptionText = JsonDump(*description);
    }
  }
  for (const auto& part : record.parts) {
    if (part.name == "image" || part.contentType.rfind("image/", 0) == 0) {
      screen.png = part.content;
      break;
    }
  }
  ReadPngSize(screen.png, screen.width, screen.height);
  return screen;
}

bool SameAddress(const sockaddr_storage& address, const std::string& host, int port) {
  char text[INET6_ADDRSTRLEN] = {};
  int found_port = -1;
  if (address.ss_family == AF_INET) {
    const auto& in = reinterpret_cast<const sockaddr_in&>(address);
    inet_ntop(AF_INET, &in.sin_addr, text, sizeof text);
    found_port = ntohs(in.sin_port);
  } else if (address.ss_family == AF_INET6) {
    const auto& in6 = reinterpret_cast<const sockaddr_in6&>(address);
    inet_ntop(AF_INET6, &in6.sin6_addr, text, sizeof text);
    found_port = ntohs(in6.sin6_port);
  } else {
    return false;
  }
  return found_port == port && host == text;
}

// The descriptor of the connection a request arrived on: the TLS session's,
// or else the socket whose two ends are the request's. -1 when none is.
int ConnectionSocket(const httplib::Request& request) {
  if (request.ssl) return SSL_get_fd(request.ssl);
  DIR* fds = opendir("/proc/self/fd");
  if (!fds) return -1;
  int found = -1;
  while (dirent* entry = readdir(fds)) {
    int fd = std::atoi(entry->d_name);
    struct stat info;
    if (fd <= 2 || fstat(fd, &info) != 0 || !S_ISSOCK(info.st_mode)) continue;
    sockaddr_storage local{}, remote{};
    socklen_t local_size = sizeof local, remote_size = sizeof remote;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &local_size) != 0 ||
        getpeername(fd, reinterpret_cast<sockaddr*>(&remote), &remote_size) != 0) {
      continue;
    }
    if (SameAddress(local, request.local_addr, request.local_port) &&
        SameAddress(remote, request.remote_addr, request.remote_port)) {
      found = fd;
      break;
    }
  }
  closedir(fds);
  return found;
}

// Aborts a TCP connection with a reset, as a crashing server or a middlebox
// does: dissolving the socket's association sends RST at once (rather than
// the FIN a close would send first), and the descriptor stays the server's
// to close as usual.
void ResetConnection(int socket) {
  if (socket < 0) return;
  sockaddr unspecified{};
  unspecified.sa_family = AF_UNSPEC;
  connect(socket, &unspecified, sizeof unspecified);
}

}  // namespace

const char* EndpointName(Endpoint endpoint) {
  switch (endpoint) {
    case Endpoint::kEvents: return "events";
    case Endpoint::kAppConfig: return "appConfig";
    case Endpoint::kConnect: return "connect";
    case Endpoint::kUploadScreen: return "uploadScreen";
    case Endpoint::kUnknown: break;
  }
  return "unknown";
}

std::string RecordedRequest::header(const std::string& name) const {
  auto it = headers.find(name);
  return it == headers.end() ? std::string() : it->second;
}

Json RecordedRequest::toJson() const {
  Json json = Json::object();
  json["endpoint"] = EndpointName(endpoint);
  json["method"] = method;
  json["path"] = path;
  json["query"] = Json::object();
  for (const auto& [key, value] : query) json["query"][key] = value;
  json["headers"] = Json::object();
  for (const auto& [key, value] : headers) json["headers"][key] = value;
  if (!dataset.empty()) json["dataset"] = dataset;
  if (!configParams.empty()) json["configParams"] = configParams;
  json["body"] = body;
  if (!bodyText.empty()) json["bodyText"] = bodyText;
  if (!parts.empty()) {
    Json list = Json::array();
    for (const auto& part : parts) {
      list.push_back({{"name", part.name}, {"contentType", part.contentType}, {"size", part.content.size()}});
    }
    json["parts"] = std::move(list);
  }
  json["status"] = status;
  if (dropped) json["dropped"] = true;
  if (faulted) json["faulted"] = true;
  return json;
}

LocalService::LocalService() : LocalService(Options()) {}
LocalService::LocalService(Options options)
    : options_(std::move(options)), console_(std::make_unique<ConsoleModel>()) {}

LocalService::~LocalService() {
  stop();
  if (ownsCertificate_) RemoveCertificateFiles(certificate_);
}

bool LocalService::start() {
  if (server_) return true;
  if (options_.https) {
    // Each start has its own identity, unless the options name one to keep.
    if (ownsCertificate_) RemoveCertificateFiles(certificate_);
    ownsCertificate_ = false;
    if (!options_.certificate.certificatePath.empty()) {
      certificate_ = options_.certificate;
    } else {
      if (!GenerateSelfSignedCertificate(certificate_, error_, options_.certificateNames)) return false;
      ownsCertificate_ = true;
    }
    auto tls = std::make_unique<httplib::SSLServer>(certificate_.certificatePath.c_str(),
                                                    certificate_.keyPath.c_str());
    if (!tls->is_valid()) {
      error_ = "cannot load the certificate";
      return false;
    }
    server_ = std::move(tls);
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  if (!options_.recordPath.empty()) {
    recordFile_ = std::fopen(options_.recordPath.c_str(), "a");
    if (!recordFile_) {
      error_ = "cannot open record file " + options_.recordPath;
      server_.reset();
      return false;
    }
  }
  // Answers go out at once rather than waiting for the client's next
  // acknowledgement: a busy SDK sends batch after batch on one connection.
  server_->set_tcp_nodelay(true);
  // An idle kept-alive connection is closed after a second: stopping the
  // service waits for its open connections, and an SDK reconnects at once.
  server_->set_keep_alive_timeout(1);
  // A connection carries any number of requests while it is busy, as a
  // production service's does; the library's default closes it after every
  // fifth, and a draining SDK would open a connection per 250 events.
  server_->set_keep_alive_max_count(100000);
  installRoutes();
  port_ = options_.port == 0 ? server_->bind_to_any_port(options_.host.c_str())
                             : (server_->bind_to_port(options_.host.c_str(), options_.port) ? options_.port : -1);
  if (port_ <= 0) {
    error_ = "cannot bind " + options_.host + ":" + std::to_string(options_.port);
    server_.reset();
    return false;
  }
  {
    std::lock_guard lock(mutex_);
    stopping_ = false;
    consoleInstance_ = std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  // The socket already accepts connections into its backlog; waiting for the
  // accept loop only makes sure a prompt stop() finds it running.
  while (!server_->is_running()) std::this_thread::yield();
  return true;
}

void LocalService::stop() {
  if (!server_) return;
  // Open console streams wait on `changed_` and end when they see
  // `stopping_`: the server joins its workers, so a stream left waiting
  // would hold stop() up for as long as the page stayed open.
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  server_->stop();
  if (thread_.joinable()) thread_.join();
  server_.reset();
  if (recordFile_) {
    std::fclose(recordFile_);
    recordFile_ = nullptr;
  }
}

std::string LocalService::baseUrl() const {
  return std::string(options_.https ? "https" : "http") + "://" + options_.host + ":" + std::to_string(port_);
}

void LocalService::installRoutes() {
  auto route = [this](Endpoint endpoint) {
    return [this, endpoint](const httplib::Request& request, httplib::Response& response) {
      handle(endpoint, request, response);
    };
  };
  // The SDK appends an empty path component to each endpoint before adding
  // its own, so a trailing slash is accepted everywhere.
  server_->Post(R"(/mr/dataset/([^/]+)/?)", route(Endpoint::kEvents));
  server_->Get(R"(/api/dataset/([^/]+)/appConfig((?:/[^/]*)*))", route(Endpoint::kAppConfig));
  server_->Post(R"(/api/dataset/([^/]+)/mobileEditor/connect/?)", route(Endpoint::kConnect));
  server_->Post(R"(/api/dataset/([^/]+)/mobileEditor/uploadScreen/?)", route(Endpoint::kUploadScreen));
  installConsoleRoutes();
  server_->Get(R"(.*)", route(Endpoint::kUnknown));
  server_->Post(R"(.*)", route(Endpoint::kUnknown));
}

namespace {

// The number of elements of a JSON array text, or nothing when the text is
// not one array. Only the structure is followed (strings, nesting); what
// the elements hold is not checked.
std::optional<std::size_t> CountArrayElements(std::string_view text) {
  std::size_t i = text.find_first_not_of(" \t\r\n");
  if (i == std::string_view::npos || text[i] != '[') return std::nullopt;
  std::size_t depth = 0, commas = 0;
  bool sawElement = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    if (c == '"') {
      for (++i; i < text.size() && text[i] != '"'; ++i) {
        if (text[i] == '\\') ++i;
      }
      if (i >= text.size()) return std::nullopt;
      if (depth == 1) sawElement = true;
    } else if (c == '[' || c == '{') {
      if (depth == 1) sawElement = true;
      ++depth;
    } else if (c == ']' || c == '}') {
      if (depth == 0) return std::nullopt;
      if (--depth == 0) break;
    } else if (depth == 1 && c == ',') {
      ++commas;
    } else if (depth == 1 && c != ' ' && c != '\t' && c != '\r' && c != '\n') {
      sawElement = true;
    }
  }
  if (depth != 0 || i >= text.size() || text.find_first_not_of(" \t\r\n", i + 1) != std::string_view::npos) {
    return std::nullopt;
  }
  return sawElement ? commas + 1 : 0;
}

}  // namespace

LocalService::Counts LocalService::counts() const {
  std::lock_guard lock(mutex_);
  return counts_;
}

void LocalService::handle(Endpoint endpoint, const httplib::Request& request, httplib::Response& response) {
  const std::uint64_t wireBytes = std::strtoull(request.get_header_value("Content-Length").c_str(), nullptr, 10);
  if (options_.countOnly && endpoint == Endpoint::kEvents) {
    std::optional<std::size_t> count = CountArrayElements(request.body);
    {
      std::lock_guard lock(mutex_);
      ++counts_.requests;
      counts_.events += count.value_or(0);
      counts_.wireBytes += wireBytes;
    }
    if (!request.has_param("_ak") || request.get_param_value("_ak").empty()) {
      response.status = 400;
      response.set_content(JsonDump(Reason("Missing account key.")), "application/json");
    } else if (!count) {
      response.status = 400;
      response.set_content(JsonDump(Reason("Expected a JSON array of events.")), "application/json");
    } else {
      static const std::string kResponse = JsonDump(EventResponse());
      std::string text = "[";
      text.reserve(1 + *count * (kResponse.size() + 1));
      for (std::size_t n = 0; n < *count; ++n) {
        if (n > 0) text += ',';
        text += kResponse;
      }
      text += ']';
      response.status = 200;
      response.set_content(text, "application/json");
    }
    return;
  }
  RecordedRequest record;
  record.endpoint = endpoint;
  record.received = std::chrono::system_clock::now();
  record.method = request.method;
  record.path = request.path;
  for (const auto& [key, value] : request.params) record.query[key] = value;
  for (const char* name : kHeadersOfInterest) {
    if (request.has_header(name)) record.headers[name] = request.get_header_value(name);
  }
  if (endpoint != Endpoint::kUnknown && request.matches.size() > 1) record.dataset = request.matches[1];

  int status = 200;
  Json body;
  std::string lastModified;
  if (endpoint == Endpoint::kUnknown) {
    status = 404;
    body = Reason("Unknown endpoint.");
  } else if (record.query.count("_ak") == 0 || record.query["_ak"].empty()) {
    status = 400;
    body = Reason("Missing account key.");
  } else if (endpoint == Endpoint::kEvents) {
    answerEvents(record, request, status, body);
  } else if (endpoint == Endpoint::kAppConfig) {
    answerAppConfig(record, request, status, body, lastModified);
  } else {
    answerEditor(endpoint, record, request, status, body);
  }

  std::optional<Fault> fault = takeFault(endpoint);
  if (fault) {
    pause(fault->delay);
    if (fault->status != 0) {
      status = fault->status;
      body = fault->body;
      lastModified.clear();
    }
  }
  std::string text = body.is_null() ? std::string() : JsonDump(body);
  response.status = status;
  if (!lastModified.empty()) response.set_header("Last-Modified", lastModified);
  record.status = status;
  record.answer = body;
  record.faulted = fault.has_value();
  if (fault && (fault->dropConnection || fault->resetConnection)) {
    // Promise the whole answer, deliver half of it and give up: the client
    // sees its connection close (or reset) in the middle of the body.
    record.dropped = true;
    auto shared = std::make_shared<std::string>(std::move(text));
    std::size_t promised = std::max<std::size_t>(shared->size(), 2);
    bool reset = fault->resetConnection;
    int socket = reset ? ConnectionSocket(request) : -1;
    response.set_content_provider(promised, "application/json",
                                  [shared, reset, socket](std::size_t, std::size_t, httplib::DataSink& sink) {
                                    if (shared->size() >= 2) sink.write(shared->data(), shared->size() / 2);
                                    if (reset) ResetConnection(socket);
                                    return false;
                                  });
  } else if (!text.empty()) {
    response.set_content(text, "application/json");
  }
  // Only a screen whose upload the SDK saw succeed is kept: after a failure
  // it uploads the screen again.
  std::optional<UploadedScreen> screen;
  if (endpoint == Endpoint::kUploadScreen && status >= 200 && status < 300 && !record.dropped) {
    screen = ScreenFromUpload(record);
  }
  this->record(std::move(record), std::move(screen));
}

void LocalService::answerEvents(RecordedRequest& record, const httplib::Request& request, int& status,
                                Json& body) {
  // The transport has already undone a "Content-Encoding: gzip" body.
  record.body = ParseOrNull(request.body);
  if (!record.body.is_array()) {
    record.bodyText = request.body;
    record.body = Json();
    status = 400;
    body = Reason("Expected a JSON array of events.");
    return;
  }
  std::optional<BatchAnswer> queued;
  EventResponder responder;
  {
    std::lock_guard lock(mutex_);
    if (!batchAnswers_.empty()) {
      queued = std::move(batchAnswers_.front());
      batchAnswers_.pop_front();
    } else {
      responder = responder_;
    }
  }
  if (queued && queued->verbatim) {
    body = *queued->verbatim;
  } else if (queued) {
    body = generatedEventResponses(record.body, queued->campaigns);
  } else if (responder) {
    body = responder(record.body);
  } else {
    body = generatedEventResponses(record.body, Json::array());
  }
}

Json LocalService::generatedEventResponses(const Json& events, const Json& campaigns) const {
  Json members;
  {
    std::lock_guard lock(mutex_);
    members = responseTemplate_;
  }
  Json responses = Json::array();
  for (std::size_t i = 0; i < events.size(); ++i) {
    Json response = EventResponse();
    for (const auto& [key, value] : members.items()) response[key] = value;
    if (i + 1 == events.size() && campaigns.is_array()) {
      const Json& event = events[i];
      for (Json campaign : campaigns) {
        if (campaign.is_object() && !campaign.contains("routingId") && event.is_object() &&
            event.contains(".ri")) {
          campaign["routingId"] = event[".ri"];
        }
        response["campaignResponses"].push_back(std::move(campaign));
      }
    }
    responses.push_back(std::move(response));
  }
  return responses;
}

void LocalService::answerAppConfig(RecordedRequest& record, const httplib::Request& request, int& status,
                                   Json& body, std::string& lastModified) {
  std::string params = request.matches.size() > 2 ? std::string(request.matches[2]) : std::string();
  std::stringstream stream(params);
  std::string component;
  std::getline(stream, component, '/');  // the text before the first slash is empty
  while (std::getline(stream, component, '/')) record.configParams.push_back(component);
  bool complete = record.configParams.size() == 4;
  for (const auto& param : record.configParams) complete = complete && !param.empty();
  if (!complete) {
    status = 400;
    body = Reason("Expected os name, bundle id, bundle version and SDK version after appConfig.");
    return;
  }

  std::optional<AppConfig> config;
  {
    std::lock_guard lock(mutex_);
    auto it = appConfigs_.find(record.dataset);
    if (it == appConfigs_.end()) it = appConfigs_.find("*");
    if (it != appConfigs_.end()) config = it->second;
  }
  if (!config) {
    status = 404;
    body = Reason("Unknown dataset.");
    return;
  }
  lastModified = HttpDate(config->lastModified);
  auto since = ParseHttpDate(record.header("If-Modified-Since"));
  // HTTP dates carry whole seconds, so compare at that precision.
  auto modified = std::chrono::floor<std::chrono::seconds>(config->lastModified);
  if (since && modified <= *since) {
    status = 304;
    return;
  }
  status = 200;
  body = config->config;
}

void LocalService::answerEditor(Endpoint endpoint, RecordedRequest& record, const httplib::Request& request,
                                int& status, Json& body) {
  if (endpoint == Endpoint::kConnect) {
    record.body = ParseOrNull(request.body);
    if (record.body.is_null()) record.bodyText = request.body;
  } else {
    // The form-data parser keeps a part's name only when its
    // Content-Disposition carries nothing but name (and filename); the
    // screenshot part also says its size, so its name arrives empty and the
    // part is told apart by its content type.
    for (const auto& [key, file] : request.files) {
      record.parts.push_back({file.name, file.content_type, file.content});
      if (file.name == "meta") record.body = ParseOrNull(file.content);
    }
    if (record.parts.empty()) {
      status = 400;
      body = Reason("Expected a multipart upload.");
      return;
    }
  }
  std::lock_guard lock(mutex_);
  status = 200;
  body = endpoint == Endpoint::kConnect ? connectAnswer_ : uploadScreenAnswer_;
}

std::optional<Fault> LocalService::takeFault(Endpoint endpoint) {
  std::lock_guard lock(mutex_);
  auto queued = queuedFaults_.find(endpoint);
  if (queued != queuedFaults_.end() && !queued->second.empty()) {
    Fault fault = std::move(queued->second.front());
    queued->second.pop_front();
    return fault;
  }
  auto standing = standingFaults_.find(endpoint);
  if (standing != standingFaults_.end()) return standing->second;
  return std::nullopt;
}

void LocalService::pause(std::chrono::milliseconds delay) {
  if (delay.count() <= 0) return;
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, delay, [this] { return stopping_; });
}

void LocalService::record(RecordedRequest record, std::optional<UploadedScreen> screen) {
  std::lock_guard lock(mutex_);
  ++counts_.requests;
  if (record.endpoint == Endpoint::kEvents && record.body.is_array()) counts_.events += record.body.size();
  counts_.wireBytes += std::strtoull(record.header("Content-Length").c_str(), nullptr, 10);
  if (recordFile_) {
    std::string line = JsonDump(record.toJson()) + "\n";
    std::fwrite(line.data(), 1, line.size(), recordFile_);
    std::fflush(recordFile_);
  }
  console_->add(record);
  ++consoleVersion_;
  if (screen) {
    screen->sequence = screens_.size() + 1;
    screens_.push_back(std::move(*screen));
  }
  requests_.push_back(std::move(record));
  changed_.notify_all();
}

// --- Scripting ------------------------------------------------------------------

void LocalService::queueEventAnswer(Json body) {
  std::lock_guard lock(mutex_);
  batchAnswers_.push_back({std::move(body), Json()});
}

void LocalService::queueCampaigns(Json campaigns) {
  std::lock_guard lock(mutex_);
  batchAnswers_.push_back({std::nullopt, std::move(campaigns)});
}

void LocalService::setEventResponder(EventResponder responder) {
  std::lock_guard lock(mutex_);
  responder_ = std::move(responder);
}

void LocalService::setEventResponseTemplate(Json members) {
  std::lock_guard lock(mutex_);
  responseTemplate_ = members.is_object() ? std::move(members) : Json::object();
}

void LocalService::setAnonAffinityId(const std::string& anonAffinityId) {
  std::lock_guard lock(mutex_);
  if (anonAffinityId.empty()) {
    responseTemplate_.erase("anonAffinityId");
  } else {
    responseTemplate_["anonAffinityId"] = anonAffinityId;
  }
}

Json LocalService::EventResponse(Json campaigns, int errorCode, Json validationErrors,
                                 const std::string& anonAffinityId) {
  Json response = Json::object();
  response["campaignResponses"] = campaigns.is_array() ? std::move(campaigns) : Json::array();
  response["errorCode"] = errorCode;
  if (!validationErrors.is_null()) response["validationErrors"] = std::move(validationErrors);
  if (!anonAffinityId.empty()) response["anonAffinityId"] = anonAffinityId;
  return response;
}

Json LocalService::DataCampaign(const std::string& target, Json data, const std::string& campaignId,
                                const std::string& routingId) {
  Json message = {{"id", campaignId + "-msg"}, {"type", "tsr_md"}, {"targetName", target},
                  {"contentHash", campaignId + "-hash"}, {"dataMap", std::move(data)}};
  return CampaignWithMessage(campaignId, "mobileDataMessages", std::move(message), routingId);
}

Json LocalService::InAppMessageCampaign(Json message, const std::string& campaignId) {
  return CampaignWithMessage(campaignId, "mobileUiMessages", InAppMessage(std::move(message), campaignId),
                             kGlobalRoutingId);
}

void LocalService::setAppConfig(const std::string& dataset, Json config,
                                std::chrono::system_clock::time_point lastModified) {
  std::lock_guard lock(mutex_);
  appConfigs_[dataset] = {std::move(config), lastModified};
}

void LocalService::removeAppConfig(const std::string& dataset) {
  std::lock_guard lock(mutex_);
  appConfigs_.erase(dataset);
}

void LocalService::setConnectAnswer(Json body) {
  std::lock_guard lock(mutex_);
  connectAnswer_ = std::move(body);
}

void LocalService::setUploadScreenAnswer(Json body) {
  std::lock_guard lock(mutex_);
  uploadScreenAnswer_ = std::move(body);
}

void LocalService::queueFault(Endpoint endpoint, Fault fault) {
  std::lock_guard lock(mutex_);
  queuedFaults_[endpoint].push_back(std::move(fault));
}

void LocalService::setStandingFault(Endpoint endpoint, std::optional<Fault> fault) {
  std::lock_guard lock(mutex_);
  if (fault) {
    standingFaults_[endpoint] = std::move(*fault);
  } else {
    standingFaults_.erase(endpoint);
  }
}

// --- Recording ------------------------------------------------------------------

std::vector<RecordedRequest> LocalService::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<RecordedRequest> LocalService::requests(Endpoint endpoint) const {
  std::lock_guard lock(mutex_);
  std::vector<RecordedRequest> matching;
  for (const auto& request : requests_) {
    if (request.endpoint == endpoint) matching.push_back(request);
  }
  return matching;
}

bool LocalService::waitForRequests(std::size_t count, std::chrono::steady_clock::time_point deadline,
                                   std::optional<Endpoint> endpoint) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline, [&] {
    std::size_t seen = 0;
    for (const auto& request : requests_) {
      if (!endpoint || request.endpoint == *endpoint) ++seen;
    }
    return seen >= count;
  });
}

std::vector<Json> LocalService::campaignStats() const {
  std::lock_guard lock(mutex_);
  std::vector<Json> stats;
  for (const auto& request : requests_) {
    if (request.endpoint != Endpoint::kEvents || !request.body.is_array()) continue;
    for (const Json& event : request.body) {
      if (!event.is_object()) continue;
      auto text = event.find(TSREvent_campaignStats);
      if (text == event.end() || !text->is_string()) continue;
      Json payloads = ParseOrNull(text->get<std::string>());
      if (!payloads.is_array()) continue;
      for (Json& payload : payloads) stats.push_back(std::move(payload));
    }
  }
  return stats;
}

void LocalService::clearRequests() {
  std::lock_guard lock(mutex_);
  requests_.clear();
}

std::vector<RecordedRequest> LocalService::takeRequests() {
  std::lock_guard lock(mutex_);
  std::vector<RecordedRequest> taken;
  taken.swap(requests_);
  return taken;
}

std::vector<UploadedScreen> LocalService::uploadedScreens() const {
  std::lock_guard lock(mutex_);
  return screens_;
}

bool LocalService::waitForUploadedScreens(std::size_t count, std::chrono::steady_clock::time_point deadline) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline, [&] { return screens_.size() >= count; });
}

// --- Console --------------------------------------------------------------------

std::string LocalService::consoleUrl() const { return baseUrl() + "/"; }

Json LocalService::consoleJson() const {
  std::lock_guard lock(mutex_);
  Json json = {{"instance", consoleInstance_}, {"version", consoleVersion_}};
  Json sections = console_->toJson(screens_);
  for (auto& [key, value] : sections.items()) json[key] = std::move(value);
  return json;
}

void LocalService::installConsoleRoutes() {
  // The console's own requests are not the SDK's: they are answered here
  // and never recorded.
  server_->Get("/", [](const httplib::Request&, httplib::Response& response) {
    // The page is whole in itself; the policy keeps it that way.
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
                        "img-src 'self'; connect-src 'self'");
    response.set_header("Cache-Control", "no-store");
    response.set_content(std::string(ConsolePageHtml()), "text/html; charset=utf-8");
  });
  server_->Get("/console.json", [this](const httplib::Request&, httplib::Response& response) {
    response.set_header("Cache-Control", "no-store");
    response.set_content(JsonDump(consoleJson()), "application/json");
  });
  server_->Get("/console/stream",
               [this](const httplib::Request&, httplib::Response& response) { serveConsoleStream(response); });
  server_->Get(R"(/console/screens/(\d+)\.png)", [this](const httplib::Request& request, httplib::Response& response) {
    serveScreenImage(request, response);
  });
}

// Server-sent events: one message, {"instance": ..., "version": N}, at once
// and again whenever the console has taken in something new; the page then
// fetches /console.json.
void LocalService::serveConsoleStream(httplib::Response& response) {
  {
    std::lock_guard lock(mutex_);
    if (stopping_ || openStreams_ >= kMaxConsoleStreams) {
      response.status = 503;
      response.set_content(JsonDump(Reason("Too many console streams; poll /console.json.")), "application/json");
      return;
    }
    ++openStreams_;
  }
  response.set_header("Cache-Control", "no-store");
  auto sent = std::make_shared<std::optional<std::uint64_t>>();
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, sent](std::size_t, httplib::DataSink& sink) {
        std::unique_lock lock(mutex_);
        if (*sent) {
          bool news = changed_.wait_for(lock, kConsoleHeartbeat,
                                        [&] { return stopping_ || consoleVersion_ != **sent; });
          if (stopping_) return false;
          if (!news) {
            lock.unlock();
            static constexpr char kComment[] = ": idle\n\n";
            return sink.write(kComment, sizeof kComment - 1);
          }
        }
        if (stopping_) return false;
        std::string message = (*sent ? "" : "retry: 2000\n") + std::string("data: ") +
                              JsonDump(Json{{"instance", consoleInstance_}, {"version", consoleVersion_}}) + "\n\n";
        *sent = consoleVersion_;
        lock.unlock();
        return sink.write(message.data(), message.size());
      },
      [this](bool) {
        std::lock_guard lock(mutex_);
        --openStreams_;
      });
}

void LocalService::serveScreenImage(const httplib::Request& request, httplib::Response& response) const {
  std::string png;
  {
    std::size_t sequence = 0;
    try {
      sequence = std::stoul(request.matches[1]);
    } catch (const std::exception&) {
      // Too many digits: no such screen.
    }
    std::lock_guard lock(mutex_);
    if (sequence >= 1 && sequence <= screens_.size()) png = screens_[sequence - 1].png;
  }
  if (png.empty()) {
    response.status = 404;
    response.set_content(JsonDump(Reason("No such screen.")), "application/json");
    return;
  }
  // The same address holds another screen in the service's next run.
  response.set_header("Cache-Control", "no-cache");
  response.set_content(png, "image/png");
}

std::string LocalService::clientConfigurationHint() const {
  std::ostringstream text;
  text << "Point the SDK of a host app under development at this service with these\n"
       << "client configuration entries (next to its own \"account\" and \"dataset\"):\n"
       << "  \"domain\": \"" << options_.host << "\"\n"
       << "  \"protocol\": \"" << (options_.https ? "https" : "http") << "\"\n"
       << "  \"port\": " << (port_ > 0 ? std::to_string(port_) : std::string("<port>")) << "\n"
       << "  \"useCDN\": false\n";
  if (options_.https) {
    text << "and make the host trust the certificate "
         << (certificate_.certificatePath.empty() ? std::string("printed at start") : certificate_.certificatePath)
         << "\n";
  }
  return text.str();
}

// --- HTTP dates -----------------------------------------------------------------

std::string LocalService::HttpDate(std::chrono::system_clock::time_point time) {
  std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[40];
  std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[utc.tm_wday], utc.tm_mday,
                kMonths[utc.tm_mon], utc.tm_year + 1900, utc.tm_hour, utc.tm_min, utc.tm_sec);
  return text;
}

std::optional<std::chrono::system_clock::time_point> LocalService::ParseHttpDate(const std::string& text) {
  char day[4] = {}, month[4] = {}, zone[4] = {};
  std::tm utc{};
  if (std::sscanf(text.c_str(), "%3s, %d %3s %d %d:%d:%d %3s", day, &utc.tm_mday, month, &utc.tm_year,
                  &utc.tm_hour, &utc.tm_min, &utc.tm_sec, zone) != 8 ||
      std::string(zone) != "GMT") {
    return std::nullopt;
  }
  utc.tm_mon = -1;
  for (int i = 0; i < 12; ++i) {
    if (month == std::string(kMonths[i])) utc.tm_mon = i;
  }
  if (utc.tm_mon < 0) return std::nullopt;
  utc.tm_year -= 1900;
  std::time_t seconds = timegm(&utc);
  if (seconds == -1) return std::nullopt;
  return std::chrono::system_clock::from_time_t(seconds);
}

}  // namespace tessarin::service

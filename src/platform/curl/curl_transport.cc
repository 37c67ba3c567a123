#include "platform/curl/curl_transport.h"

#include <curl/curl.h>
#include <pthread.h>
#include <strings.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <deque>
#include <exception>
#include <mutex>
#include <string_view>
#include <thread>
#include <unordered_map>

namespace tessarin::platform::curl {
namespace {

void InitCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n')) {
    text.remove_suffix(1);
  }
  return text;
}

std::string HostOf(const char* url) {
  std::string host;
  if (url == nullptr) return host;
  CURLU* parsed = curl_url();
  char* part = nullptr;
  if (parsed && curl_url_set(parsed, CURLUPART_URL, url, 0) == CURLUE_OK &&
      curl_url_get(parsed, CURLUPART_HOST, &part, 0) == CURLUE_OK) {
    host = part;
    curl_free(part);
  }
  if (parsed) curl_url_cleanup(parsed);
  return host;
}

// A completion must not take the network thread down with it.
void Complete(const HttpCompletion& completion, const std::optional<HttpResponse>& response, std::string body,
              const std::optional<TransportFailure>& failure) {
  if (!completion) return;
  try {
    completion(response, std::move(body), failure);
  } catch (...) {
    // Whatever the completion threw, std::exception or not.
  }
}

struct Pending {
  HttpRequest request;
  HttpCompletion completion;
};

// One request in flight: the easy handle and everything it points into.
struct Transfer {
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  HttpRequest request;  // the body is sent from here, in place
  HttpCompletion completion;
  HttpResponse response;
  std::string body;
  std::size_t maxBody = 0;
  bool bodyTooLarge = false;
  char error[CURL_ERROR_SIZE] = {};

  ~Transfer() {
    if (headers) curl_slist_free_all(headers);
    if (easy) curl_easy_cleanup(easy);
  }
};

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  if (size * count > transfer->maxBody - std::min(transfer->maxBody, transfer->body.size())) {
    transfer->bodyTooLarge = true;
    return 0;  // ends the transfer with a write error
  }
  transfer->body.append(data, size * count);
  return size * count;
}

size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  std::string_view line = Trim(std::string_view(data, size * count));
  if (line.starts_with("HTTP/")) {
    // A new status line (after a redirect or an interim answer): only the
    // final answer's headers are the response's.
    transfer->response.headers.clear();
  } else if (auto colon = line.find(':'); colon != std::string_view::npos && colon > 0) {
    transfer->response.headers.emplace_back(std::string(line.substr(0, colon)),
                                            std::string(Trim(line.substr(colon + 1))));
  }
  return size * count;
}

}  // namespace

class CurlTransport::Engine {
 public:
  explicit Engine(CurlTransportOptions options) : options_(std::move(options)) {
    InitCurlOnce();
    multi_ = curl_multi_init();
    curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, options_.maxHostConnections);
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 4 * options_.maxHostConnections);
  }

  ~Engine() {
    if (multi_) curl_multi_cleanup(multi_);
  }

  void submit(HttpRequest request, HttpCompletion completion) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (!finished_) {
        incoming_.push_back({std::move(request), std::move(completion)});
        curl_multi_wakeup(multi_);
        return;
      }
    }
    // The network thread is gone: nothing will ever run this request.
    Complete(completion, std::nullopt, {}, CancelledTransportFailure());
  }

  void stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    curl_multi_wakeup(multi_);
  }

  long connectionsOpened() const { return connections_opened_.load(); }

  void run() {
    // Named, so that a host's profiler or `top -H` can tell it apart.
    pthread_setname_np(pthread_self(), "tessarin.curl");
    for (;;) {
      std::deque<Pending> incoming;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) break;
        incoming.swap(incoming_);
      }
      for (auto& pending : incoming) start(std::move(pending));
      int running = 0;
      curl_multi_perform(multi_, &running);
      int left = 0;
      while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg == CURLMSG_DONE) finish(message->easy_handle, message->data.result);
      }
      curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
    // Shutting down: every request still pending is cancelled, here, on the
    // network thread, as its completion promises.
    for (auto& [easy, transfer] : active_) {
      curl_multi_remove_handle(multi_, easy);
      Complete(transfer->completion, std::nullopt, {}, CancelledTransportFailure());
    }
    active_.clear();
    std::deque<Pending> incoming;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      finished_ = true;
      incoming.swap(incoming_);
    }
    for (auto& pending : incoming) Complete(pending.completion, std::nullopt, {}, CancelledTransportFailure());
  }

 private:
  void start(Pending pending) {
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(pending.request);
    transfer->completion = std::move(pending.completion);
    transfer->maxBody = options_.maxResponseBytes;
    transfer->easy = curl_easy_init();
    if (!transfer->easy) {
      Complete(transfer->completion, std::nullopt, {}, TransportFailureForCurlResult(CurlResult{.code = CURLE_OUT_OF_MEMORY, .host = {}}));
      return;
    }
    configure(*transfer);
    CURL* easy = transfer->easy;
    if (curl_multi_add_handle(multi_, easy) != CURLM_OK) {
      Complete(transfer->completion, std::nullopt, {}, TransportFailureForCurlResult(CurlResult{.code = CURLE_FAILED_INIT, .host = {}}));
      return;
    }
    active_.emplace(easy, std::move(transfer));
  }

  void configure(Transfer& transfer) {
    CURL* easy = transfer.easy;
    const HttpRequest& request = transfer.request;
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.error);
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);

    // The server's identity is always checked; only the trust anchors vary.
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (!options_.caInfoPath.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, options_.caInfoPath.c_str());

    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, options_.maxRedirects);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::llround(options_.connectTimeout * 1000)));
    if (options_.idleTimeout > 0) {
      curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
      curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, static_cast<long>(std::ceil(options_.idleTimeout)));
    }
    if (options_.totalTimeout > 0) {
      curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(std::llround(options_.totalTimeout * 1000)));
    }
    curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    // Answers may come gzip-compressed and are decoded here. Only gzip is
    // offered: the answers are small, and a heavier coding would cost the
    // service more time per batch than it saves on the wire.
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip");

    bool expect_given = false;
    for (const auto& [name, value] : request.headers) {
      // "Name;" is how an empty value is sent; "Name:" would remove the header.
      std::string line = value.empty() ? name + ";" : name + ": " + value;
      transfer.headers = curl_slist_append(transfer.headers, line.c_str());
      if (strcasecmp(name.c_str(), "Expect") == 0) expect_given = true;
    }
    // Bodies go out at once rather than after a "100 Continue" round trip.
    if (!expect_given) transfer.headers = curl_slist_append(transfer.headers, "Expect:");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers);

    if (request.method == "GET") {
      curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    } else if (request.method == "HEAD") {
      curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else {
      if (request.method == "POST") {
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
      } else {
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
      }
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
    }

    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
  }

  void finish(CURL* easy, CURLcode result) {
    auto found = active_.find(easy);
    if (found == active_.end()) return;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    active_.erase(found);
    curl_multi_remove_handle(multi_, easy);

    long connects = 0;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connects);
    connections_opened_ += connects;
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    char* effective_url = nullptr;
    curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &effective_url);

    std::optional<HttpResponse> response;
    if (status != 0) {
      response = std::move(transfer->response);
      response->statusCode = status;
      response->url = effective_url ? effective_url : transfer->request.url;
    }
    if (result == CURLE_OK) {
      Complete(transfer->completion, response, std::move(transfer->body), std::nullopt);
      return;
    }
    CurlResult outcome;
    outcome.code = result;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &outcome.osErrno);
    curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &outcome.verifyResult);
    outcome.host = HostOf(effective_url ? effective_url : transfer->request.url.c_str());
    outcome.bodyTooLarge = transfer->bodyTooLarge;
    if (result == CURLE_COULDNT_RESOLVE_HOST && options_.networkOffline) outcome.offline = options_.networkOffline();
    Complete(transfer->completion, response, {}, TransportFailureForCurlResult(outcome));
  }

  const CurlTransportOptions options_;
  CURLM* multi_ = nullptr;
  std::atomic<long> connections_opened_{0};
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> active_;  // network thread only

  std::mutex mutex_;
  std::deque<Pending> incoming_;
  bool stopping_ = false;
  bool finished_ = false;
};

CurlTransport::CurlTransport(CurlTransportOptions options)
    : engine_(std::make_shared<Engine>(std::move(options))) {
  // The thread shares the engine: when the transport's last owner lets go
  // on the network thread itself (inside a completion), the thread cannot
  // be joined, and finishes its loop on an engine that is still alive.
  thread_ = std::thread([engine = engine_] { engine->run(); });
}

CurlTransport::~CurlTransport() {
  engine_->stop();
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void CurlTransport::perform(HttpRequest request, HttpCompletion completion) {
  engine_->submit(std::move(request), std::move(completion));
}

long CurlTransport::connectionsOpened() const { return engine_->connectionsOpened(); }

}  // namespace tessarin::platform::curl

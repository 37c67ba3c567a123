// The libcurl transport over real loopback sockets, against the local
// service (and, for redirects, a tiny server of the test's own).
#include "platform/curl/curl_transport.h"

#include <curl/curl.h>
#include <errno.h>
#include <httplib.h>
#include <openssl/x509_vfy.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "service/local_service.h"
#include "transport/gzip.h"

namespace tessarin::platform::curl {
namespace {

using service::Endpoint;
using service::Fault;
using service::LocalService;
using std::chrono::milliseconds;

// One completion, waited for with a deadline.
struct Outcome {
  std::mutex mutex;
  std::condition_variable done_cv;
  int calls = 0;
  std::optional<HttpResponse> response;
  std::string body;
  std::optional<TransportFailure> failure;
  std::thread::id thread;

  HttpCompletion completion() {
    return [this](const std::optional<HttpResponse>& r, std::string b, const std::optional<TransportFailure>& f) {
      std::lock_guard<std::mutex> lock(mutex);
      ++calls;
      response = r;
      body = std::move(b);
      failure = f;
      thread = std::this_thread::get_id();
      done_cv.notify_all();
    };
  }
  bool wait(std::chrono::seconds limit = std::chrono::seconds(10)) {
    std::unique_lock<std::mutex> lock(mutex);
    return done_cv.wait_for(lock, limit, [this] { return calls > 0; });
  }
};

CurlTransportOptions WithTotalTimeout(double seconds) {
  CurlTransportOptions options;
  options.totalTimeout = seconds;
  return options;
}

Fault Delay(milliseconds delay) {
  Fault fault;
  fault.delay = delay;
  return fault;
}

HttpRequest Get(const std::string& url) { return HttpRequest{"GET", url, {}, ""}; }

long FailureCode(Outcome& outcome) { return outcome.failure ? outcome.failure->code : 0; }

TEST(CurlFailureTableTest, EachCurlResultMapsToThePlatformCode) {
  struct Row {
    CurlResult result;
    long code;
  };
  auto row = [](int code, long os_errno, long verify, bool offline, long expected) {
    return Row{CurlResult{code, os_errno, verify, offline, "api.example"}, expected};
  };
  const Row rows[] = {
      row(CURLE_COULDNT_RESOLVE_HOST, 0, 0, false, -1003),
      row(CURLE_COULDNT_RESOLVE_HOST, 0, 0, true, -1009),
      row(CURLE_COULDNT_CONNECT, ECONNREFUSED, 0, false, -1004),
      row(CURLE_COULDNT_CONNECT, ENETUNREACH, 0, false, -1009),
      row(CURLE_COULDNT_CONNECT, ETIMEDOUT, 0, false, -1001),
      row(CURLE_OPERATION_TIMEDOUT, 0, 0, false, -1001),
      row(CURLE_TOO_MANY_REDIRECTS, 0, 0, false, -1007),
      row(CURLE_GOT_NOTHING, 0, 0, false, -1005),
      row(CURLE_PARTIAL_FILE, 0, 0, false, -1005),
      row(CURLE_RECV_ERROR, 0, 0, false, -1005),
      row(CURLE_SEND_ERROR, 0, 0, false, -1005),
      row(CURLE_PEER_FAILED_VERIFICATION, X509_V_ERR_HOSTNAME_MISMATCH, 0, false, -1202),
      row(CURLE_PEER_FAILED_VERIFICATION, 0, X509_V_ERR_HOSTNAME_MISMATCH, false, -1202),
      row(CURLE_PEER_FAILED_VERIFICATION, 0, X509_V_ERR_CERT_HAS_EXPIRED, false, -1201),
      row(CURLE_PEER_FAILED_VERIFICATION, 0, X509_V_ERR_CERT_NOT_YET_VALID, false, -1204),
      row(CURLE_PEER_FAILED_VERIFICATION, 0, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, false, -1203),
      row(CURLE_PEER_FAILED_VERIFICATION, 0, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, false, -1203),
      row(CURLE_SSL_CONNECT_ERROR, 0, 0, false, -1200),
      row(CURLE_SSL_CACERT_BADFILE, 0, 0, false, -1200),
      row(CURLE_SSL_CERTPROBLEM, 0, 0, false, -1206),
      row(CURLE_SSL_CLIENTCERT, 0, 0, false, -1206),
      row(CURLE_URL_MALFORMAT, 0, 0, false, -1000),
      row(CURLE_UNSUPPORTED_PROTOCOL, 0, 0, false, -1002),
      row(CURLE_WRITE_ERROR, 0, 0, false, -1),
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(::testing::Message() << "curl " << r.result.code << " errno " << r.result.osErrno << " verify "
                                      << r.result.verifyResult << " offline " << r.result.offline);
    EXPECT_EQ(TransportFailureForCurlResult(r.result).code, r.code);
  }
  EXPECT_EQ(TransportFailureForCurlResult(rows[0].result).description,
            "A server with the specified hostname could not be found.");
  EXPECT_EQ(TransportFailureForCurlResult(rows[15].result).description,
            "The certificate for this server was signed by an unknown certifying authority. You might be connecting "
            "to a server that is pretending to be \u201C" "api.example\u201D which could put your confidential "
            "information at risk.");
  EXPECT_EQ(CancelledTransportFailure().code, -999);
  EXPECT_EQ(CancelledTransportFailure().description, "cancelled");
}

class CurlTransportTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(service_.start()) << service_.error(); }
  std::string eventsUrl() const { return service_.baseUrl() + "/mr/dataset/ds/?_ak=acct"; }

  LocalService service_;
};

TEST_F(CurlTransportTest, PostsHeadersAndBodyAndCollectsTheAnswerOnTheNetworkThread) {
  CurlTransport transport;
  Json events = Json::array({{{"action", "launch"}}});
  auto gzipped = tsr_dataByGZipCompressingWithError(JsonDump(events));
  ASSERT_TRUE(gzipped);
  Outcome outcome;
  transport.perform({"POST", eventsUrl(),
                     {{"Content-Type", "application/json"}, {"Content-Encoding", "gzip"}},
                     *gzipped},
                    outcome.completion());
  ASSERT_TRUE(outcome.wait());
  EXPECT_NE(outcome.thread, std::this_thread::get_id());
  ASSERT_FALSE(outcome.failure) << outcome.failure->description;
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->statusCode, 200);
  EXPECT_EQ(outcome.response->url, eventsUrl());
  EXPECT_EQ(outcome.response->header("content-type"), "application/json");
  EXPECT_EQ(Json::parse(outcome.body).size(), 1u);

  auto recorded = service_.requests(Endpoint::kEvents);
  ASSERT_EQ(recorded.size(), 1u);
  EXPECT_EQ(recorded[0].body, events);
  EXPECT_EQ(recorded[0].header("Content-Encoding"), "gzip");
  EXPECT_EQ(recorded[0].header("Cookie"), "");
}

TEST_F(CurlTransportTest, ACompletionThatThrowsAnythingLeavesTheNetworkThreadServing) {
  CurlTransport transport;
  Outcome thrower, next;
  HttpCompletion record = thrower.completion();
  transport.perform(Get(service_.baseUrl() + "/nothing/here"),
                    [record](const std::optional<HttpResponse>& r, std::string b,
                             const std::optional<TransportFailure>& f) {
                      record(r, std::move(b), f);
                      throw 7;  // not a std::exception
                    });
  ASSERT_TRUE(thrower.wait());
  transport.perform(Get(service_.baseUrl() + "/nothing/here"), next.completion());
  ASSERT_TRUE(next.wait());
  ASSERT_TRUE(next.response);
  EXPECT_EQ(next.response->statusCode, 404);
}

TEST_F(CurlTransportTest, RealFailuresArriveAsThePlatformCodeAndText) {
  const std::string plain = "127.0.0.1:" + std::to_string(service_.port());
  service_.queueFault(Endpoint::kEvents, Fault{0, nullptr, {}, true});  // closed in the middle of the answer
  service_.queueFault(Endpoint::kEvents, Delay(milliseconds(5000)));    // silent
  const HttpRequest post{"POST", eventsUrl(), {{"Content-Type", "application/json"}}, "[{}]"};
  struct Case {
    HttpRequest request;
    long code;
    std::string description;
    bool quick;  // under the short timeout; a handshake may take longer under a sanitizer
  } cases[] = {
      {post, -1005, "The network connection was lost.", true},
      {post, -1001, "The request timed out.", true},
      {Get("http://bad host/"), -1000, "", true},
      {Get("https://" + plain + "/"), -1200, "", false},  // TLS to a plain server
  };
  CurlTransport quick(WithTotalTimeout(0.3));
  CurlTransport patient(WithTotalTimeout(3));
  for (const Case& c : cases) {
    Outcome outcome;
    const auto started = std::chrono::steady_clock::now();
    (c.quick ? quick : patient).perform(c.request, outcome.completion());
    ASSERT_TRUE(outcome.wait());
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(4));
    EXPECT_EQ(FailureCode(outcome), c.code) << c.description << c.request.url;
    if (!c.description.empty() && outcome.failure) {
      EXPECT_EQ(outcome.failure->description, c.description);
    }
  }

  // An answer larger than the transport takes (counted once decoded) ends
  // the transfer; the body is not kept.
  CurlTransportOptions small;
  small.maxResponseBytes = 64;
  CurlTransport limited(small);
  Outcome oversized;
  limited.perform(Get(service_.consoleUrl()), oversized.completion());
  ASSERT_TRUE(oversized.wait());
  EXPECT_EQ(FailureCode(oversized), -1103);
  EXPECT_EQ(oversized.failure->description, "resource exceeds maximum size");
  EXPECT_TRUE(oversized.body.empty());

  service_.stop();  // nothing listens there now
  Outcome refused;
  quick.perform(Get("http://" + plain + "/"), refused.completion());
  ASSERT_TRUE(refused.wait());
  ASSERT_EQ(FailureCode(refused), -1004);
  EXPECT_EQ(refused.failure->description, "Could not connect to the server.");
  EXPECT_FALSE(refused.response);
}

TEST(CurlTransportRedirectTest, EndlessRedirectsStopAtTheLimit) {
  httplib::Server server;
  server.Get("/loop", [](const httplib::Request&, httplib::Response& response) { response.set_redirect("/loop"); });
  int port = server.bind_to_any_port("127.0.0.1");
  ASSERT_GT(port, 0);
  std::thread serving([&] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::yield();
  {
    CurlTransportOptions options;
    options.maxRedirects = 3;
    CurlTransport transport(options);
    Outcome outcome;
    transport.perform(Get("http://127.0.0.1:" + std::to_string(port) + "/loop"), outcome.completion());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(FailureCode(outcome), -1007);
  }
  server.stop();
  serving.join();
}

TEST_F(CurlTransportTest, DestroyingTheTransportCancelsWhatIsPending) {
  service_.setStandingFault(Endpoint::kEvents, Delay(milliseconds(5000)));
  Outcome first, second;
  auto transport = std::make_unique<CurlTransport>();
  transport->perform({"POST", eventsUrl(), {}, "[]"}, first.completion());
  transport->perform({"POST", eventsUrl(), {}, "[]"}, second.completion());
  transport.reset();
  ASSERT_TRUE(first.wait(std::chrono::seconds(0)));
  ASSERT_TRUE(second.wait(std::chrono::seconds(0)));
  EXPECT_EQ(FailureCode(first), -999);
  EXPECT_EQ(FailureCode(second), -999);
  EXPECT_EQ(first.calls, 1);
  EXPECT_NE(first.thread, std::this_thread::get_id());
  service_.setStandingFault(Endpoint::kEvents, std::nullopt);
}

TEST(CurlTransportShutdownTest, LastOwnerLettingGoOnTheNetworkThreadDoesNotDeadlock) {
  // A transport whose last owner is a completion on its own network thread
  // must not try to join that thread.
  auto transport = std::make_shared<CurlTransport>();
  std::shared_ptr<CurlTransport> holder = transport;
  std::mutex m;
  std::condition_variable cv;
  bool released = false;
  transport->perform(Get("http://bad host/"), [&, keep = std::move(holder)](auto&&...) mutable {
    keep.reset();
    std::lock_guard<std::mutex> lock(m);
    released = true;
    cv.notify_all();
  });
  transport.reset();  // from here the completion may hold the last reference
  std::unique_lock<std::mutex> lock(m);
  EXPECT_TRUE(cv.wait_for(lock, std::chrono::seconds(10), [&] { return released; }));
}

}  // namespace
}  // namespace tessarin::platform::curl

// The HTTP sender on the simulated host, whose network is real: requests go
// over loopback to the local service (or into a capturing fake transport
// where the exact bytes matter), and results are waited for on the main
// queue with a deadline.
#include "transport/sender.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "core/composition_root.h"
#include "platform/curl/curl_transport.h"
#include "platform/sim/sim_platform.h"
#include "service/local_service.h"
#include "support/log_capture.h"
#include "transport/gzip.h"
#include "util/config.h"
#include "util/networking.h"

namespace tessarin {
namespace {

using platform::HttpCompletion;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::TransportFailure;
using platform::sim::SimPlatform;
using service::Endpoint;
using service::Fault;
using service::LocalService;
using testing::LogCapture;

// What one operation reported, seen from the main queue.
struct Result {
  int calls = 0;
  bool onMain = false;
  std::string uuid;
  std::optional<HttpResponse> response;
  std::optional<Json> json;
  std::optional<TSRError> error;

  long status() const { return response ? response->statusCode : 0; }
};

// "XXXXXXXX-XXXX-4XXX-[89AB]XXX-XXXXXXXXXXXX" in upper-case hex.
bool IsUppercaseUuidV4(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (c != '-') return false;
    } else if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) {
      return false;
    }
  }
  return text[14] == '4' && std::string("89AB").find(text[19]) != std::string::npos;
}

// Records requests and answers each as told (by default 200 with "{}").
class CapturingTransport : public platform::HttpTransport {
 public:
  void perform(HttpRequest request, HttpCompletion completion) override {
    requests.push_back(request);
    if (hold) {
      held.push_back(std::move(completion));
      return;
    }
    completion(HttpResponse{200, request.url, {}}, "{}", std::nullopt);
  }
  std::vector<HttpRequest> requests;
  bool hold = false;
  std::vector<HttpCompletion> held;
};

class SenderTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(service_->start()) << service_->error(); }

  std::shared_ptr<TSRSender> makeSender(const Json& overrides = Json::object()) {
    Json client = {{"account", "acct"},          {"dataset", "ds"},  {"protocol", service_->https() ? "https" : "http"},
                   {"domain", service_->host()}, {"useCDN", false},  {"port", service_->port()}};
    for (const auto& [key, value] : overrides.items()) client[key] = value;
    TSRConfig config(di_);
    config.replaceConfiguration(client, TSRConfig::kLayerClient);
    return TSRSender::initWithConfig(di_, config);
  }

  TSREventSender::ArraySuccessBlock arraySuccess(Result& result) {
    return [this, &result](TSREventSender*, const std::string& uuid, const std::optional<HttpResponse>& response,
                           const std::optional<Json>& json) {
      record(result, uuid, response);
      result.json = json;
    };
  }
  HttpSender::JsonSuccessBlock jsonSuccess(Result& result) {
    return [this, &result](HttpSender*, const std::string& uuid, const std::optional<HttpResponse>& response,
                           const Json& json) {
      record(result, uuid, response);
      result.json = json;
    };
  }
  template <class SenderType>
  std::function<void(SenderType*, const std::string&, const std::optional<HttpResponse>&, const TSRError&)> failure(
      Result& result) {
    return [this, &result](SenderType*, const std::string& uuid, const std::optional<HttpResponse>& response,
                           const TSRError& error) {
      record(result, uuid, response);
      result.error = error;
    };
  }
  void record(Result& result, const std::string& uuid, const std::optional<HttpResponse>& response) {
    ++result.calls;
    result.onMain = sim_->isMainThread();
    result.uuid = uuid;
    result.response = response;
  }

  std::string sendEvents(TSRSender& sender, const Json& events, Result& result,
                         std::optional<std::string> timeZone = std::nullopt) {
    std::string uuid = sender.sendEvents(events, timeZone, arraySuccess(result), failure<TSREventSender>(result));
    EXPECT_TRUE(sim_->runUntil([&] { return result.calls > 0; }));
    return uuid;
  }
  std::string requestConfig(TSRSender& sender, const Json& params, std::optional<double> lastModified, Result& result) {
    std::string uuid =
        sender.requestConfigWithParams(params, lastModified, jsonSuccess(result), failure<HttpSender>(result));
    EXPECT_TRUE(sim_->runUntil([&] { return result.calls > 0; }));
    return uuid;
  }

  void useHttps() {
    service_->stop();
    LocalService::Options options;
    options.https = true;
    service_ = std::make_unique<LocalService>(options);
    ASSERT_TRUE(service_->start()) << service_->error();
  }

  // The service outlives the platform: the transport's open connections
  // close first, so the service need not wait out their keep-alive.
  std::unique_ptr<LocalService> service_ = std::make_unique<LocalService>();
  std::shared_ptr<SimPlatform> sim_ = std::make_shared<SimPlatform>();
  std::shared_ptr<TSRUtilityDI> di_ = std::make_shared<TSRUtilityDI>(sim_);
};

TEST_F(SenderTest, EventsRoundTripCarriesGzipJsonAndTheClientsTimeAndZone) {
  auto sender = makeSender();
  ASSERT_TRUE(sender);
  service_->queueCampaigns(Json::array({{{"experienceId", "e1"}}}));
  Json events = Json::array({{{"action", "launch"}}, {{"action", "View"}, {".ri", "3"}}});
  Result result;
  std::string uuid = sendEvents(*sender, events, result, "Europe/Berlin");

  EXPECT_TRUE(IsUppercaseUuidV4(uuid)) << uuid;
  EXPECT_EQ(result.calls, 1);
  EXPECT_TRUE(result.onMain);
  EXPECT_EQ(result.uuid, uuid);
  EXPECT_EQ(result.status(), 200);
  ASSERT_FALSE(result.error) << result.error->description;
  ASSERT_TRUE(result.json);
  ASSERT_EQ(result.json->size(), 2u);
  EXPECT_EQ((*result.json)[1]["campaignResponses"][0]["routingId"], "3");

  auto recorded = service_->requests(Endpoint::kEvents);
  ASSERT_EQ(recorded.size(), 1u);
  EXPECT_EQ(recorded[0].method, "POST");
  EXPECT_EQ(recorded[0].body, events);
  EXPECT_EQ(recorded[0].header("Content-Type"), "application/json");
  EXPECT_EQ(recorded[0].header("Content-Encoding"), "gzip");
  EXPECT_EQ(recorded[0].query.at("_ak"), "acct");
  EXPECT_EQ(recorded[0].query.at("clientSendTimestamp"), "1767225600000");  // the simulated wall clock
  EXPECT_EQ(recorded[0].query.at("clientTimeZone"), "Europe/Berlin");
  EXPECT_NE(sender->sendEvents(events, "", nullptr, nullptr), uuid);
}

TEST_F(SenderTest, EventAnswersThatAreEmptyAnObjectOrNoListAtAll) {
  auto sender = makeSender();
  LogCapture logs;
  service_->queueEventAnswer(nullptr);  // empty body
  service_->queueEventAnswer({{"errorCode", 3}});
  service_->queueEventAnswer("just text");

  Result empty, object, text;
  sendEvents(*sender, Json::array({{{"action", "a"}}}), empty);
  EXPECT_EQ(empty.status(), 200);
  EXPECT_FALSE(empty.json);
  EXPECT_FALSE(empty.error);

  sendEvents(*sender, Json::array({{{"action", "b"}}}), object);
  EXPECT_EQ(object.json, Json::array({{{"errorCode", 3}}}));

  sendEvents(*sender, Json::array({{{"action", "c"}}}), text);
  ASSERT_TRUE(text.error);
  EXPECT_EQ(text.error->domain, "com.tessarin.sdk");
  EXPECT_EQ(text.error->code, 0);
  EXPECT_EQ(text.error->description, "Unable to parse response.");
  EXPECT_EQ(text.error->failureReason, "Expected JSON.");
  EXPECT_EQ(text.status(), 200);
  EXPECT_TRUE(logs.contains("Deserialized unexpended class as event responses: NSString", TSRLogLevelError));
}

TEST_F(SenderTest, BatchAnswersLeaveOutResponsesThatSayNothingToTheFacade) {
  auto sender = makeSender();
  service_->queueEventAnswer(Json::array({{{"campaignResponses", Json::array()}, {"errorCode", 0}}, {{"errorCode", 0}}}));
  service_->queueEventAnswer(Json::array({{{"errorCode", 0}}, {{"errorCode", 3}}}));
  for (const Json& expected : {Json::array(), Json::array({{{"errorCode", 0}}, {{"errorCode", 3}}})}) {
    Result result;
    sender->sendEventBatch({R"([{"action":"a"}])", 1, ""}, std::nullopt, arraySuccess(result),
                           failure<TSREventSender>(result));
    ASSERT_TRUE(sim_->runUntil([&] { return result.calls > 0; }));
    ASSERT_FALSE(result.error);
    EXPECT_EQ(result.json, expected);
  }
}

TEST_F(SenderTest, ConfigurationIsFetchedThenNotModified) {
  auto modified = std::chrono::system_clock::from_time_t(1767000000);
  service_->setAppConfig("ds", {{"sendDelay", 2}}, modified);
  auto sender = makeSender();
  LogCapture logs;
  Result first;
  requestConfig(*sender, Json::array({"iOS", "com.app", 7, "1.0", "1.5.0"}), std::nullopt, first);
  ASSERT_FALSE(first.error) << first.error->description << " " << first.error->failureReason.value_or("");
  EXPECT_EQ(first.json, Json({{"sendDelay", 2}}));
  EXPECT_TRUE(logs.contains("Config: Param not string, ignoring: 7", TSRLogLevelWarn));

  Result second;
  requestConfig(*sender, Json::array({"iOS", "com.app", "1.0", "1.5.0"}), 1767000000.0, second);
  ASSERT_TRUE(second.error);
  EXPECT_EQ(second.status(), 304);
  EXPECT_EQ(second.error->description, "Send request failed, status code 304");
  EXPECT_EQ(second.error->failureReason, "HTTP status code 304 (not modified).");
  EXPECT_EQ(second.error->recoverySuggestion, "Check the format of the request and retry at a later time.");

  auto recorded = service_->requests(Endpoint::kAppConfig);
  ASSERT_EQ(recorded.size(), 2u);
  EXPECT_EQ(recorded[0].method, "GET");
  EXPECT_EQ(recorded[0].configParams, std::vector<std::string>({"iOS", "com.app", "1.0", "1.5.0"}));
  EXPECT_EQ(recorded[0].query.at("_ak"), "acct");  // the query survives the appended path
  EXPECT_EQ(recorded[0].header("If-Modified-Since"), "");
  EXPECT_EQ(recorded[0].header("Content-Encoding"), "");
  EXPECT_EQ(recorded[1].header("If-Modified-Since"), "Mon, 29 Dec 2025 09:20:00 GMT");
}

TEST_F(SenderTest, RefusalsCarryTheServiceReasonOrTheStatusText) {
  auto sender = makeSender();
  service_->queueFault(Endpoint::kEvents, Fault{400, {{"reason", "Unknown account."}}, {}, false});
  // A body this large is not read, even though it holds a reason.
  service_->queueFault(Endpoint::kEvents, Fault{503, {{"reason", std::string(20000, 'x')}}, {}, false});
  service_->queueFault(Endpoint::kEvents, Fault{500, {{"reason", ""}}, {}, false});

  Result refused, unavailable, failed;
  sendEvents(*sender, Json::array({{{"action", "a"}}}), refused);
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.status(), 400);
  EXPECT_EQ(refused.error->domain, TSRErrorDomain);
  EXPECT_EQ(refused.error->description, "Send request failed, status code 400");
  EXPECT_EQ(refused.error->failureReason, "Unknown account.");
  EXPECT_EQ(refused.error->recoverySuggestion,
            "Check that the account exists and that the request is formatted properly.");
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&*refused.error, nullptr), 0);

  sendEvents(*sender, Json::array({{{"action", "b"}}}), unavailable);
  ASSERT_TRUE(unavailable.error);
  EXPECT_EQ(unavailable.error->failureReason, "HTTP status code 503 (service unavailable).");
  EXPECT_EQ(unavailable.error->recoverySuggestion, "Check the format of the request and retry at a later time.");

  sendEvents(*sender, Json::array({{{"action", "c"}}}), failed);
  ASSERT_TRUE(failed.error);
  EXPECT_EQ(failed.error->failureReason, "HTTP status code 500 (internal server error).");
}

TEST_F(SenderTest, TransportFailuresArePassedOnAsUrlLoadingErrors) {
  // Connection closed in the middle of the answer: lost, a general problem.
  service_->queueFault(Endpoint::kEvents, Fault{0, nullptr, {}, true});
  auto sender = makeSender();
  Result lost;
  sendEvents(*sender, Json::array({{{"action", "a"}}}), lost);
  ASSERT_TRUE(lost.error);
  EXPECT_EQ(lost.error->domain, "NSURLErrorDomain");
  EXPECT_EQ(lost.error->code, -1005);
  EXPECT_EQ(lost.error->description, "The network connection was lost.");
  EXPECT_FALSE(lost.error->failureReason);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&*lost.error, nullptr), 1);

  // A silent service and a short timeout.
  Fault slow;
  slow.delay = std::chrono::milliseconds(5000);
  service_->queueFault(Endpoint::kEvents, slow);
  platform::curl::CurlTransportOptions options;
  options.totalTimeout = 0.3;
  sim_->setTransportOptions(options);
  Result timedOut;
  sendEvents(*sender, Json::array({{{"action", "b"}}}), timedOut);
  ASSERT_TRUE(timedOut.error);
  EXPECT_EQ(timedOut.error->code, -1001);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&*timedOut.error, nullptr), 2);

  // Nothing listening any more.
  service_->stop();
  Result refused;
  sendEvents(*sender, Json::array({{{"action", "c"}}}), refused);
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.error->code, -1004);
  EXPECT_FALSE(refused.response);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&*refused.error, nullptr), 2);
}

TEST_F(SenderTest, TlsNeedsATrustedCertificate) {
  useHttps();
  auto sender = makeSender();
  Result untrusted;
  sendEvents(*sender, Json::array({{{"action", "a"}}}), untrusted);
  ASSERT_TRUE(untrusted.error);
  EXPECT_EQ(untrusted.error->domain, "NSURLErrorDomain");
  EXPECT_EQ(untrusted.error->code, -1203);
  // The warning names the host it was about.
  EXPECT_NE(untrusted.error->description.find("\u201C" + service_->host() + "\u201D"), std::string::npos)
      << untrusted.error->description;
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&*untrusted.error, nullptr), 3);
  EXPECT_TRUE(service_->requests().empty());

  platform::curl::CurlTransportOptions options;
  options.caInfoPath = service_->certificatePath();
  sim_->setTransportOptions(options);
  Result trusted;
  sendEvents(*sender, Json::array({{{"action", "b"}}}), trusted);
  ASSERT_FALSE(trusted.error) << trusted.error->description;
  EXPECT_EQ(trusted.status(), 200);
  EXPECT_EQ(service_->requests(Endpoint::kEvents).size(), 1u);
}

TEST_F(SenderTest, ConsecutiveRequestsShareOneConnection) {
  auto sender = makeSender();
  for (int i = 0; i < 3; ++i) {
    Result result;
    sendEvents(*sender, Json::array({{{"action", "a"}}}), result);
    ASSERT_EQ(result.status(), 200);
  }
  auto* curl = dynamic_cast<platform::curl::CurlTransport*>(sim_->httpTransport());
  ASSERT_NE(curl, nullptr);
  EXPECT_EQ(curl->connectionsOpened(), 1);
}

TEST_F(SenderTest, EditorConnectPostsJsonAndAcceptsAnEmptyAnswer) {
  service_->setConnectAnswer(nullptr);
  auto sender = makeSender();
  Result result;
  sender->connectWithInfo({{"device", "iPhone"}}, jsonSuccess(result), failure<HttpSender>(result));
  ASSERT_TRUE(sim_->runUntil([&] { return result.calls > 0; }));
  ASSERT_FALSE(result.error) << result.error->description;
  EXPECT_EQ(result.json, Json());
  auto recorded = service_->requests(Endpoint::kConnect);
  ASSERT_EQ(recorded.size(), 1u);
  EXPECT_EQ(recorded[0].body, Json({{"device", "iPhone"}}));
  EXPECT_EQ(recorded[0].header("Content-Encoding"), "gzip");
}

class SenderRequestTest : public SenderTest {
 protected:
  void SetUp() override {
    SenderTest::SetUp();
    sim_->setHttpTransport(transport_);
  }
  std::shared_ptr<CapturingTransport> transport_ = std::make_shared<CapturingTransport>();
};

TEST_F(SenderRequestTest, UploadIsAMultipartBodyBoundedByTheRequestUuid) {
  auto sender = makeSender();
  const std::string image("\x89PNG\r\n\x1a\n\0\x01", 10);
  Result png, plain;
  std::string uuid = sender->uploadScreenWithInfo({{"screen", "Home"}}, image, "image/png", jsonSuccess(png),
                                                  failure<HttpSender>(png));
  sender->uploadScreenWithInfo({{"screen", "Cart"}}, "abc", "binary", jsonSuccess(plain), failure<HttpSender>(plain));
  ASSERT_TRUE(sim_->runUntil([&] { return png.calls > 0 && plain.calls > 0; }));
  EXPECT_EQ(png.json, Json::object());
  EXPECT_EQ(png.uuid, uuid);

  ASSERT_EQ(transport_->requests.size(), 2u);
  const HttpRequest& request = transport_->requests[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, "http://127.0.0.1:" + std::to_string(service_->port()) +
                             "/api/dataset/ds/mobileEditor/uploadScreen?_ak=acct");
  EXPECT_THAT(request.headers, ::testing::ElementsAre(
                                   std::pair<std::string, std::string>("Content-Type",
                                                                       "multipart/form-data; boundary=" + uuid),
                                   std::pair<std::string, std::string>("Content-Encoding", "gzip")));
  const std::string expected = "--" + uuid + "\r\n" +
                               "Content-Disposition: form-data; name=\"meta\"\r\n"
                               "Content-Type: application/json\r\n\r\n"
                               "{\"screen\":\"Home\"}\r\n"
                               "--" + uuid + "\r\n" +
                               "Content-Disposition: form-data; name=\"image\"; size=10\r\n"
                               "Content-Type: image/png\r\n\r\n" +
                               image + "\r\n" + "--" + uuid + "--\r\n";
  EXPECT_EQ(tsr_dataByGZipDecompressingDataWithError(request.body), expected);

  auto second = tsr_dataByGZipDecompressingDataWithError(transport_->requests[1].body);
  ASSERT_TRUE(second);
  EXPECT_NE(second->find("Content-Disposition: form-data; name=\"binary\"; size=3\r\nContent-Type: binary\r\n\r\nabc\r\n"),
            std::string::npos);
}

TEST_F(SenderRequestTest, RequestsThatCannotBeMadeFailBeforeAnythingIsSent) {
  auto sender = makeSender({{"account", ""}});  // no account: no endpoints
  Result noUrl, badJson;
  std::string uuid = sender->requestConfigWithParams(Json::array({"iOS"}), std::nullopt, jsonSuccess(noUrl),
                                                     failure<HttpSender>(noUrl));
  EXPECT_EQ(noUrl.calls, 0);  // reported later, on the main queue
  auto withUrl = makeSender();
  withUrl->connectWithInfo({{"bad", std::nan("")}}, jsonSuccess(badJson), failure<HttpSender>(badJson));
  sim_->runUntilIdle();

  ASSERT_TRUE(noUrl.error);
  EXPECT_EQ(noUrl.uuid, uuid);
  EXPECT_TRUE(noUrl.onMain);
  EXPECT_EQ(noUrl.error->description, "Unable to send request.");
  EXPECT_EQ(noUrl.error->failureReason, "Cannot form url/request.");
  EXPECT_EQ(noUrl.error->recoverySuggestion, "Repair url/request.");
  ASSERT_TRUE(badJson.error);
  EXPECT_EQ(badJson.error->failureReason, "Cannot serialize JSON.");
  EXPECT_EQ(badJson.error->recoverySuggestion, "Repair JSON.");
  EXPECT_TRUE(transport_->requests.empty());
}

TEST_F(SenderRequestTest, AnswerArrivingAfterTheSenderIsGoneReportsNothing) {
  transport_->hold = true;
  auto sender = makeSender();
  Result result;
  sender->sendEvents(Json::array(), std::nullopt, arraySuccess(result), failure<TSREventSender>(result));
  ASSERT_EQ(transport_->held.size(), 1u);
  sender.reset();
  transport_->held[0](HttpResponse{200, "", {}}, "[]", std::nullopt);
  sim_->runUntilIdle();
  EXPECT_EQ(result.calls, 0);
}

TEST(SenderCreationTest, NoTransportMeansNoSender) {
  auto sim = std::make_shared<SimPlatform>();
  sim->setHttpTransport(nullptr);
  auto di = std::make_shared<TSRUtilityDI>(sim);
  LogCapture logs;
  TSRConfig config(di);
  EXPECT_EQ(di->senderWithConfig(config), nullptr);
  EXPECT_TRUE(logs.contains("Could not create session", TSRLogLevelError));
}

TEST(SenderStatusTextTest, StatusTextsNameCommonCodesAndFallBackToTheirClass) {
  EXPECT_EQ(TSRSender::localizedStringForStatusCode(404), "not found");
  EXPECT_EQ(TSRSender::localizedStringForStatusCode(418), "client error");
  EXPECT_EQ(TSRSender::localizedStringForStatusCode(599), "server error");
  EXPECT_EQ(TSRSender::localizedStringForStatusCode(308), "redirected");
}

}  // namespace
}  // namespace tessarin

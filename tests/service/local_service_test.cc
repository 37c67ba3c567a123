// The local service over real loopback sockets, driven by a plain HTTP client
// the way the SDK's transport drives it.
#include "service/local_service.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "service/script.h"
#include "tracking/campaign_impl.h"
#include "util/config.h"

namespace tessarin::service {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

std::chrono::steady_clock::time_point Soon() { return std::chrono::steady_clock::now() + seconds(10); }

Json BodyOf(const httplib::Result& result) { return Json::parse(result->body); }

class LocalServiceTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(service_.start()) << service_.error(); }

  httplib::Client client() {
    httplib::Client client(service_.host(), service_.port());
    client.set_compress(true);  // gzip request bodies, as the SDK does
    return client;
  }

  httplib::Result postEvents(const Json& events, const std::string& dataset = "ds") {
    return client().Post(("/mr/dataset/" + dataset + "/?_ak=acct&clientSendTimestamp=1700000000000").c_str(),
                         JsonDump(events), "application/json");
  }

  LocalService service_;
};

TEST_F(LocalServiceTest, EventsAnswerQueuedBatchesThenResponderThenDefault) {
  service_.setAnonAffinityId("aa-1");
  service_.queueCampaigns(Json::array({{{"experienceId", "e1"}, {"targetName", "banner"}},
                                       {{"experienceId", "e2"}, {"routingId", "Global"}}}));
  service_.queueEventAnswer(LocalService::EventResponse(Json::array(), 3, Json::array({"bad"})));
  service_.setEventResponder([](const Json& events) { return Json::array({{{"seen", events.size()}}}); });

  Json batch = Json::array({{{"action", "launch"}}, {{"action", "View"}, {".ri", "7"}}});
  auto first = postEvents(batch);
  ASSERT_TRUE(first);
  ASSERT_EQ(first->status, 200);
  Json answer = BodyOf(first);
  ASSERT_EQ(answer.size(), 2u);
  EXPECT_EQ(answer[0], Json({{"campaignResponses", Json::array()}, {"errorCode", 0}, {"anonAffinityId", "aa-1"}}));
  // Campaigns ride on the last event and take its screen unless they name one.
  EXPECT_EQ(answer[1]["campaignResponses"],
            Json::array({{{"experienceId", "e1"}, {"targetName", "banner"}, {"routingId", "7"}},
                         {{"experienceId", "e2"}, {"routingId", "Global"}}}));

  auto second = postEvents(Json::array({{{"action", "x"}}}));
  ASSERT_TRUE(second);
  EXPECT_EQ(BodyOf(second),
            Json({{"campaignResponses", Json::array()}, {"errorCode", 3}, {"validationErrors", {"bad"}}}));
  auto third = postEvents(batch);
  ASSERT_TRUE(third);
  EXPECT_EQ(BodyOf(third), Json::array({{{"seen", 2}}}));

  auto recorded = service_.requests(Endpoint::kEvents);
  ASSERT_EQ(recorded.size(), 3u);
  EXPECT_EQ(recorded[0].body, batch);
  EXPECT_EQ(recorded[0].header("Content-Encoding"), "gzip");
  EXPECT_EQ(recorded[0].dataset, "ds");
  EXPECT_EQ(recorded[0].query.at("_ak"), "acct");
  EXPECT_EQ(recorded[0].query.at("clientSendTimestamp"), "1700000000000");
}

TEST_F(LocalServiceTest, MalformedRequestsAreRefusedWithAReason) {
  auto notArray = client().Post("/mr/dataset/ds/?_ak=a", "{\"action\":1}", "application/json");
  ASSERT_TRUE(notArray);
  EXPECT_EQ(notArray->status, 400);
  EXPECT_EQ(BodyOf(notArray)["reason"], "Expected a JSON array of events.");

  auto noAccount = client().Post("/mr/dataset/ds/", "[]", "application/json");
  ASSERT_TRUE(noAccount);
  EXPECT_EQ(noAccount->status, 400);
  EXPECT_EQ(BodyOf(noAccount)["reason"], "Missing account key.");

  auto elsewhere = client().Get("/mr/other");
  ASSERT_TRUE(elsewhere);
  EXPECT_EQ(elsewhere->status, 404);
  EXPECT_EQ(service_.requests().back().endpoint, Endpoint::kUnknown);
}

TEST_F(LocalServiceTest, AppConfigIsConditionalOnLastModified) {
  auto lastModified = std::chrono::system_clock::from_time_t(1700000000);
  service_.setAppConfig("ds", Json{{"logLevel", 4000}}, lastModified);
  const char* path = "/api/dataset/ds/appConfig/iOS/com.example.app/2.1/1.5.0?_ak=acct";

  auto fresh = client().Get(path);
  ASSERT_TRUE(fresh);
  ASSERT_EQ(fresh->status, 200);
  EXPECT_EQ(BodyOf(fresh), Json({{"logLevel", 4000}}));
  EXPECT_EQ(fresh->get_header_value("Last-Modified"), "Tue, 14 Nov 2023 22:13:20 GMT");

  auto unchanged = client().Get(path, {{"If-Modified-Since", "Tue, 14 Nov 2023 22:13:20 GMT"}});
  ASSERT_TRUE(unchanged);
  EXPECT_EQ(unchanged->status, 304);
  EXPECT_TRUE(unchanged->body.empty());

  auto older = client().Get(path, {{"If-Modified-Since", "Tue, 14 Nov 2023 22:13:19 GMT"}});
  ASSERT_TRUE(older);
  EXPECT_EQ(older->status, 200);

  auto unknown = client().Get("/api/dataset/other/appConfig/iOS/com.example.app/2.1/1.5.0?_ak=acct");
  ASSERT_TRUE(unknown);
  EXPECT_EQ(unknown->status, 404);
  EXPECT_EQ(BodyOf(unknown)["reason"], "Unknown dataset.");

  auto incomplete = client().Get("/api/dataset/ds/appConfig/iOS/com.example.app?_ak=acct");
  ASSERT_TRUE(incomplete);
  EXPECT_EQ(incomplete->status, 400);

  auto recorded = service_.requests(Endpoint::kAppConfig);
  ASSERT_EQ(recorded.size(), 5u);
  EXPECT_EQ(recorded[0].configParams, (std::vector<std::string>{"iOS", "com.example.app", "2.1", "1.5.0"}));
  EXPECT_EQ(recorded[1].header("If-Modified-Since"), "Tue, 14 Nov 2023 22:13:20 GMT");
  EXPECT_EQ(recorded[1].status, 304);
}

TEST_F(LocalServiceTest, FaultsOverrideStatusDelayAndConnection) {
  service_.queueFault(Endpoint::kEvents, {503, Json{{"reason", "Down for maintenance"}}, milliseconds(0), false});
  service_.queueFault(Endpoint::kEvents, {0, Json(), milliseconds(0), true});
  service_.queueFault(Endpoint::kEvents, {0, Json(), milliseconds(60), false});

  auto unavailable = postEvents(Json::array({{{"action", "a"}}}));
  ASSERT_TRUE(unavailable);
  EXPECT_EQ(unavailable->status, 503);
  EXPECT_EQ(BodyOf(unavailable), Json({{"reason", "Down for maintenance"}}));

  auto dropped = postEvents(Json::array({{{"action", "a"}}}));
  EXPECT_FALSE(dropped);

  auto start = std::chrono::steady_clock::now();
  auto delayed = postEvents(Json::array({{{"action", "a"}}}));
  ASSERT_TRUE(delayed);
  EXPECT_EQ(delayed->status, 200);
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(60));

  // One-shot faults are used up; a standing fault stays until cleared.
  service_.setStandingFault(Endpoint::kConnect, Fault{400, Json(), milliseconds(0), false});
  for (int i = 0; i < 2; ++i) {
    auto refused = client().Post("/api/dataset/ds/mobileEditor/connect?_ak=a", "{}", "application/json");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 400);
  }
  service_.setStandingFault(Endpoint::kConnect, std::nullopt);
  EXPECT_EQ(client().Post("/api/dataset/ds/mobileEditor/connect?_ak=a", "{}", "application/json")->status, 200);
  EXPECT_EQ(postEvents(Json::array())->status, 200);

  ASSERT_TRUE(service_.waitForRequests(3, Soon(), Endpoint::kEvents));
  auto events = service_.requests(Endpoint::kEvents);
  EXPECT_TRUE(events[1].dropped);
  // The client may never have seen those answers succeed; the last it did.
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(events[i].faulted) << i;
  EXPECT_FALSE(events.back().faulted);
}

// What the client reads on a raw connection after posting one batch: the
// bytes of the answer it got, and how the connection ended (0 for an
// orderly close, else the errno of the failed read).
struct RawAnswer {
  std::string bytes;
  int end = -1;
};
RawAnswer PostRaw(int port) {
  RawAnswer answer;
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return answer;
  }
  std::string body = "[{\"action\":\"a\"}]";
  std::string request = "POST /mr/dataset/ds/?_ak=a HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                        "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  send(fd, request.data(), request.size(), MSG_NOSIGNAL);
  timeval timeout{10, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  for (;;) {
    char chunk[4096];
    ssize_t n = recv(fd, chunk, sizeof chunk, 0);
    if (n > 0) {
      answer.bytes.append(chunk, static_cast<std::size_t>(n));
      continue;
    }
    answer.end = n == 0 ? 0 : errno;
    break;
  }
  close(fd);
  return answer;
}

TEST_F(LocalServiceTest, ACutOffAnswerEndsInAnOrderlyCloseOrAReset) {
  // Both send the headers and half the promised body first.
  Fault drop, reset_fault;
  drop.dropConnection = true;
  reset_fault.resetConnection = true;
  service_.queueFault(Endpoint::kEvents, drop);
  RawAnswer dropped = PostRaw(service_.port());
  EXPECT_EQ(dropped.end, 0);
  EXPECT_NE(dropped.bytes.find("HTTP/1.1 200"), std::string::npos) << dropped.bytes;

  service_.queueFault(Endpoint::kEvents, reset_fault);
  RawAnswer reset = PostRaw(service_.port());
  EXPECT_EQ(reset.end, ECONNRESET) << reset.bytes;

  ASSERT_TRUE(service_.waitForRequests(2, Soon(), Endpoint::kEvents));
  for (const auto& request : service_.requests(Endpoint::kEvents)) {
    EXPECT_TRUE(request.dropped);
    EXPECT_TRUE(request.faulted);
    EXPECT_EQ(request.toJson()["dropped"], true);
  }
}

TEST_F(LocalServiceTest, EditorConnectAndMultipartUploadAreRecorded) {
  service_.setUploadScreenAnswer(Json{{"stored", true}});
  auto connect = client().Post("/api/dataset/ds/mobileEditor/connect?_ak=a", "{\".anonId\":\"v-1\"}",
                               "application/json");
  ASSERT_TRUE(connect);
  EXPECT_EQ(connect->status, 200);

  // Laid out exactly as the SDK lays out a screen upload.
  std::string image("\x89PNG\r\n\x1a\n", 8);
  std::string body = "--B1\r\nContent-Disposition: form-data; name=\"meta\"\r\nContent-Type: application/json\r\n\r\n"
                     "{\".vcd\":\"{}\"}\r\n"
                     "--B1\r\nContent-Disposition: form-data; name=\"image\"; size=8\r\nContent-Type: image/png\r\n\r\n" +
                     image + "\r\n--B1--\r\n";
  auto upload = client().Post("/api/dataset/ds/mobileEditor/uploadScreen?_ak=a", body,
                              "multipart/form-data; boundary=B1");
  ASSERT_TRUE(upload);
  EXPECT_EQ(BodyOf(upload), Json({{"stored", true}}));

  auto requests = service_.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].endpoint, Endpoint::kConnect);
  EXPECT_EQ(requests[0].body, Json({{".anonId", "v-1"}}));
  EXPECT_EQ(requests[1].endpoint, Endpoint::kUploadScreen);
  EXPECT_EQ(requests[1].body, Json({{".vcd", "{}"}}));
  ASSERT_EQ(requests[1].parts.size(), 2u);
  auto png = std::find_if(requests[1].parts.begin(), requests[1].parts.end(),
                          [](const UploadPart& part) { return part.contentType == "image/png"; });
  ASSERT_NE(png, requests[1].parts.end());
  EXPECT_EQ(png->content, image);
}

// That a client without the certificate is refused is the sender's test
// (TlsNeedsATrustedCertificate), through the SDK's own transport.
// A load run's service counts a batch's elements instead of parsing it,
// answers one response per event all the same, and keeps only counts.
TEST(LocalServiceCountOnlyTest, AnswersOneResponsePerElementAndKeepsOnlyCounts) {
  LocalService::Options options;
  options.countOnly = true;
  LocalService service(options);
  ASSERT_TRUE(service.start()) << service.error();
  httplib::Client client(service.host(), service.port());
  client.set_compress(true);
  struct Case {
    std::string body;
    int status;
    std::size_t responses;
  };
  for (const Case& c : {Case{R"([{"a":"x,]}"},{"b":[1,2,{"c":"\"]"}]}, 3])", 200, 3}, Case{" [ ] ", 200, 0},
                        Case{R"({"a":1})", 400, 0}, Case{R"([{"a":1})", 400, 0}, Case{"[1] [2]", 400, 0}}) {
    auto result = client.Post("/mr/dataset/ds/?_ak=acct", c.body, "application/json");
    ASSERT_TRUE(result) << c.body;
    EXPECT_EQ(result->status, c.status) << c.body;
    if (c.status != 200) continue;
    Json answer = Json::parse(result->body);
    ASSERT_EQ(answer.size(), c.responses) << c.body;
    for (const auto& response : answer) EXPECT_EQ(response, LocalService::EventResponse());
  }
  auto counts = service.counts();
  EXPECT_EQ(counts.requests, 5u);
  EXPECT_EQ(counts.events, 3u);
  EXPECT_GT(counts.wireBytes, 0u);
  EXPECT_TRUE(service.requests().empty());
}

TEST(LocalServiceHttpsTest, ServesTlsWithAThrowAwayCertificate) {
  LocalService::Options options;
  options.https = true;
  auto service_owner = std::make_unique<LocalService>(options);
  LocalService& service = *service_owner;
  ASSERT_TRUE(service.start()) << service.error();
  ASSERT_TRUE(std::filesystem::exists(service.certificatePath()));
  service.setAppConfig("*", Json{{"disable", true}});
  const char* path = "/api/dataset/any/appConfig/iOS/b/1/1.5.0?_ak=a";

  httplib::SSLClient trusting(service.host(), service.port());
  trusting.set_ca_cert_path(service.certificatePath().c_str());
  trusting.enable_server_certificate_verification(true);
  auto accepted = trusting.Get(path);
  ASSERT_TRUE(accepted) << httplib::to_string(accepted.error());
  EXPECT_EQ(BodyOf(accepted), Json({{"disable", true}}));

  // The throw-away identity goes with the service.
  std::string certificate = service.certificatePath();
  service_owner.reset();
  EXPECT_FALSE(std::filesystem::exists(certificate));
}

TEST(LocalServiceHttpsTest, ServesAnIdentityItIsGivenOrOneMadeForOtherNames) {
  CertificateFiles own;
  std::string error;
  ASSERT_TRUE(GenerateSelfSignedCertificate(own, error)) << error;
  const char* path = "/api/dataset/any/appConfig/iOS/b/1/1.5.0?_ak=a";
  auto fetch = [path](const LocalService& service, const std::string& trusted) {
    httplib::SSLClient client(service.host(), service.port());
    client.set_ca_cert_path(trusted.c_str());
    client.enable_server_certificate_verification(true);
    return client.Get(path);
  };

  // The identity it is given it serves, and leaves in place when it goes:
  // the next service on the port is then the one the client trusts.
  for (int run = 0; run < 2; ++run) {
    LocalService::Options options;
    options.https = true;
    options.certificate = own;
    LocalService service(options);
    ASSERT_TRUE(service.start()) << service.error();
    EXPECT_EQ(service.certificatePath(), own.certificatePath);
    auto accepted = fetch(service, own.certificatePath);
    EXPECT_TRUE(accepted) << httplib::to_string(accepted.error());
  }
  EXPECT_TRUE(std::filesystem::exists(own.certificatePath));
  RemoveCertificateFiles(own);

  // One made for another host: trusting it is not enough for a client
  // that dialled 127.0.0.1.
  LocalService::Options https;
  https.https = true;
  LocalService service(https);
  ASSERT_TRUE(ApplyScript(service, Json::parse(R"({"certificateFor": ["elsewhere.invalid"]})"), error)) << error;
  ASSERT_TRUE(service.start()) << service.error();
  auto refused = fetch(service, service.certificatePath());
  EXPECT_FALSE(refused);
  EXPECT_EQ(refused.error(), httplib::Error::SSLServerVerification);
  EXPECT_TRUE(service.requests().empty());
}

TEST(LocalServiceRecordingTest, WritesOneJsonLinePerRequestAndWaitsWithADeadline) {
  std::string path = (std::filesystem::temp_directory_path() /
                      ("tessarin-record-" + std::to_string(::getpid()) + ".jsonl")).string();
  std::filesystem::remove(path);
  {
    LocalService service(LocalService::Options{.recordPath = path});
    ASSERT_TRUE(service.start()) << service.error();
    EXPECT_FALSE(service.waitForRequests(1, std::chrono::steady_clock::now() + milliseconds(20)));

    // Requests from another thread are seen by the waiter as they arrive.
    std::thread sender([&] {
      httplib::Client client(service.host(), service.port());
      client.Post("/mr/dataset/ds/?_ak=a", "[{\"action\":\"a\"}]", "application/json");
      client.Get("/api/dataset/ds/appConfig/iOS/b/1/1.5.0?_ak=a");
    });
    EXPECT_TRUE(service.waitForRequests(2, Soon()));
    sender.join();
  }
  std::ifstream file(path);
  std::vector<Json> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(Json::parse(line));
  std::filesystem::remove(path);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0]["endpoint"], "events");
  EXPECT_EQ(lines[0]["body"], Json::parse("[{\"action\":\"a\"}]"));
  EXPECT_EQ(lines[1]["endpoint"], "appConfig");
  EXPECT_EQ(lines[1]["status"], 404);
}

TEST(LocalServiceScriptTest, ScriptSetsAnswersAndRejectsBadMembers) {
  LocalService service;
  std::string error;
  Json script = Json::parse(R"({
    "eventResponse": {"anonAffinityId": "aa-9"},
    "campaigns": [[{"experienceId": "e"}]],
    "appConfig": {"ds": {"config": {"disable": true}, "lastModified": "Tue, 14 Nov 2023 22:13:20 GMT"}},
    "faults": {"appConfig": [{"status": 500, "body": {"reason": "boom"}}]}
  })");
  ASSERT_TRUE(ApplyScript(service, script, error)) << error;
  ASSERT_TRUE(service.start()) << service.error();
  httplib::Client client(service.host(), service.port());

  auto events = client.Post("/mr/dataset/ds/?_ak=a", "[{\".ri\":\"2\"}]", "application/json");
  ASSERT_TRUE(events);
  EXPECT_EQ(BodyOf(events), Json::parse(R"([{"campaignResponses":[{"experienceId":"e","routingId":"2"}],
                                            "errorCode":0,"anonAffinityId":"aa-9"}])"));
  const char* config = "/api/dataset/ds/appConfig/iOS/b/1/1.5.0?_ak=a";
  EXPECT_EQ(client.Get(config)->status, 500);
  EXPECT_EQ(client.Get(config, {{"If-Modified-Since", "Wed, 15 Nov 2023 00:00:00 GMT"}})->status, 304);

  EXPECT_FALSE(ApplyScript(service, Json::parse(R"({"faults": {"nowhere": []}})"), error));
  EXPECT_EQ(error, "\"faults\" member \"nowhere\" must name an endpoint and hold an array");
  EXPECT_FALSE(ApplyScript(service, Json::parse(R"({"appConfig": {"ds": {"config": {}, "lastModified": "soon"}}})"),
                           error));
  EXPECT_EQ(error, "\"lastModified\" of \"ds\" is not an HTTP date");
  EXPECT_FALSE(ApplyScript(service, Json::parse(R"({"faults": {"connect": [{"status": 403, "times": 0}]}})"), error));
  EXPECT_EQ(error, "fault \"times\" must be at least 1");
  EXPECT_FALSE(ApplyScript(service, Json::parse(R"({"faults": {"connect": [{"status": 40}]}})"), error));
  EXPECT_EQ(error, "fault \"status\" 40 is no HTTP status");
  EXPECT_FALSE(ApplyScript(
      service, Json::parse(R"({"faults": {"connect": [{"status": 403, "reason": "r", "body": {}}]}})"), error));
  EXPECT_FALSE(ApplyScript(service, Json::parse(R"({"faults": {"events": [{"drop": true, "reset": true}]}})"), error));
  EXPECT_EQ(error, "a fault has \"drop\" or \"reset\", not both");
  EXPECT_FALSE(ApplyScript(service, Json::parse(R"({"certificateFor": []})"), error));
  EXPECT_EQ(error, "\"certificateFor\" must be a non-empty array of names");
}

TEST_F(LocalServiceTest, CampaignStatsAreEveryPayloadOfEveryEventInOrder) {
  const char* impression = R"([{"id":"c-exp","type":"e","stat":"i"},{"id":"c-msg","eid":"c-exp","type":"m","stat":"i"}])";
  ASSERT_TRUE(postEvents(Json::array({{{"action", "View"}}, {{".cStat", impression}}})));
  // Text that is not an array of payloads is no statistic.
  ASSERT_TRUE(postEvents(Json::array({{{".cStat", "not json"}}, {{".cStat", R"({"stat":"d"})"}},
                                      {{".cStat", R"([{"id":"c-exp","type":"e","stat":"d"}])"}}})));
  std::vector<std::string> seen;
  for (const Json& stat : service_.campaignStats()) seen.push_back(stat["id"].get<std::string>() + ":" +
                                                                     stat["stat"].get<std::string>());
  EXPECT_EQ(seen, (std::vector<std::string>{"c-exp:i", "c-msg:i", "c-exp:d"}));
}

// The campaigns the service writes are what the SDK makes campaigns of:
// parsed by the SDK's own reader, an in-app message is a message for its
// reserved target on the global context, whose data is the message.
class ServiceCampaignsTest : public ::testing::Test {
 protected:
  std::shared_ptr<TSRCampaign> Parse(const Json& json) {
    return TSRCampaignImpl::campaignWithJSON(json, config, 1767225600.0);
  }
  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  TSRConfig config{std::make_shared<TSRUtilityDI>(sim)};
};

TEST_F(ServiceCampaignsTest, InAppMessageIsShownByTheSdkOnTheGlobalContext) {
  Json data = {{"title", {{"text", "Hello"}}}, {"position", "bottom"}};
  auto campaign = Parse(LocalService::InAppMessageCampaign(data, "promo"));
  ASSERT_NE(std::dynamic_pointer_cast<TSRCampaignUiMessage>(campaign), nullptr);
  EXPECT_EQ(campaign->target(), "tsr_mn");
  EXPECT_EQ(campaign->contextId(), "Global");
  EXPECT_EQ(campaign->campaignId(), "promo");
  EXPECT_EQ(campaign->messageId(), "promo-msg");
  EXPECT_EQ(campaign->data()["title"], data["title"]);
  EXPECT_EQ(campaign->data()["position"], "bottom");

  // What the data names itself is kept, and judged by the SDK.
  Json own = data;
  own["id"] = "m-7";
  EXPECT_EQ(Parse(LocalService::InAppMessageCampaign(own, "promo"))->messageId(), "m-7");
  own["targetName"] = "promo-strip";
  EXPECT_EQ(Parse(LocalService::InAppMessageCampaign(own, "promo")), nullptr);

  auto banner = Parse(LocalService::DataCampaign("banner", Json{{"n", 1}}, "b", "Global"));
  ASSERT_NE(std::dynamic_pointer_cast<TSRCampaignDataMessage>(banner), nullptr);
  EXPECT_EQ(banner->data(), (Json{{"n", 1}}));
}

TEST(HttpDateTest, FormatsAndParsesGmtDates) {
  auto time = std::chrono::system_clock::from_time_t(784111777);
  EXPECT_EQ(LocalService::HttpDate(time), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(LocalService::ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT"), time);
  EXPECT_FALSE(LocalService::ParseHttpDate("Sun, 06 Nov 1994 08:49:37 PST"));
  EXPECT_FALSE(LocalService::ParseHttpDate("Sun, 06 Foo 1994 08:49:37 GMT"));
  EXPECT_FALSE(LocalService::ParseHttpDate(""));
}

}  // namespace
}  // namespace tessarin::service

// The local service's console and the designer's uploads, over real loopback
// sockets: requests are sent the way the SDK sends them (gzip JSON, gzip
// multipart uploads) and the console is read the way its page reads it.
#include <httplib.h>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <regex>
#include <thread>

#include "service/console_model.h"
#include "service/local_service.h"
#include "service/script.h"

namespace tessarin::service {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

steady_clock::time_point Soon() { return steady_clock::now() + seconds(10); }

std::string BigEndian32(std::uint32_t value) {
  std::string bytes(4, '\0');
  for (int i = 3; i >= 0; --i, value >>= 8) bytes[i] = static_cast<char>(value & 0xff);
  return bytes;
}

// The start of a PNG (signature and IHDR chunk), which is all the service
// reads, followed by bytes that tell one image from another.
std::string Png(std::uint32_t width, std::uint32_t height, const std::string& rest) {
  return std::string("\x89PNG\r\n\x1a\n", 8) + BigEndian32(13) + "IHDR" + BigEndian32(width) +
         BigEndian32(height) + std::string("\x08\x06\0\0\0", 5) + BigEndian32(0) + rest;
}

// The base record an event is built on, as the SDK writes it.
Json BaseKeys() {
  return {{".mbv", "1.5.0"},     {".anonId", "v-1"}, {"_anon", "true"}, {"timestamp", 1700000000000},
          {".d", "x86_64"},      {".on", "iOS"},     {".ov", "17.2"},   {".an", "com.example.shop"},
          {".av", "2.1"}};
}

Json Event(Json fields) {
  Json event = BaseKeys();
  for (auto& [key, value] : fields.items()) event[key] = value;
  return event;
}

class ConsoleTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(service_.start()) << service_.error(); }

  httplib::Client client() {
    httplib::Client client(service_.host(), service_.port());
    client.set_compress(true);  // gzip request bodies, as the SDK does
    return client;
  }

  httplib::Result postEvents(const Json& events) {
    return client().Post("/mr/dataset/ds/?_ak=acct&clientSendTimestamp=1700000000000", JsonDump(events),
                         "application/json");
  }

  httplib::Result connect() {
    return client().Post("/api/dataset/ds/mobileEditor/connect/?_ak=acct", JsonDump(BaseKeys()),
                         "application/json");
  }

  // Laid out as the SDK lays out a screen upload, its request id the boundary.
  httplib::Result upload(const Json& description, const std::string& png) {
    const std::string boundary = "0D6A4C4E-3B1F-4C35-9E55-2F1B7C1D9A10";
    Json info = BaseKeys();
    info[".vcd"] = JsonDump(description);
    std::string body = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"meta\"\r\n" +
                       "Content-Type: application/json\r\n\r\n" + JsonDump(info) + "\r\n--" + boundary +
                       "\r\nContent-Disposition: form-data; name=\"image\"; size=" + std::to_string(png.size()) +
                       "\r\nContent-Type: image/png\r\n\r\n" + png + "\r\n--" + boundary + "--\r\n";
    return client().Post("/api/dataset/ds/mobileEditor/uploadScreen/?_ak=acct", body,
                         "multipart/form-data; boundary=" + boundary);
  }

  Json console() {
    auto result = httplib::Client(service_.host(), service_.port()).Get("/console.json");
    EXPECT_TRUE(result && result->status == 200);
    return result ? Json::parse(result->body) : Json();
  }

  LocalService service_;
};

TEST_F(ConsoleTest, ShowsWhatASessionSentAndGotBackNewestFirst) {
  service_.setAppConfig("ds", Json{{"logLevel", 4000}});
  ASSERT_EQ(client().Get("/api/dataset/ds/appConfig/iOS/com.example.shop/2.1/1.5.0?_ak=acct")->status, 200);
  service_.queueCampaigns(Json::array({LocalService::DataCampaign("banner", Json{{"n", 1}}, "cmp-1")}));
  const char* stats = R"([{"id":"cmp-0-msg","eid":"cmp-0-exp","type":"m","stat":"i"}])";
  ASSERT_EQ(postEvents(Json::array({Event({{"action", "View"}, {".ri", "1"}, {".pv", ""}}),
                                    Event({{".ri", "Global"}, {".cStat", stats}})}))
                ->status,
            200);
  ASSERT_EQ(connect()->status, 200);

  Json seen = console();
  ASSERT_EQ(seen["configRequests"].size(), 1u);
  EXPECT_EQ(seen["configRequests"][0]["params"], Json::array({"iOS", "com.example.shop", "2.1", "1.5.0"}));
  EXPECT_EQ(seen["configRequests"][0]["answer"], Json({{"logLevel", 4000}}));

  // Newest first: the batch's last event leads; the keys every event carries
  // are set apart from the ones its action added.
  Json events = seen["events"];
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0]["fields"], Json({{".ri", "Global"}, {".cStat", stats}}));
  EXPECT_EQ(events[0]["base"], BaseKeys());
  EXPECT_FALSE(events[0].contains("action"));
  EXPECT_EQ(events[1]["action"], "View");
  EXPECT_EQ(events[1]["fields"], Json({{"action", "View"}, {".ri", "1"}, {".pv", ""}}));
  EXPECT_EQ(events[0]["batch"], events[1]["batch"]);

  // The campaign rode on the last event's response, to that event's screen.
  ASSERT_EQ(seen["campaigns"].size(), 1u);
  EXPECT_EQ(seen["campaigns"][0]["event"], events[0]["id"]);
  EXPECT_EQ(seen["campaigns"][0]["campaignId"], "cmp-1");
  EXPECT_EQ(seen["campaigns"][0]["routingId"], "Global");
  EXPECT_EQ(seen["campaigns"][0]["targets"], Json::array({"banner"}));
  ASSERT_EQ(seen["stats"].size(), 1u);
  EXPECT_EQ(seen["stats"][0]["payload"], Json::parse(stats)[0]);
  EXPECT_EQ(seen["stats"][0]["event"], events[0]["id"]);

  ASSERT_EQ(seen["connects"].size(), 1u);
  EXPECT_EQ(seen["connects"][0]["accepted"], true);
  EXPECT_EQ(seen["connects"][0]["info"], BaseKeys());
  EXPECT_EQ(seen["screens"], Json::array());
  std::vector<std::string> endpoints;
  for (const Json& request : seen["requests"]) endpoints.push_back(request["endpoint"].get<std::string>());
  EXPECT_EQ(endpoints, (std::vector<std::string>{"connect", "events", "appConfig"}));
  EXPECT_EQ(seen["totals"]["events"], 2);

  // What the printout has taken is no longer the service's, but still the console's.
  EXPECT_EQ(service_.takeRequests().size(), 3u);
  EXPECT_TRUE(service_.requests().empty());
  EXPECT_EQ(console()["events"], events);
}

TEST_F(ConsoleTest, RefusalsAndFailedUploadsAreScriptedAndFailedScreensNotKept) {
  std::string error;
  ASSERT_TRUE(ApplyScript(service_, Json::parse(R"({"faults": {
      "connect": [{"status": 403, "reason": "Design mode is off."}],
      "uploadScreen": [{"status": 500, "reason": "Storage unavailable.", "times": 2}, {"drop": true}]}})"),
                          error))
      << error;
  auto refused = connect();
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 403);
  EXPECT_EQ(Json::parse(refused->body), Json({{"reason", "Design mode is off."}}));
  EXPECT_EQ(connect()->status, 200);

  Json description = {{"class", "ProductViewController"}, {"views", Json::array({{{"class", "Label"}}})}};
  EXPECT_EQ(upload({{"attempt", 1}}, Png(1, 1, "first"))->status, 500);
  EXPECT_EQ(upload({{"attempt", 2}}, Png(1, 1, "second"))->status, 500);
  EXPECT_FALSE(upload({{"attempt", 3}}, Png(1, 1, "third")));  // cut off mid-answer
  std::string png = Png(360, 640, "kept");
  ASSERT_EQ(upload(description, png)->status, 200);

  std::vector<UploadedScreen> screens = service_.uploadedScreens();
  ASSERT_EQ(screens.size(), 1u);
  EXPECT_EQ(screens[0].sequence, 1u);
  EXPECT_EQ(screens[0].dataset, "ds");
  EXPECT_EQ(screens[0].png, png);
  EXPECT_EQ(screens[0].width, 360);
  EXPECT_EQ(screens[0].height, 640);
  EXPECT_EQ(screens[0].description, description);
  EXPECT_EQ(screens[0].descriptionText, JsonDump(description));
  EXPECT_EQ(screens[0].info[".anonId"], "v-1");

  Json seen = console();
  ASSERT_EQ(seen["connects"].size(), 2u);
  EXPECT_EQ(seen["connects"][1]["accepted"], false);
  EXPECT_EQ(seen["connects"][1]["status"], 403);
  EXPECT_EQ(seen["connects"][1]["reason"], "Design mode is off.");
  EXPECT_EQ(seen["connects"][0]["accepted"], true);
  ASSERT_EQ(seen["screens"].size(), 1u);
  EXPECT_EQ(seen["screens"][0]["image"], "/console/screens/1.png");
  EXPECT_EQ(seen["screens"][0]["description"], description);
  EXPECT_FALSE(seen["screens"][0]["info"].contains(".vcd"));
  // The failed uploads show among the requests only.
  EXPECT_EQ(seen["requests"][3]["reason"], "Storage unavailable.");
  EXPECT_EQ(seen["requests"][1]["dropped"], true);

  httplib::Client browser(service_.host(), service_.port());
  auto image = browser.Get("/console/screens/1.png");
  ASSERT_TRUE(image);
  EXPECT_EQ(image->status, 200);
  EXPECT_EQ(image->get_header_value("Content-Type"), "image/png");
  EXPECT_EQ(image->body, png);
  for (const char* unknown : {"/console/screens/0.png", "/console/screens/2.png",
                              "/console/screens/99999999999999999999999.png"}) {
    EXPECT_EQ(browser.Get(unknown)->status, 404) << unknown;
  }
}

TEST_F(ConsoleTest, PageIsSelfContainedAndNotRecorded) {
  auto page = httplib::Client(service_.host(), service_.port()).Get("/");
  ASSERT_TRUE(page);
  ASSERT_EQ(page->status, 200);
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  for (const char* section : {"Configuration requests", "Events", "Campaigns answered", "Statistics",
                              "Designer connections", "Screens"}) {
    EXPECT_NE(page->body.find(section), std::string::npos) << section;
  }
  // Nothing is fetched from elsewhere: no absolute address anywhere, and
  // every reference stays on the page or on this service.
  EXPECT_EQ(page->body.find("://"), std::string::npos);
  EXPECT_EQ(page->body.find("@import"), std::string::npos);
  std::regex reference(R"re(\b(?:src|href)\s*=\s*["']([^"']*)["'])re");
  int references = 0;
  for (auto it = std::sregex_iterator(page->body.begin(), page->body.end(), reference);
       it != std::sregex_iterator(); ++it, ++references) {
    std::string target = (*it)[1];
    EXPECT_TRUE(target.rfind("#", 0) == 0 || (target.rfind("/", 0) == 0 && target.rfind("//", 0) != 0)) << target;
  }
  EXPECT_GT(references, 0);  // the section links
  EXPECT_TRUE(service_.requests().empty());
}

// Collects the messages of one console stream on a thread of its own.
class StreamReader {
 public:
  explicit StreamReader(const LocalService& service) {
    thread_ = std::thread([this, host = service.host(), port = service.port()] {
      httplib::Client client(host, port);
      auto result = client.Get("/console/stream", [this](const char* data, std::size_t length) {
        std::lock_guard lock(mutex_);
        text_.append(data, length);
        changed_.notify_all();
        return true;
      });
      std::lock_guard lock(mutex_);
      status_ = result ? result->status : -1;
      ended_ = true;
      changed_.notify_all();
    });
  }
  ~StreamReader() {
    if (thread_.joinable()) thread_.join();
  }

  // Waits for a message announcing at least `version`.
  bool waitForVersion(std::uint64_t version) {
    std::unique_lock lock(mutex_);
    return changed_.wait_until(lock, Soon(), [&] {
      std::regex data(R"(data: (\{[^\n]*\})\n\n)");
      for (auto it = std::sregex_iterator(text_.begin(), text_.end(), data); it != std::sregex_iterator(); ++it) {
        if (Json::parse((*it)[1].str())["version"].get<std::uint64_t>() >= version) return true;
      }
      return false;
    });
  }
  bool waitForEnd(steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    return changed_.wait_until(lock, deadline, [&] { return ended_; });
  }
  int status() {
    std::lock_guard lock(mutex_);
    return status_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string text_;
  bool ended_ = false;
  int status_ = 0;
  std::thread thread_;
};

TEST_F(ConsoleTest, StreamAnnouncesEachRequestAndStopDoesNotWaitForIt) {
  StreamReader stream(service_);
  ASSERT_TRUE(stream.waitForVersion(0));
  ASSERT_TRUE(postEvents(Json::array({Event({{"action", "View"}})})));
  EXPECT_TRUE(stream.waitForVersion(1));
  EXPECT_EQ(console()["version"], 1);

  auto start = steady_clock::now();
  service_.stop();
  EXPECT_LT(steady_clock::now() - start, seconds(2));
  EXPECT_TRUE(stream.waitForEnd(Soon()));
}

TEST_F(ConsoleTest, ForgottenStreamsCannotStarveTheSdk) {
  std::vector<std::unique_ptr<StreamReader>> open;
  for (int i = 0; i < 4; ++i) {
    open.push_back(std::make_unique<StreamReader>(service_));
    ASSERT_TRUE(open.back()->waitForVersion(0));
  }
  // The page falls back to polling when its stream is refused.
  StreamReader refused(service_);
  ASSERT_TRUE(refused.waitForEnd(Soon()));
  EXPECT_EQ(refused.status(), 503);
  auto events = postEvents(Json::array({Event({{"action", "View"}})}));
  ASSERT_TRUE(events);
  EXPECT_EQ(events->status, 200);
  service_.stop();
}

TEST(ConsoleModelTest, KeepsTheLatestEntriesAndCountsThemAll) {
  ConsoleModel model(ConsoleModel::Limits{.events = 3, .requests = 2});
  RecordedRequest batch;
  batch.endpoint = Endpoint::kEvents;
  batch.status = 200;
  for (int i = 1; i <= 5; ++i) {
    batch.body = Json::array({{{"action", "a" + std::to_string(i)}}});
    model.add(batch);
  }
  RecordedRequest refused = batch;
  refused.body = Json();  // not an array of events: nothing to show but the request
  refused.status = 400;
  refused.answer = {{"reason", "Expected a JSON array of events."}};
  model.add(refused);

  Json json = model.toJson({});
  std::vector<std::string> actions;
  for (const Json& event : json["events"]) actions.push_back(event["action"].get<std::string>());
  EXPECT_EQ(actions, (std::vector<std::string>{"a5", "a4", "a3"}));
  EXPECT_EQ(json["events"][0]["id"], 5);
  EXPECT_EQ(json["totals"]["events"], 5);
  EXPECT_EQ(json["totals"]["requests"], 6);
  ASSERT_EQ(json["requests"].size(), 2u);
  EXPECT_EQ(json["requests"][0]["reason"], "Expected a JSON array of events.");
  EXPECT_EQ(json["requests"][0]["id"], 6);
}

}  // namespace
}  // namespace tessarin::service

// The event queue under test on the simulated host: a sender whose batches
// the test answers, events that carry an "id", and a fixture that builds
// queues over one simulated file system.
#ifndef TESSARIN_TESTS_TRANSPORT_QUEUED_EVENT_SENDER_FIXTURE_H_
#define TESSARIN_TESTS_TRANSPORT_QUEUED_EVENT_SENDER_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "tessarin/tessarin.h"
#include "transport/gzip.h"
#include "transport/queued_event_sender.h"
#include "util/config.h"

namespace tessarin::queue_test {

using platform::sim::SimPlatform;
using testing::LogCapture;

// Records each batch and lets the test answer it, as the sender would, on
// the main queue.
class FakeEventSender : public TSREventSender {
 public:
  struct Batch {
    Json events;
    std::optional<std::string> timeZone;
    std::string uuid;
    ArraySuccessBlock success;
    FailureBlock failure;
    bool compressedAhead = false;
  };

  std::string urlEvents() const override { return url; }
  std::string sendEvents(const Json& events, const std::optional<std::string>& timeZone, ArraySuccessBlock success,
                         FailureBlock failure) override {
    std::string uuid = "request-" + std::to_string(batches.size() + 1);
    batches.push_back({events, timeZone, uuid, std::move(success), std::move(failure)});
    return uuid;
  }
  // What goes on the wire is the compressed text when the queue made it.
  std::string sendEventBatch(EventBatch batch, const std::optional<std::string>& timeZone, ArraySuccessBlock success,
                             FailureBlock failure) override {
    const bool ahead = !batch.gzip.empty();
    std::string sent = ahead ? tsr_dataByGZipDecompressingDataWithError(batch.gzip).value_or("") : batch.json;
    std::string uuid = sendEvents(Json::parse(sent, nullptr, false), timeZone, std::move(success), std::move(failure));
    batches.back().compressedAhead = ahead;
    return uuid;
  }

  // `as` stands in for the sender the answer claims to come from.
  void succeed(std::size_t i, std::optional<Json> responses = Json::array(), TSREventSender* as = nullptr) {
    batches.at(i).success(as ? as : this, batches[i].uuid, platform::HttpResponse{200, url, {}}, responses);
  }
  void fail(std::size_t i, const TSRError& error, TSREventSender* as = nullptr) {
    batches.at(i).failure(as ? as : this, batches[i].uuid, std::nullopt, error);
  }
  std::vector<std::size_t> batchSizes() const {
    std::vector<std::size_t> sizes;
    for (const auto& b : batches) sizes.push_back(b.events.size());
    return sizes;
  }

  std::string url = "https://acme.api.tessarin.io/events/";
  std::vector<Batch> batches;
};

inline TSRError ConnectivityError() { return {kTSRURLErrorDomain, -1004, "Could not connect to the server.", {}, {}}; }
inline TSRError RejectedError() {
  return {kTessarinSDKIdentifier, 0, "Send request failed, status code 400", "Bad dataset.",
          "Check that the account exists and that the request is formatted properly."};
}

inline Json Event(int id) { return Json{{"id", id}}; }
inline Json Events(int from, int count) {
  Json events = Json::array();
  for (int i = from; i < from + count; ++i) events.push_back(Event(i));
  return events;
}
// An event whose estimate is exactly `bytes`: "id" + its digits + "x" + padding.
inline Json EventOfSize(unsigned long bytes, int id) {
  unsigned long fixed = 2 + std::to_string(id).size() + 1;
  return Json{{"id", id}, {"x", std::string(bytes - fixed, 'a')}};
}
inline std::vector<int> Ids(const Json& events) {
  std::vector<int> ids;
  for (const auto& e : events) ids.push_back(e.value("id", -1));
  return ids;
}
// The file's bytes; nothing when it does not exist.
inline std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
inline std::vector<int> Range(int from, int count) {
  std::vector<int> ids;
  for (int i = from; i < from + count; ++i) ids.push_back(i);
  return ids;
}

class QueuedEventSenderTest : public ::testing::Test {
 protected:
  std::shared_ptr<TSRQueuedEventSender> Make(bool runFirstTask = true) {
    auto queue = TSRQueuedEventSender::initWithEventSender(
        env, sender, config,
        [this](EventQueue* q, const std::string& uuid, const std::optional<platform::HttpResponse>& response,
               const Json& responses) {
          successes.push_back({q, uuid, responses, response.has_value(), sim->isMainThread()});
        },
        [this](EventQueue* q, const std::optional<std::string>& uuid,
               const std::optional<platform::HttpResponse>&, const TSRError& error) {
          failures.push_back({q, uuid, error, sim->isMainThread()});
        });
    if (runFirstTask) sim->runUntilIdle();
    return queue;
  }

  // Starts sending and lets the resume timer (no delay by default) fire.
  void Start(TSRQueuedEventSender& queue) {
    queue.startSendingQueuedEvents();
    sim->advance(0);
  }

  std::string PrivateDirectory() const { return sim->applicationSupportPath() + "/com.tessarin.simhost"; }
  std::string EventsFilePath() const { return PrivateDirectory() + "/Tessarin-events"; }
  std::string JournalPath() const { return PrivateDirectory() + "/Tessarin-events-journal"; }
  void WriteFile(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(PrivateDirectory());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  }
  void WriteEventsFile(const std::string& text) { WriteFile(EventsFilePath(), text); }

  TSREventDiagnostics Counts() const { return env->eventCounters().snapshot(); }

  std::vector<platform::sim::SimTimerInfo> QueueTimers() const {
    std::vector<platform::sim::SimTimerInfo> timers;
    for (const auto& t : sim->activeTimers()) {
      if (t.queue == "com.tessarin.sdk.TSRQueuedEventSender") timers.push_back(t);
    }
    return timers;
  }

  struct Success {
    EventQueue* queue;
    std::string uuid;
    Json responses;
    bool hasResponse;
    bool onMain;
  };
  struct Failure {
    EventQueue* queue;
    std::optional<std::string> uuid;
    TSRError error;
    bool onMain;
  };

  LogCapture log{TSRLogLevelDebug};
  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<TSRUtilityDI> env = std::make_shared<TSRUtilityDI>(sim);
  TSRConfig config{env};
  std::shared_ptr<FakeEventSender> sender = std::make_shared<FakeEventSender>();
  std::vector<Success> successes;
  std::vector<Failure> failures;
  std::vector<std::size_t> completions;  // batches sent when the completion block ran
};

}  // namespace tessarin::queue_test

#endif  // TESSARIN_TESTS_TRANSPORT_QUEUED_EVENT_SENDER_FIXTURE_H_

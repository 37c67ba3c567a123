// The event queue on the host app's UI thread and on its own queue.
//
// Creating the queue happens on the UI thread at start-up, when the queue
// file may hold a full megabyte of events: construction must not pay for
// reading and parsing it. Sending a batch costs taking it off the queue,
// serialising it and compressing it; a full batch is 50 events of about
// 2 KB each.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "transport/gzip.h"
#include "transport/queued_event_sender.h"
#include "util/config.h"
#include "util/json_util.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;

// Words from which the benchmark builds view-controller descriptions, so
// that the text compresses about as well as real descriptions do.
const char* const kWords[] = {"UIView",  "frame",  "label",  "ProductDetailViewController", "button",
                              "hidden",  "alpha",  "0.5",    "UITableViewCell",             "layer",
                              "bounds",  "title",  "Add",    "Cart",                        "image",
                              "price",   "19.99",  "EUR",    "UINavigationController",      "tag"};

// An event as the façade builds it, with a description of `descriptionLength`
// characters under ".vcd".
Json RealisticEvent(std::mt19937& random, int index, std::size_t descriptionLength) {
  std::string description;
  std::uniform_int_distribution<std::size_t> word(0, std::size(kWords) - 1);
  std::uniform_int_distribution<int> number(0, 9999);
  while (description.size() < descriptionLength) {
    description += kWords[word(random)];
    description += ' ';
    description += std::to_string(number(random));
    description += ' ';
  }
  description.resize(descriptionLength);
  return Json{{".mbv", "1.5.0"},
              {".anonId", "6F9619FF-8B86-D011-B42D-00C04FC964FF"},
              {"_anon", "true"},
              {"timestamp", 1767225600000LL + index * 250},
              {".d", "iPhone15,2"},
              {".on", "iOS"},
              {".ov", "17.2"},
              {".an", "com.example.shop"},
              {".av", "4.12.0"},
              {"action", "View Item"},
              {".ri", std::to_string(index % 7)},
              {".itemAction", "View Item"},
              {".item", {{"type", "product"}, {"id", "sku-" + std::to_string(number(random))}}},
              {".vcd", description}};
}

// A host whose "Tessarin-events" holds a full queue: 1000 events,
// about 1 MiB of JSON.
struct FullQueueFile {
  FullQueueFile() {
    std::mt19937 random(7);
    Json events = Json::array();
    for (int i = 0; i < 1000; ++i) events.push_back(RealisticEvent(random, i, 800));
    std::string text = events.dump();
    bytes = text.size();
    std::string path = sim->applicationSupportPath() + "/com.tessarin.simhost";
    std::filesystem::create_directories(path);
    std::ofstream(path + "/" + kTSRQueuedEventsFileName, std::ios::binary) << text;
  }
  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<TSRUtilityDI> env = std::make_shared<TSRUtilityDI>(sim);
  TSRConfig config{env};
  std::size_t bytes = 0;
};

class NoSender : public TSREventSender {
 public:
  std::string urlEvents() const override { return ""; }
  std::string sendEvents(const Json&, const std::optional<std::string>&, ArraySuccessBlock, FailureBlock) override {
    return "";
  }
};

// What the caller of the constructor pays. The simulated host runs the
// queue's first task (the load) only when the benchmark lets it, outside
// the timed region.
void BM_ConstructOverFullQueueFile(benchmark::State& state) {
  FullQueueFile host;
  auto sender = std::make_shared<NoSender>();
  std::size_t loaded = 0;
  for (auto _ : state) {
    auto queue = TSRQueuedEventSender::initWithEventSender(host.env, sender, host.config, nullptr, nullptr);
    benchmark::DoNotOptimize(queue.get());
    state.PauseTiming();
    host.sim->runUntilIdle();
    loaded = queue->eventQueueCount();
    queue.reset();
    state.ResumeTiming();
  }
  if (loaded != 1000) state.SkipWithError("the file did not load completely");
  state.SetLabel(std::to_string(host.bytes) + " bytes in the file, loaded later on the queue");
}
// Each iteration also loads the file untimed, so the count is fixed: left
// to itself the library would run until the microseconds added up.
BENCHMARK(BM_ConstructOverFullQueueFile)->Unit(benchmark::kMicrosecond)->Iterations(200);

// The load itself, as the queue's first task runs it: what construction
// would cost the UI thread if it read the file there.
void BM_LoadFullQueueFileOnTheQueue(benchmark::State& state) {
  FullQueueFile host;
  auto sender = std::make_shared<NoSender>();
  std::size_t loaded = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto queue = TSRQueuedEventSender::initWithEventSender(host.env, sender, host.config, nullptr, nullptr);
    state.ResumeTiming();
    host.sim->runUntilIdle();
    state.PauseTiming();
    loaded = queue->eventQueueCount();
    queue.reset();
    state.ResumeTiming();
  }
  if (loaded != 1000) state.SkipWithError("the file did not load completely");
  state.SetLabel(std::to_string(host.bytes) + " bytes");
}
BENCHMARK(BM_LoadFullQueueFileOnTheQueue)->Unit(benchmark::kMillisecond);

// Taking a full batch (50 events, about 100 KB estimated), serialising it
// and gzip-compressing it, as one send pass does.
void BM_TakeSerialiseAndCompressFullBatch(benchmark::State& state) {
  auto sim = std::make_shared<SimPlatform>();
  auto env = std::make_shared<TSRUtilityDI>(sim);
  TSRConfig config{env};
  auto sender = std::make_shared<NoSender>();
  std::mt19937 random(11);
  Json batchEvents = Json::array();
  unsigned long estimate = 0;
  for (int i = 0; i < 50; ++i) {
    batchEvents.push_back(RealisticEvent(random, i, 1800));
    estimate += TSRQueuedEventSender::estimateSizeOfEvent(batchEvents.back());
  }
  std::size_t jsonBytes = 0, gzipBytes = 0, taken = 0;
  for (auto _ : state) {
    // A fresh queue each time: the queue's byte estimate never falls when
    // batches are taken, so a reused one would soon trim what is added.
    state.PauseTiming();
    auto queue = TSRQueuedEventSender::initWithEventSender(env, sender, config, nullptr, nullptr);
    sim->runUntilIdle();
    queue->enqueueEventsForTest(batchEvents);
    state.ResumeTiming();

    TSREventSender::EventBatch batch;
    queue->dispatchQueue()->sync([&] { batch = queue->takeBatch(); });
    auto gzip = tsr_dataByGZipCompressingWithError(batch.json);
    benchmark::DoNotOptimize(gzip);

    state.PauseTiming();
    taken = batch.count;
    jsonBytes = batch.json.size();
    gzipBytes = gzip ? gzip->size() : 0;
    queue.reset();
    state.ResumeTiming();
  }
  if (taken != 50) state.SkipWithError("the batch was not full");
  state.SetLabel(std::to_string(taken) + " events, " + std::to_string(estimate) + " estimated bytes, " +
                 std::to_string(jsonBytes) + " bytes of JSON, " + std::to_string(gzipBytes) + " gzipped");
}
BENCHMARK(BM_TakeSerialiseAndCompressFullBatch)->Unit(benchmark::kMicrosecond)->Iterations(300);

}  // namespace
}  // namespace tessarin

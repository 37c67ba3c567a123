// What the event journal costs the host app's UI thread.
//
// sendAction on a Linux host with real threads: the façade builds the
// record on the calling thread and hands it to the queue, whose private
// thread numbers and journals it while the caller goes on, and whose
// journal thread writes and syncs the file. The throttle is lifted, so
// every event is journaled (and, past 1000 queued, trimmed and journaled
// again as removed). Each call is timed on its own, for the median and the
// 99th percentile. "NoDisk" is the same host with a data directory that
// cannot exist, so the queue has no files and no journal.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/linux/linux_platform.h"
#include "transport/event_journal.h"
#include "transport/queued_event_sender.h"

namespace tessarin {
namespace {

using platform::linux_host::LinuxHostOptions;
using platform::linux_host::LinuxPlatform;

// The host app's main loop: the benchmark's thread, which runs what the
// SDK posts to it when the benchmark lets it (outside the timed calls).
class MainLoop {
 public:
  void post(std::function<void()> task) {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  void drain() {
    for (;;) {
      std::function<void()> task;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (tasks_.empty()) return;
        task = std::move(tasks_.front());
        tasks_.pop_front();
      }
      task();
    }
  }

 private:
  std::mutex mutex_;
  std::deque<std::function<void()>> tasks_;
};

// Keeps the queue the façade makes, so the benchmark can wait for it.
class CapturingEnvironment : public TSRUtilityDI {
 public:
  using TSRUtilityDI::TSRUtilityDI;
  std::shared_ptr<EventQueue> queuedEventSenderWithSender(const std::shared_ptr<HttpSender>& sender,
                                                          const TSRConfig& config, EventQueueSuccessBlock success,
                                                          EventQueueFailureBlock failure) override {
    auto queue = TSRUtilityDI::queuedEventSenderWithSender(sender, config, std::move(success), std::move(failure));
    made = std::dynamic_pointer_cast<TSRQueuedEventSender>(queue);
    return queue;
  }
  std::shared_ptr<TSRQueuedEventSender> made;
};

void SendActionOnLinuxHost(benchmark::State& state, bool disk) {
  char pattern[] = "/tmp/tessarin-bench-XXXXXX";
  const std::string directory = mkdtemp(pattern);
  MainLoop loop;
  LinuxHostOptions options;
  options.bundle_identifier = "com.tessarin.bench";
  options.data_directory = disk ? directory : "/dev/null/none";
  options.post_to_main = [&loop](platform::Task task) { loop.post(std::move(task)); };
  options.main_thread = std::this_thread::get_id();
  auto host = std::make_shared<LinuxPlatform>(options);
  auto env = std::make_shared<CapturingEnvironment>(host);
  auto facade = TessarinImpl::createWithEnvironment(env);
  host->postLifecycle(platform::kApplicationDidFinishLaunchingNotification);
  // Port 9 is never answered: without a server configuration the queue
  // holds its events, as it does while the service is out of reach.
  facade->startWithConfiguration(Json{{"account", "bench"},
                                      {"dataset", "shop"},
                                      {"domain", "127.0.0.1"},
                                      {"protocol", "http"},
                                      {"port", 9},
                                      {"useCDN", false},
                                      {"eventThrottleLimit", 1e9}});
  loop.drain();
  if (!env->made) {
    state.SkipWithError("the façade made no event queue");
    return;
  }

  std::vector<double> nanoseconds;
  nanoseconds.reserve(1 << 20);
  Json fields = {{".pv", ""}};
  long sent = 0;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    facade->sendAction("View Screen", "Global", fields);
    auto end = std::chrono::steady_clock::now();
    nanoseconds.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
    // An app sends a few events a second, not a million: every hundred
    // calls the queue is let catch up, untimed, so that its backlog stays
    // what an app would see.
    if (++sent % 100 == 0) {
      loop.drain();
      env->made->eventQueueCount();
    }
  }
  env->made->eventQueueCount();
  const std::string journal = directory + "/com.tessarin.bench/" + EventJournal::kFileName;
  const bool journaled = std::filesystem::exists(journal);
  facade.reset();
  loop.drain();
  host->shutdown();
  std::filesystem::remove_all(directory);
  if (journaled != disk) state.SkipWithError(disk ? "no journal was written" : "a journal was written");

  std::sort(nanoseconds.begin(), nanoseconds.end());
  auto at = [&](double q) { return nanoseconds[static_cast<std::size_t>(q * (nanoseconds.size() - 1))]; };
  state.counters["p50_ns"] = at(0.5);
  state.counters["p99_ns"] = at(0.99);
}

void BM_SendActionJournaled(benchmark::State& state) { SendActionOnLinuxHost(state, true); }
void BM_SendActionNoDisk(benchmark::State& state) { SendActionOnLinuxHost(state, false); }
BENCHMARK(BM_SendActionJournaled)->UseManualTime()->Iterations(200000)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_SendActionNoDisk)->UseManualTime()->Iterations(200000)->Unit(benchmark::kNanosecond);

}  // namespace
}  // namespace tessarin

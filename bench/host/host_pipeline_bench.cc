// The event pipeline on the Linux host, as an app sees it: the app's own
// thread records events as fast as it can, the SDK sends them to the local
// service (a process of its own, answering one event response per event)
// over loopback, and the figures are what the app would notice: events
// delivered per second, what each call costs the calling thread, bytes per
// event on the wire, and the process's resident memory.
//
// The host is configured once per process, so each benchmark runs in a
// process of its own; the memory benchmark measures a separate app
// (tessarin-memory-app, memory_app.cc), so that the benchmark library is
// not in the figure:
//   tessarin_host_bench --benchmark_filter=HostEndToEnd
//   tessarin_host_bench --benchmark_filter='HostMemory/1/'
//   tessarin_host_bench --benchmark_filter='HostMemory/20000/'
//   tessarin_host_bench --benchmark_filter=HostSoak   (a million events)
#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <cctype>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app_helpers.h"
#include "core/tessarin_impl.h"
#include "tessarin/host.h"
#include "tessarin/tessarin.h"

extern char** environ;

namespace tessarin {
namespace {

using Clock = std::chrono::steady_clock;

// Starts `argv` (null entries left out) with its standard output on a
// pipe, which it returns; null if it could not be started.
FILE* Spawn(std::initializer_list<const char*> arguments, pid_t* pid) {
  std::vector<char*> argv;
  for (const char* argument : arguments) {
    if (argument) argv.push_back(const_cast<char*>(argument));
  }
  argv.push_back(nullptr);
  int fds[2];
  if (pipe(fds) != 0) return nullptr;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  int failed = posix_spawn(pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  if (failed) {
    close(fds[0]);
    return nullptr;
  }
  return fdopen(fds[0], "r");
}

bool ReadLine(FILE* in, std::string& line) {
  line.clear();
  for (int c; (c = std::fgetc(in)) != EOF;) {
    if (c == '\n') return true;
    line.push_back(static_cast<char>(c));
  }
  return false;
}

// The local service in a process of its own, so that its memory and its
// threads are not the app's. It prints its totals when asked.
class ServiceProcess {
 public:
  struct Totals {
    unsigned long events = 0;
    unsigned long long bytes = 0;
    unsigned long long cpuMillis = 0;
  };

  bool start() {
    // The service counts and answers without keeping what it is sent, so
    // that what is measured is the SDK; TESSARIN_BENCH_FULL_SERVICE=1 has
    // it parse and keep everything, as it does for tests and the console.
    const bool full = std::getenv("TESSARIN_BENCH_FULL_SERVICE") != nullptr;
    out_ = Spawn({TESSARIN_SERVICE_PATH, "--quiet", full ? nullptr : "--count-only"}, &pid_);
    if (!out_) return false;
    // "Tessarin local service listening on http://127.0.0.1:PORT"
    std::string line;
    while (ReadLine(out_, line)) {
      auto at = line.find("listening on http://127.0.0.1:");
      if (at != std::string::npos) {
        port_ = std::atoi(line.c_str() + at + 30);
        return port_ > 0;
      }
    }
    return false;
  }

  Totals totals() {
    Totals totals;
    kill(pid_, SIGUSR1);
    std::string line;
    while (ReadLine(out_, line)) {
      if (std::sscanf(line.c_str(), "totals: requests %*u events %lu bytes %llu cpu_ms %llu", &totals.events,
                      &totals.bytes, &totals.cpuMillis) == 3) {
        break;
      }
    }
    return totals;
  }

  ~ServiceProcess() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
    if (out_) fclose(out_);
  }

  int port() const { return port_; }

 private:
  pid_t pid_ = -1;
  FILE* out_ = nullptr;
  int port_ = 0;
};

// The app: the host set up once for the process (by the first benchmark
// that asks), its data in a fresh directory, started against the service
// with no throttle, the byte limit on the queue's content and `settings`.
struct App {
  ServiceProcess service;
  std::shared_ptr<Tessarin> sdk;
  std::filesystem::path dataDirectory;
  bool ready = false;

  static App& shared(const Json& settings) {
    static App app(settings);
    return app;
  }

 private:
  explicit App(const Json& settings) {
    if (!service.start()) return;
    dataDirectory = std::filesystem::temp_directory_path() / ("tessarin-host-bench-" + std::to_string(getpid()));
    TessarinHostOptions options;
    options.bundleIdentifier = "com.tessarin.bench";
    options.bundleVersion = "1.0";
    options.dataDirectory = dataDirectory.string();
    TessarinHost::configure(options);
    sdk = Tessarin::sharedInstance();
    TessarinHost::applicationDidFinishLaunching();
    Json configuration{{"account", "bench"},
                       {"dataset", "shop"},
                       {"domain", "127.0.0.1"},
                       {"protocol", "http"},
                       {"port", service.port()},
                       {"useCDN", false},
                       {"eventThrottleLimit", 100000000},
                       {"eventQueueByteLimitOnContent", true}};
    for (const auto& [key, value] : settings.items()) configuration[key] = value;
    sdk->startWithConfiguration(configuration);
    TessarinHost::applicationDidBecomeActive();
    auto deadline = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < deadline) {
      TessarinHost::syncWithMain();
      if (sdk->isServerConfigLoaded()) {
        ready = true;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  ~App() { std::filesystem::remove_all(dataDirectory); }
};

double Percentile(std::vector<double>& samples, double p) {
  if (samples.empty()) return 0;
  auto at = samples.begin() + static_cast<long>(p * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), at, samples.end());
  return *at;
}

double PeakRssMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

// User and system time of every thread of this process so far.
double ProcessCpuMillis() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
         (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

// CPU time so far of each of this process's threads, by name, in
// milliseconds (threads of one name summed), from the scheduler's own
// count in nanoseconds: the clock ticks of /proc/.../stat are too coarse
// to tell two builds apart.
std::map<std::string, double> ThreadCpuMillis() {
  std::map<std::string, double> millis;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream comm(task.path() / "comm");
    std::ifstream schedstat(task.path() / "schedstat");
    std::string name;
    unsigned long long nanos = 0;
    if (!std::getline(comm, name) || !(schedstat >> nanos)) continue;
    millis[name] += static_cast<double>(nanos) / 1e6;
  }
  return millis;
}

// Records `events` events from this (the app's) thread as fast as it can,
// timing every call, then waits until each has been sent or dropped; the
// throughput benchmark's queue has room for all, so none is dropped there.
void RecordAndDrain(benchmark::State& state, App& app, long events, std::vector<double>& callNanos) {
  auto sdk = TessarinImpl::shared();
  auto diagnostics = app.sdk->eventDiagnostics();
  std::uint64_t settledBefore = diagnostics.eventsSent + diagnostics.dropped();
  for (long i = 0; i < events; ++i) {
    // The attributes are the app's work, outside the timing; built one by
    // one, so that the app holds no more than one event's worth.
    Json fields = bench::EightAttributes(i);
    auto begin = Clock::now();
    sdk->sendAction("Bench Action", "Global", std::move(fields));
    callNanos.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
  }
  // Waits as an app would, asleep until the SDK says the queue is empty:
  // polling the counters would take a core's share from the pipeline.
  app.sdk->flush(120);
  if (!bench::WaitForSettled(app.sdk, settledBefore + static_cast<std::uint64_t>(events), 5)) {
    state.SkipWithError("events were neither all delivered nor dropped");
  }
}

void BM_HostEndToEnd(benchmark::State& state) {
  // Room for every event recorded, so that all are delivered.
  App& app = App::shared(Json{{"maxEventsInQueue", 100000}});
  if (!app.ready) {
    state.SkipWithError("the local service or the server configuration did not come");
    return;
  }
  const long events = state.range(0);
  std::vector<double> callNanos;
  auto before = app.service.totals();
  const double cpuBefore = ProcessCpuMillis();
  auto threadsBefore = ThreadCpuMillis();
  for (auto _ : state) {
    RecordAndDrain(state, app, events, callNanos);
  }
  const double cpuAfter = ProcessCpuMillis();
  auto after = app.service.totals();
  state.SetItemsProcessed(state.iterations() * events);
  // CPU time per event, which load on the machine changes far less than
  // the rate: the app's process (the SDK's threads and the app's loop) and
  // the service's.
  const double delivered = static_cast<double>(state.iterations() * events);
  state.counters["app_cpu_us_per_event"] = (cpuAfter - cpuBefore) * 1e3 / delivered;
  state.counters["service_cpu_us_per_event"] = static_cast<double>(after.cpuMillis - before.cpuMillis) * 1e3 / delivered;
  state.counters["call_p50_ns"] = Percentile(callNanos, 0.50);
  state.counters["call_p99_ns"] = Percentile(callNanos, 0.99);
  if (after.events > before.events) {
    state.counters["wire_bytes_per_event"] =
        static_cast<double>(after.bytes - before.bytes) / static_cast<double>(after.events - before.events);
  }
  state.counters["peak_rss_MiB"] = PeakRssMiB();
  // TESSARIN_BENCH_THREADS=1: where the app's CPU went, by thread (the
  // app's own carries the program's name).
  if (std::getenv("TESSARIN_BENCH_THREADS")) {
    for (auto& [name, millis] : ThreadCpuMillis()) {
      double spent = millis - threadsBefore[name];
      if (spent > 0.001) std::fprintf(stderr, "%8.2f us/event  %s\n", spent * 1e3 / delivered, name.c_str());
    }
  }
}
BENCHMARK(BM_HostEndToEnd)->Arg(3000)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);

// An app that starts, records, drains and stops (tessarin-memory-app, in a
// process of its own): its peak resident memory, and what stays resident
// after the stop.
void BM_HostMemory(benchmark::State& state) {
  ServiceProcess service;
  if (!service.start()) {
    state.SkipWithError("the local service did not start");
    return;
  }
  const auto dataDirectory =
      std::filesystem::temp_directory_path() / ("tessarin-memory-app-" + std::to_string(getpid()));
  for (auto _ : state) {
    std::filesystem::remove_all(dataDirectory);
    const std::string port = std::to_string(service.port());
    const std::string count = std::to_string(state.range(0));
    pid_t pid = -1;
    FILE* out = Spawn({TESSARIN_MEMORY_APP_PATH, port.c_str(), count.c_str(), dataDirectory.c_str()}, &pid);
    if (!out) {
      state.SkipWithError("the memory app did not start");
      break;
    }
    std::string line;
    double peak = 0, afterStop = 0;
    unsigned long long sent = 0, dropped = 0;
    bool measured = ReadLine(out, line) &&
                    std::sscanf(line.c_str(), "peak_rss_MiB %lf rss_after_stop_MiB %lf sent %llu dropped %llu", &peak,
                                &afterStop, &sent, &dropped) == 4;
    fclose(out);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!measured || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      state.SkipWithError("the memory app did not finish");
      break;
    }
    state.counters["peak_rss_MiB"] = peak;
    state.counters["rss_after_stop_MiB"] = afterStop;
    state.counters["sent"] = static_cast<double>(sent);
    state.counters["dropped"] = static_cast<double>(dropped);
  }
  std::filesystem::remove_all(dataDirectory);
}
BENCHMARK(BM_HostMemory)->Arg(1)->Arg(20000)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

// A long run: a million events in rounds the queue can hold (so the byte
// limit drops none), each round drained before the next. Every event must
// arrive, the resident memory must stay within 2 MiB of what it was after
// warm-up, and the queue's files must stay small.
void BM_HostSoak(benchmark::State& state) {
  App& app = App::shared(Json::object());
  if (!app.ready) {
    state.SkipWithError("the local service or the server configuration did not come");
    return;
  }
  const long total = state.range(0);
  const long round = 1000;
  const long warmUp = std::min(total / 10, 100000L);
  std::vector<double> callNanos;
  double rssAfterWarmUp = 0;
  double rssMax = 0;
  std::uintmax_t largestFile = 0;
  auto before = app.service.totals();
  // The largest file the SDK keeps (the queue's file and its journal among them).
  auto largestFileNow = [&] {
    std::uintmax_t largest = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(app.dataDirectory, error)) {
      if (entry.is_regular_file(error)) largest = std::max(largest, entry.file_size(error));
    }
    return largest;
  };
  for (auto _ : state) {
    for (long recorded = 0; recorded < total; recorded += round) {
      callNanos.clear();
      RecordAndDrain(state, app, round, callNanos);
      double rss = bench::StatusMiB("VmRSS");
      if (recorded + round <= warmUp) {
        rssAfterWarmUp = rss;
      } else {
        rssMax = std::max(rssMax, rss);
      }
      largestFile = std::max(largestFile, largestFileNow());
    }
  }
  auto after = app.service.totals();
  auto diagnostics = app.sdk->eventDiagnostics();
  state.SetItemsProcessed(total);
  state.counters["delivered"] = static_cast<double>(after.events - before.events);
  state.counters["dropped"] = static_cast<double>(diagnostics.dropped());
  state.counters["rss_after_warm_up_MiB"] = rssAfterWarmUp;
  state.counters["rss_growth_MiB"] = rssMax - rssAfterWarmUp;
  state.counters["largest_file_KiB"] = static_cast<double>(largestFile) / 1024.0;
  if (static_cast<long>(after.events - before.events) != total || diagnostics.dropped() != 0) {
    state.SkipWithError("not every event was delivered");
  } else if (rssMax - rssAfterWarmUp > 2.0) {
    state.SkipWithError("resident memory grew by more than 2 MiB after warm-up");
  }
}
BENCHMARK(BM_HostSoak)->Arg(1000000)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);

}  // namespace
}  // namespace tessarin

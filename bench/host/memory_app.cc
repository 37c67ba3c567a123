// tessarin-memory-app: the smallest Linux app that uses Tessarin, for
// measuring the memory an app pays for it. It links the static library as
// any app does and starts the SDK through its public interface against the
// local service; its actions, eight string attributes each, are the same as
// the throughput benchmark's (the SDK's own sendAction entry). It records
// COUNT of them as fast as it can, waits until every one is delivered or
// dropped, stops, and prints one line:
//
//   peak_rss_MiB P rss_after_stop_MiB R sent S dropped D
//
//   tessarin-memory-app PORT COUNT DATA_DIRECTORY
//
// The benchmark that runs it (BM_HostMemory) starts the service; a process
// of its own keeps the benchmark library and harness out of the figure.
// TESSARIN_BENCH_RSS_BY_MAPPING=1 also prints where the memory is.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "app_helpers.h"
#include "core/tessarin_impl.h"
#include "tessarin/host.h"
#include "tessarin/tessarin.h"

int main(int argc, char** argv) {
  using namespace tessarin;
  if (argc != 4) {
    std::fprintf(stderr, "usage: tessarin-memory-app PORT COUNT DATA_DIRECTORY\n");
    return 64;
  }
  const int port = std::atoi(argv[1]);
  const long count = std::atol(argv[2]);

  TessarinHostOptions options;
  options.bundleIdentifier = "com.tessarin.bench";
  options.bundleVersion = "1.0";
  options.dataDirectory = argv[3];
  TessarinHost::configure(options);
  std::shared_ptr<Tessarin> sdk = Tessarin::sharedInstance();
  TessarinHost::applicationDidFinishLaunching();
  // The queue's default limits, with the byte limit on: what an app that
  // records faster than the SDK can send keeps resident.
  sdk->startWithConfiguration(Json{{"account", "bench"},
                                   {"dataset", "shop"},
                                   {"domain", "127.0.0.1"},
                                   {"protocol", "http"},
                                   {"port", port},
                                   {"useCDN", false},
                                   {"eventThrottleLimit", 100000000},
                                   {"eventQueueByteLimitOnContent", true}});
  TessarinHost::applicationDidBecomeActive();
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!sdk->isServerConfigLoaded()) {
    if (std::chrono::steady_clock::now() > deadline) {
      std::fprintf(stderr, "the server configuration did not come\n");
      return 1;
    }
    TessarinHost::syncWithMain();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }

  auto before = sdk->eventDiagnostics();
  auto impl = TessarinImpl::shared();
  for (long i = 0; i < count; ++i) impl->sendAction("Bench Action", "Global", bench::EightAttributes(i));
  if (!bench::WaitForSettled(sdk, before.eventsSent + before.dropped() + static_cast<std::uint64_t>(count), 120)) {
    std::fprintf(stderr, "events were neither all delivered nor dropped\n");
    return 1;
  }
  auto after = sdk->eventDiagnostics();
  sdk->stop();
  TessarinHost::syncWithMain();
  std::printf("peak_rss_MiB %.3f rss_after_stop_MiB %.3f sent %llu dropped %llu\n", bench::StatusMiB("VmHWM"),
              bench::StatusMiB("VmRSS"), static_cast<unsigned long long>(after.eventsSent - before.eventsSent),
              static_cast<unsigned long long>(after.dropped()));
  std::fflush(stdout);
  if (std::getenv("TESSARIN_BENCH_RSS_BY_MAPPING")) bench::PrintRssByMapping();
  return 0;
}

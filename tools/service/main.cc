// tessarin-service: runs the local Tessarin service on its own, so that a
// host app developer can point their app at it and see what the SDK sends,
// as JSON lines here and on the console page it serves.
#include <malloc.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "service/local_service.h"
#include "service/script.h"

namespace {

volatile std::sig_atomic_t gStop = 0;
volatile std::sig_atomic_t gTotalsWanted = 0;
void OnSignal(int) { gStop = 1; }
void OnTotalsSignal(int) { gTotalsWanted = 1; }

// The totals line of --quiet runs.
void PrintTotals(const tessarin::service::LocalService& service) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const double cpuMillis = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
                           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
  auto counts = service.counts();
  std::cout << "totals: requests " << counts.requests << " events " << counts.events << " bytes "
            << counts.wireBytes << " cpu_ms " << static_cast<unsigned long long>(cpuMillis) << "\n"
            << std::flush;
}

void PrintUsage(const tessarin::service::LocalService& service) {
  std::cout << "Usage: tessarin-service [--port N] [--https] [--script FILE] [--record FILE] [--quiet] [--count-only]\n"
            << "\n"
            << "Serves the Tessarin events, app-configuration and editor endpoints on\n"
            << "127.0.0.1 and prints every request it receives as one JSON line.\n"
            << "\n"
            << "Its console, a page at the service's own address (printed at start as\n"
            << "\"Console: http://127.0.0.1:PORT/\"), shows the configuration requests, the\n"
            << "events, the campaigns answered, the statistics, the designer's connections\n"
            << "and uploaded screens as they arrive; /console.json has the same for scripts.\n"
            << "With --https the browser must be told to accept the generated certificate.\n"
            << "\n"
            << "  --port N       listen on port N (default: a free port, printed at start)\n"
            << "  --https        serve TLS with a certificate generated at start\n"
            << "  --script FILE  answers to give (campaigns, app configuration, faults);\n"
            << "                 the JSON format is described in tools/service/script.h\n"
            << "  --record FILE  also append every request to FILE as JSON lines\n"
            << "  --quiet        print no requests, only a line of totals (requests, events,\n"
            << "                 request body bytes, CPU time) on SIGUSR1 and at exit\n"
            << "  --count-only   for load runs: answer each batch of events from a count of\n"
            << "                 its elements, keeping nothing but counts (no console, no\n"
            << "                 scripted event answers)\n"
            << "\n"
            << "Without a script every dataset gets the empty app configuration and\n"
            << "every event an empty list of campaigns.\n"
            << "\n"
            << service.clientConfigurationHint();
}

}  // namespace

int main(int argc, char** argv) {
  // Each request is answered on a pooled thread whose allocator arena would
  // otherwise hand its free top back to the kernel after every answer (the
  // response's compressor alone takes 256 KiB), which under load costs more
  // than the answering: a process of its own may keep what it freed.
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
  mallopt(M_MMAP_THRESHOLD, 16 << 20);
  tessarin::service::LocalService::Options options;
  std::string scriptPath;
  bool quiet = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    bool hasValue = i + 1 < argc;
    if (arg == "--help" || arg == "-h") {
      PrintUsage(tessarin::service::LocalService(options));
      return 0;
    } else if (arg == "--quiet") {
      quiet = true;
    } else if (arg == "--count-only") {
      options.countOnly = true;
    } else if (arg == "--https") {
      options.https = true;
    } else if (arg == "--port" && hasValue) {
      options.port = std::atoi(argv[++i]);
    } else if (arg == "--script" && hasValue) {
      scriptPath = argv[++i];
    } else if (arg == "--record" && hasValue) {
      options.recordPath = argv[++i];
    } else {
      std::cerr << "tessarin-service: unknown or incomplete option " << arg << " (see --help)\n";
      return 2;
    }
  }

  tessarin::service::LocalService service(options);
  tessarin::Json script = tessarin::Json::object();
  std::string error;
  if (!scriptPath.empty() && !tessarin::service::ReadScriptFile(scriptPath, script, error)) {
    std::cerr << "tessarin-service: " << error << "\n";
    return 2;
  }
  // A script that names its datasets serves only those (the others get 404,
  // as datasets that do not exist do); otherwise every dataset is served.
  if (!script.is_object() || !script.contains("appConfig")) {
    service.setAppConfig("*", tessarin::Json::object());
  }
  if (!tessarin::service::ApplyScript(service, script, error)) {
    std::cerr << "tessarin-service: " << error << "\n";
    return 2;
  }
  if (!service.start()) {
    std::cerr << "tessarin-service: " << service.error() << "\n";
    return 1;
  }
  std::signal(SIGINT, OnSignal);
  std::signal(SIGTERM, OnSignal);
  std::signal(SIGUSR1, OnTotalsSignal);
  std::cout << "Tessarin local service listening on " << service.baseUrl() << "\n"
            << "Console: " << service.consoleUrl() << "\n"
            << service.clientConfigurationHint() << std::flush;

  // Print each request as it is answered, until interrupted. Printed
  // requests are let go: the console keeps its own bounded account.
  auto drain = [&] {
    for (const auto& request : service.takeRequests()) {
      if (!quiet) std::cout << tessarin::JsonDump(request.toJson()) << "\n" << std::flush;
    }
  };
  while (!gStop) {
    service.waitForRequests(1, std::chrono::steady_clock::now() + std::chrono::milliseconds(quiet ? 20 : 200));
    drain();
    if (gTotalsWanted) {
      gTotalsWanted = 0;
      PrintTotals(service);
    }
  }
  service.stop();
  drain();
  if (quiet) PrintTotals(service);
  return 0;
}

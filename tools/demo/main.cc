// tessarin-demo: a shop app that takes part in the service through the
// Tessarin SDK, on the simulated host (sim_session.cc) or on the Linux host
// (linux_session.cc).
//
// By default the demo starts the local Tessarin service on a free loopback
// port and points the SDK at it (demo_service.cc); with --config FILE it
// starts the SDK with that client configuration and talks to that service
// instead. It runs the app's session, waits until every event has been
// delivered, prints what the app did, what was sent and what came back, and
// exits 0. The service answers with a data campaign for the demo's own
// target ("home-banner") and one for each --handle TARGET, and the app's
// handlers print each campaign they receive as one line:
//   campaign: <target> <the campaign's data as compact JSON>
#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <string>

#include "demo/demo_service.h"
#include "demo/design_session.h"
#include "demo/linux_session.h"
#include "demo/options.h"
#include "demo/sim_session.h"

namespace {

std::string TemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tessarin-demo-XXXXXX").string();
  const char* made = mkdtemp(pattern.data());
  return made ? made : "";
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tessarin::demo;
  Options options;
  std::string error;
  if (!ParseOptions(argc, argv, &options, &error)) {
    if (error.empty()) {
      PrintUsage();
      return 0;
    }
    std::cerr << "tessarin-demo: " << error << " (see --help)\n";
    return 2;
  }

  auto service = PrepareService(options);
  if (!service) return options.config_file.empty() ? 1 : 2;

  std::string data_dir = options.data_dir;
  if (data_dir.empty()) {
    data_dir = TemporaryDirectory();
    if (data_dir.empty()) {
      std::cerr << "tessarin-demo: could not make a temporary data directory\n";
      return 1;
    }
  }
  int status = options.design                 ? RunDesignSession(options, *service, data_dir)
               : options.host == Host::kLinux ? RunLinuxApp(options, *service, data_dir)
                                              : RunSimSession(options, *service, data_dir);
  if (options.data_dir.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(data_dir, ignored);
  }
  AbandonService(*service);
  return status;
}

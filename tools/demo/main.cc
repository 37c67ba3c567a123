// tessarin-demo: a small host application on Linux that takes part in the
// service through the Tessarin SDK and prints the SDK's log.
//
//   tessarin-demo [--account NAME --dataset NAME | --config FILE]
//                 [--data-dir DIR] [--log-level N]
//
// --config FILE holds the client configuration as a JSON object (the keys
// "account", "dataset" and any others such as "domain", "protocol", "port").
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "tessarin/host.h"
#include "tessarin/log.h"
#include "tessarin/tessarin.h"

namespace {

struct Options {
  std::string account = "demo-account";
  std::string dataset = "demo-dataset";
  std::string config_file;
  std::string data_dir;
  long log_level = tessarin::TSRLogLevelDebug;
};

void Usage() {
  std::cout << "usage: tessarin-demo [--account NAME --dataset NAME | --config FILE]\n"
               "                     [--data-dir DIR] [--log-level N]\n";
}

bool Parse(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    auto value = [&](std::string* out) {
      if (i + 1 >= argc) return false;
      *out = argv[++i];
      return true;
    };
    std::string level;
    if (arg == "--account" && value(&options->account)) continue;
    if (arg == "--dataset" && value(&options->dataset)) continue;
    if (arg == "--config" && value(&options->config_file)) continue;
    if (arg == "--data-dir" && value(&options->data_dir)) continue;
    if (arg == "--log-level" && value(&level)) {
      options->log_level = std::strtol(level.c_str(), nullptr, 10);
      continue;
    }
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, &options)) {
    Usage();
    return 2;
  }

  tessarin::Json client = {{"account", options.account}, {"dataset", options.dataset}};
  if (!options.config_file.empty()) {
    std::ifstream in(options.config_file);
    std::stringstream text;
    text << in.rdbuf();
    client = tessarin::Json::parse(text.str(), nullptr, false);
    if (!in || client.is_discarded() || !client.is_object()) {
      std::cerr << "tessarin-demo: " << options.config_file << " does not hold a JSON object\n";
      return 2;
    }
  }

  tessarin::TessarinHostOptions host;
  host.bundleIdentifier = "com.tessarin.demo";
  host.bundleVersion = "1.0.0";
  if (!options.data_dir.empty()) host.dataDirectory = options.data_dir;
  tessarin::TessarinHost::configure(host);

  // The level goes first so the SDK's whole start is visible.
  tessarin::TSRLogger::setLogLevel(options.log_level);
  auto sdk = tessarin::Tessarin::sharedInstance();
  sdk->setLogLevel(options.log_level);

  tessarin::TessarinHost::applicationDidFinishLaunching();
  tessarin::TessarinHost::applicationDidBecomeActive();
  if (options.config_file.empty()) {
    sdk->startWithTessarinAccountKey(options.account, options.dataset);
  } else {
    sdk->startWithConfiguration(client);
  }
  sdk->setUserId("demo-user");
  sdk->setUserAttribute("gold", "tier");
  tessarin::TessarinHost::syncWithMain();

  std::cout << "demo: started=" << sdk->started() << " running=" << sdk->running()
            << " disabled=" << sdk->disabled() << " userId=" << sdk->userId().value_or("(none)")
            << " anonymousId=" << sdk->anonymousId().value_or("(none)") << std::endl;

  sdk->stop();
  tessarin::TessarinHost::syncWithMain();
  std::cout << "demo: stopped, started=" << sdk->started() << std::endl;
  return sdk->started() ? 1 : 0;
}

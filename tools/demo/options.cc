#include "demo/options.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <iostream>

#include "tessarin/log.h"

namespace tessarin::demo {
namespace {

bool ParseLong(const std::string& text, long* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long parsed = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0') return false;
  *value = parsed;
  return true;
}

bool ParseSeconds(const std::string& text, double* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  double parsed = std::strtod(text.c_str(), &end);
  if (*end != '\0' || !std::isfinite(parsed) || parsed <= 0) return false;
  *value = parsed;
  return true;
}

}  // namespace

void PrintUsage() {
  std::cout
      << "usage: tessarin-demo [--host sim|linux] [--account NAME] [--dataset NAME] [--config FILE]\n"
         "                     [--data-dir DIR] [--timeout SECONDS] [--handle TARGET]...\n"
         "                     [--verbose] [--log-level N] [--events N] [--rate R] [--stay]\n"
         "                     [--screenshot FILE.png] [--press-button N | --tap-panel |\n"
         "                      --swipe left|right|up|down] [--design [--cellular]]\n"
         "\n"
         "Runs a shop app's session through the Tessarin SDK and prints what the app did,\n"
         "what was sent and what came back.\n"
         "\n"
         "  --host sim       (default) a scripted app on the simulated host: screens, touches\n"
         "                   and the app's delegates, on virtual time\n"
         "  --host linux     a Linux app on real threads and real time, through the public\n"
         "                   API: it reports its lifecycle and the user's input, tracks on the\n"
         "                   global context, and hands the SDK its push token and links itself\n"
         "  --config FILE    start the SDK with this client configuration (a JSON object:\n"
         "                   \"account\", \"dataset\", \"domain\", \"protocol\", \"port\", ...) and talk\n"
         "                   to that service; without it the demo starts the local Tessarin\n"
         "                   service on a free loopback port\n"
         "  --data-dir DIR   keep the SDK's files in DIR (default: a new temporary directory,\n"
         "                   removed at exit)\n"
         "  --timeout S      how long each wait may take (default 10 seconds)\n"
         "  --handle TARGET  a campaign handler for TARGET on the global context, besides the\n"
         "                   demo's own \"home-banner\"; the local service answers one data\n"
         "                   campaign per handled target, printed as 'campaign: <target> <data>'\n"
         "  --verbose        print the SDK's whole log (Debug); by default only its warnings and\n"
         "                   errors (level 2000)\n"
         "  --log-level N    the SDK's log threshold, overriding the above (0 silences it)\n"
         "\n"
         "The local service also answers an in-app message (a panel at the bottom with a\n"
         "title, a body and two buttons), which the SDK shows over the app; the demo\n"
         "prints where it is and the statistics of it that reached the service. With\n"
         "--config your service decides which message, if any, to send.\n"
         "  --screenshot F   once the message has appeared, write the whole screen (the\n"
         "                   app's window with the message over it) to F as a PNG\n"
         "  --press-button N then press the message's button N (0 is the first)\n"
         "  --tap-panel      then tap the panel beside its buttons\n"
         "  --swipe DIR      then fling the panel left, right, up or down (300 points at\n"
         "                   1500 points a second)\n"
         "                   Each goes through the touch input a user's finger would: the\n"
         "                   simulated screen on virtual time, or the Linux host's pointer\n"
         "                   calls in real time\n"
         "\n"
         "Linux host only:\n"
         "  --events N       a load run instead of the session: once the server configuration\n"
         "                   has arrived, record N \"Load Event\" actions as fast as possible,\n"
         "                   flush (within --timeout per 1000 events), print the SDK's event\n"
         "                   diagnostics and the rates; exit 0 when every event was delivered.\n"
         "                   The local service's app configuration lifts the event throttle and\n"
         "                   the queue's count limit for it; with --config, yours decides\n"
         "  --rate R         record the --events at R per second, as a long-lived app that\n"
         "                   sends steadily does, rather than in one burst (which the queue's\n"
         "                   1 MiB bound trims once it holds more than that)\n"
         "  --stay           once the app has recorded its actions (the session's 3, or the N\n"
         "                   of --events), print \"recorded N events\" and wait, without flushing,\n"
         "                   until killed: to watch retries, durability and throughput from\n"
         "                   outside (restart with the same --data-dir)\n"
         "  --design         the design-mode session instead: the app allows design\n"
         "                   connections, the marketer holds three fingers on the home screen\n"
         "                   for 3 seconds, the SDK connects to the service's editor and\n"
         "                   uploads each screen visited (home, product, home, product) once;\n"
         "                   one \"upload:\" line per screen the service received\n"
         "  --cellular       with --design: the phone is on a cellular network, so the SDK\n"
         "                   warns first and the marketer accepts\n"
         "\n"
         "Exit status: 0 every event delivered (and the message shown and acted on, when\n"
         "asked), 1 not, 2 bad usage.\n";
}

bool ParseOptions(int argc, char** argv, Options* options, std::string* error) {
  static const std::string kTakesValue[] = {"--host",     "--account",      "--dataset", "--config",  "--data-dir",
                                            "--log-level", "--timeout",      "--handle",  "--events",  "--rate",
                                            "--screenshot", "--press-button", "--swipe"};
  int actions = 0;
  bool log_level_given = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      error->clear();
      return false;
    }
    if (arg == "--verbose") {
      options->verbose = true;
      continue;
    }
    if (arg == "--design" || arg == "--cellular") {
      (arg == "--design" ? options->design : options->cellular) = true;
      continue;
    }
    if (arg == "--stay") {
      options->stay = true;
      continue;
    }
    if (arg == "--tap-panel") {
      options->action = MessageAction::kTapPanel;
      ++actions;
      continue;
    }
    if (std::find(std::begin(kTakesValue), std::end(kTakesValue), arg) == std::end(kTakesValue)) {
      *error = "unknown option " + arg;
      return false;
    }
    if (i + 1 >= argc) {
      *error = arg + " needs a value";
      return false;
    }
    const std::string value = argv[++i];
    if (arg == "--host") {
      if (value == "sim") {
        options->host = Host::kSim;
      } else if (value == "linux") {
        options->host = Host::kLinux;
      } else {
        *error = "--host is sim or linux, not " + value;
        return false;
      }
    } else if (arg == "--account") {
      options->account = value;
    } else if (arg == "--dataset") {
      options->dataset = value;
    } else if (arg == "--config") {
      options->config_file = value;
    } else if (arg == "--data-dir") {
      options->data_dir = value;
    } else if (arg == "--log-level") {
      if (!ParseLong(value, &options->log_level)) {
        *error = "--log-level takes a number, not " + value;
        return false;
      }
      log_level_given = true;
    } else if (arg == "--timeout") {
      if (!ParseSeconds(value, &options->timeout)) {
        *error = "--timeout takes a positive number of seconds, not " + value;
        return false;
      }
    } else if (arg == "--handle") {
      options->handle.push_back(value);
    } else if (arg == "--events") {
      long events = 0;
      if (!ParseLong(value, &events) || events < 0) {
        *error = "--events takes a count, not " + value;
        return false;
      }
      options->events = events;
    } else if (arg == "--screenshot") {
      options->screenshot = value;
    } else if (arg == "--press-button") {
      long button = 0;
      if (!ParseLong(value, &button) || button < 0 || button > 99) {
        *error = "--press-button takes a button's number (0 is the first), not " + value;
        return false;
      }
      options->action = MessageAction::kPressButton;
      options->button = static_cast<int>(button);
      ++actions;
    } else if (arg == "--swipe") {
      if (value != "left" && value != "right" && value != "up" && value != "down") {
        *error = "--swipe is left, right, up or down, not " + value;
        return false;
      }
      options->action = MessageAction::kSwipe;
      options->swipe = value;
      ++actions;
    } else if (arg == "--rate") {
      if (!ParseSeconds(value, &options->rate)) {
        *error = "--rate takes a positive number of events per second, not " + value;
        return false;
      }
    }
  }
  if (!log_level_given) options->log_level = options->verbose ? TSRLogLevelDebug : TSRLogLevelWarn;
  if (actions > 1) {
    *error = "--press-button, --tap-panel and --swipe act on the message one at a time";
    return false;
  }
  if (options->needsMessage() && (options->events || options->stay)) {
    *error = "--screenshot and the message's actions belong to the session, not to --events or --stay";
    return false;
  }
  if (options->cellular && !options->design) {
    *error = "--cellular belongs to --design";
    return false;
  }
  if (options->design && (options->host != Host::kSim || options->events || options->stay || options->needsMessage())) {
    *error = "--design is a session of its own on the simulated host";
    return false;
  }
  if (options->host == Host::kSim && (options->events || options->stay)) {
    *error = "--events and --stay run on the Linux host (--host linux)";
    return false;
  }
  return true;
}

}  // namespace tessarin::demo

// What the host benchmarks and the memory app share: the events they record,
// waiting for them to settle, and where a process's resident memory is.
#ifndef TESSARIN_BENCH_HOST_APP_HELPERS_H_
#define TESSARIN_BENCH_HOST_APP_HELPERS_H_

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tessarin/tessarin.h"

namespace tessarin::bench {

// Eight string attributes, as a shop's action might carry.
inline Json EightAttributes(long i) {
  Json fields = Json::object();
  static const char* const kNames[] = {"color", "size", "brand", "category", "campaign", "source", "medium", "page"};
  for (int k = 0; k < 8; ++k) fields[kNames[k]] = std::string(kNames[k]) + "-" + std::to_string((i + k) % 97);
  return fields;
}

// Until `settled` events have been sent or dropped (a queue over its byte
// limit drops the oldest).
inline bool WaitForSettled(const std::shared_ptr<Tessarin>& sdk, std::uint64_t settled, double seconds) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    auto diagnostics = sdk->eventDiagnostics();
    if (diagnostics.eventsSent + diagnostics.dropped() >= settled) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

// A "Vm…:" line of /proc/self/status, in MiB.
inline double StatusMiB(const char* field) {
  std::ifstream status("/proc/self/status");
  const std::string prefix = std::string(field) + ":";
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(prefix, 0) == 0) return std::atof(line.c_str() + prefix.size()) / 1024.0;
  }
  return 0;
}

// Where the resident memory is, by mapped file (anonymous memory and the
// heap under their kernel names), largest first, to standard error.
inline void PrintRssByMapping() {
  std::ifstream smaps("/proc/self/smaps");
  std::map<std::string, long> kib;
  std::string name;
  for (std::string line; std::getline(smaps, line);) {
    if (!line.empty() && std::isxdigit(static_cast<unsigned char>(line[0])) && line.find('-') < 16) {
      auto at = line.find('/');
      if (at == std::string::npos) at = line.find('[');
      name = at == std::string::npos ? "[anonymous]" : line.substr(at);
    } else if (line.rfind("Rss:", 0) == 0) {
      kib[name] += std::atol(line.c_str() + 4);
    }
  }
  std::vector<std::pair<long, std::string>> sorted;
  for (auto& [mapping, size] : kib) sorted.emplace_back(size, mapping);
  std::sort(sorted.rbegin(), sorted.rend());
  for (auto& [size, mapping] : sorted) {
    if (size >= 4) std::fprintf(stderr, "%8ld KiB  %s\n", size, mapping.c_str());
  }
}

}  // namespace tessarin::bench

#endif  // TESSARIN_BENCH_HOST_APP_HELPERS_H_

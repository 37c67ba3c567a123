// The log call below the threshold must cost nothing but the comparison.
#include <benchmark/benchmark.h>

#include "base/log.h"

namespace tessarin {
namespace {

void BM_LogBelowThreshold(benchmark::State& state) {
  TSRLogger::setLogLevel(TSRLogLevelDefault);
  std::string context = "Global";
  for (auto _ : state) {
    TSR_LOG_DEBUG("Action: [%@] contextId [%@]", "App Launch", context);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_LogBelowThreshold);

void BM_LogFormatToSink(benchmark::State& state) {
  TSRLogger::setLogLevel(TSRLogLevelDebug);
  TSRLogger::setWritesToStderr(false);
  TSRLogger::setSink([](const LogRecord& record) { benchmark::DoNotOptimize(record.text.data()); });
  std::string context = "Global";
  for (auto _ : state) {
    TSR_LOG_DEBUG("Action: [%@] contextId [%@]", "App Launch", context);
  }
  TSRLogger::setSink(nullptr);
  TSRLogger::setWritesToStderr(true);
  TSRLogger::setLogLevel(TSRLogLevelDefault);
}
BENCHMARK(BM_LogFormatToSink);

}  // namespace
}  // namespace tessarin

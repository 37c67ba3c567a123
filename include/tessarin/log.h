// Tessarin's log: one threshold for the whole process and an optional sink.
//
// Nothing is printed until the host app (or the configuration) raises the
// threshold. Printed lines go to stderr in the system log's form and to the
// sink, when one is installed.
//
// Thread contract: every call is safe from any thread; the threshold is
// read without a lock on every log call.
#ifndef TESSARIN_LOG_H_
#define TESSARIN_LOG_H_

#include <atomic>
#include <functional>
#include <string>

#include "tessarin/export.h"

namespace tessarin {

enum TSRLogLevel : long {
  TSRLogLevelDefault = 0,
  TSRLogLevelError = 1000,
  TSRLogLevelWarn = 2000,
  TSRLogLevelInfo = 3000,
  TSRLogLevelDebug = 4000,
};

// One printed line, as the sink receives it.
struct LogRecord {
  long level = 0;          // 0 for lines written straight to the system log
  bool fromLogCall = true; // false for lines that bypass the threshold
  std::string label;       // "Error", "Warn", "Info", "Debug" or "(null)"
  std::string file;        // the source file name, without directories
  int line = 0;
  std::string message;     // the expanded message
  std::string text;        // "TSR Error [file:line] message", as printed after the stamp
};

using LogSink = std::function<void(const LogRecord&)>;

class TESSARIN_EXPORT TSRLogger {
 public:
  static void setLogLevel(long level) { threshold_.store(level, std::memory_order_relaxed); }
  static long logLevel() { return threshold_.load(std::memory_order_relaxed); }
  static bool enabled(long level) { return level <= threshold_.load(std::memory_order_relaxed); }

  // Installs (or, with an empty function, removes) the sink. The sink is
  // called on whichever thread logged, one line at a time.
  static void setSink(LogSink sink);
  // Whether printed lines also go to stderr (default: yes).
  static void setWritesToStderr(bool writes);

 private:
  static inline std::atomic<long> threshold_{TSRLogLevelDefault};
};

}  // namespace tessarin

#endif  // TESSARIN_LOG_H_

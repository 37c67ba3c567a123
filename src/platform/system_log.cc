#include "platform/system_log.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace tessarin::platform {
namespace {

// The sink and the stderr switch are process-wide like the threshold itself;
// one mutex serialises output as the system log would.
struct SystemLog {
  std::mutex mutex;
  LogSink sink;
  bool writes_to_stderr = true;
};

SystemLog& Log() {
  static SystemLog* log = new SystemLog();  // never destroyed: logging may run during exit
  return *log;
}

}  // namespace

void WriteSystemLog(const LogRecord& record) {
  SystemLog& log = Log();
  std::lock_guard<std::mutex> lock(log.mutex);
  if (log.writes_to_stderr) {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    struct tm local;
    localtime_r(&tv.tv_sec, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    std::fprintf(stderr, "%s.%03ld %s[%d:%ld] %s\n", stamp, static_cast<long>(tv.tv_usec / 1000),
                 program_invocation_short_name, static_cast<int>(getpid()),
                 static_cast<long>(syscall(SYS_gettid)), record.text.c_str());
  }
  if (log.sink) log.sink(record);
}

void SetSystemLogSink(LogSink sink) {
  SystemLog& log = Log();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.sink = std::move(sink);
}

void SetSystemLogWritesToStderr(bool writes) {
  SystemLog& log = Log();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.writes_to_stderr = writes;
}

}  // namespace tessarin::platform

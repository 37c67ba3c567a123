// The system log: where every printed line ends up. Lines are stamped in the
// system log's form ("2026-11-21 07:43:31.123 prog[pid:tid] ...") on stderr,
// and handed to the process's log sink.
#ifndef TESSARIN_PLATFORM_SYSTEM_LOG_H_
#define TESSARIN_PLATFORM_SYSTEM_LOG_H_

#include "tessarin/log.h"

namespace tessarin::platform {

void WriteSystemLog(const LogRecord& record);
void SetSystemLogSink(LogSink sink);
void SetSystemLogWritesToStderr(bool writes);

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_SYSTEM_LOG_H_

// The shop app on the Linux host: real threads, real time, and only the
// SDK's public API, as a Linux app links it.
#ifndef TESSARIN_TOOLS_DEMO_LINUX_SESSION_H_
#define TESSARIN_TOOLS_DEMO_LINUX_SESSION_H_

#include <string>

#include "demo/demo_service.h"
#include "demo/options.h"

namespace tessarin::demo {

// Runs the session, or with --events the load run, with the SDK's files in
// `data_dir`; the exit status: 0 when every event was delivered. With
// --stay it does not return.
int RunLinuxApp(const Options& options, DemoService& service, const std::string& data_dir);

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_LINUX_SESSION_H_

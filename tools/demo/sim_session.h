// The shop session on the simulated host.
#ifndef TESSARIN_TOOLS_DEMO_SIM_SESSION_H_
#define TESSARIN_TOOLS_DEMO_SIM_SESSION_H_

#include <string>

#include "demo/demo_service.h"
#include "demo/options.h"

namespace tessarin::demo {

// Runs the scripted session with the SDK's files in `data_dir`; the exit
// status: 0 when every event was delivered.
int RunSimSession(const Options& options, DemoService& service, const std::string& data_dir);

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_SIM_SESSION_H_

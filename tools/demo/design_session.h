// The design-mode session of the demo (--design): a marketer connects the
// app to the service's editor and walks through its screens, which the SDK
// uploads as they are visited.
#ifndef TESSARIN_TOOLS_DEMO_DESIGN_SESSION_H_
#define TESSARIN_TOOLS_DEMO_DESIGN_SESSION_H_

#include <string>

#include "demo/demo_service.h"
#include "demo/options.h"

namespace tessarin::demo {

// 0 when every screen visited was uploaded exactly once with a picture of
// what it shows, 1 otherwise.
int RunDesignSession(const Options& options, DemoService& demo, const std::string& data_dir);

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_DESIGN_SESSION_H_

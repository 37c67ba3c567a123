// The persisted "Tessarin-config": the client, SDK and server layers a
// previous run saved, read when the façade is made. The app then starts the
// SDK (with a client configuration that may or may not be the saved one's,
// which decides whether the SDK resets), which uses the saved server layer
// while it is fresh, sends an action, is answered and stops.
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "tessarin/context.h"
#include "util/config.h"

namespace tessarin::fuzz {
namespace {

// The SDK writes the file itself, a few KB at most; reading is unbounded.
constexpr std::size_t kMaxFile = 1 << 20;

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(config_file) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxFile) return;

  SimulatedApp app;
  app.files().put(app.pathOf(kConfigFileName), std::string(input));
  TessarinImpl& sdk = app.launch();
  app.start();
  if (auto global = sdk.globalContext()) global->trackAction("Open Home");
  app.advance(1);
  app.answerRequests(OrdinaryAnswer);
  app.advance(200);
  app.answerRequests(OrdinaryAnswer);
  sdk.stop();
  app.answerRequests(OrdinaryAnswer);
}

// A link the app was opened with, handed to the SDK through the façade's
// handleOpenURL, as a host without interceptable delegates does: the SDK
// claims links of its own schemes ("tsr..."), reads a test link
// ("tsrshop://test/<experience>", "all", "none") into the test campaigns
// that later events ask for, and shows its confirmation or "Unrecognized
// URL" alert. The running app then sends an action, which carries the
// test setting, and the user taps the alert away.
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "tessarin/context.h"

namespace tessarin::fuzz {
namespace {

// Links are short; the platform hands over any length.
constexpr std::size_t kMaxURL = 1 << 16;

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(open_url) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxURL) return;

  SimulatedApp app;
  // The app hands the SDK its links itself.
  app.sim().app().info["TessarinSwizzlingEnabled"] = false;
  TessarinImpl& sdk = app.launch();
  app.start();
  app.answerRequests(OrdinaryAnswer);

  sdk.handleOpenURL(std::string(input));
  app.sim().runUntilIdle();
  if (auto global = sdk.globalContext()) global->trackAction("Open Home");
  app.advance(1);
  app.answerRequests(OrdinaryAnswer);
  // The user taps the alert's first button.
  for (const auto& alert : app.sim().alerts().visible()) alert->tapButton(0);
  app.advance(10);
  app.answerRequests(OrdinaryAnswer);
}

// The app configuration the service answers: the sender reads the body as a
// JSON object, the façade takes it (with its Last-Modified date) as the
// configuration's server layer and applies it: endpoints, the event queue's
// limits and throttle, tracking switches, disabling. Then the app goes on
// (an action, its batch) and is launched again over the files the first
// run left, which must take the saved configuration as it was.
//
// The input is the answer's body, optionally after a first line
// "Last-Modified: <date>", which becomes that header.
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "tessarin/context.h"
#include "util/config.h"

namespace tessarin::fuzz {
namespace {

constexpr std::size_t kMaxAnswer = 1 << 20;
constexpr std::string_view kHeaderLine = "Last-Modified: ";

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(server_config) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxAnswer) return;

  Answer config{200, {}, std::string(input)};
  if (input.substr(0, kHeaderLine.size()) == kHeaderLine) {
    std::size_t end = input.find('\n');
    std::string_view value = input.substr(kHeaderLine.size(), end == std::string_view::npos ? end : end - kHeaderLine.size());
    config.headers.emplace_back("Last-Modified", std::string(value));
    config.body = end == std::string_view::npos ? "" : std::string(input.substr(end + 1));
  }
  auto answer = [&config](const platform::HttpRequest& request) {
    return IsConfigRequest(request) ? config : OrdinaryAnswer(request);
  };

  auto files = std::make_shared<MemoryFileSystem>();
  {
    SimulatedApp app(files);
    TessarinImpl& sdk = app.launch();
    app.start();
    app.answerRequests(answer);
    if (auto global = sdk.globalContext()) global->trackAction("Open Home");
    app.advance(1);
    app.answerRequests(answer);
    // Past any age the configuration may have: asked again on the next
    // trigger, answered the same.
    app.advance(3600);
    app.sim().enterBackground();
    app.sim().enterForeground();
    app.answerRequests(answer);
    sdk.stop();
    app.answerRequests(answer);
  }

  // The next launch reads what the first one saved.
  SimulatedApp again(files);
  TessarinImpl& sdk = again.launch();
  again.start();
  if (auto global = sdk.globalContext()) global->trackAction("Open Home");
  again.advance(1);
  again.answerRequests(answer);
}

// The events endpoint's answer to a batch, as the SDK receives it: the body
// of a 200 answer goes through the sender's reading (an array, or a single
// response object), the façade's handling of each response (affinity id,
// error codes, campaigns) and the dispatcher, which holds campaigns for
// their handlers, delivers them to the app's and to the in-app message
// manager, and lets them expire. The app tracks an impression of what it
// is given, and the statistics go out in the next batch. Then a batch is
// refused with the input for a body, which the sender reads for a reason.
#include <memory>
#include <vector>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "tessarin/context.h"
#include "transport/plain_event_responses.h"

namespace tessarin::fuzz {
namespace {

// Answers this large are far beyond what the service sends; the sender
// reads any size, but nothing new happens past this one.
constexpr std::size_t kMaxAnswer = 1 << 20;

// Whether the parsed answer holds nothing for the façade: what the
// sender's quick recognition of a plain answer must agree with.
bool SaysNothing(const Json& response) {
  if (!response.is_object()) return false;
  for (const auto& [key, value] : response.items()) {
    if (key == "errorCode") {
      if (!(value.is_boolean() ? !value.get<bool>() : value.is_number() && value.get<double>() == 0)) return false;
    } else if (key != "campaignResponses" || !value.is_array() || !value.empty()) {
      return false;
    }
  }
  return true;
}

// A plain answer, parsed in full, must be one the façade does nothing with.
void CheckPlainRecognition(std::string_view input) {
  if (!IsPlainEventResponses(input)) return;
  Json parsed = Json::parse(input, nullptr, false);
  bool nothing = parsed.is_array() || parsed.is_object();
  if (parsed.is_array()) {
    for (const Json& response : parsed) nothing = nothing && SaysNothing(response);
  } else {
    nothing = nothing && SaysNothing(parsed);
  }
  if (!nothing) Fail("event_responses", "an answer recognised as plain holds something for the facade");
}

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(event_responses) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxAnswer) return;
  CheckPlainRecognition(input);

  SimulatedApp app;
  TessarinImpl& sdk = app.launch();
  app.start();
  app.answerRequests(OrdinaryAnswer);  // the configuration

  // The app handles two targets on the global context and reports the
  // impression of what it shows. The handler holds the context weakly, as
  // an app must.
  std::shared_ptr<TSRContext> global = sdk.globalContext();
  if (!global) return;
  std::weak_ptr<TSRContext> weak = global;
  auto handler = [weak](const std::shared_ptr<TSRCampaign>& campaign) {
    auto context = weak.lock();
    if (!context || !campaign) return;
    context->trackImpression(campaign);
    if (campaign->data().is_object() && campaign->data().contains("link")) context->trackClickthrough(campaign);
  };
  global->setCampaignHandler(handler, "hero");
  global->trackAction("Open Home");

  // The first batch gets the input for an answer; what follows it (the
  // statistics) gets the service's ordinary one.
  bool answered = false;
  app.answerRequests([&](const platform::HttpRequest& request) {
    if (IsConfigRequest(request) || answered) return OrdinaryAnswer(request);
    answered = true;
    return Answer{200, {{"Content-Type", "application/json"}}, std::string(input)};
  });

  // A handler registered late receives what was held for it; then the
  // campaigns' time to live runs out.
  global->setCampaignHandler(handler, "banner");
  app.advance(1);
  app.answerRequests(OrdinaryAnswer);
  app.advance(600);
  app.answerRequests(OrdinaryAnswer);

  // A refusal's body is read too, for the reason it gives.
  global->trackAction("Open Cart");
  app.advance(1);
  answered = false;
  app.answerRequests([&](const platform::HttpRequest& request) {
    if (IsConfigRequest(request) || answered) return OrdinaryAnswer(request);
    answered = true;
    return Answer{400, {{"Content-Type", "application/json"}}, std::string(input)};
  });
}

// Recognising an answer to a batch that says nothing to the façade.
//
// Nearly every answer is one response per event, each an object with no
// more than a zero "errorCode" and an empty "campaignResponses": the façade
// does nothing with such a response (no affinity id, no error to log, no
// campaign). Parsing the answer into a tree costs the network thread more
// than the rest of the answer; recognising it takes a pass over its text
// with no allocation.
#ifndef TESSARIN_TRANSPORT_PLAIN_EVENT_RESPONSES_H_
#define TESSARIN_TRANSPORT_PLAIN_EVENT_RESPONSES_H_

#include <string_view>

namespace tessarin {

// True when `body` is valid JSON that is an array of such responses (or
// one such response on its own, or an empty array). Anything else, from a
// response that holds another key to text that is not JSON, is false, for
// the general reading to take.
bool IsPlainEventResponses(std::string_view body);

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_PLAIN_EVENT_RESPONSES_H_

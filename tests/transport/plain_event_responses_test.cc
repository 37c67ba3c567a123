#include "transport/plain_event_responses.h"

#include <gtest/gtest.h>

#include <string>

namespace tessarin {
namespace {

TEST(PlainEventResponsesTest, OnlyZeroCodesAndEmptyCampaignListsArePlain) {
  for (const char* body : {
           "[]",
           R"([{"campaignResponses":[],"errorCode":0},{"errorCode":0},{}])",
           R"( {"errorCode":0} )",  // one response on its own
           R"([{"errorCode":false},{"errorCode":0.0,"campaignResponses":[ ]}])",
       }) {
    EXPECT_TRUE(IsPlainEventResponses(body)) << body;
  }
  for (const char* body : {
           "",
           R"("just text")",
           R"([{"errorCode":1}])",
           R"([{"errorCode":0,"errorCode":4}])",  // the last one counts when parsed
           R"([{"errorCode":null}])",
           R"([{"anonAffinityId":""}])",
           R"([{"errorCode":0,"priority":0}])",  // a key the façade may one day read
           R"([{"validationErrors":[]}])",
           R"([{"campaignResponses":[{}]}])",
           R"([{"campaignResponses":{}}])",
           R"([{"campaignResponses":[],"campaignResponses":[1]}])",
           R"([1])",
           R"([[]])",
           R"([{"errorCode":0})",     // cut short
           R"([{"errorCode":0}] [])",  // more after the answer
       }) {
    EXPECT_FALSE(IsPlainEventResponses(body)) << body;
  }
}

}  // namespace
}  // namespace tessarin

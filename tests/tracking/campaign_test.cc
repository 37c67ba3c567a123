#include "tracking/campaign_impl.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "util/config.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::LogCapture;

constexpr double kNow = 1767225600.0;

Json DataCampaignJSON() {
  return Json::parse(R"({
    "campaignId": "c1", "campaignName": "Summer", "experienceId": "e1", "experienceName": "Banner",
    "routingId": "7", "userGroup": "Default",
    "mobileDataMessages": [{"id": "m1", "type": "tsr_md", "targetName": "hero", "contentHash": "h1",
                            "ttl": 60, "promotedItemKeys": [{"sku": "1"}], "dataMap": {"title": "Hi"}}]
  })");
}

Json UiCampaignJSON() {
  return Json::parse(R"({
    "campaignId": "c2", "campaignName": "Welcome", "experienceId": "e2", "experienceName": "Popup",
    "routingId": "Global", "userGroup": "Control",
    "mobileUiMessages": [{"id": "m2", "type": "tsr_mn", "targetName": "tsr_inapp", "template": "dialog"}]
  })");
}

class CampaignTest : public ::testing::Test {
 protected:
  std::shared_ptr<TSRCampaign> Parse(const Json& json) { return TSRCampaignImpl::campaignWithJSON(json, config, kNow); }
  // The data campaign after `edit` changed the campaign object or its message.
  std::shared_ptr<TSRCampaign> ParseData(const std::function<void(Json& campaign, Json& message)>& edit) {
    Json json = DataCampaignJSON();
    edit(json, json["mobileDataMessages"][0]);
    return Parse(json);
  }
  // The one line logged at `level`, or "" when there is not exactly one.
  std::string OnlyLine(long level) const {
    std::vector<std::string> found;
    for (const auto& record : log.records()) {
      if (record.level == level) found.push_back(record.message);
    }
    return found.size() == 1 ? found[0] : "";
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  TSRConfig config{std::make_shared<TSRUtilityDI>(sim)};
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(CampaignTest, DataCampaignCarriesEveryField) {
  auto campaign = Parse(DataCampaignJSON());
  ASSERT_TRUE(dynamic_cast<TSRCampaignDataMessage*>(campaign.get()));
  EXPECT_EQ((std::vector<std::string>{campaign->campaignName(), campaign->campaignId(), campaign->experienceId(),
                                      campaign->experienceName(), campaign->contextId(), campaign->messageId(),
                                      campaign->target(), *campaign->messageContentHash()}),
            (std::vector<std::string>{"Summer", "c1", "e1", "Banner", "7", "m1", "hero", "h1"}));
  EXPECT_EQ(campaign->data(), Json({{"title", "Hi"}}));
  EXPECT_EQ(campaign->promotedItemKeys(), Json::parse(R"([{"sku":"1"}])"));
  EXPECT_EQ(campaign->expirationTime(), kNow + 60);
  EXPECT_EQ(campaign->json(), DataCampaignJSON());
  EXPECT_FALSE(campaign->isControlGroup());
  EXPECT_FALSE(campaign->test());
  EXPECT_EQ(log.messages(), (std::vector<std::string>{"Campaign: JSON: " + JsonDump(DataCampaignJSON()),
                                                      "Campaign: Received [Summer:c1]"}));
}

TEST_F(CampaignTest, KindOfCampaignFollowsItsMessageArrays) {
  EXPECT_FALSE(Parse(Json::object()));
  EXPECT_FALSE(Parse(Json()));
  EXPECT_EQ(log.count("Campaign: JSON nil/empty", TSRLogLevelError), 2);

  EXPECT_FALSE(ParseData([](Json& c, Json&) { c["mobileDataMessages"] = Json::array(); }));
  EXPECT_TRUE(log.contains("Campaign: Ignoring, no supported messages found", TSRLogLevelWarn));

  // Both kinds: read as a data campaign only.
  auto data = ParseData([](Json& c, Json&) { c["mobileUiMessages"] = UiCampaignJSON()["mobileUiMessages"]; });
  EXPECT_TRUE(dynamic_cast<TSRCampaignDataMessage*>(data.get()));

  // An empty data array leaves the in-app messages to be read.
  Json ui = UiCampaignJSON();
  ui["mobileDataMessages"] = Json::array();
  auto message = Parse(ui);
  ASSERT_TRUE(dynamic_cast<TSRCampaignUiMessage*>(message.get()));
  EXPECT_TRUE(message->isControlGroup());
  EXPECT_EQ(message->data(), ui["mobileUiMessages"][0]);  // the whole message
}

TEST_F(CampaignTest, MalformedMessageArraysAreRejectedWithOneError) {
  struct Case {
    const char* arrayKey;
    const char* messages;
    const char* error;
  } cases[] = {
      {"mobileDataMessages", R"([{"type":"tsr_md"},{"type":"tsr_md"}])", "Campaign: 2 data messages instead of 1"},
      {"mobileDataMessages", R"(["hero"])", "Campaign: Unexpected data message class: NSString"},
      {"mobileDataMessages", R"([{"type":"tsr_mn"}])", "Campaign: Unexpected data message type: tsr_mn"},
      {"mobileDataMessages", R"([{"type":null}])", "Campaign: Unexpected data message type: (null)"},
      {"mobileUiMessages", R"([{},{}])", "Campaign: 2 mobile messages instead of 1"},
      {"mobileUiMessages", R"([[1]])", "Campaign: Unexpected mobile message class: NSArray"},
      {"mobileUiMessages", R"([{"type":"tsr_md"}])", "Campaign: Unexpected mobile message type: tsr_md"},
  };
  for (const auto& c : cases) {
    log.clear();
    Json json = UiCampaignJSON();
    json.erase("mobileUiMessages");
    json[c.arrayKey] = Json::parse(c.messages);
    EXPECT_FALSE(Parse(json)) << c.error;
    EXPECT_EQ(OnlyLine(TSRLogLevelError), c.error);
  }
}

TEST_F(CampaignTest, MissingRequiredElementsAreListedInOneError) {
  EXPECT_FALSE(ParseData([](Json& c, Json& m) {
    c.erase("experienceName");
    m.erase("targetName");
  }));
  EXPECT_EQ(OnlyLine(TSRLogLevelError),
            R"(Campaign: JSON, missing required elements: ["experienceName","targetName"])");

  // Empty strings and values of the wrong kind count as missing too.
  log.clear();
  EXPECT_FALSE(ParseData([](Json& c, Json&) {
    c["campaignId"] = "";
    c["routingId"] = 7;
  }));
  EXPECT_TRUE(log.contains("Campaign: Received [Summer:]", TSRLogLevelInfo));
  EXPECT_TRUE(log.contains(R"(Campaign: JSON, missing required elements: ["campaignId","routingId"])"));
}

TEST_F(CampaignTest, TestFlagAndTimeToLive) {
  // The key's presence makes a test campaign, whatever its value.
  EXPECT_TRUE(ParseData([](Json& c, Json&) { c["test"] = false; })->test());

  auto expiry = [&](Json ttl) {
    return ParseData([&](Json&, Json& m) {
             if (ttl.is_discarded()) {
               m.erase("ttl");
             } else {
               m["ttl"] = ttl;
             }
           })
        ->expirationTime();
  };
  const Json missing(Json::value_t::discarded);
  EXPECT_EQ(expiry(0), std::nullopt);  // zero or negative: never expires
  EXPECT_EQ(expiry(-5), std::nullopt);
  EXPECT_EQ(expiry(0.5), kNow + 0.5);
  EXPECT_EQ(expiry(missing), kNow + 300);  // only a missing one uses the configured default
  EXPECT_EQ(expiry(nullptr), kNow + 300);
  EXPECT_EQ(log.countContaining("Dictionary:"), 0);
  EXPECT_EQ(expiry("60"), kNow + 300);  // wrong kind: absent, and reported
  EXPECT_TRUE(log.contains("Dictionary: keyPath: ttl expected class: NSNumber but found class: NSString"));
  config.setConfiguration(Json{{"campaignTTL", 20}}, TSRConfig::kLayerRuntime);
  EXPECT_EQ(expiry(missing), kNow + 20);
  config.setConfiguration(Json{{"campaignTTL", 0}}, TSRConfig::kLayerRuntime);
  EXPECT_EQ(expiry(missing), std::nullopt);
}

TEST_F(CampaignTest, ReservedTargetsSeparateDataFromInAppCampaigns) {
  std::pair<std::string, bool> targets[] = {
      {"tsr_inapp", true}, {"TSR", true}, {"Tsr-banner", true}, {"ts", false}, {"my_tsr", false}};
  for (const auto& [target, reserved] : targets) {
    log.clear();
    EXPECT_EQ(!ParseData([&](Json&, Json& m) { m["targetName"] = target; }), reserved) << target;
    EXPECT_EQ(OnlyLine(TSRLogLevelWarn),
              reserved ? "Campaign: Dropping data campaign intended for internal target: " + target : "");
  }

  log.clear();
  Json app_target = UiCampaignJSON();
  app_target["mobileUiMessages"][0]["targetName"] = "hero";
  EXPECT_FALSE(Parse(app_target));
  EXPECT_EQ(OnlyLine(TSRLogLevelWarn), "Campaign: Dropping internal UI campaign intended for target: hero");

  log.clear();
  Json screen = UiCampaignJSON();
  screen["mobileUiMessages"][0]["targetName"] = "TSR_inapp";
  screen["routingId"] = "3";
  EXPECT_FALSE(Parse(screen));
  EXPECT_EQ(OnlyLine(TSRLogLevelWarn), "Campaign: Dropping internal UI campaign intended for contextId: 3");
}

TEST_F(CampaignTest, InvalidOptionalPartsAreSkippedAndTheCampaignKept) {
  auto campaign = ParseData([](Json& c, Json& m) {
    c.erase("userGroup");
    m.erase("dataMap");
    m["promotedItemKeys"] = Json::parse(R"([{"sku":"1"}, "x", 3, {"sku":"2"}])");
  });
  ASSERT_TRUE(campaign);
  EXPECT_EQ(campaign->data(), Json::object());
  EXPECT_EQ(campaign->promotedItemKeys(), Json::parse(R"([{"sku":"1"},{"sku":"2"}])"));
  EXPECT_TRUE(log.contains("Campaign: Ignoring invalid userGroup: (null)", TSRLogLevelWarn));
  EXPECT_TRUE(log.contains("Campaign: Ignoring invalid promoted item NSString x", TSRLogLevelWarn));
  EXPECT_TRUE(log.contains("Campaign: Ignoring invalid promoted item NSNumber 3", TSRLogLevelWarn));
  EXPECT_TRUE(ParseData([](Json& c, Json&) { c["userGroup"] = "Treatment"; }));
  EXPECT_TRUE(log.contains("Campaign: Ignoring invalid userGroup: Treatment", TSRLogLevelWarn));

  Json only_invalid = Json::array({"x"}), empty = Json::array();
  EXPECT_EQ(TSRCampaignImpl::validatePromotedItemKeys(&only_invalid), Json::array());
  EXPECT_EQ(TSRCampaignImpl::validatePromotedItemKeys(&empty), std::nullopt);
}

TEST_F(CampaignTest, EqualityIsOnTheJSONAndHashAgreesWithIt) {
  auto a = Parse(DataCampaignJSON());
  Json original = DataCampaignJSON(), reordered = Json::object();
  for (auto it = original.end(); it != original.begin();) {
    --it;
    reordered[it.key()] = it.value();
  }
  auto b = Parse(reordered);
  EXPECT_TRUE(a->isEqual(b.get()));
  EXPECT_EQ(a->hash(), b->hash());
  EXPECT_FALSE(a->isEqual(nullptr));
  // Same routing and identity, other JSON: same hash, not equal.
  auto c = ParseData([](Json& c, Json&) { c["note"] = "x"; });
  EXPECT_EQ(a->hash(), c->hash());
  EXPECT_FALSE(*a == *c);
  EXPECT_NE(a->hash(), ParseData([](Json& c, Json&) { c["userGroup"] = "Control"; })->hash());
}

TEST_F(CampaignTest, StatPayloads) {
  auto campaign = ParseData([](Json& c, Json&) { c["userGroup"] = "Control"; });
  EXPECT_EQ(TSRCampaignImpl::toStatPayloadType(*campaign, TSRCampaignStatType_clickthrough, false),
            Json::parse(R"({"id":"m1","eid":"e1","type":"m","piks":[{"sku":"1"}],"stat":"c","ug":"Control"})"));
  EXPECT_EQ(TSRCampaignImpl::toStatPayloadType(*campaign, TSRCampaignStatType_dismissal, true),
            Json::parse(R"({"id":"e1","type":"e","piks":[{"sku":"1"}],"stat":"d","ug":"Control"})"));
  EXPECT_EQ(TSRCampaignImpl::statPayloadWithType(TSRCampaignStatType_impression, "e1", "", Json::array(), false),
            Json::parse(R"({"id":"e1","type":"e","stat":"i"})"));
  log.clear();
  EXPECT_EQ(TSRCampaignImpl::statPayloadWithType(0, "", "m1", std::nullopt, false), std::nullopt);
  EXPECT_TRUE(log.records().empty());
  EXPECT_EQ(TSRCampaignImpl::toStatPayloadType(*campaign, 3, false), std::nullopt);
  EXPECT_EQ(OnlyLine(TSRLogLevelError), "Campaign: Unexpected stat type [3]");
}

}  // namespace
}  // namespace tessarin

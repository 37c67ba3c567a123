#include "util/networking.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>

#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "util/config.h"
#include "util/networking_url.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::LogCapture;

class EndpointsTest : public ::testing::Test {
 protected:
  TSREndpoints EndpointsWith(const Json& client) {
    TSRConfig config(di);
    config.replaceConfiguration(client, TSRConfig::kLayerClient);
    return TSRUtilityNetworking::endpointsWithConfig(config);
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<TSRUtilityDI> di = std::make_shared<TSRUtilityDI>(sim);
};

TEST_F(EndpointsTest, DefaultsReadTheConfigurationThroughTheCDNAndTheRestFromTheAccountsHost) {
  auto endpoints = EndpointsWith({{"account", "acme"}, {"dataset", "shop"}});
  EXPECT_EQ(endpoints.urlConfig, "https://cdn.tessarin.io:443/api/dataset/shop/appConfig/?_ak=acme");
  EXPECT_EQ(endpoints.urlEvents, "https://acme.api.tessarin.io:443/mr/dataset/shop/?_ak=acme");
  EXPECT_EQ(endpoints.urlDesigner, "https://acme.api.tessarin.io:443/api/dataset/shop/mobileEditor/?_ak=acme");
}

TEST_F(EndpointsTest, ProtocolDomainAndPortApplyToAllAndTheCDNOnlyToTheConfiguration) {
  // A fractional port is truncated.
  Json client = {{"account", "acme"}, {"dataset", "shop"}, {"protocol", "http"},
                 {"domain", "localhost"}, {"port", 8080.9}, {"useCDN", false}};
  auto direct = EndpointsWith(client);
  EXPECT_EQ(direct.urlConfig, "http://localhost:8080/api/dataset/shop/appConfig/?_ak=acme");
  EXPECT_EQ(direct.urlEvents, "http://localhost:8080/mr/dataset/shop/?_ak=acme");
  EXPECT_EQ(direct.urlDesigner, "http://localhost:8080/api/dataset/shop/mobileEditor/?_ak=acme");

  client["useCDN"] = true;
  auto cdn = EndpointsWith(client);
  EXPECT_EQ(cdn.urlConfig, "http://cdn.tessarin.io:8080/api/dataset/shop/appConfig/?_ak=acme");
  EXPECT_EQ(cdn.urlEvents, direct.urlEvents);
  EXPECT_EQ(cdn.urlDesigner, direct.urlDesigner);
}

TEST_F(EndpointsTest, UsableOverridesStandAsTheyAreWithoutAnAccount) {
  LogCapture logs(TSRLogLevelWarn);
  auto endpoints = EndpointsWith({{"urlConfig", "https://config.example/app?key=1"},
                                  {"urlEvents", "http://127.0.0.1:9000/events"},
                                  {"urlDesigner", "https://designer.example/"}});
  EXPECT_EQ(endpoints.urlConfig, "https://config.example/app/?key=1");
  EXPECT_EQ(endpoints.urlEvents, "http://127.0.0.1:9000/events/");
  EXPECT_EQ(endpoints.urlDesigner, "https://designer.example/");
  EXPECT_TRUE(logs.messages().empty());
}

TEST_F(EndpointsTest, MalformedOverridesFallBackWithAWarningEach) {
  LogCapture logs(TSRLogLevelWarn);
  auto endpoints = EndpointsWith({{"account", "acme"}, {"dataset", "shop"}, {"useCDN", false},
                                  {"urlConfig", "https://bad host/"}, {"urlEvents", "ht tp://x"},
                                  {"urlDesigner", "https://h:80a/"}});
  EXPECT_EQ(logs.messages(), (std::vector<std::string>{
                                 "Falling back to default URL for config, issue with https://bad host/",
                                 "Falling back to default URL for events, issue with ht tp://x",
                                 "Falling back to default URL for designer, issue with https://h:80a/",
                             }));
  EXPECT_EQ(endpoints.urlConfig, "https://acme.api.tessarin.io:443/api/dataset/shop/appConfig/?_ak=acme");
  EXPECT_EQ(endpoints.urlEvents, "https://acme.api.tessarin.io:443/mr/dataset/shop/?_ak=acme");
  EXPECT_EQ(endpoints.urlDesigner, "https://acme.api.tessarin.io:443/api/dataset/shop/mobileEditor/?_ak=acme");
}

TEST_F(EndpointsTest, WithoutAUsableAccountOrADatasetTheEndpointsAreUnsetAndAnEmptyOverrideIsSilent) {
  LogCapture logs(TSRLogLevelWarn);
  // An account with a blank cannot appear in a URL.
  for (const Json& client : {Json{{"dataset", "shop"}, {"urlEvents", ""}}, Json{{"account", "acme"}},
                             Json{{"account", ""}, {"dataset", "shop"}, {"domain", "h"}},
                             Json{{"account", "my account"}, {"dataset", "shop"}, {"domain", "h"}}}) {
    auto endpoints = EndpointsWith(client);
    EXPECT_FALSE(endpoints.urlConfig) << JsonDump(client);
    EXPECT_FALSE(endpoints.urlEvents) << JsonDump(client);
    EXPECT_FALSE(endpoints.urlDesigner) << JsonDump(client);
  }
  EXPECT_TRUE(logs.messages().empty());
}

TEST(NetworkingQuery, ParametersFollowTheExistingQueryInKeyOrderAndEncoded) {
  EXPECT_EQ(TSRUtilityNetworking::addQueryParams({{"b", 2}, {"a", "x y"}}, "https://h/p?z=1"),
            "https://h/p?z=1&a=x%20y&b=2");
  EXPECT_EQ(TSRUtilityNetworking::addQueryParams({{"k=&/", "v/=&?#"}}, "https://h/p"),
            "https://h/p?k%3D%26%2F=v%2F%3D%26%3F%23");
  EXPECT_EQ(TSRUtilityNetworking::addQueryParams({{"a", 1}}, "https://h/p#top"), "https://h/p?a=1#top");
  EXPECT_EQ(TSRUtilityNetworking::addQueryParams(Json::object(), "https://h/p?z=1"), "https://h/p?z=1");
}

TEST(NetworkingQuery, KeysSortByUtf16CodeUnitsNotBytes) {
  // U+1F600 is a surrogate pair (0xD83D...) and sorts before U+FF5E in
  // UTF-16, after it in UTF-8.
  Json params = {{"b", 1}, {"\xEF\xBD\x9E", 2}, {"B", 3}, {"\xF0\x9F\x98\x80", 4}, {"_", 5}, {"a", 6}};
  EXPECT_EQ(TSRUtilityNetworking::addQueryParams(params, "https://h/"),
            "https://h/?B=3&_=5&a=6&b=1&%F0%9F%98%80=4&%EF%BD%9E=2");
}

TEST(NetworkingQuery, NumbersAreWrittenAsTheirValueAndOtherKindsSkipped) {
  LogCapture logs(TSRLogLevelWarn);
  Json params = {{"int", 5}, {"whole", 5.0}, {"frac", 2.5}, {"flag", true}, {"arr", {1, 2}},
                 {"obj", {{"x", 1}}}, {"nil", nullptr}};
  EXPECT_EQ(TSRUtilityNetworking::addQueryParams(params, "https://h/p"),
            "https://h/p?flag=1&frac=2.5&int=5&whole=5");
  EXPECT_EQ(logs.messages(), (std::vector<std::string>{
                                 "Network: Ignoring URL param value, unsupported class NSArray [1,2] key arr",
                                 "Network: Ignoring URL param value, unsupported class NSNull <null> key nil",
                                 "Network: Ignoring URL param value, unsupported class NSDictionary {\"x\":1} key obj",
                             }));
}

TEST(NetworkingQuery, EncodingKeepsOnlyUnreservedCharacters) {
  EXPECT_EQ(TSRUtilityNetworking::urlEncodeString("AZaz09-._~"), "AZaz09-._~");
  EXPECT_EQ(TSRUtilityNetworking::urlEncodeString("!@#$%&*()+'\";:=,/?[] "),
            "%21%40%23%24%25%26%2A%28%29%2B%27%22%3B%3A%3D%2C%2F%3F%5B%5D%20");
  EXPECT_EQ(TSRUtilityNetworking::urlEncodeString("\xC3\xA9"), "%C3%A9");
}

TEST(NetworkingURL, ParsesOnlyWellFormedURLs) {
  for (const char* good : {"https://h/p?q=1#f", "http://user:pw@127.0.0.1:80/", "https://[::1]:8080/x",
                           "relative/path", "mailto:someone@example.com", "https://h:/", "https://h/a%20b"}) {
    auto url = TSRURL::parse(good);
    ASSERT_TRUE(url) << good;
    EXPECT_EQ(url->absoluteString(), good);
  }
  for (const char* bad : {"", "https://h/a b", "https://h/%zz", "https://h/%2", "1http://h", "https://h:80a/",
                          "https://h/<x>", "https://h/p#a#b", "https://h/\xC3\xA9", "https://h/[x]"}) {
    EXPECT_FALSE(TSRURL::parse(bad)) << bad;
  }
}

TEST(NetworkingURL, AppendingAPathComponentKeepsQueryAndFragment) {
  auto url = *TSRURL::parse("https://h/api/appConfig/?_ak=acme#f");
  EXPECT_EQ(url.appendingPathComponent("").absoluteString(), "https://h/api/appConfig/?_ak=acme#f");
  EXPECT_EQ(url.appendingPathComponent("com.example.app").appendingPathComponent("1.0 beta?").absoluteString(),
            "https://h/api/appConfig/com.example.app/1.0%20beta%3F?_ak=acme#f");
  EXPECT_EQ(TSRURL::parse("https://h")->appendingPathComponent("connect").absoluteString(), "https://h/connect");
}

TEST(NetworkingHttpDate, FormatsAndParsesInGMTWithEnglishNames) {
  EXPECT_EQ(TSRUtilityNetworking::httpDateStringFromDate(1445412480.0), "Wed, 21 Oct 2015 07:28:00 GMT");
  EXPECT_EQ(TSRUtilityNetworking::httpDateStringFromDate(1445412480.9), "Wed, 21 Oct 2015 07:28:00 GMT");
  EXPECT_EQ(TSRUtilityNetworking::dateFromHttpDateString("Wed, 21 Oct 2015 07:28:00 GMT"), 1445412480.0);
  EXPECT_EQ(TSRUtilityNetworking::dateFromHttpDateString("Thu, 01 Jan 1970 00:00:00 GMT"), 0.0);
  for (double date : {0.0, 951782400.0, 1767225600.0, 4102444799.0}) {
    auto text = TSRUtilityNetworking::httpDateStringFromDate(date);
    ASSERT_TRUE(text);
    EXPECT_EQ(TSRUtilityNetworking::dateFromHttpDateString(*text), date) << *text;
  }
}

TEST(NetworkingHttpDate, NothingInNothingOutAndNonDatesDoNotParse) {
  EXPECT_FALSE(TSRUtilityNetworking::httpDateStringFromDate(std::nullopt));
  EXPECT_FALSE(TSRUtilityNetworking::dateFromHttpDateString(std::nullopt));
  for (const char* text : {"", "yesterday", "Wed, 21 Oct 2015 07:28:00 GMT trailing", "2015-10-21T07:28:00Z",
                           "Wed, 32 Oct 2015 07:28:00 GMT"}) {
    EXPECT_FALSE(TSRUtilityNetworking::dateFromHttpDateString(std::string(text))) << text;
  }
}

TEST(NetworkingConnectivity, URLLoadingCodesClassifyByTheirKindOfFailure) {
  const std::set<long> general = {-1020, -1019, -1018, -1009, -1006, -1005};
  const std::set<long> unreachable = {-1004, -1003, -1001};
  const std::set<long> proxy = {-1013, -1012, -1010, -1007, -1200, -1201, -1202, -1203, -1204, -1205, -1206};
  for (long code = -1300; code <= 0; ++code) {
    TSRError error{kTSRURLErrorDomain, code, "failed", std::nullopt, std::nullopt};
    int expected = general.count(code) ? 1 : unreachable.count(code) ? 2 : proxy.count(code) ? 3 : 0;
    EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&error, nullptr), expected) << code;
  }
}

TEST(NetworkingConnectivity, TaggedClassificationLogsOneLineAndOtherDomainsNever) {
  LogCapture logs(TSRLogLevelDebug);
  TSRError lost{kTSRURLErrorDomain, -1005, "The network connection was lost.", "Lost", std::nullopt};
  TSRError timeout{kTSRURLErrorDomain, -1001, "The request timed out.", std::nullopt, std::nullopt};
  TSRError tls{kTSRURLErrorDomain, -1202, "The certificate is invalid.", "Untrusted", std::nullopt};
  TSRError unknown{kTSRURLErrorDomain, -1000, "Bad URL.", std::nullopt, std::nullopt};
  TSRError http{"com.tessarin.sdk", -1001, "Send request failed, status code 503", std::nullopt, std::nullopt};
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&lost, "Events"), 1);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&timeout, "Events"), 2);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&tls, "Config"), 3);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&unknown, "Events"), 0);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(&http, "Events"), 0);
  EXPECT_EQ(TSRUtilityNetworking::connectivityProblemForError(nullptr, "Events"), 0);
  EXPECT_EQ(logs.messages(),
            (std::vector<std::string>{
                "Network: Events Could not send. General network connectivity problem. "
                "The network connection was lost. Lost",
                "Network: Events Could not send. Could not contact Tessarin. The request timed out. (null)",
                "Network: Config Could not send. Might be a proxy in the way. The certificate is invalid. Untrusted",
            }));
  for (const auto& record : logs.records()) EXPECT_EQ(record.label, "Error");
}

TEST(NetworkingOpenURL, TheHostOpensTheURLAndTheOutcomeIsLogged) {
  LogCapture logs(TSRLogLevelDebug);
  SimPlatform sim;
  TSRUtilityNetworking::openURL(sim.app(), std::string("https://example.com/a"));
  sim.app().open_url_result = false;
  TSRUtilityNetworking::openURLFromString(sim.app(), std::string("myapp://deep/link"));
  EXPECT_EQ(sim.app().opened_urls, (std::vector<std::string>{"https://example.com/a", "myapp://deep/link"}));
  EXPECT_EQ(logs.messages(), (std::vector<std::string>{"Network: Open URL https://example.com/a",
                                                       "Network: Open URL fail, app did not handle myapp://deep/link"}));
  EXPECT_EQ(logs.records()[0].label, "Info");
  EXPECT_EQ(logs.records()[1].label, "Warn");
}

TEST(NetworkingOpenURL, NothingToOpenOrNoOneToOpenItIsLogged) {
  LogCapture logs(TSRLogLevelDebug);
  SimPlatform sim;
  TSRUtilityNetworking::openURL(sim.app(), std::nullopt);
  TSRUtilityNetworking::openURLFromString(sim.app(), std::string("not a url"));
  TSRUtilityNetworking::openURLFromString(sim.app(), std::nullopt);
  sim.app().has_shared_application = false;
  TSRUtilityNetworking::openURL(sim.app(), std::string("https://example.com"));
  EXPECT_TRUE(sim.app().opened_urls.empty());
  EXPECT_EQ(logs.messages(),
            (std::vector<std::string>{
                "Network: Open URL fail, nil",
                "Network: Open URL fail, string invalid not a url",
                "Network: Open URL fail, string invalid (null)",
                "Network: Open URL fail, UIApplication does not respond to expected open-url methods",
            }));
}

TEST(NetworkingOpenURL, AHostThatCannotOpenURLsAnswersFalse) {
  SimPlatform sim;
  std::optional<bool> answer;
  sim.app().HostApplication::openURL("https://example.com", [&](bool success) { answer = success; });
  EXPECT_EQ(answer, false);
  EXPECT_TRUE(sim.app().opened_urls.empty());
}

}  // namespace
}  // namespace tessarin

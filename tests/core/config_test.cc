#include "util/config.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <algorithm>
#include <cstdlib>

#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/linux/linux_platform.h"
#include "platform/posix_file_system.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::LogCapture;

constexpr double kStart = 1767225600.0;  // the simulated wall clock at creation

// Remembers which files were written, whether the writes came from the main
// thread, and which files were excluded from backups.
class RecordingFileSystem : public platform::ForwardingFileSystem {
 public:
  RecordingFileSystem(std::shared_ptr<platform::FileSystem> target, platform::Platform& platform)
      : ForwardingFileSystem(std::move(target)), platform_(platform) {}
  platform::IoResult writeFileAtomically(const std::string& path, const std::string& contents) override {
    written.push_back(path);
    if (platform_.isMainThread()) ++written_on_main;
    return ForwardingFileSystem::writeFileAtomically(path, contents);
  }
  platform::IoResult excludeFromBackup(const std::string& path) override {
    excluded.push_back(path);
    return ForwardingFileSystem::excludeFromBackup(path);
  }
  int writesOf(const std::string& path) const { return static_cast<int>(std::count(written.begin(), written.end(), path)); }
  std::vector<std::string> written;
  int written_on_main = 0;
  std::vector<std::string> excluded;

 private:
  platform::Platform& platform_;
};

class ConfigTest : public ::testing::Test {
 protected:
  std::string FilePath() const {
    return sim->applicationSupportPath() + "/com.tessarin.simhost/" + kConfigFileName;
  }
  bool FileExists() const { return std::filesystem::exists(FilePath()); }
  Json StoredFile() const {
    std::ifstream in(FilePath());
    std::stringstream text;
    text << in.rdbuf();
    return Json::parse(text.str());
  }
  void WriteFile(const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(FilePath()).parent_path());
    std::ofstream(FilePath()) << text;
  }
  const Json& Layer(const TSRConfig& config, long layer) const { return config.configLayers()[layer]; }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<TSRUtilityDI> di = std::make_shared<TSRUtilityDI>(sim);
};

TEST_F(ConfigTest, FreshConfigurationHoldsTheDefaultsWithTheirKinds) {
  TSRConfig config(di);
  ASSERT_EQ(config.configLayers().size(), 5u);
  EXPECT_EQ(TSRConfig::defaults().size(), 34u);
  EXPECT_EQ(Layer(config, 0), TSRConfig::defaults());
  for (long layer = 1; layer <= 4; ++layer) EXPECT_TRUE(config.hasEmptyLayer(layer)) << layer;
  EXPECT_FALSE(config.hasEmptyLayer(0));
  EXPECT_TRUE(config.hasEmptyLayer(5));

  // The kinds decide how the values serialise and compare, so they are part
  // of the table: switches are booleans, two delays are fractions.
  const Json& defaults = TSRConfig::defaults();
  EXPECT_TRUE(defaults["trackForeground"].is_boolean());
  EXPECT_TRUE(defaults["port"].is_number_integer());
  EXPECT_TRUE(defaults["screenUploadDelay"].is_number_float());
  EXPECT_TRUE(defaults["designerAlertTime"].is_number_float());
  EXPECT_EQ(JsonDump(defaults["designerAlertTime"]), "3.0");
  ASSERT_NE(config.jsonArrayForKey("ignorableClasses"), nullptr);
  EXPECT_EQ(*config.jsonArrayForKey("ignorableClasses"),
            Json::array({"UISnapshotModalViewController", "UIAlertController"}));
  EXPECT_EQ(config.lastUpdatedForLayer(0), 0.0);
  EXPECT_EQ(config.lastUpdatedForLayer(1), std::nullopt);
}

TEST_F(ConfigTest, HighestLayerWithTheRequestedKindWins) {
  TSRConfig config(di);
  // A mistyped server value does not hide the default.
  config.replaceConfiguration({{"port", "8443"}, {"maxScreens", nullptr}}, 3);
  EXPECT_EQ(config.longForKey("port"), 443);
  EXPECT_EQ(config.stringForKey("port"), "8443");
  EXPECT_EQ(config.longForKey("maxScreens"), 50);
  const Json* null_value = config.type(JsonKind::kNull, "maxScreens");
  ASSERT_NE(null_value, nullptr);
  EXPECT_TRUE(null_value->is_null());

  config.replaceConfiguration({{"port", 1}, {"protocol", "http"}}, 1);
  EXPECT_EQ(config.longForKey("port"), 1);
  config.setConfiguration({{"port", 2}}, 2);
  EXPECT_EQ(config.longForKey("port"), 2);
  config.setConfiguration({{"port", 4}}, 4);
  EXPECT_EQ(config.longForKey("port"), 4);
  config.replaceConfiguration({{"protocol", "https"}}, 3);
  EXPECT_EQ(config.stringForKey("protocol"), "https");  // server beats client

  // One layer at a time.
  ASSERT_NE(config.type(JsonKind::kNumber, "port", 1, false), nullptr);
  EXPECT_EQ(*config.type(JsonKind::kNumber, "port", 1, false), 1);
  EXPECT_EQ(config.type(JsonKind::kString, "port", 1, false), nullptr);
  EXPECT_EQ(config.type(JsonKind::kNumber, "port", 5, false), nullptr);
  EXPECT_EQ(config.type(JsonKind::kNumber, "port", -1, false), nullptr);

  EXPECT_EQ(config.numberForKey("noSuchKey"), nullptr);
  EXPECT_EQ(config.stringForKey("noSuchKey"), std::nullopt);
  EXPECT_EQ(config.jsonForKey("port"), nullptr);
}

TEST_F(ConfigTest, NumberConveniencesTreatBooleansAsNumbers) {
  TSRConfig config(di);
  config.setConfiguration({{"maxScreens", 7.9}, {"trackLaunch", 0}, {"disable", true}}, 4);
  EXPECT_EQ(config.longForKey("maxScreens"), 7);
  EXPECT_EQ(config.boolForKey("trackLaunch"), false);
  EXPECT_EQ(config.doubleForKey("disable"), 1.0);
  EXPECT_EQ(config.doubleForKey("screenUploadDelay"), 0.3);
  EXPECT_EQ(config.boolForKey("protocol"), std::nullopt);
}

TEST_F(ConfigTest, RefusedLayersLogAndChangeNothing) {
  TSRConfig config(di);
  config.replaceConfiguration({{"account", "acme"}}, 1);
  config.waitForPendingWrites();
  const std::vector<Json> before = config.configLayers();
  const Json file_before = StoredFile();

  LogCapture capture;
  config.setConfiguration({{"port", 1}}, 0);
  config.setConfiguration({{"port", 1}}, 1);
  config.setConfiguration({{"port", 1}}, 5);
  config.setConfiguration({{"port", 1}}, -1);
  config.replaceConfiguration({{"port", 1}}, 0);
  config.replaceConfiguration({{"port", 1}}, 2);
  config.replaceConfiguration({{"port", 1}}, 5);

  EXPECT_EQ(capture.messages(), (std::vector<std::string>{
                                    "Config: Ignoring attempt to set layer 0",
                                    "Config: Ignoring attempt to set layer 1",
                                    "Config: Ignoring attempt to set layer 5",
                                    "Config: Ignoring attempt to set layer -1",
                                    "Config: Ignoring attempt to replace layer 0",
                                    "Config: Ignoring attempt to replace layer 2",
                                    "Config: Ignoring attempt to replace layer 5",
                                }));
  EXPECT_EQ(capture.count("Config: Ignoring attempt to replace layer 2", TSRLogLevelWarn), 1);
  EXPECT_EQ(config.configLayers(), before);
  config.waitForPendingWrites();
  EXPECT_EQ(StoredFile(), file_before);
}

TEST_F(ConfigTest, MergeKeepsOtherKeysReplaceDropsThemAndBothStampAndSave) {
  auto files = std::make_shared<RecordingFileSystem>(sim->posixFileSystem(), *sim);
  sim->setFileSystem(files);
  TSRConfig config(di);
  LogCapture capture;

  config.setConfiguration({{"__visitorAffinityId", "v1"}, {"__lastAppVersion", "1.0"}}, 2);
  sim->advance(5);
  // A caller's own stamp is overwritten: the time is the SDK's to record.
  config.setConfiguration({{"__lastAppVersion", "1.1"}, {"__updated", 1}}, 2);
  EXPECT_EQ(Layer(config, 2),
            Json({{"__visitorAffinityId", "v1"}, {"__lastAppVersion", "1.1"}, {"__updated", kStart + 5}}));
  EXPECT_EQ(config.lastUpdatedForLayer(2), kStart + 5);

  config.replaceConfiguration({{"port", 8443}}, 3);
  sim->advance(0.5);
  config.replaceConfiguration({{"useCDN", false}}, 3);
  EXPECT_EQ(Layer(config, 3), Json({{"useCDN", false}, {"__updated", kStart + 5.5}}));

  const std::string expected =
      R"({"client":{},"sdk":{"__visitorAffinityId":"v1","__lastAppVersion":"1.1","__updated":1767225605.0},)"
      R"("server":{"useCDN":false,"__updated":1767225605.5}})";
  config.waitForPendingWrites();
  EXPECT_EQ(capture.messages().back(), "Config: saving: " + expected);
  EXPECT_EQ(capture.count("Config: saving: " + expected, TSRLogLevelDebug), 1);
  EXPECT_EQ(StoredFile(), Json::parse(expected));
  ASSERT_FALSE(files->excluded.empty());
  EXPECT_EQ(files->excluded.back(), FilePath());
}

TEST_F(ConfigTest, OnlyRealChangesAreWrittenOffTheMainThreadAndABurstIsOneWrite) {
  auto files = std::make_shared<RecordingFileSystem>(sim->posixFileSystem(), *sim);
  sim->setFileSystem(files);
  TSRConfig config(di);

  // A burst on the main thread: the main thread writes nothing, and the
  // queue then writes once, the latest state.
  config.replaceConfiguration({{"account", "acme"}, {"dataset", "shop"}}, 1);
  config.setConfiguration({{"__lastAppVersion", "1.0"}}, 2);
  config.replaceConfiguration({{"port", 8443}}, 3);
  config.replaceConfiguration({{"port", 8444}}, 3);
  EXPECT_EQ(config.longForKey("port"), 8444);  // memory is the truth at once
  EXPECT_TRUE(files->written.empty());
  config.waitForPendingWrites();
  EXPECT_EQ(files->writesOf(FilePath()), 1);
  EXPECT_EQ(files->written_on_main, 0);
  EXPECT_EQ(StoredFile()["server"], Json({{"port", 8444}, {"__updated", kStart}}));

  // The same entries again (in another order, with a newer stamp) and
  // run-time overrides, which are never persisted: nothing is written.
  sim->advance(10);
  config.replaceConfiguration({{"dataset", "shop"}, {"account", "acme"}}, 1);
  config.setConfiguration({{"__lastAppVersion", "1.0"}}, 2);
  config.setConfiguration({{"logLevel", 4000}}, 4);
  config.waitForPendingWrites();
  EXPECT_EQ(files->writesOf(FilePath()), 1);

  // A "not modified" answer changes only the server layer's stamp, which
  // the next launch reads its freshness from: that is written.
  config.setConfiguration(Json::object(), 3);
  EXPECT_EQ(config.lastUpdatedForLayer(3), kStart + 10);
  config.waitForPendingWrites();
  EXPECT_EQ(files->writesOf(FilePath()), 2);
  EXPECT_EQ(StoredFile()["server"], Json({{"port", 8444}, {"__updated", kStart + 10}}));

  // A dropped key is a change too.
  config.replaceConfiguration(Json::object(), 3);
  config.waitForPendingWrites();
  EXPECT_EQ(files->writesOf(FilePath()), 3);
  EXPECT_EQ(StoredFile()["server"], Json({{"__updated", kStart + 10}}));
}

TEST(ConfigWrites, AnAffinityIdRepeatedByEveryEventResponseIsWrittenOnce) {
  auto sim = std::make_shared<SimPlatform>();
  auto files = std::make_shared<RecordingFileSystem>(sim->posixFileSystem(), *sim);
  sim->setFileSystem(files);
  auto env = std::make_shared<testing::FakeEnvironment>(sim);
  auto facade = TessarinImpl::createWithEnvironment(env);
  sim->launchApp();
  facade->startWithConfiguration(
      Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}, {"useDesignMode", false}});
  sim->runUntilIdle();
  const std::string path = sim->applicationSupportPath() + "/com.tessarin.simhost/" + kConfigFileName;
  const int after_start = files->writesOf(path);
  auto respond = [&](const std::string& affinity) {
    env->queue->success(env->queue.get(), "batch", std::nullopt, Json::array({Json{{"anonAffinityId", affinity}}}));
  };

  for (int i = 0; i < 500; ++i) {
    respond("aff-1");
    sim->runUntilIdle();
  }
  EXPECT_EQ(files->writesOf(path), after_start + 1);
  EXPECT_EQ(files->written_on_main, 0);

  respond("aff-2");
  EXPECT_EQ(facade->config().stringForKey("__visitorAffinityId"), "aff-2");
  facade->config().waitForPendingWrites();
  EXPECT_EQ(files->writesOf(path), after_start + 2);
  TSRConfig reread(std::make_shared<TSRUtilityDI>(sim));
  EXPECT_EQ(reread.stringForKey("__visitorAffinityId"), "aff-2");
}

TEST(ConfigWritesOnRealThreads, WaitingReturnsWithTheLatestStateOnDisk) {
  char pattern[] = "/tmp/tessarin-config-XXXXXX";
  const std::string directory = mkdtemp(pattern);
  platform::linux_host::LinuxHostOptions options;
  options.bundle_identifier = "com.acme.shop";
  options.data_directory = directory;
  {
    auto host = std::make_shared<platform::linux_host::LinuxPlatform>(options);
    TSRConfig config(std::make_shared<TSRUtilityDI>(host));
    // The writer thread races the changes; whatever it took last, the wait
    // ends only once the last change is on disk.
    for (int i = 0; i < 50; ++i) config.setConfiguration({{"__visitorAffinityId", "v" + std::to_string(i)}}, 2);
    config.waitForPendingWrites();
    TSRConfig reread(std::make_shared<TSRUtilityDI>(host));
    EXPECT_EQ(reread.stringForKey("__visitorAffinityId"), "v49");
  }
  std::filesystem::remove_all(directory);
}

TEST_F(ConfigTest, PersistedLayersSurviveANewConfigurationAndANewHost) {
  SimPlatform keeper;  // owns the directory the two hosts share
  const Json client = {{"account", "acme"}, {"dataset", "shop"}};
  std::vector<Json> written;
  {
    auto first = std::make_shared<SimPlatform>(keeper.directory());
    TSRConfig config(std::make_shared<TSRUtilityDI>(first));
    config.replaceConfiguration(client, 1);
    config.setConfiguration({{"__lastAppVersion", "2.0"}}, 2);
    config.replaceConfiguration({{"disable", true}, {"__lastModified", 1700000000}}, 3);
    config.setConfiguration({{"logLevel", 4000}}, 4);
    written = config.configLayers();
    config.waitForPendingWrites();

    TSRConfig again(std::make_shared<TSRUtilityDI>(first));
    for (long layer = 0; layer <= 3; ++layer) EXPECT_EQ(again.configLayers()[layer], written[layer]) << layer;
    EXPECT_TRUE(again.hasEmptyLayer(4));
  }
  auto second = std::make_shared<SimPlatform>(keeper.directory());
  TSRConfig relaunched(std::make_shared<TSRUtilityDI>(second));
  for (long layer = 0; layer <= 3; ++layer) EXPECT_EQ(relaunched.configLayers()[layer], written[layer]) << layer;
  EXPECT_TRUE(relaunched.hasEmptyLayer(4));
  EXPECT_EQ(relaunched.boolForKey("disable"), true);
  EXPECT_EQ(relaunched.lastModified(), 1700000000.0);
  EXPECT_EQ(relaunched.numberForKey("logLevel"), nullptr);
}

TEST_F(ConfigTest, LoadingInstallsOnlyDictionarySections) {
  WriteFile(R"({"client":["acme"],"sdk":"x","server":{"port":8443,"disable":true}})");
  TSRConfig config(di);
  EXPECT_TRUE(config.hasEmptyLayer(1));
  EXPECT_TRUE(config.hasEmptyLayer(2));
  EXPECT_EQ(Layer(config, 3), Json({{"port", 8443}, {"disable", true}}));

  // Reloading rebuilds every layer from the file, run-time overrides too.
  config.setConfiguration({{"logLevel", 3000}}, 4);
  WriteFile("not json");
  {
    LogCapture capture;
    config.loadFromFile();
  }
  for (long layer = 1; layer <= 4; ++layer) EXPECT_TRUE(config.hasEmptyLayer(layer)) << layer;
  EXPECT_EQ(Layer(config, 0), TSRConfig::defaults());
}

TEST_F(ConfigTest, ResetEmptiesEveryLayerButTheDefaultsAndDeletesTheFile) {
  TSRConfig config(di);
  config.replaceConfiguration({{"account", "acme"}, {"dataset", "a"}}, 1);
  config.setConfiguration({{"__visitorAffinityId", "v"}}, 2);
  config.replaceConfiguration({{"port", 8443}}, 3);
  config.setConfiguration({{"logLevel", 4000}}, 4);
  config.waitForPendingWrites();
  ASSERT_TRUE(FileExists());

  // A write still waiting must not bring the file back after the reset.
  config.setConfiguration({{"__visitorAffinityId", "w"}}, 2);
  config.reset();
  for (long layer = 1; layer <= 4; ++layer) EXPECT_TRUE(config.hasEmptyLayer(layer)) << layer;
  EXPECT_EQ(Layer(config, 0), TSRConfig::defaults());
  config.waitForPendingWrites();
  EXPECT_FALSE(FileExists());
  TSRConfig after(di);
  for (long layer = 1; layer <= 3; ++layer) EXPECT_TRUE(after.hasEmptyLayer(layer)) << layer;
  // With nothing stored, a new dataset no longer calls for a reset.
  EXPECT_FALSE(config.clientConfigRequiresReset({{"account", "acme"}, {"dataset", "b"}}));
}

TEST_F(ConfigTest, ServerLayerStaysFreshForConfigMaxAgeOnTheWallClock) {
  TSRConfig config(di);
  EXPECT_TRUE(config.expired());  // never fetched

  config.replaceConfiguration({{"port", 8443}}, 3);
  EXPECT_FALSE(config.expired());
  sim->advance(119);
  EXPECT_FALSE(config.expired());
  sim->advance(1);
  EXPECT_TRUE(config.expired());

  config.replaceConfiguration({{"configMaxAge", 30}}, 3);
  sim->advance(29);
  EXPECT_FALSE(config.expired());
  sim->advance(1);
  EXPECT_TRUE(config.expired());

  // The stamp is wall-clock time, so a clock set forward ages it too.
  config.setExpired(false);
  EXPECT_FALSE(config.expired());
  sim->jumpWallClock(30);
  EXPECT_TRUE(config.expired());
}

class NonPositiveMaxAgeTest : public ConfigTest, public ::testing::WithParamInterface<int> {};

TEST_P(NonPositiveMaxAgeTest, CountsAsTwoMinutes) {
  TSRConfig config(di);
  config.replaceConfiguration({{"configMaxAge", GetParam()}}, 3);
  sim->advance(119);
  EXPECT_FALSE(config.expired());
  sim->advance(1);
  EXPECT_TRUE(config.expired());
}

INSTANTIATE_TEST_SUITE_P(ZeroAndNegative, NonPositiveMaxAgeTest, ::testing::Values(0, -5));

TEST_F(ConfigTest, ForcedExpiryDropsTheConditionAndDoesNotSave) {
  TSRConfig config(di);
  // Forcing expiry on a layer never fetched must leave it empty: an empty
  // server layer is what tells the SDK it has no server configuration yet.
  config.setExpired(true);
  EXPECT_TRUE(config.hasEmptyLayer(3));
  EXPECT_FALSE(FileExists());

  config.replaceConfiguration({{"__lastModified", 1700000000}, {"port", 8443}}, 3);
  EXPECT_EQ(config.lastModified(), 1700000000.0);
  config.waitForPendingWrites();
  const Json file_before = StoredFile();

  config.setExpired(true);
  EXPECT_TRUE(config.expired());
  EXPECT_EQ(Layer(config, 3), Json({{"port", 8443}, {"__updated", 0}}));
  EXPECT_EQ(config.lastModified(), std::nullopt);

  sim->advance(10);
  config.setExpired(false);
  EXPECT_FALSE(config.expired());
  EXPECT_EQ(config.lastUpdatedForLayer(3), kStart + 10);
  sim->advance(120);
  EXPECT_TRUE(config.expired());
  config.waitForPendingWrites();
  EXPECT_EQ(StoredFile(), file_before);
}

TEST_F(ConfigTest, FilterRejectsTopLevelValuesThatAreNotJson) {
  TSRConfig config(di);
  Json incoming = {{"s", "x"}, {"n", 1}, {"f", 1.5}, {"b", true}, {"z", nullptr},
                   {"o", {{"k", 1}}}, {"a", {1, 2}}};
  incoming["bin"] = Json::binary({1, 2, 3});
  incoming["gone"] = Json(Json::value_t::discarded);
  // Only the top level is inspected.
  incoming["nested"] = {{"inner", Json::binary({4})}};

  LogCapture capture;
  Json filtered = config.filterConfiguration(incoming, 3);
  EXPECT_EQ(capture.messages(), (std::vector<std::string>{
                                    R"(Config: Filter rejecting entry: layer 3 key bin value {"bytes":[1,2,3],"subtype":null})",
                                    "Config: Filter rejecting entry: layer 3 key gone value <discarded>",
                                }));
  EXPECT_EQ(capture.count("Config: Filter rejecting entry: layer 3 key gone value <discarded>", TSRLogLevelWarn),
            1);
  Json expected = incoming;
  expected.erase("bin");
  expected.erase("gone");
  EXPECT_EQ(filtered, expected);
  EXPECT_TRUE(config.filterConfiguration(Json::array({1}), 2).empty());

  config.setConfiguration({{"port", 1}, {"blob", Json::binary({9})}}, 4);
  EXPECT_EQ(Layer(config, 4), Json({{"port", 1}, {"__updated", kStart}}));
}

TEST(ClientConfigValid, NamesEveryFailingKeyInOneLineInRuleOrder) {
  LogCapture capture;
  // Inserted in the reverse of the rule order: the line follows the rules.
  Json bad = {{"useDesignMode", Json::array()}, {"usePushNotifications", nullptr}, {"useCDN", "yes"},
              {"port", "443"}, {"domain", ""}, {"protocol", "HTTPS"}, {"dataset", 5}, {"account", ""}};
  EXPECT_FALSE(TSRConfig::clientConfigValid(bad));
  ASSERT_EQ(capture.messages(),
            (std::vector<std::string>{
                R"(Config: Invalid keys: ["account","dataset","protocol","domain","port","useCDN","usePushNotifications","useDesignMode"])"}));
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelError);

  capture.clear();
  EXPECT_FALSE(TSRConfig::clientConfigValid({{"account", "acme"}, {"dataset", "shop"}, {"port", "443"}}));
  EXPECT_FALSE(TSRConfig::clientConfigValid({{"account", "acme"}, {"dataset", "shop"}, {"protocol", "HTTPS"}}));
  EXPECT_EQ(capture.messages(), (std::vector<std::string>{R"(Config: Invalid keys: ["port"])",
                                                          R"(Config: Invalid keys: ["protocol"])"}));
}

TEST(ClientConfigValid, AcceptsEveryCheckedKeyInItsValidFormAndIgnoresOthers) {
  LogCapture capture;
  EXPECT_TRUE(TSRConfig::clientConfigValid({{"account", "acme"}, {"dataset", "shop"}}));
  EXPECT_TRUE(TSRConfig::clientConfigValid({{"account", "acme"},
                                            {"dataset", "shop"},
                                            {"protocol", "http"},
                                            {"domain", "events.example"},
                                            {"port", 8080},
                                            {"useCDN", false},
                                            {"usePushNotifications", 1},
                                            {"useDesignMode", true},
                                            {"logLevel", "loud"}}));
  EXPECT_TRUE(capture.messages().empty());
}

TEST_F(ConfigTest, OnlyAChangedAccountOrDatasetRequiresAReset) {
  TSRConfig config(di);
  LogCapture capture;
  EXPECT_FALSE(config.clientConfigRequiresReset({{"account", "acme"}, {"dataset", "a"}}));  // first start

  config.replaceConfiguration({{"account", "acme"}, {"dataset", "a"}, {"domain", "one.example"}}, 1);
  capture.clear();
  EXPECT_FALSE(config.clientConfigRequiresReset(
      {{"account", "acme"}, {"dataset", "a"}, {"domain", "two.example"}, {"protocol", "http"}}));
  EXPECT_TRUE(capture.messages().empty());

  EXPECT_TRUE(config.clientConfigRequiresReset({{"account", "acme"}, {"dataset", "b"}}));
  ASSERT_EQ(capture.messages(),
            (std::vector<std::string>{
                R"(Config: Will require reset to update from old client configuration: )"
                R"({"account":"acme","dataset":"a","domain":"one.example","__updated":1767225600.0})"}));
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelWarn);
  EXPECT_TRUE(config.clientConfigRequiresReset({{"account", "other"}, {"dataset", "a"}}));
  EXPECT_TRUE(config.clientConfigRequiresReset({{"account", "acme"}}));
}

}  // namespace
}  // namespace tessarin

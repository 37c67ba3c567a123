#include "util/persistence.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "platform/posix_file_system.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

namespace fs = std::filesystem;
using platform::IoResult;
using platform::sim::SimPlatform;
using testing::LogCapture;

// The platform's file system with chosen calls failing, and a record of the
// backup exclusions asked for.
class FaultyFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  bool fail_support = false;
  bool fail_create = false;
  bool fail_write = false;
  bool fail_read = false;
  bool fail_remove = false;
  bool fail_exclude = false;
  int support_calls = 0;
  std::vector<std::string> excluded;

  std::optional<std::string> applicationSupportDirectory(std::string* error) override {
    ++support_calls;
    if (!fail_support) return ForwardingFileSystem::applicationSupportDirectory(error);
    *error = "No such volume";
    return std::nullopt;
  }
  IoResult createDirectory(const std::string& path) override {
    if (fail_create) return IoResult::Failure(13, "Permission denied");
    return ForwardingFileSystem::createDirectory(path);
  }
  IoResult writeFileAtomically(const std::string& path, const std::string& contents) override {
    if (fail_write) return IoResult::Failure(28, "No space left on device");
    return ForwardingFileSystem::writeFileAtomically(path, contents);
  }
  IoResult readFile(const std::string& path, std::string* contents) override {
    if (fail_read) return IoResult::Failure(5, "Input/output error");
    return ForwardingFileSystem::readFile(path, contents);
  }
  IoResult removeFile(const std::string& path) override {
    if (fail_remove) return IoResult::Failure(1, "Operation not permitted");
    return ForwardingFileSystem::removeFile(path);
  }
  IoResult excludeFromBackup(const std::string& path) override {
    excluded.push_back(path);
    if (fail_exclude) return IoResult::Failure(95, "Operation not supported");
    return ForwardingFileSystem::excludeFromBackup(path);
  }
};

class PersistenceTest : public ::testing::Test {
 protected:
  PersistenceTest()
      : sim_(std::make_shared<SimPlatform>()),
        files_(std::make_shared<FaultyFileSystem>(sim_->posixFileSystem())) {
    sim_->setFileSystem(files_);
  }

  std::string PrivateDir() const { return sim_->applicationSupportPath() + "/com.tessarin.simhost"; }
  // How the private directory prints in log lines.
  std::string PrivateURL() const {
    std::string url = "file://" + PrivateDir();
    return url.replace(url.find("Application Support"), 19, "Application%20Support");
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  static std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename().string());
    return names;
  }

  std::shared_ptr<SimPlatform> sim_;
  std::shared_ptr<FaultyFileSystem> files_;
};

TEST_F(PersistenceTest, FilesLiveInTheBundleSubdirectoryPrivatelyAndWithoutLeftovers) {
  TSRUtilityPersistence persistence(sim_);
  EXPECT_EQ(persistence.directory(), PrivateDir());
  EXPECT_EQ(persistence.fileURL("Tessarin-config"), PrivateURL() + "/Tessarin-config");

  persistence.saveRawJSON(Json{{"b", 1}, {"a", "\xC3\xA9"}}, "Tessarin-config", false);
  const std::string path = PrivateDir() + "/Tessarin-config";
  EXPECT_EQ(Read(path), "{\"b\":1,\"a\":\"\xC3\xA9\"}");
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  // Overwriting replaces the whole file and leaves no temporary file behind.
  persistence.saveJSONString(std::string("[1,2]"), "Tessarin-config", false);
  EXPECT_EQ(Read(path), "[1,2]");
  EXPECT_EQ(Listing(PrivateDir()), std::vector<std::string>{"Tessarin-config"});
  EXPECT_EQ(persistence.loadJSONArrayFromFilename("Tessarin-config"), Json::parse("[1,2]"));

  // A second instance (a relaunch) finds what the first one wrote.
  TSRUtilityPersistence relaunched(sim_);
  EXPECT_EQ(relaunched.loadJSONStringFromFilename("Tessarin-config"), "[1,2]");
}

TEST_F(PersistenceTest, WithoutBundleIdentifierFilesLiveDirectlyInApplicationSupport) {
  for (std::optional<std::string> bundle : {std::optional<std::string>(), std::optional<std::string>("")}) {
    sim_->app().bundle_identifier = bundle;
    TSRUtilityPersistence persistence(sim_);
    EXPECT_EQ(persistence.directory(), sim_->applicationSupportPath());
    persistence.saveJSONString(std::string("{}"), "Tessarin-events", false);
    EXPECT_EQ(Read(sim_->applicationSupportPath() + "/Tessarin-events"), "{}");
    persistence.deleteFilename("Tessarin-events");
    EXPECT_FALSE(fs::exists(sim_->applicationSupportPath() + "/Tessarin-events"));
  }
}

TEST_F(PersistenceTest, MissingInputsAndMissingFilesAreSilentNothing) {
  LogCapture logs(TSRLogLevelDebug);
  TSRUtilityPersistence persistence(sim_);
  EXPECT_FALSE(persistence.loadJSONStringFromFilename("Tessarin-config").has_value());
  EXPECT_FALSE(persistence.loadJSONFromFilename("Tessarin-config").has_value());
  EXPECT_FALSE(persistence.loadJSONStringFromFilename("").has_value());
  persistence.deleteFilename("Tessarin-config");
  persistence.saveJSONString(std::nullopt, "Tessarin-config", true);
  persistence.saveJSONString(std::string("{}"), "", true);
  persistence.saveRawJSON(std::nullopt, "Tessarin-config", true);
  EXPECT_EQ(Listing(PrivateDir()), std::vector<std::string>{});
  EXPECT_TRUE(files_->excluded.empty());
  EXPECT_EQ(logs.messages(), std::vector<std::string>{});
}

TEST_F(PersistenceTest, UnreadableOrNonUTF8FileIsLoggedAndYieldsNothing) {
  TSRUtilityPersistence persistence(sim_);
  ASSERT_TRUE(persistence.directory().has_value());
  {
    std::ofstream out(PrivateDir() + "/Tessarin-config", std::ios::binary);
    out << "{\"a\":\"\xFF\xFE\"}";
  }
  LogCapture logs(TSRLogLevelError);
  EXPECT_FALSE(persistence.loadJSONFromFilename("Tessarin-config").has_value());
  EXPECT_EQ(logs.messages(), std::vector<std::string>{
                                 "Persistence: Error loading string from " + PrivateURL() +
                                 "/Tessarin-config: The file \u201cTessarin-config\u201d couldn\u2019t be opened "
                                 "using text encoding Unicode (UTF-8)."});

  logs.clear();
  persistence.saveJSONString(std::string("{}"), "Tessarin-config", false);
  files_->fail_read = true;
  EXPECT_FALSE(persistence.loadJSONStringFromFilename("Tessarin-config").has_value());
  EXPECT_TRUE(logs.contains("Persistence: Error loading string from " + PrivateURL() +
                                "/Tessarin-config: Input/output error",
                            TSRLogLevelError));
}

TEST_F(PersistenceTest, WriteFailureIsLoggedAndSkipsBackupExclusion) {
  TSRUtilityPersistence persistence(sim_);
  persistence.saveJSONString(std::string("old"), "Tessarin-config", false);
  files_->fail_write = true;
  LogCapture logs(TSRLogLevelError);
  persistence.saveRawJSON(Json{{"a", 1}}, "Tessarin-config", true);
  EXPECT_EQ(logs.messages(), std::vector<std::string>{"Persistence: Error writing string to " + PrivateURL() +
                                                      "/Tessarin-config: No space left on device"});
  EXPECT_TRUE(files_->excluded.empty());
  EXPECT_EQ(Read(PrivateDir() + "/Tessarin-config"), "old");
}

TEST_F(PersistenceTest, RealWriteFailureLeavesNoTemporaryFile) {
  TSRUtilityPersistence persistence(sim_);
  // A directory in the file's place makes the final rename fail.
  fs::create_directories(PrivateDir() + "/Tessarin-events/inside");
  LogCapture logs(TSRLogLevelError);
  persistence.saveJSONString(std::string("[]"), "Tessarin-events", false);
  ASSERT_EQ(logs.messages().size(), 1u);
  EXPECT_EQ(logs.messages()[0].rfind("Persistence: Error writing string to " + PrivateURL() + "/Tessarin-events: ", 0),
            0u);
  EXPECT_EQ(Listing(PrivateDir()), std::vector<std::string>{"Tessarin-events"});
}

TEST_F(PersistenceTest, BackupExclusionOnlyWhenAskedAndItsFailureIsAWarning) {
  TSRUtilityPersistence persistence(sim_);
  persistence.saveJSONString(std::string("{}"), "kept", false);
  EXPECT_TRUE(files_->excluded.empty());
  persistence.saveJSONString(std::string("{}"), "Tessarin-config", true);
  EXPECT_EQ(files_->excluded, std::vector<std::string>{PrivateDir() + "/Tessarin-config"});

  files_->fail_exclude = true;
  LogCapture logs(TSRLogLevelDebug);
  persistence.saveJSONString(std::string("[3]"), "Tessarin-config", true);
  EXPECT_EQ(logs.records().size(), 1u);
  EXPECT_TRUE(logs.contains("Persistence: Could not exclude file from backups " + PrivateURL() +
                                "/Tessarin-config Operation not supported",
                            TSRLogLevelWarn));
  // The file itself was written.
  EXPECT_EQ(persistence.loadJSONArrayFromFilename("Tessarin-config"), Json::array({3}));
}

TEST_F(PersistenceTest, DeleteRemovesAndLogsFailure) {
  TSRUtilityPersistence persistence(sim_);
  persistence.saveJSONString(std::string("{}"), "Tessarin-events", false);
  files_->fail_remove = true;
  LogCapture logs(TSRLogLevelError);
  persistence.deleteFilename("Tessarin-events");
  EXPECT_EQ(logs.messages(), std::vector<std::string>{"Persistence: Error removing " + PrivateURL() +
                                                      "/Tessarin-events Operation not permitted"});
  files_->fail_remove = false;
  persistence.deleteFilename("Tessarin-events");
  EXPECT_FALSE(persistence.loadJSONStringFromFilename("Tessarin-events").has_value());
  EXPECT_EQ(logs.messages().size(), 1u);
}

TEST_F(PersistenceTest, MissingApplicationSupportIsLoggedOnceAndDisablesFiles) {
  files_->fail_support = true;
  LogCapture logs(TSRLogLevelError);
  TSRUtilityPersistence persistence(sim_);
  EXPECT_FALSE(persistence.directory().has_value());
  persistence.saveJSONString(std::string("{}"), "Tessarin-config", false);
  EXPECT_FALSE(persistence.loadJSONStringFromFilename("Tessarin-config").has_value());
  persistence.deleteFilename("Tessarin-config");
  // Worked out once: a file system that recovers later is not asked again.
  files_->fail_support = false;
  EXPECT_FALSE(persistence.fileURL("Tessarin-config").has_value());
  EXPECT_EQ(files_->support_calls, 1);
  EXPECT_EQ(logs.messages(),
            std::vector<std::string>{"Persistence: Could not find/create main directory 14 No such volume"});
}

TEST_F(PersistenceTest, UncreatableSubdirectoryIsLoggedOnce) {
  files_->fail_create = true;
  LogCapture logs(TSRLogLevelError);
  TSRUtilityPersistence persistence(sim_);
  persistence.saveJSONString(std::string("{}"), "Tessarin-config", false);
  persistence.saveJSONString(std::string("{}"), "Tessarin-events", false);
  EXPECT_FALSE(persistence.directory().has_value());
  EXPECT_EQ(logs.messages(), std::vector<std::string>{"Persistence: Could not create directory " + PrivateURL() + "/"});
  EXPECT_FALSE(fs::exists(sim_->applicationSupportPath() + "/Tessarin-config"));
}

}  // namespace
}  // namespace tessarin

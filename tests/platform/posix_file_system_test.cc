#include "platform/posix_file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

namespace tessarin::platform {
namespace {

class PosixAppendTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = std::filesystem::temp_directory_path() /
                 ("tessarin-append-" + std::to_string(::getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(directory_);
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }
  std::string Path(const std::string& name) const { return (directory_ / name).string(); }
  std::string Read(const std::string& path) {
    std::string contents;
    EXPECT_TRUE(files_.readFile(path, &contents).ok);
    return contents;
  }

  std::filesystem::path directory_;
  PosixFileSystem files_{"unused"};
};

TEST_F(PosixAppendTest, AppendsReachTheFileAtOnceAndAddToWhatIsThere) {
  const std::string path = Path("journal");
  IoResult opened;
  auto file = files_.openForAppend(path, &opened);
  ASSERT_NE(file, nullptr) << opened.description;
  EXPECT_TRUE(opened.ok);
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  EXPECT_TRUE(file->append("one\n").ok);
  // Readable while the file is still open: nothing is held in the process,
  // so a killed process loses none of it.
  EXPECT_EQ(Read(path), "one\n");
  EXPECT_TRUE(file->append(std::string(200000, 'x')).ok);
  EXPECT_TRUE(file->sync().ok);
  file.reset();

  auto again = files_.openForAppend(path, nullptr);
  ASSERT_NE(again, nullptr);
  EXPECT_TRUE(again->append("two").ok);
  EXPECT_EQ(Read(path), "one\n" + std::string(200000, 'x') + "two");
}

}  // namespace
}  // namespace tessarin::platform

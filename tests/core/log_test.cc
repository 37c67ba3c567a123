#include "base/log.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"

namespace tessarin {
namespace {

using testing::LogCapture;

TEST(LogThreshold, DefaultZeroPrintsNothingNotEvenErrors) {
  LogCapture capture(TSRLogLevelDefault);
  TSR_LOG_ERROR("Config: update error");
  TSR_LOG_DEBUG("Config: saving");
  EXPECT_TRUE(capture.records().empty());
}

TEST(LogThreshold, LevelsPrintUpToTheThresholdWithRangeLabels) {
  LogCapture capture(2500);
  TSR_LOG_ERROR("e");
  TSR_LOG_WARN("w");
  TSR_LOG_INFO("i");
  TSR_LOG_DEBUG("d");
  TSRLogInternal(1999, "/a/b/file.mm", 7, "late error");
  TSRLogInternal(500, "/a/b/file.mm", 8, "unlabelled");
  auto records = capture.records();
  ASSERT_EQ(records.size(), 4u);
  EXPECT_EQ(records[0].label, "Error");
  EXPECT_EQ(records[1].label, "Warn");
  EXPECT_EQ(records[2].text, "TSR Error [file.mm:7] late error");
  EXPECT_EQ(records[3].text, "TSR (null) [file.mm:8] unlabelled");
}

TEST(LogFormat, PlaceholdersAndMissingObjects) {
  std::optional<std::string> missing;
  EXPECT_EQ(FormatLogMessage("%@ %d %i %ld %lu %.3f %% %@",
                             {LogArg("a"), LogArg(-2), LogArg(3), LogArg(4L), LogArg(5UL),
                              LogArg(1.23456), LogArg(missing)}),
            "a -2 3 4 5 1.235 % (null)");
  // Too few arguments: objects print as missing, numbers as zero.
  EXPECT_EQ(FormatLogMessage("[%@:%d]", {}), "[(null):0]");
  // JSON values print compactly; strings print bare.
  Json dictionary = {{"account", "acme"}, {"port", 443}};
  EXPECT_EQ(FormatLogMessage("%@|%@", {LogArg(dictionary), LogArg(Json("x"))}),
            R"({"account":"acme","port":443}|x)");
  int value = 0;
  EXPECT_NE(FormatLogMessage("%p", {LogArg(static_cast<const void*>(&value))}).find("0x"), std::string::npos);
}

TEST(LogFormat, MessageIsExpandedOnceAcrossTheWholeLine) {
  LogCapture capture(TSRLogLevelDebug);
  // A file name with a placeholder consumes an argument, as the system log
  // expands the composed line once.
  TSRLogInternal(TSRLogLevelInfo, "/src/100%@.mm", 3, "value %@", "A", "B");
  ASSERT_EQ(capture.records().size(), 1u);
  EXPECT_EQ(capture.records()[0].text, "TSR Info [100A.mm:3] value B");
}

TEST(LogSystem, LinesBypassingTheThresholdReachTheSink) {
  LogCapture capture(TSRLogLevelDefault);
  LogToSystem("TessarinSwizzlingEnabled found in plist, set to NO");
  ASSERT_EQ(capture.records().size(), 1u);
  EXPECT_FALSE(capture.records()[0].fromLogCall);
  EXPECT_EQ(capture.records()[0].text, "TessarinSwizzlingEnabled found in plist, set to NO");
}

}  // namespace
}  // namespace tessarin

#include "util/safety.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/linux/linux_platform.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "support/timing.h"

namespace tessarin {
namespace {

using platform::Clock;
using platform::sim::SimPlatform;
using testing::LogCapture;

class SafetyTest : public ::testing::Test {
 protected:
  void TearDown() override { TSRUtilitySafety::setThrowExceptions(false); }
  SimPlatform sim;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(SafetyTest, ExceptionOnABackgroundQueueIsOneReportAndWorkGoesOn) {
  auto worker = sim.createSerialQueue("worker");
  bool later_ran = false;
  TSRUtilitySafety::runAsyncOnQueue(worker, "-[Worker step]", [] { throw std::runtime_error("boom"); });
  TSRUtilitySafety::runAsyncOnQueue(worker, "-[Worker next]", [&] { later_ran = true; });
  sim.runUntilIdle();
  EXPECT_TRUE(later_ran);
  ASSERT_EQ(log.records().size(), 1u);
  EXPECT_EQ(log.records()[0].level, TSRLogLevelError);
  EXPECT_EQ(log.records()[0].message,
            "Exception:\n  Tag: -[Worker step]\n  Name: std::runtime_error\n  Reason: boom\n  Info: (null)\n"
            "  Symbols: (null)");
}

TEST_F(SafetyTest, NamedExceptionsReportTheirInfoAndCallStack) {
  TSRUtilitySafety::runWithTag("-[Tessarin start]", [] {
    throw TSRException("NSInvalidArgumentException", "bad argument", Json{{"key", "value"}});
  });
  ASSERT_EQ(log.records().size(), 1u);
  const std::string message = log.records()[0].message;
  EXPECT_NE(message.find("  Name: NSInvalidArgumentException\n  Reason: bad argument\n  Info: {\"key\":\"value\"}\n"
                         "  Symbols: "),
            std::string::npos);
  // Each symbol line after the first is indented by two blanks.
  EXPECT_NE(message.find("\n  ", message.find("Symbols: ")), std::string::npos);
}

TEST_F(SafetyTest, AnythingThrownIsReportedAndRethrownOnlyWhenAsked) {
  // What is not a std::exception has no name or reason to read.
  struct AppError {};
  TSRUtilitySafety::runWithTag("-[Host render]", [] { throw 42; });
  TSRUtilitySafety::runWithTag("-[Host render]", [] { throw AppError{}; });
  EXPECT_EQ(log.count("Exception:\n  Tag: -[Host render]\n  Name: unknown exception\n  Reason: a non-standard "
                      "exception was thrown\n  Info: (null)\n  Symbols: (null)",
                      TSRLogLevelError),
            2);

  TSRUtilitySafety::setThrowExceptions(true);
  EXPECT_THROW(TSRUtilitySafety::runWithTag("t", [] { throw std::logic_error("again"); }), std::logic_error);
  EXPECT_THROW(TSRUtilitySafety::runWithTag("t", [] { throw AppError{}; }), AppError);
  // Each is logged before it is raised again.
  EXPECT_EQ(log.countContaining("Reason: again"), 1);
  EXPECT_EQ(log.countContaining("Tag: t\n  Name: unknown exception"), 1);
}

TEST_F(SafetyTest, RunOnMainIsInlineOnMainAndQueuedElsewhere) {
  bool ran = false;
  TSRUtilitySafety::runOnMainWithTag(sim, "t", [&] { ran = true; });
  EXPECT_TRUE(ran);

  auto worker = sim.createSerialQueue("worker");
  bool ran_from_worker = false, returned_first = false;
  worker->async([&] {
    TSRUtilitySafety::runOnMainWithTag(sim, "t", [&] { ran_from_worker = sim.isMainThread(); });
    returned_first = !ran_from_worker;
  });
  sim.runUntilIdle();
  EXPECT_TRUE(returned_first);
  EXPECT_TRUE(ran_from_worker);
}

TEST_F(SafetyTest, DelayedRunsCountTheClockTheyWereGiven) {
  int wall = 0, monotonic = 0;
  TSRUtilitySafety::runAfterDelay(sim, 30, true, sim.mainQueue(), "t", [&] { ++wall; });
  TSRUtilitySafety::runAfterDelay(sim, 30, false, sim.mainQueue(), "t", [&] { ++monotonic; });
  sim.jumpWallClock(60);
  EXPECT_EQ(wall, 1);
  EXPECT_EQ(monotonic, 0);
  sim.advance(29.999999);
  EXPECT_EQ(monotonic, 0);
  sim.advance(0.000001);
  EXPECT_EQ(monotonic, 1);
}

TEST(SafetyOnRealThreads, ExceptionOnAWorkerThreadIsReportedAndTheProcessGoesOn) {
  LogCapture log{TSRLogLevelError};
  auto directory = std::make_shared<SimPlatform>();  // a temporary directory for the host's files
  platform::linux_host::LinuxHostOptions options;
  options.bundle_identifier = "com.tessarin.safety";
  options.data_directory = directory->directory();
  platform::linux_host::LinuxPlatform host(options);
  auto worker = host.createSerialQueue("worker");
  std::atomic<bool> after{false};
  TSRUtilitySafety::runAsyncOnQueue(worker, "-[Worker step]", [] { throw std::runtime_error("thread boom"); });
  TSRUtilitySafety::runAsyncOnQueue(worker, "-[Worker next]", [&] { after = true; });
  ASSERT_TRUE(testing::WaitUntil([&] { return after.load(); }));
  EXPECT_EQ(log.countContaining("Reason: thread boom"), 1);
}

}  // namespace
}  // namespace tessarin

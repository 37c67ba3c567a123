#include "transport/queued_event_sender.h"

#include <limits>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/composition_root.h"
#include "platform/posix_file_system.h"
#include "platform/sim/sim_platform.h"
#include "support/log_capture.h"
#include "tessarin/tessarin.h"
#include "transport/queued_event_sender_fixture.h"
#include "util/config.h"

namespace tessarin {
namespace {

using namespace queue_test;
using testing::LogCapture;

TEST(QueuedEventSenderEstimateTest, CountsTopLevelKeysAndValueTextsInUtf16Units) {
  LogCapture log{TSRLogLevelDebug};
  struct Case {
    Json event;
    unsigned long size;
  } cases[] = {
      {Json{{"ab", "h\u00e9llo"}}, 2 + 5},
      {Json{{"\u00fc", "\U0001F600"}}, 1 + 2},  // a character outside the BMP is two units
      {Json{{"n", 12345}}, 1 + 5},
      {Json{{"n", -7}}, 1 + 2},
      {Json{{"n", 18446744073709551615ull}}, 1 + 20},
      {Json{{"d", 1.5}}, 1 + 3},
      {Json{{"d", 2.0}}, 1 + 1},
      {Json{{"d", 0.1}}, 1 + 19},  // "0.10000000000000001"
      {Json{{"b", true}}, 1 + 1},
      {Json{{"z", nullptr}}, 1 + 4},
      {Json{{"o", {{"nested", "not counted"}}}, {"a", Json::array({"nor this"})}}, 1 + 1},
      {Json::object(), 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(TSRQueuedEventSender::estimateSizeOfEvent(c.event), c.size) << c.event.dump();
  }
  EXPECT_EQ(log.countContaining("Events: Ignoring estimating size of unexpected value, NSDictionary "), 1);
  EXPECT_EQ(log.countContaining("Events: Ignoring estimating size of unexpected value, NSArray "), 1);
}

TEST_F(QueuedEventSenderTest, ThrottlesByAFixedPeriodAnchoredAtItsFirstEvent) {
  auto queue = Make();
  const double t0 = 1767225600000.0;
  auto at = [](double ms, int id) { return Json{{"timestamp", ms}, {"id", id}}; };
  for (int i = 0; i < 50; ++i) queue->addEvent(at(t0 + i * 100, i));
  queue->addEvent(at(t0 + 10000, 50));    // the 51st, exactly 10 s after the first: same period
  queue->addEvent(at(t0 - 600000, 51));   // an older timestamp still falls into this period
  queue->addEvent(at(t0 + 10001, 52));    // past the period: a new one, counting 1
  for (int i = 0; i < 49; ++i) queue->addEvent(at(t0 + 10001, 53 + i));
  queue->addEvent(at(t0 + 10002, 102));   // the 51st of the new period
  sim->runUntilIdle();

  std::vector<int> expected = Range(0, 50);
  for (int id : Range(52, 50)) expected.push_back(id);
  EXPECT_EQ(Ids(queue->eventQueueCopy()), expected);
  EXPECT_EQ(log.count("Events: Dropping event, exceeded 50 events / 10.0 seconds", TSRLogLevelError), 3);
  EXPECT_EQ(Counts().droppedThrottled, 3u);
  EXPECT_EQ(Counts().dropped(), 3u);
}

TEST_F(QueuedEventSenderTest, ThrottleFollowsTheConfigurationAndTheClockForUntimedEvents) {
  config.setConfiguration({{"eventThrottleLimit", 1.9}, {"eventThrottleInterval", 5}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  const double now_ms = sim->now(platform::Clock::kWall) * 1000;
  queue->addEvent(Event(1));                                      // no timestamp: the clock's time opens the period
  queue->addEvent(Json{{"timestamp", now_ms + 5000}, {"id", 2}});  // limit 1 (1.9 truncated): dropped
  queue->addEvent(Json{{"timestamp", now_ms + 5001}, {"id", 3}});  // a new period
  sim->runUntilIdle();

  EXPECT_EQ(Ids(queue->eventQueueCopy()), (std::vector<int>{1, 3}));
  EXPECT_EQ(log.count("Events: Timestamp missing from event", TSRLogLevelDebug), 1);
  EXPECT_EQ(log.count("Events: Dropping event, exceeded 1 events / 5.0 seconds", TSRLogLevelError), 1);
}

TEST_F(QueuedEventSenderTest, ANullEventIsReportedOnMainAndNothingIsQueued) {
  auto queue = Make();
  queue->addEvent(nullptr);
  sim->runUntilIdle();

  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].queue, queue.get());
  EXPECT_FALSE(failures[0].uuid.has_value());
  EXPECT_EQ(failures[0].error.domain, "com.tessarin.sdk");
  EXPECT_EQ(failures[0].error.code, 0);
  EXPECT_EQ(failures[0].error.description, "No event to send.");
  EXPECT_EQ(failures[0].error.failureReason, "There must be at least one event to send.");
  EXPECT_TRUE(failures[0].onMain);
  EXPECT_EQ(queue->eventQueueCount(), 0u);
}

TEST_F(QueuedEventSenderTest, ARecordJsonCannotHoldIsRefusedAndMalformedTextIsRepaired) {
  auto queue = Make();
  Json notFinite = Event(1);
  notFinite["price"] = std::numeric_limits<double>::quiet_NaN();
  queue->addEvent(notFinite);
  Json malformed = Event(2);
  malformed["name"] = "caf\xC3";
  queue->addEvent(malformed);
  Json fine = Event(3);
  fine["price"] = 2.5;
  queue->addEvent(fine);
  sim->runUntilIdle();

  EXPECT_EQ(log.countContaining("JSON: Couldn't serialize, not valid object/array:"), 1);
  EXPECT_EQ(Counts().droppedRejected, 1u);
  Json queued = queue->eventQueueCopy();
  EXPECT_EQ(Ids(queued), (std::vector<int>{2, 3}));
  // Text that is not UTF-8 is sent with the malformed bytes replaced.
  EXPECT_EQ(queued[0]["name"], "caf\xEF\xBF\xBD");
  EXPECT_EQ(queued[1]["price"], 2.5);
}

TEST_F(QueuedEventSenderTest, SingleEventLimitAndTheOfferedCount) {
  auto queue = Make();
  queue->enqueueEventsForTest(Json::array({EventOfSize(102401, 1)}));
  EXPECT_EQ(log.countContaining("Events: Enqueueing"), 0) << "nothing kept, nothing enqueued";

  queue->enqueueEventsForTest(Json::array({EventOfSize(102400, 2), EventOfSize(102401, 3), Event(4)}));
  EXPECT_EQ(Ids(queue->eventQueueCopy()), (std::vector<int>{2, 4}));
  EXPECT_EQ(log.count("Events: Dropping an event that is too large to fit in a single request", TSRLogLevelError), 2);
  EXPECT_EQ(Counts().droppedTooLarge, 2u);
  EXPECT_EQ(Counts().dropped(), 2u);
  // The line counts the events offered, not the two kept.
  EXPECT_EQ(log.count("Events: Enqueueing 3 events.", TSRLogLevelInfo), 1);
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 102400u + 3u);

  // An event exactly at the limit is kept and goes out alone.
  Start(*queue);
  ASSERT_EQ(sender->batches.size(), 1u);
  EXPECT_EQ(Ids(sender->batches[0].events), std::vector<int>{2});
  sender->succeed(0);
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 2u);
  EXPECT_EQ(Ids(sender->batches[1].events), std::vector<int>{4});
}

TEST_F(QueuedEventSenderTest, CountLimitDropsTheOldestButKeepsTheirBytesInTheEstimate) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 1001));

  EXPECT_EQ(queue->eventQueueCount(), 1000u);
  EXPECT_EQ(queue->getEventAtIndex(0), Event(1));
  EXPECT_EQ(queue->getEventAtIndex(999), Event(1000));
  EXPECT_EQ(queue->getEventAtIndex(1000), std::nullopt);
  EXPECT_EQ(log.count("Events: The number of queued events 1001 exceeded the limit 1000, dropping the excess.",
                      TSRLogLevelError),
            1);
  EXPECT_EQ(Counts().droppedCountTrim, 1u);
  EXPECT_EQ(Counts().dropped(), 1u);
  unsigned long all = 0;
  for (const auto& e : Events(0, 1001)) all += TSRQueuedEventSender::estimateSizeOfEvent(e);
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), all);
}

// Events added faster than the queue takes them in wait as text, and no
// more than the queue could keep; the queue still ends as if each had been
// added on its own: the first sent alone, the newest kept, the same count
// dropped.
TEST_F(QueuedEventSenderTest, ArrivalsFasterThanTheQueueTakesThemInEndAsIfAddedOneByOne) {
  config.setConfiguration({{"maxEventsInQueue", 100}, {"eventThrottleLimit", 100000}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  Start(*queue);
  for (int i = 0; i < 400; ++i) queue->addEvent(Event(i));  // no task of the queue runs meanwhile
  EXPECT_EQ(Counts().droppedCountTrim, 250u);                // past 100 + 50 waiting
  sim->runUntilIdle();

  ASSERT_EQ(sender->batches.size(), 1u);
  EXPECT_EQ(Ids(sender->batches[0].events), Range(0, 1));
  EXPECT_EQ(Ids(queue->eventQueueCopy()), Range(300, 100));
  EXPECT_EQ(Counts().droppedCountTrim, 299u);
  EXPECT_EQ(Counts().dropped(), 299u);
}

TEST_F(QueuedEventSenderTest, ByteLimitActsOnTheEstimateNotOnWhatIsLeft) {
  auto queue = Make();
  Json big = Json::array();
  for (int i = 0; i < 11; ++i) big.push_back(EventOfSize(100000, i));
  queue->enqueueEventsForTest(big);

  EXPECT_EQ(Ids(queue->eventQueueCopy()), Range(1, 10));
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 1000000u);
  EXPECT_EQ(log.count("Events: The number of estimated bytes in the queue exceeded the limit of 1048576, dropping 1 "
                      "events.",
                      TSRLogLevelError),
            1);

  // Sending does not lower the estimate: once ten batches are gone, one
  // more large event tips it over the limit and is itself walked off.
  Start(*queue);
  for (std::size_t i = 0; i < 10; ++i) {
    ASSERT_EQ(sender->batches.size(), i + 1);
    sender->succeed(i);
    sim->runUntilIdle();
  }
  EXPECT_EQ(queue->eventQueueCount(), 0u);
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 1000000u);
  queue->enqueueEventsForTest(Json::array({EventOfSize(100000, 11)}));
  EXPECT_EQ(queue->eventQueueCount(), 0u);
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 1000000u);
  EXPECT_EQ(Counts().eventsSent, 10u);
  EXPECT_EQ(Counts().droppedByteTrim, 2u);
  EXPECT_EQ(Counts().dropped(), 2u);
}

TEST_F(QueuedEventSenderTest, ByteLimitOnContentFollowsTakingPuttingBackAndTheCountTrim) {
  config.setConfiguration({{"eventQueueByteLimitOnContent", true}, {"maxEventsInQueue", 3}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  queue->enqueueEventsForTest(Json::array({EventOfSize(1000, 0), EventOfSize(1000, 1), EventOfSize(1000, 2)}));
  queue->enqueueEventsForTest(Json::array({EventOfSize(1000, 3)}));
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 3000u) << "the count trim lets go of what it drops";

  Start(*queue);
  ASSERT_EQ(sender->batches.size(), 1u);
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 0u) << "the batch in flight is not queued";
  sender->fail(0, ConnectivityError());
  sim->runUntilIdle();
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 3000u) << "put back, counted again";
  sim->advance(1);
  sender->succeed(1);
  sim->runUntilIdle();
  EXPECT_EQ(queue->estimatedBytesInEventQueue(), 0u);
  EXPECT_EQ(Ids(sender->batches[1].events), (std::vector<int>{1, 2, 3}));
}

TEST_F(QueuedEventSenderTest, BatchesCutAtFiftyEventsOrTheByteLimitAndDrainOneAfterAnother) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 50));
  queue->enqueueEventsForTest(Json::array({EventOfSize(51200, 50), EventOfSize(51200, 51), Event(52)}));
  Start(*queue);
  queue->setNextQueueSendCompleteBlock([this] { completions.push_back(sender->batches.size()); });

  // Fifty tiny events fill a batch by count.
  ASSERT_EQ(sender->batchSizes(), std::vector<std::size_t>{50});
  EXPECT_EQ(Ids(sender->batches[0].events), Range(0, 50));
  EXPECT_EQ(sender->batches[0].timeZone, "Europe/Berlin");
  EXPECT_EQ(log.count("Events: Attempting to send 50 events", TSRLogLevelInfo), 1);

  // One request at a time: a new event only joins the queue.
  queue->addEvent(Event(53));
  sim->runUntilIdle();
  EXPECT_EQ(sender->batches.size(), 1u);

  sender->succeed(0, Json::array({{{"errorCode", 3}}}));
  sim->runUntilIdle();
  ASSERT_EQ(successes.size(), 1u);
  EXPECT_EQ(successes[0].queue, queue.get());
  EXPECT_EQ(successes[0].uuid, "request-1");
  EXPECT_EQ(successes[0].responses, Json::array({{{"errorCode", 3}}}));
  EXPECT_TRUE(successes[0].hasResponse);
  EXPECT_TRUE(successes[0].onMain);
  EXPECT_EQ(log.count("Events: Successfully sent 50 events.", TSRLogLevelInfo), 1);

  // Two events of 51200 fill a batch exactly; one more byte would not fit,
  // so the next event opens the following batch.
  ASSERT_EQ(sender->batches.size(), 2u);
  EXPECT_EQ(Ids(sender->batches[1].events), (std::vector<int>{50, 51}));
  sender->succeed(1, std::nullopt);
  sim->runUntilIdle();
  ASSERT_EQ(successes.size(), 2u);
  EXPECT_TRUE(successes[1].responses.is_null()) << "an empty body gives no responses";
  ASSERT_EQ(sender->batches.size(), 3u);
  EXPECT_EQ(Ids(sender->batches[2].events), (std::vector<int>{52, 53}));
  EXPECT_TRUE(completions.empty());
  sender->succeed(2);
  sim->runUntilIdle();

  // The pass that found nothing ran the completion block, once.
  EXPECT_EQ(completions, std::vector<std::size_t>{3});
  queue->addEvent(Event(54));
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 4u);
  sender->succeed(3);
  sim->runUntilIdle();
  EXPECT_EQ(completions, std::vector<std::size_t>{3});
  EXPECT_TRUE(QueueTimers().empty());
}

// While a batch is in flight the next full one is compressed ahead; it
// goes out only if the queue still starts with it when the answer comes.
TEST_F(QueuedEventSenderTest, TheNextBatchIsCompressedInFlightAndSentOnlyIfTheQueueStillHoldsIt) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 150));
  Start(*queue);
  sim->runUntilIdle();
  sender->succeed(0);
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 2u);
  EXPECT_FALSE(sender->batches[0].compressedAhead);
  EXPECT_TRUE(sender->batches[1].compressedAhead);
  EXPECT_EQ(Ids(sender->batches[1].events), Range(50, 50));

  // 100..149 are prepared; a lowered maximum then trims them away.
  config.setConfiguration({{"maxEventsInQueue", 20}}, TSRConfig::kLayerRuntime);
  queue->updateWithConfig(config);
  queue->addEvent(Event(150));
  sim->runUntilIdle();
  sender->succeed(1);
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 3u);
  EXPECT_FALSE(sender->batches[2].compressedAhead);
  EXPECT_EQ(Ids(sender->batches[2].events), Range(131, 20));
}

TEST_F(QueuedEventSenderTest, ConnectivityFailuresBackOffOnTheMonotonicClockUpTo600Seconds) {
  auto queue = Make();
  Start(*queue);
  queue->addEvent(Event(1));
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 1u);
  EXPECT_TRUE(QueueTimers().empty()) << "an idle queue sends a new event at once";

  const std::vector<double> delays = {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 600, 600};
  for (std::size_t i = 0; i < delays.size(); ++i) {
    const double delay = delays[i];
    sender->fail(i, ConnectivityError());
    sim->runUntilIdle();
    EXPECT_EQ(queue->queueSendDelay(), delay);
    auto timers = QueueTimers();
    ASSERT_EQ(timers.size(), 1u) << "after failure " << i;
    EXPECT_EQ(timers[0].clock, platform::Clock::kMonotonic);
    EXPECT_DOUBLE_EQ(timers[0].deadline - sim->now(platform::Clock::kMonotonic), delay);
    EXPECT_DOUBLE_EQ(timers[0].leeway, std::min(delay * 0.1, 2.0));
    EXPECT_EQ(timers[0].interval, 0);
    EXPECT_EQ(queue->eventQueueCount(), 1u) << "the batch is back in the queue";

    sim->advance(delay - 0.001);
    EXPECT_EQ(sender->batches.size(), i + 1) << "not before " << delay << " s";
    sim->advance(0.002);
    ASSERT_EQ(sender->batches.size(), i + 2) << "at " << delay << " s";
    EXPECT_EQ(Ids(sender->batches.back().events), std::vector<int>{1});
  }
  EXPECT_EQ(log.count("Events: Failed to send 1 events. Could not connect to the server. (null) (null)",
                      TSRLogLevelError),
            12);
  EXPECT_EQ(log.count("Network: Events: Could not send. Could not contact Tessarin. Could not connect to the "
                      "server. (null)",
                      TSRLogLevelError),
            12);
  EXPECT_EQ(log.count("Events: Re-enqueueing events to send later.", TSRLogLevelInfo), 12);
  ASSERT_EQ(failures.size(), 12u);
  EXPECT_EQ(failures[0].uuid, "request-1");
  EXPECT_EQ(failures[0].error.code, -1004);
  EXPECT_TRUE(failures[0].onMain);
  EXPECT_EQ(Counts().batchesRetried, 12u);

  // Success resets the delay: the next event goes out at once.
  sender->succeed(12);
  sim->runUntilIdle();
  EXPECT_EQ(Counts().eventsSent, 1u) << "a retried batch counts as sent once";
  EXPECT_EQ(Counts().dropped(), 0u);
  EXPECT_EQ(queue->queueSendDelay(), 0);
  queue->addEvent(Event(2));
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 14u);
  EXPECT_EQ(Ids(sender->batches[13].events), std::vector<int>{2});
}

TEST_F(QueuedEventSenderTest, EventsAddedDuringBackOffWaitForTheTimerBehindTheRetriedBatch) {
  auto queue = Make();
  Start(*queue);
  queue->addEvent(Event(1));
  sim->runUntilIdle();
  sender->fail(0, ConnectivityError());
  sim->runUntilIdle();
  queue->addEvent(Event(2));
  sim->runUntilIdle();
  EXPECT_EQ(sender->batches.size(), 1u) << "a pending timer holds new events back";
  sim->advance(1);
  ASSERT_EQ(sender->batches.size(), 2u);
  EXPECT_EQ(Ids(sender->batches[1].events), (std::vector<int>{1, 2}));
}

TEST_F(QueuedEventSenderTest, ARejectedBatchIsDroppedAndTheBacklogContinuesAtOnce) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 51));
  Start(*queue);
  sender->fail(0, RejectedError());
  sim->runUntilIdle();

  EXPECT_EQ(log.count("Events: Failed to send 50 events. Send request failed, status code 400 Bad dataset. Check "
                      "that the account exists and that the request is formatted properly.",
                      TSRLogLevelError),
            1);
  EXPECT_EQ(log.count("Events: Dropping 50 events that failed to send", TSRLogLevelWarn), 1);
  EXPECT_EQ(log.countContaining("Network:"), 0);
  EXPECT_EQ(Counts().droppedRejected, 50u);
  EXPECT_EQ(Counts().dropped(), 50u);
  ASSERT_EQ(failures.size(), 1u);
  EXPECT_EQ(failures[0].error.description, "Send request failed, status code 400");
  ASSERT_EQ(sender->batches.size(), 2u);
  EXPECT_EQ(Ids(sender->batches[1].events), std::vector<int>{50});
  EXPECT_EQ(queue->queueSendDelay(), 0);
  EXPECT_TRUE(QueueTimers().empty());
}

TEST_F(QueuedEventSenderTest, AnswersFromAnotherSenderOrForAGoneQueueChangeNothing) {
  auto queue = Make();
  Start(*queue);
  queue->addEvent(Event(1));
  sim->runUntilIdle();
  FakeEventSender other;
  sender->succeed(0, Json::array(), &other);
  sender->fail(0, ConnectivityError(), &other);
  sim->runUntilIdle();
  EXPECT_TRUE(successes.empty());
  EXPECT_TRUE(failures.empty());
  EXPECT_EQ(log.countContaining("Events: Successfully sent"), 0);
  EXPECT_EQ(log.countContaining("Events: Failed to send"), 0);

  // Still in flight: a new event waits.
  queue->addEvent(Event(2));
  sim->runUntilIdle();
  EXPECT_EQ(sender->batches.size(), 1u);
  sender->succeed(0);
  sim->runUntilIdle();
  EXPECT_EQ(successes.size(), 1u);
  ASSERT_EQ(sender->batches.size(), 2u);

  // The callbacks do not keep the queue alive.
  std::weak_ptr<TSRQueuedEventSender> weak = queue;
  queue.reset();
  sim->runUntilIdle();
  EXPECT_TRUE(weak.expired());
  sender->fail(1, ConnectivityError());
  sim->runUntilIdle();
  EXPECT_TRUE(failures.empty());
}

TEST_F(QueuedEventSenderTest, WithoutAnEventsURLNothingIsSentAndTheCompletionWaits) {
  sender->url = "";
  auto queue = Make();
  int completed = 0;
  Start(*queue);
  queue->setNextQueueSendCompleteBlock([&] { ++completed; });
  queue->addEvent(Event(1));
  sim->advance(60);
  EXPECT_TRUE(sender->batches.empty());
  EXPECT_EQ(queue->eventQueueCount(), 1u);
  EXPECT_EQ(completed, 0);

  sender->url = "https://acme.api.tessarin.io/events/";
  queue->addEvent(Event(2));
  sim->runUntilIdle();
  ASSERT_EQ(sender->batches.size(), 1u);
  EXPECT_EQ(Ids(sender->batches[0].events), (std::vector<int>{1, 2}));
  sender->succeed(0);
  sim->runUntilIdle();
  EXPECT_EQ(completed, 1);
}

TEST_F(QueuedEventSenderTest, StartWaitsForDelayOnResumeAndStopCancelsThePendingSend) {
  config.setConfiguration({{"delayOnResume", 30}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  queue->addEvent(Event(1));
  sim->advance(100);
  EXPECT_TRUE(sender->batches.empty()) << "not started: queued only";
  EXPECT_FALSE(queue->sendingQueuedEvents());

  queue->startSendingQueuedEvents();
  queue->startSendingQueuedEvents();
  sim->runUntilIdle();
  EXPECT_TRUE(queue->sendingQueuedEvents());
  EXPECT_EQ(log.count("Events: Allowing sending/attempting", TSRLogLevelDebug), 1);
  auto timers = QueueTimers();
  ASSERT_EQ(timers.size(), 1u) << "a restart replaces the pending timer";
  EXPECT_DOUBLE_EQ(timers[0].leeway, 2.0);

  queue->stopSendingQueuedEvents();
  queue->stopSendingQueuedEvents();
  EXPECT_EQ(log.count("Events: Disallowing sending/attempting", TSRLogLevelDebug), 1);
  EXPECT_TRUE(QueueTimers().empty());
  sim->advance(100);
  EXPECT_TRUE(sender->batches.empty());

  queue->startSendingQueuedEvents();
  sim->advance(29);
  EXPECT_TRUE(sender->batches.empty());
  sim->advance(1);
  ASSERT_EQ(sender->batches.size(), 1u);

  // Stopped with a request in flight: it completes, and a connectivity
  // failure still puts the batch back, without a timer.
  queue->stopSendingQueuedEvents();
  sender->fail(0, ConnectivityError());
  sim->runUntilIdle();
  EXPECT_EQ(queue->eventQueueCount(), 1u);
  EXPECT_EQ(failures.size(), 1u);
  EXPECT_TRUE(QueueTimers().empty());
  sim->advance(1000);
  EXPECT_EQ(sender->batches.size(), 1u);
}

TEST_F(QueuedEventSenderTest, SavesAndReloadsItsEventsExcludedFromBackups) {
  struct RecordingFiles : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    platform::IoResult excludeFromBackup(const std::string& path) override {
      excluded.push_back(path);
      return ForwardingFileSystem::excludeFromBackup(path);
    }
    std::vector<std::string> excluded;
  };
  auto files = std::make_shared<RecordingFiles>(sim->posixFileSystem());
  sim->setFileSystem(files);
  auto first = Make();
  first->enqueueEventsForTest(Json::array({Event(1), Json{{"id", 2}, {"s", "\u00e9"}, {"o", {{"k", nullptr}}}}}));
  first->saveToFile();

  EXPECT_EQ(ReadFile(EventsFilePath()), "[{\"id\":1},{\"id\":2,\"s\":\"\u00e9\",\"o\":{\"k\":null}}]");
  EXPECT_EQ(std::set<std::string>(files->excluded.begin(), files->excluded.end()),
            (std::set<std::string>{EventsFilePath(), JournalPath()}));

  auto second = Make();
  EXPECT_EQ(second->eventQueueCopy(), first->eventQueueCopy());
  EXPECT_TRUE(std::filesystem::exists(EventsFilePath())) << "loading keeps the file";
  second->deleteFile();
  EXPECT_FALSE(std::filesystem::exists(EventsFilePath()));
  EXPECT_EQ(Make()->eventQueueCount(), 0u);
}

TEST_F(QueuedEventSenderTest, ALoweredMaximumTakesEffectAfterTheLoadWithTheNextInsertion) {
  // The configuration is applied after the persisted events are in: they
  // are checked against the default maximum, and the lowered one trims the
  // queue from the head as soon as the next event arrives.
  WriteEventsFile(Events(0, 10).dump());
  config.setConfiguration({{"maxEventsInQueue", 5}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  EXPECT_EQ(queue->eventQueueCount(), 10u);
  queue->addEvent(Event(10));
  sim->runUntilIdle();
  EXPECT_EQ(Ids(queue->eventQueueCopy()), Range(6, 5));
  EXPECT_EQ(log.count("Events: The number of queued events 11 exceeded the limit 5, dropping the excess."), 1);
}

TEST_F(QueuedEventSenderTest, ADamagedEventsFileIsLoggedAndIgnored) {
  WriteEventsFile("[{\"id\":1},");
  auto queue = Make();
  EXPECT_EQ(queue->eventQueueCount(), 0u);
  EXPECT_EQ(log.count("JSON: Couldn't deserialize string into JSON Array: [{\"id\":1},", TSRLogLevelError), 1);

  WriteEventsFile("[{\"id\":1},7,\"text\",{\"id\":2}]");
  auto second = Make();
  EXPECT_EQ(Ids(second->eventQueueCopy()), (std::vector<int>{1, 2}));
  EXPECT_EQ(log.count("Events: Ignoring persisted event of unexpected class NSNumber", TSRLogLevelError), 1);
  EXPECT_EQ(log.count("Events: Ignoring persisted event of unexpected class NSString", TSRLogLevelError), 1);

  // Still a working queue.
  second->addEvent(Event(3));
  sim->runUntilIdle();
  EXPECT_EQ(second->eventQueueCount(), 3u);
}

TEST_F(QueuedEventSenderTest, TheFileIsReadByTheQueuesFirstTaskNotByTheConstructor) {
  struct CountingFiles : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    platform::IoResult readFile(const std::string& path, std::string* contents) override {
      reads.push_back(queue && queue->isCurrent());
      return ForwardingFileSystem::readFile(path, contents);
    }
    std::shared_ptr<platform::DispatchQueue> queue;
    std::vector<bool> reads;  // whether each read ran on the event queue
  };
  WriteEventsFile(Events(0, 3).dump());
  auto files = std::make_shared<CountingFiles>(sim->posixFileSystem());
  sim->setFileSystem(files);
  auto queue = Make(/*runFirstTask=*/false);
  files->queue = queue->dispatchQueue();
  EXPECT_TRUE(files->reads.empty());
  EXPECT_EQ(queue->dispatchQueue()->label(), "com.tessarin.sdk.TSRQueuedEventSender");

  // An event added before the load ran lands behind the persisted ones.
  queue->addEvent(Event(3));
  sim->runUntilIdle();
  EXPECT_EQ(files->reads, std::vector<bool>{true});
  EXPECT_EQ(Ids(queue->eventQueueCopy()), Range(0, 4));
}

TEST_F(QueuedEventSenderTest, DeleteFileCountsWhatIsHeldWithTheBatchInFlightAndThenStopsCounting) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 60));
  Start(*queue);
  ASSERT_EQ(sender->batchSizes(), std::vector<std::size_t>{50});
  queue->deleteFile();
  EXPECT_EQ(Counts().droppedAtReset, 60u);

  // The façade has dropped the queue: what the old batch's answer brings
  // must not count those events a second time.
  sender->succeed(0);
  sim->runUntilIdle();
  EXPECT_EQ(Counts().eventsSent, 0u);
  EXPECT_EQ(Counts().dropped(), 60u);
}

// Passes 20,000 events of 100 estimated bytes (about 2 MB in all, twice
// the queue's byte limit) through a queue whose sends all succeed, fifty
// at a time, and returns how many reached the sender.
class ByteLimitStreamTest : public QueuedEventSenderTest {
 protected:
  std::size_t Stream(std::optional<bool> byteLimitOnContent) {
    Json settings = {{"eventThrottleLimit", 1e9}};
    if (byteLimitOnContent) settings["eventQueueByteLimitOnContent"] = *byteLimitOnContent;
    config.setConfiguration(settings, TSRConfig::kLayerRuntime);
    auto queue = Make();
    Start(*queue);
    std::size_t answered = 0, delivered = 0;
    for (int i = 0; i < 20000; ++i) {
      queue->addEvent(EventOfSize(100, i));
      if (i % 50 != 49) continue;
      sim->runUntilIdle();
      while (answered < sender->batches.size()) {
        delivered += sender->batches[answered].events.size();
        sender->succeed(answered++);
        sim->runUntilIdle();
      }
    }
    return delivered;
  }
};

TEST_F(ByteLimitStreamTest, OnContentEveryEventOfASteadyStreamIsDelivered) {
  EXPECT_EQ(Stream(true), 20000u);
  EXPECT_EQ(Counts().droppedByteTrim, 0u);
  EXPECT_EQ(log.countContaining("Events: The number of estimated bytes in the queue exceeded"), 0);
}

TEST_F(ByteLimitStreamTest, ByDefaultTheLimitCountsEverythingTakenInSinceTheLastTrim) {
  // Sending never lowers the estimate: it reaches 1048500 with the 10485th
  // event, and from then on each new event tips it over the limit and the
  // trim walks off one queued event for it. Exactly 1 MiB of estimated
  // bytes gets through.
  EXPECT_EQ(Stream(std::nullopt), 10485u);
  EXPECT_EQ(Counts().droppedByteTrim, 20000u - 10485u);
}

class ConfigOnlySender : public HttpSender {
 public:
  void updateWithConfig(const TSRConfig&) override {}
  std::string requestConfigWithParams(const Json&, std::optional<double>, JsonSuccessBlock,
                                      HttpSender::FailureBlock) override {
    return "";
  }
  std::string connectWithInfo(const Json&, JsonSuccessBlock, HttpSender::FailureBlock) override { return ""; }
  std::string uploadScreenWithInfo(const Json&, const std::string&, const std::string&, JsonSuccessBlock,
                                   HttpSender::FailureBlock) override {
    return "";
  }
};

// Both a configuration sender and an event sender, as the HTTP sender is.
class FullSender : public ConfigOnlySender, public FakeEventSender {};

TEST_F(QueuedEventSenderTest, TheEnvironmentBuildsAQueueOnlyOverAnEventSender) {
  EXPECT_EQ(env->queuedEventSenderWithSender(nullptr, config, nullptr, nullptr), nullptr);
  EXPECT_EQ(env->queuedEventSenderWithSender(std::make_shared<ConfigOnlySender>(), config, nullptr, nullptr), nullptr);

  auto full = std::make_shared<FullSender>();
  auto queue = env->queuedEventSenderWithSender(full, config, nullptr, nullptr);
  ASSERT_NE(queue, nullptr);
  queue->startSendingQueuedEvents();
  sim->advance(0);
  queue->addEvent(Event(1));
  sim->runUntilIdle();
  ASSERT_EQ(full->batches.size(), 1u);
  full->succeed(0);  // no blocks to call: nothing breaks
  sim->runUntilIdle();
}

}  // namespace
}  // namespace tessarin

// The event queue's journal: what a process that dies without saving gets
// back at its next start.
//
// A crash is the queue dropped without saveToFile: a journal never writes
// on its way out, so what it had not written by then is lost, as it would
// be to kill -9. The last test kills a real process.
#include "transport/event_journal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/linux_platform.h"
#include "platform/posix_file_system.h"
#include "support/child_process.h"
#include "support/timing.h"
#include "transport/queued_event_sender.h"
#include "transport/queued_event_sender_fixture.h"

namespace tessarin {
namespace {

using namespace queue_test;

// Counts the journal's records of each kind in its text.
struct JournalLines {
  explicit JournalLines(const std::optional<std::string>& text) {
    if (!text) return;
    std::size_t pos = 0;
    while (pos < text->size()) {
      std::size_t end = text->find('\n', pos);
      if (end == std::string::npos) break;
      char kind = (*text)[pos];
      adds += kind == '+';
      removes += kind == '-';
      headers += kind == '#';
      pos = end + 1;
    }
  }
  int headers = 0, adds = 0, removes = 0;
};

// Records when (on the simulated clock) the journal appends and syncs, and
// makes the next ones fail when asked. A failed append writes half of its
// data first, as a full disk would.
class RecordingFiles : public platform::ForwardingFileSystem {
 public:
  RecordingFiles(std::shared_ptr<FileSystem> target, SimPlatform* sim)
      : ForwardingFileSystem(std::move(target)), sim_(sim) {}

  std::unique_ptr<platform::AppendFile> openForAppend(const std::string& path, platform::IoResult* result) override {
    auto file = ForwardingFileSystem::openForAppend(path, result);
    if (!file) return nullptr;
    return std::make_unique<File>(std::move(file), this);
  }

  std::vector<double> appends, syncs;
  int failAppends = 0, failSyncs = 0;

 private:
  struct File : platform::AppendFile {
    File(std::unique_ptr<platform::AppendFile> target, RecordingFiles* files)
        : target(std::move(target)), files(files) {}
    platform::IoResult append(std::string_view data) override {
      files->appends.push_back(files->sim_->now(platform::Clock::kMonotonic));
      if (files->failAppends > 0) {
        --files->failAppends;
        target->append(data.substr(0, data.size() / 2));
        return platform::IoResult::Failure(ENOSPC, "No space left on device");
      }
      return target->append(data);
    }
    platform::IoResult sync() override {
      files->syncs.push_back(files->sim_->now(platform::Clock::kMonotonic));
      if (files->failSyncs > 0) {
        --files->failSyncs;
        return platform::IoResult::Failure(EIO, "Input/output error");
      }
      return target->sync();
    }
    std::unique_ptr<platform::AppendFile> target;
    RecordingFiles* files;
  };
  SimPlatform* sim_;
};

class EventJournalTest : public QueuedEventSenderTest {
 protected:
  void SetUp() override {
    config.setConfiguration({{"eventThrottleLimit", 100000}}, TSRConfig::kLayerRuntime);
  }
  // The process dies: the queue and its journal are gone at once.
  void Crash(std::shared_ptr<TSRQueuedEventSender>& queue) {
    std::weak_ptr<TSRQueuedEventSender> weak = queue;
    queue.reset();
    ASSERT_TRUE(weak.expired()) << "nothing may keep a crashed queue running";
  }
  // Both files as they are now, to put back later: the disk as a crash at
  // this moment would leave it.
  struct Disk {
    std::optional<std::string> events, journal;
  };
  Disk Snapshot() const { return {ReadFile(EventsFilePath()), ReadFile(JournalPath())}; }
  void Restore(const Disk& disk) {
    std::filesystem::remove(EventsFilePath());
    std::filesystem::remove(JournalPath());
    if (disk.events) WriteFile(EventsFilePath(), *disk.events);
    if (disk.journal) WriteFile(JournalPath(), *disk.journal);
  }
  void AddEvents(TSRQueuedEventSender& queue, int from, int count) {
    for (int i = from; i < from + count; ++i) queue.addEvent(Event(i));
    sim->runUntilIdle();
  }
};

TEST_F(EventJournalTest, AfterACrashTheQueueComesBackInOrderWithoutWhatLeftIt) {
  config.setConfiguration({{"maxEventsInQueue", 100}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  Start(*queue);
  AddEvents(*queue, 0, 120);  // 0 goes out alone; 1 to 19 are trimmed
  sender->succeed(0);
  sim->runUntilIdle();
  sender->fail(1, RejectedError());  // 20 to 69 are dropped
  sim->runUntilIdle();
  ASSERT_EQ(Ids(sender->batches[2].events), Range(70, 50));
  AddEvents(*queue, 120, 5);
  sim->advance(EventJournal::kWriteDelay);
  Crash(queue);

  // The batch in flight comes back, ahead of what was queued behind it.
  auto restarted = Make();
  EXPECT_EQ(Ids(restarted->eventQueueCopy()), Range(70, 55));
  EXPECT_TRUE(log.contains("Events: Enqueueing 55 events.", TSRLogLevelInfo));
  // Folded at once: the file holds the queue and the journal starts over.
  EXPECT_EQ(Json::parse(*ReadFile(EventsFilePath())), restarted->eventQueueCopy());
  EXPECT_EQ(ReadFile(JournalPath()), EventJournal::headerFor(ReadFile(EventsFilePath()), 1));
}

TEST_F(EventJournalTest, ABatchInFlightAtASaveIsKeptUntilItsAnswerAndNoLonger) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 10));
  Start(*queue);
  sender->succeed(0);  // numbers 1 to 10 are used up
  sim->runUntilIdle();
  queue->enqueueEventsForTest(Events(10, 60));
  queue->flush(nullptr);
  sim->runUntilIdle();
  ASSERT_EQ(Ids(sender->batches[1].events), Range(10, 50));
  queue->saveToFile();
  // The file keeps its format and what it always held: the queue without
  // the batch in flight, which the new journal holds instead.
  EXPECT_EQ(ReadFile(EventsFilePath()), Events(60, 10).dump());
  EXPECT_EQ(JournalLines(ReadFile(JournalPath())).adds, 50);
  const Disk beforeTheAnswer = Snapshot();

  // The answer removes the batch by the numbers the save gave it.
  sender->succeed(1);
  sim->runUntilIdle();
  ASSERT_EQ(Ids(sender->batches[2].events), Range(60, 10));
  sim->advance(EventJournal::kWriteDelay);
  Crash(queue);
  EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(60, 10)) << "the delivered batch stays delivered";

  Restore(beforeTheAnswer);
  EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(10, 60)) << "unanswered, it is sent again, first";
}

TEST_F(EventJournalTest, ADamagedTailEndsTheReplayWithAWarningAndTheRecordsBeforeItCount) {
  const std::string saved = Events(0, 3).dump();  // numbered 1, 2, 3
  const std::string head = EventJournal::headerFor(saved, 1) + "+4 {\"id\":3}\n-1\n";
  struct Case {
    std::string tail;
    std::vector<int> ids;
  } cases[] = {
      {"+5 {\"id\":4}\n+6 {\"id\":5", {1, 2, 3, 4}},  // a write cut short
      {"+5 {\"id\":}\n+6 {\"id\":5}\n", {1, 2, 3}},   // bad JSON
      {"*5\n+6 {\"id\":5}\n", {1, 2, 3}},              // not a record
      {std::string(8, '\0') + "\n", {1, 2, 3}},        // what a power loss can leave
  };
  for (const auto& c : cases) {
    log.clear();
    WriteEventsFile(saved);
    WriteFile(JournalPath(), head + c.tail);
    auto queue = Make();
    EXPECT_EQ(Ids(queue->eventQueueCopy()), c.ids) << c.tail;
    std::size_t damaged = c.tail.size() - (c.ids.size() == 4 ? c.tail.find('\n') + 1 : 0);
    std::size_t records = c.ids.size() == 4 ? 3 : 2;
    EXPECT_EQ(log.count("Events: Dropping the event journal's damaged tail of " + std::to_string(damaged) +
                            " bytes after " + std::to_string(records) + " records",
                        TSRLogLevelWarn),
              1)
        << c.tail;
    // Folded at load, so the damage is gone for the next start.
    log.clear();
    EXPECT_EQ(Ids(Make()->eventQueueCopy()), c.ids);
    EXPECT_EQ(log.countContaining("Events: Dropping the event journal"), 0);
  }

  // Without its header a journal cannot say what it applies to.
  WriteEventsFile(saved);
  WriteFile(JournalPath(), "+4 {\"id\":3}\n");
  EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(0, 3));
  EXPECT_EQ(log.count("Events: Ignoring an event journal that does not start with its header", TSRLogLevelWarn), 1);
}

// The saved events are numbered from the header's first number on; a
// number so large that theirs would wrap round cannot come from a fold
// (which starts after the batch in flight), and replaying over it would put
// the file's last events first.
TEST_F(EventJournalTest, AJournalWhoseNumbersWouldWrapRoundIsIgnored) {
  const std::string saved = Events(0, 3).dump();
  auto headerFrom = [&saved](const std::string& first) {
    std::string header = EventJournal::headerFor(saved, 1);  // "... first=1\n"
    return header.replace(header.rfind('=') + 1, 1, first);
  };
  for (const char* first : {"18446744073709551615", "18446744073709551614"}) {
    log.clear();
    WriteEventsFile(saved);
    WriteFile(JournalPath(), headerFrom(first) + "+1 {\"id\":7}\n");
    EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(0, 3)) << first;
    EXPECT_EQ(log.count(std::string("Events: Ignoring an event journal whose first number ") + first +
                            " leaves no room for the saved events",
                        TSRLogLevelWarn),
              1);
  }
  // The largest first number that leaves room is replayed: the first saved
  // event removed, a batch that was in flight ahead of the rest.
  WriteEventsFile(saved);
  WriteFile(JournalPath(), headerFrom("18446744073709551613") + "-18446744073709551613\n+1 {\"id\":7}\n");
  EXPECT_EQ(Ids(Make()->eventQueueCopy()), (std::vector<int>{7, 1, 2}));
}

TEST_F(EventJournalTest, AJournalLeftFromBeforeAFoldIsIgnored) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 5));
  sim->advance(EventJournal::kWriteDelay);
  const std::string oldJournal = *ReadFile(JournalPath());
  ASSERT_EQ(JournalLines(oldJournal).adds, 5);
  queue->saveToFile();
  // The process died after writing the file and before the new journal.
  WriteFile(JournalPath(), oldJournal);
  Crash(queue);

  EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(0, 5)) << "once each";
  EXPECT_EQ(log.count("Events: Ignoring an event journal that was already folded into the saved events",
                      TSRLogLevelInfo),
            1);
}

TEST_F(EventJournalTest, AJournalBesideADamagedFileGivesBackWhatOnlyItStillHolds) {
  // Three events saved, two more only in the journal; then the file is
  // damaged (cut short) while the process is away.
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 3));
  queue->saveToFile();
  queue->enqueueEventsForTest(Events(3, 2));
  sim->advance(EventJournal::kWriteDelay);
  Crash(queue);
  WriteEventsFile("[{\"id\":0},{\"id\"");
  auto second = Make();
  EXPECT_EQ(Ids(second->eventQueueCopy()), Range(3, 2));
  // The damaged file is replaced by the queue at once.
  EXPECT_EQ(Json::parse(*ReadFile(EventsFilePath())), Events(3, 2));

  // A journal from before the last fold, beside a file damaged since: it
  // gives back, once each, what it recorded; the events of the file it was
  // written over were in the damaged one too, and are lost with it.
  second->enqueueEventsForTest(Events(5, 2));
  sim->advance(EventJournal::kWriteDelay);
  const std::string oldJournal = *ReadFile(JournalPath());
  second->saveToFile();
  WriteFile(JournalPath(), oldJournal);
  Crash(second);
  WriteEventsFile("\xff\xfe not text");
  EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(5, 2));
}

TEST_F(EventJournalTest, EventsLoadedFromTheFileOrReplayedFromTheJournalPassTheLimitsAgain) {
  Json persisted = Events(0, 1005);
  persisted.push_back(EventOfSize(102401, 1005));
  std::string journal = EventJournal::headerFor(std::nullopt, 1);
  for (std::size_t i = 0; i < persisted.size(); ++i) {
    journal += "+" + std::to_string(i + 1) + " " + persisted[i].dump() + "\n";
  }
  for (const Disk& disk : {Disk{persisted.dump(), std::nullopt}, Disk{std::nullopt, journal}}) {
    SCOPED_TRACE(disk.events ? "from the file" : "from the journal");
    Restore(disk);
    log.clear();
    const TSREventDiagnostics before = Counts();
    auto queue = Make();
    EXPECT_EQ(queue->eventQueueCount(), 1000u);
    EXPECT_EQ(queue->getEventAtIndex(0), Event(5));
    EXPECT_EQ(log.count("Events: Enqueueing 1006 events.", TSRLogLevelInfo), 1);
    EXPECT_EQ(log.count("Events: The number of queued events 1005 exceeded the limit 1000, dropping the excess."), 1);
    EXPECT_EQ(log.count("Events: Dropping an event that is too large to fit in a single request"), 1);
    EXPECT_EQ(Counts().droppedTooLarge - before.droppedTooLarge, 1u);
    EXPECT_EQ(Counts().droppedCountTrim - before.droppedCountTrim, 5u);
  }
}

TEST_F(EventJournalTest, DeleteFileRemovesBothFilesAndTheQueueWritesNoMore) {
  auto queue = Make();
  queue->enqueueEventsForTest(Events(0, 60));
  Start(*queue);
  queue->saveToFile();
  sim->advance(EventJournal::kWriteDelay);
  ASSERT_TRUE(ReadFile(JournalPath()));
  queue->deleteFile();
  EXPECT_FALSE(ReadFile(EventsFilePath()));
  EXPECT_FALSE(ReadFile(JournalPath()));

  // The answer to the batch in flight, and whatever the dropped queue is
  // still asked to do, must not bring a journal back.
  sender->succeed(0);
  queue->addEvent(Event(60));
  sim->advance(10);
  EXPECT_FALSE(ReadFile(JournalPath()));
  Crash(queue);
  EXPECT_EQ(Make()->eventQueueCount(), 0u);
}

TEST_F(EventJournalTest, RecordsReachTheFileWithinATenthOfASecondAndSyncsComeAtMostOnceASecond) {
  auto files = std::make_shared<RecordingFiles>(sim->posixFileSystem(), sim.get());
  sim->setFileSystem(files);
  auto queue = Make();
  // One event every 50 ms for 3 s (a hair more, so that "0.1 s ago" is
  // not left to rounding).
  const double step = 0.05 + 1e-9;
  for (int i = 0; i < 60; ++i) {
    queue->addEvent(Event(i));
    sim->runUntilIdle();
    sim->advance(step);
    // Everything added at least 0.1 s ago is in the file.
    EXPECT_GE(JournalLines(ReadFile(JournalPath())).adds, i) << "at " << (i + 1) * step << " s";
  }
  sim->advance(EventJournal::kSyncInterval);
  EXPECT_EQ(JournalLines(ReadFile(JournalPath())).adds, 60);
  // Batched: about one append per 0.1 s, not one per event.
  EXPECT_LE(files->appends.size(), 31u);
  ASSERT_GE(files->syncs.size(), 3u);
  for (std::size_t i = 1; i < files->syncs.size(); ++i) {
    EXPECT_GE(files->syncs[i] - files->syncs[i - 1], EventJournal::kSyncInterval - 1e-9);
  }
  // And every append is synced within the interval.
  for (double append : files->appends) {
    EXPECT_TRUE(std::any_of(files->syncs.begin(), files->syncs.end(), [&](double sync) {
      return sync >= append && sync <= append + EventJournal::kSyncInterval + 1e-6;
    })) << "append at " << append;
  }
}

TEST_F(EventJournalTest, ARushOfRecordsIsWrittenAtOnceInsteadOfWaitingInMemory) {
  auto queue = Make();
  sim->runUntilIdle();
  // 40 records of 8 KiB, with no time passing: past kWriteEarlyBytes they
  // go to the file without the write delay.
  const std::string filler(8 * 1024, 'x');
  for (int i = 0; i < 40; ++i) queue->addEvent(Json{{"id", i}, {"filler", filler}});
  sim->runUntilIdle();
  // The write the rush set off took everything waiting by then.
  EXPECT_EQ(JournalLines(ReadFile(JournalPath())).adds, 40);
  // A record after it waits for the delay as usual.
  queue->addEvent(Event(40));
  sim->runUntilIdle();
  EXPECT_EQ(JournalLines(ReadFile(JournalPath())).adds, 40);
  sim->advance(EventJournal::kWriteDelay);
  EXPECT_EQ(JournalLines(ReadFile(JournalPath())).adds, 41);
}

TEST_F(EventJournalTest, AFailedWriteOrSyncIsLoggedAndTheNextFoldRebuildsTheJournal) {
  auto files = std::make_shared<RecordingFiles>(sim->posixFileSystem(), sim.get());
  sim->setFileSystem(files);
  auto queue = Make();
  files->failAppends = 1;
  AddEvents(*queue, 0, 2);
  sim->advance(EventJournal::kWriteDelay);
  EXPECT_EQ(log.countContaining("Events: Could not write to the event journal: No space left on device"), 1);

  // The next event rebuilds both files, the torn record with them.
  AddEvents(*queue, 2, 1);
  EXPECT_EQ(Json::parse(*ReadFile(EventsFilePath())), Events(0, 3));
  files->failSyncs = 1;
  AddEvents(*queue, 3, 1);
  sim->advance(EventJournal::kSyncInterval);
  EXPECT_EQ(log.countContaining("Events: Could not sync the event journal: Input/output error"), 1);
  EXPECT_EQ(JournalLines(ReadFile(JournalPath())).adds, 1);
  Crash(queue);
  EXPECT_EQ(Ids(Make()->eventQueueCopy()), Range(0, 4));
  EXPECT_EQ(log.countContaining("Events: Dropping the event journal"), 0);
}

TEST_F(EventJournalTest, AJournalGrownPastItsLimitIsFoldedWithoutASave) {
  // A queue that never stops keeps sending; its journal is folded into the
  // file whenever it passes its limit, and a crash still replays it.
  config.setConfiguration({{"eventQueueByteLimitOnContent", true}}, TSRConfig::kLayerRuntime);
  auto queue = Make();
  Start(*queue);
  std::size_t answered = 0;
  const int kEvents = 5000;  // about 5 MB of journal records
  for (int chunk = 0; chunk < kEvents / 50; ++chunk) {
    for (int i = chunk * 50; i < (chunk + 1) * 50; ++i) queue->addEvent(EventOfSize(1000, i));
    sim->runUntilIdle();
    const bool last = chunk + 1 == kEvents / 50;  // leaves a batch in flight and events queued
    while (answered < sender->batches.size() && !(last && answered + 1 == sender->batches.size())) {
      sender->succeed(answered++);
      sim->runUntilIdle();
    }
    sim->advance(EventJournal::kWriteDelay);
    ASSERT_LT(ReadFile(JournalPath())->size(), EventJournal::kFoldAfterBytes + 60000u) << "chunk " << chunk;
  }
  EXPECT_TRUE(ReadFile(EventsFilePath())) << "folded without a save";
  Json held = Json::array();
  for (const auto& event : sender->batches.back().events) held.push_back(event);
  for (const auto& event : queue->eventQueueCopy()) held.push_back(event);
  ASSERT_FALSE(held.empty());
  Crash(queue);
  auto restarted = Make();
  ASSERT_EQ(Ids(restarted->eventQueueCopy()), Ids(held));
  EXPECT_EQ(restarted->eventQueueCopy(), held);
}

// A real process, killed with SIGKILL: its journal was written with write(2)
// alone, so the kernel has it although the process never ran another line.
constexpr const char* kKillDirectory = "TESSARIN_KILL_TEST_DIRECTORY";
constexpr int kKillEvents = 40;

platform::linux_host::LinuxHostOptions KillHost(const std::string& directory) {
  platform::linux_host::LinuxHostOptions options;
  options.bundle_identifier = "com.tessarin.killtest";
  options.data_directory = directory;
  return options;
}

// Run by the test below in a process of its own.
TEST(EventJournalKillTest, DISABLED_ChildAddsEventsAndWaitsToBeKilled) {
  const char* directory = std::getenv(kKillDirectory);
  if (!directory) GTEST_SKIP() << "run by EventsSurviveAKill9OfTheProcess";
  auto host = std::make_shared<platform::linux_host::LinuxPlatform>(KillHost(directory));
  auto env = std::make_shared<TSRUtilityDI>(host);
  TSRConfig config{env};
  auto sender = std::make_shared<FakeEventSender>();
  sender->url = "";  // the service is out of reach: nothing leaves
  auto queue = TSRQueuedEventSender::initWithEventSender(env, sender, config, nullptr, nullptr);
  for (int i = 0; i < kKillEvents; ++i) queue->addEvent(Event(i));
  alarm(60);  // in case nobody comes
  for (;;) pause();
}

TEST(EventJournalKillTest, EventsSurviveAKill9OfTheProcess) {
  char pattern[] = "/tmp/tessarin-kill-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string directory = pattern;
  const std::string journal = directory + "/com.tessarin.killtest/" + EventJournal::kFileName;

  testing::ChildProcess child(
      {"/proc/self/exe", "--gtest_also_run_disabled_tests",
       "--gtest_filter=EventJournalKillTest.DISABLED_ChildAddsEventsAndWaitsToBeKilled"},
      {std::string(kKillDirectory) + "=" + directory});
  ASSERT_TRUE(child.started());
  const bool written = testing::WaitUntil([&] {
    return JournalLines(ReadFile(journal)).adds == kKillEvents;
  });
  child.kill(SIGKILL);
  ASSERT_TRUE(written) << "the child did not journal its events";
  EXPECT_EQ(child.wait(std::chrono::seconds(10)), 128 + SIGKILL);

  {
    auto host = std::make_shared<platform::linux_host::LinuxPlatform>(KillHost(directory));
    auto env = std::make_shared<TSRUtilityDI>(host);
    TSRConfig config{env};
    auto queue =
        TSRQueuedEventSender::initWithEventSender(env, std::make_shared<FakeEventSender>(), config, nullptr, nullptr);
    EXPECT_EQ(Ids(queue->eventQueueCopy()), Range(0, kKillEvents));
  }
  std::filesystem::remove_all(directory);
}

}  // namespace
}  // namespace tessarin

// EventJournal: the event queue's two files. "Tessarin-events" holds the
// queue as it was when last saved; the journal beside it records what
// changed since, so that a killed process loses nothing but the last moment.
//
// Every event that enters the queue has a sequence number and an "add"
// record; an event that leaves the queue for good (sent, refused, trimmed)
// gets a "remove" record. A batch in flight gets neither until its outcome
// is known; a batch put back after a connectivity failure keeps its numbers.
// So after a crash the events come back minus those that left, and only the
// batch in flight at the crash can reach the service twice.
//
// Records are collected on the event queue's queue (the caller's thread
// never sees them) and written by a queue of the journal's own within
// kWriteDelay, with write(2) alone: a killed process loses only records
// younger than that. The file is synced at most once every kSyncInterval,
// which bounds what a power loss takes. A failed write or sync is logged,
// never fatal: the journal is rebuilt by the next fold.
//
// A fold writes "Tessarin-events" (the queued events, as a JSON array, the
// file's long-standing format) and starts a fresh journal over it. The
// journal's first line names the file it applies to by a hash of its text
// ("absent" when there is none), so a journal from before a fold, when the
// process died between writing the two files, no longer matches and is
// ignored at load.
//
// The journal is text, one record a line:
//   #tessarin-journal 1 base=<base> first=<n>
//   +<seq> <the event as compact JSON>
//   -<seq>[-<seq>][,<seq>[-<seq>]...]      (numbers and inclusive ranges)
// The saved file's events are numbered first, first+1, ... in file order.
// Adds numbered below `first` are the batch that was in flight at the fold:
// it goes back ahead of the saved events, where it was taken from.
#ifndef TESSARIN_TRANSPORT_EVENT_JOURNAL_H_
#define TESSARIN_TRANSPORT_EVENT_JOURNAL_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin {

class Environment;

// The file the queue saves itself to, in the SDK's private directory.
inline constexpr const char* kTSRQueuedEventsFileName = "Tessarin-events";

class EventJournal : public std::enable_shared_from_this<EventJournal> {
 public:
  static constexpr const char* kFileName = "Tessarin-events-journal";
  // Records reach the file this long after they are made, at the latest.
  static constexpr double kWriteDelay = 0.1;
  static constexpr double kSyncInterval = 1.0;
  // A journal this long asks for a fold, however long the app has run
  // without saving: it would otherwise grow with every event ever sent.
  static constexpr std::size_t kFoldAfterBytes = 4 * 1024 * 1024;
  // What one write to the journal gathers, at most (a larger record alone).
  static constexpr std::size_t kWriteChunk = 64 * 1024;
  // Records waiting this long are written at once, not after kWriteDelay:
  // an app recording at full speed does not hold a tenth of a second of
  // its events twice in memory.
  static constexpr std::size_t kWriteEarlyBytes = 256 * 1024;
  // After a failed write the journal is rebuilt at once, then no more
  // often than this.
  static constexpr double kRetryDelay = 10.0;

  // `writerLabel` names the journal's own queue.
  EventJournal(std::shared_ptr<Environment> environment, const std::string& writerLabel);
  ~EventJournal();

  // Everything below runs on the event queue's queue.

  struct Recovered {
    Json events = Json::array();  // oldest first
    // The events are exactly the saved file's, in its order: the journal
    // added and removed nothing, and every entry of the file was an event.
    bool sameAsSavedFile = true;
  };
  // Reads "Tessarin-events" and replays the journal that applies to it
  // (adds minus removes, by number). A damaged tail is dropped and logged;
  // the records before it count.
  Recovered recover();
  // Starts journaling over the file `recover` read, which is left as it
  // is; its events are numbered from 1.
  void startOverRecoveredFile();
  // Writes `queued` (the queued events' JSON array) as "Tessarin-events"
  // and starts a fresh journal over it whose first records add the events
  // of `inFlight` (each an event's JSON). Answers whether the file was
  // written; when it was, the batch in flight is numbered 1 to k and the
  // queued events k+1 onwards. When it was not, the old journal goes on as
  // it was.
  bool fold(const std::string& queued, const std::vector<std::string_view>& inFlight);
  // Deletes both files. Nothing is journaled any more: a queue dropped by a
  // reset must not write into the files of the queue that follows it.
  void deleteFiles();

  void add(std::uint64_t seq, std::string_view eventJson);
  void remove(std::vector<std::uint64_t> seqs);  // in any order
  // Whether the queue should fold now: the journal has grown past
  // kFoldAfterBytes, or a write failed and it must be rebuilt.
  bool wantsFold() const { return wants_fold_.load(std::memory_order_relaxed); }

  // The queue the journal writes on.
  const std::shared_ptr<platform::DispatchQueue>& writerQueue() const { return writer_queue_; }

  // The first line of a journal over a saved file with this text (none:
  // no file).
  static std::string headerFor(const std::optional<std::string>& savedText, std::uint64_t first);

 private:
  enum class State {
    kOff,     // no private directory, or the files were deleted
    kOpen,    // records are written
    kClosed,  // not started yet, or a write failed: records wait for a fold
  };

  void Append(std::string record);
  // On the writer queue.
  void WritePending();
  void ScheduleSync();
  void SyncNow();
  void Start(const std::string& content);
  void CloseAndRetryLater();
  double Now() const;

  const std::shared_ptr<Environment> environment_;
  const std::shared_ptr<platform::DispatchQueue> writer_queue_;
  std::atomic<bool> wants_fold_{false};

  // Shared by both queues.
  mutable std::mutex mutex_;
  State state_ = State::kOff;
  // Records not yet written, each as it was made: the writer gathers them,
  // so that a burst of events never copies a growing buffer over and over.
  std::vector<std::string> pending_;
  std::size_t pending_bytes_ = 0;
  bool early_write_posted_ = false;
  std::shared_ptr<platform::Timer> write_timer_;

  // The event queue's.
  std::optional<std::string> path_;
  std::string recovered_header_;       // what startOverRecoveredFile writes
  bool recovered_header_kept_ = false;  // the journal on disk is that header alone

  // The writer queue's.
  std::unique_ptr<platform::AppendFile> file_;
  std::string write_buffer_;  // kept between writes, at most about kWriteChunk
  std::size_t journal_bytes_ = 0;
  bool unsynced_ = false;
  double last_sync_ = -1e300;
  double next_retry_ = -1e300;
  std::shared_ptr<platform::Timer> sync_timer_;
  std::shared_ptr<platform::Timer> retry_timer_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_EVENT_JOURNAL_H_

// TSRQueuedEventSender: holds every event record until the events endpoint
// has it.
//
// The queue throttles bursts, bounds itself by count and by an estimate of
// its size in bytes, persists itself to "Tessarin-events" when asked, cuts
// itself into batches of at most 50 events and 102400 estimated bytes, and
// keeps exactly one batch request in flight (while it is in flight, the
// next batch, once full, is written and compressed ahead). A batch that
// could not reach the service goes back to the head of the queue and the
// next attempt waits 1, 2, 4 ... up to 600 seconds; a batch the service
// refused is dropped.
//
// Between two saves an event journal (see event_journal.h) records every
// event that enters the queue and every one that leaves it for good, so a
// process that is killed loses nothing older than a tenth of a second; the
// next queue replays it at load. Saving folds the journal into the file.
//
// All state lives on one private serial queue. Public operations hop onto
// it: asynchronously for addEvent, updateWithConfig and
// startSendingQueuedEvents, synchronously for the others. addEvent writes
// the event on the caller's thread and leaves it among the arrivals, which
// one task of the queue takes in at a time: a caller that adds faster than
// the queue takes in finds at most "maxEventsInQueue" + 50 waiting (see
// addEvent). The persisted
// files are read by the first task of that queue, so constructing the queue
// on the host app's UI thread never waits for the disk; the journal writes
// on a queue of its own. The sender's callbacks and the send timer hold the
// queue weakly.
#ifndef TESSARIN_TRANSPORT_QUEUED_EVENT_SENDER_H_
#define TESSARIN_TRANSPORT_QUEUED_EVENT_SENDER_H_

#include <cstddef>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/collaborators.h"
#include "base/error.h"
#include "base/event_counters.h"
#include "platform/platform.h"
#include "tessarin/json.h"
#include "transport/event_journal.h"
#include "transport/event_sender.h"

namespace tessarin {

class Environment;

class TSRQueuedEventSender : public EventQueue, public std::enable_shared_from_this<TSRQueuedEventSender> {
  struct Passkey {};

 public:
  // Fixed limits, in estimated bytes (see estimateSizeOfEvent) and events.
  static constexpr unsigned long kMaxEventBytes = 102400;
  static constexpr unsigned long kMaxBatchBytes = 102400;
  static constexpr std::size_t kMaxBatchEvents = 50;
  static constexpr unsigned long kMaxQueueBytes = 1048576;

  // The queue, empty until its first task has loaded the persisted events;
  // nothing without an environment. Without a sender nothing is ever sent.
  static std::shared_ptr<TSRQueuedEventSender> initWithEventSender(std::shared_ptr<Environment> environment,
                                                                   std::shared_ptr<TSREventSender> sender,
                                                                   const TSRConfig& config,
                                                                   EventQueueSuccessBlock successBlock,
                                                                   EventQueueFailureBlock failureBlock);

  TSRQueuedEventSender(Passkey, std::shared_ptr<Environment> environment, std::shared_ptr<TSREventSender> sender,
                       EventQueueSuccessBlock successBlock, EventQueueFailureBlock failureBlock);
  ~TSRQueuedEventSender() override;

  // EventQueue. A null event (or anything but a dictionary) is reported
  // through the failure block and nothing is queued.
  //
  // The queue takes arrivals in order, as if each had been added on its own.
  // Arrivals past "maxEventsInQueue" + 50 are dropped as the queue would
  // drop them when it took them in: not the first 50 (a send might take
  // some of them first), the oldest after those (the count trim keeps the
  // newest).
  void addEvent(Json event) override;
  void startSendingQueuedEvents() override;
  void stopSendingQueuedEvents() override;
  void saveToFile() override;
  void deleteFile() override;
  void updateWithConfig(const TSRConfig& config) override;
  void flush(std::function<void()> drained) override;

  bool sendingQueuedEvents();
  // Run once, on the private queue, the next time a send pass finds
  // nothing to send; then forgotten.
  void setNextQueueSendCompleteBlock(std::function<void()> block);

  // Inspection, each synchronous on the private queue.
  void enqueueEventsForTest(const Json& events);  // appends without triggering a send
  std::size_t eventQueueCount();
  std::optional<Json> getEventAtIndex(std::size_t index);
  Json eventQueueCopy();
  double queueSendDelay();
  unsigned long estimatedBytesInEventQueue();

  // The sum of the UTF-16 lengths of the top-level keys and of the values'
  // texts (a number's string value, a string itself, 4 for null). Nested
  // containers count nothing: this is a cheap bound, not a serialised size.
  static unsigned long estimateSizeOfEvent(const Json& event);

  // Removes and returns the longest prefix of the queue that fits one
  // request (possibly empty), as the JSON array it is sent as. Call it on
  // dispatchQueue(). The journal keeps the events taken until their outcome
  // is known, which a caller of this never reports: after a crash they
  // come back.
  TSREventSender::EventBatch takeBatch();

  const std::shared_ptr<platform::DispatchQueue>& dispatchQueue() const { return dispatch_queue_; }

 private:
  // An event as it is sent: written once, as it enters the queue (a tree
  // per queued event would take several times the memory, and each batch
  // and journal record would write it again), with its size estimate and
  // its number in the journal.
  struct QueuedEvent {
    std::string json;
    unsigned long estimate = 0;
    std::uint64_t seq = 0;
    double time = 0;  // seconds since 1970: the event's timestamp, for the throttle
  };
  // The entry for an event, or nothing (logged) when it cannot be written
  // as JSON.
  static std::optional<QueuedEvent> Entry(const Json& event);
  // The JSON array of the first `count` entries (all by default).
  template <typename Entries>
  static TSREventSender::EventBatch BatchOf(const Entries& entries, std::size_t count = SIZE_MAX);
  std::vector<std::uint64_t> InFlightSeqs() const;
  // Where events given to addEventsToQueue come from.
  enum class Origin {
    kNew,      // numbered and journaled as they go in
    kPutBack,  // journaled already, with their numbers
    kLoaded,   // from the files; the journal starts over after the load
  };

  // Runs on the private queue.
  void loadPersistedEvents();
  void setConfigValues(std::optional<double> delayOnResume, std::optional<double> throttleLimit,
                       std::optional<double> throttleInterval, std::optional<double> maxEventsInQueue);
  // Takes in what arrived, in order, as addEvent would have one by one.
  void takeInArrivals();
  void addArrivalOnQueue(QueuedEvent entry);
  void enqueueEventsWithoutTriggeringSend(std::vector<QueuedEvent> events);
  void addEventsToQueue(std::vector<QueuedEvent> events, std::size_t startIndex, Origin origin);
  void trimExcessEvents();
  void lowerEstimate(unsigned long bytes);
  // How many events at the head of the queue one request takes, with
  // their estimated bytes, and whether a limit cut them (rather than the
  // queue's end, so that no arrival could make the batch longer).
  std::size_t nextBatchLength(unsigned long* bytes, bool* full) const;
  std::vector<QueuedEvent> takeEntries();
  // While a request is in flight, writes and compresses the batch that
  // would follow it, once it is full, so that it goes out the moment the
  // answer comes instead of after another compression.
  void prepareNextBatch();
  // Journals that events left the queue for good.
  void journalRemoved(std::vector<std::uint64_t> seqs);
  // Writes the queue to the file and starts a fresh journal over it.
  void foldJournal();
  void foldJournalIfWanted();
  // After a fold: the batch in flight is numbered from 1, the queue after it.
  void renumber();
  void setNextQueueSendTimer(std::shared_ptr<platform::Timer> timer);
  void sendQueuedEventsAfterDelay();
  void sendQueuedEventsUnlessAlreadyDelayed();
  void sendQueuedEvents();
  void queueSendComplete();
  // Calls the flush waiters when nothing is queued or in flight.
  void notifyIfDrained();
  void requestSucceeded(std::size_t count);
  void requestFailed(const TSRError& error);

  // Adds to the environment's event counters while this queue still counts.
  void addToCounter(EventCounters::Counter counter, std::size_t n = 1);

  // Run on the main thread.
  void handleSuccessBlockWithTag(const char* tag, const std::string& requestUUID,
                                 const std::optional<platform::HttpResponse>& response, Json eventResponses);
  void handleFailureBlockWithTag(const char* tag, const std::optional<std::string>& requestUUID,
                                 const std::optional<platform::HttpResponse>& response, const TSRError& error);

  // Fixed at creation; read from any thread.
  const std::shared_ptr<Environment> environment_;
  const std::shared_ptr<TSREventSender> event_sender_delegate_;
  const EventQueueSuccessBlock success_block_;
  const EventQueueFailureBlock failure_block_;
  const std::shared_ptr<platform::DispatchQueue> dispatch_queue_;
  const std::shared_ptr<EventJournal> journal_;

  // Owned by the private queue.
  bool request_in_flight_ = false;
  // The batch in flight, with the events' numbers, until its outcome.
  std::vector<QueuedEvent> in_flight_;
  // The batch prepared to follow it: at most one a request, and sent only
  // when the batch taken then is the same text (the queue may have been
  // trimmed, put back or reloaded meanwhile).
  struct PreparedBatch {
    std::string json;
    std::string gzip;
  };
  std::optional<PreparedBatch> prepared_;
  bool prepared_this_flight_ = false;
  std::atomic<bool> counting_{true};  // cleared by deleteFile

  // Shared with the threads that add events.
  std::mutex arrivals_mutex_;
  std::deque<QueuedEvent> arrivals_;
  bool take_in_posted_ = false;
  // "maxEventsInQueue" + kMaxBatchEvents: arrivals past it are dropped.
  std::atomic<unsigned long> arrivals_limit_{1000 + kMaxBatchEvents};
  std::uint64_t next_seq_ = 1;
  bool loading_ = false;
  bool started_ = false;
  std::deque<QueuedEvent> event_queue_;  // oldest first
  double min_delay_on_failure_ = 1.0;
  double max_delay_on_failure_ = 600.0;
  double delay_on_resume_ = 0.0;
  std::function<void()> next_queue_send_complete_block_;
  std::vector<std::function<void()>> drain_waiters_;
  // Rises with every insertion and falls only when the byte trim drops
  // events: sending does not lower it, so the byte limit bounds what the
  // queue has taken in since it last trimmed, not what it holds now.
  // With "eventQueueByteLimitOnContent" it follows the content instead: it
  // also falls when a batch is taken for sending and when the count trim
  // drops events, so the limit bounds what is queued now.
  unsigned long estimated_bytes_in_event_queue_ = 0;
  bool byte_limit_on_content_ = false;
  std::shared_ptr<platform::Timer> next_queue_send_timer_;
  double queue_send_delay_ = 0.0;
  unsigned long max_events_in_queue_ = 1000;
  double throttle_interval_ = 10.0;
  unsigned long throttle_limit_ = 50;
  double count_added_interval_start_ = 0.0;  // seconds since 1970; 0 = no period yet
  unsigned long count_added_this_interval_ = 0;
};

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_QUEUED_EVENT_SENDER_H_

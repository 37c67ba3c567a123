// EventCounters: the running counts behind TSREventDiagnostics.
//
// One set per environment (so per façade), shared by every event queue the
// façade makes in its life: a queue dropped by a reset hands its counts on
// to the one that follows. Counting is a relaxed atomic add, so the queue's
// private thread pays nothing noticeable and any thread may read.
//
// It also holds the hand-off: a report the app makes on a thread of its own
// travels to the main thread before it becomes an event, and an app that
// reports faster than the main thread builds events would otherwise pile
// reports up there without limit. No more may wait than the queue may hold
// ("maxEventsInQueue"): the queue would drop the excess anyway. A report
// past that is dropped as it arrives and counted as throttled. (The queue
// bounds what waits for its own thread itself.)
#ifndef TESSARIN_BASE_EVENT_COUNTERS_H_
#define TESSARIN_BASE_EVENT_COUNTERS_H_

#include <atomic>
#include <cstdint>
#include <memory>

#include "tessarin/diagnostics.h"

namespace tessarin {

class EventCounters {
 public:
  enum Counter {
    kDroppedThrottled,
    kDroppedTooLarge,
    kDroppedCountTrim,
    kDroppedByteTrim,
    kDroppedRejected,
    kDroppedAtReset,
    kEventsSent,
    kBatchesRetried,
    kCounterCount,
  };

  void add(Counter counter, std::uint64_t count = 1) {
    if (count) counts_[counter].fetch_add(count, std::memory_order_relaxed);
  }
  std::uint64_t get(Counter counter) const { return counts_[counter].load(std::memory_order_relaxed); }
  TSREventDiagnostics snapshot() const;

  // Before a report is handed to the main thread: true when it may go (a
  // HandOffTicket then travels with it); false when the hand-off is full,
  // the report counted as throttled. `announce` is set on the
  // first refusal after the hand-off was last empty, for one log line per
  // overflow.
  bool enterHandOff(bool* announce) {
    std::uint64_t limit = hand_off_limit_.load(std::memory_order_relaxed);
    if (in_hand_off_.fetch_add(1, std::memory_order_relaxed) >= limit) {
      in_hand_off_.fetch_sub(1, std::memory_order_relaxed);
      add(kDroppedThrottled);
      *announce = !overflowing_.exchange(true, std::memory_order_relaxed);
      return false;
    }
    return true;
  }
  void leaveHandOff() {
    if (in_hand_off_.fetch_sub(1, std::memory_order_relaxed) == 1) {
      overflowing_.store(false, std::memory_order_relaxed);
    }
  }
  void setHandOffLimit(std::uint64_t limit) { hand_off_limit_.store(limit, std::memory_order_relaxed); }
  std::uint64_t inHandOff() const { return in_hand_off_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> counts_[kCounterCount] = {};
  std::atomic<std::uint64_t> in_hand_off_{0};
  std::atomic<std::uint64_t> hand_off_limit_{1000};  // the default "maxEventsInQueue"
  std::atomic<bool> overflowing_{false};
};

// A place in the hand-off, left when the ticket goes: it travels with the
// report it was taken for, so that one dropped on the way (the main queue
// gone) leaves too.
class HandOffTicket {
 public:
  explicit HandOffTicket(std::shared_ptr<EventCounters> counters) : counters_(std::move(counters)) {}
  ~HandOffTicket() { counters_->leaveHandOff(); }
  HandOffTicket(const HandOffTicket&) = delete;
  HandOffTicket& operator=(const HandOffTicket&) = delete;

 private:
  std::shared_ptr<EventCounters> counters_;
};

}  // namespace tessarin

#endif  // TESSARIN_BASE_EVENT_COUNTERS_H_

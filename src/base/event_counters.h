// EventCounters: the running counts behind TSREventDiagnostics.
//
// One set per environment (so per façade), shared by every event queue the
// façade makes in its life: a queue dropped by a reset hands its counts on
// to the one that follows. Counting is a relaxed atomic add, so the queue's
// private thread pays nothing noticeable and any thread may read.
#ifndef TESSARIN_BASE_EVENT_COUNTERS_H_
#define TESSARIN_BASE_EVENT_COUNTERS_H_

#include <atomic>
#include <cstdint>

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

 private:
  std::atomic<std::uint64_t> counts_[kCounterCount] = {};
};

}  // namespace tessarin

#endif  // TESSARIN_BASE_EVENT_COUNTERS_H_

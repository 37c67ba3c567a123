#include "base/event_counters.h"

#include <string>

namespace tessarin {

TSREventDiagnostics EventCounters::snapshot() const {
  TSREventDiagnostics d;
  d.droppedThrottled = get(kDroppedThrottled);
  d.droppedTooLarge = get(kDroppedTooLarge);
  d.droppedCountTrim = get(kDroppedCountTrim);
  d.droppedByteTrim = get(kDroppedByteTrim);
  d.droppedRejected = get(kDroppedRejected);
  d.droppedAtReset = get(kDroppedAtReset);
  d.eventsSent = get(kEventsSent);
  d.batchesRetried = get(kBatchesRetried);
  return d;
}

std::string TSREventDiagnostics::description() const {
  auto n = [](std::uint64_t value) { return std::to_string(value); };
  return "sent " + n(eventsSent) + " events, retried " + n(batchesRetried) + " batches, dropped " + n(dropped()) +
         " (throttle " + n(droppedThrottled) + ", too large " + n(droppedTooLarge) + ", count trim " +
         n(droppedCountTrim) + ", byte trim " + n(droppedByteTrim) + ", rejected " + n(droppedRejected) +
         ", reset " + n(droppedAtReset) + ")";
}

}  // namespace tessarin

// What became of the events the SDK was given, counted since the façade
// was made. A snapshot: read it from any thread, as often as you like.
#ifndef TESSARIN_DIAGNOSTICS_H_
#define TESSARIN_DIAGNOSTICS_H_

#include <cstdint>
#include <string>

#include "tessarin/export.h"

namespace tessarin {

struct TESSARIN_EXPORT TSREventDiagnostics {
  // Dropped as they arrived: more than "eventThrottleLimit" events within
  // "eventThrottleInterval" seconds.
  std::uint64_t droppedThrottled = 0;
  // Dropped as they arrived: an event too large for a request of its own.
  std::uint64_t droppedTooLarge = 0;
  // Dropped from the head of the queue when it held more than
  // "maxEventsInQueue" events, or more estimated bytes than it may.
  std::uint64_t droppedCountTrim = 0;
  std::uint64_t droppedByteTrim = 0;
  // In a batch the service refused (an answer that sending again would
  // not change).
  std::uint64_t droppedRejected = 0;
  // Still queued when a reset (or the service's "disable") deleted the
  // queue.
  std::uint64_t droppedAtReset = 0;
  // Delivered: in a batch the service accepted.
  std::uint64_t eventsSent = 0;
  // Batches put back for a later attempt after a connectivity failure.
  std::uint64_t batchesRetried = 0;

  std::uint64_t dropped() const {
    return droppedThrottled + droppedTooLarge + droppedCountTrim + droppedByteTrim + droppedRejected +
           droppedAtReset;
  }
  // One line for a log or a console: "sent 120 events, retried 2 batches,
  // dropped 3 (throttle 3, too large 0, ...)".
  std::string description() const;
};

}  // namespace tessarin

#endif  // TESSARIN_DIAGNOSTICS_H_

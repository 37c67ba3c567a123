#include "transport/queued_event_sender.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <utility>

#include "base/log.h"
#include "tessarin/sdk_info.h"
#include "util/config.h"
#include "util/date_time_util.h"
#include "util/json_dispose.h"
#include "util/json_util.h"
#include "util/json_writer.h"
#include "util/environment.h"
#include "util/networking.h"
#include "util/persistence.h"
#include "util/safety.h"
#include "util/timing_util.h"
#include "util/unicode_trim.h"
#include "transport/gzip.h"

namespace tessarin {
namespace {

// The length of a number's string value as the platform prints it:
// integers in decimal, floating-point values with up to 17 significant
// digits, booleans as "1" or "0".
std::size_t NumberStringLength(const Json& number) {
  if (number.is_boolean()) return 1;
  char text[48];
  if (number.is_number_unsigned()) {
    return static_cast<std::size_t>(std::to_chars(text, text + sizeof text, number.get<std::uint64_t>()).ptr - text);
  }
  if (number.is_number_integer()) {
    return static_cast<std::size_t>(std::to_chars(text, text + sizeof text, number.get<std::int64_t>()).ptr - text);
  }
  const int length = std::snprintf(text, sizeof text, "%.17g", number.get<double>());
  return length > 0 ? static_cast<std::size_t>(length) : 0;
}

double NumberValue(const Json& number) {
  if (number.is_boolean()) return number.get<bool>() ? 1 : 0;
  return number.get<double>();
}

// A configured count as an unsigned integer. The conversion saturates, as
// the reference hardware's does: a negative or NaN value is 0, a value past
// the largest unsigned long is that largest value.
unsigned long UnsignedFromDouble(double value) {
  constexpr unsigned long kMax = std::numeric_limits<unsigned long>::max();
  if (!(value > 0)) return 0;
  if (value >= static_cast<double>(kMax)) return kMax;
  return static_cast<unsigned long>(value);
}

std::optional<double> ConfigNumber(const TSRConfig& config, const char* key) {
  const Json* value = config.type(JsonKind::kNumber, key, false);
  if (!value) return std::nullopt;
  return NumberValue(*value);
}

}  // namespace

std::shared_ptr<TSRQueuedEventSender> TSRQueuedEventSender::initWithEventSender(
    std::shared_ptr<Environment> environment, std::shared_ptr<TSREventSender> sender, const TSRConfig& config,
    EventQueueSuccessBlock successBlock, EventQueueFailureBlock failureBlock) {
  if (!environment) return nullptr;
  auto queue = std::make_shared<TSRQueuedEventSender>(Passkey{}, std::move(environment), std::move(sender),
                                                      std::move(successBlock), std::move(failureBlock));
  // The persisted events are the queue's first task: a full file takes
  // milliseconds to read and parse, and the caller is usually the host
  // app's UI thread. Everything queued later (the configuration below, the
  // first events) runs after it, in the order it would have run had the
  // file been read here.
  TSRUtilitySafety::runAsyncOnQueue(queue->dispatch_queue_,
                                    "-[TSRQueuedEventSender initWithEventSender:andConfig:successBlock:failureBlock:]",
                                    [queue] { queue->loadPersistedEvents(); });
  queue->updateWithConfig(config);
  return queue;
}

TSRQueuedEventSender::TSRQueuedEventSender(Passkey, std::shared_ptr<Environment> environment,
                                           std::shared_ptr<TSREventSender> sender,
                                           EventQueueSuccessBlock successBlock, EventQueueFailureBlock failureBlock)
    : environment_(std::move(environment)),
      event_sender_delegate_(std::move(sender)),
      success_block_(std::move(successBlock)),
      failure_block_(std::move(failureBlock)),
      dispatch_queue_(environment_->platform().createSerialQueue(std::string(kTessarinSDKIdentifier) +
                                                                 ".TSRQueuedEventSender")),
      journal_(std::make_shared<EventJournal>(environment_, dispatch_queue_->label() + ".journal")) {}

TSRQueuedEventSender::~TSRQueuedEventSender() {
  // The timer's block would find the queue gone and do nothing; cancelling
  // lets the platform forget it now.
  TSRUtilityTiming::invalidateTimer(next_queue_send_timer_);
}

void TSRQueuedEventSender::loadPersistedEvents() {
  // The saved file's events, and what the journal adds and removes after
  // them when the last process died without saving.
  EventJournal::Recovered recovered = journal_->recover();
  std::vector<QueuedEvent> events;
  events.reserve(recovered.events.size());
  bool allWritten = true;
  for (const auto& event : recovered.events) {
    if (auto entry = Entry(event)) {
      events.push_back(std::move(*entry));
    } else {
      allWritten = false;
    }
  }
  // Nothing can be left out of the file's numbering unnoticed.
  const std::size_t offered = allWritten ? events.size() : events.size() + 1;
  // At the head, so that every persisted event passes the size checks again.
  loading_ = true;
  addEventsToQueue(std::move(events), 0, Origin::kLoaded);
  loading_ = false;
  // Numbers start afresh with every journal. When the queue is the saved
  // file exactly, a new journal over it will do; otherwise the queue is
  // saved at once, so that a crash from now on replays only what happens
  // from now on.
  if (recovered.sameAsSavedFile && event_queue_.size() == offered) {
    journal_->startOverRecoveredFile();
    renumber();
  } else {
    foldJournal();
  }
}

// --- Configuration ---

void TSRQueuedEventSender::updateWithConfig(const TSRConfig& config) {
  // Read here, on the caller's thread, which owns the configuration; set on
  // the private queue, which owns the fields.
  auto delayOnResume = ConfigNumber(config, "delayOnResume");
  auto throttleLimit = ConfigNumber(config, "eventThrottleLimit");
  auto throttleInterval = ConfigNumber(config, "eventThrottleInterval");
  auto maxEventsInQueue = ConfigNumber(config, "maxEventsInQueue");
  auto byteLimitOnContent = ConfigNumber(config, "eventQueueByteLimitOnContent");
  auto self = shared_from_this();
  TSRUtilitySafety::runAsyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender updateWithConfig:]", [=] {
    self->setConfigValues(delayOnResume, throttleLimit, throttleInterval, maxEventsInQueue);
    if (byteLimitOnContent) self->byte_limit_on_content_ = *byteLimitOnContent != 0;
  });
}

void TSRQueuedEventSender::setConfigValues(std::optional<double> delayOnResume, std::optional<double> throttleLimit,
                                           std::optional<double> throttleInterval,
                                           std::optional<double> maxEventsInQueue) {
  if (delayOnResume) delay_on_resume_ = *delayOnResume;
  if (throttleLimit) throttle_limit_ = UnsignedFromDouble(*throttleLimit);
  if (throttleInterval) throttle_interval_ = *throttleInterval;
  if (maxEventsInQueue) {
    max_events_in_queue_ = UnsignedFromDouble(*maxEventsInQueue);
    const unsigned long limit = max_events_in_queue_ > ULONG_MAX - kMaxBatchEvents
                                    ? ULONG_MAX
                                    : max_events_in_queue_ + kMaxBatchEvents;
    arrivals_limit_.store(limit, std::memory_order_relaxed);
    if (counting_) environment_->eventCounters().setHandOffLimit(max_events_in_queue_);
  }
}

// --- Adding events ---

void TSRQueuedEventSender::addEvent(Json event) {
  if (!event.is_object()) {
    TSRError error{kTessarinSDKIdentifier, 0, "No event to send.", "There must be at least one event to send.",
                   std::nullopt};
    handleFailureBlockWithTag("-[TSRQueuedEventSender addEvent:]", std::nullopt, std::nullopt, error);
    return;
  }
  double time;
  auto timestamp = event.find("timestamp");
  if (timestamp != event.end() && (timestamp->is_number() || timestamp->is_boolean())) {
    time = NumberValue(*timestamp) / 1000.0;
  } else {
    TSR_LOG_DEBUG("Events: Timestamp missing from event");
    time = static_cast<double>(TSRUtilityDateTime::currentTimeEpochMillis(environment_->platform())) / 1000.0;
  }
  // Written here, on the caller's thread: what waits for the queue is the
  // text, a fraction of the tree's size.
  std::optional<QueuedEvent> entry = Entry(event);
  DisposeJson(event);
  if (!entry) {
    // It could never be sent; keeping it would fail every batch it joined.
    addToCounter(EventCounters::kDroppedRejected);
    return;
  }
  entry->time = time;
  bool post = false;
  bool dropped = false;
  {
    std::lock_guard<std::mutex> lock(arrivals_mutex_);
    if (arrivals_.size() >= arrivals_limit_.load(std::memory_order_relaxed) && arrivals_.size() > kMaxBatchEvents) {
      arrivals_.erase(arrivals_.begin() + static_cast<std::ptrdiff_t>(kMaxBatchEvents));
      dropped = true;
    }
    arrivals_.push_back(std::move(*entry));
    post = !take_in_posted_;
    take_in_posted_ = true;
  }
  if (dropped) addToCounter(EventCounters::kDroppedCountTrim);
  if (!post) return;
  auto self = shared_from_this();
  TSRUtilitySafety::runAsyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender addEvent:]",
                                    [self] { self->takeInArrivals(); });
}

void TSRQueuedEventSender::takeInArrivals() {
  std::deque<QueuedEvent> arrivals;
  {
    std::lock_guard<std::mutex> lock(arrivals_mutex_);
    arrivals.swap(arrivals_);
    take_in_posted_ = false;
  }
  for (auto& entry : arrivals) addArrivalOnQueue(std::move(entry));
  prepareNextBatch();
}

void TSRQueuedEventSender::addArrivalOnQueue(QueuedEvent entry) {
  const double time = entry.time;
  // A fixed period anchored at its first event's own timestamp: events
  // carrying older timestamps fall into the current period. A dropped
  // event still counts, so a burst that goes on stays throttled.
  if (count_added_interval_start_ == 0 || time - count_added_interval_start_ > throttle_interval_) {
    count_added_interval_start_ = time;
    count_added_this_interval_ = 1;
  } else {
    ++count_added_this_interval_;
    if (count_added_this_interval_ > throttle_limit_) {
      TSR_LOG_ERROR("Events: Dropping event, exceeded %lu events / %.1f seconds", throttle_limit_,
                    throttle_interval_);
      addToCounter(EventCounters::kDroppedThrottled);
      return;
    }
  }
  std::vector<QueuedEvent> entries;
  entries.push_back(std::move(entry));
  enqueueEventsWithoutTriggeringSend(std::move(entries));
  sendQueuedEventsUnlessAlreadyDelayed();
}

std::optional<TSRQueuedEventSender::QueuedEvent> TSRQueuedEventSender::Entry(const Json& event) {
  // The fast writer takes nearly every record. What it declines (text that
  // is not UTF-8, a number JSON cannot write) goes to the general writer,
  // which repairs the text or refuses the record with its log line.
  std::string json;
  if (!event.is_object() || !AppendCompactJson(event, &json)) {
    std::optional<std::string> written = TSRUtilityJSON::stringFromJSON(event);
    if (!written) return std::nullopt;
    json = std::move(*written);
  }
  return QueuedEvent{std::move(json), estimateSizeOfEvent(event), 0};
}

void TSRQueuedEventSender::enqueueEventsWithoutTriggeringSend(std::vector<QueuedEvent> events) {
  addEventsToQueue(std::move(events), event_queue_.size(), Origin::kNew);
  foldJournalIfWanted();
}

void TSRQueuedEventSender::addEventsToQueue(std::vector<QueuedEvent> events, std::size_t startIndex,
                                            Origin origin) {
  std::vector<QueuedEvent> kept;
  kept.reserve(events.size());
  std::vector<std::uint64_t> tooLarge;
  unsigned long keptBytes = 0;
  for (auto& entry : events) {
    unsigned long size = entry.estimate;
    if (size > kMaxEventBytes) {
      TSR_LOG_ERROR("Events: Dropping an event that is too large to fit in a single request");
      addToCounter(EventCounters::kDroppedTooLarge);
      if (origin == Origin::kPutBack) tooLarge.push_back(entry.seq);
      continue;
    }
    keptBytes += size;
    kept.push_back(std::move(entry));
  }
  journalRemoved(std::move(tooLarge));
  estimated_bytes_in_event_queue_ += keptBytes;
  if (kept.empty()) return;
  // The number offered, not the number kept.
  TSR_LOG_INFO("Events: Enqueueing %i events.", events.size());
  if (origin == Origin::kNew) {
    for (auto& entry : kept) {
      entry.seq = next_seq_++;
      journal_->add(entry.seq, entry.json);
    }
  }
  startIndex = std::min(startIndex, event_queue_.size());
  event_queue_.insert(event_queue_.begin() + static_cast<std::ptrdiff_t>(startIndex),
                      std::make_move_iterator(kept.begin()), std::make_move_iterator(kept.end()));
  trimExcessEvents();
}

void TSRQueuedEventSender::trimExcessEvents() {
  if (event_queue_.size() > max_events_in_queue_) {
    TSR_LOG_ERROR("Events: The number of queued events %i exceeded the limit %i, dropping the excess.",
                  event_queue_.size(), max_events_in_queue_);
    // The oldest go. The byte estimate keeps counting them, unless it
    // follows the content.
    const std::size_t excess = event_queue_.size() - max_events_in_queue_;
    std::vector<std::uint64_t> seqs;
    seqs.reserve(excess);
    for (std::size_t i = 0; i < excess; ++i) {
      if (byte_limit_on_content_) lowerEstimate(event_queue_[i].estimate);
      seqs.push_back(event_queue_[i].seq);
    }
    event_queue_.erase(event_queue_.begin(), event_queue_.begin() + static_cast<std::ptrdiff_t>(excess));
    addToCounter(EventCounters::kDroppedCountTrim, excess);
    journalRemoved(std::move(seqs));
  }
  if (estimated_bytes_in_event_queue_ <= kMaxQueueBytes) return;
  unsigned long estimate = estimated_bytes_in_event_queue_;
  std::size_t dropped = 0;
  std::vector<std::uint64_t> seqs;
  while (estimate > kMaxQueueBytes && dropped < event_queue_.size()) {
    estimate -= std::min(estimate, event_queue_[dropped].estimate);
    seqs.push_back(event_queue_[dropped].seq);
    ++dropped;
  }
  if (dropped > 0) {
    event_queue_.erase(event_queue_.begin(), event_queue_.begin() + static_cast<std::ptrdiff_t>(dropped));
    journalRemoved(std::move(seqs));
    TSR_LOG_ERROR("Events: The number of estimated bytes in the queue exceeded the limit of %i, dropping %i events.",
                  kMaxQueueBytes, dropped);
    addToCounter(EventCounters::kDroppedByteTrim, dropped);
  }
  estimated_bytes_in_event_queue_ = estimate;
}

void TSRQueuedEventSender::lowerEstimate(unsigned long bytes) {
  estimated_bytes_in_event_queue_ -= std::min(estimated_bytes_in_event_queue_, bytes);
}

unsigned long TSRQueuedEventSender::estimateSizeOfEvent(const Json& event) {
  if (!event.is_object()) return 0;
  unsigned long size = 0;
  for (const auto& [key, value] : event.items()) {
    size += Utf16Length(key);
    if (value.is_number() || value.is_boolean()) {
      size += NumberStringLength(value);
    } else if (value.is_string()) {
      size += Utf16Length(value.get_ref<const std::string&>());
    } else if (value.is_null()) {
      size += 4;
    } else {
      TSR_LOG_DEBUG("Events: Ignoring estimating size of unexpected value, %@ %@", JsonClassName(value), value);
    }
  }
  return size;
}

TSREventSender::EventBatch TSRQueuedEventSender::takeBatch() { return BatchOf(takeEntries()); }

template <typename Entries>
TSREventSender::EventBatch TSRQueuedEventSender::BatchOf(const Entries& entries, std::size_t count) {
  const auto end = entries.begin() + static_cast<std::ptrdiff_t>(std::min(count, entries.size()));
  TSREventSender::EventBatch batch;
  std::size_t length = 2;
  for (auto it = entries.begin(); it != end; ++it) length += it->json.size() + 1;
  batch.json.reserve(length);
  batch.json += '[';
  for (auto it = entries.begin(); it != end; ++it) {
    if (batch.count++ > 0) batch.json += ',';
    batch.json += it->json;
  }
  batch.json += ']';
  return batch;
}

std::size_t TSRQueuedEventSender::nextBatchLength(unsigned long* bytes, bool* full) const {
  std::size_t count = 0;
  unsigned long total = 0;
  bool bytesFull = false;
  while (count < event_queue_.size() && count < kMaxBatchEvents) {
    unsigned long size = event_queue_[count].estimate;
    if (total + size > kMaxBatchBytes) {
      bytesFull = true;
      break;
    }
    total += size;
    ++count;
  }
  if (bytes) *bytes = total;
  if (full) *full = bytesFull || count == kMaxBatchEvents;
  return count;
}

std::vector<TSRQueuedEventSender::QueuedEvent> TSRQueuedEventSender::takeEntries() {
  unsigned long bytes = 0;
  const std::size_t count = nextBatchLength(&bytes, nullptr);
  // Following the content, the estimate lets go of the batch now; a batch
  // put back after a connectivity failure raises it again.
  if (byte_limit_on_content_) lowerEstimate(bytes);
  auto end = event_queue_.begin() + static_cast<std::ptrdiff_t>(count);
  std::vector<QueuedEvent> taken(std::make_move_iterator(event_queue_.begin()), std::make_move_iterator(end));
  event_queue_.erase(event_queue_.begin(), end);
  return taken;
}

// --- Sending ---

void TSRQueuedEventSender::startSendingQueuedEvents() {
  auto self = shared_from_this();
  TSRUtilitySafety::runAsyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender startSendingQueuedEvents]", [self] {
    self->queue_send_delay_ = self->delay_on_resume_;
    if (!self->started_) TSR_LOG_DEBUG("Events: Allowing sending/attempting");
    self->started_ = true;
    self->sendQueuedEventsAfterDelay();
  });
}

void TSRQueuedEventSender::stopSendingQueuedEvents() {
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender stopSendingQueuedEvents]", [this] {
    setNextQueueSendTimer(nullptr);
    if (started_) TSR_LOG_DEBUG("Events: Disallowing sending/attempting");
    started_ = false;
  });
}

bool TSRQueuedEventSender::sendingQueuedEvents() {
  bool started = false;
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender sendingQueuedEvents]",
                                   [&] { started = started_; });
  return started;
}

void TSRQueuedEventSender::setNextQueueSendCompleteBlock(std::function<void()> block) {
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender setNextQueueSendCompleteBlock:]",
                                   [&] { next_queue_send_complete_block_ = std::move(block); });
}

void TSRQueuedEventSender::setNextQueueSendTimer(std::shared_ptr<platform::Timer> timer) {
  TSRUtilityTiming::invalidateTimer(next_queue_send_timer_);
  next_queue_send_timer_ = std::move(timer);
}

void TSRQueuedEventSender::sendQueuedEventsAfterDelay() {
  if (request_in_flight_ || !started_) return;
  std::weak_ptr<TSRQueuedEventSender> weak = weak_from_this();
  // Monotonic: a user changing the clock must not hold back or hurry a
  // retry.
  setNextQueueSendTimer(TSRUtilityTiming::createAndScheduleTimer(
      environment_->platform(), "-[TSRQueuedEventSender sendQueuedEventsAfterDelay]", dispatch_queue_, false,
      queue_send_delay_, 0, std::min(queue_send_delay_ * 0.1, 2.0), [weak] {
        auto self = weak.lock();
        if (!self || !self->next_queue_send_timer_) return;
        self->setNextQueueSendTimer(nullptr);
        self->sendQueuedEvents();
      }));
}

void TSRQueuedEventSender::sendQueuedEventsUnlessAlreadyDelayed() {
  if (request_in_flight_ || next_queue_send_timer_ || !started_) return;
  sendQueuedEvents();
}

void TSRQueuedEventSender::flush(std::function<void()> drained) {
  auto self = shared_from_this();
  TSRUtilitySafety::runAsyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender flush:]",
                                    [self, drained = std::move(drained)]() mutable {
                                      if (drained) self->drain_waiters_.push_back(std::move(drained));
                                      // A pending delay (a back-off, or the resume delay) is cut short.
                                      if (self->started_ && !self->request_in_flight_) {
                                        self->setNextQueueSendTimer(nullptr);
                                        self->sendQueuedEvents();
                                      }
                                      self->notifyIfDrained();
                                    });
}

void TSRQueuedEventSender::notifyIfDrained() {
  if (drain_waiters_.empty() || request_in_flight_ || !event_queue_.empty()) return;
  auto waiters = std::move(drain_waiters_);
  drain_waiters_.clear();
  for (auto& waiter : waiters) waiter();
}

void TSRQueuedEventSender::queueSendComplete() {
  notifyIfDrained();
  if (!next_queue_send_complete_block_) return;
  auto block = next_queue_send_complete_block_;
  block();
  next_queue_send_complete_block_ = nullptr;
}

void TSRQueuedEventSender::sendQueuedEvents() {
  if (request_in_flight_) return;
  if (event_queue_.empty()) {
    queueSendComplete();
    return;
  }
  // No endpoint (no account or dataset yet): keep everything for later.
  if (!event_sender_delegate_ || event_sender_delegate_->urlEvents().empty()) return;
  in_flight_ = takeEntries();
  if (in_flight_.empty()) {
    queueSendComplete();
    return;
  }
  const std::size_t count = in_flight_.size();
  TSR_LOG_INFO("Events: Attempting to send %lu events", count);
  request_in_flight_ = true;

  static constexpr const char* kTag = "-[TSRQueuedEventSender sendQueuedEvents]";
  std::weak_ptr<TSRQueuedEventSender> weak = weak_from_this();
  // The answer may come on any thread: what the queue does about it runs on
  // its own queue, what the façade does on the main queue, and the next
  // batch goes out without waiting for the main queue. The batch stays in
  // in_flight_, journaled by its outcome (a fold meanwhile journals it
  // afresh); only a failure needs it again.
  auto onSuccess = [weak, count](TSREventSender* sender, const std::string& requestUUID,
                                 const std::optional<platform::HttpResponse>& response,
                                 const std::optional<Json>& eventResponses) {
    TSRUtilitySafety::runWithTag(kTag, [&] {
      auto self = weak.lock();
      // An answer to a sender this queue no longer uses changes nothing.
      if (!self || sender != self->event_sender_delegate_.get()) return;
      TSR_LOG_INFO("Events: Successfully sent %lu events.", count);
      TSRUtilitySafety::runAsyncOnQueue(self->dispatch_queue_, kTag, [self, count] { self->requestSucceeded(count); });
      self->handleSuccessBlockWithTag(kTag, requestUUID, response, eventResponses ? *eventResponses : Json());
    });
  };
  auto onFailure = [weak, count](TSREventSender* sender, const std::string& requestUUID,
                                 const std::optional<platform::HttpResponse>& response, const TSRError& error) {
    TSRUtilitySafety::runWithTag(kTag, [&] {
      auto self = weak.lock();
      if (!self || sender != self->event_sender_delegate_.get()) return;
      TSR_LOG_ERROR("Events: Failed to send %lu events. %@ %@ %@", count, error.description, error.failureReason,
                    error.recoverySuggestion);
      self->handleFailureBlockWithTag(kTag, requestUUID, response, error);
      TSRUtilitySafety::runAsyncOnQueue(self->dispatch_queue_, kTag, [self, error] { self->requestFailed(error); });
    });
  };
  TSREventSender::EventBatch batch = BatchOf(in_flight_);
  if (prepared_ && prepared_->json == batch.json) batch.gzip = std::move(prepared_->gzip);
  prepared_.reset();
  prepared_this_flight_ = false;
  event_sender_delegate_->sendEventBatch(std::move(batch), TSRUtilityDateTime::timeZoneString(environment_->platform()),
                                         std::move(onSuccess), std::move(onFailure));
  // After what is already waiting on the queue (arrivals to take in), so
  // that the batch prepared is as long as it can be.
  TSRUtilitySafety::runAsyncOnQueue(dispatch_queue_, kTag, [weak] {
    if (auto self = weak.lock()) self->prepareNextBatch();
  });
}

void TSRQueuedEventSender::prepareNextBatch() {
  if (!request_in_flight_ || prepared_this_flight_ || !TSRGzipCodec::shared().canDeflate()) return;
  // A batch that is not full yet would be longer by the time it is sent,
  // and the work thrown away.
  bool full = false;
  const std::size_t count = nextBatchLength(nullptr, &full);
  if (!full) return;
  prepared_this_flight_ = true;
  TSREventSender::EventBatch batch = BatchOf(event_queue_, count);
  std::optional<std::string> gzip = tsr_dataByGZipCompressingWithError(batch.json);
  if (gzip) prepared_ = PreparedBatch{std::move(batch.json), std::move(*gzip)};
}

void TSRQueuedEventSender::requestSucceeded(std::size_t count) {
  addToCounter(EventCounters::kEventsSent, count);
  journalRemoved(InFlightSeqs());
  in_flight_.clear();
  queue_send_delay_ = 0;
  setNextQueueSendTimer(nullptr);
  request_in_flight_ = false;
  // A backlog drains batch after batch without waiting.
  sendQueuedEventsUnlessAlreadyDelayed();
  notifyIfDrained();
  foldJournalIfWanted();
}

void TSRQueuedEventSender::requestFailed(const TSRError& error) {
  if (TSRUtilityNetworking::connectivityProblemForError(&error, "Events:") == TSRConnectivityProblemNone) {
    // The service answered (or the request could not be made): sending the
    // same batch again would fail the same way.
    TSR_LOG_WARN("Events: Dropping %lu events that failed to send", in_flight_.size());
    addToCounter(EventCounters::kDroppedRejected, in_flight_.size());
    journalRemoved(InFlightSeqs());
    in_flight_.clear();
    queue_send_delay_ = 0;
    setNextQueueSendTimer(nullptr);
    request_in_flight_ = false;
    sendQueuedEventsUnlessAlreadyDelayed();
    notifyIfDrained();
    foldJournalIfWanted();
    return;
  }
  TSR_LOG_INFO("Events: Re-enqueueing events to send later.");
  addToCounter(EventCounters::kBatchesRetried);
  // Back with the numbers they had: the journal never let go of them.
  std::vector<QueuedEvent> putBack = std::move(in_flight_);
  in_flight_.clear();
  // At the head, through the size checks and trimming again.
  addEventsToQueue(std::move(putBack), 0, Origin::kPutBack);
  if (queue_send_delay_ < min_delay_on_failure_) {
    queue_send_delay_ = min_delay_on_failure_;
  } else {
    queue_send_delay_ = std::min(queue_send_delay_ * 2, max_delay_on_failure_);
  }
  setNextQueueSendTimer(nullptr);
  request_in_flight_ = false;
  sendQueuedEventsAfterDelay();
  foldJournalIfWanted();
}

void TSRQueuedEventSender::handleSuccessBlockWithTag(const char* tag, const std::string& requestUUID,
                                                     const std::optional<platform::HttpResponse>& response,
                                                     Json eventResponses) {
  if (!success_block_) return;
  auto self = shared_from_this();
  TSRUtilitySafety::runOnMainWithTag(environment_->platform(), tag,
                                     [self, requestUUID, response, eventResponses = std::move(eventResponses)] {
                                       self->success_block_(self.get(), requestUUID, response, eventResponses);
                                     });
}

void TSRQueuedEventSender::handleFailureBlockWithTag(const char* tag, const std::optional<std::string>& requestUUID,
                                                     const std::optional<platform::HttpResponse>& response,
                                                     const TSRError& error) {
  if (!failure_block_) return;
  auto self = shared_from_this();
  TSRUtilitySafety::runOnMainWithTag(environment_->platform(), tag, [self, requestUUID, response, error] {
    self->failure_block_(self.get(), requestUUID, response, error);
  });
}

// --- Persistence ---

void TSRQueuedEventSender::saveToFile() {
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender saveToFile]", [this] { foldJournal(); });
}

void TSRQueuedEventSender::foldJournal() {
  // The file holds what is queued, as it always has; the batch in flight
  // goes into the new journal, so that a crash before its answer does not
  // lose it.
  std::string queued = BatchOf(event_queue_).json;
  std::vector<std::string_view> inFlight;
  inFlight.reserve(in_flight_.size());
  for (const auto& entry : in_flight_) inFlight.push_back(entry.json);
  if (journal_->fold(queued, inFlight)) renumber();
}

std::vector<std::uint64_t> TSRQueuedEventSender::InFlightSeqs() const {
  std::vector<std::uint64_t> seqs;
  seqs.reserve(in_flight_.size());
  for (const auto& entry : in_flight_) seqs.push_back(entry.seq);
  return seqs;
}

void TSRQueuedEventSender::foldJournalIfWanted() {
  if (journal_->wantsFold()) foldJournal();
}

void TSRQueuedEventSender::renumber() {
  std::uint64_t seq = 1;
  for (auto& inFlight : in_flight_) inFlight.seq = seq++;
  for (auto& entry : event_queue_) entry.seq = seq++;
  next_seq_ = seq;
}

void TSRQueuedEventSender::journalRemoved(std::vector<std::uint64_t> seqs) {
  // Loading: the journal starts over once the queue is in place.
  if (loading_ || seqs.empty()) return;
  journal_->remove(std::move(seqs));
}

void TSRQueuedEventSender::deleteFile() {
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender deleteFile]", [this] {
    journal_->deleteFiles();
    // The façade deletes the file only to drop the queue (a reset, or the
    // service's "disable"): whatever is still held is lost to it, even a
    // batch in flight whose answer the façade will no longer hear. From now
    // on this queue counts nothing, so no event is counted twice.
    addToCounter(EventCounters::kDroppedAtReset, event_queue_.size() + in_flight_.size());
    counting_ = false;
  });
}

void TSRQueuedEventSender::addToCounter(EventCounters::Counter counter, std::size_t n) {
  if (counting_) environment_->eventCounters().add(counter, n);
}

// --- Inspection ---

void TSRQueuedEventSender::enqueueEventsForTest(const Json& events) {
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender enqueueEventsForTest:]", [&] {
    if (!events.is_array()) return;
    std::vector<QueuedEvent> entries;
    for (const auto& event : events) {
      if (auto entry = Entry(event)) entries.push_back(std::move(*entry));
    }
    enqueueEventsWithoutTriggeringSend(std::move(entries));
  });
}

std::size_t TSRQueuedEventSender::eventQueueCount() {
  std::size_t count = 0;
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender eventQueueCount]",
                                   [&] { count = event_queue_.size(); });
  return count;
}

std::optional<Json> TSRQueuedEventSender::getEventAtIndex(std::size_t index) {
  std::optional<Json> event;
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender getEventAtIndex:]", [&] {
    if (index < event_queue_.size()) event = Json::parse(event_queue_[index].json);
  });
  return event;
}

Json TSRQueuedEventSender::eventQueueCopy() {
  Json copy = Json::array();
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender eventQueueCopy]", [&] {
    for (const auto& entry : event_queue_) copy.push_back(Json::parse(entry.json));
  });
  return copy;
}

double TSRQueuedEventSender::queueSendDelay() {
  double delay = 0;
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender queueSendDelay]",
                                   [&] { delay = queue_send_delay_; });
  return delay;
}

unsigned long TSRQueuedEventSender::estimatedBytesInEventQueue() {
  unsigned long bytes = 0;
  TSRUtilitySafety::runSyncOnQueue(dispatch_queue_, "-[TSRQueuedEventSender estimatedBytesInEventQueue]",
                                   [&] { bytes = estimated_bytes_in_event_queue_; });
  return bytes;
}

}  // namespace tessarin

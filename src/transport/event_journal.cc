#include "transport/event_journal.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <map>
#include <string_view>
#include <utility>

#include "base/log.h"
#include "util/environment.h"
#include "util/json_util.h"
#include "util/persistence.h"
#include "util/safety.h"
#include "util/timing_util.h"

namespace tessarin {
namespace {

constexpr std::string_view kHeaderPrefix = "#tessarin-journal 1 base=";
constexpr std::string_view kFirstKey = " first=";
constexpr const char* kWriteTag = "-[EventJournal write]";
constexpr const char* kSyncTag = "-[EventJournal sync]";
constexpr const char* kRetryTag = "-[EventJournal retry]";

// Names the saved file's text: its length and its 64-bit FNV-1a hash. A
// fold that leaves the text as it was keeps the name, which is right: the
// old journal then still describes the queue.
std::string BaseOf(const std::optional<std::string>& savedText) {
  if (!savedText) return "absent";
  std::uint64_t hash = 14695981039346656037ull;
  for (unsigned char c : *savedText) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  char text[48];
  std::snprintf(text, sizeof text, "%zu:%016" PRIx64, savedText->size(), hash);
  return text;
}

std::string Header(const std::string& base, std::uint64_t first) {
  return std::string(kHeaderPrefix) + base + std::string(kFirstKey) + std::to_string(first) + "\n";
}

std::string AddRecord(std::uint64_t seq, std::string_view eventJson) {
  std::string record = "+" + std::to_string(seq) + " ";
  record.reserve(record.size() + eventJson.size() + 1);
  record += eventJson;
  record += '\n';
  return record;
}

bool ParseNumber(std::string_view text, std::uint64_t* value) {
  if (text.empty()) return false;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return error == std::errc() && end == text.data() + text.size();
}

struct JournalText {
  bool headerOk = false;
  std::string base;
  std::uint64_t first = 1;
  std::vector<std::pair<std::uint64_t, Json>> adds;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> removes;  // inclusive ranges
  std::size_t records = 0;
  std::size_t damagedBytes = 0;  // from the first line that is not a whole record to the end
};

bool ParseHeader(std::string_view line, JournalText* journal) {
  if (line.substr(0, kHeaderPrefix.size()) != kHeaderPrefix) return false;
  line.remove_prefix(kHeaderPrefix.size());
  std::size_t key = line.find(kFirstKey);
  if (key == std::string_view::npos || key == 0) return false;
  journal->base = std::string(line.substr(0, key));
  return ParseNumber(line.substr(key + kFirstKey.size()), &journal->first);
}

bool ParseRecord(std::string_view line, JournalText* journal) {
  if (line.size() < 2) return false;
  if (line[0] == '+') {
    std::size_t space = line.find(' ');
    std::uint64_t seq;
    if (space == std::string_view::npos || !ParseNumber(line.substr(1, space - 1), &seq)) return false;
    std::string_view text = line.substr(space + 1);
    Json event = Json::parse(text.begin(), text.end(), nullptr, false);
    if (event.is_discarded() || !event.is_object()) return false;
    journal->adds.emplace_back(seq, std::move(event));
    return true;
  }
  if (line[0] == '-') {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    std::string_view rest = line.substr(1);
    while (true) {
      std::size_t comma = rest.find(',');
      std::string_view item = rest.substr(0, comma);
      std::size_t dash = item.find('-');
      std::uint64_t from, to;
      if (dash == std::string_view::npos) {
        if (!ParseNumber(item, &from)) return false;
        to = from;
      } else if (!ParseNumber(item.substr(0, dash), &from) || !ParseNumber(item.substr(dash + 1), &to) || to < from) {
        return false;
      }
      ranges.emplace_back(from, to);
      if (comma == std::string_view::npos) break;
      rest.remove_prefix(comma + 1);
    }
    journal->removes.insert(journal->removes.end(), ranges.begin(), ranges.end());
    return true;
  }
  return false;
}

// Reads records up to the first line that is not a whole, well-formed
// record: a write cut short by the process's death leaves a partial last
// line, and a power loss can leave garbage where the data never landed.
JournalText ParseJournal(std::string_view text) {
  JournalText journal;
  std::size_t end = text.find('\n');
  if (end == std::string_view::npos || !ParseHeader(text.substr(0, end), &journal)) return journal;
  journal.headerOk = true;
  std::size_t pos = end + 1;
  while (pos < text.size()) {
    end = text.find('\n', pos);
    if (end == std::string_view::npos || !ParseRecord(text.substr(pos, end - pos), &journal)) {
      journal.damagedBytes = text.size() - pos;
      break;
    }
    ++journal.records;
    pos = end + 1;
  }
  return journal;
}

}  // namespace

EventJournal::EventJournal(std::shared_ptr<Environment> environment, const std::string& writerLabel)
    : environment_(std::move(environment)), writer_queue_(environment_->platform().createSerialQueue(writerLabel)) {}

EventJournal::~EventJournal() {
  // A record still pending is lost, as it would be if the process died now.
  {
    std::lock_guard<std::mutex> lock(mutex_);
    TSRUtilityTiming::invalidateTimer(write_timer_);
  }
  TSRUtilityTiming::invalidateTimer(sync_timer_);
  TSRUtilityTiming::invalidateTimer(retry_timer_);
}

std::string EventJournal::headerFor(const std::optional<std::string>& savedText, std::uint64_t first) {
  return Header(BaseOf(savedText), first);
}

double EventJournal::Now() const { return environment_->platform().now(platform::Clock::kMonotonic); }

// --- Loading ---

EventJournal::Recovered EventJournal::recover() {
  Recovered recovered;
  TSRUtilityPersistence& persistence = environment_->persistence();
  platform::FileSystem& files = environment_->platform().fileSystem();
  path_ = persistence.pathForFilename(kFileName);
  if (path_) {
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = State::kClosed;
  }

  auto savedText = persistence.loadJSONStringFromFilename(kTSRQueuedEventsFileName);
  std::string base = BaseOf(savedText);
  std::optional<Json> saved = savedText ? TSRUtilityJSON::jsonArrayFromString(savedText) : std::nullopt;
  // A file that is there but whose events cannot be read (damaged, or not
  // readable at all) has lost them. Whatever file the journal beside it
  // was written over, its records are then the only copy of what the queue
  // took in since: replaying them brings back events that would be gone
  // otherwise, and none the file still holds. (A missing file is another
  // matter: a reset deletes the file before the journal, and a journal it
  // left behind must stay unreplayed.)
  bool savedLost = savedText && !saved;
  if (!savedText) {
    // A file that is there but cannot be read is not "absent".
    auto savedPath = persistence.pathForFilename(kTSRQueuedEventsFileName);
    if (savedPath && files.fileExists(*savedPath)) {
      base = "unreadable";
      savedLost = true;
    }
  }

  std::string journalText;
  bool journalPresent = false;
  if (path_ && files.fileExists(*path_)) {
    platform::IoResult read = files.readFile(*path_, &journalText);
    if (read.ok) {
      journalPresent = true;
    } else {
      TSR_LOG_ERROR("Events: Could not read the event journal: %@", read.description);
    }
  }
  JournalText journal = journalPresent ? ParseJournal(journalText) : JournalText{};
  bool replay = journal.headerOk && (journal.base == base || savedLost);
  if (journalPresent && !journal.headerOk) {
    TSR_LOG_WARN("Events: Ignoring an event journal that does not start with its header");
  } else if (journal.headerOk && !replay) {
    // The process died between writing the saved file and starting the
    // journal over it: the saved file already holds everything.
    TSR_LOG_INFO("Events: Ignoring an event journal that was already folded into the saved events");
  } else if (replay && saved && !saved->empty() &&
             journal.first > std::numeric_limits<std::uint64_t>::max() - (saved->size() - 1)) {
    // The saved events are numbered from `first` on, in file order; numbers
    // that would wrap past the largest one would put the file's last events
    // first. A fold numbers from the size of a batch, so such a header is
    // damage.
    TSR_LOG_WARN("Events: Ignoring an event journal whose first number %@ leaves no room for the saved events",
                 std::to_string(journal.first));
    replay = false;
  }

  const std::uint64_t first = replay ? journal.first : 1;
  std::map<std::uint64_t, Json> events;
  if (savedText) {
    if (auto array = std::move(saved)) {
      // Only dictionaries are events; anything else in the file (written
      // by hand, or damaged) would be sent to the service as it is.
      std::uint64_t seq = first;
      for (auto& event : *array) {
        if (event.is_object()) {
          events.emplace(seq, std::move(event));
        } else {
          TSR_LOG_ERROR("Events: Ignoring persisted event of unexpected class %@", JsonClassName(event));
          recovered.sameAsSavedFile = false;
        }
        ++seq;
      }
    }
  }
  // The queue is saved at once over a damaged file.
  if (savedLost) recovered.sameAsSavedFile = false;
  if (replay) {
    if (journal.damagedBytes > 0) {
      TSR_LOG_WARN("Events: Dropping the event journal's damaged tail of %lu bytes after %lu records",
                   journal.damagedBytes, journal.records);
    }
    for (auto& [seq, event] : journal.adds) events[seq] = std::move(event);
    for (auto [from, to] : journal.removes) {
      events.erase(events.lower_bound(from), events.upper_bound(to));
    }
    if (journal.records > 0) {
      TSR_LOG_INFO("Events: Replayed %lu records of the event journal", journal.records);
      recovered.sameAsSavedFile = false;
    }
  }
  for (auto& [seq, event] : events) recovered.events.push_back(std::move(event));

  recovered_header_ = Header(base, 1);
  recovered_header_kept_ = journalPresent && journalText == recovered_header_;
  return recovered;
}

void EventJournal::startOverRecoveredFile() {
  if (!path_) return;
  writer_queue_->sync([this] {
    if (!recovered_header_kept_) {
      Start(recovered_header_);
      return;
    }
    // The journal on disk is already this header and nothing else.
    platform::IoResult opened;
    file_ = environment_->platform().fileSystem().openForAppend(*path_, &opened);
    if (!file_) {
      TSR_LOG_ERROR("Events: Could not start the event journal: %@", opened.description);
      CloseAndRetryLater();
      return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = State::kOpen;
    journal_bytes_ = recovered_header_.size();
  });
}

// --- Folding and deleting ---

bool EventJournal::fold(const std::string& queued, const std::vector<std::string_view>& inFlight) {
  // The persistence takes the text as an optional: one copy per fold.
  const std::optional<std::string> text = queued;
  std::string content = Header(BaseOf(text), inFlight.size() + 1);
  std::uint64_t seq = 1;
  for (std::string_view event : inFlight) content += AddRecord(seq++, event);

  bool folded = false;
  writer_queue_->sync([&] {
    wants_fold_ = false;
    State state;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      state = state_;
    }
    TSRUtilityPersistence& persistence = environment_->persistence();
    if (state == State::kOff) {
      // No journal (no private directory, or the files were deleted): the
      // saved file alone, as it always was.
      persistence.saveJSONString(text, kTSRQueuedEventsFileName, true);
      return;
    }
    // The old journal gets its last records first. Should the new file's
    // text be the old one's (the same events), the old journal still
    // applies to it, and must then be complete.
    if (state == State::kOpen) WritePending();
    if (!persistence.saveJSONString(text, kTSRQueuedEventsFileName, true)) {
      if (state == State::kClosed) CloseAndRetryLater();  // try again later
      return;
    }
    folded = true;
    Start(content);
  });
  return folded;
}

void EventJournal::deleteFiles() {
  writer_queue_->sync([this] {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      state_ = State::kOff;
      pending_.clear();
      pending_bytes_ = 0;
      TSRUtilityTiming::invalidateTimer(write_timer_);
      write_timer_.reset();
    }
    file_.reset();
    TSRUtilityTiming::invalidateTimer(sync_timer_);
    sync_timer_.reset();
    TSRUtilityTiming::invalidateTimer(retry_timer_);
    retry_timer_.reset();
    wants_fold_ = false;
    // The saved file first: a journal left alone by a crash between the
    // two deletions no longer matches anything, unless it was over no file.
    TSRUtilityPersistence& persistence = environment_->persistence();
    persistence.deleteFilename(kTSRQueuedEventsFileName);
    persistence.deleteFilename(kFileName);
  });
}

// --- Records ---

void EventJournal::add(std::uint64_t seq, std::string_view eventJson) { Append(AddRecord(seq, eventJson)); }

void EventJournal::remove(std::vector<std::uint64_t> seqs) {
  if (seqs.empty()) return;
  std::sort(seqs.begin(), seqs.end());
  std::string record = "-";
  for (std::size_t i = 0; i < seqs.size();) {
    std::size_t j = i;
    while (j + 1 < seqs.size() && seqs[j + 1] <= seqs[j] + 1) ++j;
    if (i > 0) record += ',';
    record += std::to_string(seqs[i]);
    if (seqs[j] != seqs[i]) record += "-" + std::to_string(seqs[j]);
    i = j + 1;
  }
  record += '\n';
  Append(std::move(record));
}

void EventJournal::Append(std::string record) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (state_ != State::kOpen) return;
  pending_bytes_ += record.size();
  pending_.push_back(std::move(record));
  if (pending_bytes_ >= kWriteEarlyBytes && !early_write_posted_) {
    early_write_posted_ = true;
    std::weak_ptr<EventJournal> weak = weak_from_this();
    TSRUtilitySafety::runAsyncOnQueue(writer_queue_, kWriteTag, [weak] {
      if (auto self = weak.lock()) self->WritePending();
    });
  }
  if (write_timer_) return;
  std::weak_ptr<EventJournal> weak = weak_from_this();
  write_timer_ = TSRUtilityTiming::createAndScheduleTimer(environment_->platform(), kWriteTag, writer_queue_, false,
                                                          kWriteDelay, 0, kWriteDelay * 0.1, [weak] {
                                                            if (auto self = weak.lock()) self->WritePending();
                                                          });
}

// --- On the writer queue ---

void EventJournal::WritePending() {
  std::vector<std::string> records;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    TSRUtilityTiming::invalidateTimer(write_timer_);
    write_timer_.reset();
    records.swap(pending_);
    pending_bytes_ = 0;
    early_write_posted_ = false;
    if (state_ != State::kOpen) return;
  }
  if (records.empty() || !file_) return;
  // Gathered into writes of about kWriteChunk: few calls, and a buffer that
  // is reused instead of one as large as the burst.
  std::size_t next = 0;
  while (next < records.size()) {
    write_buffer_.clear();
    while (next < records.size() && (write_buffer_.empty() || write_buffer_.size() + records[next].size() <= kWriteChunk)) {
      write_buffer_ += records[next++];
    }
    platform::IoResult written = file_->append(write_buffer_);
    if (!written.ok) {
      TSR_LOG_ERROR("Events: Could not write to the event journal: %@", written.description);
      CloseAndRetryLater();
      return;
    }
    journal_bytes_ += write_buffer_.size();
  }
  if (write_buffer_.capacity() > 2 * kWriteChunk) std::string().swap(write_buffer_);  // one record was larger
  if (journal_bytes_ >= kFoldAfterBytes) wants_fold_ = true;
  ScheduleSync();
}

void EventJournal::ScheduleSync() {
  unsynced_ = true;
  if (sync_timer_) return;
  double wait = last_sync_ + kSyncInterval - Now();
  if (wait <= 0) {
    SyncNow();
    return;
  }
  std::weak_ptr<EventJournal> weak = weak_from_this();
  sync_timer_ = TSRUtilityTiming::createAndScheduleTimer(environment_->platform(), kSyncTag, writer_queue_, false,
                                                         wait, 0, 0.1, [weak] {
                                                           auto self = weak.lock();
                                                           if (!self) return;
                                                           self->sync_timer_.reset();
                                                           self->SyncNow();
                                                         });
}

void EventJournal::SyncNow() {
  if (!unsynced_ || !file_) return;
  platform::IoResult synced = file_->sync();
  last_sync_ = Now();
  unsynced_ = false;
  if (!synced.ok) TSR_LOG_ERROR("Events: Could not sync the event journal: %@", synced.description);
}

void EventJournal::Start(const std::string& content) {
  file_.reset();
  TSRUtilityTiming::invalidateTimer(sync_timer_);
  sync_timer_.reset();
  platform::FileSystem& files = environment_->platform().fileSystem();
  // Atomically: a crash leaves the old journal or the new one.
  platform::IoResult result = files.writeFileAtomically(*path_, content);
  if (result.ok) {
    platform::IoResult excluded = files.excludeFromBackup(*path_);
    if (!excluded.ok) TSR_LOG_WARN("Events: Could not exclude the event journal from backups %@", excluded.description);
    file_ = files.openForAppend(*path_, &result);
  }
  if (!file_) {
    TSR_LOG_ERROR("Events: Could not start the event journal: %@", result.description);
    CloseAndRetryLater();
    return;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = State::kOpen;
    pending_.clear();
    pending_bytes_ = 0;
  }
  TSRUtilityTiming::invalidateTimer(retry_timer_);
  retry_timer_.reset();
  journal_bytes_ = content.size();
  unsynced_ = false;
  last_sync_ = Now();  // written with a sync
}

void EventJournal::CloseAndRetryLater() {
  // Records made from now on would follow a torn one, where a load stops
  // reading; they wait for a fold to rebuild both files instead.
  file_.reset();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = State::kClosed;
    pending_.clear();
    pending_bytes_ = 0;
  }
  const double now = Now();
  if (now >= next_retry_) {
    next_retry_ = now + kRetryDelay;
    wants_fold_ = true;
    return;
  }
  if (retry_timer_) return;
  std::weak_ptr<EventJournal> weak = weak_from_this();
  retry_timer_ = TSRUtilityTiming::createAndScheduleTimer(environment_->platform(), kRetryTag, writer_queue_, false,
                                                          next_retry_ - now, 0, 1.0, [weak] {
                                                            auto self = weak.lock();
                                                            if (!self) return;
                                                            self->retry_timer_.reset();
                                                            self->next_retry_ = self->Now() + kRetryDelay;
                                                            self->wants_fold_ = true;
                                                          });
}

}  // namespace tessarin

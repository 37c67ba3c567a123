// The event queue's files as a new process finds them: "Tessarin-events"
// (the queue as last saved) and its journal "Tessarin-events-journal" (what
// changed since), read by recover(), which replays the journal's adds and
// removes over the saved events and drops a damaged tail.
//
// The input is the saved file's text, then a line "#--journal--" and the
// journal's text; without that line there is no journal, and an empty
// saved part means there is no saved file. A journal header whose base is
// "*" ("#tessarin-journal 1 base=* first=1") is given the saved text's own
// base, so that the journal applies to it as a real one would.
//
// What recover() returns is then carried on as the queue carries it on: the
// journal restarts over the file, or the events are folded into a new file.
// Either way a later recover() must find exactly those events, and again
// after journaled adds and removes: the files must keep what they are told.
#include <memory>
#include <optional>
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "transport/event_journal.h"
#include "util/persistence.h"

namespace tessarin::fuzz {
namespace {

constexpr std::size_t kMaxFiles = 1 << 20;
constexpr std::string_view kJournalLine = "\n#--journal--\n";
constexpr std::string_view kAnyBase = "#tessarin-journal 1 base=* ";

Json Recover(SimulatedApp& app) {
  auto journal = std::make_shared<EventJournal>(app.environmentPtr(), "fuzz.journal.check");
  return journal->recover().events;
}

void Expect(bool holds, const char* what) {
  if (!holds) Fail("event_journal", what);
}

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(event_journal) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxFiles) return;

  std::string_view saved = input;
  std::optional<std::string> journalText;
  if (std::size_t split = input.find(kJournalLine); split != std::string_view::npos) {
    saved = input.substr(0, split);
    journalText = std::string(input.substr(split + kJournalLine.size()));
  }
  if (journalText && journalText->compare(0, kAnyBase.size(), kAnyBase) == 0) {
    std::optional<std::string> savedText;
    if (!saved.empty()) savedText = std::string(saved);
    std::string header = EventJournal::headerFor(savedText, 1);  // "... base=<base> first=1\n"
    std::string base = header.substr(0, header.find(" first="));
    journalText->replace(0, kAnyBase.size() - 1, base);
  }

  SimulatedApp app;
  const std::string savedPath = app.pathOf(kTSRQueuedEventsFileName);
  if (!saved.empty()) app.files().put(savedPath, std::string(saved));
  if (journalText) app.files().put(app.pathOf(EventJournal::kFileName), *journalText);

  auto journal = std::make_shared<EventJournal>(app.environmentPtr(), "fuzz.journal");
  EventJournal::Recovered recovered = journal->recover();
  Expect(recovered.events.is_array(), "recovered events are not an array");
  for (const Json& event : recovered.events) Expect(event.is_object(), "a recovered event is not a dictionary");

  // As the queue goes on: over the same file when it is exactly the saved
  // events, else folded into a new one.
  bool journaling = true;
  if (recovered.sameAsSavedFile) {
    journal->startOverRecoveredFile();
  } else {
    // The queue writes its events as compact JSON, as the dump does.
    journaling = journal->fold(JsonDump(recovered.events), {});
  }
  app.sim().runUntilIdle();
  if (!journaling) return;
  Expect(Recover(app) == recovered.events, "the events read back differ from those recovered");

  // Journaled changes: the first event leaves, every event is added again
  // after the last one.
  const std::uint64_t count = recovered.events.size();
  Json expected = Json::array();
  for (std::uint64_t i = 1; i < count; ++i) expected.push_back(recovered.events[i]);
  for (std::uint64_t i = 0; i < count; ++i) {
    journal->add(count + 1 + i, JsonDump(recovered.events[i]));
    expected.push_back(recovered.events[i]);
  }
  if (count > 0) journal->remove({1});
  app.advance(EventJournal::kWriteDelay * 2);
  Expect(Recover(app) == expected, "the journal's adds and removes were not replayed as made");
}

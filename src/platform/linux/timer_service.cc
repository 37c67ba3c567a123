#include "platform/linux/timer_service.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <set>

namespace tessarin::platform::linux_host {
namespace {

// The longest the thread sleeps in one go; a far deadline is reached by
// sleeping again, which keeps every wait well inside the clock's range.
constexpr double kLongestWait = 3600.0;

struct Key {
  double deadline;
  std::uint64_t sequence;
  bool operator<(const Key& other) const {
    if (deadline != other.deadline) return deadline < other.deadline;
    return sequence < other.sequence;
  }
};

}  // namespace

class TimerService::Handle : public Timer {
 public:
  Handle(std::weak_ptr<Core> core, std::uint64_t sequence) : core_(std::move(core)), sequence_(sequence) {}

  void cancel() override;
  bool cancelled() const override { return cancelled_.load(); }

  void MarkCancelled() { cancelled_.store(true); }
  // Whether a firing is queued on the target queue and has not run yet.
  std::atomic<bool> firing_queued{false};

 private:
  std::weak_ptr<Core> core_;
  const std::uint64_t sequence_;
  std::atomic<bool> cancelled_{false};
};

struct TimerService::Core {
  struct Entry {
    std::shared_ptr<Handle> handle;
    std::shared_ptr<DispatchQueue> queue;
    std::shared_ptr<Task> block;
    TimerSpec spec;
    double deadline = 0;
  };
  struct Firing {
    double due_monotonic;
    std::uint64_t sequence;
    std::shared_ptr<Handle> handle;
    std::shared_ptr<DispatchQueue> queue;
    std::shared_ptr<Task> block;
  };

  explicit Core(TimerClocks clocks) : clocks(std::move(clocks)) {}

  std::set<Key>& DueSet(Clock clock) { return clock == Clock::kWall ? wall_due : monotonic_due; }

  // Moves every timer of `clock` due at `now` into `firings`; repeating
  // timers go back with their next deadline, finished ones into `finished`.
  // `wall_offset` turns a deadline into monotonic terms, so firings of both
  // clocks can be queued in the order they fell due.
  void CollectDue(Clock clock, double now, double wall_offset, std::vector<Firing>* firings,
                  std::vector<Entry>* finished) {
    std::set<Key>& due = DueSet(clock);
    while (!due.empty() && due.begin()->deadline <= now) {
      Key key = *due.begin();
      due.erase(due.begin());
      auto it = entries.find(key.sequence);
      if (it == entries.end()) continue;
      Entry& entry = it->second;
      firings->push_back({key.deadline - wall_offset, key.sequence, entry.handle, entry.queue, entry.block});
      const double interval = entry.spec.interval;
      if (interval > 0) {
        double next = key.deadline + interval;
        if (next <= now) next += (std::floor((now - next) / interval) + 1) * interval;
        entry.deadline = next;
        due.insert({next, key.sequence});
      } else {
        finished->push_back(std::move(entry));
        entries.erase(it);
      }
    }
  }

  void Remove(std::uint64_t sequence) {
    Entry removed;
    {
      std::lock_guard<std::mutex> lock(mutex);
      auto it = entries.find(sequence);
      if (it == entries.end()) return;
      DueSet(it->second.spec.clock).erase({it->second.deadline, sequence});
      removed = std::move(it->second);
      entries.erase(it);
    }
    // `removed` (and what its block captured) is released here, unlocked.
  }

  const TimerClocks clocks;
  mutable std::mutex mutex;
  std::condition_variable wake;
  bool stopping = false;
  std::uint64_t next_sequence = 0;
  std::map<std::uint64_t, Entry> entries;
  std::set<Key> monotonic_due;
  std::set<Key> wall_due;
};

void TimerService::Handle::cancel() {
  if (cancelled_.exchange(true)) return;
  // The entry may hold the last reference to this handle: nothing below
  // touches `this` once it is removed.
  if (auto core = core_.lock()) core->Remove(sequence_);
}

TimerClocks TimerClocks::System() {
  TimerClocks clocks;
  clocks.monotonic = [] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  };
  clocks.wall = [] {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  };
  return clocks;
}

TimerService::TimerService(TimerClocks clocks) : core_(std::make_shared<Core>(std::move(clocks))) {
  thread_ = std::thread(&TimerService::Run, core_);
}

TimerService::~TimerService() { stop(); }

double TimerService::now(Clock clock) const {
  return clock == Clock::kWall ? core_->clocks.wall() : core_->clocks.monotonic();
}

std::shared_ptr<Timer> TimerService::schedule(std::shared_ptr<DispatchQueue> queue, const TimerSpec& spec,
                                              Task block) {
  std::shared_ptr<Handle> handle;
  {
    std::lock_guard<std::mutex> lock(core_->mutex);
    handle = std::make_shared<Handle>(core_, core_->next_sequence++);
    if (core_->stopping || !queue) {
      handle->MarkCancelled();
      return handle;
    }
    Core::Entry entry;
    entry.handle = handle;
    entry.queue = std::move(queue);
    entry.block = std::make_shared<Task>(std::move(block));
    entry.spec = spec;
    entry.deadline = now(spec.clock) + std::max(0.0, spec.startDelay);
    std::uint64_t sequence = core_->next_sequence - 1;
    core_->DueSet(spec.clock).insert({entry.deadline, sequence});
    core_->entries.emplace(sequence, std::move(entry));
  }
  core_->wake.notify_one();
  return handle;
}

std::vector<LinuxTimerInfo> TimerService::activeTimers() const {
  std::lock_guard<std::mutex> lock(core_->mutex);
  std::vector<LinuxTimerInfo> out;
  for (const auto& [sequence, entry] : core_->entries) {
    out.push_back({entry.queue->label(), entry.spec.clock, entry.deadline, entry.spec.interval,
                   entry.spec.leeway});
  }
  return out;
}

void TimerService::Run(std::shared_ptr<Core> core) {
  pthread_setname_np(pthread_self(), "tessarin.timers");
  for (;;) {
    std::vector<Core::Firing> firings;
    std::vector<Core::Entry> finished;
    {
      std::unique_lock<std::mutex> lock(core->mutex);
      if (core->stopping) return;
      const double monotonic = core->clocks.monotonic();
      const double wall = core->clocks.wall();
      core->CollectDue(Clock::kMonotonic, monotonic, 0, &firings, &finished);
      core->CollectDue(Clock::kWall, wall, wall - monotonic, &firings, &finished);
      if (firings.empty()) {
        double wait = kLongestWait;
        if (!core->monotonic_due.empty()) {
          wait = std::min(wait, core->monotonic_due.begin()->deadline - monotonic);
        }
        if (!core->wall_due.empty()) {
          // The wall clock can be set while we sleep; look again soon.
          wait = std::min({wait, core->wall_due.begin()->deadline - wall, core->clocks.wall_check_interval});
        }
        core->wake.wait_for(lock, std::chrono::duration<double>(std::max(wait, 0.0)));
        continue;
      }
    }
    std::sort(firings.begin(), firings.end(), [](const Core::Firing& a, const Core::Firing& b) {
      if (a.due_monotonic != b.due_monotonic) return a.due_monotonic < b.due_monotonic;
      return a.sequence < b.sequence;
    });
    for (Core::Firing& firing : firings) {
      if (firing.handle->firing_queued.exchange(true)) continue;
      firing.queue->async([handle = firing.handle, block = firing.block] {
        handle->firing_queued.store(false);
        if (!handle->cancelled()) (*block)();
      });
    }
  }
}

void TimerService::stop() {
  std::map<std::uint64_t, Core::Entry> dropped;
  {
    std::lock_guard<std::mutex> lock(core_->mutex);
    core_->stopping = true;
    dropped.swap(core_->entries);
    core_->monotonic_due.clear();
    core_->wall_due.clear();
  }
  for (auto& [sequence, entry] : dropped) entry.handle->MarkCancelled();
  core_->wake.notify_all();
  {
    std::lock_guard<std::mutex> lock(join_mutex_);
    if (thread_.joinable()) {
      if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
      } else {
        thread_.join();
      }
    }
  }
  // `dropped` is released here, after the thread is gone and unlocked.
}

}  // namespace tessarin::platform::linux_host

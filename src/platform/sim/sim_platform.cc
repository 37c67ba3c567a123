#include "platform/sim/sim_platform.h"

#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>

#include "platform/posix_file_system.h"

namespace tessarin::platform::sim {

class SimQueue : public DispatchQueue, public std::enable_shared_from_this<SimQueue> {
 public:
  SimQueue(SimPlatform* platform, std::string label, bool is_main)
      : platform_(platform), label_(std::move(label)), is_main_(is_main) {}

  const std::string& label() const override { return label_; }

  void async(Task task) override { platform_->Enqueue(this, shared_from_this(), std::move(task)); }

  void sync(Task task) override {
    if (isCurrent()) {
      task();
      return;
    }
    if (std::this_thread::get_id() == platform_->owner_) {
      // Tasks queued earlier on this queue run first, as on a serial queue.
      platform_->RunQueueBacklog(this);
      platform_->RunTask(this, task);
      return;
    }
    std::promise<void> done;
    auto finished = done.get_future();
    async([&task, &done] {
      task();
      done.set_value();
    });
    finished.wait();
  }

  bool isCurrent() const override {
    if (is_main_) return platform_->isMainThread();
    return std::this_thread::get_id() == platform_->owner_ && platform_->current_ == this;
  }

 private:
  SimPlatform* platform_;
  std::string label_;
  bool is_main_;
};

class SimTimer : public Timer {
 public:
  SimTimer(std::shared_ptr<DispatchQueue> queue, const TimerSpec& spec, double deadline,
           std::uint64_t sequence, Task block)
      : queue(std::move(queue)), spec(spec), deadline(deadline), sequence(sequence),
        block(std::make_shared<Task>(std::move(block))) {}

  void cancel() override { cancelled_.store(true); }
  bool cancelled() const override { return cancelled_.load(); }

  std::shared_ptr<DispatchQueue> queue;
  TimerSpec spec;
  double deadline;
  std::uint64_t sequence;
  std::shared_ptr<Task> block;

 private:
  std::atomic<bool> cancelled_{false};
};

// A reachability source on the scripted network. Reading and starting go
// through the network's fault switches; reports reach the callback as
// tasks of the source's queue.
class SimReachability : public NetworkReachability {
 public:
  SimReachability(SimNetwork* network, std::shared_ptr<DispatchQueue> queue, Callback callback)
      : network_(network), queue_(std::move(queue)), callback_(std::move(callback)) {}

  bool flags(ReachabilityFlags* flags) override {
    if (network_->read_fails) return false;
    *flags = network_->flags;
    return true;
  }
  bool start() override {
    if (network_->start_fails) return false;
    started_.store(true);
    return true;
  }
  bool stop() override {
    if (network_->stop_fails) return false;
    started_.store(false);
    return true;
  }
  bool started() const { return started_.load(); }

  void Report(ReachabilityFlags flags) {
    if (!started_.load() || !callback_) return;
    queue_->async([callback = callback_, flags] { callback(flags); });
  }

 private:
  SimNetwork* network_;
  std::shared_ptr<DispatchQueue> queue_;
  Callback callback_;
  std::atomic<bool> started_{false};
};

std::optional<Json> SimApplication::infoValue(const std::string& key) {
  if (!info.is_object()) return std::nullopt;
  auto it = info.find(key);
  if (it == info.end()) return std::nullopt;
  return *it;
}

std::optional<std::string> SimApplication::bundleResourcePath(const std::string& name,
                                                              const std::string& type) {
  auto it = resources.find(name + "." + type);
  if (it == resources.end()) return std::nullopt;
  return it->second;
}

SimPlatform::SimPlatform() {
  char pattern[] = "/tmp/tessarin-sim-XXXXXX";
  const char* made = mkdtemp(pattern);
  directory_ = made ? made : "/tmp";
  remove_directory_ = made != nullptr;
  Init();
}

SimPlatform::SimPlatform(std::string directory) : directory_(std::move(directory)) { Init(); }

void SimPlatform::Init() {
  owner_ = std::this_thread::get_id();
  app_.platform_ = this;
  main_ = std::make_shared<SimQueue>(this, "com.apple.main-thread", true);
  posix_files_ = std::make_shared<PosixFileSystem>(applicationSupportPath());
  files_ = posix_files_;
}

SimPlatform::~SimPlatform() {
  // The user interface's screen and animations use the queues and the
  // notification centre: it goes first.
  app_.user_interface_.reset();
  // Pending requests are cancelled while the queues they report to exist.
  std::shared_ptr<HttpTransport> transport;
  {
    std::lock_guard<std::mutex> lock(transport_mutex_);
    transport.swap(transport_);
  }
  transport.reset();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& timer : timers_) timer->cancel();
    timers_.clear();
  }
  std::deque<Entry> dropped;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    dropped.swap(tasks_);
  }
  dropped.clear();
  if (remove_directory_) {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
}

std::shared_ptr<DispatchQueue> SimPlatform::mainQueue() { return main_; }

bool SimPlatform::isMainThread() {
  return std::this_thread::get_id() == owner_ && (current_ == nullptr || current_ == main_.get());
}

std::shared_ptr<DispatchQueue> SimPlatform::createSerialQueue(const std::string& label) {
  return std::make_shared<SimQueue>(this, label, false);
}

double SimPlatform::now(Clock clock) {
  std::lock_guard<std::mutex> lock(mutex_);
  return clock == Clock::kWall ? wall_ : mono_;
}

std::shared_ptr<Timer> SimPlatform::scheduleTimer(const std::shared_ptr<DispatchQueue>& queue,
                                                  const TimerSpec& spec, Task block) {
  std::lock_guard<std::mutex> lock(mutex_);
  double base = spec.clock == Clock::kWall ? wall_ : mono_;
  auto timer = std::make_shared<SimTimer>(queue, spec, base + std::max(0.0, spec.startDelay),
                                          timer_sequence_++, std::move(block));
  timers_.push_back(timer);
  return timer;
}

void SimPlatform::Enqueue(SimQueue* queue, std::shared_ptr<DispatchQueue> keep_alive, Task task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back({queue, std::move(keep_alive), std::move(task)});
  }
  posted_.notify_all();
}

void SimPlatform::RunTask(SimQueue* queue, Task& task) {
  SimQueue* previous = current_;
  current_ = queue;
  struct Restore {
    SimQueue*& current;
    SimQueue* previous;
    ~Restore() { current = previous; }
  } restore{current_, previous};
  task();
}

bool SimPlatform::RunOne() {
  Entry entry;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (tasks_.empty()) return false;
    entry = std::move(tasks_.front());
    tasks_.pop_front();
  }
  RunTask(entry.queue, entry.task);
  return true;
}

void SimPlatform::RunQueueBacklog(SimQueue* queue) {
  for (;;) {
    Entry entry;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = std::find_if(tasks_.begin(), tasks_.end(),
                             [queue](const Entry& e) { return e.queue == queue; });
      if (it == tasks_.end()) return;
      entry = std::move(*it);
      tasks_.erase(it);
    }
    RunTask(entry.queue, entry.task);
  }
}

std::size_t SimPlatform::runUntilIdle() {
  std::size_t ran = 0;
  for (;;) {
    while (RunOne()) ++ran;
    // Timers already due (a zero delay, say) fire without time moving.
    double now;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      now = mono_;
    }
    double due = 0;
    auto timer = NextDueTimer(now, &due);
    if (!timer) break;
    FireTimer(timer);
  }
  return ran;
}

std::shared_ptr<SimTimer> SimPlatform::NextDueTimer(double mono_limit, double* due_mono) {
  std::lock_guard<std::mutex> lock(mutex_);
  timers_.erase(std::remove_if(timers_.begin(), timers_.end(),
                               [](const std::shared_ptr<SimTimer>& t) { return t->cancelled(); }),
                timers_.end());
  std::shared_ptr<SimTimer> best;
  double best_due = 0;
  const double wall_offset = wall_ - mono_;
  for (const auto& timer : timers_) {
    double due = timer->spec.clock == Clock::kWall ? timer->deadline - wall_offset : timer->deadline;
    if (due > mono_limit) continue;
    if (!best || due < best_due || (due == best_due && timer->sequence < best->sequence)) {
      best = timer;
      best_due = due;
    }
  }
  *due_mono = best_due;
  return best;
}

void SimPlatform::FireTimer(const std::shared_ptr<SimTimer>& timer) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (timer->spec.interval > 0) {
      // A repeating timer that missed firings (the wall clock jumped) fires
      // once and resumes on its schedule, as dispatch timers do.
      double now = timer->spec.clock == Clock::kWall ? wall_ : mono_;
      timer->deadline += timer->spec.interval;
      if (timer->deadline <= now) {
        double missed = std::floor((now - timer->deadline) / timer->spec.interval) + 1;
        timer->deadline += missed * timer->spec.interval;
      }
    } else {
      timers_.erase(std::remove(timers_.begin(), timers_.end(), timer), timers_.end());
    }
  }
  timer->queue->async([timer] {
    if (!timer->cancelled()) (*timer->block)();
  });
}

void SimPlatform::advance(double seconds) {
  double target;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    target = mono_ + std::max(0.0, seconds);
  }
  runUntilIdle();
  for (;;) {
    double due = 0;
    auto timer = NextDueTimer(target, &due);
    if (!timer) break;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (due > mono_) {
        wall_ += due - mono_;
        mono_ = due;
      }
    }
    FireTimer(timer);
    runUntilIdle();
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (target > mono_) {
      wall_ += target - mono_;
      mono_ = target;
    }
  }
  runUntilIdle();
}

void SimPlatform::jumpWallClock(double seconds) {
  double limit;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    wall_ += seconds;
    limit = mono_;
  }
  runUntilIdle();
  for (;;) {
    double due = 0;
    auto timer = NextDueTimer(limit, &due);
    if (!timer) break;
    FireTimer(timer);
    runUntilIdle();
  }
}

bool SimPlatform::runUntil(const std::function<bool()>& done, double real_seconds) {
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                      std::chrono::duration<double>(real_seconds));
  for (;;) {
    runUntilIdle();
    if (done()) return true;
    std::unique_lock<std::mutex> lock(mutex_);
    if (!posted_.wait_until(lock, deadline, [this] { return !tasks_.empty(); })) {
      lock.unlock();
      runUntilIdle();
      return done();
    }
  }
}

void SimPlatform::launchApp() {
  app_.state = 1;
  postLifecycle(kApplicationDidFinishLaunchingNotification);
  runUntilIdle();
  app_.state = 0;
  postLifecycle(kApplicationDidBecomeActiveNotification);
  runUntilIdle();
}

void SimPlatform::enterBackground() {
  app_.state = 1;
  postLifecycle(kApplicationWillResignActiveNotification);
  runUntilIdle();
  app_.state = 2;
  postLifecycle(kApplicationDidEnterBackgroundNotification);
  runUntilIdle();
}

void SimPlatform::enterForeground() {
  app_.state = 2;
  postLifecycle(kApplicationWillEnterForegroundNotification);
  runUntilIdle();
  app_.state = 0;
  postLifecycle(kApplicationDidBecomeActiveNotification);
  runUntilIdle();
}

std::shared_ptr<NetworkReachability> SimPlatform::createNetworkReachability(
    const ReachabilityTarget& target, std::shared_ptr<DispatchQueue> queue, NetworkReachability::Callback callback) {
  if (!network_.available || !queue) return nullptr;
  auto source = std::make_shared<SimReachability>(&network_, std::move(queue), std::move(callback));
  std::lock_guard<std::mutex> lock(reachability_mutex_);
  reachability_sources_.push_back(source);
  reachability_targets_.push_back(target);
  return source;
}

HttpTransport* SimPlatform::httpTransport() {
  std::lock_guard<std::mutex> lock(transport_mutex_);
  if (!transport_ && !transport_set_) {
    curl::CurlTransportOptions options = transport_options_;
    if (!options.networkOffline) {
      options.networkOffline = [this] {
        std::lock_guard<std::mutex> flags_lock(reachability_mutex_);
        return (network_.flags & kReachabilityFlagReachable) == 0;
      };
    }
    transport_ = std::make_shared<curl::CurlTransport>(std::move(options));
  }
  return transport_.get();
}

void SimPlatform::setHttpTransport(std::shared_ptr<HttpTransport> transport) {
  std::shared_ptr<HttpTransport> previous;
  {
    std::lock_guard<std::mutex> lock(transport_mutex_);
    previous = std::move(transport_);
    transport_ = std::move(transport);
    transport_set_ = true;
  }
}

void SimPlatform::setTransportOptions(curl::CurlTransportOptions options) {
  std::shared_ptr<HttpTransport> previous;
  {
    std::lock_guard<std::mutex> lock(transport_mutex_);
    previous = std::move(transport_);
    transport_options_ = std::move(options);
    transport_set_ = false;
  }
}

void SimPlatform::setReachabilityFlags(ReachabilityFlags flags) {
  std::vector<std::shared_ptr<SimReachability>> started;
  {
    std::lock_guard<std::mutex> lock(reachability_mutex_);
    if (network_.flags == flags) return;
    network_.flags = flags;
    for (const auto& weak : reachability_sources_) {
      if (auto source = weak.lock()) started.push_back(std::move(source));
    }
  }
  for (const auto& source : started) source->Report(flags);
}

std::vector<ReachabilityTarget> SimPlatform::reachabilityTargets() const {
  std::lock_guard<std::mutex> lock(reachability_mutex_);
  return reachability_targets_;
}

std::size_t SimPlatform::startedReachabilitySources() const {
  std::lock_guard<std::mutex> lock(reachability_mutex_);
  std::size_t n = 0;
  for (const auto& weak : reachability_sources_) {
    auto source = weak.lock();
    n += source && source->started();
  }
  return n;
}

std::vector<SimTimerInfo> SimPlatform::activeTimers() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<SimTimerInfo> out;
  for (const auto& t : timers_) {
    if (t->cancelled()) continue;
    out.push_back({t->queue->label(), t->spec.clock, t->deadline, t->spec.interval, t->spec.leeway});
  }
  return out;
}

std::size_t SimPlatform::pendingTaskCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return tasks_.size();
}

}  // namespace tessarin::platform::sim

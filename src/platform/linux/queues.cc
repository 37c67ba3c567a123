#include "platform/linux/queues.h"

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>

namespace tessarin::platform::linux_host {
namespace {

// The queue whose worker is the calling thread, if any.
thread_local const void* tls_current_queue = nullptr;

void NameThread(const std::string& label) {
  // Thread names hold 15 bytes; the end of a reverse-DNS label says most.
  std::string name = label.size() > 15 ? label.substr(label.size() - 15) : label;
  pthread_setname_np(pthread_self(), name.c_str());
}

}  // namespace

void RunAndWait(DispatchQueue& queue, Task task) {
  // The promise breaks when the queue drops the task unrun, which releases
  // the waiter instead of leaving it blocked on a queue that has stopped.
  auto done = std::make_shared<std::promise<void>>();
  std::future<void> finished = done->get_future();
  queue.async([done, task = std::move(task)] {
    task();
    done->set_value();
  });
  done.reset();
  try {
    finished.get();
  } catch (const std::future_error&) {
    // Dropped: the queue shut down before the task could run.
  }
}

struct ThreadQueue::Core {
  std::string label;
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<Task> tasks;
  // Set under the lock; read without it between the tasks the worker took.
  std::atomic<bool> stopping{false};
};

ThreadQueue::ThreadQueue(std::string label) : label_(std::move(label)), core_(std::make_shared<Core>()) {
  core_->label = label_;
  worker_ = std::thread(&ThreadQueue::Run, core_);
}

ThreadQueue::~ThreadQueue() { shutdown(); }

void ThreadQueue::Run(std::shared_ptr<Core> core) {
  tls_current_queue = core.get();
  NameThread(core->label);
  // The worker takes everything queued at once: a producer queueing task
  // after task (a report per event) then meets the worker at the lock once
  // a round instead of once a task.
  std::deque<Task> taken;
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(core->mutex);
      core->wake.wait(lock, [&] { return core->stopping.load() || !core->tasks.empty(); });
      if (core->stopping.load()) break;
      taken.swap(core->tasks);
    }
    // A stop drops what was taken and has not started, like what is queued.
    while (!taken.empty() && !core->stopping.load()) {
      Task task = std::move(taken.front());
      taken.pop_front();
      task();
    }
    taken.clear();
  }
  tls_current_queue = nullptr;
}

void ThreadQueue::async(Task task) {
  {
    std::lock_guard<std::mutex> lock(core_->mutex);
    if (core_->stopping) return;  // `task` is released below, outside the lock
    core_->tasks.push_back(std::move(task));
  }
  core_->wake.notify_one();
}

void ThreadQueue::sync(Task task) {
  if (isCurrent()) {
    task();
    return;
  }
  RunAndWait(*this, std::move(task));
}

bool ThreadQueue::isCurrent() const { return tls_current_queue == core_.get(); }

void ThreadQueue::stop() {
  std::deque<Task> dropped;
  {
    std::lock_guard<std::mutex> lock(core_->mutex);
    core_->stopping = true;
    dropped.swap(core_->tasks);
  }
  core_->wake.notify_all();
  // Released here, outside the lock: a task's captures may own other queues
  // whose shutdown must not wait on this one.
}

void ThreadQueue::shutdown() {
  stop();
  std::lock_guard<std::mutex> lock(join_mutex_);
  if (!worker_.joinable()) return;
  if (worker_.get_id() == std::this_thread::get_id()) {
    worker_.detach();
  } else {
    worker_.join();
  }
}

HostMainQueue::HostMainQueue(std::string label, std::function<void(Task)> post,
                             std::thread::id main_thread)
    : label_(std::move(label)), post_(std::move(post)), main_thread_(main_thread) {}

void HostMainQueue::async(Task task) {
  if (!alive_->load()) return;
  post_([alive = alive_, task = std::move(task)] {
    if (alive->load()) task();
  });
}

void HostMainQueue::sync(Task task) {
  if (isCurrent()) {
    task();
    return;
  }
  RunAndWait(*this, std::move(task));
}

}  // namespace tessarin::platform::linux_host

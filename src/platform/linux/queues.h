// Dispatch queues on real threads: a serial queue that owns one worker
// thread, and the main queue of a host whose own loop runs main-thread work.
//
// Both stop for good at shutdown: a task queued afterwards is dropped (its
// captures are released at once and it never runs), and a `sync` whose task
// is dropped returns without having run it rather than waiting forever.
#ifndef TESSARIN_PLATFORM_LINUX_QUEUES_H_
#define TESSARIN_PLATFORM_LINUX_QUEUES_H_

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/platform.h"

namespace tessarin::platform::linux_host {

// A serial queue whose tasks run, in the order they were queued, on a worker
// thread of its own.
class ThreadQueue : public DispatchQueue {
 public:
  explicit ThreadQueue(std::string label);
  // Shuts down: tasks not yet started are dropped, the running one finishes.
  ~ThreadQueue() override;

  const std::string& label() const override { return label_; }
  void async(Task task) override;
  void sync(Task task) override;
  bool isCurrent() const override;

  // Refuses further tasks and drops the pending ones without waiting for
  // the running one: those still queued are released on the calling
  // thread, those the worker had taken with it on the worker. Idempotent.
  void stop();
  // Stops, then waits for the worker to finish its running task, unless
  // called from the worker itself, which then exits on its own. Idempotent.
  void shutdown();

 private:
  struct Core;
  static void Run(std::shared_ptr<Core> core);

  const std::string label_;
  // Shared with the worker so that the worker can outlive this object when
  // the last reference to the queue is dropped by one of its own tasks.
  std::shared_ptr<Core> core_;
  std::mutex join_mutex_;
  std::thread worker_;
};

// The main queue of a host that runs its own main loop: tasks are handed to
// the host's post hook, which must run them in order on `main_thread`.
class HostMainQueue : public DispatchQueue {
 public:
  HostMainQueue(std::string label, std::function<void(Task)> post, std::thread::id main_thread);

  const std::string& label() const override { return label_; }
  void async(Task task) override;
  void sync(Task task) override;
  bool isCurrent() const override { return std::this_thread::get_id() == main_thread_; }

  // After this the hook is never called again, and tasks the host still
  // holds do nothing when it runs them.
  void shutdown() { alive_->store(false); }

 private:
  const std::string label_;
  const std::function<void(Task)> post_;
  const std::thread::id main_thread_;
  std::shared_ptr<std::atomic<bool>> alive_ = std::make_shared<std::atomic<bool>>(true);
};

// Queues `task` on `queue` and waits until it has run, or until the queue
// has dropped it.
void RunAndWait(DispatchQueue& queue, Task task);

}  // namespace tessarin::platform::linux_host

#endif  // TESSARIN_PLATFORM_LINUX_QUEUES_H_

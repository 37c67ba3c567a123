#include "platform/linux/linux_platform.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <sys/xattr.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "util/persistence.h"

#include "support/timing.h"

namespace tessarin::platform::linux_host {
namespace {


using testing::Spec;
using testing::WaitUntil;

// Upper-case 8-4-4-4-12 hexadecimal with the random version and the
// standard variant.
bool IsRandomUuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = text[i];
    if (dash ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) return false;
  }
  return text[14] == '4' && std::string("89AB").find(text[19]) != std::string::npos;
}

class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/tessarin-linux-XXXXXX";
    path_ = mkdtemp(pattern);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

// A one-shot flag a task can wait on, with a deadline.
class Gate {
 public:
  void open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    cv_.notify_all();
  }
  bool wait(double seconds = 10.0) {
    std::unique_lock<std::mutex> lock(mutex_);
    return cv_.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  bool open_ = false;
};

class LinuxPlatformTest : public ::testing::Test {
 protected:
  LinuxHostOptions Options(const std::string& bundle = "com.acme.shop") {
    LinuxHostOptions options;
    options.bundle_identifier = bundle;
    options.data_directory = dir_.path();
    return options;
  }
  std::shared_ptr<LinuxPlatform> Make() { return std::make_shared<LinuxPlatform>(Options()); }

  TempDir dir_;
};

TEST_F(LinuxPlatformTest, SerialQueueRunsEachProducersTasksInOrderOneAtATime) {
  auto platform = Make();
  auto queue = platform->createSerialQueue("com.tessarin.test.serial");
  constexpr int kProducers = 3, kTasks = 300;
  std::atomic<int> in_flight{0}, most_in_flight{0}, ran{0}, off_queue{0};
  std::map<int, std::vector<int>> seen;  // touched only by the queue's tasks
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < kTasks; ++i) {
        queue->async([&, p, i] {
          most_in_flight = std::max(most_in_flight.load(), ++in_flight);
          if (!queue->isCurrent() || platform->isMainThread()) ++off_queue;
          seen[p].push_back(i);
          --in_flight;
          ++ran;
        });
      }
    });
  }
  for (auto& t : producers) t.join();
  ASSERT_TRUE(WaitUntil([&] { return ran == kProducers * kTasks; }));
  queue->sync([] {});  // the tasks' writes are visible after this
  EXPECT_EQ(most_in_flight, 1);
  EXPECT_EQ(off_queue, 0);
  EXPECT_FALSE(queue->isCurrent());
  for (int p = 0; p < kProducers; ++p) {
    ASSERT_EQ(seen[p].size(), static_cast<std::size_t>(kTasks));
    EXPECT_TRUE(std::is_sorted(seen[p].begin(), seen[p].end())) << "producer " << p;
  }
}

TEST_F(LinuxPlatformTest, SyncRunsInlineOnItsOwnQueueAndOtherwiseWaitsBehindQueuedWork) {
  auto platform = Make();
  auto queue = platform->createSerialQueue("com.tessarin.test.sync");
  std::vector<std::string> order;
  Gate release;
  queue->async([&] {
    release.wait();
    order.push_back("queued first");
  });
  std::thread opener([&] { release.open(); });
  bool on_queue = false;
  queue->sync([&] {
    on_queue = queue->isCurrent();
    order.push_back("sync from outside");
    // From the queue itself, sync cannot wait for the queue: it runs now.
    queue->sync([&] { order.push_back("nested sync"); });
    order.push_back("after nested");
  });
  opener.join();
  EXPECT_TRUE(on_queue);
  EXPECT_EQ(order, (std::vector<std::string>{"queued first", "sync from outside", "nested sync", "after nested"}));
}

TEST_F(LinuxPlatformTest, MainLoopThreadIsTheMainThread) {
  auto platform = Make();
  auto main = platform->mainQueue();
  auto worker = platform->createSerialQueue("com.tessarin.test.worker");
  EXPECT_EQ(main->label(), "com.apple.main-thread");
  EXPECT_FALSE(platform->isMainThread());
  bool main_on_main = false, main_current = false, worker_on_main = true;
  std::thread::id main_id, second_main_id;
  main->sync([&] {
    main_on_main = platform->isMainThread();
    main_current = main->isCurrent();
    main_id = std::this_thread::get_id();
  });
  worker->sync([&] {
    worker_on_main = platform->isMainThread();
    // A worker reaching the main queue lands on the same main thread.
    main->sync([&] { second_main_id = std::this_thread::get_id(); });
  });
  EXPECT_TRUE(main_on_main);
  EXPECT_TRUE(main_current);
  EXPECT_FALSE(worker_on_main);
  EXPECT_NE(main_id, std::this_thread::get_id());
  EXPECT_EQ(main_id, second_main_id);
}

// A host with a loop of its own: the test thread plays the host's main
// thread and pumps what the post hook hands it.
class HostLoop {
 public:
  void post(Task task) {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    ++posted_;
  }
  // Runs posted tasks on the calling thread until `done` or the deadline.
  bool pumpUntil(const std::function<bool()>& done, double seconds = 10.0) {
    return WaitUntil([&] {
      for (;;) {
        Task task;
        {
          std::lock_guard<std::mutex> lock(mutex_);
          if (tasks_.empty()) break;
          task = std::move(tasks_.front());
          tasks_.pop_front();
        }
        task();
      }
      return done();
    }, seconds);
  }
  int posted() {
    std::lock_guard<std::mutex> lock(mutex_);
    return posted_;
  }
  std::deque<Task> take() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::move(tasks_);
  }

 private:
  std::mutex mutex_;
  std::deque<Task> tasks_;
  int posted_ = 0;
};

TEST_F(LinuxPlatformTest, HostLoopRunsTheMainQueueThroughItsPostHook) {
  HostLoop loop;
  LinuxHostOptions options = Options();
  options.post_to_main = [&loop](Task task) { loop.post(std::move(task)); };
  auto platform = std::make_shared<LinuxPlatform>(options);
  auto main = platform->mainQueue();
  auto worker = platform->createSerialQueue("com.tessarin.test.worker");
  EXPECT_TRUE(platform->isMainThread());  // the creating thread, by default
  EXPECT_TRUE(main->isCurrent());

  std::vector<std::string> order;  // touched only on the host's thread
  std::atomic<bool> worker_done{false};
  std::atomic<int> wrong_thread{0};
  const auto host_thread = std::this_thread::get_id();
  auto on_host = [&] {
    if (std::this_thread::get_id() != host_thread || !platform->isMainThread()) ++wrong_thread;
  };
  worker->async([&] {
    main->async([&] { on_host(); order.push_back("async"); });
    // Waits until the host's loop has run it.
    main->sync([&] { on_host(); order.push_back("sync"); });
    worker_done = true;
  });
  platform->scheduleTimer(main, Spec(Clock::kMonotonic, 0.01), [&] { on_host(); order.push_back("timer"); });
  ASSERT_TRUE(loop.pumpUntil([&] { return worker_done && order.size() == 3; }));
  EXPECT_EQ(wrong_thread, 0);
  EXPECT_EQ(std::vector<std::string>(order.begin(), order.begin() + 2),
            (std::vector<std::string>{"async", "sync"}));
  // Sync from the host's own thread runs at once, without the hook.
  int before = loop.posted();
  bool ran_inline = false;
  main->sync([&] { ran_inline = true; });
  EXPECT_TRUE(ran_inline);
  EXPECT_EQ(loop.posted(), before);

  // Work the host still holds when the platform goes away does nothing,
  // and the hook is not called again.
  bool late_ran = false;
  main->async([&] { late_ran = true; });
  std::deque<Task> held = loop.take();
  ASSERT_EQ(held.size(), 1u);
  platform.reset();
  for (Task& task : held) task();
  main->async([&] { late_ran = true; });
  EXPECT_FALSE(late_ran);
  EXPECT_EQ(loop.posted(), before + 1);
}

TEST_F(LinuxPlatformTest, OneShotTimersFireOnceOnEitherClockEvenWhenTheHandleIsDropped) {
  auto platform = Make();
  auto queue = platform->createSerialQueue("com.tessarin.test.timers");
  std::atomic<int> monotonic{0}, wall{0};
  std::atomic<bool> early{false};
  double wall_due = platform->now(Clock::kWall) + 0.03;
  platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0.02), [&] { ++monotonic; });
  platform->scheduleTimer(queue, Spec(Clock::kWall, 0.03), [&] {
    if (platform->now(Clock::kWall) < wall_due) early = true;
    ++wall;
  });
  ASSERT_TRUE(WaitUntil([&] { return monotonic == 1 && wall == 1; }));
  EXPECT_FALSE(early);
  // The platform forgets a one-shot timer once it has fired.
  EXPECT_TRUE(WaitUntil([&] { return platform->activeTimers().empty(); }));
  // A later timer on the same queue is the barrier: nothing fired twice.
  std::atomic<bool> barrier{false};
  platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0.1), [&] { barrier = true; });
  ASSERT_TRUE(WaitUntil([&] { return barrier.load(); }));
  EXPECT_EQ(monotonic, 1);
  EXPECT_EQ(wall, 1);
}

TEST_F(LinuxPlatformTest, RepeatingTimerFiresUntilCancelledAndKeepsToItsSchedule) {
  auto platform = Make();
  auto queue = platform->createSerialQueue("com.tessarin.test.timers");
  std::mutex mutex;
  std::shared_ptr<Timer> timer;
  std::atomic<int> fired{0};
  std::vector<double> next_deadlines;  // seen by the block, on the queue
  {
    std::lock_guard<std::mutex> lock(mutex);
    timer = platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0.01, 0.2), [&] {
      for (const auto& info : platform->activeTimers()) next_deadlines.push_back(info.deadline);
      if (++fired == 3) {
        std::lock_guard<std::mutex> lock(mutex);
        timer->cancel();  // on the queue: no firing can be in flight
      }
    });
  }
  auto timers = platform->activeTimers();
  ASSERT_EQ(timers.size(), 1u);
  EXPECT_EQ(timers[0].queue, "com.tessarin.test.timers");
  EXPECT_EQ(timers[0].interval, 0.2);
  const double first = timers[0].deadline;
  // The third firing counts itself before it cancels the timer, and the
  // cancel marks the handle before it leaves the service: wait for all
  // three, or a slow run looks in between.
  ASSERT_TRUE(WaitUntil([&] { return fired == 3 && timer->cancelled() && platform->activeTimers().empty(); }));
  std::atomic<bool> barrier{false};
  platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0.5), [&] { barrier = true; });
  ASSERT_TRUE(WaitUntil([&] { return barrier.load(); }));
  EXPECT_EQ(fired, 3);
  queue->sync([] {});
  // Each next deadline follows from the previous deadline, not from when
  // the timer happened to fire.
  ASSERT_EQ(next_deadlines.size(), 3u);
  EXPECT_DOUBLE_EQ(next_deadlines[0], first + 0.2);
  EXPECT_DOUBLE_EQ(next_deadlines[1], first + 0.4);
}

TEST_F(LinuxPlatformTest, CancelledTimerNeverFiresEvenWithItsFiringAlreadyQueued) {
  auto platform = Make();
  auto queue = platform->createSerialQueue("com.tessarin.test.timers");
  std::atomic<int> fired{0};
  auto before_due = platform->scheduleTimer(queue, Spec(Clock::kWall, 0.02), [&] { ++fired; });
  before_due->cancel();
  EXPECT_TRUE(before_due->cancelled());
  EXPECT_TRUE(platform->activeTimers().empty());

  // Hold the queue so that the next timer's firing waits there, then
  // cancel it before the queue gets to it.
  Gate release;
  queue->async([&] { release.wait(); });
  auto queued = platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0), [&] { ++fired; });
  ASSERT_TRUE(WaitUntil([&] { return platform->activeTimers().empty(); }));
  queued->cancel();
  std::atomic<bool> barrier{false};
  queue->async([&] { barrier = true; });
  release.open();
  ASSERT_TRUE(WaitUntil([&] { return barrier.load(); }));
  platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0.1), [&] { barrier = false; });
  ASSERT_TRUE(WaitUntil([&] { return !barrier; }));
  EXPECT_EQ(fired, 0);
}

TEST_F(LinuxPlatformTest, VendorIdentifierIsStablePerVendorAndDiffersBetweenVendors) {
  std::optional<std::string> first;
  {
    auto platform = std::make_shared<LinuxPlatform>(Options("com.acme.shop"));
    first = platform->device().identifierForVendor();
  }
  ASSERT_TRUE(first);
  EXPECT_TRUE(IsRandomUuid(*first)) << *first;
  // Another app of the vendor, in another process lifetime, reads the same.
  auto sibling = std::make_shared<LinuxPlatform>(Options("com.acme.news"));
  EXPECT_EQ(sibling->device().identifierForVendor(), first);
  LinuxHostOptions named = Options("com.acme.shop");
  named.vendor_name = "Other Vendor/Inc";
  auto other = std::make_shared<LinuxPlatform>(named);
  auto other_id = other->device().identifierForVendor();
  ASSERT_TRUE(other_id);
  EXPECT_NE(*other_id, *first);
  EXPECT_EQ(std::filesystem::path(other->linuxDevice().vendorIdentifierPath()).parent_path(), dir_.path());

  // Another machine (here: another data directory) has another identifier.
  TempDir elsewhere;
  LinuxHostOptions moved = Options("com.acme.shop");
  moved.data_directory = elsewhere.path();
  EXPECT_NE(std::make_shared<LinuxPlatform>(moved)->device().identifierForVendor(), first);

  // Without a vendor there is no identifier for vendor.
  LinuxHostOptions anonymous;
  anonymous.data_directory = dir_.path();
  EXPECT_FALSE(std::make_shared<LinuxPlatform>(anonymous)->device().identifierForVendor());
}

TEST_F(LinuxPlatformTest, VendorIdentifierIsAgreedOnByRacingApplicationsAndRepairedWhenDamaged) {
  std::vector<std::shared_ptr<LinuxPlatform>> apps;
  for (int i = 0; i < 4; ++i) apps.push_back(std::make_shared<LinuxPlatform>(Options("com.race.app" + std::to_string(i))));
  std::vector<std::optional<std::string>> ids(apps.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < apps.size(); ++i) {
    threads.emplace_back([&, i] { ids[i] = apps[i]->device().identifierForVendor(); });
  }
  for (auto& t : threads) t.join();
  ASSERT_TRUE(ids[0]);
  for (const auto& id : ids) EXPECT_EQ(id, ids[0]);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1) << "temporary files left";

  const std::string path = apps[0]->linuxDevice().vendorIdentifierPath();
  std::ofstream(path) << "not an identifier";
  auto repaired = std::make_shared<LinuxPlatform>(Options("com.race.later"))->device().identifierForVendor();
  ASSERT_TRUE(repaired);
  EXPECT_NE(repaired, ids[0]);
  EXPECT_EQ(std::make_shared<LinuxPlatform>(Options("com.race.later"))->device().identifierForVendor(), repaired);
}

TEST_F(LinuxPlatformTest, FilesLandUnderTheXdgDataDirectoryInTheBundlesDirectory) {
  const std::string xdg = dir_.path() + "/xdg";
  ScopedEnv data_home("XDG_DATA_HOME", xdg.c_str());
  LinuxHostOptions options;
  options.bundle_identifier = "com.acme.shop";
  auto platform = std::make_shared<LinuxPlatform>(options);
  EXPECT_EQ(platform->dataDirectory(), xdg);

  DateResult before = platform->hostApplication().homeDirectoryCreationDate();
  EXPECT_FALSE(before.date);
  EXPECT_EQ(before.error, "statx " + xdg + "/com.acme.shop: No such file or directory");

  TSRUtilityPersistence persistence(platform);
  persistence.saveJSONString(std::string("{\"a\":1}"), "Tessarin-config", true);
  const std::string file = xdg + "/com.acme.shop/Tessarin-config";
  std::ifstream in(file);
  std::string contents((std::istreambuf_iterator<char>(in)), {});
  EXPECT_EQ(contents, "{\"a\":1}");
  char value[16] = {};
  ssize_t n = getxattr(file.c_str(), "user.xdg.robots.backup", value, sizeof value);
  if (n >= 0 || errno != ENOTSUP) {  // where the file system keeps user attributes
    EXPECT_EQ(std::string(value, n > 0 ? n : 0), "false");
  }

  // The application's data directory now exists, and dates the install.
  double wall = platform->now(Clock::kWall);
  DateResult created = platform->hostApplication().homeDirectoryCreationDate();
  ASSERT_TRUE(created.date) << created.error;
  EXPECT_NEAR(*created.date, wall, 60);
}

TEST_F(LinuxPlatformTest, DataDirectoryFallsBackToHomeWhenXdgIsUnsetOrRelative) {
  ScopedEnv home("HOME", dir_.path().c_str());
  {
    ScopedEnv data_home("XDG_DATA_HOME", nullptr);
    EXPECT_EQ(LinuxPlatform::DefaultDataDirectory(), dir_.path() + "/.local/share");
  }
  ScopedEnv data_home("XDG_DATA_HOME", "relative/data");
  EXPECT_EQ(LinuxPlatform::DefaultDataDirectory(), dir_.path() + "/.local/share");
}

TEST_F(LinuxPlatformTest, HostApplicationAnswersFromTheHostsOptions) {
  std::filesystem::create_directories(dir_.path() + "/res");
  std::ofstream(dir_.path() + "/res/embedded.mobileprovision") << "profile";
  LinuxHostOptions options = Options();
  options.bundle_version = "2.4.1";
  options.info = Json::object({{"TessarinSwizzlingEnabled", false}});
  options.resource_directory = dir_.path() + "/res";
  options.initial_application_state = 1;
  auto platform = std::make_shared<LinuxPlatform>(options);
  HostApplication& app = platform->hostApplication();
  EXPECT_EQ(app.infoValue("CFBundleShortVersionString"), Json("2.4.1"));
  EXPECT_EQ(app.infoValue("TessarinSwizzlingEnabled"), Json(false));
  EXPECT_FALSE(app.infoValue("TessarinConfiguration"));
  EXPECT_EQ(app.bundleResourcePath("embedded", "mobileprovision"), dir_.path() + "/res/embedded.mobileprovision");
  EXPECT_FALSE(app.bundleResourcePath("missing", "mobileprovision"));
  EXPECT_FALSE(app.appStoreReceiptURL());
  DateResult built = app.bundleModificationDate();
  ASSERT_TRUE(built.date) << built.error;
  EXPECT_LE(*built.date, platform->now(Clock::kWall));
  EXPECT_EQ(app.applicationState(), 1);

  // The host reports its lifecycle; observers on the main queue hear it
  // there, after the state has changed.
  std::atomic<int> seen_state{-1};
  std::atomic<bool> on_main{false};
  std::atomic<const void*> poster{nullptr};
  platform->notificationCenter().addObserver(
      kApplicationDidBecomeActiveNotification, nullptr, platform->mainQueue(), [&](const Notification& n) {
        on_main = platform->isMainThread();
        poster = n.object;
        seen_state = platform->hostApplication().applicationState();
      });
  platform->setApplicationState(0);
  platform->postLifecycle(kApplicationDidBecomeActiveNotification);
  ASSERT_TRUE(WaitUntil([&] { return seen_state != -1; }));
  EXPECT_EQ(seen_state, 0);
  EXPECT_TRUE(on_main);
  EXPECT_EQ(poster.load(), &platform->hostApplication());
}

TEST_F(LinuxPlatformTest, DeviceDescribesThisMachineAndTheHostsTimeZone) {
  auto platform = Make();
  Device& device = platform->device();
  struct utsname names;
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(device.hardwareMachine(), names.machine);
  EXPECT_EQ(device.systemName(), "Linux");
  EXPECT_EQ(device.userInterfaceIdiom(), -1);
  EXPECT_FALSE(device.advertisingIdentifier());
  {
    ScopedEnv tz("TZ", "America/Denver");
    EXPECT_EQ(device.localTimeZoneName(), "America/Denver");
  }
  ScopedEnv tz("TZ", "Asia/Kolkata");
  EXPECT_EQ(device.localTimeZoneName(), "Asia/Kolkata");
}

// Counts the tasks that ran and holds a token each pending task captures:
// once nothing refers to the token, every dropped task has been released.
struct Tally {
  std::atomic<int> ran{0};
  std::shared_ptr<int> token = std::make_shared<int>(0);
  Task task() {
    return [this, token = token] { ++ran; };
  }
};

TEST_F(LinuxPlatformTest, ShutdownDropsPendingTasksAndTimersAndLeavesHandlesInert) {
  auto platform = Make();
  auto queue = platform->createSerialQueue("com.tessarin.test.busy");
  auto main = platform->mainQueue();
  Tally tally;
  Gate release;
  std::atomic<bool> blocker_started{false};
  queue->async([&] {
    blocker_started = true;
    release.wait();
  });
  ASSERT_TRUE(WaitUntil([&] { return blocker_started.load(); }));
  for (int i = 0; i < 100; ++i) queue->async(tally.task());
  auto repeating = platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 0, 0.001), tally.task());
  auto distant = platform->scheduleTimer(main, Spec(Clock::kWall, 3600), tally.task());

  std::thread destroyer([&] { platform.reset(); });
  // Timers stop once every queue has stopped taking work; only then may
  // the blocked task finish.
  ASSERT_TRUE(WaitUntil([&] { return distant->cancelled(); }));
  release.open();
  destroyer.join();
  EXPECT_EQ(tally.ran, 0);
  EXPECT_TRUE(repeating->cancelled());
  EXPECT_EQ(tally.token.use_count(), 1) << "a dropped task or timer block was kept";

  // Whatever is still referenced does nothing and never blocks.
  queue->async(tally.task());
  queue->sync(tally.task());
  main->async(tally.task());
  main->sync(tally.task());
  repeating->cancel();
  EXPECT_EQ(tally.ran, 0);
  EXPECT_EQ(tally.token.use_count(), 1);
}

TEST_F(LinuxPlatformTest, PlatformReleasedByItsOwnTaskShutsDownWithoutDeadlock) {
  for (bool from_main : {false, true}) {
    auto platform = Make();
    auto queue = from_main ? platform->mainQueue() : platform->createSerialQueue("com.tessarin.test.owner");
    platform->scheduleTimer(queue, Spec(Clock::kMonotonic, 3600), [] {});
    std::atomic<bool> released{false};
    queue->async([&released, platform = std::move(platform)]() mutable {
      platform.reset();  // the last reference: the platform ends on its own thread
      released = true;
    });
    ASSERT_TRUE(WaitUntil([&] { return released.load(); })) << (from_main ? "main" : "serial");
    Tally tally;
    queue->async(tally.task());
    EXPECT_EQ(tally.token.use_count(), 1);
  }
}


TEST_F(LinuxPlatformTest, NotificationSettingsFollowTheHostAndAreAnsweredOffTheMainThread) {
  for (bool allowed : {true, false}) {
    LinuxHostOptions options = Options();
    options.notifications_allowed = allowed;
    auto host = std::make_shared<LinuxPlatform>(options);
    std::atomic<bool> answered{false};
    std::atomic<bool> on_main{true};
    NotificationSettings seen{9, 9, 9, 9};
    std::mutex mutex;
    host->hostApplication().getNotificationSettings([&](const NotificationSettings& settings) {
      std::lock_guard<std::mutex> lock(mutex);
      seen = settings;
      on_main = host->isMainThread();
      answered = true;
    });
    ASSERT_TRUE(WaitUntil([&] { return answered.load(); }));
    std::lock_guard<std::mutex> lock(mutex);
    // Authorized with alerts that reach the user, or denied.
    EXPECT_EQ(seen.authorizationStatus, allowed ? 2 : 1);
    EXPECT_EQ(seen.alertSetting, allowed ? 2 : 0);
    EXPECT_FALSE(on_main.load());
  }
}

}  // namespace
}  // namespace tessarin::platform::linux_host

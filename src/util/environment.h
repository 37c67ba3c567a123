// The environment the SDK's parts run in: the platform, the application's
// bundle and the device as the platform describes them, the host's file and
// host-app utilities, the event counters, and the façade they serve. One
// environment per façade; a test substitutes a subclass (or a different
// platform) to control what the parts get.
//
// Thread contract: every accessor is safe from any thread.
#ifndef TESSARIN_UTIL_ENVIRONMENT_H_
#define TESSARIN_UTIL_ENVIRONMENT_H_

#include <memory>
#include <mutex>

#include "base/event_counters.h"
#include "platform/platform.h"

namespace tessarin {

namespace platform::ui {
class Screen;
class UIEnvironment;
}  // namespace platform::ui

class SdkFacade;
class TSRUtilityPersistence;
class TSRUtilityHostApp;

class Environment : public std::enable_shared_from_this<Environment> {
 public:
  explicit Environment(std::shared_ptr<platform::Platform> platform);
  virtual ~Environment();

  platform::Platform& platform() { return *platform_; }
  const std::shared_ptr<platform::Platform>& platformPtr() const { return platform_; }

  virtual platform::HostApplication& mainBundle() { return platform_->hostApplication(); }
  virtual platform::Device& currentDevice() { return platform_->device(); }
  // Whether a unit-test harness is loaded; asked of the platform, guarded.
  virtual bool runningUnitTests();

  // The façade this environment serves (the newest one made over it), held
  // weakly; parts that report through the façade find it here, as they
  // would find the process's shared instance. Null once it is gone.
  void setFacade(std::weak_ptr<SdkFacade> facade);
  std::shared_ptr<SdkFacade> facade() const;

  // The UI kit's environment and the screen the SDK shows its windows on
  // (in-app messages), on hosts that have one: the Linux host's overlay,
  // which sets them before the façade is made, or a host whose own windows
  // are the kit's, which the application answers for. Null elsewhere. The
  // objects themselves are for the main queue only.
  void setUserInterface(platform::ui::UIEnvironment* ui, platform::ui::Screen* screen) {
    ui_ = ui;
    screen_ = screen;
  }
  platform::ui::UIEnvironment* userInterface() const {
    return ui_ ? ui_ : platform_->hostApplication().userInterfaceEnvironment();
  }
  platform::ui::Screen* screen() const { return screen_ ? screen_ : platform_->hostApplication().mainScreen(); }

  // One of each per environment, made on first use.
  TSRUtilityPersistence& persistence();
  TSRUtilityHostApp& hostApp();
  // What became of the events of this environment's façade, over all the
  // event queues it made.
  EventCounters& eventCounters() { return event_counters_; }

 protected:
  std::shared_ptr<platform::Platform> platform_;

 private:
  mutable std::mutex facade_mutex_;
  std::weak_ptr<SdkFacade> facade_;
  std::once_flag persistence_once_;
  std::unique_ptr<TSRUtilityPersistence> persistence_;
  std::once_flag host_app_once_;
  std::unique_ptr<TSRUtilityHostApp> host_app_;
  EventCounters event_counters_;
  platform::ui::UIEnvironment* ui_ = nullptr;
  platform::ui::Screen* screen_ = nullptr;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_ENVIRONMENT_H_

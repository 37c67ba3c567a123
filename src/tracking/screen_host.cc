#include "tracking/screen_host.h"

#include <any>
#include <map>

#include "base/sdk_facade.h"
#include "platform/host_object.h"
#include "platform/platform.h"

namespace tessarin {
namespace {

// The key of the host's state on its "UIViewController" class.
const char kHostKey = 'h';

struct Registry {
  struct Entry {
    std::weak_ptr<platform::Platform> owner;
    std::shared_ptr<TSRScreenHost> host;
  };
  std::mutex mutex;
  std::map<const platform::Platform*, Entry> hosts;
};

Registry& Hosts() {
  static Registry* registry = new Registry();
  return *registry;
}

}  // namespace

std::shared_ptr<TSRScreenHost> TSRScreenHost::forPlatform(platform::Platform& platform) {
  Registry& registry = Hosts();
  std::lock_guard<std::mutex> lock(registry.mutex);
  // A platform that is gone may have left its address to a new one.
  for (auto it = registry.hosts.begin(); it != registry.hosts.end();) {
    it = it->second.owner.expired() ? registry.hosts.erase(it) : std::next(it);
  }
  auto& entry = registry.hosts[&platform];
  if (!entry.host) {
    entry.owner = platform.weak_from_this();
    entry.host = std::make_shared<TSRScreenHost>(entry.owner);
  }
  return entry.host;
}

std::shared_ptr<TSRScreenHost> TSRScreenHost::forViewController(const platform::HostObject& object) {
  for (const platform::HostClass* cls = object.cls().get(); cls != nullptr; cls = cls->superclass().get()) {
    if (cls->name() != "UIViewController") continue;
    std::any value = cls->associatedObject(&kHostKey);
    auto* host = std::any_cast<std::shared_ptr<TSRScreenHost>>(&value);
    return host ? *host : nullptr;
  }
  return nullptr;
}

std::shared_ptr<SdkFacade> TSRScreenHost::facade() const {
  std::lock_guard<std::mutex> lock(facade_mutex_);
  return facade_.lock();
}

void TSRScreenHost::setFacade(const std::shared_ptr<SdkFacade>& facade) {
  std::lock_guard<std::mutex> lock(facade_mutex_);
  facade_ = facade;
}

bool TSRScreenHost::markInstalled(platform::HostObject& viewControllerClass) {
  bool first = false;
  std::call_once(installed_, [&] {
    first = true;
    viewControllerClass.setAssociatedObject(&kHostKey, shared_from_this());
  });
  return first;
}

}  // namespace tessarin

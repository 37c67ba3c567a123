#include "platform/notification_center.h"

#include <algorithm>

namespace tessarin::platform {

ObserverToken NotificationCenter::addObserver(const std::string& name, const void* object,
                                              std::shared_ptr<DispatchQueue> queue, Block block) {
  std::lock_guard<std::mutex> lock(mutex_);
  ObserverToken token = next_token_++;
  observers_.push_back(
      {token, name, object, std::move(queue), std::make_shared<Block>(std::move(block))});
  return token;
}

void NotificationCenter::removeObserver(ObserverToken token) {
  std::lock_guard<std::mutex> lock(mutex_);
  observers_.erase(std::remove_if(observers_.begin(), observers_.end(),
                                  [token](const Observer& o) { return o.token == token; }),
                   observers_.end());
}

std::size_t NotificationCenter::observerCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return observers_.size();
}

void NotificationCenter::post(const std::string& name, const void* object, Json userInfo) {
  std::vector<Observer> matching;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Observer& o : observers_) {
      if ((o.name.empty() || o.name == name) && (o.object == nullptr || o.object == object)) {
        matching.push_back(o);
      }
    }
  }
  auto notification = std::make_shared<Notification>(Notification{name, object, std::move(userInfo)});
  for (const Observer& o : matching) {
    // An observer removed by an earlier observer of this same post is skipped.
    auto still_registered = [this, token = o.token] {
      std::lock_guard<std::mutex> lock(mutex_);
      return std::any_of(observers_.begin(), observers_.end(),
                         [token](const Observer& x) { return x.token == token; });
    };
    if (!o.queue || o.queue->isCurrent()) {
      if (still_registered()) (*o.block)(*notification);
    } else {
      o.queue->async([block = o.block, notification, still_registered] {
        if (still_registered()) (*block)(*notification);
      });
    }
  }
}

}  // namespace tessarin::platform

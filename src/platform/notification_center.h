// An in-process notification centre: named notifications, observers with
// tokens, each observer delivered on the queue it named.
//
// Posting is synchronous for observers whose queue is the poster's own (or
// that named none), as the reference platform's centre is; observers on
// another queue receive the notification asynchronously on their queue.
#ifndef TESSARIN_PLATFORM_NOTIFICATION_CENTER_H_
#define TESSARIN_PLATFORM_NOTIFICATION_CENTER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin::platform {

struct Notification {
  std::string name;
  const void* object = nullptr;  // the poster's identity, compared only
  Json userInfo;
};

using ObserverToken = std::uint64_t;

class NotificationCenter {
 public:
  using Block = std::function<void(const Notification&)>;

  // Observes `name` (every notification when empty) from `object` (any
  // poster when null). A null queue delivers on the posting thread.
  ObserverToken addObserver(const std::string& name, const void* object,
                            std::shared_ptr<DispatchQueue> queue, Block block);
  void removeObserver(ObserverToken token);
  void post(const std::string& name, const void* object = nullptr, Json userInfo = nullptr);
  std::size_t observerCount() const;

 private:
  struct Observer {
    ObserverToken token;
    std::string name;
    const void* object;
    std::shared_ptr<DispatchQueue> queue;
    std::shared_ptr<Block> block;
  };
  mutable std::mutex mutex_;
  std::vector<Observer> observers_;
  ObserverToken next_token_ = 1;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_NOTIFICATION_CENTER_H_

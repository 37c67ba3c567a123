#include "util/environment.h"

#include "util/host_app.h"
#include "util/persistence.h"
#include "util/safety.h"

namespace tessarin {

Environment::Environment(std::shared_ptr<platform::Platform> platform) : platform_(std::move(platform)) {}

Environment::~Environment() = default;

bool Environment::runningUnitTests() {
  bool running = false;
  TSRUtilitySafety::runWithTag("+[TSRUtilityDI runningUnitTests]",
                               [&] { running = platform_->hostApplication().runningUnitTests(); });
  return running;
}

void Environment::setFacade(std::weak_ptr<SdkFacade> facade) {
  std::lock_guard<std::mutex> lock(facade_mutex_);
  facade_ = std::move(facade);
}

std::shared_ptr<SdkFacade> Environment::facade() const {
  std::lock_guard<std::mutex> lock(facade_mutex_);
  return facade_.lock();
}

TSRUtilityPersistence& Environment::persistence() {
  std::call_once(persistence_once_, [this] { persistence_ = std::make_unique<TSRUtilityPersistence>(platform_); });
  return *persistence_;
}

TSRUtilityHostApp& Environment::hostApp() {
  std::call_once(host_app_once_, [this] { host_app_ = std::make_unique<TSRUtilityHostApp>(platform_); });
  return *host_app_;
}

}  // namespace tessarin

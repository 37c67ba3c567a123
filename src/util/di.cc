#include "util/di.h"

#include "util/host_app.h"  // complete type for the member's destructor
#include "util/persistence.h"
#include "util/safety.h"

namespace tessarin {

TSRUtilityDI::TSRUtilityDI(std::shared_ptr<platform::Platform> platform) : platform_(std::move(platform)) {}

TSRUtilityDI::~TSRUtilityDI() = default;

bool TSRUtilityDI::runningUnitTests() {
  bool running = false;
  TSRUtilitySafety::runWithTag("+[TSRUtilityDI runningUnitTests]",
                               [&] { running = platform_->hostApplication().runningUnitTests(); });
  return running;
}

TSRUtilityPersistence& TSRUtilityDI::persistence() {
  std::call_once(persistence_once_, [this] { persistence_ = std::make_unique<TSRUtilityPersistence>(platform_); });
  return *persistence_;
}

}  // namespace tessarin

// Kept apart from di.cc so that code using only the persistence half of the
// environment does not pull in the host-app utility.
#include "util/di.h"
#include "util/host_app.h"

namespace tessarin {

TSRUtilityHostApp& TSRUtilityDI::hostApp() {
  std::call_once(host_app_once_, [this] { host_app_ = std::make_unique<TSRUtilityHostApp>(platform_); });
  return *host_app_;
}

}  // namespace tessarin

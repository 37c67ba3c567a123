// The façade's notification entry points, gated by the swizzling switch
// like the token entry points: the interceptions of the app's and the
// notification centre's delegates pass ifSwizzling true, the app's own
// call false, and only the path the switch selects acts, so a click is
// never counted twice. The click itself is judged on the main thread.
#include <optional>
#include <string>

#include "core/tessarin_impl.h"
#include "push/notification_click_tracking.h"

namespace tessarin {

void TessarinImpl::handleNotification(const Json& userInfo, const std::optional<std::string>& actionIdentifier) {
  handleNotification(userInfo, actionIdentifier, true, false);
}

void TessarinImpl::handleNotification(const Json& userInfo, const std::optional<std::string>& actionIdentifier,
                                  bool checkClicked, std::optional<bool> ifSwizzling) {
  if (ifSwizzling && *ifSwizzling != swizzlingEnabled()) return;
  OnMain("-[Tessarin(Swizzling) handleNotification:actionIdentifier:checkClicked:ifSwizzling:]_block_invoke",
         [userInfo, actionIdentifier, checkClicked](TessarinImpl& self) {
           TSRNotificationClickTracking::trackClickIfNecessary(self, userInfo, actionIdentifier, checkClicked);
         });
}

}  // namespace tessarin

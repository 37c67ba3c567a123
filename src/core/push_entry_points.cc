// The façade's push-token entry points, gated by the swizzling switch.
//
// A token reaches the façade either from the app's own call or from the
// SDK's interception of the app delegate (or of the Firebase messaging
// delegate). When the app also forwards what the interception already
// delivered, handling both would report the token twice; so each path acts
// only when it is the one the swizzling switch selects.
#include <string>
#include <string_view>

#include "base/collaborators.h"
#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "util/host_app.h"
#include "util/string_util.h"

// Lets the shared instance confirm that the push entry points are part of the build.
extern "C" const char TSRCategoryMarker_Tessarin_Swizzling = 1;

namespace tessarin {
namespace {

constexpr int kPushPlatformAPNS = 0;
constexpr int kPushPlatformAPNSSandbox = 1;
constexpr int kPushPlatformGCM = 2;

}  // namespace

bool TessarinImpl::swizzlingEnabled() { return di_->hostApp().swizzlingEnabled(); }

void TessarinImpl::setAPNSToken(std::string_view deviceToken) { setAPNSToken(deviceToken, false); }

void TessarinImpl::setFirebaseToken(const std::string& token) { setFirebaseToken(token, false); }

void TessarinImpl::setAPNSToken(std::string_view deviceToken, bool ifSwizzling) {
  if (ifSwizzling != swizzlingEnabled()) return;
  // Hex text on the caller's thread: the platform's buffer may not outlive
  // the delegate callback.
  std::string token = TSRUtilityString::stringFromData(deviceToken);
  OnMain("-[Tessarin(Swizzling) setAPNSToken:ifSwizzling:]", [token = std::move(token)](TessarinImpl& self) {
    if (!self.push_token_manager_) return;
    const int platform = self.di_->hostApp().sandboxedAPNS() ? kPushPlatformAPNSSandbox : kPushPlatformAPNS;
    self.push_token_manager_->handlePushToken(token, platform);
  });
}

void TessarinImpl::setFirebaseToken(const std::string& token, std::optional<bool> ifSwizzling) {
  if (ifSwizzling && *ifSwizzling != swizzlingEnabled()) return;
  OnMain("-[Tessarin(Swizzling) setFirebaseToken:ifSwizzling:]", [token](TessarinImpl& self) {
    if (self.push_token_manager_) self.push_token_manager_->handlePushToken(token, kPushPlatformGCM);
  });
}

}  // namespace tessarin

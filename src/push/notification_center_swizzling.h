// The interception of the host's notification centre: the user's response
// to a remote notification reaches the façade's click tracking without
// the app forwarding it.
//
// The centre's "setDelegate:" is intercepted once per host; the first
// delegate it gets (or already has) has its response method replaced, in
// its class, by one that runs the delegate's own implementation first and
// then hands a remote notification's user info and the response's action
// identifier to the façade. Responses to local notifications are not ours
// and pass untouched; a delegate class that lacks the method is left as it
// is. Nothing is installed when the app switched swizzling off
// ("TessarinSwizzlingEnabled" false) or the host has no such centre.
#ifndef TESSARIN_PUSH_NOTIFICATION_CENTER_SWIZZLING_H_
#define TESSARIN_PUSH_NOTIFICATION_CENTER_SWIZZLING_H_

#include <memory>

namespace tessarin {

class SdkFacade;

// Installs the interception on the façade's host (once per host, on the
// main thread) and makes the façade the one it reports to.
void tsr_installNotificationCenterHooks(const std::shared_ptr<SdkFacade>& facade);

}  // namespace tessarin

#endif  // TESSARIN_PUSH_NOTIFICATION_CENTER_SWIZZLING_H_

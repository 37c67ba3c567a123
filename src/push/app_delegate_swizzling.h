// The interception of the application delegate's push and URL callbacks,
// so that a push token, a remote notification or an opened URL reaches
// the façade without the app forwarding it.
//
// Each callback the delegate's class implements (itself or through a
// superclass) is replaced, in that class, by one that runs the app's own
// implementation first with the same arguments and then hands the value
// to the façade's entry point with ifSwizzling true. A callback the class
// lacks is never added: the platform decides what to deliver by what the
// delegate responds to, and an added method would change that. A URL
// callback answers whether the app's implementation or the façade handled
// the URL.
#ifndef TESSARIN_PUSH_APP_DELEGATE_SWIZZLING_H_
#define TESSARIN_PUSH_APP_DELEGATE_SWIZZLING_H_

#include <functional>
#include <memory>

#include "platform/host_object.h"

namespace tessarin {

class SdkFacade;

class TSRAppDelegateSwizzling {
 public:
  // Where a callback finds the façade when it runs (the host's newest);
  // null when there is none any more, and the callback then only runs the
  // app's implementation.
  using FacadeSource = std::function<std::shared_ptr<SdkFacade>()>;

  // Installs the replacements in the delegate's class, each guarded on
  // its own. The caller makes sure it runs once per host.
  static void swizzleDelegateClass(const std::shared_ptr<platform::HostClass>& delegateClass, FacadeSource facade);
};

}  // namespace tessarin

#endif  // TESSARIN_PUSH_APP_DELEGATE_SWIZZLING_H_

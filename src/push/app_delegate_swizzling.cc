#include "push/app_delegate_swizzling.h"

#include <any>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/sdk_facade.h"
#include "tessarin/sdk_info.h"
#include "util/method_interception.h"
#include "util/safety.h"

namespace tessarin {
namespace {

using platform::HostArg;
using platform::HostArgs;
using platform::HostObject;

// Hands one callback's value to the façade; what it returns is the
// callback's result.
using Forward = std::function<std::any(SdkFacade& facade, std::any previousResult, const HostArgs& args)>;

struct Hook {
  const char* selector;
  const char* tag;
  Forward forward;
};

Json UserInfoArg(const HostArgs& args, std::size_t index) {
  const Json* info = HostArg<Json>(args, index);
  return info ? *info : Json::object();
}

// A remote notification seen by a legacy callback: no action identifier.
std::any ForwardNotification(SdkFacade& facade, std::any result, const HostArgs& args) {
  facade.handleNotification(UserInfoArg(args, 1), std::nullopt, true, true);
  return result;
}

// A remote notification's action: the identifier (empty when the platform
// gave none) and the user info after it.
std::any ForwardAction(SdkFacade& facade, std::any result, const HostArgs& args) {
  const std::string* identifier = HostArg<std::string>(args, 1);
  facade.handleNotification(UserInfoArg(args, 2), identifier ? *identifier : std::string(), true, true);
  return result;
}

// An opened URL: the callback answers YES when the app's implementation or
// the façade handled it.
std::any ForwardURL(SdkFacade& facade, std::any result, const HostArgs& args) {
  const std::string* url = HostArg<std::string>(args, 1);
  const bool handled = facade.handleURL(url ? std::optional<std::string>(*url) : std::nullopt, true);
  const bool* app_handled = std::any_cast<bool>(&result);
  return std::any((app_handled && *app_handled) || handled);
}

const std::vector<Hook>& Hooks() {
  // Never destroyed: an intercepted callback may run while the process exits.
  static const std::vector<Hook>& hooks = *new std::vector<Hook>{
      {"application:didRegisterForRemoteNotificationsWithDeviceToken:",
       "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke",
       [](SdkFacade& facade, std::any result, const HostArgs& args) {
         if (const std::string* token = HostArg<std::string>(args, 1)) facade.setAPNSToken(*token, true);
         return result;
       }},
      {"application:didReceiveRemoteNotification:",
       "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_2", ForwardNotification},
      {"application:didReceiveRemoteNotification:fetchCompletionHandler:",
       "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_3", ForwardNotification},
      {"application:handleActionWithIdentifier:forRemoteNotification:completionHandler:",
       "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_4", ForwardAction},
      {"application:handleActionWithIdentifier:forRemoteNotification:withResponseInfo:completionHandler:",
       "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_5", ForwardAction},
      {"application:openURL:options:", "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_6",
       ForwardURL},
      {"application:openURL:sourceApplication:annotation:",
       "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_7", ForwardURL},
      {"application:handleOpenURL:", "-[UIApplication(TSRIdleTracking) tsr_swizzleDelegate:]_block_invoke_8",
       ForwardURL},
  };
  return hooks;
}

}  // namespace

void TSRAppDelegateSwizzling::swizzleDelegateClass(const std::shared_ptr<platform::HostClass>& delegateClass,
                                                   FacadeSource facade) {
  if (!delegateClass) return;
  for (const Hook& hook : Hooks()) {
    TSRUtilitySafety::runWithTag(hook.tag, [&] {
      TSRSwizzler::replaceMethod(
          hook.selector, delegateClass,
          TSRSwizzler::afterPrevious([facade, hook](std::any result, HostObject&, const HostArgs& args) {
            std::any answer = result;
            TSRUtilitySafety::runWithTag(hook.tag, [&] {
              if (auto target = facade()) answer = hook.forward(*target, result, args);
            });
            return answer;
          }));
    });
  }
}

}  // namespace tessarin

#include "push/notification_center_swizzling.h"

#include <any>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/sdk_facade.h"
#include "platform/host_object.h"
#include "platform/platform.h"
#include "platform/user_notifications.h"
#include "tessarin/sdk_info.h"
#include "util/environment.h"
#include "util/host_app.h"
#include "util/method_interception.h"
#include "util/safety.h"

// Lets the shared instance confirm that the notification-centre interception
// is part of the build.
extern "C" const char TSRCategoryMarker_UNUserNotificationCenter_TessarinPrivate = 1;

namespace tessarin {
namespace {

using platform::HostArgs;
using platform::HostClass;
using platform::HostObject;

const char* const kLoadTag = "+[UNUserNotificationCenter(TessarinPrivate) load]_block_invoke";
const char* const kSetDelegateTag = "-[UNUserNotificationCenter(TessarinPrivate) setDelegate:]_block_invoke";
const char* const kSwizzleDelegateTag = "-[UNUserNotificationCenter(TessarinPrivate) tsr_swizzleDelegate:]";
const char* const kResponseTag = "-[UNUserNotificationCenter(TessarinPrivate) tsr_swizzleDelegate:]_block_invoke";

// The object a property of `object` holds; null for a nil object or value.
// An object that lacks the property raises, and the hook's guard logs it.
std::shared_ptr<HostObject> Property(const std::shared_ptr<HostObject>& object, const char* name) {
  return object ? platform::HostObjectFrom(object->send(name)) : nullptr;
}

// What one host's interception shares: the façade it reports to (the
// host's newest) and the delegate class it took on. The centre's class
// keeps it, which also marks the host as done.
class CenterInterception : public std::enable_shared_from_this<CenterInterception> {
 public:
  std::shared_ptr<SdkFacade> facade() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return facade_.lock();
  }
  void setFacade(std::weak_ptr<SdkFacade> facade) {
    std::lock_guard<std::mutex> lock(mutex_);
    facade_ = std::move(facade);
  }

  // Takes on the first delegate only: the replacement lives in the
  // delegate's class, and a second one would be stacked on it.
  void swizzleDelegate(const std::shared_ptr<HostObject>& delegate) {
    if (!delegate) return;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (delegate_taken_) return;
      delegate_taken_ = true;
    }
    std::weak_ptr<CenterInterception> weak = weak_from_this();
    TSRUtilitySafety::runWithTag(kSwizzleDelegateTag, [&] {
      TSRSwizzler::replaceMethod(
          platform::kDidReceiveNotificationResponseSelector, delegate->cls(),
          TSRSwizzler::afterPrevious([weak](std::any result, HostObject&, const HostArgs& args) {
            TSRUtilitySafety::runWithTag(kResponseTag, [&] {
              auto self = weak.lock();
              if (self && args.size() > 1) self->HandleResponse(platform::HostObjectFrom(args[1]));
            });
            return result;
          }));
    });
  }

 private:
  void HandleResponse(const std::shared_ptr<HostObject>& response) {
    auto facade = this->facade();
    if (!facade || !response) return;
    auto request = Property(Property(response, "notification"), "request");
    auto trigger = Property(request, "trigger");
    // A local notification is the app's own business.
    if (!trigger || !trigger->isKindOfClass(platform::kUNPushNotificationTriggerClass)) return;
    auto content = Property(request, "content");
    std::any user_info = content ? content->send("userInfo") : std::any();
    std::any action = response->send("actionIdentifier");
    auto* info = std::any_cast<Json>(&user_info);
    auto* action_text = std::any_cast<std::string>(&action);
    facade->handleNotification(info ? *info : Json::object(),
                               action_text ? std::optional<std::string>(*action_text) : std::nullopt, true, true);
  }

  mutable std::mutex mutex_;
  std::weak_ptr<SdkFacade> facade_;
  bool delegate_taken_ = false;
};

// The association's key: only its address matters.
const char kCenterInterceptionKey = 0;

std::shared_ptr<CenterInterception> InterceptionOf(const HostClass& center_class) {
  std::any value = center_class.associatedObject(&kCenterInterceptionKey);
  auto* interception = std::any_cast<std::shared_ptr<CenterInterception>>(&value);
  return interception ? *interception : nullptr;
}

}  // namespace

void tsr_installNotificationCenterHooks(const std::shared_ptr<SdkFacade>& facade) {
  if (!facade) return;
  std::weak_ptr<SdkFacade> weak = facade;
  // On the main thread, so that façades made on one host install in turn.
  TSRUtilitySafety::runOnMainWithTag(facade->environment().platform(), kLoadTag, [weak] {
    auto facade = weak.lock();
    if (!facade || !facade->environment().hostApp().swizzlingEnabled()) return;
    platform::HostRuntime* runtime = facade->environment().platform().hostRuntime();
    auto center_class = runtime ? runtime->lookUpClass(platform::kUNUserNotificationCenterClass) : nullptr;
    if (!center_class) return;
    if (auto installed = InterceptionOf(*center_class)) {
      installed->setFacade(facade);
      return;
    }
    auto interception = std::make_shared<CenterInterception>();
    interception->setFacade(facade);
    center_class->setAssociatedObject(&kCenterInterceptionKey, interception);

    TSRSwizzler::replaceMethod(
        "setDelegate:", center_class,
        TSRSwizzler::afterPrevious([interception](std::any result, HostObject&, const HostArgs& args) {
          TSRUtilitySafety::runWithTag(kSetDelegateTag, [&] {
            interception->swizzleDelegate(args.empty() ? nullptr : platform::HostObjectFrom(args[0]));
          });
          return result;
        }));
    // The app may have set its delegate before the façade existed.
    TSRUtilitySafety::runWithTag(kSwizzleDelegateTag, [&] {
      auto center = platform::HostObjectFrom(center_class->send("currentNotificationCenter"));
      interception->swizzleDelegate(Property(center, "delegate"));
    });
  });
}

}  // namespace tessarin

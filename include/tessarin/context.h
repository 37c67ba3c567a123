// TSRContext: where the host app reports what the user does in one place of
// the app, and where it registers handlers for the campaigns answered there.
//
// Every context has an identifier, its contextId, sent with each of its
// events so that the service's campaigns come back to the same context. The
// façade owns the global context ("Global", Tessarin::globalContext()); each
// screen is a context of its own.
//
// Every call returns at once and never raises: objects are turned into JSON
// on the caller's thread, the rest happens on the main thread. Invalid input
// is logged and not sent. A disabled SDK ignores every call.
#ifndef TESSARIN_CONTEXT_H_
#define TESSARIN_CONTEXT_H_

#include <memory>
#include <optional>
#include <string>

#include "tessarin/campaign.h"
#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

// The identifier of the façade's global context. Campaigns for in-app
// messages are only ever routed to it.
inline constexpr const char* kGlobalContextId = "Global";

class TSRItem;
class TSRCategory;
class TSRTag;
class TSRLineItem;
class TSROrder;
class TSRReview;

// The interface an app uses; the SDK's own implementation is internal.
//
// Thread contract: every member may be called from any thread. A report
// reads the app's objects on the calling thread, before the call returns,
// and is sent from the main thread; reports made from one thread are sent in
// the order they were made. identifier() never changes. isActive() is
// written on the main thread and may be read from any: from another thread
// it tells the state as of a moment ago. Campaign handlers run on the main
// thread.
class TESSARIN_EXPORT TSRContext {
 public:
  // A new context on the shared instance; null when there is none.
  static std::shared_ptr<TSRContext> initWithIdentifier(const std::string& identifier);

  TSRContext(const TSRContext&) = delete;
  TSRContext& operator=(const TSRContext&) = delete;
  virtual ~TSRContext();

  // --- Reporting. An action name other than the item action is sent as the
  // action, with the item action riding along under ".itemAction". ---
  virtual void viewItem(const std::shared_ptr<TSRItem>& item,
                        const std::optional<std::string>& actionName = std::nullopt) = 0;
  virtual void viewItemDetail(const std::shared_ptr<TSRItem>& item,
                              const std::optional<std::string>& actionName = std::nullopt) = 0;
  virtual void viewCategory(const std::shared_ptr<TSRCategory>& category,
                            const std::optional<std::string>& actionName = std::nullopt) = 0;
  virtual void viewTag(const std::shared_ptr<TSRTag>& tag,
                       const std::optional<std::string>& actionName = std::nullopt) = 0;
  virtual void addToCart(const std::shared_ptr<TSRLineItem>& lineItem) = 0;
  virtual void removeFromCart(const std::shared_ptr<TSRLineItem>& lineItem) = 0;
  virtual void viewCart(const std::shared_ptr<TSROrder>& order) = 0;
  virtual void purchase(const std::shared_ptr<TSROrder>& order) = 0;
  virtual void review(const std::shared_ptr<TSRItem>& item,
                      const std::shared_ptr<TSRReview>& reviewDetails = nullptr) = 0;
  // A review given as the JSON forms of the item and of the review.
  virtual void reviewWithDictionary(const Json& item, const Json& reviewDetails) = 0;
  virtual void share(const std::shared_ptr<TSRItem>& item) = 0;
  virtual void comment(const std::shared_ptr<TSRItem>& item) = 0;
  virtual void favorite(const std::shared_ptr<TSRItem>& item) = 0;
  // A free-form action, sent as given.
  virtual void trackAction(const std::string& action) = 0;

  // Statistics of a campaign delivered to a handler of this context.
  virtual void trackImpression(const std::shared_ptr<TSRCampaign>& campaign) = 0;
  virtual void trackClickthrough(const std::shared_ptr<TSRCampaign>& campaign) = 0;
  virtual void trackDismissal(const std::shared_ptr<TSRCampaign>& campaign) = 0;
  // A click-through of a push notification the app handled itself: the
  // notification's user info (ignored unless it carries "tsr-eid") and the
  // action identifier of the user's response. It counts as a click
  // whatever the action and whatever the swizzling switch: the app says
  // the user opened it.
  virtual void trackClickthrough(const Json& userInfo, const std::optional<std::string>& actionIdentifier) = 0;

  // Campaigns for `target` answered to this context go to `handler`, on the
  // main thread; a null handler clears it. Targets beginning with "tsr" (in
  // any case) are the SDK's own and refused.
  virtual void setCampaignHandler(TSRCampaignHandler handler, const std::string& target) = 0;

  virtual const std::string& identifier() const = 0;
  // Whether campaigns answered to this context are delivered now: the SDK
  // runs, the app is in the foreground, the user is not idle (and a screen
  // is visible).
  virtual bool isActive() const = 0;

 protected:
  TSRContext() = default;
};

}  // namespace tessarin

#endif  // TESSARIN_CONTEXT_H_

// TSRContextImpl: the tracking context behind the app's TSRContext, with
// what the SDK's own parts (screens, the façade, the notification click
// tracking, the message manager) ask of it.
//
// Thread contract: the app's operations (TSRContext) may be called from any
// thread and hop to the main thread themselves; so do the dictionary-level
// operations below. Every other operation here, and the state it reads,
// belongs to the main thread.
#ifndef TESSARIN_TRACKING_CONTEXT_IMPL_H_
#define TESSARIN_TRACKING_CONTEXT_IMPL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "tessarin/context.h"

namespace tessarin {

// The JSON keys an object of one kind may carry.
using TSRFieldSet = std::unordered_set<std::string>;

class SdkFacade;
class CampaignRouter;
namespace platform {
class Platform;
class Timer;
}  // namespace platform

// TSRContext is a virtual base so that a screen the app holds as its own
// interface (TSRScreenCustom) and the screen implementation share one.
class TSRContextImpl : public virtual TSRContext, public std::enable_shared_from_this<TSRContextImpl> {
 public:
  // A context on the given façade; null without one.
  static std::shared_ptr<TSRContextImpl> initWithIdentifier(const std::string& identifier,
                                                            const std::shared_ptr<SdkFacade>& facade);
  ~TSRContextImpl() override;

  // --- The app's operations (TSRContext). ---
  void viewItem(const std::shared_ptr<TSRItem>& item,
                const std::optional<std::string>& actionName = std::nullopt) override;
  void viewItemDetail(const std::shared_ptr<TSRItem>& item,
                      const std::optional<std::string>& actionName = std::nullopt) override;
  void viewCategory(const std::shared_ptr<TSRCategory>& category,
                    const std::optional<std::string>& actionName = std::nullopt) override;
  void viewTag(const std::shared_ptr<TSRTag>& tag,
               const std::optional<std::string>& actionName = std::nullopt) override;
  void addToCart(const std::shared_ptr<TSRLineItem>& lineItem) override;
  void removeFromCart(const std::shared_ptr<TSRLineItem>& lineItem) override;
  void viewCart(const std::shared_ptr<TSROrder>& order) override;
  void purchase(const std::shared_ptr<TSROrder>& order) override;
  void review(const std::shared_ptr<TSRItem>& item,
              const std::shared_ptr<TSRReview>& reviewDetails = nullptr) override;
  void reviewWithDictionary(const Json& item, const Json& reviewDetails) override;
  void share(const std::shared_ptr<TSRItem>& item) override;
  void comment(const std::shared_ptr<TSRItem>& item) override;
  void favorite(const std::shared_ptr<TSRItem>& item) override;
  void trackAction(const std::string& action) override;
  void trackImpression(const std::shared_ptr<TSRCampaign>& campaign) override;
  void trackClickthrough(const std::shared_ptr<TSRCampaign>& campaign) override;
  void trackDismissal(const std::shared_ptr<TSRCampaign>& campaign) override;
  void trackClickthrough(const Json& userInfo, const std::optional<std::string>& actionIdentifier) override;
  void setCampaignHandler(TSRCampaignHandler handler, const std::string& target) override;
  const std::string& identifier() const override { return identifier_; }
  bool isActive() const override { return active_.load(std::memory_order_acquire); }

  // --- Used by the SDK's own parts. ---
  // The item whose time on page is reported while it is on screen (JSON
  // form, or null for none).
  void setCurrentViewItemPingable(const Json& item);
  bool checkAppState() const;
  bool checkUserIdle() const;
  // The view action of a screen; a plain context has none.
  virtual std::optional<std::string> viewAction() const { return std::nullopt; }
  void registerObservers();
  void startSystemsAsNecessary();
  // A screen narrows these to its visibility (see TSRScreen).
  virtual void stopSystemsAsNecessary();
  virtual bool allowSetActive(bool active);
  void setActivePrivate(bool active);
  virtual void registerContextId();
  void sendViewAction();
  void sendAndClearPing();
  void restartOrClearPingTimer();
  void trackStats(Json stats, bool testing);
  void trackItemFields(Json fields, const std::optional<std::string>& itemAction,
                       const std::optional<std::string>& actionName);
  void setCampaignHandler(TSRCampaignHandler handler, const std::string& target, bool checkPrefix);
  // Dictionary-level operations behind the object-level ones; each hops to
  // the main thread.
  void viewItemWithDictionary(Json item, const std::string& itemAction, const std::optional<std::string>& actionName);
  void trackItemAction(const std::string& itemAction, Json lineItemOrOrder, bool isOrder);
  void trackItem(Json item, const std::string& interaction);

  // Validation and condensing. Each error or warning logged counts in
  // promoteWarnings.
  bool isRequiredObjectMissing(const Json* object, const std::string& objectName);
  bool isWrongKindOfClass(const Json* object, const std::string& name, JsonKind kind);
  bool hasRequiredStringFields(const Json& item);
  void logUnknownItemFields(const Json& item);
  void logUnknownFields(const Json& object, const std::string& objectName, const TSRFieldSet& knownFields);
  std::optional<std::string> stringifyItemToJson(const Json* item);
  static Json pickFields(const Json& dictionary, const std::vector<std::string>& fieldNames);
  static Json stripEmptyCategoriesAndTagsFromItem(const Json& item);
  std::optional<Json> sparsifyItem(const Json& item);
  std::optional<Json> sparsifyLineItem(const Json& lineItem);
  std::optional<Json> sparsifyLineItemsInOrder(const Json& order);

  std::int64_t promoteWarnings() const { return promote_warnings_; }
  double pingMaxDelay() const { return ping_max_delay_; }
  double pingViewTimeStart() const { return ping_view_time_start_; }
  const std::shared_ptr<platform::Timer>& pingTimer() const { return ping_timer_; }
  // The condensed item the next ping reports, as JSON text; nothing while
  // there is none.
  std::optional<std::string> currentViewItemPingableSparseJson() const;
  std::size_t observerCount() const { return observers_.size(); }

 protected:
  TSRContextImpl(std::string identifier, const std::shared_ptr<SdkFacade>& facade);
  // Schedules the observers; a subclass calls it once it is owned by a
  // shared pointer.
  void InitObservers();
  std::shared_ptr<SdkFacade> Facade() const { return facade_.lock(); }
  // The façade's dispatcher, or null while there is none (disabled, gone).
  std::shared_ptr<CampaignRouter> Dispatcher() const;
  platform::Platform& platform() const { return *platform_; }
  bool FacadeDisabled() const;
  bool AppIsActive() const;
  bool UserIsIdle() const;
  void setPingTimer(std::shared_ptr<platform::Timer> timer);

 private:
  // Runs a report that becomes an event on the main thread, through the
  // hand-off that bounds how many may wait there (see EventCounters).
  void Report(const char* tag, std::function<void()> body);
  void TrackCampaignStat(const std::shared_ptr<TSRCampaign>& campaign, long statType);
  void ViewItemOnMain(Json item, const std::string& itemAction, const std::optional<std::string>& actionName);
  // An item view of a catalog object: straight from the object to its
  // texts when it is plain, through its JSON otherwise.
  void ViewItemObject(const std::shared_ptr<TSRItem>& item, const std::string& itemAction,
                      const std::optional<std::string>& actionName, const char* tag);
  void ViewPlainItemOnMain(std::string itemText, std::string condensedText, const std::string& itemAction,
                           const std::optional<std::string>& actionName);
  void Warn() { ++promote_warnings_; }
  // Sends the pending ping and forgets its item, then says whether `item`
  // may become the pingable one. Logs and counts what condensing it and
  // writing the result would, but builds nothing: a view's condensed item
  // is rarely pinged before the next view replaces it. A view has already
  // checked the item's required fields (`requiredFieldsChecked`).
  bool ReplacePingableItem(const Json& item, bool requiredFieldsChecked);
  // Sends the pending ping and forgets its item.
  void ForgetPingableItem();
  // Keeps an item ReplacePingableItem accepted and times its ping.
  void KeepPingableItem(Json item);
  // Keeps a plain item, as its condensed text, and times its ping.
  void KeepPingableText(std::string condensedText);
  bool HasPingableItem() const { return current_view_item_pingable_ || current_view_item_pingable_text_; }
  // The condensed pingable item, as text and as JSON.
  std::string PingableItemText() const;
  Json PingableItemCondensed() const;
  enum class Condensable { kRefused, kUnwritable, kWritable };
  // sparsifyItem's checks and log lines, without building the result, and
  // whether that result could be written.
  Condensable CheckCondensable(const Json& item, bool requiredFieldsChecked);
  // sparsifyItem's result for an item CheckCondensable did not refuse,
  // built silently.
  static Json CondenseCheckedItem(const Json& item);

  // Written on the main thread; the app may read it from any (isActive).
  std::atomic<bool> active_{false};
  std::vector<std::uint64_t> observers_;
  double ping_max_delay_ = 0;
  double ping_view_time_start_ = 0;
  std::shared_ptr<platform::Timer> ping_timer_;
  // The viewed item, already checked, kept for its ping: either in full,
  // condensed and written out only when a ping goes (most views are
  // followed by another view long before their ping is due), or, for a
  // plain catalog object, as the condensed text written with the view.
  std::optional<Json> current_view_item_pingable_;
  std::optional<std::string> current_view_item_pingable_text_;
  std::int64_t promote_warnings_ = 0;
  std::string identifier_;

  std::weak_ptr<SdkFacade> facade_;
  std::shared_ptr<platform::Platform> platform_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_CONTEXT_IMPL_H_

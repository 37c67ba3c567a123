// TSRContextImpl: the reporting operations. Objects become JSON on the caller's
// thread (so a host app's objects are never touched from another thread);
// everything after that runs on the main thread, where the context's state
// lives, and checks once more that the SDK is not disabled.
#include <algorithm>
#include <cctype>

#include "base/collaborators.h"
#include "base/log.h"
#include "base/sdk_facade.h"
#include "tracking/context_impl.h"
#include "tessarin/events.h"
#include "tessarin/items.h"
#include "tessarin/order.h"
#include "tessarin/review.h"
#include "tessarin/sdk_info.h"
#include "tracking/campaign_impl.h"
#include "tracking/plain_item_view.h"
#include "util/environment.h"
#include "util/safety.h"

namespace tessarin {

namespace {

// The JSON form of an item, line item, order or review; null for none.
template <typename T>
Json ToJson(const std::shared_ptr<T>& object, const char* tag) {
  Json json;
  TSRUtilitySafety::runWithTag(tag, [&] {
    if (object) json = object->toJSONDictionary();
  });
  return json;
}

// A view event's own field: the viewed item's text, moved in.
Json ViewedItemFields(std::string itemText) {
  Json fields = Json::object();
  fields.get_ref<Json::object_t&>().emplace_back(TSREvent_item, std::move(itemText));
  return fields;
}

bool HasReservedPrefix(const std::string& target) {
  if (target.size() < 3) return false;
  return std::tolower(static_cast<unsigned char>(target[0])) == 't' &&
         std::tolower(static_cast<unsigned char>(target[1])) == 's' &&
         std::tolower(static_cast<unsigned char>(target[2])) == 'r';
}

}  // namespace

// --- Item views ---

void TSRContextImpl::viewItem(const std::shared_ptr<TSRItem>& item, const std::optional<std::string>& actionName) {
  if (FacadeDisabled()) return;
  ViewItemObject(item, TSRItemAction_viewItem, actionName, "-[TSRContext viewItem:actionName:]");
}

void TSRContextImpl::viewItemDetail(const std::shared_ptr<TSRItem>& item,
                                    const std::optional<std::string>& actionName) {
  if (FacadeDisabled()) return;
  ViewItemObject(item, TSRItemAction_viewItemDetail, actionName, "-[TSRContext viewItemDetail:actionName:]");
}

void TSRContextImpl::viewCategory(const std::shared_ptr<TSRCategory>& category,
                                  const std::optional<std::string>& actionName) {
  if (FacadeDisabled()) return;
  ViewItemObject(category, TSRItemAction_viewCategory, actionName, "-[TSRContext viewCategory:actionName:]");
}

void TSRContextImpl::viewTag(const std::shared_ptr<TSRTag>& tag, const std::optional<std::string>& actionName) {
  if (FacadeDisabled()) return;
  ViewItemObject(tag, TSRItemAction_viewTag, actionName, "-[TSRContext viewTag:actionName:]");
}

void TSRContextImpl::ViewItemObject(const std::shared_ptr<TSRItem>& item, const std::string& itemAction,
                                    const std::optional<std::string>& actionName, const char* tag) {
  // Both texts are written here, on the caller's thread, as the JSON
  // would be: the app's objects are read nowhere else.
  std::optional<PlainItemView> plain;
  TSRUtilitySafety::runWithTag(tag, [&] {
    if (item) plain = WritePlainItemView(*item);
  });
  if (!plain) {
    viewItemWithDictionary(ToJson(item, tag), itemAction, actionName);
    return;
  }
  auto self = shared_from_this();
  Report(
      "-[TSRContext viewItemWithDictionary:itemAction:actionName:]",
      [self, plain = std::move(*plain), itemAction, actionName]() mutable {
        if (self->FacadeDisabled()) return;
        self->ViewPlainItemOnMain(std::move(plain.item), std::move(plain.condensed), itemAction, actionName);
      });
}

void TSRContextImpl::ViewPlainItemOnMain(std::string itemText, std::string condensedText, const std::string& itemAction,
                                         const std::optional<std::string>& actionName) {
  // What ViewItemOnMain does with an item that passes every check, in the
  // same order: the previous item's ping, this item kept, its view event.
  ForgetPingableItem();
  KeepPingableText(std::move(condensedText));
  trackItemFields(ViewedItemFields(std::move(itemText)), itemAction, actionName);
}

void TSRContextImpl::viewItemWithDictionary(Json item, const std::string& itemAction,
                                            const std::optional<std::string>& actionName) {
  auto self = shared_from_this();
  Report(
      "-[TSRContext viewItemWithDictionary:itemAction:actionName:]",
      [self, item = std::move(item), itemAction, actionName]() mutable {
        if (self->FacadeDisabled()) return;
        // Runs once: the item is handed over rather than copied.
        self->ViewItemOnMain(std::move(item), itemAction, actionName);
      });
}

void TSRContextImpl::ViewItemOnMain(Json item, const std::string& itemAction,
                                    const std::optional<std::string>& actionName) {
  if (item.is_null() || !hasRequiredStringFields(item)) {
    setCurrentViewItemPingable(nullptr);
    return;
  }
  logUnknownItemFields(item);
  // The previous item's ping goes first; this item is kept for its own
  // ping only once its view event's text is written, so that it can be
  // moved rather than copied.
  bool pingable = ReplacePingableItem(item, true);
  // The view event carries the full item; only pings carry the condensed
  // one. Copied only when there is something to strip.
  auto empty_array = [&item](const char* key) {
    auto value = item.find(key);
    return value != item.end() && value->is_array() && value->empty();
  };
  std::optional<std::string> text;
  if (empty_array("categories") || empty_array("tags")) {
    Json stripped = stripEmptyCategoriesAndTagsFromItem(item);
    text = stringifyItemToJson(&stripped);
  } else {
    text = stringifyItemToJson(&item);
  }
  if (pingable) KeepPingableItem(std::move(item));
  if (!text || text->empty()) return;
  trackItemFields(ViewedItemFields(std::move(*text)), itemAction, actionName);
}

void TSRContextImpl::trackItemFields(Json fields, const std::optional<std::string>& itemAction,
                                     const std::optional<std::string>& actionName) {
  registerContextId();
  std::string action = itemAction.value_or("");
  if (actionName && !actionName->empty() && *actionName != action) {
    fields[TSREvent_itemAction] = action;
    action = *actionName;
  }
  if (auto facade = Facade()) facade->sendAction(action, identifier_, std::move(fields));
}

// --- Cart and orders ---

void TSRContextImpl::addToCart(const std::shared_ptr<TSRLineItem>& lineItem) {
  if (FacadeDisabled()) return;
  trackItemAction(TSRItemAction_addToCart, ToJson(lineItem, "-[TSRContext addToCart:]"), false);
}

void TSRContextImpl::removeFromCart(const std::shared_ptr<TSRLineItem>& lineItem) {
  if (FacadeDisabled()) return;
  trackItemAction(TSRItemAction_removeFromCart, ToJson(lineItem, "-[TSRContext removeFromCart:]"), false);
}

void TSRContextImpl::viewCart(const std::shared_ptr<TSROrder>& order) {
  if (FacadeDisabled()) return;
  trackItemAction(TSRItemAction_viewCart, ToJson(order, "-[TSRContext viewCart:]"), true);
}

void TSRContextImpl::purchase(const std::shared_ptr<TSROrder>& order) {
  if (FacadeDisabled()) return;
  trackItemAction(TSRItemAction_purchase, ToJson(order, "-[TSRContext purchase:]"), true);
}

void TSRContextImpl::trackItemAction(const std::string& itemAction, Json object, bool isOrder) {
  auto self = shared_from_this();
  const char* tag = isOrder ? "-[TSRContext trackItemAction:withOrder:]" : "-[TSRContext trackItemAction:withLineItem:]";
  Report(tag, [self, itemAction, object = std::move(object), isOrder] {
    if (self->FacadeDisabled()) return;
    const char* name = isOrder ? "order" : "lineItem";
    if (self->isRequiredObjectMissing(object.is_null() ? nullptr : &object, name)) return;
    auto sparse = isOrder ? self->sparsifyLineItemsInOrder(object) : self->sparsifyLineItem(object);
    auto text = self->stringifyItemToJson(sparse ? &*sparse : nullptr);
    if (!text) return;
    self->trackItemFields(Json{{isOrder ? TSREvent_order : TSREvent_lineItem, *text}}, itemAction, std::nullopt);
  });
}

// --- Reviews ---

void TSRContextImpl::review(const std::shared_ptr<TSRItem>& item, const std::shared_ptr<TSRReview>& reviewDetails) {
  if (FacadeDisabled()) return;
  Json item_json = ToJson(item, "-[TSRContext review:reviewDetails:]");
  Json review_json = ToJson(reviewDetails, "-[TSRContext review:reviewDetails:]");
  reviewWithDictionary(item_json, review_json);
}

void TSRContextImpl::reviewWithDictionary(const Json& item, const Json& reviewDetails) {
  auto self = shared_from_this();
  Report("-[TSRContext reviewWithDictionary:reviewDetails:]",
                                     [self, item, reviewDetails] {
                                       if (self->FacadeDisabled()) return;
                                       if (self->isRequiredObjectMissing(item.is_null() ? nullptr : &item, "item")) {
                                         return;
                                       }
                                       Json fields = Json::object();
                                       auto review_text = self->stringifyItemToJson(
                                           reviewDetails.is_null() ? nullptr : &reviewDetails);
                                       if (review_text) {
                                         self->logUnknownFields(reviewDetails, "review", {
                                             "date", "itemId", "rating", "title", "content", "userDisplayName",
                                             "purchased"});
                                         fields[TSREvent_review] = *review_text;
                                       }
                                       // A review of an item that cannot be condensed is not sent at all.
                                       auto sparse = self->sparsifyItem(item);
                                       auto item_text = self->stringifyItemToJson(sparse ? &*sparse : nullptr);
                                       if (!item_text) return;
                                       fields[TSREvent_item] = *item_text;
                                       self->trackItemFields(std::move(fields), TSRItemAction_review, std::nullopt);
                                     });
}

// --- Share, comment, favorite ---

void TSRContextImpl::share(const std::shared_ptr<TSRItem>& item) {
  if (FacadeDisabled()) return;
  trackItem(ToJson(item, "-[TSRContext share:]"), TSRItemAction_share);
}

void TSRContextImpl::comment(const std::shared_ptr<TSRItem>& item) {
  if (FacadeDisabled()) return;
  trackItem(ToJson(item, "-[TSRContext comment:]"), TSRItemAction_comment);
}

void TSRContextImpl::favorite(const std::shared_ptr<TSRItem>& item) {
  if (FacadeDisabled()) return;
  trackItem(ToJson(item, "-[TSRContext favorite:]"), TSRItemAction_favorite);
}

void TSRContextImpl::trackItem(Json item, const std::string& interaction) {
  auto self = shared_from_this();
  Report("-[TSRContext trackItem:interaction:]",
                                     [self, item = std::move(item), interaction] {
                                       if (self->FacadeDisabled()) return;
                                       if (self->isRequiredObjectMissing(item.is_null() ? nullptr : &item, "item")) {
                                         return;
                                       }
                                       auto sparse = self->sparsifyItem(item);
                                       auto text = self->stringifyItemToJson(sparse ? &*sparse : nullptr);
                                       if (!text) return;
                                       self->trackItemFields(Json{{TSREvent_item, *text}}, interaction,
                                                             std::nullopt);
                                     });
}

void TSRContextImpl::Report(const char* tag, std::function<void()> body) {
  std::shared_ptr<EventCounters> counters;
  if (auto facade = Facade()) counters = std::shared_ptr<EventCounters>(facade, &facade->environment().eventCounters());
  TSRUtilitySafety::runReportOnMainWithTag(*platform_, counters, tag, std::move(body));
}

// --- Free-form actions ---

void TSRContextImpl::trackAction(const std::string& action) {
  auto self = shared_from_this();
  Report("-[TSRContext trackAction:]", [self, action] {
    if (self->FacadeDisabled()) return;
    self->registerContextId();
    if (auto facade = self->Facade()) facade->sendAction(action, self->identifier_, Json());
  });
}

// --- Campaign statistics ---

void TSRContextImpl::trackImpression(const std::shared_ptr<TSRCampaign>& campaign) {
  TrackCampaignStat(campaign, TSRCampaignStatType_impression);
}

void TSRContextImpl::trackClickthrough(const std::shared_ptr<TSRCampaign>& campaign) {
  TrackCampaignStat(campaign, TSRCampaignStatType_clickthrough);
}

void TSRContextImpl::trackDismissal(const std::shared_ptr<TSRCampaign>& campaign) {
  TrackCampaignStat(campaign, TSRCampaignStatType_dismissal);
}

void TSRContextImpl::trackClickthrough(const Json& userInfo, const std::optional<std::string>& actionIdentifier) {
  if (!userInfo.is_object() || !userInfo.contains("tsr-eid")) return;
  // The app tells us the user opened it, so it is not asked whether it was
  // clicked. It comes as one of the app's own calls, which act only while
  // swizzling is off: with swizzling on, the intercepted delegate callback
  // reports the same click. The façade hops to the main thread itself.
  if (auto facade = Facade()) facade->handleNotification(userInfo, actionIdentifier, false, false);
}

void TSRContextImpl::TrackCampaignStat(const std::shared_ptr<TSRCampaign>& campaign, long statType) {
  auto self = shared_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, "-[TSRContext trackStat:]", [self, campaign, statType] {
    if (self->FacadeDisabled() || !campaign) return;
    Json stats = Json::array();
    if (auto experience = TSRCampaignImpl::toStatPayloadType(*campaign, statType, true)) {
      stats.push_back(std::move(*experience));
    }
    if (auto message = TSRCampaignImpl::toStatPayloadType(*campaign, statType, false)) {
      stats.push_back(std::move(*message));
    }
    self->trackStats(std::move(stats), campaign->test());
  });
}

void TSRContextImpl::trackStats(Json stats, bool testing) {
  auto facade = Facade();
  if (!facade || facade->disabled()) return;
  if (facade->designMode()) {
    TSR_LOG_WARN("Context: [%@] In design mode, ignoring stats: %@", identifier_, stats);
    return;
  }
  if (!stats.is_array()) return;
  // Control-group users only ever report impressions.
  for (std::size_t i = stats.size(); i-- > 0;) {
    const Json& payload = stats[i];
    auto group = payload.find("ug");
    auto stat = payload.find("stat");
    bool control = group != payload.end() && *group == TSRCampaignUserGroup_control;
    bool impression = stat != payload.end() && *stat == "i";
    if (control && !impression) {
      TSR_LOG_WARN("Context: [%@] Dropping stat, control group with non-impression type: %@", identifier_, payload);
      stats.erase(i);
    }
  }
  if (stats.empty()) return;
  TSR_LOG_INFO("Context: [%@] Tracking %@stats: %@", identifier_, testing ? "test " : "", stats);
  registerContextId();
  facade->sendCampaignStats(stats, testing);
}

// --- Campaign handlers ---

void TSRContextImpl::setCampaignHandler(TSRCampaignHandler handler, const std::string& target) {
  auto self = shared_from_this();
  TSRUtilitySafety::runOnMainWithTag(*platform_, "-[TSRContext setCampaignHandler:forTarget:]",
                                     [self, handler = std::move(handler), target]() mutable {
                                       self->setCampaignHandler(std::move(handler), target, true);
                                     });
}

void TSRContextImpl::setCampaignHandler(TSRCampaignHandler handler, const std::string& target, bool checkPrefix) {
  auto facade = Facade();
  if (!facade || facade->disabled()) return;
  registerContextId();
  if (checkPrefix && HasReservedPrefix(target)) {
    TSR_LOG_ERROR("Context: [%@] Ignoring setCampaignHandler for target [%@], prefix '%@' is reserved", identifier_,
                  target, "tsr");
    return;
  }
  if (auto dispatcher = facade->campaignDispatcher()) dispatcher->setHandler(std::move(handler), identifier_, target);
}

}  // namespace tessarin

// The vocabulary of event records: the keys every event may carry and the
// names of item actions.
#ifndef TESSARIN_EVENTS_H_
#define TESSARIN_EVENTS_H_

namespace tessarin {

inline constexpr const char* TSREvent_mobileBeaconVersion = ".mbv";
inline constexpr const char* TSREvent_anonId = ".anonId";
inline constexpr const char* TSREvent_anonAffinityId = ".aaId";
inline constexpr const char* TSREvent_userId = "userId";
inline constexpr const char* TSREvent_anon = "_anon";
inline constexpr const char* TSREvent_accountId = "company";
inline constexpr const char* TSREvent_timestamp = "timestamp";
inline constexpr const char* TSREvent_device = ".d";
inline constexpr const char* TSREvent_osName = ".on";
inline constexpr const char* TSREvent_osVersion = ".ov";
inline constexpr const char* TSREvent_appName = ".an";
inline constexpr const char* TSREvent_appVersion = ".av";
inline constexpr const char* TSREvent_testMessages = ".testMessages";
inline constexpr const char* TSREvent_action = "action";
inline constexpr const char* TSREvent_contextId = ".ri";
inline constexpr const char* TSREvent_item = ".item";
inline constexpr const char* TSREvent_itemAction = ".itemAction";
inline constexpr const char* TSREvent_lineItem = ".lineItem";
inline constexpr const char* TSREvent_order = ".order";
inline constexpr const char* TSREvent_review = ".review";
inline constexpr const char* TSREvent_pageView = ".pv";
inline constexpr const char* TSREvent_timeOnPage = ".top";
inline constexpr const char* TSREvent_viewControllerDescription = ".vcd";
inline constexpr const char* TSREvent_campaignStats = ".cStat";
inline constexpr const char* TSREvent_test = ".test";
inline constexpr const char* TSREvent_simulatedEndpoint = ".se";
inline constexpr const char* TSREvent_sourceIndex = ".s";
inline constexpr const char* TSREvent_pushTokenUpdates = "_ptu";
inline constexpr const char* TSREvent_accountKey = "_ak";
inline constexpr const char* TSREvent_dataset = "_ds";

// The operating-system name events carry on the reference platform.
inline constexpr const char* TSROSName = "iOS";

inline constexpr const char* TSRItemAction_viewItem = "View Item";
inline constexpr const char* TSRItemAction_viewItemDetail = "View Item Detail";
inline constexpr const char* TSRItemAction_viewCategory = "View Category";
inline constexpr const char* TSRItemAction_viewTag = "View Tag";
inline constexpr const char* TSRItemAction_addToCart = "Add To Cart";
inline constexpr const char* TSRItemAction_removeFromCart = "Remove From Cart";
inline constexpr const char* TSRItemAction_viewCart = "View Cart";
inline constexpr const char* TSRItemAction_purchase = "Purchase";
inline constexpr const char* TSRItemAction_share = "Share";
inline constexpr const char* TSRItemAction_review = "Review";
inline constexpr const char* TSRItemAction_comment = "Comment";
inline constexpr const char* TSRItemAction_favorite = "Favorite";

}  // namespace tessarin

#endif  // TESSARIN_EVENTS_H_

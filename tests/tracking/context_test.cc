#include "tracking/context_impl.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/tessarin_impl.h"
#include "platform/notification_center.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"
#include "tessarin/items.h"
#include "tessarin/order.h"
#include "tessarin/review.h"
#include "util/config.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::LogCapture;

Json Client() {
  return Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}, {"useDesignMode", false}};
}

Json Product(const std::string& id = "p-1") {
  return Json{{"_id", id},
              {"type", "p"},
              {"name", "Lamp"},
              {"price", 12.5},
              {"categories", Json::array({Json{{"_id", "c-1"}, {"type", "c"}, {"name", "Lights"}}})},
              {"tags", Json::array()}};
}

class ContextTest : public ::testing::Test {
 protected:
  void SetUp() override {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    sim->runUntilIdle();
  }

  // Started at launch, then active: becoming active counts as the user's
  // activity, so the user is not idle.
  void StartActive(const Json& config = Json::object()) {
    if (!config.empty()) facade->config().setConfiguration(config, TSRConfig::kLayerServer);
    facade->startWithConfiguration(Client());
    sim->launchApp();
    // What the start itself tracked is not the test's business.
    env->queue->events.clear();
    env->journal->clear();
    log.clear();
  }
  // The user touches the app: an event the application dispatches.
  void Touch() {
    sim->app().sendEvent();
    sim->runUntilIdle();
  }
  void Post(const char* name) {
    sim->notificationCenter().post(name, nullptr);
    sim->runUntilIdle();
  }

  std::shared_ptr<TSRContextImpl> Make(const std::string& id) {
    auto context = TSRContextImpl::initWithIdentifier(id, facade);
    sim->runUntilIdle();
    return context;
  }

  // The events that reached the queue, optionally only those of one action.
  std::vector<Json> Events(const std::string& action = "") const {
    std::vector<Json> out;
    for (const Json& event : env->queue->events) {
      if (action.empty() || event.value(TSREvent_action, "") == action) out.push_back(event);
    }
    return out;
  }
  std::vector<Json> Pings() const {
    std::vector<Json> out;
    for (const Json& event : env->queue->events) {
      if (event.value(TSREvent_simulatedEndpoint, "") == "p") out.push_back(event);
    }
    return out;
  }
  std::vector<std::string> Routing(const std::string& id) const {
    std::vector<std::string> out;
    for (const std::string& entry : *env->journal) {
      if (entry.rfind("dispatcher.", 0) == 0 && entry.size() > id.size() &&
          entry.compare(entry.size() - id.size() - 1, std::string::npos, ":" + id) == 0) {
        out.push_back(entry);
      }
    }
    return out;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(ContextTest, ItemViewSendsTheFullItemAndNamesTheActionAsAsked) {
  StartActive();
  auto context = Make("home");
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, "View Item");
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, "Quick Look");
  sim->runUntilIdle();

  auto views = Events(TSRItemAction_viewItem);
  ASSERT_EQ(views.size(), 2u);
  for (const Json& event : views) {
    EXPECT_EQ(event[TSREvent_contextId], "home");
    EXPECT_FALSE(event.contains(TSREvent_itemAction));
    // The full item travels as text, with its empty tags left out.
    Json item = Json::parse(event[TSREvent_item].get<std::string>());
    EXPECT_EQ(item["name"], "Lamp");
    EXPECT_EQ(item["categories"][0]["name"], "Lights");
    EXPECT_FALSE(item.contains("tags"));
  }
  auto renamed = Events("Quick Look");
  ASSERT_EQ(renamed.size(), 1u);
  EXPECT_EQ(renamed[0][TSREvent_itemAction], "View Item");
  // The contextId is known to the dispatcher before its first event goes.
  auto routing = Routing("home");
  ASSERT_FALSE(routing.empty());
  EXPECT_EQ(routing.front(), "dispatcher.register:home");
}

TEST_F(ContextTest, HostObjectsAreSentInTheirJsonForm) {
  StartActive();
  auto context = Make("shop");
  auto product = TSRProduct::productWithId("sku-1", "Shoes", 89.0, std::nullopt, std::nullopt, std::nullopt);
  product->categories.push_back(TSRCategory::categoryWithId("shoes"));
  context->viewItem(product, "Product Page");
  auto line = TSRLineItem::lineItemWithItem(product, 2);
  context->addToCart(line);
  context->purchase(TSROrder::orderWithId("o-9", {line}, 178.0));
  auto review = TSRReview::reviewWithItemId("sku-1", std::nullopt, 5.0, "Great", false);
  context->review(product, review);
  context->share(nullptr);
  sim->runUntilIdle();

  auto page = Events("Product Page");
  ASSERT_EQ(page.size(), 1u);
  EXPECT_EQ(page[0][TSREvent_itemAction], "View Item");
  EXPECT_EQ(Json::parse(page[0][TSREvent_item].get<std::string>()), product->toJSONDictionary());
  ASSERT_EQ(Events(TSRItemAction_addToCart).size(), 1u);
  Json sent_order = Json::parse(Events(TSRItemAction_purchase).at(0)[TSREvent_order].get<std::string>());
  EXPECT_EQ(sent_order["orderId"], "o-9");
  EXPECT_EQ(sent_order["lineItems"][0]["item"]["categories"], Json::parse(R"([{"_id":"shoes","type":"c"}])"));
  auto reviewed = Events(TSRItemAction_review);
  ASSERT_EQ(reviewed.size(), 1u);
  EXPECT_EQ(Json::parse(reviewed[0][TSREvent_review].get<std::string>()), review->toJSONDictionary());
  EXPECT_TRUE(Events(TSRItemAction_share).empty());
  EXPECT_TRUE(log.contains("Context: Required item was not provided", TSRLogLevelError));
}

TEST_F(ContextTest, InvalidItemsAreRefusedLoggedAndCounted) {
  StartActive();
  auto context = Make("home");
  Json no_id = Product("");
  context->viewItemWithDictionary(no_id, TSRItemAction_viewItem, std::nullopt);
  context->viewItemWithDictionary(Json{{"_id", 7}, {"type", "p"}}, TSRItemAction_viewItem, std::nullopt);
  context->viewItemWithDictionary(Json::array({1}), TSRItemAction_viewItem, std::nullopt);
  context->viewItemWithDictionary(Json{{"_id", "t-1"}, {"type", "t"}}, TSRItemAction_viewTag, std::nullopt);
  sim->runUntilIdle();

  EXPECT_TRUE(Events().empty());
  EXPECT_TRUE(log.contains("Context: p was missing the required field _id", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Context: _id should be a NSString but was a NSNumber", TSRLogLevelError));
  EXPECT_TRUE(log.contains("Context: item to be serialized should be an NSDictionary but was NSArray",
                           TSRLogLevelError));
  // A tag needs its tag type as well.
  EXPECT_TRUE(log.contains("Context: t was missing the required field tagType", TSRLogLevelError));
  EXPECT_EQ(context->promoteWarnings(), 4);
}

TEST_F(ContextTest, UnknownFieldsAndTypesAreReportedButStillSent) {
  StartActive();
  auto context = Make("home");
  Json item = Product();
  item["colour"] = "red";
  context->viewItemWithDictionary(item, TSRItemAction_viewItem, std::nullopt);
  context->viewItemWithDictionary(Json{{"_id", "x"}, {"type", "z"}}, TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();

  EXPECT_EQ(Events(TSRItemAction_viewItem).size(), 2u);
  EXPECT_TRUE(log.contains("Context: Unknown field [colour] for [p]", TSRLogLevelWarn));
  EXPECT_TRUE(log.contains("Context: Unknown item type [z]", TSRLogLevelWarn));
  Json sent = Json::parse(Events(TSRItemAction_viewItem)[0][TSREvent_item].get<std::string>());
  EXPECT_EQ(sent["colour"], "red");
}

TEST_F(ContextTest, LineItemsAndOrdersCarryCondensedItems) {
  StartActive();
  auto context = Make("cart");
  Json line = {{"item", Product()}, {"quantity", 2}};
  context->trackItemAction(TSRItemAction_addToCart, line, false);
  Json order = {{"orderId", "o-1"},
                {"totalValue", 25},
                {"lineItems", Json::array({line, Json{{"item", Json{{"type", "p"}}}, {"quantity", 1}}})}};
  context->trackItemAction(TSRItemAction_purchase, order, true);
  // Every line item bad: the order goes without any.
  Json hopeless = {{"orderId", "o-2"}, {"lineItems", Json::array({Json{{"item", "nope"}}, 3})}};
  context->trackItemAction(TSRItemAction_viewCart, hopeless, true);
  context->trackItemAction(TSRItemAction_removeFromCart, nullptr, false);
  sim->runUntilIdle();

  Json condensed = {{"_id", "p-1"}, {"type", "p"}, {"price", 12.5},
                    {"categories", Json::array({Json{{"_id", "c-1"}, {"type", "c"}}})}};
  auto added = Events(TSRItemAction_addToCart);
  ASSERT_EQ(added.size(), 1u);
  EXPECT_EQ(Json::parse(added[0][TSREvent_lineItem].get<std::string>()),
            (Json{{"item", condensed}, {"quantity", 2}}));

  auto purchased = Events(TSRItemAction_purchase);
  ASSERT_EQ(purchased.size(), 1u);
  Json sent_order = Json::parse(purchased[0][TSREvent_order].get<std::string>());
  ASSERT_EQ(sent_order["lineItems"].size(), 1u);
  EXPECT_EQ(sent_order["lineItems"][0]["item"], condensed);
  EXPECT_EQ(sent_order["totalValue"], 25);

  auto viewed = Events(TSRItemAction_viewCart);
  ASSERT_EQ(viewed.size(), 1u);
  EXPECT_EQ(Json::parse(viewed[0][TSREvent_order].get<std::string>()), (Json{{"orderId", "o-2"}}));
  EXPECT_TRUE(Events(TSRItemAction_removeFromCart).empty());
  EXPECT_TRUE(log.contains("Context: Required lineItem was not provided", TSRLogLevelError));
}

TEST_F(ContextTest, ReviewNeedsACondensableItemEvenWithAValidReview) {
  StartActive();
  auto context = Make("reviews");
  Json review = {{"itemId", "p-1"}, {"rating", 4}, {"mood", "happy"}};
  context->reviewWithDictionary(Product(), review);
  context->reviewWithDictionary(Json{{"type", "p"}}, review);
  context->reviewWithDictionary(nullptr, review);
  sim->runUntilIdle();

  auto sent = Events(TSRItemAction_review);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(Json::parse(sent[0][TSREvent_review].get<std::string>()), review);
  EXPECT_EQ(Json::parse(sent[0][TSREvent_item].get<std::string>())["_id"], "p-1");
  EXPECT_EQ(log.count("Context: Unknown field [mood] for [review]", TSRLogLevelWarn), 2);
  EXPECT_TRUE(log.contains("Context: Required item was not provided", TSRLogLevelError));
}

TEST_F(ContextTest, ReservedHandlerTargetsAreRefusedInAnyCase) {
  StartActive();
  auto context = Make("home");
  auto handler = [](const std::shared_ptr<TSRCampaign>&) {};
  context->setCampaignHandler(handler, "TSRbanner");
  context->setCampaignHandler(handler, "tSr");
  context->setCampaignHandler(handler, "banner");
  context->setCampaignHandler(handler, "tsr_mn", false);
  sim->runUntilIdle();

  EXPECT_TRUE(log.contains("Context: [home] Ignoring setCampaignHandler for target [TSRbanner], prefix 'tsr' is reserved",
                           TSRLogLevelError));
  EXPECT_EQ(log.countContaining("prefix 'tsr' is reserved"), 2);
  EXPECT_TRUE(env->journalHas("dispatcher.setHandler:home:banner"));
  EXPECT_TRUE(env->journalHas("dispatcher.setHandler:home:tsr_mn"));
  EXPECT_FALSE(env->journalHas("dispatcher.setHandler:home:TSRbanner"));
}

TEST_F(ContextTest, AppAndUserStateDriveActivityDispatchingAndPings) {
  StartActive(Json{{"timeOnPageTimeout", 60}});
  auto context = Make("home");
  // Made after the start: the next start-as-necessary activates it.
  EXPECT_FALSE(context->isActive());
  Post(TessarinNotificationUserActive);
  ASSERT_TRUE(context->isActive());
  EXPECT_TRUE(log.contains("Context: [home] Active", TSRLogLevelInfo));
  // Activation registers and allows; the start that follows confirms both.
  EXPECT_EQ(Routing("home"), (std::vector<std::string>{"dispatcher.register:home", "dispatcher.allow:home",
                                                       "dispatcher.register:home", "dispatcher.allow:home"}));

  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  ASSERT_NE(context->pingTimer(), nullptr);
  sim->advance(20);

  // The app resigns active (an alert over it, say): the user is idle, so
  // the context is still active (the app is not in the background), but
  // nothing is dispatched and the ping so far is flushed.
  env->journal->clear();
  sim->setApplicationState(1);
  Post(platform::kApplicationWillResignActiveNotification);
  EXPECT_TRUE(context->isActive());
  EXPECT_EQ(Routing("home"), (std::vector<std::string>{"dispatcher.disallow:home"}));
  ASSERT_EQ(Pings().size(), 1u);
  EXPECT_EQ(Pings()[0][TSREvent_timeOnPage], 20000);
  EXPECT_EQ(context->pingTimer(), nullptr);

  // Active again, which counts as the user's activity: dispatching again
  // and a fresh ping period.
  env->journal->clear();
  sim->setApplicationState(0);
  Post(platform::kApplicationDidBecomeActiveNotification);
  EXPECT_EQ(Routing("home"), (std::vector<std::string>{"dispatcher.register:home", "dispatcher.allow:home"}));
  EXPECT_NE(context->pingTimer(), nullptr);

  // Background: inactive, disallowed, ping flushed.
  env->journal->clear();
  sim->advance(5);
  sim->enterBackground();
  sim->runUntilIdle();
  EXPECT_FALSE(context->isActive());
  EXPECT_TRUE(log.contains("Context: [home] Not active", TSRLogLevelInfo));
  EXPECT_TRUE(env->journalHas("dispatcher.disallow:home"));
  ASSERT_EQ(Pings().size(), 2u);
  EXPECT_EQ(Pings()[1][TSREvent_timeOnPage], 5000);
  // Nothing more while in the background.
  sim->advance(600);
  EXPECT_EQ(Pings().size(), 2u);

  sim->enterForeground();
  sim->runUntilIdle();
  EXPECT_TRUE(context->isActive());
  EXPECT_TRUE(env->journalHas("dispatcher.allow:home"));
}

TEST_F(ContextTest, WithoutIdleChecksAnUntouchedAppStillActivates) {
  StartActive(Json{{"contextChecksUserIdle", false}});
  // Two minutes without a touch: the user is idle.
  sim->advance(121);
  ASSERT_TRUE(env->hostApp().userIdle());
  auto context = Make("home");
  Post(TessarinNotificationStartAsNecessary);
  EXPECT_TRUE(context->isActive());

  auto strict = Make("strict");
  facade->config().setConfiguration(Json{{"contextChecksUserIdle", true}}, TSRConfig::kLayerServer);
  Post(TessarinNotificationStartAsNecessary);
  EXPECT_FALSE(strict->isActive());
}

TEST_F(ContextTest, PingsRepeatEveryIntervalAndNeverReportMoreThanOne) {
  StartActive(Json{{"timeOnPageTimeout", 30}});
  auto context = Make("home");
  Post(TessarinNotificationStartAsNecessary);
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  EXPECT_EQ(context->pingMaxDelay(), 30);

  // The user keeps using the app, so it never goes idle.
  for (int second = 0; second < 95; second += 5) {
    sim->advance(5);
    Touch();
  }
  auto pings = Pings();
  ASSERT_EQ(pings.size(), 3u);
  for (const Json& ping : pings) {
    EXPECT_EQ(ping[TSREvent_timeOnPage], 30000);
    // Pings carry the condensed item.
    Json item = Json::parse(ping[TSREvent_item].get<std::string>());
    EXPECT_FALSE(item.contains("name"));
    EXPECT_EQ(item["_id"], "p-1");
  }

  // The wall clock jumps ahead of the timer (a late firing): capped.
  sim->jumpWallClock(500);
  sim->advance(25);
  Touch();
  ASSERT_EQ(Pings().size(), 4u);
  EXPECT_EQ(Pings()[3][TSREvent_timeOnPage], 30000);

  // An invalid item clears the pingable one: nothing more is pinged.
  context->viewItemWithDictionary(Product(""), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  std::size_t before = Pings().size();
  sim->advance(300);
  EXPECT_EQ(Pings().size(), before);
  EXPECT_FALSE(context->currentViewItemPingableSparseJson());
}

TEST_F(ContextTest, AnItemWhoseCondensedFormCannotBeWrittenIsNeitherPingedNorSent) {
  StartActive(Json{{"timeOnPageTimeout", 30}});
  auto context = Make("home");
  Post(TessarinNotificationStartAsNecessary);
  // The id is not UTF-8: both the condensed item and the full one fail to
  // become text, each with the writer's line, when the item is viewed.
  context->viewItemWithDictionary(Product(std::string("p-\xC3\x28")), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  EXPECT_EQ(log.countContaining("Context: Could not make a JSON string from object p: "), 2);
  EXPECT_FALSE(context->currentViewItemPingableSparseJson());
  EXPECT_EQ(context->pingTimer(), nullptr);

  // Non-UTF-8 text outside the condensed fields keeps the ping, not the view.
  Json item = Product();
  item["name"] = std::string("\xFF");
  context->viewItemWithDictionary(item, TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  EXPECT_EQ(log.countContaining("Context: Could not make a JSON string from object p: "), 3);
  for (const Json& event : env->queue->events) EXPECT_NE(event.value("action", ""), "View Item");
  ASSERT_TRUE(context->currentViewItemPingableSparseJson());
  sim->advance(31);
  ASSERT_EQ(Pings().size(), 1u);
  EXPECT_EQ(Pings()[0][TSREvent_item], R"({"_id":"p-1","type":"p","price":12.5,"categories":[{"_id":"c-1","type":"c"}]})");
  EXPECT_EQ(Pings()[0][TSREvent_timeOnPage], 30000);
}

TEST_F(ContextTest, ZeroTimeoutRunsNoPingTimer) {
  StartActive(Json{{"timeOnPageTimeout", 0}});
  auto context = Make("home");
  Post(TessarinNotificationStartAsNecessary);
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  EXPECT_EQ(context->pingTimer(), nullptr);
  EXPECT_TRUE(context->currentViewItemPingableSparseJson());
  sim->advance(1000);
  EXPECT_TRUE(Pings().empty());
}

TEST_F(ContextTest, DestructionUnregistersWithoutPinging) {
  StartActive(Json{{"timeOnPageTimeout", 30}});
  auto context = Make("gone");
  Post(TessarinNotificationStartAsNecessary);
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  std::size_t observers = sim->notificationCenter().observerCount();
  sim->advance(10);
  context.reset();
  EXPECT_TRUE(env->journalHas("dispatcher.unregister:gone"));
  EXPECT_TRUE(log.contains("Context: [gone] Dealloc", TSRLogLevelDebug));
  EXPECT_EQ(sim->notificationCenter().observerCount(), observers - 4);
  sim->advance(100);
  EXPECT_TRUE(Pings().empty());
}

TEST_F(ContextTest, DisablingDeactivatesAndForgetsThePingableItem) {
  StartActive(Json{{"timeOnPageTimeout", 30}});
  auto context = Make("home");
  Post(TessarinNotificationStartAsNecessary);
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  ASSERT_TRUE(context->isActive());
  ASSERT_TRUE(context->currentViewItemPingableSparseJson());

  facade->setDisabled(true);
  sim->runUntilIdle();
  EXPECT_FALSE(context->isActive());
  EXPECT_FALSE(context->currentViewItemPingableSparseJson());
  EXPECT_EQ(context->pingTimer(), nullptr);
  EXPECT_EQ(facade->globalContext(), nullptr);

  // Calls made while disabled leave nothing behind for later.
  context->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  EXPECT_FALSE(context->currentViewItemPingableSparseJson());
}

TEST_F(ContextTest, FacadeTracksLifecycleOnTheGlobalContext) {
  // Started before the app becomes active, as an app does at launch: the
  // activation counts as the user's activity.
  facade->startWithConfiguration(Client());
  sim->launchApp();
  ASSERT_NE(facade->globalContext(), nullptr);
  EXPECT_EQ(facade->globalContext()->identifier(), "Global");
  auto launches = Events("App Launch");
  ASSERT_EQ(launches.size(), 1u);
  EXPECT_EQ(launches[0][TSREvent_contextId], "Global");
  EXPECT_TRUE(facade->globalContext()->isActive());
}

}  // namespace
}  // namespace tessarin

// An item view checks the condensed item it keeps for pings without
// building it, and condenses it only when a ping goes. These tests hold that
// shortcut to what condensing the item on every view logs, counts and sends.
#include <gtest/gtest.h>

#include <limits>

#include "core/config.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tessarin/context.h"
#include "tessarin/events.h"
#include "tessarin/tessarin.h"
#include "util/host_app.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using testing::FakeEnvironment;
using testing::LogCapture;

Json Category(const std::string& id, const std::string& type = "c") {
  return Json{{"_id", id}, {"type", type}, {"name", "Category " + id}};
}

Json Tag(const std::string& id) { return Json{{"_id", id}, {"type", "t"}, {"tagType", "colour"}}; }

Json Product() {
  return Json{{"_id", "p-1"},
              {"type", "p"},
              {"name", "Lamp"},
              {"price", 12.5},
              {"categories", Json::array({Category("c-1")})},
              {"tags", Json::array({Tag("t-1")})}};
}

// Items whose checks log, fail or are refused by the writer at every step
// of condensing.
std::vector<std::pair<std::string, Json>> TrickyItems() {
  std::vector<std::pair<std::string, Json>> items;
  auto add = [&items](const std::string& name, auto change) {
    Json item = Product();
    change(item);
    items.emplace_back(name, std::move(item));
  };
  add("plain", [](Json&) {});
  add("unknown type", [](Json& item) {
    item["type"] = "zz";
    item["color"] = "red";
  });
  add("unknown fields inside and outside the condensed keys", [](Json& item) {
    item["tagType"] = "x";
    item["colour"] = "red";
  });
  add("blog with a currency", [](Json& item) {
    item["type"] = "b";
    item["currency"] = "EUR";
  });
  add("category of unknown type, category with unknown fields", [](Json& item) {
    Json odd = Category("c-2");
    odd["shelf"] = 4;
    item["categories"] = Json::array({Category("c-1", "q"), odd, Category("c-3", "t")});
  });
  add("tag-typed category without a tag type", [](Json& item) {
    item["categories"] = Json::array({Json{{"_id", "c-9"}, {"type", "t"}}});
  });
  add("tags with unknown fields and of another type", [](Json& item) {
    Json tag = Tag("t-2");
    tag["shade"] = "dark";
    Json category_tag = Category("t-3");
    category_tag["tagType"] = "colour";
    item["tags"] = Json::array({tag, category_tag, Json{{"_id", "t-4"}, {"type", "zz"}}});
  });
  add("tag that is not a dictionary", [](Json& item) { item["tags"] = Json::array({Tag("t-1"), "red"}); });
  add("categories not an array", [](Json& item) { item["categories"] = "lights"; });
  add("categories null", [](Json& item) { item["categories"] = nullptr; });
  add("category missing its id", [](Json& item) {
    item["categories"] = Json::array({Category("c-1"), Json{{"type", "c"}, {"name", "Nameless"}}});
  });
  add("empty categories and tags on a category", [](Json& item) {
    item["type"] = "c";
    item["categories"] = Json::array();
    item["tags"] = Json::array();
  });
  add("categories on a category", [](Json& item) { item["type"] = "c"; });
  add("non-UTF-8 outside the condensed fields", [](Json& item) {
    item["name"] = std::string("\xFF");
    item["categories"][0]["name"] = std::string("\xC3\x28");
  });
  add("non-UTF-8 in a condensed field", [](Json& item) { item["currency"] = std::string("\xFF"); });
  add("non-UTF-8 in a category's id", [](Json& item) { item["categories"][0]["_id"] = std::string("c-\xFF"); });
  add("NaN price", [](Json& item) { item["price"] = std::numeric_limits<double>::quiet_NaN(); });
  add("tag type of the item not text", [](Json& item) {
    item["type"] = "t";
    item["tagType"] = 7;
  });
  return items;
}

class ContextItemViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = Tessarin::createWithEnvironment(env);
    sim->launchApp();
    env->hostApp().setLastEventDate(sim->now(platform::Clock::kWall));
    facade->config().setConfiguration(Json{{"timeOnPageTimeout", 30}}, TSRConfig::kLayerServer);
    facade->startWithConfiguration(
        Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}, {"useDesignMode", false}});
    sim->runUntilIdle();
    viewer = TSRContext::initWithIdentifier("viewer", facade);
    reference = TSRContext::initWithIdentifier("reference", facade);
    sim->notificationCenter().post(TessarinNotificationStartAsNecessary, nullptr);
    sim->runUntilIdle();
    env->queue->events.clear();
  }

  // The context's own checking lines, in order.
  std::vector<std::string> ContextLines() const {
    std::vector<std::string> lines;
    for (const std::string& message : log.messages()) {
      if (message.rfind("Context: ", 0) == 0) lines.push_back(message);
    }
    return lines;
  }

  std::vector<Json> Events(const std::string& endpointOrAction) const {
    std::vector<Json> out;
    for (const Json& event : env->queue->events) {
      if (event.value(TSREvent_simulatedEndpoint, "") == endpointOrAction ||
          event.value(TSREvent_action, "") == endpointOrAction) {
        out.push_back(event);
      }
    }
    return out;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<Tessarin> facade;
  std::shared_ptr<TSRContext> viewer;
  std::shared_ptr<TSRContext> reference;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(ContextItemViewTest, ViewLogsCountsAndPingsAsCondensingOnEveryViewWould) {
  for (const auto& [name, item] : TrickyItems()) {
    SCOPED_TRACE(name);
    // What a view did when it condensed the item at once: the item's own
    // checks, condensing and writing the condensed item, writing the full
    // item for the view event.
    log.clear();
    std::int64_t warnings_before = reference->promoteWarnings();
    std::optional<std::string> expected_ping;
    if (reference->hasRequiredStringFields(item)) {
      reference->logUnknownItemFields(item);
      if (auto sparse = reference->sparsifyItem(item)) expected_ping = reference->stringifyItemToJson(&*sparse);
      Json stripped = TSRContext::stripEmptyCategoriesAndTagsFromItem(item);
      reference->stringifyItemToJson(&stripped);
    }
    std::vector<std::string> expected_lines = ContextLines();
    std::int64_t expected_warnings = reference->promoteWarnings() - warnings_before;

    log.clear();
    warnings_before = viewer->promoteWarnings();
    viewer->viewItemWithDictionary(item, TSRItemAction_viewItem, std::nullopt);
    sim->runUntilIdle();
    EXPECT_EQ(ContextLines(), expected_lines);
    EXPECT_EQ(viewer->promoteWarnings() - warnings_before, expected_warnings);
    EXPECT_EQ(viewer->currentViewItemPingableSparseJson(), expected_ping);

    std::size_t pings_before = Events("p").size();
    sim->advance(31);
    auto pings = Events("p");
    if (expected_ping) {
      ASSERT_EQ(pings.size(), pings_before + 1);
      EXPECT_EQ(pings.back()[TSREvent_item], *expected_ping);
    } else {
      EXPECT_EQ(pings.size(), pings_before);
      EXPECT_EQ(viewer->pingTimer(), nullptr);
    }
  }
}

TEST_F(ContextItemViewTest, PreviousItemsPingGoesBeforeTheNextViewAndZeroTimeOnlyWarns) {
  Json first = Product();
  first["name"] = "First";
  viewer->viewItemWithDictionary(first, TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  sim->advance(10);
  Json second = Product();
  second["_id"] = "p-2";
  viewer->viewItemWithDictionary(second, TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();

  const auto& events = env->queue->events;
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0][TSREvent_action], TSRItemAction_viewItem);
  EXPECT_EQ(events[1][TSREvent_simulatedEndpoint], "p");
  EXPECT_EQ(events[1][TSREvent_timeOnPage], 10000);
  EXPECT_EQ(events[1][TSREvent_item],
            R"({"_id":"p-1","type":"p","price":12.5,"categories":[{"_id":"c-1","type":"c"}],)"
            R"("tags":[{"_id":"t-1","type":"t","tagType":"colour"}]})");
  EXPECT_EQ(events[2][TSREvent_action], TSRItemAction_viewItem);
  EXPECT_EQ(Json::parse(events[2][TSREvent_item].get<std::string>())["_id"], "p-2");

  // Replaced with no time on the page: no ping, only the refusal, which
  // prints the condensed item.
  log.clear();
  viewer->viewItemWithDictionary(Product(), TSRItemAction_viewItem, std::nullopt);
  sim->runUntilIdle();
  EXPECT_EQ(Events("p").size(), 1u);
  EXPECT_TRUE(log.contains(R"(Ping: Ignoring, invalid, 0.000 {"_id":"p-2","type":"p","price":12.5,)"
                           R"("categories":[{"_id":"c-1","type":"c"}],"tags":[{"_id":"t-1","type":"t","tagType":"colour"}]})",
                           TSRLogLevelWarn));
}

}  // namespace
}  // namespace tessarin

// An item view takes two shortcuts: it checks the condensed item it keeps
// for pings without building it (condensing it only when a ping goes), and
// for a plain catalog object it writes both texts straight from the object.
// These tests hold both to what the full path (JSON, checks, condensing on
// every view) logs, counts and sends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "core/tessarin_impl.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tracking/context_impl.h"
#include "tessarin/events.h"
#include "tracking/plain_item_view.h"
#include "util/config.h"
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

// A host app's own product class, with JSON of its own.
class HostProduct : public TSRProduct {
 public:
  Json toJSONDictionary() const override {
    Json json = TSRProduct::toJSONDictionary();
    json["shelf"] = "B4";
    return json;
  }
};

// Random catalog objects, mostly well-formed, with every kind of flaw the
// full path reports now and then.
class RandomItems {
 public:
  explicit RandomItems(unsigned seed) : random_(seed) {}

  std::shared_ptr<TSRItem> Item(int depth = 0) {
    std::shared_ptr<TSRItem> item;
    switch (Pick(depth == 0 ? 7 : 5)) {
      case 0: item = Filled(std::make_shared<TSRCategory>(), depth); break;
      case 1: item = Tagged(std::make_shared<TSRTag>(), depth); break;
      case 2: item = Blog(std::make_shared<TSRArticle>(), depth); break;
      case 3: item = Blog(std::make_shared<TSRBlog>(), depth); break;
      case 5: item = Product(std::make_shared<HostProduct>(), depth); break;
      case 6: item = Filled(std::make_shared<TSRItem>(), depth); break;
      default: item = Product(std::make_shared<TSRProduct>(), depth); break;
    }
    return item;
  }

 private:
  int Pick(int n) { return static_cast<int>(random_() % n); }
  bool Rarely() { return Pick(12) == 0; }
  bool Often() { return Pick(3) != 0; }

  std::string Text() {
    static const char* kTexts[] = {"sku-1", "Trail Shoes", "https://shop.example/p/1?ref=home&x=1",
                                   "A long description of exactly the kind an app sends", "EUR", "c-7"};
    if (Rarely()) {
      static const char* kOdd[] = {"", "Café", "quote \" and backslash \\", "tab\tnew\nline", "\x01"};
      return kOdd[Pick(5)];
    }
    return kTexts[Pick(6)];
  }

  double Number() {
    if (Rarely()) {
      const double odd[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                            1e21, -0.0};
      return odd[Pick(4)];
    }
    const double numbers[] = {89, 89.5, 0, -3, 0.1, 12};
    return numbers[Pick(6)];
  }

  std::shared_ptr<TSRItem> Filled(std::shared_ptr<TSRItem> item, int depth) {
    if (!Rarely()) item->tsrId = Pick(2) ? "i-" + std::to_string(Pick(100)) : Text();
    if (Often()) item->name = Text();
    if (Pick(2)) item->tsrDescription = Text();
    if (Pick(2)) item->url = Text();
    if (Pick(3) == 0) item->imageUrl = Text();
    if (Pick(3) == 0) item->published = Rarely() ? -5.5 : 1500000000;
    if (Pick(4) == 0) item->expiration = 1500000000.25;
    if (depth < 2 && Pick(3) == 0) {
      for (int n = 1 + Pick(2); n > 0; --n) item->tags.push_back(Element(depth, /*tags=*/true));
    }
    if (Pick(4) == 0) item->promotionState = static_cast<TSRPromotionState>(1 + Pick(2));
    if (Rarely()) item->location = TSRLocation::locationWithPostalCode("10115");
    if (Rarely()) item->rating = Number();
    if (Rarely()) item->numRatings = 3;
    if (auto category = std::dynamic_pointer_cast<TSRCategory>(item)) category->isDepartment = Pick(2);
    return item;
  }

  std::shared_ptr<TSRItem> Tagged(std::shared_ptr<TSRTag> tag, int depth) {
    Filled(tag, depth);
    tag->tagType = static_cast<TSRTagType>(Rarely() ? 9 : Pick(7));
    return tag;
  }

  // An element of a "tags" or "categories" list: usually of the right
  // class, now and then of another, a host subclass or missing.
  std::shared_ptr<TSRItem> Element(int depth, bool tags) {
    if (Rarely()) {
      switch (Pick(3)) {
        case 0: return nullptr;
        case 1: return Item(depth + 1);
        default: break;
      }
    }
    if (tags) return Tagged(std::make_shared<TSRTag>(), depth + 1);
    return Filled(std::make_shared<TSRCategory>(), depth + 1);
  }

  std::shared_ptr<TSRItem> Categorized(std::shared_ptr<TSRCategorizedItem> item, int depth) {
    Filled(item, depth);
    if (depth < 2 && Often()) {
      for (int n = Pick(4); n > 0; --n) item->categories.push_back(Element(depth, /*tags=*/false));
    }
    return item;
  }

  std::shared_ptr<TSRItem> Product(std::shared_ptr<TSRProduct> product, int depth) {
    Categorized(product, depth);
    if (Often()) product->price = Number();
    if (Pick(3) == 0) product->priceDescription = Text();
    if (Pick(2)) product->listPrice = Number();
    if (Pick(2)) product->currency = Text();
    if (Pick(3) == 0) product->inventoryCount = Number();
    if (Pick(4) == 0) product->alternateId = Text();
    return product;
  }

  template <class T>
  std::shared_ptr<TSRItem> Blog(std::shared_ptr<T> item, int depth) {
    Categorized(item, depth);
    if (Pick(2)) item->modifiedDate = 1600000000.5;
    if (Pick(2)) item->subTitle = Text();
    return item;
  }

  std::mt19937 random_;
};

class ContextItemViewTest : public ::testing::Test {
 protected:
  void SetUp() override {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    facade->config().setConfiguration(Json{{"timeOnPageTimeout", 30}}, TSRConfig::kLayerServer);
    // Started at launch; becoming active counts as the user's activity.
    facade->startWithConfiguration(
        Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}, {"useDesignMode", false}});
    sim->launchApp();
    viewer = TSRContextImpl::initWithIdentifier("viewer", facade);
    reference = TSRContextImpl::initWithIdentifier("reference", facade);
    sim->notificationCenter().post(TessarinNotificationStartAsNecessary, nullptr);
    sim->runUntilIdle();
    env->queue->events.clear();
  }

  // The context's own checking lines, in order.
  std::vector<std::string> ContextLines() const { return LinesStartingWith({"Context: "}); }

  std::vector<std::string> LinesStartingWith(std::initializer_list<const char*> prefixes) const {
    std::vector<std::string> lines;
    for (const std::string& message : log.messages()) {
      for (const char* prefix : prefixes) {
        if (message.rfind(prefix, 0) == 0) lines.push_back(message);
      }
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
  std::shared_ptr<TessarinImpl> facade;
  std::shared_ptr<TSRContextImpl> viewer;
  std::shared_ptr<TSRContextImpl> reference;
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
      Json stripped = TSRContextImpl::stripEmptyCategoriesAndTagsFromItem(item);
      reference->stringifyItemToJson(&stripped);
    }
    std::vector<std::string> expected_lines = ContextLines();
    std::int64_t expected_warnings = reference->promoteWarnings() - warnings_before;

    log.clear();
    warnings_before = viewer->promoteWarnings();
    sim->app().sendEvent();  // the user opens the item: not idle
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

TEST_F(ContextItemViewTest, PlainObjectsWriteWhatTheirJsonWouldAndOnlyTheyAreTakenStraight) {
  RandomItems items(11);
  int plain_count = 0;
  for (int i = 0; i < 3000; ++i) {
    std::shared_ptr<TSRItem> item = items.Item();
    SCOPED_TRACE(i);
    // The full path: the object's JSON, the view's checks, its text and
    // the condensed item.
    log.clear();
    std::int64_t warnings_before = reference->promoteWarnings();
    Json json = item->toJSONDictionary();
    std::optional<std::string> text, condensed;
    if (reference->hasRequiredStringFields(json)) {
      reference->logUnknownItemFields(json);
      if (auto sparse = reference->sparsifyItem(json)) condensed = reference->stringifyItemToJson(&*sparse);
      Json stripped = TSRContextImpl::stripEmptyCategoriesAndTagsFromItem(json);
      text = reference->stringifyItemToJson(&stripped);
    }
    bool quiet = LinesStartingWith({"Context: ", "Items: "}).empty() &&
                 reference->promoteWarnings() == warnings_before;

    std::optional<PlainItemView> plain = WritePlainItemView(*item);
    if (!plain) continue;
    ++plain_count;
    EXPECT_TRUE(quiet) << json.dump();
    EXPECT_EQ(plain->item, text) << json.dump();
    EXPECT_EQ(plain->condensed, condensed) << json.dump();
  }
  // Both ways are taken often enough for the comparison to mean something.
  EXPECT_GT(plain_count, 300);
  EXPECT_LT(plain_count, 2700);
}

TEST_F(ContextItemViewTest, AWellFormedProductIsPlainAndItsViewsMatchTheFullPath) {
  auto product = TSRProduct::productWithId("sku-9", "Lamp", 12.5, "https://shop.example/sku-9", std::nullopt,
                                           "Warm \"light\"");
  product->currency = "EUR";
  product->categories = {TSRCategory::categoryWithId("c-1", true, "Lights", std::nullopt)};
  product->tags = {TSRTag::tagWithId("t-1", TSRTagType_brand)};
  ASSERT_TRUE(WritePlainItemView(*product));
  auto rated = std::make_shared<TSRProduct>(*product);
  rated->rating = 4.5;
  EXPECT_FALSE(WritePlainItemView(*rated));

  // The same views, one context through the object, the other through its
  // JSON: a view, its ping after ten seconds, a view replacing it with no
  // time on the page (refused, printing the condensed item), and a view of
  // an item that is not plain.
  auto run = [&](const std::shared_ptr<TSRContextImpl>& context, bool objects) {
    auto view = [&](const std::shared_ptr<TSRItem>& item) {
      if (objects) {
        context->viewItem(item);
      } else {
        context->viewItemWithDictionary(item->toJSONDictionary(), TSRItemAction_viewItem, std::nullopt);
      }
      sim->runUntilIdle();
    };
    env->queue->events.clear();
    log.clear();
    view(product);
    sim->advance(10);
    view(product);
    view(rated);
    std::vector<Json> events = env->queue->events;
    for (Json& event : events) {
      event.erase(TSREvent_contextId);
      event.erase(TSREvent_timestamp);
    }
    return std::make_pair(events, LinesStartingWith({"Context: ", "Ping: ", "Action: ["}));
  };
  auto [direct_events, direct_lines] = run(viewer, true);
  auto [json_events, json_lines] = run(reference, false);
  ASSERT_EQ(direct_events.size(), 4u);
  EXPECT_EQ(direct_events, json_events);
  EXPECT_EQ(direct_events[1][TSREvent_item], R"({"_id":"sku-9","type":"p","price":12.5,"currency":"EUR",)"
                                            R"("categories":[{"_id":"c-1","type":"c"}],)"
                                            R"("tags":[{"_id":"t-1","type":"t","tagType":"Brand"}]})");
  EXPECT_EQ(direct_lines.size(), json_lines.size());
  for (std::size_t i = 0; i < std::min(direct_lines.size(), json_lines.size()); ++i) {
    // Only the context's name differs.
    std::string line = direct_lines[i];
    for (std::size_t at; (at = line.find("viewer")) != std::string::npos;) line.replace(at, 6, "reference");
    EXPECT_EQ(line, json_lines[i]);
  }
  EXPECT_TRUE(log.contains("Context: Unknown field [rating] for [p]", TSRLogLevelWarn));
  // The refusal of the replaced view's ping prints its condensed item,
  // read back from the kept text.
  EXPECT_TRUE(std::find(direct_lines.begin(), direct_lines.end(),
                        std::string("Ping: Ignoring, invalid, 0.000 ") + direct_events[1][TSREvent_item].get<std::string>()) !=
              direct_lines.end());
}

}  // namespace
}  // namespace tessarin

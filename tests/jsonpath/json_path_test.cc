#include "jsonpath/json_path.h"

#include <gtest/gtest.h>

#include <thread>

#include "jsonpath/json_path_expression.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using testing::LogCapture;

const Json& Bookstore() {
  static const Json store = Json::parse(R"({"store": {
    "book": [
      {"category": "reference", "author": "Nigel Rees", "title": "Sayings of the Century", "price": 8.95},
      {"category": "fiction", "author": "Evelyn Waugh", "title": "Sword of Honour", "price": 12.99},
      {"category": "fiction", "author": "Herman Melville", "title": "Moby Dick", "isbn": "0-553-21311-3",
       "price": 8.99},
      {"category": "fiction", "author": "J. R. R. Tolkien", "title": "The Lord of the Rings",
       "isbn": "0-395-19395-8", "price": 22.99}
    ],
    "bicycle": {"color": "red", "price": 19.95}
  }})");
  return store;
}

// A view controller's description as the screens build it: a detail screen
// inside a navigation controller presented by a tab bar controller.
const Json& Description() {
  static const Json description = Json::parse(R"({
    "title": "Product", "className": "ProductVC",
    "classHierarchy": ["ProductVC", "UITableViewController", "UIViewController", "UIResponder", "NSObject"],
    "storyboardSegueIds": ["UIStoryboardPushSegueTemplate-showReviews"],
    "parentDescription": {"className": "UINavigationController", "title": "Shop",
      "presentingDescription": {"name": "tabs", "className": "MainTabBarController"}}})");
  return description;
}

Json Values(const Json& root, std::string_view expression, bool flatten = false) {
  TSRJsonPath path(root, TSRJsonPath::kResultTypeValue);
  path.setFlatten(flatten);
  return path.evaluateExpression(expression).value_or(Json("no result"));
}

Json Paths(const Json& root, std::string_view expression) {
  return TSRJsonPath(root, TSRJsonPath::kResultTypePath).evaluateExpression(expression).value_or(Json("no result"));
}

Json Titles(const Json& books) {
  Json titles = Json::array();
  for (const Json& book : books) titles.push_back(book.at("title"));
  return titles;
}

TEST(JsonPathBookstore, ClassicQueries) {
  const Json& store = Bookstore();
  EXPECT_EQ(Values(store, "$.store.book[*].author"),
            Json({"Nigel Rees", "Evelyn Waugh", "Herman Melville", "J. R. R. Tolkien"}));
  EXPECT_EQ(Values(store, "$..author"), Values(store, "$.store.book[*].author"));
  EXPECT_EQ(Values(store, "$.store.*"), Json::array({store["store"]["book"], store["store"]["bicycle"]}));
  EXPECT_EQ(Values(store, "$.store..price"), Json({8.95, 12.99, 8.99, 22.99, 19.95}));
  EXPECT_EQ(Titles(Values(store, "$..book[2]")), Json({"Moby Dick"}));
  EXPECT_EQ(Titles(Values(store, "$..book[-1:]")), Json({"The Lord of the Rings"}));
  EXPECT_EQ(Titles(Values(store, "$..book[0,1]")), Json({"Sayings of the Century", "Sword of Honour"}));
  EXPECT_EQ(Titles(Values(store, "$..book[:2]")), Json({"Sayings of the Century", "Sword of Honour"}));
  EXPECT_EQ(Values(store, "$..book[0][category,author]"), Json({"reference", "Nigel Rees"}));
  EXPECT_EQ(Values(store, "$['store']['bicycle']['color']"), Json({"red"}));
  EXPECT_EQ(Titles(Values(store, "$..book[?(@.price < 10)]")), Json({"Sayings of the Century", "Moby Dick"}));
  // Everything below the root once: store, its two members, four books,
  // eighteen book fields and two bicycle fields.
  EXPECT_EQ(Values(store, "$..*").size(), 27u);
  EXPECT_EQ(Values(store, "$"), Json::array({store}));
  EXPECT_EQ(Values(store, "$.store.missing"), Json::array());
}

TEST(JsonPathBookstore, PathsAreNormalisedWithIndexesAndQuotedNames) {
  EXPECT_EQ(Paths(Bookstore(), "$..book[?(@.price > 20)].title"), Json({"$['store']['book'][3]['title']"}));
  EXPECT_EQ(Paths(Bookstore(), "$.store.bicycle.*"),
            Json({"$['store']['bicycle']['color']", "$['store']['bicycle']['price']"}));
  EXPECT_EQ(Paths(Bookstore(), "$"), Json({"$"}));
}

TEST(JsonPathBookstore, FlattenSplicesArrayValues) {
  EXPECT_EQ(Values(Bookstore(), "$.store.book").size(), 1u);
  Json flat = Values(Bookstore(), "$.store.book", true);
  EXPECT_EQ(flat.size(), 4u);
  EXPECT_EQ(flat[3]["title"], "The Lord of the Rings");
  // Paths are never arrays, so flattening does not change them.
  TSRJsonPath paths(Bookstore(), TSRJsonPath::kResultTypePath);
  paths.setFlatten(true);
  EXPECT_EQ(paths.evaluateExpression("$.store.book"), Json({"$['store']['book']"}));
}

TEST(JsonPathEvaluate, NoResultWithoutRootExpressionOrAKnownResultType) {
  EXPECT_EQ(TSRJsonPath(std::nullopt, 0).evaluateExpression("$"), std::nullopt);
  EXPECT_EQ(TSRJsonPath(Bookstore(), 0).evaluateExpression(std::nullopt), std::nullopt);
  EXPECT_EQ(TSRJsonPath(Bookstore(), 2).evaluateExpression("$.store"), std::nullopt);
  EXPECT_EQ(TSRJsonPath(Bookstore(), -1).evaluateNodes(&Bookstore(), "$.store"), std::nullopt);
  // An empty expression is no expression step at all: the root itself.
  Json doc = {{"a", 1}};
  EXPECT_EQ(Values(doc, ""), Json::array({doc}));
}

TEST(JsonPathEvaluate, NodesPointIntoTheSearchedTree) {
  TSRJsonPath path(std::nullopt, TSRJsonPath::kResultTypeValue);
  const Json& store = Bookstore();
  auto nodes = path.evaluateNodes(&store, "$.store.bicycle.color");
  ASSERT_TRUE(nodes);
  ASSERT_EQ(nodes->size(), 1u);
  EXPECT_EQ((*nodes)[0].value, &store["store"]["bicycle"]["color"]);
  EXPECT_EQ((*nodes)[0].path, (std::vector<std::string>{"$", "store", "bicycle", "color"}));
  EXPECT_FALSE((*nodes)[0].isParentSelector);
}

TEST(JsonPathNormalize, BracketsDotsCaretsAndStashedConditions) {
  EXPECT_EQ(TSRJsonPath::normalize("$['store'].book[0]"), (std::vector<std::string>{"$", "store", "book", "0"}));
  EXPECT_EQ(TSRJsonPath::normalize("$..book[?(@.price < 10)].title"),
            (std::vector<std::string>{"$", "..", "book", "?(@.price < 10)", "title"}));
  // Dots and brackets inside a condition are not steps.
  EXPECT_EQ(TSRJsonPath::normalize("$[(@.a.b == 'x[0]')]"), (std::vector<std::string>{"$", "(@.a.b == 'x[0]')"}));
  EXPECT_EQ(TSRJsonPath::normalize("$['a.b']"), (std::vector<std::string>{"$", "a.b"}));
  EXPECT_EQ(TSRJsonPath::normalize("$.a.b.^^.c"), (std::vector<std::string>{"$", "a", "b", "^", "^", "c"}));
  EXPECT_EQ(TSRJsonPath::normalize("a.b"), (std::vector<std::string>{"a", "b"}));
}

TEST(JsonPathNormalize, SeparatorsCountOnlyAsWholeCharacters) {
  // A combining mark joins the ";" it follows into one user-perceived
  // character, which then separates nothing.
  const std::string joined = "a;\xCC\x81" "b";
  EXPECT_EQ(TSRJsonPath::normalize("$." + joined), (std::vector<std::string>{"$", joined}));
  Json doc = {{joined, 1}, {"a", {{"\xCC\x81" "b", 2}}}};
  EXPECT_EQ(Values(doc, "$." + joined), Json({1}));
  // Likewise a comma with a mark on it is no union.
  Json commas = {{"x", 1}, {"y", 2}};
  EXPECT_EQ(Values(commas, "$[x,y]"), Json({1, 2}));
  EXPECT_EQ(Values(commas, "$[x,\xCC\x81y]"), Json::array());
}

TEST(JsonPathNormalize, EachTextIsNormalisedOnceUntilTheBoundedCacheStartsOver) {
  auto first = jsonpath::NormalizedSegments("$.cache.probe[?(@.x == 1)]");
  EXPECT_EQ(first, jsonpath::NormalizedSegments(std::string("$.cache.probe[?(@.x == 1)]")));
  EXPECT_NE(first, jsonpath::NormalizedSegments("$.cache.probe[?(@.x == 2)]"));
  // The condition's operand expression is normalised through the same cache.
  ASSERT_TRUE(first->back().condition);
  EXPECT_EQ(first->back().condition->left.expression, jsonpath::NormalizedSegments("$.x"));

  // Threads asking at once all get the one entry.
  std::vector<std::shared_ptr<const jsonpath::Segments>> seen(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = jsonpath::NormalizedSegments("$.cache.race[0:2]"); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& segments : seen) EXPECT_EQ(segments, seen[0]);

  // A process that meets ever new texts does not keep them all: once the
  // cache has started over, the first text is normalised afresh, and what
  // was handed out before (with its condition's operands) stays usable.
  for (std::size_t i = 0; i <= jsonpath::kCachedExpressions; ++i) {
    jsonpath::NormalizedSegments("$.cache.churn[" + std::to_string(i) + "]");
  }
  EXPECT_NE(first, jsonpath::NormalizedSegments("$.cache.probe[?(@.x == 1)]"));
  EXPECT_EQ(first->back().condition->left.expression->back().text, "x");
}

// The rules below are where this dialect parts from others.

TEST(JsonPathFilter, IteratesArraysButTestsADictionaryItself) {
  const Json& store = Bookstore();
  EXPECT_EQ(Values(store, "$.store.bicycle[?(@.color == 'red')]"), Json::array({store["store"]["bicycle"]}));
  // The store has no colour itself; its members are not visited.
  EXPECT_EQ(Values(store, "$.store[?(@.color == 'red')]"), Json::array());
  EXPECT_EQ(Values(Description(), "$[?(@.title =~ /^prod/i)].className"), Json({"ProductVC"}));
  EXPECT_EQ(Values(Description(), "$.classHierarchy[?(@ == 'UITableViewController')]"),
            Json({"UITableViewController"}));
  // A filter on a string tests the string.
  EXPECT_EQ(Values(store, "$.store.bicycle.color[?(@ == 'red')]"), Json({"red"}));
}

TEST(JsonPathScript, IsAConditionNeverAComputedName) {
  const Json& store = Bookstore();
  EXPECT_EQ(Values(store, "$.store.book[(@.length-1)]"), Json::array());
  EXPECT_EQ(Values(store, "$.store.bicycle[(@.price > 10)].color"), Json({"red"}));
  EXPECT_EQ(Values(store, "$.store.bicycle[(@.price > 20)].color"), Json::array());
}

TEST(JsonPathParent, ResolvesFromTheRootAndEndsTheExpression) {
  const Json& store = Bookstore();
  EXPECT_EQ(Titles(Values(store, "$..isbn.^")), Json({"Moby Dick", "The Lord of the Rings"}));
  // What follows a resolved "^" is not applied.
  EXPECT_EQ(Values(store, "$..isbn.^.title"), Values(store, "$..isbn.^"));
  EXPECT_EQ(Values(store, "$.store.book.^"), Json::array({store["store"]}));
  EXPECT_EQ(Paths(store, "$.store.bicycle.color.^"), Json({"$['store']['bicycle']"}));
  // The parent of a first-level value is never resolved, so nothing.
  EXPECT_EQ(Values(store, "$.store.^"), Json::array());
  EXPECT_EQ(Values(store, "$.^"), Json::array());
  // Two carets: the second is part of the rest that the first drops.
  EXPECT_EQ(Values(store, "$.store.bicycle.color.^^"), Json::array({store["store"]["bicycle"]}));
}

TEST(JsonPathDescendants, ArraysAreNotSearchedThemselvesUnlessTheRestBeginsWithAStar) {
  EXPECT_EQ(Values(Description(), "$..className"),
            Json({"ProductVC", "UINavigationController", "MainTabBarController"}));
  Json nested = {{"rows", Json::array({Json::array({1, 2}), Json::array({3})})}};
  // "[0]" is not applied to the arrays that ".." reaches, only to values
  // found inside them.
  EXPECT_EQ(Values(nested, "$..[0]"), Json::array());
  EXPECT_EQ(Values(nested, "$..*"), Json::array({nested["rows"], Json::array({1, 2}), Json::array({3}), 1, 2, 3}));
}

TEST(JsonPathSlice, BoundsStepsAndWhatIsNoSlice) {
  Json numbers = {{"n", Json::array({0, 1, 2, 3, 4, 5})}};
  EXPECT_EQ(Values(numbers, "$.n[1:3]"), Json({1, 2}));
  EXPECT_EQ(Values(numbers, "$.n[::2]"), Json({0, 2, 4}));
  EXPECT_EQ(Values(numbers, "$.n[1::4]"), Json({1, 5}));
  EXPECT_EQ(Values(numbers, "$.n[-2:]"), Json({4, 5}));
  EXPECT_EQ(Values(numbers, "$.n[-100:2]"), Json({0, 1}));
  EXPECT_EQ(Values(numbers, "$.n[4:100]"), Json({4, 5}));
  EXPECT_EQ(Values(numbers, "$.n[3:1]"), Json::array());
  EXPECT_EQ(Values(numbers, "$.n[0:6:0]"), Json::array());
  EXPECT_EQ(Values(numbers, "$.n[::-1]"), Json::array());
  EXPECT_EQ(Values(numbers, "$.n[:]"), numbers["n"]);
  // Only arrays slice.
  EXPECT_EQ(Values(Json({{"d", {{"0", "a"}, {"1", "b"}}}}), "$.d[0:2]"), Json::array());
  // Index steps: a dictionary key that looks like a number is still a key.
  EXPECT_EQ(Values(Json({{"d", {{"1", "b"}}}}), "$.d[1]"), Json({"b"}));
  EXPECT_EQ(Values(numbers, "$.n[-1]"), Json::array());
  EXPECT_EQ(Values(numbers, "$.n[6]"), Json::array());
}

TEST(JsonPathCondition, OperatorsCompareNumbersOnlyAndStringsExactly) {
  Json item = {{"count", "5"}, {"n", 5}, {"x", 2.5}, {"flag", true}, {"name", "Caf\xC3\xA9"}};
  auto holds = [&item](const std::string& condition) {
    return !Values(item, "$[?(" + condition + ")]").empty();
  };
  EXPECT_FALSE(holds("@.count > 3"));  // a numeric string is no number
  EXPECT_TRUE(holds("@.n > 3"));
  EXPECT_TRUE(holds("@.n >= 5"));
  EXPECT_FALSE(holds("@.n < 5"));
  EXPECT_TRUE(holds("@.n <= 5.0"));
  EXPECT_TRUE(holds("@.x < 2.75"));
  EXPECT_TRUE(holds("@.n == 5.0"));
  EXPECT_FALSE(holds("@.n == '5'"));
  EXPECT_FALSE(holds("@.count == 5"));
  EXPECT_TRUE(holds("@.count == '5'"));
  EXPECT_TRUE(holds("@.flag == 1"));  // booleans are numbers
  EXPECT_TRUE(holds("@.name == 'Caf\xC3\xA9'"));
  EXPECT_FALSE(holds("@.name == 'Cafe\xCC\x81'"));  // no canonical equivalence
  EXPECT_TRUE(holds("@.n != 4"));
  EXPECT_TRUE(holds("@.missing != 'x'"));
  EXPECT_FALSE(holds("@.n <> 4"));   // unknown operator
  EXPECT_FALSE(holds("@.n>4"));      // operands and operator need blanks between them
  EXPECT_FALSE(holds("@.n"));        // no existence test
  EXPECT_FALSE(holds("@.n > four"));  // not a number: missing operand
  EXPECT_TRUE(holds("@.n > -1e3"));
  EXPECT_FALSE(holds("@.n =~ '5'"));  // =~ needs a regular expression
}

TEST(JsonPathCondition, NullIsNotTheSameAsMissing) {
  Json item = {{"empty", nullptr}, {"set", "x"}};
  auto holds = [&item](const std::string& condition) {
    return !Values(item, "$[?(" + condition + ")]").empty();
  };
  EXPECT_TRUE(holds("@.empty == NULL"));
  EXPECT_TRUE(holds("@.missing == null"));
  EXPECT_FALSE(holds("@.set == Null"));
  EXPECT_TRUE(holds("@.set != NULL"));
  EXPECT_FALSE(holds("@.empty != NULL"));
  // A missing value is not unequal to null.
  EXPECT_FALSE(holds("@.missing != NULL"));
}

TEST(JsonPathCondition, OperandsFromTheCurrentValueTheRootAndPaths) {
  const Json& store = Bookstore();
  EXPECT_EQ(Titles(Values(store, "$.store.book[?(@.price < $.store.bicycle.price)]")),
            Json({"Sayings of the Century", "Sword of Honour", "Moby Dick"}));
  EXPECT_EQ(Titles(Values(store, "$.store.book[?(@path == '$['store']['book'][1]')]")),
            Json({"Sword of Honour"}));
  EXPECT_EQ(Titles(Values(store, "$.store.book[?(@path.isbn =~ /\\[2\\]/)]")), Json({"Moby Dick"}));
  // Several values on the left: any of them; an array value: any element.
  EXPECT_EQ(Values(store, "$.store[?(@..price > 20)].bicycle.color"), Json({"red"}));
  EXPECT_EQ(Values(Description(), "$[?(@.classHierarchy == 'UIViewController')].title"), Json({"Product"}));
  EXPECT_EQ(Values(Description(), "$[?(@..name == 'tabs')].title"), Json({"Product"}));
  // Several values on the right are one array, which nothing equals.
  EXPECT_EQ(Values(store, "$.store.book[?(@.price == $..price)]"), Json::array());
}

TEST(JsonPathRegex, FlagsAndTheirWarnings) {
  const Json& store = Bookstore();
  LogCapture capture;
  EXPECT_EQ(Titles(Values(store, "$..book[?(@.author =~ /tolkien/)]")), Json::array());
  EXPECT_EQ(Titles(Values(store, "$..book[?(@.author =~ /tolkien/i)]")), Json({"The Lord of the Rings"}));
  EXPECT_TRUE(capture.records().empty());

  // Unknown flags are reported at every evaluation of the condition (once
  // per book here, a repeated flag once) and the expression still matches.
  EXPECT_EQ(Titles(Values(store, "$..book[?(@.author =~ /tolkien/gig)]")), Json({"The Lord of the Rings"}));
  EXPECT_EQ(capture.count("JSONPath: Ignoring regex modifier: g", TSRLogLevelWarn), 4);
  EXPECT_EQ(capture.records().size(), 4u);

  Json lines = {{"text", "first\nsecond"}};
  EXPECT_EQ(Values(lines, "$[?(@.text =~ /^second$/)].text").size(), 0u);
  EXPECT_EQ(Values(lines, "$[?(@.text =~ /^second$/m)].text").size(), 1u);
}

TEST(JsonPathRegex, APatternThatDoesNotCompileIsLoggedAndMatchesNothing) {
  LogCapture capture;
  Json item = {{"a", "(x"}};
  EXPECT_EQ(Values(item, "$[?(@.a =~ /(x/y)]"), Json::array());
  std::vector<LogRecord> records = capture.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].message, "JSONPath: Ignoring regex modifier: y");
  EXPECT_EQ(records[0].level, TSRLogLevelWarn);
  EXPECT_EQ(records[1].message.rfind("JSONPath: Invalid pattern: (x options: y error: U_REGEX_", 0), 0u)
      << records[1].message;
  EXPECT_EQ(records[1].level, TSRLogLevelError);
  // Not a regular-expression literal at all: a missing operand, silently.
  capture.clear();
  EXPECT_EQ(Values(item, "$[?(@.a =~ /x/q)]"), Json::array());
  EXPECT_TRUE(capture.records().empty());
}

TEST(JsonPathViewRule, MatchesAScreenDescriptionTheWayViewConfigsUseIt) {
  // A rule matches when its result is a non-empty array.
  auto matches = [](const std::string& rule) {
    std::optional<Json> result = TSRJsonPath(Description(), 0).evaluateExpression(rule);
    return result && result->is_array() && !result->empty();
  };
  EXPECT_TRUE(matches("$.className[?(@ == 'ProductVC')]"));
  EXPECT_TRUE(matches("$[?(@.className == 'ProductVC')]"));
  EXPECT_TRUE(matches("$..[?(@.className == 'MainTabBarController')]"));
  EXPECT_TRUE(matches("$.parentDescription[?(@.title =~ /^shop$/i)]"));
  EXPECT_TRUE(matches("$.storyboardSegueIds[?(@ =~ /showReviews$/)]"));
  EXPECT_FALSE(matches("$[?(@.className == 'HomeVC')]"));
  EXPECT_FALSE(matches("$.parentDescription.parentDescription"));
}

}  // namespace
}  // namespace tessarin

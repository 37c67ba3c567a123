// A view-action rule is evaluated over a screen's description each time the
// screen becomes active, on the host app's main thread, once per configured
// rule until one matches: it must cost microseconds. The rule's text is
// normalised once for the process; these figures are the steady state.
#include <benchmark/benchmark.h>

#include "jsonpath/json_path.h"

namespace tessarin {
namespace {

// A description chain of five view controllers, the most a screen builds:
// a detail screen in a navigation controller in a split view, presented by
// a tab bar controller inside a container.
Json FiveLevelDescription() {
  const char* const classes[] = {"CheckoutVC", "UINavigationController", "UISplitViewController",
                                 "MainTabBarController", "RootContainerVC"};
  Json description;
  for (int depth = 4; depth >= 0; --depth) {
    Json level = {{"name", "screen-" + std::to_string(depth)},
                  {"title", "Title " + std::to_string(depth)},
                  {"nibName", std::string(classes[depth]) + "View"},
                  {"className", classes[depth]},
                  {"restorationIdentifier", "restore-" + std::to_string(depth)},
                  {"accessibilityLabel", "Label " + std::to_string(depth)}};
    if (depth == 0) {
      level["classHierarchy"] = {"CheckoutVC", "BaseFormVC", "UITableViewController", "UIViewController",
                                 "UIResponder", "NSObject"};
      level["storyboardSegueIds"] = {"UIStoryboardShowSegueTemplate-pay", "UIStoryboardShowSegueTemplate-edit"};
    }
    if (!description.is_null()) level[depth == 2 ? "presentingDescription" : "parentDescription"] = description;
    description = std::move(level);
  }
  return description;
}

void Evaluate(benchmark::State& state, const char* rule) {
  const Json description = FiveLevelDescription();
  TSRJsonPath(description, TSRJsonPath::kResultTypeValue).evaluateExpression(rule);  // normalise once
  for (auto _ : state) {
    // As the screen does it: an evaluator over the description, one rule.
    TSRJsonPath path(description, TSRJsonPath::kResultTypeValue);
    std::optional<Json> result = path.evaluateExpression(rule);
    if (!result || result->empty()) state.SkipWithError("the rule should match");
    benchmark::DoNotOptimize(result);
  }
}

// Searches every level for the class name: the costliest common rule.
void BM_JsonPathViewRuleDescendantFilter(benchmark::State& state) {
  Evaluate(state, "$..[?(@.className == 'MainTabBarController')]");
}
BENCHMARK(BM_JsonPathViewRuleDescendantFilter);

void BM_JsonPathViewRuleClassHierarchy(benchmark::State& state) {
  Evaluate(state, "$.classHierarchy[?(@ =~ /^uitable/i)]");
}
BENCHMARK(BM_JsonPathViewRuleClassHierarchy);

void BM_JsonPathViewRuleParentTitle(benchmark::State& state) {
  Evaluate(state, "$.parentDescription[?(@.title == 'Title 1')]");
}
BENCHMARK(BM_JsonPathViewRuleParentTitle);

}  // namespace
}  // namespace tessarin

// A view-action rule over a screen's description: the configuration's
// "matchRule" (a JSONPath expression) evaluated over a JSON document, as the
// screen tracking does (values), and as tessarin-jsonpath does for a rule
// being tried out (values or normalised paths).
//
// The input is the expression on its first line and the document after it.
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "jsonpath/json_path.h"

namespace tessarin::fuzz {
namespace {

constexpr std::size_t kMaxInput = 1 << 20;

void Expect(bool holds, const char* what) {
  if (!holds) Fail("json_path", what);
}

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(json_path) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxInput) return;
  std::size_t newline = input.find('\n');
  if (newline == std::string_view::npos) return;
  std::string_view expression = input.substr(0, newline);
  std::optional<Json> document = ParseJson(input.substr(newline + 1));
  if (!document) return;

  TSRJsonPath values(*document, TSRJsonPath::kResultTypeValue);
  std::optional<Json> found = values.evaluateExpression(expression);
  Expect(found && found->is_array(), "a rule over a document gave no array");

  TSRJsonPath paths(*document, TSRJsonPath::kResultTypePath);
  std::optional<Json> where = paths.evaluateExpression(expression);
  Expect(where && where->is_array(), "a rule over a document gave no array of paths");
  for (const Json& path : *where) Expect(path.is_string(), "a normalised path is not a string");
}

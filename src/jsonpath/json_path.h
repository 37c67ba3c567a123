// TSRJsonPath: JSONPath over a JSON tree, as the view-action rules use it.
//
// An expression is normalised into segments (cached for the process, keyed
// by its text) and the segments are traced over the tree. Besides the usual
// steps ("name", [n], "*", "..", unions "a,b" and slices "start:end:step")
// it has a parent step "^", scripts "(condition)" and filters
// "?(condition)" written in a small condition language of its own. Some
// rules are the system's own and differ from other JSONPath dialects:
//  - a filter iterates only over an array; applied to a dictionary it tests
//    the dictionary itself and keeps it when the condition holds;
//  - a script is a condition on the current value, never a computed name;
//  - a resolved "^" ends the expression: the steps after it are not applied,
//    and "^" at the first level ("$.a.^") finds nothing;
//  - ".." does not apply the rest of the expression to an array itself
//    unless the rest begins with "*";
//  - a slice step of 0 finds nothing; negative steps are not slices at all;
//  - comparisons "<" "<=" ">" ">=" hold only between numbers, "=~" only for
//    a string on the left and a regular-expression literal on the right.
// Evaluation never throws for a bad expression: bad parts find nothing.
#ifndef TESSARIN_JSONPATH_JSON_PATH_H_
#define TESSARIN_JSONPATH_JSON_PATH_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessarin/json.h"

namespace tessarin {

// One intermediate result of a trace.
struct TSRJsonPathNode {
  // The steps leading to the value, beginning with "$".
  std::vector<std::string> path;
  // The steps still to apply; set only on parent-selector nodes.
  std::vector<std::string> expr;
  // The value found, inside the tree that was searched (valid as long as
  // that tree is); null on parent-selector nodes.
  const Json* value = nullptr;
  // The node stands for the parent of the value at `path` and still has to
  // be resolved.
  bool isParentSelector = false;
};

class TSRJsonPath {
 public:
  // 0: results are values; 1: results are normalised path strings
  // ("$['a'][0]"). Any other result type makes every evaluation give none.
  enum ResultType : long { kResultTypeValue = 0, kResultTypePath = 1 };

  TSRJsonPath(std::optional<Json> rootJSONObject, long resultType);

  // The array of results (possibly empty), or none when the root or the
  // expression is missing or the result type is neither 0 nor 1.
  std::optional<Json> evaluateExpression(std::optional<std::string_view> expression) const;

  // The same over any tree: with the result type applied (values or paths).
  std::optional<Json> evaluate(const Json* object, std::optional<std::string_view> expr) const;
  // ... or as the nodes found, before the result type is applied. Their
  // values point into `object`, or into the root for nodes that a parent
  // step resolved.
  std::optional<std::vector<TSRJsonPathNode>> evaluateNodes(const Json* object,
                                                            std::optional<std::string_view> expr) const;

  // The segments of an expression, as cached for the life of the process.
  static std::vector<std::string> normalize(std::string_view expression);
  // "$" followed by "[n]" for decimal elements and "['name']" for others.
  static std::string asPath(const std::vector<std::string>& path);

  // When set, array values are spliced into the results element by element.
  bool flatten() const { return flatten_; }
  void setFlatten(bool flatten) { flatten_ = flatten; }
  const std::optional<Json>& rootJSONObject() const { return rootJSONObject_; }
  long resultType() const { return resultType_; }

 private:
  class Tracer;

  bool flatten_ = false;
  std::optional<Json> rootJSONObject_;
  long resultType_;
};

}  // namespace tessarin

#endif  // TESSARIN_JSONPATH_JSON_PATH_H_

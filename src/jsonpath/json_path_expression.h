// A JSONPath expression as the evaluator works with it: normalised into
// segments once per distinct text, with the conditions of its scripts and
// filters split and their literal operands parsed up front, so a rule that
// is evaluated over every screen pays for the text work only once.
#ifndef TESSARIN_JSONPATH_JSON_PATH_EXPRESSION_H_
#define TESSARIN_JSONPATH_JSON_PATH_EXPRESSION_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "jsonpath/json_path_text.h"
#include "tessarin/json.h"

namespace tessarin::jsonpath {

struct Condition;

// One step of a normalised expression.
struct Segment {
  std::string text;
  // The condition of a script "(…)" or filter "?(…)" segment.
  std::shared_ptr<const Condition> condition;
};

using Segments = std::vector<Segment>;

// The segments of an expression, from the process-wide cache; any thread
// may ask. The cache holds a bounded number of texts (kCachedExpressions)
// and starts over when full, so what it hands out is shared: an evaluation
// or a compiled condition keeps its segments however the cache changes.
inline constexpr std::size_t kCachedExpressions = 512;
std::shared_ptr<const Segments> NormalizedSegments(std::string_view expression);
// The same work without the cache.
Segments Normalize(std::string_view expression);

// One operand of a condition, as far as its text decides it.
struct Operand {
  enum class Kind {
    kMissing,
    kCurrentPath,  // "@path…": paths found below the current value
    kCurrent,      // "@…": values found below the current value
    kRoot,         // "$…": values found from the root of the search
    kValue,        // a quoted string, NULL or a number
    kRegex,        // "/pattern/flags"
  };
  Kind kind = Kind::kMissing;
  std::shared_ptr<const Segments> expression;  // kCurrentPath, kCurrent, kRoot
  Json value;                            // kValue
  // kRegex: the literal as written and what compiling it gave. The warnings
  // and the error are logged again at every evaluation, as they would be if
  // the literal were compiled each time.
  std::string pattern;
  std::string flags;
  std::vector<std::string> ignoredFlags;
  std::shared_ptr<const Regex> regex;  // null when the pattern did not compile
  std::string compileError;
};

struct Condition {
  // Whether the text had the form "left operator right".
  bool wellFormed = false;
  Operand left;
  std::string op;
  Operand right;
};

// The condition of a script segment "(…)" or a filter segment "?(…)".
std::shared_ptr<const Condition> CompileScript(std::string_view segment);
std::shared_ptr<const Condition> CompileFilter(std::string_view segment);
// A condition "left operator right" as written.
std::shared_ptr<const Condition> CompileCondition(std::string_view text);

// Logs what compiling a regular-expression literal reported, as every
// evaluation of the literal does.
void ReplayRegexLog(const Operand& operand);

// One side of a comparison once resolved: a JSON value, a regular
// expression, or neither (missing).
struct OperandItem {
  const Json* value = nullptr;
  const Regex* regex = nullptr;
  bool exists() const { return value || regex; }
};

// Applies one of "==", "!=", "=~", "<", "<=", ">", ">="; any other operator
// never holds.
bool EvalLeftOperand(const OperandItem& left, std::string_view op, const OperandItem& right);

}  // namespace tessarin::jsonpath

#endif  // TESSARIN_JSONPATH_JSON_PATH_EXPRESSION_H_

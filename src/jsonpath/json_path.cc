#include "jsonpath/json_path.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "jsonpath/json_path_expression.h"
#include "jsonpath/json_path_text.h"

namespace tessarin {

using jsonpath::Condition;
using jsonpath::StartsWith;
using jsonpath::Operand;
using jsonpath::OperandItem;
using jsonpath::Segment;
using jsonpath::Segments;

namespace {

using Rest = std::span<const Segment>;
using Path = std::vector<std::string>;

bool ValidResultType(long resultType) {
  return resultType == TSRJsonPath::kResultTypeValue || resultType == TSRJsonPath::kResultTypePath;
}

// A dictionary's member by key; an array's element by a decimal index within
// its bounds. Nothing else has properties.
const Json* ValueForProperty(const Json& value, std::string_view name) {
  if (value.is_object()) {
    const auto& members = value.get_ref<const Json::object_t&>();
    auto found = members.find(std::string(name));
    return found == members.end() ? nullptr : &found->second;
  }
  if (value.is_array() && jsonpath::IsDecimalNumber(name)) {
    long index = jsonpath::IntegerValue(name);
    if (index >= 0 && static_cast<std::size_t>(index) < value.size()) {
      return &value[static_cast<std::size_t>(index)];
    }
  }
  return nullptr;
}

// Calls `f(key, child)` for every child: array indexes as decimal text in
// order, dictionary keys in the dictionary's order. Other values have none.
template <class F>
void Walk(const Json* value, F&& f) {
  if (!value) return;
  if (value->is_array()) {
    for (std::size_t i = 0; i < value->size(); ++i) f(std::to_string(static_cast<long>(i)), &(*value)[i]);
  } else if (value->is_object()) {
    for (const auto& [key, child] : value->get_ref<const Json::object_t&>()) f(key, &child);
  }
}

}  // namespace

// One evaluation: traces segments over a tree and collects the nodes found.
class TSRJsonPath::Tracer {
 public:
  explicit Tracer(const TSRJsonPath& owner) : owner_(owner) {}

  // The nodes that exist and are not unresolved parent steps.
  std::vector<TSRJsonPathNode> run(const Segments& segments, const Json* object) {
    Rest expr(segments);
    if (!expr.empty() && expr.front().text == "$") expr = expr.subspan(1);
    Path path{"$"};
    trace(expr, object, path);
    std::erase_if(out_, [](const TSRJsonPathNode& node) { return !node.value || node.isParentSelector; });
    return std::move(out_);
  }

 private:
  // An operand once evaluated: no value (missing), one value, or two or
  // more (a condition then holds when it holds for any of them).
  struct Resolved {
    std::vector<const Json*> values;
    std::vector<Json> owned;  // values made here, such as paths; reserved up front
    const jsonpath::Regex* regex = nullptr;
    bool exists() const { return regex || !values.empty(); }
  };

  const Json* root() const { return owner_.rootJSONObject_ ? &*owner_.rootJSONObject_ : nullptr; }

  void trace(Rest expr, const Json* value, Path& path) {
    if (expr.empty()) {
      out_.push_back(TSRJsonPathNode{path, {}, value, false});
      return;
    }
    step(expr.front().text, &expr.front(), expr.subspan(1), value, path);
  }

  // Applies one segment `loc`. `prepared` is the segment as normalised, when
  // `loc` comes from the expression; keys, indexes and union parts made
  // while tracing have none.
  void step(std::string_view loc, const Segment* prepared, Rest rest, const Json* value, Path& path) {
    if (loc == "^") {
      if (!path.empty()) {
        TSRJsonPathNode parent;
        parent.path.assign(path.begin(), path.end() - 1);
        for (const Segment& segment : rest) parent.expr.push_back(segment.text);
        parent.isParentSelector = true;
        out_.push_back(std::move(parent));
      }
      return;
    }
    const std::size_t mark = out_.size();
    if (const Json* property = value ? ValueForProperty(*value, loc) : nullptr) {
      path.emplace_back(loc);
      trace(rest, property, path);
      path.pop_back();
    } else if (loc == "*") {
      Walk(value, [&](const std::string& key, const Json*) { step(key, nullptr, rest, value, path); });
    } else if (loc == "..") {
      const bool restBeginsWithStar = !rest.empty() && StartsWith(rest.front().text, "*");
      if (!(value && value->is_array()) || restBeginsWithStar) trace(rest, value, path);
      Walk(value, [&](const std::string& key, const Json* child) {
        path.push_back(key);
        step("..", nullptr, rest, child, path);
        path.pop_back();
      });
    } else if (StartsWith(loc, "(")) {
      // A script is a condition on the value itself.
      std::shared_ptr<const Condition> compiled;
      if (eval(condition(loc, prepared, &compiled, jsonpath::CompileScript), value, {}, path)) {
        trace(rest, value, path);
      }
    } else if (StartsWith(loc, "?(")) {
      std::shared_ptr<const Condition> compiled;
      const Condition* test = condition(loc, prepared, &compiled, jsonpath::CompileFilter);
      if (value && value->is_array()) {
        for (std::size_t i = 0; i < value->size(); ++i) {
          std::string index = std::to_string(static_cast<long>(i));
          if (eval(test, &(*value)[i], index, path)) step(index, nullptr, rest, value, path);
        }
      } else if (eval(test, value, {}, path)) {
        // Filters never iterate over a dictionary's members: a dictionary
        // (or any other value) is kept when it passes the test itself.
        trace(rest, value, path);
      }
    } else if (std::vector<std::string> parts = union_(loc); parts.size() > 1) {
      for (const std::string& part : parts) step(part, nullptr, rest, value, path);
    } else if (jsonpath::IsSlice(loc)) {
      slice(loc, rest, value, path);
    }
    reduce(mark);
  }

  static std::vector<std::string> union_(std::string_view loc) {
    if (loc.find(',') == std::string_view::npos) return {};
    return jsonpath::SplitAtComposedCharacter(loc, ',');
  }

  static const Condition* condition(std::string_view loc, const Segment* prepared,
                                    std::shared_ptr<const Condition>* compiled,
                                    std::shared_ptr<const Condition> (*compile)(std::string_view)) {
    if (prepared && prepared->condition) return prepared->condition.get();
    *compiled = compile(loc);
    return compiled->get();
  }

  void slice(std::string_view loc, Rest rest, const Json* value, Path& path) {
    if (!value || !value->is_array()) return;
    const long count = static_cast<long>(value->size());
    std::vector<std::string> parts = jsonpath::SplitAtComposedCharacter(loc, ':');
    auto part = [&parts](std::size_t i, long fallback) {
      return i < parts.size() && jsonpath::IsDecimalNumber(parts[i]) ? jsonpath::IntegerValue(parts[i]) : fallback;
    };
    auto clamp = [count](long bound) { return bound < 0 ? std::max(0L, bound + count) : std::min(bound, count); };
    const long start = clamp(part(0, 0));
    const long end = clamp(part(1, count));
    const long stride = part(2, 1);
    if (stride <= 0) return;  // a step of 0 would never advance
    for (long i = start; i < end; i += stride) {
      step(std::to_string(i), nullptr, rest, value, path);
      if (stride > end - i) break;
    }
  }

  // Parent steps found at this level whose path reaches below the root are
  // resolved by tracing that path again from the root; what followed the
  // "^" is deliberately not applied. A parent step of a first-level value
  // (path "$" alone) stays unresolved and is dropped at the end.
  void reduce(std::size_t mark) {
    auto resolvable = [](const TSRJsonPathNode& node) { return node.isParentSelector && node.path.size() >= 2; };
    if (std::none_of(out_.begin() + static_cast<std::ptrdiff_t>(mark), out_.end(), resolvable)) return;
    std::vector<TSRJsonPathNode> level(std::make_move_iterator(out_.begin() + static_cast<std::ptrdiff_t>(mark)),
                                       std::make_move_iterator(out_.end()));
    out_.resize(mark);
    for (TSRJsonPathNode& node : level) {
      if (!resolvable(node)) {
        out_.push_back(std::move(node));
        continue;
      }
      Segments steps;
      for (std::size_t i = 1; i < node.path.size(); ++i) steps.push_back(Segment{node.path[i], nullptr});
      Path fromRoot{"$"};
      trace(steps, root(), fromRoot);
    }
  }

  // Whether the condition holds for `value`; `name` (an array index) extends
  // the path that "@path" operands report.
  bool eval(const Condition* test, const Json* value, std::string_view name, Path& path) {
    if (!test || !value) return false;
    const bool named = !name.empty();
    if (named) path.emplace_back(name);
    bool holds = evalOperands(*test, value, path);
    if (named) path.pop_back();
    return holds;
  }

  bool evalOperands(const Condition& test, const Json* value, const Path& path) {
    if (!test.wellFormed) return false;
    Resolved left = parseOperand(test.left, value, path);
    Resolved right = parseOperand(test.right, value, path);
    if (!right.exists() || test.op.empty()) return false;

    OperandItem rightItem{nullptr, right.regex};
    if (right.values.size() == 1) {
      rightItem.value = right.values.front();
    } else if (right.values.size() > 1) {
      // Several values on the right are one array, which equals nothing.
      Json all = Json::array();
      for (const Json* found : right.values) all.push_back(*found);
      right.owned.push_back(std::move(all));
      rightItem.value = &right.owned.back();
    }

    auto holdsFor = [&](const Json* leftValue) {
      return jsonpath::EvalLeftOperand(OperandItem{leftValue, nullptr}, test.op, rightItem);
    };
    if (left.values.size() > 1) return std::any_of(left.values.begin(), left.values.end(), holdsFor);
    if (left.values.size() == 1 && left.values.front()->is_array()) {
      const Json& elements = *left.values.front();
      return std::any_of(elements.begin(), elements.end(), [&](const Json& element) { return holdsFor(&element); });
    }
    OperandItem leftItem{left.values.empty() ? nullptr : left.values.front(), left.regex};
    return jsonpath::EvalLeftOperand(leftItem, test.op, rightItem);
  }

  Resolved parseOperand(const Operand& operand, const Json* value, const Path& path) {
    Resolved resolved;
    switch (operand.kind) {
      case Operand::Kind::kMissing: break;
      case Operand::Kind::kValue: resolved.values.push_back(&operand.value); break;
      case Operand::Kind::kRegex:
        jsonpath::ReplayRegexLog(operand);
        resolved.regex = operand.regex.get();
        break;
      case Operand::Kind::kCurrent:
      case Operand::Kind::kRoot: {
        const Json* from = operand.kind == Operand::Kind::kCurrent ? value : root();
        for (const TSRJsonPathNode& node : nested(*operand.expression, from)) resolved.values.push_back(node.value);
        break;
      }
      case Operand::Kind::kCurrentPath: {
        std::vector<TSRJsonPathNode> nodes = nested(*operand.expression, value);
        resolved.owned.reserve(nodes.size() + 1);
        for (const TSRJsonPathNode& node : nodes) {
          Path full = path;
          full.insert(full.end(), node.path.begin() + (node.path.empty() ? 0 : 1), node.path.end());
          resolved.owned.emplace_back(asPath(full));
          resolved.values.push_back(&resolved.owned.back());
        }
        break;
      }
    }
    return resolved;
  }

  // An operand's own expression, evaluated over `object` as a separate
  // evaluation with the same root and settings.
  std::vector<TSRJsonPathNode> nested(const Segments& segments, const Json* object) {
    if (!object) return {};
    return Tracer(owner_).run(segments, object);
  }

  const TSRJsonPath& owner_;
  std::vector<TSRJsonPathNode> out_;
};

TSRJsonPath::TSRJsonPath(std::optional<Json> rootJSONObject, long resultType)
    : rootJSONObject_(std::move(rootJSONObject)), resultType_(resultType) {}

std::optional<Json> TSRJsonPath::evaluateExpression(std::optional<std::string_view> expression) const {
  return evaluate(rootJSONObject_ ? &*rootJSONObject_ : nullptr, expression);
}

std::optional<Json> TSRJsonPath::evaluate(const Json* object, std::optional<std::string_view> expr) const {
  std::optional<std::vector<TSRJsonPathNode>> nodes = evaluateNodes(object, expr);
  if (!nodes) return std::nullopt;
  Json results = Json::array();
  for (const TSRJsonPathNode& node : *nodes) {
    if (resultType_ == kResultTypePath) {
      results.push_back(asPath(node.path));
    } else if (flatten_ && node.value->is_array()) {
      for (const Json& element : *node.value) results.push_back(element);
    } else {
      results.push_back(*node.value);
    }
  }
  return results;
}

std::optional<std::vector<TSRJsonPathNode>> TSRJsonPath::evaluateNodes(const Json* object,
                                                                       std::optional<std::string_view> expr) const {
  if (!object || !expr || !ValidResultType(resultType_)) return std::nullopt;
  std::shared_ptr<const jsonpath::Segments> segments = jsonpath::NormalizedSegments(*expr);
  return Tracer(*this).run(*segments, object);
}

std::vector<std::string> TSRJsonPath::normalize(std::string_view expression) {
  std::vector<std::string> texts;
  for (const Segment& segment : *jsonpath::NormalizedSegments(expression)) texts.push_back(segment.text);
  return texts;
}

std::string TSRJsonPath::asPath(const std::vector<std::string>& path) {
  std::string text = "$";
  for (std::size_t i = 1; i < path.size(); ++i) {
    if (jsonpath::IsDecimalNumber(path[i])) {
      text += "[" + path[i] + "]";
    } else {
      text += "['" + path[i] + "']";
    }
  }
  return text;
}

}  // namespace tessarin

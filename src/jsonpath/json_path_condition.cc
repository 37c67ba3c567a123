// The condition language of scripts and filters: "left operator right",
// where an operand is a path below the current value ("@…", "@path…"), a
// path from the root ("$…"), a quoted string, a regular-expression literal,
// NULL or a number. It stands in for a script engine: conditions only test,
// they never compute.
#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/utypes.h>

#include <algorithm>
#include <cstdint>
#include <mutex>

#include "base/log.h"
#include "jsonpath/json_path_expression.h"
#include "jsonpath/json_path_text.h"

namespace tessarin::jsonpath {
namespace {

std::string Strip(std::string_view segment, const icu::RegexPattern* outerParentheses) {
  if (!outerParentheses) return std::string(segment);
  return ToUtf8(ReplaceAll(ToUnicode(segment), *outerParentheses, icu::UnicodeString(u"$1")));
}

bool EqualsIgnoringAsciiCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != lower[i]) return false;
  }
  return true;
}

// Numeric literals read the same whatever the device's region: the formatter
// is fixed to "en_US_POSIX" and must take the whole text. One formatter for
// the process; parsing is serialised because a formatter is not promised to
// be safe for concurrent use.
std::optional<Json> ParseNumber(std::string_view text) {
  static std::mutex mutex;
  static icu::NumberFormat* const formatter = [] {
    UErrorCode status = U_ZERO_ERROR;
    icu::NumberFormat* made = icu::NumberFormat::createInstance(icu::Locale("en_US_POSIX"), status);
    if (U_FAILURE(status)) {
      delete made;
      return static_cast<icu::NumberFormat*>(nullptr);
    }
    made->setGroupingUsed(false);
    return made;
  }();
  if (!formatter || text.empty()) return std::nullopt;
  icu::UnicodeString unicode = ToUnicode(text);
  icu::Formattable number;
  icu::ParsePosition position(0);
  {
    std::lock_guard<std::mutex> lock(mutex);
    formatter->parse(unicode, number, position);
  }
  if (position.getErrorIndex() >= 0 || position.getIndex() != unicode.length()) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  switch (number.getType()) {
    case icu::Formattable::kLong:
    case icu::Formattable::kInt64: {
      int64_t value = number.getInt64(status);
      if (U_SUCCESS(status)) return Json(value);
      return std::nullopt;
    }
    case icu::Formattable::kDouble: return Json(number.getDouble());
    default: return std::nullopt;
  }
}

std::string DescribeCompileError(UErrorCode status, const UParseError& parseError) {
  std::string description = u_errorName(status);
  if (parseError.offset >= 0) description += " at offset " + std::to_string(parseError.offset);
  return description;
}

// The flags are a set: "i" ignores case, "m" lets the anchors match at line
// breaks; others are reported and left out.
void CompileRegexLiteral(Operand* operand) {
  uint32_t options = 0;
  std::vector<std::string> seen;
  for (std::string& flag : ComposedCharacterArray(operand->flags)) {
    if (std::find(seen.begin(), seen.end(), flag) != seen.end()) continue;
    seen.push_back(flag);
    if (flag == "i") {
      options |= UREGEX_CASE_INSENSITIVE;
    } else if (flag == "m") {
      options |= UREGEX_MULTILINE;
    } else {
      operand->ignoredFlags.push_back(flag);
    }
  }
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  std::unique_ptr<icu::RegexPattern> regex(
      icu::RegexPattern::compile(ToUnicode(operand->pattern), options, parseError, status));
  if (U_FAILURE(status)) {
    operand->compileError = DescribeCompileError(status, parseError);
    return;
  }
  operand->regex = std::move(regex);
}

// "$" followed by `text` from `offset` on. Built by appending: GCC 12's
// optimiser warns (wrongly) about the concatenation form at -O2.
std::string RootedAt(const std::string& text, std::size_t offset) {
  std::string path = "$";
  path.append(text, offset, std::string::npos);
  return path;
}

Operand ParseOperand(const std::string& text) {
  static const icu::RegexPattern* const regexLiteral = CompileBuiltInRegex(R"(^\/(.*)\/([gimy]*)$)");
  Operand operand;
  if (StartsWith(text, "@path")) {
    operand.kind = Operand::Kind::kCurrentPath;
    operand.expression = NormalizedSegments(RootedAt(text, 5));
  } else if (StartsWith(text, "@")) {
    operand.kind = Operand::Kind::kCurrent;
    operand.expression = NormalizedSegments(RootedAt(text, 1));
  } else if (StartsWith(text, "$")) {
    operand.kind = Operand::Kind::kRoot;
    operand.expression = NormalizedSegments(text);
  } else if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'') {
    operand.kind = Operand::Kind::kValue;
    operand.value = text.substr(1, text.size() - 2);
  } else if (StartsWith(text, "/")) {
    if (!regexLiteral) return operand;
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString unicode = ToUnicode(text);
    std::unique_ptr<icu::RegexMatcher> matcher(regexLiteral->matcher(unicode, status));
    if (U_FAILURE(status) || !matcher->find(status)) return operand;
    operand.kind = Operand::Kind::kRegex;
    operand.pattern = ToUtf8(matcher->group(1, status));
    operand.flags = ToUtf8(matcher->group(2, status));
    CompileRegexLiteral(&operand);
  } else if (EqualsIgnoringAsciiCase(text, "null")) {
    operand.kind = Operand::Kind::kValue;
    operand.value = nullptr;
  } else if (std::optional<Json> number = ParseNumber(text)) {
    operand.kind = Operand::Kind::kValue;
    operand.value = std::move(*number);
  }
  return operand;
}

bool IsNumber(const Json* value) { return value && (value->is_number() || value->is_boolean()); }

// Booleans are numbers (0 and 1). Integers compare exactly; anything with a
// fraction compares as a double.
int CompareNumbers(const Json& a, const Json& b) {
  auto integral = [](const Json& v) { return v.is_boolean() || v.is_number_integer(); };
  if (integral(a) && integral(b)) {
    auto wide = [](const Json& v) -> __int128 {
      if (v.is_boolean()) return v.get<bool>() ? 1 : 0;
      if (v.is_number_unsigned()) return static_cast<__int128>(v.get<uint64_t>());
      return static_cast<__int128>(v.get<int64_t>());
    };
    __int128 x = wide(a), y = wide(b);
    return x < y ? -1 : (x > y ? 1 : 0);
  }
  auto real = [](const Json& v) -> double { return v.is_boolean() ? (v.get<bool>() ? 1.0 : 0.0) : v.get<double>(); };
  double x = real(a), y = real(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

// Strings equal strings code unit by code unit; numbers equal numbers by
// value; nothing else is equal.
bool Equals(const Json& right, const OperandItem& left) {
  if (!left.value) return false;
  if (right.is_string()) return left.value->is_string() && right == *left.value;
  return IsNumber(left.value) && CompareNumbers(right, *left.value) == 0;
}

}  // namespace

std::shared_ptr<const Condition> CompileScript(std::string_view segment) {
  static const icu::RegexPattern* const outer = CompileBuiltInRegex(R"(^\((.*?)\)$)");
  return CompileCondition(Strip(segment, outer));
}

std::shared_ptr<const Condition> CompileFilter(std::string_view segment) {
  static const icu::RegexPattern* const outer = CompileBuiltInRegex(R"(^\?\((.*?)\)$)");
  return CompileCondition(Strip(segment, outer));
}

std::shared_ptr<const Condition> CompileCondition(std::string_view text) {
  static const icu::RegexPattern* const form = CompileBuiltInRegex(R"(^(\S+)\s+(\S+)\s+(\S+.*)$)");
  auto condition = std::make_shared<Condition>();
  if (!form) return condition;
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString unicode = ToUnicode(text);
  std::unique_ptr<icu::RegexMatcher> matcher(form->matcher(unicode, status));
  if (U_FAILURE(status) || !matcher->find(status)) return condition;
  condition->wellFormed = true;
  condition->left = ParseOperand(ToUtf8(matcher->group(1, status)));
  condition->op = ToUtf8(matcher->group(2, status));
  condition->right = ParseOperand(ToUtf8(matcher->group(3, status)));
  return condition;
}

void ReplayRegexLog(const Operand& operand) {
  for (const std::string& flag : operand.ignoredFlags) {
    TSR_LOG_WARN("JSONPath: Ignoring regex modifier: %@", flag);
  }
  if (!operand.regex) {
    TSR_LOG_ERROR("JSONPath: Invalid pattern: %@ options: %@ error: %@", operand.pattern, operand.flags,
                  operand.compileError);
  }
}

bool EvalLeftOperand(const OperandItem& left, std::string_view op, const OperandItem& right) {
  const Json* r = right.value;
  if (op == "==") {
    if (r && r->is_null()) return !left.exists() || (left.value && left.value->is_null());
    if (r && (r->is_string() || IsNumber(r))) return Equals(*r, left);
    return false;
  }
  if (op == "!=") {
    // A missing left side is not unequal to null: only a present, non-null
    // value is.
    if (r && r->is_null()) return left.exists() && !(left.value && left.value->is_null());
    if (r && (r->is_string() || IsNumber(r))) return !Equals(*r, left);
    return false;
  }
  if (op == "=~") {
    return left.value && left.value->is_string() && right.regex &&
           TestString(ToUnicode(left.value->get_ref<const std::string&>()), *right.regex);
  }
  if (!IsNumber(left.value) || !IsNumber(r)) return false;
  int order = CompareNumbers(*left.value, *r);
  if (op == "<") return order < 0;
  if (op == "<=") return order <= 0;
  if (op == ">") return order > 0;
  if (op == ">=") return order >= 0;
  return false;
}

}  // namespace tessarin::jsonpath

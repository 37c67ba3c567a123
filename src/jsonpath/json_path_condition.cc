// The condition language of scripts and filters: "left operator right",
// where an operand is a path below the current value ("@…", "@path…"), a
// path from the root ("$…"), a quoted string, a regular-expression literal,
// NULL or a number. It stands in for a script engine: conditions only test,
// they never compute.
#include <algorithm>
#include <cstdint>
#include <mutex>

#include "base/log.h"
#include "platform/unicode_library.h"
#include "jsonpath/json_path_expression.h"
#include "jsonpath/json_path_text.h"

namespace tessarin::jsonpath {
namespace {

std::string Strip(std::string_view segment, const Regex* outerParentheses) {
  if (!outerParentheses) return std::string(segment);
  return ToUtf8(ReplaceAll(ToUnicode(segment), *outerParentheses, u"$1"));
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
  if (text.empty() || !platform::unicodeAvailable()) return std::nullopt;
  const platform::UnicodeLibrary& library = platform::unicode();
  static std::mutex mutex;
  static UNumberFormat* const formatter = [&library] {
    UErrorCode status = U_ZERO_ERROR;
    UNumberFormat* made = library.unum_open(UNUM_DECIMAL, nullptr, 0, "en_US_POSIX", nullptr, &status);
    if (U_FAILURE(status)) {
      if (made) library.unum_close(made);
      return static_cast<UNumberFormat*>(nullptr);
    }
    library.unum_setAttribute(made, UNUM_GROUPING_USED, 0);
    return made;
  }();
  if (!formatter) return std::nullopt;
  std::u16string unicodeText = ToUnicode(text);
  UErrorCode status = U_ZERO_ERROR;
  UFormattable* number = library.ufmt_open(&status);
  if (U_FAILURE(status)) return std::nullopt;
  int32_t position = 0;
  {
    std::lock_guard<std::mutex> lock(mutex);
    library.unum_parseToUFormattable(formatter, number, unicodeText.data(), static_cast<int32_t>(unicodeText.size()),
                                 &position, &status);
  }
  std::optional<Json> parsed;
  if (U_SUCCESS(status) && position == static_cast<int32_t>(unicodeText.size())) {
    switch (library.ufmt_getType(number, &status)) {
      case UFMT_LONG:
      case UFMT_INT64: {
        int64_t value = library.ufmt_getInt64(number, &status);
        if (U_SUCCESS(status)) parsed = Json(value);
        break;
      }
      case UFMT_DOUBLE: parsed = Json(library.ufmt_getDouble(number, &status)); break;
      default: break;
    }
  }
  library.ufmt_close(number);
  return parsed;
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
  std::unique_ptr<const Regex> regex = Regex::Compile(ToUnicode(operand->pattern), options, &operand->compileError);
  if (regex) operand->regex = std::move(regex);
}

// "$" followed by `text` from `offset` on. Built by appending: GCC 12's
// optimiser warns (wrongly) about the concatenation form at -O2.
std::string RootedAt(const std::string& text, std::size_t offset) {
  std::string path = "$";
  path.append(text, offset, std::string::npos);
  return path;
}

Operand ParseOperand(const std::string& text) {
  static const Regex* const regexLiteral = CompileBuiltInRegex(R"(^\/(.*)\/([gimy]*)$)");
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
    std::u16string unicodeText = ToUnicode(text);
    RegexMatcher matcher(*regexLiteral, unicodeText);
    if (!matcher.find()) return operand;
    operand.kind = Operand::Kind::kRegex;
    operand.pattern = ToUtf8(matcher.group(1));
    operand.flags = ToUtf8(matcher.group(2));
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
  static const Regex* const outer = CompileBuiltInRegex(R"(^\((.*?)\)$)");
  return CompileCondition(Strip(segment, outer));
}

std::shared_ptr<const Condition> CompileFilter(std::string_view segment) {
  static const Regex* const outer = CompileBuiltInRegex(R"(^\?\((.*?)\)$)");
  return CompileCondition(Strip(segment, outer));
}

std::shared_ptr<const Condition> CompileCondition(std::string_view text) {
  static const Regex* const form = CompileBuiltInRegex(R"(^(\S+)\s+(\S+)\s+(\S+.*)$)");
  auto condition = std::make_shared<Condition>();
  if (!form) return condition;
  std::u16string unicodeText = ToUnicode(text);
  RegexMatcher matcher(*form, unicodeText);
  if (!matcher.find()) return condition;
  condition->wellFormed = true;
  condition->left = ParseOperand(ToUtf8(matcher.group(1)));
  condition->op = ToUtf8(matcher.group(2));
  condition->right = ParseOperand(ToUtf8(matcher.group(3)));
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

// Text helpers of the JSONPath evaluator: ICU regular expressions (the
// engine the reference platform's regular expressions are built on, so
// anchors, "." and "\s" behave alike; reached through the loaded library,
// platform/unicode_library.h), user-perceived characters, and the
// two shape tests that run for almost every step of a trace.
#ifndef TESSARIN_JSONPATH_JSON_PATH_TEXT_H_
#define TESSARIN_JSONPATH_JSON_PATH_TEXT_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct URegularExpression;

namespace tessarin::jsonpath {

std::u16string ToUnicode(std::string_view text);
std::string ToUtf8(std::u16string_view text);

// A compiled expression. Any thread may share one: every search runs on a
// copy of its own, which shares the compiled program.
class Regex {
 public:
  // Null when the expression does not compile or ICU is not there; then
  // `error`, if given, says why.
  static std::unique_ptr<const Regex> Compile(std::u16string_view pattern, uint32_t flags,
                                              std::string* error = nullptr);
  ~Regex();
  Regex(const Regex&) = delete;
  Regex& operator=(const Regex&) = delete;

 private:
  friend class RegexMatcher;
  explicit Regex(URegularExpression* compiled) : compiled_(compiled) {}
  URegularExpression* compiled_;
};

// One search through a text, match after match. The text must outlive it.
class RegexMatcher {
 public:
  RegexMatcher(const Regex& regex, const std::u16string& text);
  ~RegexMatcher();
  RegexMatcher(const RegexMatcher&) = delete;
  RegexMatcher& operator=(const RegexMatcher&) = delete;

  // The next match; false once there is none (or the search failed).
  bool find();
  // Where the last match, or its group `n`, begins and ends; -1 for a group
  // that took no part.
  int32_t start(int32_t n = 0);
  int32_t end(int32_t n = 0);
  // What group `n` of the last match matched; empty if it took no part.
  std::u16string group(int32_t n);
  // Every match replaced by the template ("$1" names group 1), from the
  // start of the text; the text itself if that fails.
  std::u16string replaceAll(std::u16string_view replacementTemplate);

 private:
  URegularExpression* search_ = nullptr;
  const std::u16string& text_;
};

// Compiles one of the evaluator's own expressions. Callers keep the result in
// a function-level constant, for the life of the process. Null only if the
// expression itself is broken or ICU is not there.
const Regex* CompileBuiltInRegex(const char* expression);

// Every match replaced by the template ("$1" names group 1).
std::u16string ReplaceAll(const std::u16string& text, const Regex& regex, std::u16string_view replacementTemplate);
// Every match replaced by what the block makes of it.
std::u16string ReplaceAll(const std::u16string& text, const Regex& regex,
                          const std::function<std::u16string(RegexMatcher&)>& block);
// Whether the expression finds a match anywhere in the text.
bool TestString(const std::u16string& text, const Regex& regex);

// The text as user-perceived characters (extended grapheme clusters).
std::vector<std::string> ComposedCharacterArray(std::string_view text);
// The text split at every user-perceived character that is exactly
// `separator`; a separator that a combining mark attaches to is no separator.
std::vector<std::string> SplitAtComposedCharacter(std::string_view text, char separator);

// Matches "^[-0-9]+$": array indexes and path elements that print as "[n]".
bool IsDecimalNumber(std::string_view text);

inline bool StartsWith(std::string_view text, std::string_view prefix) { return text.starts_with(prefix); }
// An optional sign, then decimal digits up to the first other character; 0
// when there are none; saturates on overflow. Callers pass only text that
// IsDecimalNumber accepted, which reads "-" as 0 and "1-2" as 1.
long IntegerValue(std::string_view text);
// Matches "^(-?[0-9]*):(-?[0-9]*):?([0-9]*)$".
bool IsSlice(std::string_view text);

}  // namespace tessarin::jsonpath

#endif  // TESSARIN_JSONPATH_JSON_PATH_TEXT_H_

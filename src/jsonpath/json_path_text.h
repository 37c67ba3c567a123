// Text helpers of the JSONPath evaluator: ICU regular expressions (the
// engine the reference platform's regular expressions are built on, so
// anchors, "." and "\s" behave alike), user-perceived characters, and the
// two shape tests that run for almost every step of a trace.
#ifndef TESSARIN_JSONPATH_JSON_PATH_TEXT_H_
#define TESSARIN_JSONPATH_JSON_PATH_TEXT_H_

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tessarin::jsonpath {

icu::UnicodeString ToUnicode(std::string_view text);
std::string ToUtf8(const icu::UnicodeString& text);

// Compiles one of the evaluator's own expressions. Callers keep the result in
// a function-level constant: a compiled pattern is immutable and hands out a
// matcher per use, so any thread may share it. Null only if the expression
// itself is broken.
const icu::RegexPattern* CompileBuiltInRegex(const char* expression);

// Every match replaced by the template ("$1" names group 1).
icu::UnicodeString ReplaceAll(const icu::UnicodeString& text, const icu::RegexPattern& regex,
                              const icu::UnicodeString& replacementTemplate);
// Every match replaced by what the block makes of it.
icu::UnicodeString ReplaceAll(const icu::UnicodeString& text, const icu::RegexPattern& regex,
                              const std::function<icu::UnicodeString(icu::RegexMatcher&)>& block);
// Whether the expression finds a match anywhere in the text.
bool TestString(const icu::UnicodeString& text, const icu::RegexPattern& regex);

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

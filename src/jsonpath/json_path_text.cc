#include "jsonpath/json_path_text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>

#include <climits>
#include <memory>

namespace tessarin::jsonpath {
namespace {

// Characters that end a line for "$" and that "." does not match, plus
// anything beyond ASCII (U+0085, U+2028, U+2029). Text free of them can be
// tested by hand with the regular expression's exact result.
bool NeedsRegexEngine(std::string_view text) {
  for (unsigned char c : text) {
    if (c >= 0x80 || (c >= '\n' && c <= '\r')) return true;
  }
  return false;
}

bool IsAscii(std::string_view text) {
  for (unsigned char c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool Matches(const icu::RegexPattern* regex, std::string_view text) {
  return regex && TestString(ToUnicode(text), *regex);
}

}  // namespace

icu::UnicodeString ToUnicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string ToUtf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

const icu::RegexPattern* CompileBuiltInRegex(const char* expression) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  icu::RegexPattern* pattern =
      icu::RegexPattern::compile(icu::UnicodeString(expression, -1, US_INV), 0, parseError, status);
  if (U_FAILURE(status)) {
    delete pattern;
    return nullptr;
  }
  return pattern;
}

icu::UnicodeString ReplaceAll(const icu::UnicodeString& text, const icu::RegexPattern& regex,
                              const icu::UnicodeString& replacementTemplate) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(regex.matcher(text, status));
  if (U_FAILURE(status)) return text;
  icu::UnicodeString replaced = matcher->replaceAll(replacementTemplate, status);
  return U_SUCCESS(status) ? replaced : text;
}

icu::UnicodeString ReplaceAll(const icu::UnicodeString& text, const icu::RegexPattern& regex,
                              const std::function<icu::UnicodeString(icu::RegexMatcher&)>& block) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(regex.matcher(text, status));
  if (U_FAILURE(status)) return text;
  icu::UnicodeString out;
  int32_t copied = 0;
  while (matcher->find(status) && U_SUCCESS(status)) {
    int32_t start = matcher->start(status);
    int32_t end = matcher->end(status);
    if (U_FAILURE(status)) break;
    out.append(text, copied, start - copied);
    out.append(block(*matcher));
    copied = end;
  }
  out.append(text, copied, text.length() - copied);
  return out;
}

bool TestString(const icu::UnicodeString& text, const icu::RegexPattern& regex) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(regex.matcher(text, status));
  if (U_FAILURE(status)) return false;
  bool found = matcher->find(status);
  return U_SUCCESS(status) && found;
}

std::vector<std::string> ComposedCharacterArray(std::string_view text) {
  std::vector<std::string> characters;
  if (IsAscii(text)) {
    // Within ASCII only a carriage return followed by a line feed joins.
    for (std::size_t i = 0; i < text.size(); ++i) {
      std::size_t length = (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ? 2 : 1;
      characters.emplace_back(text.substr(i, length));
      i += length - 1;
    }
    return characters;
  }
  icu::UnicodeString unicode = ToUnicode(text);
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> breaks(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) return {std::string(text)};
  breaks->setText(unicode);
  int32_t start = breaks->first();
  for (int32_t end = breaks->next(); end != icu::BreakIterator::DONE; start = end, end = breaks->next()) {
    characters.push_back(ToUtf8(icu::UnicodeString(unicode, start, end - start)));
  }
  return characters;
}

std::vector<std::string> SplitAtComposedCharacter(std::string_view text, char separator) {
  std::vector<std::string> parts(1);
  if (IsAscii(text)) {
    for (char c : text) {
      if (c == separator) {
        parts.emplace_back();
      } else {
        parts.back().push_back(c);
      }
    }
    return parts;
  }
  const char whole[2] = {separator, '\0'};
  for (std::string& character : ComposedCharacterArray(text)) {
    if (character == whole) {
      parts.emplace_back();
    } else {
      parts.back() += character;
    }
  }
  return parts;
}

bool IsDecimalNumber(std::string_view text) {
  if (NeedsRegexEngine(text)) {
    static const icu::RegexPattern* const regex = CompileBuiltInRegex("^[-0-9]+$");
    return Matches(regex, text);
  }
  if (text.empty()) return false;
  for (char c : text) {
    if (c != '-' && !IsDigit(c)) return false;
  }
  return true;
}

long IntegerValue(std::string_view text) {
  std::size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  long value = 0;
  for (; i < text.size() && IsDigit(text[i]); ++i) {
    int digit = text[i] - '0';
    if (negative) {
      if (value < (LONG_MIN + digit) / 10) return LONG_MIN;
      value = value * 10 - digit;
    } else {
      if (value > (LONG_MAX - digit) / 10) return LONG_MAX;
      value = value * 10 + digit;
    }
  }
  return value;
}

bool IsSlice(std::string_view text) {
  if (NeedsRegexEngine(text)) {
    static const icu::RegexPattern* const regex = CompileBuiltInRegex("^(-?[0-9]*):(-?[0-9]*):?([0-9]*)$");
    return Matches(regex, text);
  }
  std::size_t i = 0;
  const std::size_t n = text.size();
  auto skipDigits = [&] {
    while (i < n && IsDigit(text[i])) ++i;
  };
  if (i < n && text[i] == '-') ++i;
  skipDigits();
  if (i >= n || text[i] != ':') return false;
  ++i;
  if (i < n && text[i] == '-') ++i;
  skipDigits();
  if (i < n && text[i] == ':') ++i;
  skipDigits();
  return i == n;
}

}  // namespace tessarin::jsonpath

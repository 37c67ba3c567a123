#include "jsonpath/json_path_text.h"

#include <climits>

#include "platform/unicode_library.h"
#include "util/utf8_text.h"

namespace tessarin::jsonpath {
namespace {

using platform::unicode;

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

bool Matches(const Regex* regex, std::string_view text) { return regex && TestString(ToUnicode(text), *regex); }

// The text's code points one by one: characters as best they can be told
// apart without ICU's break rules.
std::vector<std::string> CodePoints(std::string_view text) {
  std::vector<std::string> characters;
  ForEachCharacter(text, [&](char32_t c, std::size_t begin, std::size_t end, bool malformed) {
    characters.emplace_back();
    if (malformed) {
      AppendUtf8(characters.back(), c);
    } else {
      characters.back() = text.substr(begin, end - begin);
    }
  });
  return characters;
}

}  // namespace

std::u16string ToUnicode(std::string_view text) { return Utf16FromUtf8(text); }

std::string ToUtf8(std::u16string_view text) { return Utf8FromUtf16(text); }

std::unique_ptr<const Regex> Regex::Compile(std::u16string_view pattern, uint32_t flags, std::string* error) {
  if (!platform::unicodeAvailable()) {
    if (error) *error = "U_MISSING_RESOURCE_ERROR";
    return nullptr;
  }
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  URegularExpression* compiled =
      unicode().uregex_open(pattern.data(), static_cast<int32_t>(pattern.size()), flags, &parseError, &status);
  if (U_FAILURE(status)) {
    if (compiled) unicode().uregex_close(compiled);
    if (error) {
      *error = unicode().u_errorName(status);
      if (parseError.offset >= 0) *error += " at offset " + std::to_string(parseError.offset);
    }
    return nullptr;
  }
  return std::unique_ptr<const Regex>(new Regex(compiled));
}

Regex::~Regex() { unicode().uregex_close(compiled_); }

RegexMatcher::RegexMatcher(const Regex& regex, const std::u16string& text) : text_(text) {
  UErrorCode status = U_ZERO_ERROR;
  search_ = unicode().uregex_clone(regex.compiled_, &status);
  if (U_SUCCESS(status)) unicode().uregex_setText(search_, text_.data(), static_cast<int32_t>(text_.size()), &status);
  if (U_FAILURE(status) && search_) {
    unicode().uregex_close(search_);
    search_ = nullptr;
  }
}

RegexMatcher::~RegexMatcher() {
  if (search_) unicode().uregex_close(search_);
}

bool RegexMatcher::find() {
  if (!search_) return false;
  UErrorCode status = U_ZERO_ERROR;
  bool found = unicode().uregex_findNext(search_, &status);
  return U_SUCCESS(status) && found;
}

int32_t RegexMatcher::start(int32_t n) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t at = search_ ? unicode().uregex_start(search_, n, &status) : -1;
  return U_SUCCESS(status) ? at : -1;
}

int32_t RegexMatcher::end(int32_t n) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t at = search_ ? unicode().uregex_end(search_, n, &status) : -1;
  return U_SUCCESS(status) ? at : -1;
}

std::u16string RegexMatcher::group(int32_t n) {
  int32_t from = start(n), to = end(n);
  if (from < 0 || to < from) return {};
  return text_.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from));
}

std::u16string RegexMatcher::replaceAll(std::u16string_view replacementTemplate) {
  if (!search_) return text_;
  // Asked first for the length, then written.
  UErrorCode status = U_ZERO_ERROR;
  const int32_t templateLength = static_cast<int32_t>(replacementTemplate.size());
  int32_t length =
      unicode().uregex_replaceAll(search_, replacementTemplate.data(), templateLength, nullptr, 0, &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return text_;
  std::u16string replaced(static_cast<std::size_t>(length) + 1, u'\0');
  status = U_ZERO_ERROR;
  unicode().uregex_replaceAll(search_, replacementTemplate.data(), templateLength, replaced.data(),
                              static_cast<int32_t>(replaced.size()), &status);
  if (U_FAILURE(status)) return text_;
  replaced.resize(static_cast<std::size_t>(length));
  return replaced;
}

const Regex* CompileBuiltInRegex(const char* expression) {
  return Regex::Compile(ToUnicode(expression), 0).release();
}

std::u16string ReplaceAll(const std::u16string& text, const Regex& regex, std::u16string_view replacementTemplate) {
  return RegexMatcher(regex, text).replaceAll(replacementTemplate);
}

std::u16string ReplaceAll(const std::u16string& text, const Regex& regex,
                          const std::function<std::u16string(RegexMatcher&)>& block) {
  RegexMatcher matcher(regex, text);
  std::u16string out;
  int32_t copied = 0;
  while (matcher.find()) {
    int32_t start = matcher.start();
    int32_t end = matcher.end();
    if (start < copied || end < start) break;
    out.append(text, static_cast<std::size_t>(copied), static_cast<std::size_t>(start - copied));
    out.append(block(matcher));
    copied = end;
  }
  out.append(text, static_cast<std::size_t>(copied));
  return out;
}

bool TestString(const std::u16string& text, const Regex& regex) { return RegexMatcher(regex, text).find(); }

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
  if (!platform::unicodeAvailable()) return CodePoints(text);
  std::u16string unicodeText = ToUnicode(text);
  UErrorCode status = U_ZERO_ERROR;
  UBreakIterator* breaks = unicode().ubrk_open(UBRK_CHARACTER, "", unicodeText.data(),
                                               static_cast<int32_t>(unicodeText.size()), &status);
  if (U_FAILURE(status)) {
    if (breaks) unicode().ubrk_close(breaks);
    return CodePoints(text);
  }
  int32_t start = unicode().ubrk_first(breaks);
  for (int32_t end = unicode().ubrk_next(breaks); end != UBRK_DONE; start = end, end = unicode().ubrk_next(breaks)) {
    characters.push_back(ToUtf8(std::u16string_view(unicodeText).substr(static_cast<std::size_t>(start),
                                                                         static_cast<std::size_t>(end - start))));
  }
  unicode().ubrk_close(breaks);
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
    static const Regex* const regex = CompileBuiltInRegex("^[-0-9]+$");
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
    static const Regex* const regex = CompileBuiltInRegex("^(-?[0-9]*):(-?[0-9]*):?([0-9]*)$");
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

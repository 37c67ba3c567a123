// Normalisation turns the bracket-and-dot notation into one list of segments
// by rewriting the text with a fixed series of regular expressions. Scripts
// and filters are set aside first so that the dots and brackets inside them
// survive the rewriting, and put back at the end.
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

#include "jsonpath/json_path_expression.h"
#include "jsonpath/json_path_text.h"

namespace tessarin::jsonpath {
namespace {

// Rewrites with a template; the text stays as it is should an expression of
// this file ever fail to compile.
std::u16string Rewrite(const std::u16string& text, const Regex* regex, std::u16string_view replacementTemplate) {
  return regex ? ReplaceAll(text, *regex, replacementTemplate) : text;
}

std::u16string Rewrite(const std::u16string& text, const Regex* regex,
                       const std::function<std::u16string(RegexMatcher&)>& block) {
  return regex ? ReplaceAll(text, *regex, block) : text;
}

// The stash entry a segment refers to with "#n", if any.
const std::u16string* StashedText(const std::string& segment, const std::vector<std::u16string>& stash) {
  static const Regex* const reference = CompileBuiltInRegex("#([0-9]+)");
  if (!reference || segment.find('#') == std::string::npos) return nullptr;
  std::u16string text = ToUnicode(segment);
  RegexMatcher matcher(*reference, text);
  if (!matcher.find()) return nullptr;
  std::string digits = ToUtf8(matcher.group(1));
  std::size_t index = 0;
  for (char digit : digits) {
    index = index * 10 + static_cast<std::size_t>(digit - '0');
    if (index >= stash.size()) return nullptr;
  }
  return &stash[index];
}

Segment MakeSegment(std::string text) {
  Segment segment;
  segment.text = std::move(text);
  if (StartsWith(segment.text, "?(")) {
    segment.condition = CompileFilter(segment.text);
  } else if (StartsWith(segment.text, "(")) {
    segment.condition = CompileScript(segment.text);
  }
  return segment;
}

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

}  // namespace

Segments Normalize(std::string_view expression) {
  static const Regex* const scripts = CompileBuiltInRegex(R"([\['](\??\(.*?\))[\]'])");
  static const Regex* const dotRuns = CompileBuiltInRegex(R"('?(\.+)'?(?![^\[]*\]))");
  static const Regex* const singleDot = CompileBuiltInRegex(R"(;\.;)");
  static const Regex* const openBracket = CompileBuiltInRegex(R"(;?\['?)");
  static const Regex* const carets = CompileBuiltInRegex(R"((?:;)?(\^+)(?:;)?)");
  static const Regex* const closings = CompileBuiltInRegex(R"(;$|'?\]|'$)");

  std::u16string text = ToUnicode(expression);
  std::vector<std::u16string> stash;
  text = Rewrite(text, scripts, [&stash](RegexMatcher& matcher) {
    std::u16string reference = ToUnicode("[#" + std::to_string(stash.size()) + "]");
    stash.push_back(matcher.group(1));
    return reference;
  });
  text = Rewrite(text, dotRuns, u";$1;");
  text = Rewrite(text, singleDot, u";");
  text = Rewrite(text, openBracket, u";");
  // Every caret is a step up of its own: "^^" climbs twice.
  text = Rewrite(text, carets, [](RegexMatcher& matcher) {
    std::string joined;
    for (const std::string& caret : ComposedCharacterArray(ToUtf8(matcher.group(1)))) {
      if (!joined.empty()) joined += ';';
      joined += caret;
    }
    return ToUnicode(";" + joined + ";");
  });
  text = Rewrite(text, closings, u"");

  std::vector<std::string> parts = SplitAtComposedCharacter(ToUtf8(text), ';');
  for (std::string& part : parts) {
    if (const std::u16string* stashed = StashedText(part, stash)) part = ToUtf8(*stashed);
  }
  if (!parts.empty() && parts.front().empty()) parts.erase(parts.begin());

  Segments segments;
  segments.reserve(parts.size());
  for (std::string& part : parts) segments.push_back(MakeSegment(std::move(part)));
  return segments;
}

std::shared_ptr<const Segments> NormalizedSegments(std::string_view expression) {
  // The rules of one configuration are few and asked for again and again;
  // a long-lived process sees many configurations, so the cache is bounded
  // and simply starts over when full: whoever holds an entry keeps it.
  // Deliberately never destroyed, so that no exit-time destructor runs
  // under a late evaluation.
  static std::mutex mutex;
  static auto* const cache =
      new std::unordered_map<std::string, std::shared_ptr<const Segments>, TextHash, std::equal_to<>>();
  {
    std::lock_guard<std::mutex> lock(mutex);
    auto found = cache->find(expression);
    if (found != cache->end()) return found->second;
  }
  // Normalising compiles the operands of conditions, which normalises their
  // own expressions through this cache, so the lock is not held meanwhile.
  // Two threads may normalise the same text at once; the first stored wins.
  auto segments = std::make_shared<const Segments>(Normalize(expression));
  std::lock_guard<std::mutex> lock(mutex);
  if (cache->size() >= kCachedExpressions) cache->clear();
  return cache->try_emplace(std::string(expression), std::move(segments)).first->second;
}

}  // namespace tessarin::jsonpath

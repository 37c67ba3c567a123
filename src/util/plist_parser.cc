#include "util/plist_parser.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

#include "util/json_util.h"

namespace tessarin {
namespace {

// Deeper nesting than any real plist has; it bounds the recursion so that a
// hostile file cannot exhaust the stack.
constexpr int kMaxDepth = 256;

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsNameChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '.' || c == ':';
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

void AppendUTF8(std::uint32_t code, std::string* out) {
  if (code < 0x80) {
    *out += static_cast<char>(code);
  } else if (code < 0x800) {
    *out += static_cast<char>(0xC0 | (code >> 6));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    *out += static_cast<char>(0xE0 | (code >> 12));
    *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (code >> 18));
    *out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

int Base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// Decodes base64 with white space anywhere (plists wrap long data); padding
// is required and only at the end.
std::optional<std::string> DecodeBase64(std::string_view text) {
  std::string digits;
  for (char c : text) {
    if (!IsSpace(c)) digits += c;
  }
  if (digits.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && padding < digits.size() && digits[digits.size() - 1 - padding] == '=') ++padding;
  std::string bytes;
  std::uint32_t buffer = 0;
  int bits = 0;
  for (std::size_t i = 0; i < digits.size() - padding; ++i) {
    int value = Base64Value(digits[i]);
    if (value < 0) return std::nullopt;
    buffer = (buffer << 6) | static_cast<std::uint32_t>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>((buffer >> bits) & 0xFF);
    }
  }
  return bytes;
}

std::string EncodeBase64(const std::string& bytes) {
  std::string out;
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    std::uint32_t n = (static_cast<unsigned char>(bytes[i]) << 16) |
                      (static_cast<unsigned char>(bytes[i + 1]) << 8) | static_cast<unsigned char>(bytes[i + 2]);
    out += kBase64Alphabet[(n >> 18) & 63];
    out += kBase64Alphabet[(n >> 12) & 63];
    out += kBase64Alphabet[(n >> 6) & 63];
    out += kBase64Alphabet[n & 63];
  }
  std::size_t rest = bytes.size() - i;
  if (rest > 0) {
    std::uint32_t n = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << 16;
    if (rest == 2) n |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
    out += kBase64Alphabet[(n >> 18) & 63];
    out += kBase64Alphabet[(n >> 12) & 63];
    out += rest == 2 ? kBase64Alphabet[(n >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::optional<Json> ParseInteger(std::string_view text) {
  text = Trim(text);
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty()) return std::nullopt;
  std::uint64_t magnitude = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (!negative) {
    if (magnitude <= static_cast<std::uint64_t>(INT64_MAX)) return Json(static_cast<std::int64_t>(magnitude));
    return Json(magnitude);
  }
  if (magnitude > static_cast<std::uint64_t>(INT64_MAX) + 1) return std::nullopt;
  return Json(static_cast<std::int64_t>(0 - magnitude));
}

std::optional<Json> ParseReal(std::string_view text) {
  text = Trim(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  double value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return Json(value);
}

class Parser {
 public:
  explicit Parser(std::string_view in) : in_(in) {}

  std::optional<Json> Document() {
    if (!SkipProlog()) return std::nullopt;
    Tag root;
    if (!ReadTag(&root) || root.closing || root.empty || root.name != "plist") return std::nullopt;
    Tag open;
    if (!NextTag(&open) || open.closing) return std::nullopt;
    Json value;
    if (!Value(open, 0, &value)) return std::nullopt;
    Tag close;
    if (!NextTag(&close) || !close.closing || close.name != "plist") return std::nullopt;
    if (!SkipProlog() || pos_ != in_.size()) return std::nullopt;
    return value;
  }

 private:
  struct Tag {
    std::string name;
    bool closing = false;
    bool empty = false;  // <name/>
  };

  bool StartsWith(std::string_view prefix) const { return in_.substr(pos_, prefix.size()) == prefix; }

  // Moves past `terminator`; false when it never comes.
  bool SkipPast(std::string_view terminator) {
    std::size_t found = in_.find(terminator, pos_);
    if (found == std::string_view::npos) return false;
    pos_ = found + terminator.size();
    return true;
  }

  void SkipSpace() {
    while (pos_ < in_.size() && IsSpace(in_[pos_])) ++pos_;
  }

  // White space and comments, as allowed between elements.
  bool SkipSpaceAndComments() {
    for (;;) {
      SkipSpace();
      if (!StartsWith("<!--")) return true;
      if (!SkipPast("-->")) return false;
    }
  }

  // What may stand before and after the root: the XML declaration and other
  // processing instructions, a DOCTYPE (with an internal subset), comments.
  bool SkipProlog() {
    for (;;) {
      if (!SkipSpaceAndComments()) return false;
      if (StartsWith("<?")) {
        if (!SkipPast("?>")) return false;
      } else if (StartsWith("<!DOCTYPE")) {
        int brackets = 0;
        for (;; ++pos_) {
          if (pos_ >= in_.size()) return false;
          char c = in_[pos_];
          if (c == '[') ++brackets;
          if (c == ']') --brackets;
          if (c == '>' && brackets <= 0) break;
        }
        ++pos_;
      } else {
        return true;
      }
    }
  }

  // Reads a tag at the current position ('<' expected); attributes are
  // checked for form and ignored.
  bool ReadTag(Tag* tag) {
    if (!StartsWith("<")) return false;
    ++pos_;
    tag->closing = false;
    tag->empty = false;
    if (StartsWith("/")) {
      tag->closing = true;
      ++pos_;
    }
    std::size_t start = pos_;
    while (pos_ < in_.size() && IsNameChar(in_[pos_])) ++pos_;
    if (pos_ == start) return false;
    tag->name = std::string(in_.substr(start, pos_ - start));
    for (;;) {
      SkipSpace();
      if (pos_ >= in_.size()) return false;
      if (in_[pos_] == '>') {
        ++pos_;
        return true;
      }
      if (StartsWith("/>") && !tag->closing) {
        tag->empty = true;
        pos_ += 2;
        return true;
      }
      if (tag->closing) return false;
      std::size_t name_start = pos_;
      while (pos_ < in_.size() && IsNameChar(in_[pos_])) ++pos_;
      if (pos_ == name_start) return false;
      SkipSpace();
      if (!StartsWith("=")) return false;
      ++pos_;
      SkipSpace();
      if (pos_ >= in_.size() || (in_[pos_] != '"' && in_[pos_] != '\'')) return false;
      char quote = in_[pos_++];
      std::size_t end = in_.find(quote, pos_);
      if (end == std::string_view::npos || in_.substr(pos_, end - pos_).find('<') != std::string_view::npos) {
        return false;
      }
      pos_ = end + 1;
    }
  }

  // The next tag after white space and comments; any other text is an error.
  bool NextTag(Tag* tag) { return SkipSpaceAndComments() && ReadTag(tag); }

  bool Entity(std::string* out) {
    std::size_t end = in_.find(';', pos_);
    if (end == std::string_view::npos || end - pos_ > 12) return false;
    std::string_view name = in_.substr(pos_ + 1, end - pos_ - 1);
    pos_ = end + 1;
    if (name == "lt") *out += '<';
    else if (name == "gt") *out += '>';
    else if (name == "amp") *out += '&';
    else if (name == "quot") *out += '"';
    else if (name == "apos") *out += '\'';
    else if (name.size() > 1 && name[0] == '#') {
      int base = 10;
      name.remove_prefix(1);
      if (name[0] == 'x') {
        base = 16;
        name.remove_prefix(1);
      }
      std::uint32_t code = 0;
      auto [ptr, error] = std::from_chars(name.data(), name.data() + name.size(), code, base);
      if (name.empty() || error != std::errc() || ptr != name.data() + name.size()) return false;
      if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
      AppendUTF8(code, out);
    } else {
      return false;
    }
    return true;
  }

  // Character data up to and including </element>: entities are resolved,
  // CDATA sections taken as they are, comments dropped; a child element is an
  // error.
  bool Text(const Tag& open, std::string* out) {
    out->clear();
    if (open.empty) return true;
    while (pos_ < in_.size()) {
      char c = in_[pos_];
      if (c == '&') {
        if (!Entity(out)) return false;
      } else if (c != '<') {
        *out += c;
        ++pos_;
      } else if (StartsWith("<!--")) {
        if (!SkipPast("-->")) return false;
      } else if (StartsWith("<![CDATA[")) {
        std::size_t start = pos_ + 9;
        if (!SkipPast("]]>")) return false;
        out->append(in_.substr(start, pos_ - 3 - start));
      } else {
        Tag close;
        return ReadTag(&close) && close.closing && close.name == open.name;
      }
    }
    return false;
  }

  bool Dictionary(const Tag& open, int depth, Json* out) {
    *out = Json::object();
    if (open.empty) return true;
    for (;;) {
      Tag tag;
      if (!NextTag(&tag)) return false;
      if (tag.closing) return tag.name == "dict";
      if (tag.name != "key") return false;
      std::string key;
      if (!Text(tag, &key)) return false;
      Tag value_tag;
      if (!NextTag(&value_tag) || value_tag.closing) return false;
      Json value;
      if (!Value(value_tag, depth + 1, &value)) return false;
      (*out)[key] = std::move(value);
    }
  }

  bool Array(const Tag& open, int depth, Json* out) {
    *out = Json::array();
    if (open.empty) return true;
    for (;;) {
      Tag tag;
      if (!NextTag(&tag)) return false;
      if (tag.closing) return tag.name == "array";
      Json value;
      if (!Value(tag, depth + 1, &value)) return false;
      out->push_back(std::move(value));
    }
  }

  bool Value(const Tag& open, int depth, Json* out) {
    if (depth > kMaxDepth) return false;
    const std::string& name = open.name;
    if (name == "dict") return Dictionary(open, depth, out);
    if (name == "array") return Array(open, depth, out);
    std::string text;
    if (!Text(open, &text)) return false;
    if (name == "string" || name == "date") {
      *out = name == "date" ? std::string(Trim(text)) : std::move(text);
      return true;
    }
    if (name == "true" || name == "false") {
      if (!Trim(text).empty()) return false;
      *out = name == "true";
      return true;
    }
    std::optional<Json> parsed;
    if (name == "integer") {
      parsed = ParseInteger(text);
    } else if (name == "real") {
      parsed = ParseReal(text);
    } else if (name == "data") {
      auto bytes = DecodeBase64(text);
      if (bytes) parsed = EncodeBase64(*bytes);
    }
    if (!parsed) return false;
    *out = std::move(*parsed);
    return true;
  }

  std::string_view in_;
  std::size_t pos_ = 0;
};

}  // namespace

std::optional<Json> ParseXMLPropertyList(std::string_view xml) {
  if (!TSRUtilityJSON::isValidUTF8(std::string(xml))) return std::nullopt;
  return Parser(xml).Document();
}

}  // namespace tessarin

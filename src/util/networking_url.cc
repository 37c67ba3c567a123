#include "util/networking_url.h"

#include <cctype>

namespace tessarin {
namespace {

bool IsUnreserved(unsigned char c) { return std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~'; }

bool IsSubDelim(unsigned char c) {
  switch (c) {
    case '!': case '$': case '&': case '\'': case '(': case ')':
    case '*': case '+': case ',': case ';': case '=':
      return true;
    default:
      return false;
  }
}

bool IsPathChar(unsigned char c) { return IsUnreserved(c) || IsSubDelim(c) || c == ':' || c == '@'; }

// Every character satisfies `allowed` or starts a complete "%XX" escape.
template <class Allowed>
bool IsEncodedRun(std::string_view text, Allowed allowed) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      if (!std::isxdigit(static_cast<unsigned char>(text[i + 1])) ||
          !std::isxdigit(static_cast<unsigned char>(text[i + 2])))
        return false;
      i += 2;
    } else if (!allowed(c)) {
      return false;
    }
  }
  return true;
}

bool IsValidScheme(std::string_view scheme) {
  if (scheme.empty() || !std::isalpha(static_cast<unsigned char>(scheme[0]))) return false;
  for (unsigned char c : scheme) {
    if (!std::isalnum(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

bool IsValidHost(std::string_view host) {
  if (!host.empty() && host.front() == '[') {
    if (host.size() < 3 || host.back() != ']') return false;
    for (unsigned char c : host.substr(1, host.size() - 2)) {
      if (!std::isxdigit(c) && c != ':' && c != '.' && c != 'v' && c != 'V' && !IsUnreserved(c) &&
          !IsSubDelim(c))
        return false;
    }
    return true;
  }
  return IsEncodedRun(host, [](unsigned char c) { return IsUnreserved(c) || IsSubDelim(c); });
}

bool IsValidAuthority(std::string_view authority) {
  std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    auto userinfo = authority.substr(0, at);
    if (!IsEncodedRun(userinfo, [](unsigned char c) { return IsUnreserved(c) || IsSubDelim(c) || c == ':'; }))
      return false;
    authority.remove_prefix(at + 1);
  }
  // The port follows the last colon that is not inside an IP literal.
  std::size_t colon = authority.rfind(':');
  std::size_t bracket = authority.rfind(']');
  if (colon != std::string_view::npos && (bracket == std::string_view::npos || colon > bracket)) {
    for (unsigned char c : authority.substr(colon + 1)) {
      if (!std::isdigit(c)) return false;
    }
    authority = authority.substr(0, colon);
  }
  return IsValidHost(authority);
}

}  // namespace

std::optional<TSRURL> TSRURL::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  TSRURL url;
  if (std::size_t hash = text.find('#'); hash != std::string_view::npos) {
    auto fragment = text.substr(hash + 1);
    if (!IsEncodedRun(fragment, [](unsigned char c) { return IsPathChar(c) || c == '/' || c == '?'; }))
      return std::nullopt;
    url.fragment = std::string(fragment);
    text = text.substr(0, hash);
  }
  if (std::size_t question = text.find('?'); question != std::string_view::npos) {
    auto query = text.substr(question + 1);
    if (!IsEncodedRun(query, [](unsigned char c) { return IsPathChar(c) || c == '/' || c == '?'; }))
      return std::nullopt;
    url.query = std::string(query);
    text = text.substr(0, question);
  }
  // A colon before the first slash ends a scheme; a relative reference may
  // not have one there.
  std::size_t colon = text.find(':');
  if (colon != std::string_view::npos && colon < text.find('/')) {
    if (!IsValidScheme(text.substr(0, colon))) return std::nullopt;
    url.scheme = std::string(text.substr(0, colon));
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    std::size_t slash = text.find('/');
    auto authority = text.substr(0, slash);
    if (!IsValidAuthority(authority)) return std::nullopt;
    url.authority = std::string(authority);
    text = slash == std::string_view::npos ? std::string_view() : text.substr(slash);
  }
  if (!IsEncodedRun(text, [](unsigned char c) { return IsPathChar(c) || c == '/'; })) return std::nullopt;
  url.path = std::string(text);
  return url;
}

std::string TSRURL::absoluteString() const {
  std::string text;
  if (scheme) text += *scheme + ":";
  if (authority) text += "//" + *authority;
  text += path;
  if (query) text += "?" + *query;
  if (fragment) text += "#" + *fragment;
  return text;
}

TSRURL TSRURL::appendingPathComponent(std::string_view component) const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  TSRURL url = *this;
  if (url.path.empty() || url.path.back() != '/') url.path += '/';
  for (unsigned char c : component) {
    if (IsPathChar(c) || c == '/') {
      url.path += static_cast<char>(c);
    } else {
      url.path += '%';
      url.path += kHex[c >> 4];
      url.path += kHex[c & 0xf];
    }
  }
  return url;
}

}  // namespace tessarin

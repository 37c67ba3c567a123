// TSRURL: a URL reference split into its parts, as the networking utility
// builds and edits the service's endpoints.
//
// Parsing accepts what a strict URL parser accepts: only the characters a
// URL may carry (anything else must arrive percent-encoded), well-formed
// percent escapes, a scheme of letters, digits, "+", "-" and ".", a numeric
// port, and brackets only around an IP literal host. A string that fails
// any of these is no URL at all, which lets a bad endpoint override be
// detected and replaced. Parts keep their percent-encoded form.
#ifndef TESSARIN_UTIL_NETWORKING_URL_H_
#define TESSARIN_UTIL_NETWORKING_URL_H_

#include <optional>
#include <string>
#include <string_view>

namespace tessarin {

struct TSRURL {
  std::optional<std::string> scheme;
  std::optional<std::string> authority;  // "user@host:port", when the URL has "//"
  std::string path;
  std::optional<std::string> query;  // percent-encoded, without the "?"
  std::optional<std::string> fragment;

  // Nothing for an empty or malformed string.
  static std::optional<TSRURL> parse(std::string_view text);

  // The URL as text: relative references stay relative.
  std::string absoluteString() const;

  // The URL with one more path segment, the query and fragment kept.
  // Characters a path segment cannot carry are percent-encoded; an empty
  // component only ends the path with "/".
  TSRURL appendingPathComponent(std::string_view component) const;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_NETWORKING_URL_H_

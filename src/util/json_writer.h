// A fast writer for the SDK's most frequent JSON text: items, written on
// every item view. It writes exactly what Json::dump() writes (compact,
// keys in insertion order, non-ASCII kept, control characters escaped) but
// only for documents whose strings are all ASCII, which is what item ids,
// types, prices and URLs nearly always are; anything else is left to the
// general writer, whose UTF-8 checks and error texts then apply.
#ifndef TESSARIN_UTIL_JSON_WRITER_H_
#define TESSARIN_UTIL_JSON_WRITER_H_

#include <string>

#include "tessarin/json.h"

namespace tessarin {

// Appends the compact text of `value` to `out` and answers true; answers
// false, with `out` in an unspecified state, when a string or key holds a
// byte outside ASCII.
bool AppendCompactAsciiJson(const Json& value, std::string* out);

// The compact text as Json::dump() writes it, strict about UTF-8 (throws
// as it does), taking the fast path where it applies.
std::string CompactJsonText(const Json& value);

}  // namespace tessarin

#endif  // TESSARIN_UTIL_JSON_WRITER_H_

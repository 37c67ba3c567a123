// A fast writer for the SDK's most frequent JSON text: items, written on
// every item view. It writes exactly what Json::dump() writes (compact,
// keys in insertion order, text beyond ASCII kept as it is, control
// characters escaped) for documents whose strings are well-formed UTF-8;
// anything else is left to the general writer, whose UTF-8 checks and
// error texts then apply.
#ifndef TESSARIN_UTIL_JSON_WRITER_H_
#define TESSARIN_UTIL_JSON_WRITER_H_

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "tessarin/json.h"

namespace tessarin {

// Writes compact JSON text piece by piece onto the end of a string, for
// callers that assemble a document themselves. Growing a string a call at
// a time (push_back, append) costs more than the text itself for the short
// keys and values items are made of; this writes through a cursor into
// room it reserves. The string holds scratch bytes past the cursor until
// Finish (or destruction).
class JsonTextWriter {
 public:
  explicit JsonTextWriter(std::string* out) : out_(out), used_(out->size()) {}
  ~JsonTextWriter() { Finish(); }
  JsonTextWriter(const JsonTextWriter&) = delete;
  JsonTextWriter& operator=(const JsonTextWriter&) = delete;

  void Put(char c) {
    *Room(1) = c;
    ++used_;
  }
  // Text that needs no quoting: punctuation, or text this writer wrote.
  void Put(std::string_view text);
  // A quoted string followed by `suffix` (a key's colon) unless that is
  // '\0'; false, with nothing sensible written, when the text is not
  // well-formed UTF-8.
  bool String(std::string_view text, char suffix = '\0');
  // A key the SDK itself names, with its colon: ASCII letters and marks
  // that need no escaping, so the text is not looked at.
  void Key(std::string_view key) {
    char* d = Room(key.size() + 3);
    d[0] = '"';
    std::memcpy(d + 1, key.data(), key.size());
    d[key.size() + 1] = '"';
    d[key.size() + 2] = ':';
    used_ += key.size() + 3;
  }
  // Any value, as Json::dump() writes it; false as String is, and for a
  // number that is not finite.
  bool Value(const Json& value);

  // How much of the string is text so far; a position for Written.
  std::size_t size() const { return used_; }
  // What was written between two positions.
  std::string_view Written(std::size_t from, std::size_t to) const {
    return std::string_view(out_->data() + from, to - from);
  }
  // Cuts the string to the text written. Idempotent.
  void Finish() { out_->resize(used_); }

 private:
  // An item's text, usually, in one go.
  static constexpr std::size_t kFirstRoom = 512;

  // Room for `n` more bytes, at the cursor.
  char* Room(std::size_t n) {
    if (out_->size() - used_ < n) Grow(n);
    return out_->data() + used_;
  }
  void Grow(std::size_t n);
  bool Escaped(const char* run, const char* p, const char* end);
  template <class Int>
  void PutInteger(Int value);

  std::string* out_;
  std::size_t used_;
};

// Appends the compact text of `value` to `out` and answers true; answers
// false, with `out` in an unspecified state, when a string or key is not
// well-formed UTF-8 or a number is not finite.
bool AppendCompactJson(const Json& value, std::string* out);

// The compact text as Json::dump() writes it, strict about UTF-8 (throws
// as it does), taking the fast path where it applies.
std::string CompactJsonText(const Json& value);

}  // namespace tessarin

#endif  // TESSARIN_UTIL_JSON_WRITER_H_

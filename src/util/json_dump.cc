// JsonDump: compact JSON text, exactly as the JSON library writes it with
// invalid UTF-8 replaced, but without its per-character escaping machinery
// for the text that needs none.
//
// It writes what the SDK serialises in general (saved files, log lines,
// the C interface's texts, and the event records the fast writer of
// json_writer.h declines, whose malformed text it repairs). Objects,
// arrays, integers, booleans and null are written here; a string (or key)
// is copied as it stands when every byte is printable ASCII other than '"'
// and '\'. Anything else (text with escapes or non-ASCII bytes,
// floating-point numbers, binary values) is handed to the library for that
// value alone, so the output never differs from the library's.
#include <charconv>
#include <string_view>

#include "tessarin/json.h"

namespace tessarin {
namespace {

bool NeedsNoEscaping(std::string_view text) {
  for (unsigned char c : text) {
    if (c < 0x20 || c >= 0x80 || c == '"' || c == '\\') return false;
  }
  return true;
}

void AppendLibraryText(const Json& value, std::string& out) {
  out += value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void AppendString(std::string_view text, std::string& out) {
  if (NeedsNoEscaping(text)) {
    out += '"';
    out += text;
    out += '"';
  } else {
    AppendLibraryText(Json(text), out);
  }
}

template <typename Integer>
void AppendInteger(Integer number, std::string& out) {
  char digits[24];
  auto [end, error] = std::to_chars(digits, digits + sizeof(digits), number);
  (void)error;  // 24 characters hold any 64-bit integer
  out.append(digits, end);
}

void Append(const Json& value, std::string& out) {
  switch (value.type()) {
    case Json::value_t::object: {
      out += '{';
      bool first = true;
      for (const auto& [key, member] : value.get_ref<const Json::object_t&>()) {
        if (!first) out += ',';
        first = false;
        AppendString(key, out);
        out += ':';
        Append(member, out);
      }
      out += '}';
      return;
    }
    case Json::value_t::array: {
      out += '[';
      bool first = true;
      for (const Json& element : value.get_ref<const Json::array_t&>()) {
        if (!first) out += ',';
        first = false;
        Append(element, out);
      }
      out += ']';
      return;
    }
    case Json::value_t::string: AppendString(value.get_ref<const Json::string_t&>(), out); return;
    case Json::value_t::boolean: out += value.get<bool>() ? "true" : "false"; return;
    case Json::value_t::number_integer: AppendInteger(value.get<Json::number_integer_t>(), out); return;
    case Json::value_t::number_unsigned: AppendInteger(value.get<Json::number_unsigned_t>(), out); return;
    case Json::value_t::null: out += "null"; return;
    case Json::value_t::number_float:
    case Json::value_t::binary:
    case Json::value_t::discarded: AppendLibraryText(value, out); return;
  }
}

}  // namespace

std::string JsonDump(const Json& value) {
  std::string out;
  // Most documents written here are a few hundred bytes: room for one at
  // the start spares most of the growing.
  if (value.is_structured()) out.reserve(512);
  Append(value, out);
  return out;
}

}  // namespace tessarin

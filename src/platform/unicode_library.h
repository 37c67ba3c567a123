// ICU, loaded the first time something needs its regular expressions, its
// number parser, its character tables or its case mapping.
//
// What every app does (events, queue, sending) needs none of them: the
// white-space set and UTF-8 handling are the SDK's own (util/utf8_text.h).
// Linked, the two libraries would still cost every app about 1.7 MiB
// resident at start-up, most of it the relocation of libicui18n's C++
// tables. JSONPath conditions, test-campaign ids and push platform names
// reach them through this table, filled by one dlopen; the library's C
// interface is used because its C++ classes cannot be looked up by name.
//
// Names are ICU's own: its headers rename every function after the
// version (uregex_open is uregex_open_72), so the table's members, the
// symbols looked up and the call sites all follow the headers.
#ifndef TESSARIN_PLATFORM_UNICODE_LIBRARY_H_
#define TESSARIN_PLATFORM_UNICODE_LIBRARY_H_

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/uformattable.h>
#include <unicode/unum.h>
#include <unicode/uregex.h>
#include <unicode/ustring.h>
#include <unicode/utypes.h>

namespace tessarin::platform {

#define TESSARIN_UNICODE_FUNCTIONS(X)                                                                     \
  X(u_charType) X(u_errorName) X(u_strToUpper) X(ubrk_close) X(ubrk_first) X(ubrk_next) X(ubrk_open)     \
  X(ufmt_close) X(ufmt_getDouble) X(ufmt_getInt64) X(ufmt_getType) X(ufmt_open) X(unum_close)            \
  X(unum_open) X(unum_parseToUFormattable) X(unum_setAttribute) X(uregex_clone) X(uregex_close)          \
  X(uregex_end) X(uregex_findNext) X(uregex_open) X(uregex_replaceAll) X(uregex_setText) X(uregex_start)

// The functions, under the names the headers give them.
struct UnicodeLibrary {
#define TESSARIN_UNICODE_POINTER(name) decltype(&::name) name = nullptr;
  TESSARIN_UNICODE_FUNCTIONS(TESSARIN_UNICODE_POINTER)
#undef TESSARIN_UNICODE_POINTER
};

// Whether ICU is there; the first call, from any thread, loads it. When it
// is not, the reason is written to the system log once, and what needs it
// degrades: regular expressions never compile (JSONPath conditions that use
// them never hold), numbers in conditions do not parse, non-ASCII test ids
// and push platform names are refused.
bool unicodeAvailable();

// The loaded functions; only once unicodeAvailable() has said yes.
const UnicodeLibrary& unicode();

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_UNICODE_LIBRARY_H_

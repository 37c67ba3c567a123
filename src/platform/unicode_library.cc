#include "platform/unicode_library.h"

#include "platform/shared_library.h"

namespace tessarin::platform {

namespace {

#define TESSARIN_UNICODE_TEXT(x) #x
#define TESSARIN_UNICODE_EXPANDED_TEXT(x) TESSARIN_UNICODE_TEXT(x)

// The library of regular expressions and number formats; it brings the
// common library (break iteration, character properties, case mapping)
// with it, and a handle's symbols are looked up in what it brought too.
// The version is the one the headers are of.
constexpr const char* kUnicodeLibraryName = "libicui18n.so." TESSARIN_UNICODE_EXPANDED_TEXT(U_ICU_VERSION_MAJOR_NUM);

struct LoadedUnicodeLibrary {
  UnicodeLibrary functions;
  bool available = false;
};

LoadedUnicodeLibrary loadUnicodeLibrary() {
  LoadedUnicodeLibrary loaded;
  loaded.available = OpenSharedLibrary(
      kUnicodeLibraryName, "Tessarin: no regular expressions or Unicode tables, ", [&](void* handle) {
        const char* missing = nullptr;
#define TESSARIN_UNICODE_RESOLVE(name)                                                                    \
  loaded.functions.name =                                                                                 \
      reinterpret_cast<decltype(&::name)>(FindSymbol(handle, TESSARIN_UNICODE_EXPANDED_TEXT(name)));      \
  if (!loaded.functions.name && !missing) missing = TESSARIN_UNICODE_EXPANDED_TEXT(name);
        TESSARIN_UNICODE_FUNCTIONS(TESSARIN_UNICODE_RESOLVE)
#undef TESSARIN_UNICODE_RESOLVE
        return missing;
      });
  return loaded;
}

const LoadedUnicodeLibrary& loadedUnicodeLibrary() {
  static const LoadedUnicodeLibrary library = loadUnicodeLibrary();
  return library;
}

}  // namespace

bool unicodeAvailable() { return loadedUnicodeLibrary().available; }

const UnicodeLibrary& unicode() { return loadedUnicodeLibrary().functions; }

}  // namespace tessarin::platform

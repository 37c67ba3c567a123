// System libraries the SDK opens itself, the first time something needs
// them, instead of linking them: an app that never needs one never loads it
// (ICU, Cairo and Pango; see unicode_library.h, ui/drawing_library.h).
#ifndef TESSARIN_PLATFORM_SHARED_LIBRARY_H_
#define TESSARIN_PLATFORM_SHARED_LIBRARY_H_

#include <functional>

namespace tessarin::platform {

// Opens the library `name` for the life of the process and has `resolve`
// look up what is needed in it; `resolve` gives the first symbol it did not
// find, or null. When the library cannot be opened or lacks a symbol, the
// system log says so once, after `unavailable` (what the app goes
// without), and the answer is false.
bool OpenSharedLibrary(const char* name, const char* unavailable,
                       const std::function<const char*(void* handle)>& resolve);

// The address of `symbol` in a library OpenSharedLibrary opened; null if
// it has none.
void* FindSymbol(void* handle, const char* symbol);

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_SHARED_LIBRARY_H_

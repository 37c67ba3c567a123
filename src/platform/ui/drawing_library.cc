#include "platform/ui/drawing_library.h"

#include "platform/shared_library.h"

namespace tessarin::platform::ui {

namespace {

// Pango's Cairo binding brings Pango, Cairo and GObject with it, and a
// handle's symbols are looked up in the libraries it brought too.
constexpr const char* kDrawingLibraryName = "libpangocairo-1.0.so.0";

struct LoadedDrawingLibrary {
  DrawingLibrary functions;
  bool available = false;
};

LoadedDrawingLibrary loadDrawingLibrary() {
  LoadedDrawingLibrary loaded;
  loaded.available = OpenSharedLibrary(kDrawingLibraryName, "Tessarin: nothing can be drawn, ", [&](void* handle) {
    const char* missing = nullptr;
#define TESSARIN_DRAWING_RESOLVE(name)                                                           \
  loaded.functions.name = reinterpret_cast<decltype(&::name)>(FindSymbol(handle, #name));        \
  if (!loaded.functions.name && !missing) missing = #name;
    TESSARIN_DRAWING_FUNCTIONS(TESSARIN_DRAWING_RESOLVE)
#undef TESSARIN_DRAWING_RESOLVE
    return missing;
  });
  return loaded;
}

const LoadedDrawingLibrary& loadedDrawingLibrary() {
  static const LoadedDrawingLibrary library = loadDrawingLibrary();
  return library;
}

}  // namespace

bool drawingAvailable() { return loadedDrawingLibrary().available; }

const DrawingLibrary& drawing() { return loadedDrawingLibrary().functions; }

}  // namespace tessarin::platform::ui

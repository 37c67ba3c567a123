#include "platform/ui/drawing_library.h"

#include <dlfcn.h>

#include <string>

#include "platform/system_log.h"

namespace tessarin::platform::ui {

namespace {

// Pango's Cairo binding brings Pango, Cairo and GObject with it, and a
// handle's symbols are looked up in the libraries it brought too.
constexpr const char* kDrawingLibraryName = "libpangocairo-1.0.so.0";

struct LoadedDrawingLibrary {
  DrawingLibrary functions;
  bool available = false;
};

void reportDrawingUnavailable(const std::string& why) {
  LogRecord record;
  record.fromLogCall = false;
  record.message = "Tessarin: nothing can be drawn, " + why;
  record.text = record.message;
  WriteSystemLog(record);
}

LoadedDrawingLibrary loadDrawingLibrary() {
  LoadedDrawingLibrary loaded;
  // Never closed: the font map and any context live as long as the process.
  void* handle = dlopen(kDrawingLibraryName, RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* error = dlerror();
    reportDrawingUnavailable(error ? error : kDrawingLibraryName);
    return loaded;
  }
  const char* missing = nullptr;
#define TESSARIN_DRAWING_RESOLVE(name)                                               \
  loaded.functions.name = reinterpret_cast<decltype(&::name)>(dlsym(handle, #name)); \
  if (!loaded.functions.name && !missing) missing = #name;
  TESSARIN_DRAWING_FUNCTIONS(TESSARIN_DRAWING_RESOLVE)
#undef TESSARIN_DRAWING_RESOLVE
  if (missing) {
    reportDrawingUnavailable(std::string(kDrawingLibraryName) + " has no " + missing);
    return loaded;
  }
  loaded.available = true;
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

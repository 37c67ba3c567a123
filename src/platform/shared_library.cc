#include "platform/shared_library.h"

#include <dlfcn.h>

#include <string>

#include "platform/system_log.h"

namespace tessarin::platform {

namespace {

void reportUnavailable(const char* unavailable, const std::string& why) {
  LogRecord record;
  record.fromLogCall = false;
  record.message = std::string(unavailable) + why;
  record.text = record.message;
  WriteSystemLog(record);
}

}  // namespace

bool OpenSharedLibrary(const char* name, const char* unavailable,
                       const std::function<const char*(void* handle)>& resolve) {
  // Never closed: what the library makes (compiled expressions, font maps)
  // may live as long as the process.
  void* handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* error = dlerror();
    reportUnavailable(unavailable, error ? error : name);
    return false;
  }
  if (const char* missing = resolve(handle)) {
    reportUnavailable(unavailable, std::string(name) + " has no " + missing);
    return false;
  }
  return true;
}

void* FindSymbol(void* handle, const char* symbol) { return dlsym(handle, symbol); }

}  // namespace tessarin::platform

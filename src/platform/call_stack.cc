#include "platform/call_stack.h"

#include <cxxabi.h>
#include <execinfo.h>

#include <cstdlib>
#include <memory>

namespace tessarin::platform {

std::vector<std::string> CaptureCallStack(int skip) {
  void* frames[64];
  int count = backtrace(frames, 64);
  std::vector<std::string> lines;
  char** symbols = backtrace_symbols(frames, count);
  if (!symbols) return lines;
  for (int i = skip; i < count; ++i) lines.emplace_back(symbols[i]);
  std::free(symbols);
  return lines;
}

std::string TypeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  return status == 0 && demangled ? demangled.get() : type.name();
}

}  // namespace tessarin::platform

#ifndef TESSARIN_PLATFORM_CALL_STACK_H_
#define TESSARIN_PLATFORM_CALL_STACK_H_

#include <string>
#include <typeinfo>
#include <vector>

namespace tessarin::platform {

// The calling thread's stack as symbol lines, innermost first.
std::vector<std::string> CaptureCallStack(int skip = 1);
// The readable name of a type (demangled).
std::string TypeName(const std::type_info& type);

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_CALL_STACK_H_

// The address of a window, view or controller for a log line's "%p": passed
// as its own type, a pointer would be taken as another kind of argument.
#ifndef TESSARIN_UI_LOG_ADDRESS_H_
#define TESSARIN_UI_LOG_ADDRESS_H_

namespace tessarin {

inline const void* Address(const void* object) { return object; }

}  // namespace tessarin

#endif  // TESSARIN_UI_LOG_ADDRESS_H_

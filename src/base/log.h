// The SDK's log call.
//
// Messages keep their formats verbatim ("Config: update success",
// "Events: Successfully sent %lu events.") so a line can be found in the
// code by its text. The formatter understands %@ %d %i %ld %lu %.Nf %p %%;
// a missing object prints "(null)". Below the threshold nothing is formatted.
#ifndef TESSARIN_BASE_LOG_H_
#define TESSARIN_BASE_LOG_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tessarin/json.h"
#include "tessarin/log.h"

namespace tessarin {

// One argument of a log call, captured by kind so that the format decides
// how it prints.
class LogArg {
 public:
  enum class Kind { kNull, kText, kSigned, kUnsigned, kDouble, kPointer };

  LogArg() = default;
  LogArg(std::nullptr_t) {}
  LogArg(const char* s) : kind_(s ? Kind::kText : Kind::kNull), text_(s ? s : "") {}
  LogArg(std::string s) : kind_(Kind::kText), text_(std::move(s)) {}
  LogArg(std::string_view s) : kind_(Kind::kText), text_(s) {}
  LogArg(const Json& j);
  LogArg(bool b) : kind_(Kind::kSigned), signed_(b ? 1 : 0) {}
  LogArg(double d) : kind_(Kind::kDouble), double_(d) {}
  LogArg(float d) : kind_(Kind::kDouble), double_(d) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T> &&
                                          !std::is_same_v<T, bool>, int> = 0>
  LogArg(T v) : kind_(Kind::kSigned), signed_(v) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T> &&
                                          !std::is_same_v<T, bool>, int> = 0>
  LogArg(T v) : kind_(Kind::kUnsigned), unsigned_(v) {}
  template <class T, std::enable_if_t<std::is_enum_v<T>, int> = 0>
  LogArg(T v) : LogArg(static_cast<std::underlying_type_t<T>>(v)) {}
  LogArg(const void* p) : kind_(p ? Kind::kPointer : Kind::kNull), pointer_(p) {}
  template <class T>
  LogArg(const std::optional<T>& v) : LogArg(v ? LogArg(*v) : LogArg()) {}
  // Objects print through their description(); a null pointer is "(null)".
  template <class T, std::enable_if_t<std::is_class_v<T>, int> = 0>
  LogArg(const std::shared_ptr<T>& p) : LogArg(p ? LogArg(p->description()) : LogArg()) {}
  template <class T, std::enable_if_t<std::is_class_v<T>, int> = 0>
  LogArg(const T* p) : LogArg(p ? LogArg(p->description()) : LogArg()) {}

  // As %@ prints it.
  std::string Describe() const;
  Kind kind() const { return kind_; }
  std::int64_t AsSigned() const;
  std::uint64_t AsUnsigned() const;
  double AsDouble() const;
  const void* pointer() const { return pointer_; }

 private:
  Kind kind_ = Kind::kNull;
  std::string text_;
  std::int64_t signed_ = 0;
  std::uint64_t unsigned_ = 0;
  double double_ = 0;
  const void* pointer_ = nullptr;
};

// Expands a format with the placeholders above.
std::string FormatLogMessage(std::string_view format, const std::vector<LogArg>& args);

// The label of a level, chosen by range; "(null)" below 1000.
const char* LogLabelForLevel(long level);

void LogEmit(long level, const char* file, int line, const char* format, std::vector<LogArg> args);

template <class... Args>
inline void TSRLogInternal(long level, const char* file, int line, const char* format,
                           const Args&... args) {
  if (!TSRLogger::enabled(level)) return;
  LogEmit(level, file, line, format, std::vector<LogArg>{LogArg(args)...});
}

// Writes a line straight to the system log, whatever the threshold.
void LogToSystem(const std::string& message);

}  // namespace tessarin

#define TSR_LOG(level, format, ...)                                                     \
  do {                                                                                  \
    if (::tessarin::TSRLogger::enabled(level))                                          \
      ::tessarin::TSRLogInternal(level, __FILE__, __LINE__, format __VA_OPT__(, ) __VA_ARGS__); \
  } while (0)
#define TSR_LOG_ERROR(format, ...) TSR_LOG(::tessarin::TSRLogLevelError, format __VA_OPT__(, ) __VA_ARGS__)
#define TSR_LOG_WARN(format, ...) TSR_LOG(::tessarin::TSRLogLevelWarn, format __VA_OPT__(, ) __VA_ARGS__)
#define TSR_LOG_INFO(format, ...) TSR_LOG(::tessarin::TSRLogLevelInfo, format __VA_OPT__(, ) __VA_ARGS__)
#define TSR_LOG_DEBUG(format, ...) TSR_LOG(::tessarin::TSRLogLevelDebug, format __VA_OPT__(, ) __VA_ARGS__)

#endif  // TESSARIN_BASE_LOG_H_

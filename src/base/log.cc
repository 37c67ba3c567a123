#include "base/log.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "platform/system_log.h"

namespace tessarin {
namespace {

// How the null marker prints, as the platform describes its null object.
constexpr std::string_view kNullMarkerDescription = "<null>";

}  // namespace

LogArg::LogArg(const Json& j) {
  if (j.is_null()) {
    // A JSON null is an object of its own (the null marker), not a missing one.
    kind_ = Kind::kText;
    text_.assign(kNullMarkerDescription);
  } else if (j.is_string()) {
    kind_ = Kind::kText;
    text_ = j.get_ref<const std::string&>();
  } else if (j.is_boolean()) {
    kind_ = Kind::kSigned;
    signed_ = j.get<bool>() ? 1 : 0;
  } else if (j.is_number_unsigned()) {
    kind_ = Kind::kUnsigned;
    unsigned_ = j.get<std::uint64_t>();
  } else if (j.is_number_integer()) {
    kind_ = Kind::kSigned;
    signed_ = j.get<std::int64_t>();
  } else if (j.is_number_float()) {
    kind_ = Kind::kDouble;
    double_ = j.get<double>();
  } else {
    kind_ = Kind::kText;
    text_ = JsonDump(j);
  }
}

std::int64_t LogArg::AsSigned() const {
  switch (kind_) {
    case Kind::kSigned: return signed_;
    case Kind::kUnsigned: return static_cast<std::int64_t>(unsigned_);
    case Kind::kDouble: return static_cast<std::int64_t>(double_);
    case Kind::kPointer: return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(pointer_));
    default: return 0;
  }
}

std::uint64_t LogArg::AsUnsigned() const {
  switch (kind_) {
    case Kind::kSigned: return static_cast<std::uint64_t>(signed_);
    case Kind::kUnsigned: return unsigned_;
    case Kind::kDouble: return static_cast<std::uint64_t>(double_);
    case Kind::kPointer: return reinterpret_cast<std::uintptr_t>(pointer_);
    default: return 0;
  }
}

double LogArg::AsDouble() const {
  switch (kind_) {
    case Kind::kSigned: return static_cast<double>(signed_);
    case Kind::kUnsigned: return static_cast<double>(unsigned_);
    case Kind::kDouble: return double_;
    default: return 0;
  }
}

std::string LogArg::Describe() const {
  char buf[64];
  switch (kind_) {
    case Kind::kNull: return "(null)";
    case Kind::kText: return text_;
    case Kind::kSigned:
      std::snprintf(buf, sizeof buf, "%" PRId64, signed_);
      return buf;
    case Kind::kUnsigned:
      std::snprintf(buf, sizeof buf, "%" PRIu64, unsigned_);
      return buf;
    case Kind::kDouble:
      std::snprintf(buf, sizeof buf, "%.17g", double_);
      return buf;
    case Kind::kPointer:
      std::snprintf(buf, sizeof buf, "%p", pointer_);
      return buf;
  }
  return "(null)";
}

std::string FormatLogMessage(std::string_view format, const std::vector<LogArg>& args) {
  std::string out;
  out.reserve(format.size() + 32);
  std::size_t next = 0;
  static const LogArg& kMissing = *new LogArg();  // never destroyed: logging runs during exit
  auto take = [&]() -> const LogArg& { return next < args.size() ? args[next++] : kMissing; };
  char buf[512];
  for (std::size_t i = 0; i < format.size(); ++i) {
    char c = format[i];
    if (c != '%' || i + 1 >= format.size()) {
      out += c;
      continue;
    }
    std::size_t j = i + 1;
    if (format[j] == '%') {
      out += '%';
      i = j;
      continue;
    }
    if (format[j] == '@') {
      out += take().Describe();
      i = j;
      continue;
    }
    // Precision (only ".N" is meaningful, for %f).
    int precision = -1;
    if (format[j] == '.') {
      std::size_t k = j + 1;
      int value = 0;
      while (k < format.size() && format[k] >= '0' && format[k] <= '9') {
        value = value * 10 + (format[k] - '0');
        ++k;
      }
      precision = value;
      j = k;
    }
    int longs = 0;
    while (j < format.size() && format[j] == 'l') {
      ++longs;
      ++j;
    }
    if (j >= format.size()) {
      out.append(format.substr(i));
      break;
    }
    char conversion = format[j];
    switch (conversion) {
      case 'd':
      case 'i': {
        const LogArg& a = take();
        if (a.kind() == LogArg::Kind::kNull) {
          out += "0";
        } else {
          std::snprintf(buf, sizeof buf, "%" PRId64, a.AsSigned());
          out += buf;
        }
        break;
      }
      case 'u': {
        std::snprintf(buf, sizeof buf, "%" PRIu64, take().AsUnsigned());
        out += buf;
        break;
      }
      case 'f': {
        std::snprintf(buf, sizeof buf, "%.*f", precision < 0 ? 6 : precision, take().AsDouble());
        out += buf;
        break;
      }
      case 'p': {
        const LogArg& a = take();
        if (a.kind() == LogArg::Kind::kPointer) {
          std::snprintf(buf, sizeof buf, "%p", a.pointer());
          out += buf;
        } else {
          std::snprintf(buf, sizeof buf, "0x%" PRIx64, a.AsUnsigned());
          out += buf;
        }
        break;
      }
      default:
        // Not a placeholder this formatter knows: keep the text as written.
        out.append(format.substr(i, j - i + 1));
        break;
    }
    i = j;
  }
  return out;
}

const char* LogLabelForLevel(long level) {
  if (level >= TSRLogLevelDebug) return "Debug";
  if (level >= TSRLogLevelInfo) return "Info";
  if (level >= TSRLogLevelWarn) return "Warn";
  if (level >= TSRLogLevelError) return "Error";
  return "(null)";
}

void LogEmit(long level, const char* file, int line, const char* format, std::vector<LogArg> args) {
  if (!TSRLogger::enabled(level)) return;
  const char* name = file ? std::strrchr(file, '/') : nullptr;
  name = name ? name + 1 : (file ? file : "");
  const char* label = LogLabelForLevel(level);

  // The message format is placed into the line before expansion, so the
  // arguments are substituted exactly once, over the whole line.
  std::string line_format =
      FormatLogMessage("TSR %@ [%@:%d] %@", {LogArg(label), LogArg(name), LogArg(line), LogArg(format)});
  std::size_t prefix_length = line_format.size() - (format ? std::strlen(format) : 6);

  LogRecord record;
  record.level = level;
  record.label = label;
  record.file = name;
  record.line = line;
  record.text = FormatLogMessage(line_format, args);
  record.message = record.text.size() >= prefix_length ? record.text.substr(prefix_length) : "";
  platform::WriteSystemLog(record);
}

void LogToSystem(const std::string& message) {
  LogRecord record;
  record.fromLogCall = false;
  record.message = message;
  record.text = message;
  platform::WriteSystemLog(record);
}

void TSRLogger::setSink(LogSink sink) { platform::SetSystemLogSink(std::move(sink)); }
void TSRLogger::setWritesToStderr(bool writes) { platform::SetSystemLogWritesToStderr(writes); }

}  // namespace tessarin

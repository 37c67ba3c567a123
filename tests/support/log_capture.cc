#include "support/log_capture.h"

namespace tessarin::testing {

LogCapture::LogCapture(long threshold) : previous_threshold_(TSRLogger::logLevel()) {
  TSRLogger::setLogLevel(threshold);
  TSRLogger::setWritesToStderr(false);
  TSRLogger::setSink([this](const LogRecord& record) {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.push_back(record);
  });
}

LogCapture::~LogCapture() {
  TSRLogger::setSink(nullptr);
  TSRLogger::setWritesToStderr(true);
  TSRLogger::setLogLevel(previous_threshold_);
}

std::vector<LogRecord> LogCapture::records() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return records_;
}

std::vector<std::string> LogCapture::messages() const {
  std::vector<std::string> out;
  for (const auto& r : records()) out.push_back(r.message);
  return out;
}

int LogCapture::count(const std::string& message, long level) const {
  int n = 0;
  for (const auto& r : records()) {
    if (r.message == message && (level < 0 || r.level == level)) ++n;
  }
  return n;
}

int LogCapture::countContaining(const std::string& fragment) const {
  int n = 0;
  for (const auto& r : records()) {
    if (r.message.find(fragment) != std::string::npos) ++n;
  }
  return n;
}

void LogCapture::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  records_.clear();
}

}  // namespace tessarin::testing

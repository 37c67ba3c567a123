// Captures the SDK's printed lines for a test, at the threshold it asks for.
#ifndef TESSARIN_TESTS_SUPPORT_LOG_CAPTURE_H_
#define TESSARIN_TESTS_SUPPORT_LOG_CAPTURE_H_

#include <mutex>
#include <string>
#include <vector>

#include "tessarin/log.h"

namespace tessarin::testing {

class LogCapture {
 public:
  explicit LogCapture(long threshold = TSRLogLevelDebug);
  ~LogCapture();

  std::vector<LogRecord> records() const;
  // The expanded messages, in order.
  std::vector<std::string> messages() const;
  // How many lines carry exactly this message (and this level, when given).
  int count(const std::string& message, long level = -1) const;
  bool contains(const std::string& message, long level = -1) const { return count(message, level) > 0; }
  // How many lines contain the fragment.
  int countContaining(const std::string& fragment) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
  long previous_threshold_;
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_LOG_CAPTURE_H_

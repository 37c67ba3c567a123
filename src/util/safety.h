// Guarded execution: no exception raised inside the SDK, or inside a
// handler of the host app's that the SDK calls, reaches the host app. Each
// runner catches whatever is thrown (std::exception, the platform's
// exception class, and anything else: an int, a class of the app's own),
// logs it with the caller's tag, and rethrows only when the host app asked
// for it during development.
#ifndef TESSARIN_UTIL_SAFETY_H_
#define TESSARIN_UTIL_SAFETY_H_

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/event_counters.h"
#include "platform/platform.h"
#include "tessarin/json.h"

namespace tessarin {

// An exception with the fields the exception report prints. SDK code may
// throw it where the reference platform would raise a named exception.
class TSRException : public std::runtime_error {
 public:
  TSRException(std::string name, const std::string& reason, Json userInfo = nullptr);
  const std::string& name() const { return name_; }
  const Json& userInfo() const { return user_info_; }
  const std::vector<std::string>& callStackSymbols() const { return symbols_; }

 private:
  std::string name_;
  Json user_info_;
  std::vector<std::string> symbols_;
};

class TSRUtilitySafety {
 public:
  using Block = std::function<void()>;

  static void setThrowExceptions(bool value) { throw_exceptions_.store(value, std::memory_order_relaxed); }
  static bool throwExceptions() { return throw_exceptions_.load(std::memory_order_relaxed); }

  // Logs the exception report; rethrows the exception being handled when
  // `throwExceptions` is set, so it must be called from inside a handler.
  static void logException(const std::exception& exception, const char* tag);
  // The same for an exception that is not a std::exception, of which
  // nothing can be read: it is reported with kUnknownExceptionName and
  // kUnknownExceptionReason.
  static void logNonStandardException(const char* tag);

  static constexpr const char* kUnknownExceptionName = "unknown exception";
  static constexpr const char* kUnknownExceptionReason = "a non-standard exception was thrown";

  static void runWithTag(const char* tag, const Block& block);
  static void runOnMainWithTag(platform::Platform& platform, const char* tag, Block block);
  // runOnMainWithTag for a report of the app's that becomes an event (an
  // action, an item view): from another thread it passes the event
  // counters' hand-off, so that an app reporting faster than the main
  // thread can build events does not pile reports up without limit. A
  // report the hand-off refuses is dropped (counted, and logged once per
  // overflow). Without counters it is runOnMainWithTag.
  static void runReportOnMainWithTag(platform::Platform& platform, const std::shared_ptr<EventCounters>& counters,
                                     const char* tag, Block block);
  // A place in the counters' hand-off, or null (counted, and logged once
  // per overflow) when it is full.
  static std::shared_ptr<HandOffTicket> enterEventHandOff(const std::shared_ptr<EventCounters>& counters);
  static void runOnMainUNSAFE(platform::Platform& platform, Block block);
  static void runAsyncOnQueue(const std::shared_ptr<platform::DispatchQueue>& queue, const char* tag,
                              Block block);
  static void runSyncOnQueue(const std::shared_ptr<platform::DispatchQueue>& queue, const char* tag,
                             Block block);
  static void runAfterDelay(platform::Platform& platform, double seconds, bool useWallTime,
                            const std::shared_ptr<platform::DispatchQueue>& queue, const char* tag,
                            Block block);

 private:
  static inline std::atomic<bool> throw_exceptions_{false};
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_SAFETY_H_

#include "util/safety.h"

#include <cmath>

#include "base/log.h"
#include "platform/call_stack.h"

namespace tessarin {

TSRException::TSRException(std::string name, const std::string& reason, Json userInfo)
    : std::runtime_error(reason),
      name_(std::move(name)),
      user_info_(std::move(userInfo)),
      symbols_(platform::CaptureCallStack(2)) {}

void TSRUtilitySafety::logException(const std::exception& exception, const char* tag) {
  std::string name;
  LogArg info;
  std::string symbols;
  if (auto* named = dynamic_cast<const TSRException*>(&exception)) {
    name = named->name();
    if (!named->userInfo().is_null()) info = LogArg(named->userInfo());
    for (std::size_t i = 0; i < named->callStackSymbols().size(); ++i) {
      if (i) symbols += "\n  ";
      symbols += named->callStackSymbols()[i];
    }
  } else {
    name = platform::TypeName(typeid(exception));
  }
  TSR_LOG_ERROR("Exception:\n  Tag: %@\n  Name: %@\n  Reason: %@\n  Info: %@\n  Symbols: %@", tag, name,
                exception.what(), info, symbols.empty() ? LogArg() : LogArg(symbols));
  if (throwExceptions()) throw;
}

void TSRUtilitySafety::logNonStandardException(const char* tag) {
  TSR_LOG_ERROR("Exception:\n  Tag: %@\n  Name: %@\n  Reason: %@\n  Info: %@\n  Symbols: %@", tag,
                kUnknownExceptionName, kUnknownExceptionReason, LogArg(), LogArg());
  if (throwExceptions()) throw;
}

void TSRUtilitySafety::runWithTag(const char* tag, const Block& block) {
  try {
    block();
  } catch (const std::exception& exception) {
    logException(exception, tag);
  } catch (...) {
    // Anything may come out of a host app's handler; letting it through
    // would take the app down from inside the SDK.
    logNonStandardException(tag);
  }
}

void TSRUtilitySafety::runOnMainWithTag(platform::Platform& platform, const char* tag, Block block) {
  if (platform.isMainThread()) {
    runWithTag(tag, block);
  } else {
    runAsyncOnQueue(platform.mainQueue(), tag, std::move(block));
  }
}

void TSRUtilitySafety::runReportOnMainWithTag(platform::Platform& platform,
                                              const std::shared_ptr<EventCounters>& counters, const char* tag,
                                              Block block) {
  if (!counters || platform.isMainThread()) {
    runOnMainWithTag(platform, tag, std::move(block));
    return;
  }
  std::shared_ptr<HandOffTicket> ticket = enterEventHandOff(counters);
  if (!ticket) return;
  // One task, guarded as runAsyncOnQueue guards it, without wrapping the
  // block twice: this runs for every report an app makes off the main thread.
  platform.mainQueue()->async(
      [tag, ticket = std::move(ticket), block = std::move(block)] { runWithTag(tag, block); });
}

std::shared_ptr<HandOffTicket> TSRUtilitySafety::enterEventHandOff(const std::shared_ptr<EventCounters>& counters) {
  bool announce = false;
  if (!counters->enterHandOff(&announce)) {
    if (announce) {
      TSR_LOG_ERROR("Events: Dropping events reported faster than they can be queued, %lu waiting",
                    static_cast<unsigned long>(counters->inHandOff()));
    }
    return nullptr;
  }
  return std::make_shared<HandOffTicket>(counters);
}

void TSRUtilitySafety::runOnMainUNSAFE(platform::Platform& platform, Block block) {
  if (platform.isMainThread()) {
    block();
  } else {
    platform.mainQueue()->async(std::move(block));
  }
}

void TSRUtilitySafety::runAsyncOnQueue(const std::shared_ptr<platform::DispatchQueue>& queue,
                                       const char* tag, Block block) {
  queue->async([tag, block = std::move(block)] { runWithTag(tag, block); });
}

void TSRUtilitySafety::runSyncOnQueue(const std::shared_ptr<platform::DispatchQueue>& queue,
                                      const char* tag, Block block) {
  queue->sync([tag, &block] { runWithTag(tag, block); });
}

void TSRUtilitySafety::runAfterDelay(platform::Platform& platform, double seconds, bool useWallTime,
                                     const std::shared_ptr<platform::DispatchQueue>& queue,
                                     const char* tag, Block block) {
  // The delay is counted in whole nanoseconds, as a dispatch time is.
  double nanoseconds = std::trunc(seconds * 1e9);
  platform::TimerSpec spec;
  spec.clock = useWallTime ? platform::Clock::kWall : platform::Clock::kMonotonic;
  spec.startDelay = nanoseconds / 1e9;
  spec.interval = 0;
  spec.leeway = 0;
  // The platform keeps a one-shot timer until it fires; nothing cancels a
  // delayed run, so the handle is not kept.
  platform.scheduleTimer(queue, spec, [tag, block = std::move(block)] { runWithTag(tag, block); });
}

}  // namespace tessarin

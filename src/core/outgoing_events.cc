// The events the façade builds and queues itself (actions, time-on-page
// pings, campaign statistics), and what the app can ask of the queue from
// outside: a flush and the counts of what became of its events.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "base/collaborators.h"
#include "base/log.h"
#include "core/composition_root.h"
#include "core/tessarin_impl.h"
#include "platform/platform.h"
#include "tessarin/events.h"
#include "transport/events_util.h"
#include "util/json_dispose.h"
#include "util/json_util.h"
#include "util/safety.h"

namespace tessarin {

TSREventDiagnostics TessarinImpl::eventDiagnostics() const { return di_->eventCounters().snapshot(); }

bool TessarinImpl::flush(double timeoutSeconds) {
  // The waiter may outlive this call (a timed-out wait), so its state is shared.
  struct Drain {
    std::mutex mutex;
    std::condition_variable changed;
    bool drained = false;
  };
  auto drain = std::make_shared<Drain>();
  auto drained = [drain] {
    std::lock_guard<std::mutex> lock(drain->mutex);
    drain->drained = true;
    drain->changed.notify_all();
  };
  auto is_drained = [drain] {
    std::lock_guard<std::mutex> lock(drain->mutex);
    return drain->drained;
  };
  // The queue belongs to the main thread, which may replace it (a reset).
  auto start = [drained](TessarinImpl& self) {
    if (self.event_sender_) {
      self.event_sender_->flush(drained);
    } else {
      drained();  // no queue, nothing queued
    }
  };
  if (platform_->isMainThread()) {
    // Waiting here would hold up the very thread the SDK works on.
    start(*this);
    return is_drained();
  }
  OnMain("-[Tessarin flush:]", start);
  std::unique_lock<std::mutex> lock(drain->mutex);
  auto timeout = std::chrono::duration<double>(std::max(0.0, timeoutSeconds));
  return drain->changed.wait_for(lock, timeout, [&drain] { return drain->drained; });
}




std::optional<Json> TessarinImpl::buildFullEventParams() {
  auto event = TSRUtilityEvents::buildBaseParams(*this);
  if (event && test_experience_id_ && !test_experience_id_->empty()) {
    (*event)[TSREvent_testMessages] = *test_experience_id_;
  }
  return event;
}

void TessarinImpl::sendAction(const std::string& action, const std::string& contextId, Json additionalFields) {
  // The SDK's own parts call this on the main thread; any other caller is
  // moved there, where the façade's state lives.
  if (!platform_->isMainThread()) {
    std::weak_ptr<TessarinImpl> weak = weak_from_this();
    TSRUtilitySafety::runReportOnMainWithTag(
        *platform_, std::shared_ptr<EventCounters>(di_, &di_->eventCounters()),
        "-[Tessarin sendAction:contextId:additionalFields:]",
        [weak, action, contextId, additionalFields = std::move(additionalFields)]() mutable {
          if (auto self = weak.lock()) self->sendAction(action, contextId, std::move(additionalFields));
        });
    return;
  }
  if (disabled_) return;
  if (action.empty() || contextId.empty()) {
    TSR_LOG_ERROR("Action: Ignoring since incomplete: action [%@] contextId [%@]", action, contextId);
    return;
  }
  if (design_mode_) {
    TSR_LOG_ERROR("Action: Ignoring, Tessarin in design mode: action [%@] contextId [%@]", action, contextId);
    return;
  }
  TSR_LOG_DEBUG("Action: [%@] contextId [%@]", action, contextId);
  auto event = buildFullEventParams();
  if (!event) return;
  // The base record never holds these two: appended, not looked up.
  auto& fields = event->get_ref<Json::object_t&>();
  fields.emplace_back(TSREvent_action, action);
  fields.emplace_back(TSREvent_contextId, contextId);
  // Pending attributes ride on this event and are then forgotten.
  if (!attributes_.empty()) {
    for (auto& [name, value] : attributes_.items()) (*event)[name] = value;
    attributes_ = Json::object();
  }
  // The caller's fields come last, so they override everything before them.
  if (additionalFields.is_object()) {
    for (auto& [key, value] : additionalFields.get_ref<Json::object_t&>()) (*event)[key] = std::move(value);
    DisposeJson(additionalFields);
  }
  if (event_sender_) event_sender_->addEvent(std::move(*event));
}

void TessarinImpl::sendPingForItem(const Json& item, double timeOnPage) {
  if (disabled_) return;
  if (item.is_null() || !(timeOnPage > 0)) {
    TSR_LOG_WARN("Ping: Ignoring, invalid, %.3f %@", timeOnPage, item.is_null() ? LogArg() : LogArg(item));
    return;
  }
  if (!started_ || design_mode_) {
    TSR_LOG_WARN("Ping: Ignoring, Tessarin not started or in design mode, %.3f %@", timeOnPage, item);
    return;
  }
  // Pings carry no test selection: the base record alone.
  auto event = TSRUtilityEvents::buildBaseParams(*this);
  if (!event) return;
  (*event)[TSREvent_item] = item;
  (*event)[TSREvent_timeOnPage] = static_cast<std::uint64_t>(timeOnPage * 1000);
  (*event)[TSREvent_simulatedEndpoint] = "p";
  TSR_LOG_INFO("Ping: sending %.3f %@", timeOnPage, item);
  if (event_sender_) event_sender_->addEvent(std::move(*event));
}

void TessarinImpl::sendCampaignStats(const Json& stats, bool testing) {
  // Deliberately not gated on being started: statistics of a campaign shown
  // just before a stop still count.
  if (disabled_ || design_mode_) return;
  auto event = TSRUtilityEvents::buildBaseParams(*this);
  if (!event) return;
  auto serialised = TSRUtilityJSON::stringFromJSON(stats);
  if (!serialised) return;
  (*event)[TSREvent_campaignStats] = *serialised;
  (*event)[TSREvent_simulatedEndpoint] = "m";
  if (testing) (*event)[TSREvent_test] = "true";
  if (event_sender_) event_sender_->addEvent(std::move(*event));
}

}  // namespace tessarin

// The C interface over the shared instance. Each function checks its
// arguments, turns text into the C++ interface's values on the caller's
// thread (so that bad input is reported to the caller) and hands over to
// the C++ interface, which hops to the main thread. Nothing thrown gets out.
#include "tessarin/tessarin_c.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "base/log.h"
#include "capi/capi_items.h"
#include "tessarin/context.h"
#include "tessarin/host.h"
#include "tessarin/log.h"
#include "tessarin/tessarin.h"

struct tessarin_campaign {
  std::shared_ptr<tessarin::TSRCampaign> campaign;
  // The context whose handler received it: the one its statistics go to.
  std::weak_ptr<tessarin::TSRContext> context;
  std::string data_json;
  std::string json;
  // Made by tessarin_campaign_copy, freed by tessarin_campaign_free; the
  // handles given to handlers live on the main thread's stack.
  bool owned = false;
};

namespace tessarin::capi {
namespace {

// Whether a function of this interface has made the shared instance, after
// which a log level is also recorded in the configuration.
std::atomic<bool> instance_made{false};

std::shared_ptr<Tessarin> Sdk() {
  auto sdk = Tessarin::sharedInstance();
  instance_made.store(true, std::memory_order_release);
  return sdk;
}

// Runs `body`, answering `failed` for anything it throws.
template <class Result, class Body>
Result Guard(const char* function, Result failed, Body body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    try {
      TSR_LOG_ERROR("C API: %@: %@", function, e.what());
    } catch (...) {
    }
  } catch (...) {
    try {
      TSR_LOG_ERROR("C API: %@: unexpected failure", function);
    } catch (...) {
    }
  }
  return failed;
}

template <class Body>
void GuardVoid(const char* function, Body body) noexcept {
  Guard(function, 0, [&] {
    body();
    return 0;
  });
}

// A lifecycle report, which makes the shared instance too.
template <class Report>
void HostReport(const char* function, Report report) noexcept {
  GuardVoid(function, [&] {
    report();
    instance_made.store(true, std::memory_order_release);
  });
}

std::optional<std::string> OptionalString(const char* text) {
  return text ? std::optional<std::string>(text) : std::nullopt;
}

char* CopyString(const std::optional<std::string>& text) {
  if (!text) return nullptr;
  char* copy = static_cast<char*>(std::malloc(text->size() + 1));
  if (copy) std::memcpy(copy, text->c_str(), text->size() + 1);
  return copy;
}

tessarin_status Missing(const char* function, const char* what) {
  TSR_LOG_ERROR("C API: %@: %@ is missing", function, what);
  return TESSARIN_ERROR_INVALID_ARGUMENT;
}

// The global context, or null while the SDK is disabled.
std::shared_ptr<TSRContext> Global() { return Sdk()->globalContext(); }

// Targets the SDK keeps for itself.
bool ReservedTarget(const char* target) {
  return std::strlen(target) >= 3 && (target[0] | 0x20) == 't' && (target[1] | 0x20) == 's' &&
         (target[2] | 0x20) == 'r';
}

// An item view of the kind `view` does, after the item's JSON has been
// checked; ItemClass narrows the item classes it takes.
template <class ItemClass, class View>
tessarin_status ViewItem(const char* function, const char* item_json, const char* action_name, View view) {
  return Guard(function, TESSARIN_ERROR_INTERNAL, [&] {
    if (!item_json) return Missing(function, "item JSON");
    auto json = ParseJsonText(function, item_json);
    if (!json) return TESSARIN_ERROR_INVALID_JSON;
    auto item = ItemFromJson(function, *json);
    if (!item) return TESSARIN_ERROR_INVALID_ITEM;
    auto typed = std::dynamic_pointer_cast<ItemClass>(item);
    if (!typed) {
      TSR_LOG_ERROR("C API: %@: not the kind of item it takes: %@", function, item->description());
      return TESSARIN_ERROR_INVALID_ITEM;
    }
    auto context = Global();
    if (!context) return TESSARIN_ERROR_DISABLED;
    view(*context, typed, OptionalString(action_name));
    return TESSARIN_OK;
  });
}

template <class Make, class Report>
tessarin_status Track(const char* function, const char* what, const char* text, Make make, Report report) {
  return Guard(function, TESSARIN_ERROR_INTERNAL, [&] {
    if (!text) return Missing(function, what);
    auto json = ParseJsonText(function, text);
    if (!json) return TESSARIN_ERROR_INVALID_JSON;
    auto made = make(function, *json);
    if (!made) return TESSARIN_ERROR_INVALID_ITEM;
    auto context = Global();
    if (!context) return TESSARIN_ERROR_DISABLED;
    report(*context, made);
    return TESSARIN_OK;
  });
}

// What a handler registration owns: the app's function and data, released
// with the registration.
struct CampaignHandler {
  tessarin_campaign_handler handler = nullptr;
  void* user_data = nullptr;
  tessarin_free_function free_user_data = nullptr;

  CampaignHandler() = default;
  CampaignHandler(const CampaignHandler&) = delete;
  CampaignHandler& operator=(const CampaignHandler&) = delete;
  ~CampaignHandler() {
    if (free_user_data) free_user_data(user_data);
  }
};

tessarin_status TrackStat(const char* function, const tessarin_campaign* campaign,
                          void (TSRContext::*track)(const std::shared_ptr<TSRCampaign>&)) {
  return Guard(function, TESSARIN_ERROR_INTERNAL, [&] {
    if (!campaign || !campaign->campaign) return Missing(function, "campaign");
    auto context = campaign->context.lock();
    if (!context) return TESSARIN_ERROR_DISABLED;
    ((*context).*track)(campaign->campaign);
    return TESSARIN_OK;
  });
}

const char* CampaignString(const tessarin_campaign* campaign, const std::string& (TSRCampaign::*field)() const) {
  if (!campaign || !campaign->campaign) return nullptr;
  return ((*campaign->campaign).*field)().c_str();
}

}  // namespace
}  // namespace tessarin::capi

using namespace tessarin;
using namespace tessarin::capi;

extern "C" {

const char* tessarin_status_string(tessarin_status status) {
  switch (status) {
    case TESSARIN_OK: return "ok";
    case TESSARIN_ERROR_INVALID_ARGUMENT: return "invalid argument";
    case TESSARIN_ERROR_INVALID_JSON: return "invalid JSON";
    case TESSARIN_ERROR_INVALID_ITEM: return "invalid item";
    case TESSARIN_ERROR_ALREADY_CONFIGURED: return "already configured";
    case TESSARIN_ERROR_DISABLED: return "disabled";
    case TESSARIN_ERROR_INTERNAL: return "internal error";
  }
  return "unknown status";
}

const char* tessarin_version(void) { return kTessarinSDKVersion; }

void tessarin_free(void* pointer) { std::free(pointer); }

// --- The host app ---

void tessarin_host_options_init(tessarin_host_options* options) {
  if (!options) return;
  std::memset(options, 0, sizeof *options);
  options->version = TESSARIN_HOST_OPTIONS_VERSION;
  options->notifications_allowed = 1;
}

tessarin_status tessarin_host_configure(const tessarin_host_options* options) {
  static constexpr const char* kFunction = "tessarin_host_configure";
  return Guard(kFunction, TESSARIN_ERROR_INTERNAL, [&] {
    if (!options || options->version < 1 || options->version > TESSARIN_HOST_OPTIONS_VERSION) {
      TSR_LOG_ERROR("C API: %@: options missing or of an unknown version", kFunction);
      return TESSARIN_ERROR_INVALID_ARGUMENT;
    }
    TessarinHostOptions host;
    host.bundleIdentifier = OptionalString(options->bundle_id);
    host.bundleVersion = OptionalString(options->bundle_version);
    host.dataDirectory = OptionalString(options->data_directory);
    if (options->os_name) host.osName = options->os_name;
    if (options->vendor_name) host.vendorName = options->vendor_name;
    if (options->info_json) {
      auto info = ParseJsonText(kFunction, options->info_json);
      if (!info || !info->is_object()) {
        if (info) TSR_LOG_ERROR("C API: %@: info_json is not a JSON object", kFunction);
        return TESSARIN_ERROR_INVALID_JSON;
      }
      host.info = std::move(*info);
    }
    host.notificationsAllowed = options->notifications_allowed != 0;
    // A version 1 struct ends before these: its memory is not read past.
    if (options->version >= 2) {
      if (options->trusted_certificates_file) host.trustedCertificatesFile = options->trusted_certificates_file;
      if (!(options->request_timeout >= 0)) {
        TSR_LOG_ERROR("C API: %@: request_timeout must be 0 or more seconds", kFunction);
        return TESSARIN_ERROR_INVALID_ARGUMENT;
      }
      host.requestTimeout = options->request_timeout;
    }
    return TessarinHost::configure(std::move(host)) ? TESSARIN_OK : TESSARIN_ERROR_ALREADY_CONFIGURED;
  });
}

void tessarin_host_did_finish_launching(void) {
  HostReport("tessarin_host_did_finish_launching", [] { TessarinHost::applicationDidFinishLaunching(); });
}
void tessarin_host_did_become_active(void) {
  HostReport("tessarin_host_did_become_active", [] { TessarinHost::applicationDidBecomeActive(); });
}
void tessarin_host_will_resign_active(void) {
  HostReport("tessarin_host_will_resign_active", [] { TessarinHost::applicationWillResignActive(); });
}
void tessarin_host_did_enter_background(void) {
  HostReport("tessarin_host_did_enter_background", [] { TessarinHost::applicationDidEnterBackground(); });
}
void tessarin_host_will_enter_foreground(void) {
  HostReport("tessarin_host_will_enter_foreground", [] { TessarinHost::applicationWillEnterForeground(); });
}
void tessarin_host_will_terminate(void) {
  HostReport("tessarin_host_will_terminate", [] { TessarinHost::applicationWillTerminate(); });
}
void tessarin_host_report_user_event(void) {
  HostReport("tessarin_host_report_user_event", [] { TessarinHost::reportUserEvent(); });
}

// --- Starting and stopping ---

tessarin_status tessarin_start(const char* configuration_json) {
  static constexpr const char* kFunction = "tessarin_start";
  return Guard(kFunction, TESSARIN_ERROR_INTERNAL, [&] {
    if (!configuration_json) return Missing(kFunction, "configuration");
    auto configuration = ParseJsonText(kFunction, configuration_json);
    if (!configuration) return TESSARIN_ERROR_INVALID_JSON;
    if (!configuration->is_object()) {
      TSR_LOG_ERROR("C API: %@: the configuration is not a JSON object", kFunction);
      return TESSARIN_ERROR_INVALID_JSON;
    }
    Sdk()->startWithConfiguration(*configuration);
    return TESSARIN_OK;
  });
}

tessarin_status tessarin_start_with_account(const char* account, const char* dataset) {
  static constexpr const char* kFunction = "tessarin_start_with_account";
  return Guard(kFunction, TESSARIN_ERROR_INTERNAL, [&] {
    if (!account || !dataset) return Missing(kFunction, "account or dataset");
    Sdk()->startWithTessarinAccountKey(account, dataset);
    return TESSARIN_OK;
  });
}

void tessarin_stop(void) {
  GuardVoid("tessarin_stop", [] { Sdk()->stop(); });
}

void tessarin_reset(int clear_properties) {
  GuardVoid("tessarin_reset", [&] { Sdk()->resetAndClearProperties(clear_properties != 0); });
}

// --- Identity ---

void tessarin_set_user_id(const char* user_id) {
  GuardVoid("tessarin_set_user_id", [&] { Sdk()->setUserId(OptionalString(user_id)); });
}

void tessarin_set_account_id(const char* account_id) {
  GuardVoid("tessarin_set_account_id", [&] { Sdk()->setAccountId(OptionalString(account_id)); });
}

char* tessarin_copy_user_id(void) {
  return Guard("tessarin_copy_user_id", static_cast<char*>(nullptr), [] { return CopyString(Sdk()->userId()); });
}

char* tessarin_copy_account_id(void) {
  return Guard("tessarin_copy_account_id", static_cast<char*>(nullptr),
               [] { return CopyString(Sdk()->accountId()); });
}

char* tessarin_copy_anonymous_id(void) {
  return Guard("tessarin_copy_anonymous_id", static_cast<char*>(nullptr),
               [] { return CopyString(Sdk()->anonymousId()); });
}

tessarin_status tessarin_set_user_attribute(const char* name, const char* value) {
  return Guard("tessarin_set_user_attribute", TESSARIN_ERROR_INTERNAL, [&] {
    if (!name) return Missing("tessarin_set_user_attribute", "name");
    Sdk()->setUserAttribute(OptionalString(value), std::string(name));
    return TESSARIN_OK;
  });
}

tessarin_status tessarin_set_account_attribute(const char* name, const char* value) {
  return Guard("tessarin_set_account_attribute", TESSARIN_ERROR_INTERNAL, [&] {
    if (!name) return Missing("tessarin_set_account_attribute", "name");
    Sdk()->setAccountAttribute(OptionalString(value), std::string(name));
    return TESSARIN_OK;
  });
}

// --- What the user does ---

tessarin_status tessarin_track_action(const char* action) {
  return Guard("tessarin_track_action", TESSARIN_ERROR_INTERNAL, [&] {
    if (!action) return Missing("tessarin_track_action", "action");
    auto context = Global();
    if (!context) return TESSARIN_ERROR_DISABLED;
    context->trackAction(action);
    return TESSARIN_OK;
  });
}

tessarin_status tessarin_view_item(const char* item_json, const char* action_name) {
  return ViewItem<TSRItem>("tessarin_view_item", item_json, action_name,
                           [](TSRContext& context, const auto& item, const auto& action) {
                             context.viewItem(item, action);
                           });
}

tessarin_status tessarin_view_item_detail(const char* item_json, const char* action_name) {
  return ViewItem<TSRItem>("tessarin_view_item_detail", item_json, action_name,
                           [](TSRContext& context, const auto& item, const auto& action) {
                             context.viewItemDetail(item, action);
                           });
}

tessarin_status tessarin_view_category(const char* category_json, const char* action_name) {
  return ViewItem<TSRCategory>("tessarin_view_category", category_json, action_name,
                               [](TSRContext& context, const auto& category, const auto& action) {
                                 context.viewCategory(category, action);
                               });
}

tessarin_status tessarin_view_tag(const char* tag_json, const char* action_name) {
  return ViewItem<TSRTag>("tessarin_view_tag", tag_json, action_name,
                          [](TSRContext& context, const auto& tag, const auto& action) {
                            context.viewTag(tag, action);
                          });
}

tessarin_status tessarin_add_to_cart(const char* line_item_json) {
  return Track("tessarin_add_to_cart", "line item JSON", line_item_json, LineItemFromJson,
               [](TSRContext& context, const auto& line) { context.addToCart(line); });
}

tessarin_status tessarin_remove_from_cart(const char* line_item_json) {
  return Track("tessarin_remove_from_cart", "line item JSON", line_item_json, LineItemFromJson,
               [](TSRContext& context, const auto& line) { context.removeFromCart(line); });
}

tessarin_status tessarin_view_cart(const char* order_json) {
  return Track("tessarin_view_cart", "order JSON", order_json, OrderFromJson,
               [](TSRContext& context, const auto& order) { context.viewCart(order); });
}

tessarin_status tessarin_purchase(const char* order_json) {
  return Track("tessarin_purchase", "order JSON", order_json, OrderFromJson,
               [](TSRContext& context, const auto& order) { context.purchase(order); });
}

// --- Campaigns ---

tessarin_status tessarin_set_campaign_handler(const char* target, tessarin_campaign_handler handler,
                                              void* user_data, tessarin_free_function free_user_data) {
  static constexpr const char* kFunction = "tessarin_set_campaign_handler";
  return Guard(kFunction, TESSARIN_ERROR_INTERNAL, [&] {
    if (!target || !*target) return Missing(kFunction, "target");
    if (ReservedTarget(target)) {
      TSR_LOG_ERROR("C API: %@: target [%@] has the SDK's reserved prefix 'tsr'", kFunction, target);
      return TESSARIN_ERROR_INVALID_ARGUMENT;
    }
    auto context = Global();
    if (!context) return TESSARIN_ERROR_DISABLED;
    if (!handler) {
      context->setCampaignHandler(nullptr, target);
      return TESSARIN_OK;
    }
    // From here on the registration owns the user data, whatever happens.
    auto registration = std::make_shared<CampaignHandler>();
    registration->handler = handler;
    registration->user_data = user_data;
    registration->free_user_data = free_user_data;
    std::weak_ptr<TSRContext> weak_context = context;
    context->setCampaignHandler(
        [registration, weak_context](const std::shared_ptr<TSRCampaign>& campaign) {
          if (!campaign) return;
          tessarin_campaign handle;
          handle.campaign = campaign;
          handle.context = weak_context;
          handle.data_json = JsonDump(campaign->data());
          handle.json = JsonDump(campaign->json());
          registration->handler(&handle, handle.data_json.c_str(), registration->user_data);
        },
        target);
    return TESSARIN_OK;
  });
}

const char* tessarin_campaign_target(const tessarin_campaign* campaign) {
  return CampaignString(campaign, &TSRCampaign::target);
}

const char* tessarin_campaign_id(const tessarin_campaign* campaign) {
  return CampaignString(campaign, &TSRCampaign::campaignId);
}

const char* tessarin_campaign_data_json(const tessarin_campaign* campaign) {
  return campaign ? campaign->data_json.c_str() : nullptr;
}

const char* tessarin_campaign_json(const tessarin_campaign* campaign) {
  return campaign ? campaign->json.c_str() : nullptr;
}

tessarin_campaign* tessarin_campaign_copy(const tessarin_campaign* campaign) {
  if (!campaign) return nullptr;
  return Guard("tessarin_campaign_copy", static_cast<tessarin_campaign*>(nullptr), [&] {
    auto* copy = new tessarin_campaign(*campaign);
    copy->owned = true;
    return copy;
  });
}

void tessarin_campaign_free(tessarin_campaign* campaign) {
  if (campaign && campaign->owned) delete campaign;
}

tessarin_status tessarin_campaign_track_impression(const tessarin_campaign* campaign) {
  return TrackStat("tessarin_campaign_track_impression", campaign, &TSRContext::trackImpression);
}

tessarin_status tessarin_campaign_track_clickthrough(const tessarin_campaign* campaign) {
  return TrackStat("tessarin_campaign_track_clickthrough", campaign, &TSRContext::trackClickthrough);
}

tessarin_status tessarin_campaign_track_dismissal(const tessarin_campaign* campaign) {
  return TrackStat("tessarin_campaign_track_dismissal", campaign, &TSRContext::trackDismissal);
}

// --- Sending ---

int tessarin_flush(double timeout_seconds) {
  return Guard("tessarin_flush", 0, [&] { return Sdk()->flush(timeout_seconds) ? 1 : 0; });
}

tessarin_status tessarin_get_event_diagnostics(tessarin_event_diagnostics* out, size_t size) {
  return Guard("tessarin_get_event_diagnostics", TESSARIN_ERROR_INTERNAL, [&] {
    if (!out) return Missing("tessarin_get_event_diagnostics", "output");
    TSREventDiagnostics counts = Sdk()->eventDiagnostics();
    tessarin_event_diagnostics full;
    full.dropped_throttled = counts.droppedThrottled;
    full.dropped_too_large = counts.droppedTooLarge;
    full.dropped_count_trim = counts.droppedCountTrim;
    full.dropped_byte_trim = counts.droppedByteTrim;
    full.dropped_rejected = counts.droppedRejected;
    full.dropped_at_reset = counts.droppedAtReset;
    full.events_sent = counts.eventsSent;
    full.batches_retried = counts.batchesRetried;
    std::memcpy(out, &full, size < sizeof full ? size : sizeof full);
    return TESSARIN_OK;
  });
}

// --- Log ---

void tessarin_set_log_level(long level) {
  GuardVoid("tessarin_set_log_level", [&] {
    TSRLogger::setLogLevel(level);
    // Once the SDK exists, the level is also its configuration's, as the
    // C++ façade keeps it (it survives a reset that keeps properties).
    if (instance_made.load(std::memory_order_acquire)) Sdk()->setLogLevel(level);
  });
}

long tessarin_log_level(void) { return TSRLogger::logLevel(); }

void tessarin_set_log_sink(tessarin_log_sink sink, void* user_data) {
  GuardVoid("tessarin_set_log_sink", [&] {
    if (!sink) {
      TSRLogger::setSink(nullptr);
      return;
    }
    TSRLogger::setSink([sink, user_data](const LogRecord& record) {
      tessarin_log_record line;
      line.level = record.level;
      line.label = record.label.c_str();
      line.file = record.file.c_str();
      line.line = record.line;
      line.message = record.message.c_str();
      line.text = record.text.c_str();
      sink(&line, user_data);
    });
  });
}

void tessarin_set_log_writes_to_stderr(int writes) {
  GuardVoid("tessarin_set_log_writes_to_stderr", [&] { TSRLogger::setWritesToStderr(writes != 0); });
}

}  // extern "C"

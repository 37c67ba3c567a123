/* Tessarin's C interface.
 *
 * The same SDK as the C++ interface (tessarin.h), for host apps written in C
 * or in a language that binds C. Every function acts on the process's one
 * shared instance, which the first function that needs it creates.
 *
 *   tessarin_host_options host;
 *   tessarin_host_options_init(&host);
 *   host.bundle_id = "com.example.shop";
 *   host.bundle_version = "2.3.0";
 *   tessarin_host_configure(&host);                  once, before anything else
 *
 *   tessarin_host_did_finish_launching();
 *   tessarin_start("{\"account\": \"my-account\", \"dataset\": \"my-dataset\"}");
 *   tessarin_host_did_become_active();
 *   tessarin_set_campaign_handler("home-banner", on_banner, app, NULL);
 *   tessarin_track_action("Open Home");
 *   tessarin_view_item("{\"_id\": \"sku-42\", \"type\": \"p\", \"price\": 89}", NULL);
 *
 * Ownership. Every string and JSON text passed in is read during the call
 * and copied where kept; the caller keeps ownership of its memory. A string
 * a function returns as `char *` belongs to the caller, who frees it with
 * tessarin_free(). A `const char *` a function returns belongs to Tessarin:
 * the status strings and the version live as long as the process, a
 * campaign's strings as long as its handle. Strings and records passed to a
 * callback are valid only during the callback: copy what you keep.
 *
 * Threads. Every function may be called from any thread and returns at once,
 * except tessarin_flush (which waits) and tessarin_host_will_terminate (which
 * waits at most 2 seconds for the queue to be saved). The SDK does its work
 * on its own main thread, a thread it starts: campaign handlers run there,
 * one at a time, and so do the functions that release their user data. The
 * log sink runs on whichever thread logged.
 *
 * Errors. Functions that can refuse their input return a tessarin_status;
 * input that is refused is also logged (at Error or Warn level), and nothing
 * of it is sent. TESSARIN_OK means the request was taken: the SDK still drops
 * what it drops in C++ (a stopped or disabled SDK ignores events, for one).
 * No function lets a C++ exception through.
 *
 * JSON. Items, line items and orders are given in their JSON form:
 *   item       {"_id": "sku-1", "type": "p", "name": ..., "price": ..., ...}
 *              "type" is "p" product, "a" article, "b" blog post,
 *              "c" category or "t" tag; the other keys as the C++ items'
 *              JSON form (items.h), dates in milliseconds since 1970.
 *   line item  {"item": <item>, "quantity": 2}
 *   order      {"orderId": "o-1", "lineItems": [<line item>, ...],
 *               "totalValue": 178, "totalValueCurrency": "EUR"}
 * Only "_id" and "type" of an item and "item" of a line item are required.
 */
#ifndef TESSARIN_TESSARIN_C_H_
#define TESSARIN_TESSARIN_C_H_

#include <stddef.h>
#include <stdint.h>

#include "tessarin/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status -------------------------------------------------------------- */

typedef enum tessarin_status {
  TESSARIN_OK = 0,
  /* A required pointer is NULL, or a value is out of range. */
  TESSARIN_ERROR_INVALID_ARGUMENT = -1,
  /* The text is not JSON, or not the kind of JSON value expected. */
  TESSARIN_ERROR_INVALID_JSON = -2,
  /* The JSON does not describe an item, line item or order (see above). */
  TESSARIN_ERROR_INVALID_ITEM = -3,
  /* tessarin_host_configure came after the host was set up. */
  TESSARIN_ERROR_ALREADY_CONFIGURED = -4,
  /* The SDK is disabled (the service said so) or the campaign's context is
     gone. */
  TESSARIN_ERROR_DISABLED = -5,
  /* Something unexpected failed, such as an allocation. */
  TESSARIN_ERROR_INTERNAL = -6
} tessarin_status;

/* "ok", "invalid argument", ...: a static string, never NULL. */
TESSARIN_EXPORT const char *tessarin_status_string(tessarin_status status);

/* The SDK's version, "1.5.0": a static string. */
TESSARIN_EXPORT const char *tessarin_version(void);

/* Frees a string Tessarin returned as `char *`. NULL is ignored. */
TESSARIN_EXPORT void tessarin_free(void *pointer);

/* ---- The host app -------------------------------------------------------- */

/* Version 2 added trusted_certificates_file and request_timeout; a struct
   of version 1 (without them) is still taken. */
#define TESSARIN_HOST_OPTIONS_VERSION 2

/* Who the host app is. Fill it after tessarin_host_options_init; a NULL
   string leaves the default. */
typedef struct tessarin_host_options {
  /* TESSARIN_HOST_OPTIONS_VERSION, set by tessarin_host_options_init. */
  unsigned int version;
  /* Reverse-DNS name of the app; default "local.<program name>". The SDK's
     files live in a directory of this name. */
  const char *bundle_id;
  const char *bundle_version;
  /* Replaces the user's data directory ($XDG_DATA_HOME, else
     ~/.local/share), for a sandbox or a test run. */
  const char *data_directory;
  /* The operating system's name as the service knows it; default "Linux".
     An unknown name may make the service switch the SDK off. */
  const char *os_name;
  /* Applications of one vendor share the identifier for vendor. */
  const char *vendor_name;
  /* Further Info values as a JSON object, e.g.
     {"TessarinSwizzlingEnabled": false}. */
  const char *info_json;
  /* Whether the user lets the app show notifications; default 1. */
  int notifications_allowed;
  /* A PEM file of the certificates to trust for the service instead of the
     system's; the service's host name is checked either way. */
  const char *trusted_certificates_file;
  /* Seconds a request may take in all before it fails as timed out; 0 (the
     default): no such bound. */
  double request_timeout;
} tessarin_host_options;

/* Sets `options` to the defaults: every string NULL, notifications allowed. */
TESSARIN_EXPORT void tessarin_host_options_init(tessarin_host_options *options);

/* Sets the host up; call it once, before any other function that needs the
   SDK. TESSARIN_ERROR_ALREADY_CONFIGURED when the host was already set up
   (by an earlier call, or with the defaults by an earlier use of the SDK);
   nothing changes then. TESSARIN_ERROR_INVALID_ARGUMENT for NULL or an
   unknown version, TESSARIN_ERROR_INVALID_JSON for an info_json that is not
   a JSON object. */
TESSARIN_EXPORT tessarin_status tessarin_host_configure(const tessarin_host_options *options);

/* The app's lifecycle, reported as it changes; the reports take effect in
   order. Becoming active counts as the user's activity. */
TESSARIN_EXPORT void tessarin_host_did_finish_launching(void);
TESSARIN_EXPORT void tessarin_host_did_become_active(void);
TESSARIN_EXPORT void tessarin_host_will_resign_active(void);
TESSARIN_EXPORT void tessarin_host_did_enter_background(void);
TESSARIN_EXPORT void tessarin_host_will_enter_foreground(void);
/* Saves the queue; waits at most 2 seconds. */
TESSARIN_EXPORT void tessarin_host_will_terminate(void);
/* One input event of the user (a key press, a click). After
   "timeOnPageTimeout" seconds (default 120) without one the user counts as
   idle, and campaigns wait. */
TESSARIN_EXPORT void tessarin_host_report_user_event(void);

/* ---- Starting and stopping ---------------------------------------------- */

/* Starts the SDK with a client configuration, a JSON object with at least
   "account" and "dataset". TESSARIN_ERROR_INVALID_JSON when it is not a JSON
   object. Start after the user's consent, before the app becomes active. */
TESSARIN_EXPORT tessarin_status tessarin_start(const char *configuration_json);
TESSARIN_EXPORT tessarin_status tessarin_start_with_account(const char *account, const char *dataset);
/* Stops the SDK until the next start: what is queued is saved, campaigns
   waiting for a handler are dropped. */
TESSARIN_EXPORT void tessarin_stop(void);
/* Stops, deletes what is queued and forgets the configuration; with
   `clear_properties` nonzero also forgets the user and account ids and the
   pending attributes, and sets the log level back to none. Start again
   afterwards. */
TESSARIN_EXPORT void tessarin_reset(int clear_properties);

/* ---- Identity ------------------------------------------------------------ */

/* NULL clears. Kept in memory only. */
TESSARIN_EXPORT void tessarin_set_user_id(const char *user_id);
TESSARIN_EXPORT void tessarin_set_account_id(const char *account_id);
/* A copy for the caller to tessarin_free, or NULL when there is none. */
TESSARIN_EXPORT char *tessarin_copy_user_id(void);
TESSARIN_EXPORT char *tessarin_copy_account_id(void);
TESSARIN_EXPORT char *tessarin_copy_anonymous_id(void);

/* Attributes ride on the next action event; a NULL value clears the
   attribute on the service. TESSARIN_ERROR_INVALID_ARGUMENT for a NULL name. */
TESSARIN_EXPORT tessarin_status tessarin_set_user_attribute(const char *name, const char *value);
TESSARIN_EXPORT tessarin_status tessarin_set_account_attribute(const char *name, const char *value);

/* ---- What the user does (on the global context) ------------------------- */

/* A free-form action, sent as given. */
TESSARIN_EXPORT tessarin_status tessarin_track_action(const char *action);

/* Item views. `action_name` (may be NULL) is sent as the action, with the
   item action riding along. A category view takes a category ("type" "c"),
   a tag view a tag ("t"); TESSARIN_ERROR_INVALID_ITEM otherwise. */
TESSARIN_EXPORT tessarin_status tessarin_view_item(const char *item_json, const char *action_name);
TESSARIN_EXPORT tessarin_status tessarin_view_item_detail(const char *item_json, const char *action_name);
TESSARIN_EXPORT tessarin_status tessarin_view_category(const char *category_json, const char *action_name);
TESSARIN_EXPORT tessarin_status tessarin_view_tag(const char *tag_json, const char *action_name);

/* Carts and purchases. */
TESSARIN_EXPORT tessarin_status tessarin_add_to_cart(const char *line_item_json);
TESSARIN_EXPORT tessarin_status tessarin_remove_from_cart(const char *line_item_json);
TESSARIN_EXPORT tessarin_status tessarin_view_cart(const char *order_json);
TESSARIN_EXPORT tessarin_status tessarin_purchase(const char *order_json);

/* ---- Campaigns ----------------------------------------------------------- */

/* One campaign delivered to a handler. The handle a handler receives is
   valid during the call only; tessarin_campaign_copy makes one that lives
   until tessarin_campaign_free, for a click that comes later. */
typedef struct tessarin_campaign tessarin_campaign;

/* Runs on the SDK's main thread. `data_json` is the campaign's data (a JSON
   object), the same text as tessarin_campaign_data_json(campaign). */
typedef void (*tessarin_campaign_handler)(const tessarin_campaign *campaign, const char *data_json,
                                          void *user_data);
/* Releases a handler's user data. */
typedef void (*tessarin_free_function)(void *user_data);

/* Campaigns the service answers for `target` on the global context go to
   `handler` with `user_data`; a NULL handler removes the target's handler.
   With a NULL handler, `user_data` and `free_user_data` are not used. A
   campaign answered before there is a handler waits for one.
   TESSARIN_ERROR_INVALID_ARGUMENT for a NULL or empty target and for targets
   beginning with "tsr" (in any case), which are the SDK's own, and
   TESSARIN_ERROR_DISABLED while the SDK is disabled; `user_data` stays the
   caller's then. Otherwise the change takes effect on the SDK's main
   thread, so a handler being replaced may still run until then, and
   `free_user_data` (may be NULL) is called with `user_data` on the main
   thread once this handler will not run again: when it is replaced or
   removed, or dropped by an SDK disabled meanwhile. */
TESSARIN_EXPORT tessarin_status tessarin_set_campaign_handler(const char *target, tessarin_campaign_handler handler,
                                                              void *user_data,
                                                              tessarin_free_function free_user_data);

/* The campaign's fields; strings owned by the handle. */
TESSARIN_EXPORT const char *tessarin_campaign_target(const tessarin_campaign *campaign);
TESSARIN_EXPORT const char *tessarin_campaign_id(const tessarin_campaign *campaign);
TESSARIN_EXPORT const char *tessarin_campaign_data_json(const tessarin_campaign *campaign);
/* The campaign object as the service sent it. */
TESSARIN_EXPORT const char *tessarin_campaign_json(const tessarin_campaign *campaign);

/* A handle of the caller's own, or NULL when memory runs out. */
TESSARIN_EXPORT tessarin_campaign *tessarin_campaign_copy(const tessarin_campaign *campaign);
/* Frees a handle from tessarin_campaign_copy. NULL, and the handles given
   to handlers, are ignored. */
TESSARIN_EXPORT void tessarin_campaign_free(tessarin_campaign *campaign);

/* What the user did with the campaign: saw it, clicked it, dismissed it.
   From any thread, during the handler or later through a copy. */
TESSARIN_EXPORT tessarin_status tessarin_campaign_track_impression(const tessarin_campaign *campaign);
TESSARIN_EXPORT tessarin_status tessarin_campaign_track_clickthrough(const tessarin_campaign *campaign);
TESSARIN_EXPORT tessarin_status tessarin_campaign_track_dismissal(const tessarin_campaign *campaign);

/* ---- Sending -------------------------------------------------------------- */

/* Sends everything queued now and waits at most `timeout_seconds` for the
   queue to drain: 1 when it did, 0 otherwise. It blocks: never call it from
   a campaign handler (there it returns 0 at once). Nothing drains before the
   service's configuration has arrived, or while stopped. */
TESSARIN_EXPORT int tessarin_flush(double timeout_seconds);

/* What became of the events given to the SDK so far. */
typedef struct tessarin_event_diagnostics {
  /* Dropped as they arrived: too many within "eventThrottleInterval". */
  uint64_t dropped_throttled;
  /* Dropped as they arrived: too large for a request of its own. */
  uint64_t dropped_too_large;
  /* Dropped from the head of a queue holding too many events, or too many
     bytes. */
  uint64_t dropped_count_trim;
  uint64_t dropped_byte_trim;
  /* In a batch the service refused. */
  uint64_t dropped_rejected;
  /* Still queued when a reset deleted the queue. */
  uint64_t dropped_at_reset;
  /* Delivered in a batch the service accepted. */
  uint64_t events_sent;
  /* Batches put back after a connectivity failure. */
  uint64_t batches_retried;
} tessarin_event_diagnostics;

/* Fills the first `size` bytes of `out` (pass sizeof *out; a caller built
   against an older, smaller struct gets the fields it knows). */
TESSARIN_EXPORT tessarin_status tessarin_get_event_diagnostics(tessarin_event_diagnostics *out, size_t size);

/* ---- Log ------------------------------------------------------------------ */

enum {
  TESSARIN_LOG_LEVEL_NONE = 0,
  TESSARIN_LOG_LEVEL_ERROR = 1000,
  TESSARIN_LOG_LEVEL_WARN = 2000,
  TESSARIN_LOG_LEVEL_INFO = 3000,
  TESSARIN_LOG_LEVEL_DEBUG = 4000
};

/* Lines up to `level` are printed (to stderr and the sink); nothing is
   until a level is set. Takes effect at once and does not create the SDK,
   so it may come before tessarin_host_configure. */
TESSARIN_EXPORT void tessarin_set_log_level(long level);
TESSARIN_EXPORT long tessarin_log_level(void);

/* One printed line. */
typedef struct tessarin_log_record {
  long level;          /* 0 for lines written whatever the level */
  const char *label;   /* "Error", "Warn", "Info", "Debug" or "(null)" */
  const char *file;    /* the SDK's source file, without directories */
  int line;
  const char *message; /* the message alone */
  const char *text;    /* "TSR Error [file:line] message", as printed */
} tessarin_log_record;

/* Runs on whichever thread logged, one line at a time; it must not call
   Tessarin. The record is valid during the call only. */
typedef void (*tessarin_log_sink)(const tessarin_log_record *record, void *user_data);

/* Installs `sink` (NULL removes it). Once this returns, the previous sink is
   not running and will not run again. */
TESSARIN_EXPORT void tessarin_set_log_sink(tessarin_log_sink sink, void *user_data);
/* Whether printed lines also go to stderr (default: yes). */
TESSARIN_EXPORT void tessarin_set_log_writes_to_stderr(int writes);

#ifdef __cplusplus
}
#endif

#endif /* TESSARIN_TESSARIN_C_H_ */

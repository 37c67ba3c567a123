/* tessarin-capi-probe: a host app written in C, using nothing but
 * tessarin/tessarin_c.h and the shared library. It checks what the C
 * interface answers itself, plays one session against the local service and
 * prints what it saw; the test that runs it checks what reached the service.
 *
 *   tessarin-capi-probe PORT DATA_DIRECTORY
 *
 * Exit status 0 when every check held; otherwise the first failed check is
 * printed to stderr and the status is 1. */
#define _POSIX_C_SOURCE 200809L /* clock_gettime, pthreads */

#include <errno.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "tessarin/tessarin_c.h"

#define CHECK(condition)                                                           \
  do {                                                                             \
    if (!(condition)) {                                                            \
      fprintf(stderr, "capi-probe: check failed at line %d: %s\n", __LINE__, #condition); \
      exit(1);                                                                     \
    }                                                                              \
  } while (0)

#define CHECK_STATUS(expected, call) CHECK((call) == (expected))

/* What the campaign handler saw, shared with the app's thread. */
struct session {
  pthread_mutex_t mutex;
  pthread_cond_t changed;
  int campaigns;
  char target[64];
  char data[256];
  tessarin_status impression;
  tessarin_campaign *kept;
  int freed;
};

static atomic_int refusal_lines;

static void log_sink(const tessarin_log_record *record, void *user_data) {
  (void)user_data;
  if (record->level == TESSARIN_LOG_LEVEL_ERROR && strstr(record->message, "C API: tessarin_view_item: not an item"))
    atomic_fetch_add(&refusal_lines, 1);
}

static void on_campaign(const tessarin_campaign *campaign, const char *data_json, void *user_data) {
  struct session *session = user_data;
  pthread_mutex_lock(&session->mutex);
  session->campaigns++;
  snprintf(session->target, sizeof session->target, "%s", tessarin_campaign_target(campaign));
  snprintf(session->data, sizeof session->data, "%s", data_json);
  /* The app shows it at once, and keeps it for a click that comes later. */
  session->impression = tessarin_campaign_track_impression(campaign);
  session->kept = tessarin_campaign_copy(campaign);
  pthread_cond_broadcast(&session->changed);
  pthread_mutex_unlock(&session->mutex);
}

static void free_session(void *user_data) {
  struct session *session = user_data;
  pthread_mutex_lock(&session->mutex);
  session->freed = 1;
  pthread_cond_broadcast(&session->changed);
  pthread_mutex_unlock(&session->mutex);
}

/* Waits until *flag is nonzero, at most `seconds`; the mutex is held. */
static int wait_for(struct session *session, const int *flag, int seconds) {
  struct timespec deadline;
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += seconds;
  while (!*flag) {
    if (pthread_cond_timedwait(&session->changed, &session->mutex, &deadline) == ETIMEDOUT) break;
  }
  return *flag;
}

/* What the interface refuses at once, with the status that says why. */
static void check_refusals(void) {
  tessarin_host_options options;
  tessarin_event_diagnostics diagnostics;

  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_host_configure(NULL));
  tessarin_host_options_init(&options);
  options.info_json = "[1, 2]";
  CHECK_STATUS(TESSARIN_ERROR_INVALID_JSON, tessarin_host_configure(&options));

  CHECK_STATUS(TESSARIN_ERROR_INVALID_JSON, tessarin_start("{\"account\": "));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_JSON, tessarin_start("[\"account\", \"dataset\"]"));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_start(NULL));

  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_track_action(NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_view_item(NULL, NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_JSON, tessarin_view_item("{\"_id\": \"sku-1\",", NULL));
  /* No id; no type; a type the SDK has no class for. */
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_view_item("{\"type\": \"p\"}", NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_view_item("{\"_id\": \"sku-1\"}", NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_view_item("{\"_id\": \"sku-1\", \"type\": \"x\"}", NULL));
  /* A product is not a category, nor a category a tag. */
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_view_category("{\"_id\": \"sku-1\", \"type\": \"p\"}", NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_view_tag("{\"_id\": \"shoes\", \"type\": \"c\"}", NULL));

  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_add_to_cart("{\"quantity\": 1}"));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM,
               tessarin_add_to_cart("{\"item\": {\"_id\": \"sku-1\", \"type\": \"p\"}, \"quantity\": \"two\"}"));
  /* One bad line spoils the order: nothing of it is sent. */
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM,
               tessarin_purchase("{\"orderId\": \"o-0\", \"lineItems\": ["
                                 "{\"item\": {\"_id\": \"sku-1\", \"type\": \"p\"}, \"quantity\": 1},"
                                 "{\"item\": {\"type\": \"p\"}, \"quantity\": 1}]}"));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ITEM, tessarin_view_cart("{\"totalValue\": \"10\"}"));

  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_set_campaign_handler("TSR_internal", on_campaign, NULL, NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_set_campaign_handler("", on_campaign, NULL, NULL));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_set_user_attribute(NULL, "x"));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_get_event_diagnostics(NULL, sizeof diagnostics));
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_campaign_track_impression(NULL));

  /* Log lines reach the sink synchronously from the calling thread. */
  CHECK(atomic_load(&refusal_lines) == 3);
  CHECK(strcmp(tessarin_status_string(TESSARIN_ERROR_INVALID_ITEM), "invalid item") == 0);
}

int main(int argc, char **argv) {
  struct session session;
  tessarin_host_options options;
  tessarin_event_diagnostics diagnostics;
  char configuration[256];
  char *user_id;

  if (argc != 4) {
    fprintf(stderr, "usage: tessarin-capi-probe PORT DATA_DIRECTORY CERTIFICATE_FILE\n");
    return 64;
  }
  memset(&session, 0, sizeof session);
  pthread_mutex_init(&session.mutex, NULL);
  pthread_cond_init(&session.changed, NULL);

  /* Neither the log settings nor a refused configuration make the SDK, so
     the host can still be set up afterwards. */
  tessarin_set_log_writes_to_stderr(0);
  tessarin_set_log_level(TESSARIN_LOG_LEVEL_WARN);
  CHECK(tessarin_log_level() == TESSARIN_LOG_LEVEL_WARN);
  tessarin_set_log_sink(log_sink, NULL);
  tessarin_host_options_init(&options);
  options.version = 99;
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_host_configure(&options));

  tessarin_host_options_init(&options);
  options.bundle_id = "com.tessarin.capi-probe";
  options.bundle_version = "1.0";
  options.data_directory = argv[2];
  options.os_name = "CapiOS";
  options.info_json = "{\"TessarinSwizzlingEnabled\": false}";
  /* The service's own certificate, over TLS. */
  options.trusted_certificates_file = argv[3];
  options.request_timeout = -1;
  CHECK_STATUS(TESSARIN_ERROR_INVALID_ARGUMENT, tessarin_host_configure(&options));
  options.request_timeout = 20;
  CHECK_STATUS(TESSARIN_OK, tessarin_host_configure(&options));
  CHECK_STATUS(TESSARIN_ERROR_ALREADY_CONFIGURED, tessarin_host_configure(&options));
  CHECK(strcmp(tessarin_version(), "1.5.0") == 0);

  tessarin_host_did_finish_launching();
  snprintf(configuration, sizeof configuration,
           "{\"account\": \"capi\", \"dataset\": \"shop\", \"domain\": \"127.0.0.1\", \"protocol\": \"https\","
           " \"port\": %d, \"useCDN\": false}",
           atoi(argv[1]));
  CHECK_STATUS(TESSARIN_OK, tessarin_start(configuration));
  tessarin_host_did_become_active();

  tessarin_set_user_id("c-user");
  user_id = tessarin_copy_user_id();
  CHECK(user_id && strcmp(user_id, "c-user") == 0);
  tessarin_free(user_id);
  CHECK_STATUS(TESSARIN_OK, tessarin_set_user_attribute("tier", "gold"));

  CHECK_STATUS(TESSARIN_OK, tessarin_set_campaign_handler("hero", on_campaign, &session, free_session));
  /* Refused while running, where whatever got through would be sent. */
  check_refusals();
  CHECK_STATUS(TESSARIN_OK, tessarin_track_action("Open Home"));
  CHECK_STATUS(TESSARIN_OK, tessarin_view_item("{\"_id\": \"sku-1\", \"type\": \"p\", \"name\": \"Trail Shoes\","
                                               " \"price\": 89, \"categories\": [{\"_id\": \"shoes\", \"type\": \"c\"}]}",
                                               NULL));
  CHECK_STATUS(TESSARIN_OK, tessarin_view_category("{\"_id\": \"shoes\", \"type\": \"c\"}", "Browse Shoes"));
  CHECK_STATUS(TESSARIN_OK,
               tessarin_add_to_cart("{\"item\": {\"_id\": \"sku-1\", \"type\": \"p\"}, \"quantity\": 2}"));
  CHECK_STATUS(TESSARIN_OK,
               tessarin_purchase("{\"orderId\": \"o-1\", \"totalValue\": 178, \"totalValueCurrency\": \"EUR\","
                                 " \"lineItems\": [{\"item\": {\"_id\": \"sku-1\", \"type\": \"p\"}, \"quantity\": 2}]}"));

  pthread_mutex_lock(&session.mutex);
  CHECK(wait_for(&session, &session.campaigns, 10));
  CHECK(session.impression == TESSARIN_OK);
  CHECK(session.kept != NULL);
  pthread_mutex_unlock(&session.mutex);
  printf("campaign %s %s\n", session.target, session.data);
  fflush(stdout);

  /* The click comes later, from the app's thread, through the copy. */
  CHECK(strcmp(tessarin_campaign_id(session.kept), "cmp-1") == 0);
  CHECK_STATUS(TESSARIN_OK, tessarin_campaign_track_clickthrough(session.kept));
  tessarin_campaign_free(session.kept);

  /* Removing the handler releases its user data on the main thread. */
  CHECK_STATUS(TESSARIN_OK, tessarin_set_campaign_handler("hero", NULL, NULL, NULL));
  pthread_mutex_lock(&session.mutex);
  CHECK(wait_for(&session, &session.freed, 5));
  pthread_mutex_unlock(&session.mutex);

  CHECK(tessarin_flush(10.0) == 1);
  /* The struct is filled only as far as the caller says it reaches. */
  memset(&diagnostics, 0xff, sizeof diagnostics);
  CHECK_STATUS(TESSARIN_OK, tessarin_get_event_diagnostics(&diagnostics, sizeof(uint64_t)));
  CHECK(diagnostics.dropped_throttled == 0 && diagnostics.events_sent == UINT64_MAX);
  CHECK_STATUS(TESSARIN_OK, tessarin_get_event_diagnostics(&diagnostics, sizeof diagnostics));
  /* At least the action, item view, category view, cart, purchase and the
     impression and click have gone out. */
  CHECK(diagnostics.events_sent != UINT64_MAX && diagnostics.events_sent >= 7);
  CHECK(diagnostics.dropped_throttled + diagnostics.dropped_too_large + diagnostics.dropped_count_trim +
            diagnostics.dropped_byte_trim + diagnostics.dropped_rejected + diagnostics.dropped_at_reset ==
        0);
  printf("sent %llu\n", (unsigned long long)diagnostics.events_sent);

  tessarin_set_log_sink(NULL, NULL);
  tessarin_host_will_terminate();
  printf("done\n");
  return 0;
}

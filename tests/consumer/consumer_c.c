/* A C program built against the installed C interface with pkg-config: the
   header compiles as strict C99 and the shared library exports the C
   functions. */
#include <stdio.h>
#include <string.h>

#include "tessarin/tessarin_c.h"

int main(void) {
  tessarin_host_options options;
  tessarin_host_options_init(&options);
  if (options.version != TESSARIN_HOST_OPTIONS_VERSION || !options.notifications_allowed) return 2;
  if (strcmp(tessarin_status_string(TESSARIN_ERROR_INVALID_JSON), "invalid JSON") != 0) return 3;
  printf("tessarin %s\n", tessarin_version());
  return 0;
}

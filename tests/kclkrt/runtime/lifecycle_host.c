/* A host program written in C that drives the runtime's lifecycle calls one command
 * at a time and prints each result, so tests can compare what a real host sees.
 *
 *   init                 kclInitializeApplication(NULL, 0)
 *   init_count N         kclInitializeApplication with N (options list unread)
 *   term                 kclTerminateApplication
 *   inhibit | uninhibit  kclInhibitShutdown | kclUninhibitShutdown
 *   macro NAME           kclGetPathMacro
 *   setenv NAME VALUE    setenv (environment changes between starts)
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "korel/kclkrt.h"

static void flush_all(void) {
  fflush(stdout);
  fflush(stderr);
}

int main(int argc, char** argv) {
  static const char* dummy_options[1] = {"-unused"};
  for (int i = 1; i < argc; ++i) {
    const char* cmd = argv[i];
    if (strcmp(cmd, "init") == 0) {
      printf("init=%d\n", kclInitializeApplication(NULL, 0));
    } else if (strcmp(cmd, "init_count") == 0 && i + 1 < argc) {
      size_t n = (size_t)strtoull(argv[++i], NULL, 10);
      printf("init=%d\n", kclInitializeApplication(dummy_options, n));
    } else if (strcmp(cmd, "term") == 0) {
      printf("term=%d\n", kclTerminateApplication());
    } else if (strcmp(cmd, "inhibit") == 0) {
      kclInhibitShutdown();
    } else if (strcmp(cmd, "uninhibit") == 0) {
      kclUninhibitShutdown();
    } else if (strcmp(cmd, "macro") == 0 && i + 1 < argc) {
      const char* value = kclGetPathMacro(argv[++i]);
      printf("%s=%s\n", argv[i], value ? value : "(null)");
    } else if (strcmp(cmd, "setenv") == 0 && i + 2 < argc) {
      setenv(argv[i + 1], argv[i + 2], 1);
      i += 2;
    } else {
      fprintf(stderr, "lifecycle_host: bad command '%s'\n", cmd);
      return 2;
    }
    /* Keep stdout and stderr in step for readers that look at both. */
    flush_all();
  }
  return 0;
}

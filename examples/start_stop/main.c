/* Starts the Korel runtime, prints the runtime's path macros and stops it again.
 * The install root comes from KRTROOT, or from where the runtime library sits. */
#include <stdio.h>

#include "korel/kclkrt.h"

int main(void) {
  static const char* const macros[] = {"$KRTROOT", "$RUNTIMELIBDIR", "$TOOLBOXPREFIX",
                                       "$TOOLBOXKORELDIR", "$TOOLBOXDEPLOYDIR"};
  if (!kclInitializeApplication(NULL, 0)) {
    fprintf(stderr, "start_stop: the runtime did not start\n");
    return 1;
  }
  printf("Korel runtime started.\n");
  for (size_t i = 0; i < sizeof macros / sizeof macros[0]; ++i) {
    const char* value = kclGetPathMacro(macros[i]);
    printf("  %-18s %s\n", macros[i], value ? value : "(not defined)");
  }
  if (!kclTerminateApplication()) {
    fprintf(stderr, "start_stop: the runtime did not stop\n");
    return 1;
  }
  printf("Korel runtime stopped.\n");
  return 0;
}

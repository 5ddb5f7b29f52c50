// Engine calls about the process as a whole.
#pragma once

#include "korel/export.h"

class krtInstance;

// Runs a host's main function under the engine and returns its result. With
// `own_thread` it runs on a new thread with a large stack, and the call waits for it.
KOREL_EXPORT int krt_run_main(int (*run)(int, const char**), bool own_thread, int argc,
                              const char** argv);

// Returns when the instance has no visible figure open (at once when it has none).
KOREL_EXPORT void krt_wait_for_figures_to_die(krtInstance* instance);

// Whether a Java virtual machine has been started in the process: never, here.
KOREL_EXPORT bool krt_java_is_initialized();

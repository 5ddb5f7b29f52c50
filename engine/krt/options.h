// Process-wide engine options, set by the runtime before and while it starts.
#pragma once

#include <string>
#include <vector>

#include "korel/export.h"

namespace krt {

// Output handler of the engine: a text and the context pointer it was installed with.
using print_handler = int (*)(const char* text, void* context);

struct Settings {
  bool event_driven = false;
  int runtime_variant = 0;
  int jmi_support_level = 0;
  bool toolboxcache_disabled = false;
  bool use_jit = false;
  bool use_accel = false;
  std::vector<std::string> commandline_args;  // every argument applied, in order
  print_handler default_print = nullptr;
  void* default_print_context = nullptr;
  print_handler default_error = nullptr;
  void* default_error_context = nullptr;
};

KOREL_EXPORT void set_event_driven(bool on);
KOREL_EXPORT void set_runtime_variant(int variant);
KOREL_EXPORT void set_jmi_support_level(int level);
KOREL_EXPORT void set_toolboxcache_disabled(bool disabled);
KOREL_EXPORT void set_use_jit(bool on);
KOREL_EXPORT void set_use_accel(bool on);

// Records the start options for the engine; null entries are skipped and a null list
// or a count below 1 records nothing.
KOREL_EXPORT void apply_commandline_args(int count, const char** args);

// Handlers used by runtime instances that have none of their own.
KOREL_EXPORT void set_default_print_handlers(print_handler print, void* print_context,
                                             print_handler error, void* error_context);

// Writes `text` through the default error (or print) handler when one is installed,
// storing its result; false when none is.
KOREL_EXPORT bool print_with_default(bool error, const char* text, int* result);

// A snapshot of every option as last set.
KOREL_EXPORT Settings settings();

}  // namespace krt

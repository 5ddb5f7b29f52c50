// The runtime instance of a component, configured from its data and its extraction.
#pragma once

#include <string>

#include "korel/kclkrt.h"

namespace kcl {

struct ComponentRuntimeRequest {
  const kclComponentData* data = nullptr;
  bool replace_path = false;
  kclOutputHandlerFcn error_handler = nullptr;  // the host's; null: the process defaults
  kclOutputHandlerFcn print_handler = nullptr;
  std::string extraction_directory;
  std::string preferences_directory;
};

// Creates the instance: its path from the component's path entries, its preferences,
// X11 arguments, warning states and Java class path; then runs the user's startup
// script when there is one and counts the instance as a live component instance.
// Null on failure (reported).
krtInstance* create_component_runtime(const ComponentRuntimeRequest& request);

}  // namespace kcl

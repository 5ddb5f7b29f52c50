// Process-wide start and stop of the runtime, as the rest of the library sees it.
#pragma once

#include "kclkrt/runtime/user_data_store.h"

namespace kcl {

// Starts the application unless a start is in force. Holds the engine's mutex
// throughout, so callers may already hold it.
bool initialize_application_if_needed();

// The user-data store; null before the first start and after the real shutdown.
// Callers hold the engine's mutex.
UserDataStore* user_data_store();

// Component instances alive, counted for the record.
void component_instance_started();
void component_instance_terminated();
int component_instance_count();

// The exit code a stand-alone program should end with.
int exit_code();

}  // namespace kcl

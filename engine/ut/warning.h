// Warning states: a map from warning identifier to on/off, consulted when a warning is issued.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "korel/export.h"
#include "ut/memory.h"

class utWarningManager;

KOREL_EXPORT utWarningManager* utNewWarningManager(utMemoryContext* ctx);
KOREL_EXPORT void utDeleteWarningManager(utWarningManager* manager);

// The manager warnings consult; null when none was made current.
KOREL_EXPORT utWarningManager* utGetCurrentWarningManager();
KOREL_EXPORT void utSetCurrentWarningManager(utWarningManager* manager);

// The current manager, or the library's own default manager when none is current.
KOREL_EXPORT utWarningManager* utGetWarningContext();

// Switches one identifier on or off. An identifier never set is on.
KOREL_EXPORT void ut_set_warning_status_id(utWarningManager* manager, const char* id, bool enabled);
KOREL_EXPORT bool ut_get_warning_status_id(utWarningManager* manager, const char* id);
// Every identifier set explicitly, in identifier order.
KOREL_EXPORT std::vector<std::pair<std::string, bool>> ut_get_warning_states(utWarningManager* manager);

// True when warnings with `id` should be issued under the current warning context.
KOREL_EXPORT bool ut_is_warning_enabled(const char* id);

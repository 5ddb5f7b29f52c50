// Thread identity.
#pragma once

#include <cstdint>

#include "korel/export.h"

// A number for the calling thread, unique for the life of the process: unlike
// system thread ids it is never reused by a later thread.
KOREL_EXPORT uint32_t ut_thread_self();

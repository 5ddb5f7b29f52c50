// The engine's process-wide recursive mutex: one Korel operation runs at a time.
#pragma once

#include <mutex>

#include "korel/export.h"

KOREL_EXPORT void krt_acquire_mutex();
KOREL_EXPORT void krt_release_mutex();

namespace krt {

// The mutex itself, for scope guards: std::lock_guard<std::recursive_mutex>.
KOREL_EXPORT std::recursive_mutex& global_mutex();

}  // namespace krt

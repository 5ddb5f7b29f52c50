// Live object counting: the engine's class manager learns how many objects of each
// user-defined class exist.
#pragma once

#include <cstddef>

#include "korel/export.h"

namespace kx {

struct Storage;

// Called with a class name and a change in its number of live objects (+n when an
// object array's storage is made, -n when it goes).
using ObjectCountObserver = void (*)(const char* class_name, long delta);

// Installs the observer (null: none). Storages made before keep being reported to
// whichever observer is installed when they go.
KOREL_EXPORT void set_object_count_observer(ObjectCountObserver observer);

// Marks a new object storage (its name and capacity set) as counted, and reports it.
void count_objects(Storage& storage);
// Reports a counted storage's objects as gone.
void uncount_objects(Storage& storage) noexcept;

}  // namespace kx

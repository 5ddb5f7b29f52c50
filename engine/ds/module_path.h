// Paths of modules (the executable and shared objects) loaded in this process.
#pragma once

#include <cstddef>

#include "korel/export.h"

// Full path of the loaded module whose file name is `name`, "lib<name>.so" or
// "<name>.so" (a version suffix after ".so" is accepted), and which exports `symbol`
// when `symbol` is not null. The executable matches by its file name. Returns false when
// no such module is loaded or the path does not fit in `out_size`.
KOREL_EXPORT bool dsGetLoadedModuleFullPath(char* out, std::size_t out_size, const char* name,
                                            const char* symbol);

// Full path of the module that contains `address` (code or data). False when no
// module contains it or the path does not fit.
KOREL_EXPORT bool dsGetCurrentModulePath(char* out, std::size_t out_size, const void* address);

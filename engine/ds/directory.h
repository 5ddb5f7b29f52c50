// Tests on files and directories.
#pragma once

#include <cstdint>

#include "korel/export.h"

// Each follows symbolic links; a null or missing path is false.
KOREL_EXPORT bool dsExists(const char* path);
KOREL_EXPORT bool dsIsDirectory(const char* path);
KOREL_EXPORT bool dsIsRegularFile(const char* path);

// Size in bytes of a file; false (and *size untouched) when it cannot be determined.
KOREL_EXPORT bool dsGetFileSize(const char* path, uint64_t* size);

// Memory helpers of the utility library and the process's utility context.
#pragma once

#include <cstddef>

#include "korel/export.h"

// The process-wide utility context: message tables and warning managers hang off it.
struct utMemoryContext;

KOREL_EXPORT utMemoryContext* utGetMemoryContext();

// Allocation that never returns null: failure throws std::bad_alloc.
KOREL_EXPORT void* utMalloc(std::size_t size);
KOREL_EXPORT void* utCalloc(std::size_t count, std::size_t size);
KOREL_EXPORT void utFree(void* p);
// A copy of `s` to be released with utFree; null gives null.
KOREL_EXPORT char* utStrdup(const char* s);

// Hashing of byte ranges.
#pragma once

#include <cstddef>
#include <cstdint>

#include "korel/export.h"

// 32-bit xxHash of `size` bytes at `data` with `seed`.
KOREL_EXPORT uint32_t ut_hash_n_bytes(const void* data, std::size_t size, uint32_t seed);

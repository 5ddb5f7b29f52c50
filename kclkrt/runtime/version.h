// The runtime's version: it names the cache directory (.krtCache1.0) and the
// preferences directory (krt_v10), and kclGetKRTVersion reports it.
#pragma once

#include <cstdint>

namespace kcl {

inline constexpr uint32_t kRuntimeVersionMajor = 1;
inline constexpr uint32_t kRuntimeVersionMinor = 0;
inline constexpr uint32_t kRuntimeVersion = (kRuntimeVersionMajor << 16) | kRuntimeVersionMinor;

}  // namespace kcl

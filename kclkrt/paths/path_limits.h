// The longest path the runtime handles: buffers for module paths are this size.
#pragma once

#include <cstddef>

namespace kcl {

inline constexpr std::size_t kMaxPathLength = 4353;

}  // namespace kcl

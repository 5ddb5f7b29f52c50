// The per-thread last error of the array interface (kclcppSetLastError and kin).
#pragma once

#include <cstddef>

namespace kcl {

// Errors pending across all threads; an ended thread's error does not count.
std::size_t pending_error_count();

}  // namespace kcl

// Calling a native function (a .klf, a built-in table entry or a native handle).
#pragma once

#include <string_view>

#include "korel/kx.h"

namespace krt {

// Calls `fn` with borrowed `inputs`. On return `outputs` (room for max(nargout, 1))
// holds persistent arrays the caller owns: the first nargout are never null, and
// outputs[0] may hold a value when nargout is 0. Arrays the function made and did not
// return are destroyed on every path; its errors propagate as Korel errors.
void call_native(kxNativeFunction fn, std::string_view name, int nargout,
                 kxArray** outputs, int nargin, kxArray* const* inputs);

}  // namespace krt

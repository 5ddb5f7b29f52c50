// Growing vectors in place, for the evaluator's `v(end+1) = x` and `c{end+1} = x`.
#pragma once

#include "korel/export.h"
#include "korel/kx.h"

namespace kx {

// Makes a vector whose storage nobody else shares hold `count` elements, keeping its
// elements; the new ones are zero (empty for a cell). The vector is a real dense row or
// column of a value class or a cell, or a 0-by-0 array, which becomes a row. Storage
// grows geometrically, so appending one element at a time costs amortised constant time.
// False when the array is not such a vector or `count` is not larger (nothing changes).
KOREL_EXPORT bool grow_vector(kxArray* a, kxSize count);

}  // namespace kx

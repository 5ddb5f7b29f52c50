// The subscript list of element access: up to N subscripts inside the object, longer
// lists on the heap, so that access by a few subscripts allocates nothing.
#pragma once

#include <cstddef>

#include "kclkrt/platform/argument_list.h"

namespace kcl {

template <class T, std::size_t N>
using idx_buffer = ArgumentList<T, N>;

}  // namespace kcl

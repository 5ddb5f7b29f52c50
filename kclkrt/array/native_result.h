// What the array library's creators give back, made into an exception when it is null.
#pragma once

#include "korel/kx.h"

namespace kcl {

// `array` itself; null raises MemoryException when the library could not allocate and
// IllegalArgumentException "Invalid argument" for any other refusal.
kxArray* require_array(kxArray* array);

}  // namespace kcl

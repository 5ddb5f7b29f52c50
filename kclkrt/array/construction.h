// The calling convention of the exported creators: the global mutex for the whole call,
// "Invalid input" for a null out pointer, the new object stored only on success.
#pragma once

#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_exceptions.h"

namespace kcl {

// Runs `make` and stores what it made through `out`: 0, or -1 with the last error set
// and *out untouched.
template <class Object, class Make>
int create_into(Object** out, Make&& make) noexcept {
  return locked_call(-1, [&] {
    if (!out) throw NullPointerException("Invalid input");
    *out = make();
    return 0;
  });
}

// `value` itself; null raises NullPointerException "Invalid input".
template <class T>
T* require_input(T* value) {
  if (!value) throw NullPointerException("Invalid input");
  return value;
}

}  // namespace kcl

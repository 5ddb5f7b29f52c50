// Real double scalars recognised straight from the array header: the operands the
// evaluator meets most, for which a call per query would cost more than the operation.
#pragma once

#include <cmath>
#include <span>

#include "kx/array.h"

namespace krt::ops {

inline bool is_real_double_scalar(const kxArray* a) {
  return a && a->cls == kxDOUBLE_CLASS && !a->sparse && a->dims.size() == 2 && a->dims[0] == 1 &&
         a->dims[1] == 1 && !a->data->complex;
}

// The value of an array for which is_real_double_scalar holds.
inline double scalar_value(const kxArray* a) { return *a->data->real.as<double>(); }

// The linear position a(i, j, ...) names when every subscript is a real double scalar
// inside the array; false otherwise (including every error), for the general path.
inline bool scalar_position(const kxArray* a, std::span<const kxArray* const> subs,
                            kxSize& position) {
  std::size_t count = subs.size();
  if (count == 0) return false;
  const kx::Dims& dims = a->dims;
  position = 0;
  kxSize stride = 1;
  for (std::size_t j = 0; j < count; ++j) {
    if (!is_real_double_scalar(subs[j])) return false;
    kxSize extent = 1;
    if (j + 1 < count) {
      if (j < dims.size()) extent = dims[j];
    } else {
      for (std::size_t d = j; d < dims.size(); ++d) extent *= dims[d];
    }
    double v = scalar_value(subs[j]);
    if (!(v >= 1 && v <= static_cast<double>(extent)) || v != std::floor(v)) return false;
    position += (static_cast<kxSize>(v) - 1) * stride;
    stride *= extent;
  }
  return true;
}

}  // namespace krt::ops

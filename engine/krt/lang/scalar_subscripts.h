// Subscripts that are whole-number scalars, read straight from the evaluator's values:
// the element positions the in-place reads and writes use without making arrays.
#pragma once

#include <cmath>

#include "krt/array/value.h"
#include "krt/lang/call.h"
#include "kx/array.h"

namespace krt::lang {

// A subscript that is a real double scalar, inline or not, as a number.
inline bool index_number(const Value& v, double& out) {
  if (v.is_number()) {
    out = v.number_value();
    return true;
  }
  return v.is_boxed() && v.class_id() == kxDOUBLE_CLASS && v.real_scalar(out);
}

// The zero-based linear position scalar subscripts name inside `a`, or -1 when they are
// not all whole numbers inside its bounds (the last subscript spans the dimensions left).
inline long long position_of(const kxArray* a, const ValueList& subs) {
  const kx::Dims& dims = a->dims;
  const std::size_t count = subs.size();
  if (count == 0) return -1;
  long long position = 0, stride = 1;
  for (std::size_t j = 0; j < count; ++j) {
    double v;
    if (!index_number(subs[j], v)) return -1;
    kxSize extent = 1;
    if (j + 1 < count) {
      if (j < dims.size()) extent = dims[j];
    } else {
      for (std::size_t d = j; d < dims.size(); ++d) extent *= dims[d];
    }
    if (!(v >= 1 && v <= static_cast<double>(extent)) || v != std::floor(v)) return -1;
    position += (static_cast<long long>(v) - 1) * stride;
    stride *= static_cast<long long>(extent);
  }
  return position;
}

}  // namespace krt::lang

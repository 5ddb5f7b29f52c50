// Element-wise operations: the precision they compute in, the class of their results
// and the pairing of elements with implicit expansion.
#pragma once

#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"

namespace krt::library {

// Calls f with a value of the type results of class `cls` are computed in: float for
// single, Wide for the integer classes (exact for 64-bit ones), double otherwise.
template <class F>
decltype(auto) with_compute_type(kxClassID cls, F&& f) {
  if (cls == kxSINGLE_CLASS) return f(float{});
  if (is_integer_class(cls)) return f(Wide{});
  return f(double{});
}

// The class of an element-wise result of classes a and b, as arithmetic has it: an
// integer class wins (two different ones raise "<name>:mixedIntegers"), then single;
// double, logical and char give double.
kxClassID arithmetic_class(const Call& call, kxClassID a, kxClassID b);

// The shape of an element-wise result: each dimension equal in both, or 1 in one of
// them; raises "<name>:sizeMismatch" otherwise.
Shape broadcast_shape(const Call& call, const Shape& a, const Shape& b);

// Calls f(out_index, a_index, b_index) for every element of the result shape `out` of
// arrays shaped `a` and `b`.
template <class F>
void for_each_pair(const Shape& out, const Shape& a, const Shape& b, F&& f) {
  std::size_t n = out.size();
  std::vector<kxSize> stride_a(n), stride_b(n), index(n, 0);
  kxSize size_a = 1, size_b = 1;
  for (std::size_t k = 0; k < n; ++k) {
    kxSize da = k < a.size() ? a[k] : 1, db = k < b.size() ? b[k] : 1;
    stride_a[k] = da == 1 ? 0 : size_a;
    stride_b[k] = db == 1 ? 0 : size_b;
    size_a *= da;
    size_b *= db;
  }
  kxSize total = element_count(out);
  kxSize ia = 0, ib = 0;
  for (kxSize o = 0; o < total; ++o) {
    f(o, ia, ib);
    for (std::size_t k = 0; k < n; ++k) {
      ++index[k];
      ia += stride_a[k];
      ib += stride_b[k];
      if (index[k] < out[k]) break;
      ia -= stride_a[k] * index[k];
      ib -= stride_b[k] * index[k];
      index[k] = 0;
    }
  }
}

// op(x, y) for the real elements of inputs 0 and 1 of `call` (checked to be real value
// arrays), expanded against each other, in the class arithmetic_class gives.
template <class Op>
Value combine(const Call& call, Op op) {
  require_real_values(call, 0);
  require_real_values(call, 1);
  const kxArray* a = call.input(0);
  const kxArray* b = call.input(1);
  kxClassID cls = arithmetic_class(call, kxGetClassID(a), kxGetClassID(b));
  Shape shape_a = shape_of(a), shape_b = shape_of(b);
  Shape dims = broadcast_shape(call, shape_a, shape_b);
  Value full_a = full(a), full_b = full(b);
  ElementReader x(full_a.get()), y(full_b.get());
  Value out = make_numeric(cls, dims);
  void* data = kxGetData(out.get());
  with_compute_type(cls, [&](auto t) {
    using C = decltype(t);
    for_each_pair(dims, shape_a, shape_b, [&](kxSize o, kxSize i, kxSize j) {
      C value = op(static_cast<C>(x.real(i)), static_cast<C>(y.real(j)));
      store_wide(data, cls, o, static_cast<Wide>(value));
    });
  });
  return out;
}

}  // namespace krt::library

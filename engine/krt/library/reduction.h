// Functions that reduce an array along one dimension (sum, prod, any, all, max, min).
#pragma once

#include "krt/library/arguments.h"
#include "krt/library/shape.h"

namespace krt::library {

// How a reduction runs over input 0: the shape of its result and the slices it reduces.
struct Reduction {
  Shape result;
  Slices slices;
};

// Slices that hold no element: sum, prod, any and all give one value for them (and
// treat a 0-by-0 array with no dimension given as one empty slice: sum([]) is 0);
// max and min give none.
enum class EmptySlices { kGiveValue, kGiveNothing };

// Reduces along the dimension in input `dim_input` when the call has it, otherwise along
// the first dimension whose size is not 1.
Reduction plan_reduction(const Call& call, int dim_input, EmptySlices empty);

// Calls f(result_index, first_index, stride): slice k's elements are at first_index +
// j * stride for j below slices.along.
template <class F>
void for_each_slice(const Slices& s, F&& f) {
  for (kxSize o = 0; o < s.after; ++o)
    for (kxSize b = 0; b < s.before; ++b) f(o * s.before + b, o * s.before * s.along + b, s.before);
}

}  // namespace krt::library

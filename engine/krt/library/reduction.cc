#include "krt/library/reduction.h"

namespace krt::library {

Reduction plan_reduction(const Call& call, int dim_input, EmptySlices empty) {
  Shape dims = shape_of(call.input(0));
  std::size_t dim;
  if (dim_input < call.input_count()) {
    dim = dimension_argument(call, dim_input) - 1;
  } else {
    if (empty == EmptySlices::kGiveValue && dims == Shape{0, 0}) return {{1, 1}, {1, 0, 1}};
    dim = first_non_singleton(dims);
  }
  Slices slices = slices_around(dims, dim);
  Shape result = dims;
  if (dim < result.size())
    result[dim] = empty == EmptySlices::kGiveNothing && slices.along == 0 ? 0 : 1;
  return {normalized(result), slices};
}

}  // namespace krt::library

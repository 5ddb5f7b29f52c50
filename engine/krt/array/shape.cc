#include "krt/array/shape.h"

#include <algorithm>
#include <limits>

#include "kx/error.h"

namespace krt::ops {
namespace {

// Column-major steps of `shape`, with 0 for dimensions of 1 (they repeat).
std::vector<kxSize> expansion_steps(const Shape& shape) {
  std::vector<kxSize> steps(shape.size());
  kxSize stride = 1;
  for (std::size_t d = 0; d < shape.size(); ++d) {
    steps[d] = shape[d] == 1 ? 0 : stride;
    stride *= shape[d];
  }
  return steps;
}

}  // namespace

Shape shape_of(const kxArray* a) {
  const kxSize* dims = kxGetDimensions(a);
  return Shape(dims, dims + kxGetNumberOfDimensions(a));
}

kxSize element_count(const Shape& shape) {
  kxSize count = 1;
  for (kxSize d : shape) {
    if (d != 0 && count > std::numeric_limits<kxSize>::max() / d)
      kx::raise("Korel:kx:TooLarge", "The array has more elements than can be addressed.");
    count *= d;
  }
  return count;
}

bool is_vector_shape(const Shape& shape) {
  return shape.size() == 2 && (shape[0] == 1 || shape[1] == 1);
}

Shape padded(Shape shape, std::size_t count) {
  if (shape.size() < count) shape.resize(count, 1);
  return shape;
}

Shape normalized(Shape shape) {
  while (shape.size() > 2 && shape.back() == 1) shape.pop_back();
  if (shape.size() < 2) shape.resize(2, shape.empty() ? 0 : 1);
  return shape;
}

Shape subscript_extents(const Shape& shape, std::size_t count) {
  Shape extents(count, 1);
  for (std::size_t d = 0; d < shape.size(); ++d) extents[std::min(d, count - 1)] *= shape[d];
  return extents;
}

Expansion::Expansion(const Shape& a, const Shape& b) {
  if (a == b) {
    shape_ = a;
    count_ = element_count(a);
    kind_ = Kind::Same;
    return;
  }
  kxSize count_a = element_count(a);
  kxSize count_b = element_count(b);
  if (count_a == 1 || count_b == 1) {
    shape_ = count_a == 1 ? b : a;
    count_ = count_a == 1 ? count_b : count_a;
    kind_ = count_a == 1 ? Kind::ScalarLeft : Kind::ScalarRight;
    return;
  }
  std::size_t dims = std::max(a.size(), b.size());
  Shape pa = padded(a, dims);
  Shape pb = padded(b, dims);
  shape_.resize(dims);
  for (std::size_t d = 0; d < dims; ++d) {
    if (pa[d] != pb[d] && pa[d] != 1 && pb[d] != 1)
      kx::raise("Korel:sizeMismatch", "Arrays have incompatible sizes for this operation.");
    shape_[d] = pa[d] == 1 ? pb[d] : pa[d];
  }
  count_ = element_count(shape_);
  kind_ = Kind::General;
  step_a_ = expansion_steps(pa);
  step_b_ = expansion_steps(pb);
}

}  // namespace krt::ops

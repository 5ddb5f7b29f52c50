// Array shapes: dimension lists, their text and their limits.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "korel/kx.h"

namespace krt::library {

class Call;

// At least two dimensions, as arrays keep them.
using Shape = std::vector<kxSize>;

Shape shape_of(const kxArray* a);
// "2x3x4".
std::string dims_text(std::span<const kxSize> dims);
// The product, saturating at the largest kxSize.
kxSize element_count(std::span<const kxSize> dims);
// At least two dimensions, trailing ones past the second dropped.
Shape normalized(Shape dims);

// Raises "<name>:tooLarge" when an array of `dims` with elements of `element_size` bytes
// could not be held in this machine's memory.
void ensure_fits(const Call& call, std::span<const kxSize> dims, std::size_t element_size);

// The first dimension (from 0) whose size is not 1; 0 when all are 1.
std::size_t first_non_singleton(std::span<const kxSize> dims);
// A 1-by-N array.
bool is_row_shape(std::span<const kxSize> dims);

// The layout of an array around dimension `dim`: `before` elements per step along it
// (the product of the earlier dimensions), `along` steps, `after` repetitions.
struct Slices {
  kxSize before;
  kxSize along;
  kxSize after;
};
Slices slices_around(std::span<const kxSize> dims, std::size_t dim);

}  // namespace krt::library

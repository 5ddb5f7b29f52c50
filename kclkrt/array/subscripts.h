// One-based subscripts to the zero-based place of an element. Elements are stored
// column-major: the first subscript runs fastest.
#pragma once

#include <cstddef>

#include "korel/kx.h"

namespace kcl {

struct ElementPlace {
  std::size_t position = 0;  // linear position, or value slot of a sparse array
  bool stored = true;        // sparse: whether a value is stored at the place
  std::size_t row = 1;       // sparse: one-based row and column of the place
  std::size_t column = 1;
};

// Where `count` subscripts lead in `a` (null counts as empty). One subscript ranges over
// every element (struct and object arrays: elements times fields); more than one must
// match the dimensions. Failures raise IndexOutOfBoundsException.
ElementPlace element_place(const kxArray* a, const unsigned* subscripts, std::size_t count);

}  // namespace kcl

// Places in a sparse array's compressed columns.
#pragma once

#include <cstddef>

#include "kclkrt/array/array_data_ref.h"
#include "korel/kx.h"

namespace kcl {

struct SparsePlace {
  std::size_t position;  // the value slot, or where a value would go
  bool stored;           // whether a value is stored there
};

// Where the zero-based (row, column) is in the sparse array `a`.
SparsePlace find_sparse_place(const kxArray* a, std::size_t row, std::size_t column);

// Makes the sparse array of `owner` store a zero at the zero-based (row, column), where
// it stores nothing yet, and returns the value slot. A full array is replaced by a
// larger one through `owner`.
std::size_t insert_sparse_place(array_data_ref& owner, std::size_t row, std::size_t column);

}  // namespace kcl

// Sparse arrays: compressed columns of double or logical values.
#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

#include "kx/array.h"
#include "kx/error.h"

namespace kx {
namespace {

ArrayPtr make_sparse(kxClassID cls, kxSize m, kxSize n, kxSize nzmax, kxComplexity cx) {
  if (cls != kxDOUBLE_CLASS && cls != kxLOGICAL_CLASS)
    raise("Korel:kx:BadClass", "Only double and logical arrays can be sparse.");
  if (cx == kxCOMPLEX && cls != kxDOUBLE_CLASS)
    raise("Korel:kx:BadComplexity", "A logical array cannot be complex.");
  nzmax = std::max<kxSize>(nzmax, 1);
  ArrayPtr a = make_bare(cls, {m, n});
  a->sparse = true;
  Storage& s = *a->data;
  s.capacity = nzmax;
  std::size_t value_bytes = checked_bytes(nzmax, element_size(cls));
  s.real = Block::allocate(value_bytes, true);
  if (cx == kxCOMPLEX) {
    s.imag = Block::allocate(value_bytes, true);
    s.complex = true;
  }
  s.ir = Block::allocate(checked_bytes(nzmax, sizeof(kxIndex)), true);
  if (n == std::numeric_limits<kxSize>::max())
    raise("Korel:kx:TooLarge", "The sparse array has too many columns.");
  s.jc = Block::allocate(checked_bytes(n + 1, sizeof(kxIndex)), true);
  return a;
}

struct Triple {
  kxIndex row, col;
  std::size_t source;  // position in the caller's lists
};

ArrayPtr sparse_from_triples(kxClassID cls, kxSize m, kxSize n, kxSize count,
                             const kxIndex* rows, const kxIndex* cols, const void* real,
                             const void* imag, kxSize nzmax) {
  if (count > 0 && (!rows || !cols || !real))
    raise("Korel:kx:BadArgument", "The index and value lists are missing.");
  if (cls == kxLOGICAL_CLASS && imag)
    raise("Korel:kx:BadComplexity", "A logical array cannot be complex.");
  std::vector<Triple> triples(count);
  for (kxSize k = 0; k < count; ++k) {
    if (rows[k] >= m || cols[k] >= n)
      raise("Korel:kx:IndexOutOfRange", "Index exceeds matrix dimensions.");
    triples[k] = {rows[k], cols[k], k};
  }
  // Column-major order; equal places stay in input order so sums do not depend on sorting.
  std::stable_sort(triples.begin(), triples.end(), [](const Triple& x, const Triple& y) {
    return x.col != y.col ? x.col < y.col : x.row < y.row;
  });

  // Merge equal places into (row, col, re, im), dropping zero results.
  struct Value {
    kxIndex row, col;
    double re, im;
  };
  std::vector<Value> values;
  const auto* re_in = static_cast<const double*>(real);
  const auto* im_in = static_cast<const double*>(imag);
  const auto* logical_in = static_cast<const kxLogical*>(real);
  for (std::size_t k = 0; k < triples.size();) {
    Value v{triples[k].row, triples[k].col, 0, 0};
    for (; k < triples.size() && triples[k].row == v.row && triples[k].col == v.col; ++k) {
      std::size_t at = triples[k].source;
      if (cls == kxLOGICAL_CLASS) {
        v.re = (v.re != 0 || logical_in[at] != 0) ? 1 : 0;
      } else {
        v.re += re_in[at];
        if (im_in) v.im += im_in[at];
      }
    }
    if (v.re != 0 || v.im != 0) values.push_back(v);
  }

  ArrayPtr a = make_sparse(cls, m, n, std::max<kxSize>(nzmax, values.size()),
                           imag ? kxCOMPLEX : kxREAL);
  Storage& s = *a->data;
  kxIndex* ir = s.ir.as<kxIndex>();
  kxIndex* jc = s.jc.as<kxIndex>();
  for (std::size_t k = 0; k < values.size(); ++k) {
    ir[k] = values[k].row;
    ++jc[values[k].col + 1];
    if (cls == kxLOGICAL_CLASS) {
      s.real.as<kxLogical>()[k] = 1;
    } else {
      s.real.as<double>()[k] = values[k].re;
      if (imag) s.imag.as<double>()[k] = values[k].im;
    }
  }
  std::partial_sum(jc, jc + n + 1, jc);
  return a;
}

}  // namespace

bool sparse_structure_valid(const kxArray& a) {
  if (!a.sparse || a.dims.size() != 2) return false;
  const Storage& s = *a.data;
  kxSize m = a.dims[0], n = a.dims[1];
  if (s.jc.size() != (n + 1) * sizeof(kxIndex) || s.ir.size() != s.capacity * sizeof(kxIndex))
    return false;
  const kxIndex* jc = s.jc.as<kxIndex>();
  const kxIndex* ir = s.ir.as<kxIndex>();
  if (jc[0] != 0 || jc[n] > s.capacity) return false;
  for (kxSize c = 0; c < n; ++c) {
    if (jc[c + 1] < jc[c]) return false;
    for (kxIndex k = jc[c]; k < jc[c + 1]; ++k)
      if (ir[k] >= m || (k > jc[c] && ir[k] <= ir[k - 1])) return false;
  }
  return true;
}

}  // namespace kx

using namespace kx;

extern "C" {

kxArray* kxCreateSparse(kxSize m, kxSize n, kxSize nzmax, kxComplexity cx) {
  return guarded([&] { return publish(make_sparse(kxDOUBLE_CLASS, m, n, nzmax, cx)); },
                 static_cast<kxArray*>(nullptr));
}

kxArray* kxCreateSparseLogicalMatrix(kxSize m, kxSize n, kxSize nzmax) {
  return guarded([&] { return publish(make_sparse(kxLOGICAL_CLASS, m, n, nzmax, kxREAL)); },
                 static_cast<kxArray*>(nullptr));
}

kxArray* kxCreateSparseFromTriples(kxClassID cls, kxSize m, kxSize n, kxSize count,
                                   const kxIndex* rows, const kxIndex* cols, const void* real,
                                   const void* imag, kxSize nzmax) {
  return guarded(
      [&] {
        return publish(sparse_from_triples(cls, m, n, count, rows, cols, real, imag, nzmax));
      },
      static_cast<kxArray*>(nullptr));
}

kxIndex* kxGetIr(const kxArray* a) { return kxIsSparse(a) ? a->data->ir.as<kxIndex>() : nullptr; }

kxIndex* kxGetJc(const kxArray* a) { return kxIsSparse(a) ? a->data->jc.as<kxIndex>() : nullptr; }

kxSize kxGetNzmax(const kxArray* a) {
  if (!a) return 0;
  return a->sparse ? a->data->capacity : kxGetNumberOfElements(a);
}

kxSize kxGetNumberOfNonzeros(const kxArray* a) {
  if (!a) return 0;
  if (!a->sparse) return kxGetNumberOfElements(a);
  // Callers may have written the index blocks; never report more than there is room for.
  return std::min<kxSize>(a->data->jc.as<kxIndex>()[a->dims[1]], a->data->capacity);
}

}  // extern "C"

#include "kclkrt/array/sparse_places.h"

#include <algorithm>
#include <cstring>

#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/native_result.h"

namespace kcl {

SparsePlace find_sparse_place(const kxArray* a, std::size_t row, std::size_t column) {
  const kxIndex* ir = kxGetIr(a);
  const kxIndex* jc = kxGetJc(a);
  const kxIndex* first = ir + jc[column];
  const kxIndex* last = ir + jc[column + 1];
  const kxIndex* at = std::lower_bound(first, last, row);
  return {static_cast<std::size_t>(at - ir), at != last && *at == row};
}

std::size_t insert_sparse_place(array_data_ref& owner, std::size_t row, std::size_t column) {
  kxArray* a = owner.writable_native();
  std::size_t position = find_sparse_place(a, row, column).position;
  std::size_t n = kxGetN(a);
  std::size_t stored = kxGetJc(a)[n];
  std::size_t size = kxGetElementSize(a);
  bool complex = kxIsComplex(a);

  kxArray* target = a;
  if (stored == kxGetNzmax(a)) {
    // Full: a larger array takes the values, leaving the slot at `position` free.
    kxSize room = std::max<kxSize>(2 * stored, 4);
    target = require_array(kxGetClassID(a) == kxLOGICAL_CLASS
                               ? kxCreateSparseLogicalMatrix(kxGetM(a), n, room)
                               : kxCreateSparse(kxGetM(a), n, room, complex ? kxCOMPLEX : kxREAL));
    std::memcpy(kxGetJc(target), kxGetJc(a), (n + 1) * sizeof(kxIndex));
  }
  ArrayAccess made(target == a ? nullptr : target, target != a);

  // Values and row indices from `position` on move up one slot.
  kxIndex* ir = kxGetIr(target);
  char* re = static_cast<char*>(kxGetData(target));
  char* im = static_cast<char*>(kxGetImagData(target));
  std::memmove(ir + position + 1, kxGetIr(a) + position, (stored - position) * sizeof(kxIndex));
  std::memmove(re + (position + 1) * size, static_cast<char*>(kxGetData(a)) + position * size,
               (stored - position) * size);
  if (im)
    std::memmove(im + (position + 1) * size, static_cast<char*>(kxGetImagData(a)) + position * size,
                 (stored - position) * size);
  if (target != a) {
    std::memcpy(ir, kxGetIr(a), position * sizeof(kxIndex));
    std::memcpy(re, kxGetData(a), position * size);
    if (im) std::memcpy(im, kxGetImagData(a), position * size);
  }
  ir[position] = row;
  std::memset(re + position * size, 0, size);
  if (im) std::memset(im + position * size, 0, size);
  kxIndex* jc = kxGetJc(target);
  for (std::size_t c = column + 1; c <= n; ++c) ++jc[c];

  if (target != a) {
    // Only after the copy: replacing destroys the old array.
    owner.replace_native(made.take_or_share());
  }
  return position;
}

}  // namespace kcl

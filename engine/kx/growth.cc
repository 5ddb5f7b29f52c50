#include "kx/growth.h"

#include "kx/array.h"

namespace kx {

bool grow_vector(kxArray* a, kxSize count) {
  if (!a || a->sparse || a->dims.size() != 2 || a->data.use_count() != 1) return false;
  Storage& s = *a->data;
  const bool cell = a->cls == kxCELL_CLASS;
  if ((!cell && !is_value_class(a->cls)) || s.complex) return false;
  const kxSize rows = a->dims[0], columns = a->dims[1];
  const bool row = rows == 1 || (rows == 0 && columns == 0);
  if (!row && columns != 1) return false;
  if (count <= rows * columns) return false;
  if (cell) {
    s.elements.resize(count, nullptr);
  } else {
    s.real.resize(checked_bytes(count, element_size(a->cls)));
  }
  s.capacity = count;
  a->dims[0] = row ? 1 : count;
  a->dims[1] = row ? count : 1;
  return true;
}

}  // namespace kx

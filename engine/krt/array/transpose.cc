// Transposes of 2-D arrays of every class: values, cells, structs and objects.
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/elementwise.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

template <class T>
void negate_all(void* data, kxSize count) {
  T* values = static_cast<T*>(data);
  for (kxSize i = 0; i < count; ++i) values[i] = -values[i];
}

}  // namespace

Value transpose(const kxArray* a, bool conjugate) {
  require_operand(a);
  require_dense(a);
  if (kxGetNumberOfDimensions(a) > 2)
    kx::raise("Korel:transpose:NotDefinedForND",
              "Transpose on ND array is not defined. Use PERMUTE instead.");
  kxClassID cls = kxGetClassID(a);
  // Handles and opaque values are single elements: the transpose is the value itself.
  if (cls == kxFUNCTION_CLASS || cls == kxOPAQUE_CLASS) return checked(kxDuplicateArray(a));
  if (!is_value_class(cls) && cls != kxCELL_CLASS && cls != kxSTRUCT_CLASS &&
      cls != kxOBJECT_CLASS)
    raise_undefined_operator(conjugate ? "'" : ".'", a);
  if (conjugate && kxIsComplex(a) && !is_float_class(cls))
    raise_complex_unsupported("The conjugate transpose of integers");
  kxSize rows = kxGetM(a);
  kxSize cols = kxGetN(a);
  Value out = make_blank_like(a, {cols, rows});
  ElementCopier copy(a, out.get());
  if (rows == 1 || cols == 1) {
    copy.copy_run(0, 0, rows * cols);  // a vector keeps its storage order
  } else {
    for (kxSize j = 0; j < cols; ++j)
      for (kxSize i = 0; i < rows; ++i) copy(j + i * cols, i + j * rows);
  }
  if (conjugate && kxIsComplex(a)) {
    void* im = kxGetImagData(out.get());
    if (cls == kxDOUBLE_CLASS)
      negate_all<double>(im, rows * cols);
    else
      negate_all<float>(im, rows * cols);
  }
  return out;
}

}  // namespace krt::ops

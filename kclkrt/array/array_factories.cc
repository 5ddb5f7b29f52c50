#include "kclkrt/array/array_factories.h"

#include <cstring>

#include "kclkrt/array/array_object.h"
#include "kclkrt/array/native_result.h"

namespace kcl {
namespace {

kxClassID to_class(int class_id) { return static_cast<kxClassID>(class_id); }
kxComplexity to_complexity(bool complex) { return complex ? kxCOMPLEX : kxREAL; }

}  // namespace

kxArray* array_factory::create_empty(int class_id) {
  bool known = class_id >= kxUNKNOWN_CLASS && class_id <= kxOBJECT_CLASS;
  return require_array(kxCreateEmptyArray(known ? to_class(class_id) : kxDOUBLE_CLASS));
}

array_ref* array_factory::wrap(kxArray* native, bool duplicate) {
  if (!native)
    native = require_array(kxCreateEmptyArray(kxDOUBLE_CLASS));
  else if (duplicate)
    native = require_array(kxDuplicateArray(native));
  try {
    return new ArrayRef(native);
  } catch (...) {
    kxDestroyArray(native);  // taken over, so not leaked when the object cannot be made
    throw;
  }
}

kxArray* numeric_array_factory::create_empty(int class_id) {
  return require_array(kxCreateNumericMatrix(0, 0, to_class(class_id), kxREAL));
}

kxArray* numeric_array_factory::create_array(std::size_t ndim, const kxSize* dims, int class_id,
                                             bool complex) {
  return require_array(kxCreateNumericArray(ndim, dims, to_class(class_id), to_complexity(complex)));
}

kxArray* numeric_array_factory::create_scalar(int class_id, const void* re, const void* im,
                                              bool complex) {
  kxArray* a = require_array(kxCreateNumericMatrix(1, 1, to_class(class_id), to_complexity(complex)));
  std::size_t size = kxGetElementSize(a);
  std::memcpy(kxGetData(a), re, size);
  if (complex) std::memcpy(kxGetImagData(a), im, size);
  return a;
}

kxArray* numeric_array_factory::create_sparse(kxSize m, kxSize n, kxSize count,
                                              const kxIndex* rows, const kxIndex* cols,
                                              const double* re, const double* im, kxSize nzmax) {
  return require_array(
      kxCreateSparseFromTriples(kxDOUBLE_CLASS, m, n, count, rows, cols, re, im, nzmax));
}

kxArray* logical_array_factory::create_empty(int) { return require_array(kxCreateLogicalMatrix(0, 0)); }

kxArray* logical_array_factory::create_array(std::size_t ndim, const kxSize* dims) {
  return require_array(kxCreateLogicalArray(ndim, dims));
}

kxArray* logical_array_factory::create_scalar(kxLogical value) {
  return require_array(kxCreateLogicalScalar(value));
}

kxArray* logical_array_factory::create_sparse(kxSize m, kxSize n, kxSize count,
                                              const kxIndex* rows, const kxIndex* cols,
                                              const kxLogical* values, kxSize nzmax) {
  return require_array(
      kxCreateSparseFromTriples(kxLOGICAL_CLASS, m, n, count, rows, cols, values, nullptr, nzmax));
}

kxArray* char_array_factory::create_empty(int) { return require_array(kxCreateCharMatrix(0, 0)); }

kxArray* char_array_factory::create_array(std::size_t ndim, const kxSize* dims) {
  return require_array(kxCreateCharArray(ndim, dims));
}

kxArray* char_array_factory::create_scalar(kxChar value) {
  kxArray* a = require_array(kxCreateCharMatrix(1, 1));
  *kxGetChars(a) = value;
  return a;
}

kxArray* char_array_factory::create_string(const char* text) {
  return require_array(kxCreateString(text));
}

kxArray* char_array_factory::create_from_strings(std::size_t count, const char** strings) {
  return require_array(kxCreateCharMatrixFromStrings(count, strings));
}

kxArray* cell_array_factory::create_empty(int) { return require_array(kxCreateCellMatrix(0, 0)); }

kxArray* cell_array_factory::create_array(std::size_t ndim, const kxSize* dims) {
  return require_array(kxCreateCellArray(ndim, dims));
}

kxArray* struct_array_factory::create_empty(int) {
  return require_array(kxCreateStructMatrix(0, 0, 0, nullptr));
}

kxArray* struct_array_factory::create_array(std::size_t ndim, const kxSize* dims, int nfields,
                                            const char** names) {
  return require_array(kxCreateStructArray(ndim, dims, nfields, names));
}

array_factory& factory_for_class(int class_id) {
  switch (class_id) {
    case kxCELL_CLASS: return factory<cell_array_factory>();
    case kxSTRUCT_CLASS: return factory<struct_array_factory>();
    case kxLOGICAL_CLASS: return factory<logical_array_factory>();
    case kxCHAR_CLASS: return factory<char_array_factory>();
    default:
      if (class_id >= kxDOUBLE_CLASS && class_id <= kxUINT64_CLASS)
        return factory<numeric_array_factory>();
      return factory<array_factory>();
  }
}

array_ref* wrap_native(kxArray* native) {
  return factory_for_class(native ? kxGetClassID(native) : kxDOUBLE_CLASS).wrap(native);
}

array_ref* new_empty_array() { return factory<array_factory>().wrap(nullptr); }

}  // namespace kcl

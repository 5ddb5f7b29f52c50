// The exported creators of arrays, each through the factory of its family.
#include <vector>

#include "kclkrt/array/array_factories.h"
#include "kclkrt/array/construction.h"
#include "kclkrt/array/element_types.h"
#include "korel/array_api.h"

namespace kcl {
namespace {

using Dims = std::vector<kxSize>;

kxSize to_size(int n) {
  if (n < 0) throw IllegalArgumentException("Invalid argument");
  return static_cast<kxSize>(n);
}

Dims matrix_dims(int rows, int cols) { return {to_size(rows), to_size(cols)}; }

Dims array_dims(int ndim, const int* dims) {
  if (ndim < 0 || (ndim > 0 && !dims)) throw IllegalArgumentException("Invalid argument");
  Dims result;
  for (int k = 0; k < ndim; ++k) result.push_back(to_size(dims[k]));
  return result;
}

bool is_numeric_class(int class_id) {
  return class_id >= kxDOUBLE_CLASS && class_id <= kxUINT64_CLASS;
}

array_ref* numeric(const Dims& dims, int class_id, int complexity) {
  if (!is_numeric_class(class_id)) throw cannot_convert("numeric", class_id);
  return wrap_native(factory<numeric_array_factory>().create_array(dims.size(), dims.data(),
                                                                  class_id, complexity != 0));
}

// Any family by class id; a struct made this way has no fields.
array_ref* of_class(const Dims& dims, int class_id, int complexity) {
  switch (class_id) {
    case kxCELL_CLASS:
      return wrap_native(factory<cell_array_factory>().create_array(dims.size(), dims.data()));
    case kxSTRUCT_CLASS:
      return wrap_native(
          factory<struct_array_factory>().create_array(dims.size(), dims.data(), 0, nullptr));
    case kxLOGICAL_CLASS:
      return wrap_native(factory<logical_array_factory>().create_array(dims.size(), dims.data()));
    case kxCHAR_CLASS:
      return wrap_native(factory<char_array_factory>().create_array(dims.size(), dims.data()));
    default:
      return numeric(dims, class_id, complexity);
  }
}

template <class T>
int scalar(array_ref** out, int class_id, T re, T im, int complexity) {
  return create_into(out, [&] {
    return wrap_native(
        factory<numeric_array_factory>().create_scalar(class_id, &re, &im, complexity != 0));
  });
}

// One-based (row, column) lists as zero-based indices, checked against the shape.
std::vector<kxIndex> zero_based(int count, const int* indices, int extent) {
  std::vector<kxIndex> result;
  for (int k = 0; k < count; ++k) {
    if (indices[k] < 1 || indices[k] > extent)
      throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
    result.push_back(static_cast<kxIndex>(indices[k] - 1));
  }
  return result;
}

struct Triples {
  std::vector<kxIndex> rows, cols;
};

Triples sparse_triples(int row_count, const int* rows, int column_count, const int* columns,
                       int value_count, const void* values, int m, int n) {
  if (row_count != column_count || row_count != value_count)
    throw ArrayStoreException("Vectors must be the same length");
  if (row_count < 0 || (row_count > 0 && (!rows || !columns || !values)))
    throw NullPointerException("Invalid input");
  to_size(m);
  to_size(n);
  return {zero_based(row_count, rows, m), zero_based(column_count, columns, n)};
}

}  // namespace
}  // namespace kcl

using namespace kcl;

int kclGetEmptyArray(array_ref** out, int class_id) {
  return create_into(out, [&] {
    return wrap_native(factory_for_class(class_id).create_empty(class_id));
  });
}

#define KCL_SCALAR_CREATOR(Name, Type, Class)                                           \
  int kclGetScalar##Name(array_ref** out, Type re, Type im, int complexity) {          \
    return scalar(out, Class, re, im, complexity);                                     \
  }
KCL_SCALAR_CREATOR(Double, kxDouble, kxDOUBLE_CLASS)
KCL_SCALAR_CREATOR(Single, kxSingle, kxSINGLE_CLASS)
KCL_SCALAR_CREATOR(Int8, kxInt8, kxINT8_CLASS)
KCL_SCALAR_CREATOR(Uint8, kxUint8, kxUINT8_CLASS)
KCL_SCALAR_CREATOR(Int16, kxInt16, kxINT16_CLASS)
KCL_SCALAR_CREATOR(Uint16, kxUint16, kxUINT16_CLASS)
KCL_SCALAR_CREATOR(Int32, kxInt32, kxINT32_CLASS)
KCL_SCALAR_CREATOR(Uint32, kxUint32, kxUINT32_CLASS)
KCL_SCALAR_CREATOR(Int64, kxInt64, kxINT64_CLASS)
KCL_SCALAR_CREATOR(Uint64, kxUint64, kxUINT64_CLASS)
#undef KCL_SCALAR_CREATOR

int kclGetScalarLogical(array_ref** out, kxLogical value) {
  return create_into(out, [&] {
    return wrap_native(factory<logical_array_factory>().create_scalar(value));
  });
}

int kclGetScalarChar(array_ref** out, kxChar value) {
  return create_into(out, [&] {
    return wrap_native(factory<char_array_factory>().create_scalar(value));
  });
}

int kclGetString(array_ref** out, const char* text) {
  return create_into(out, [&] {
    return wrap_native(factory<char_array_factory>().create_string(require_input(text)));
  });
}

int kclGetCharMatrixFromStrings(array_ref** out, int count, const char** strings) {
  return create_into(out, [&] {
    kxSize n = to_size(count);
    for (kxSize i = 0; i < n; ++i) require_input(require_input(strings)[i]);
    return wrap_native(factory<char_array_factory>().create_from_strings(n, strings));
  });
}

int kclGetNumericMatrix(array_ref** out, int rows, int cols, int class_id, int complexity) {
  return create_into(out, [&] { return numeric(matrix_dims(rows, cols), class_id, complexity); });
}

int kclGetNumericArray(array_ref** out, int ndim, const int* dims, int class_id, int complexity) {
  return create_into(out, [&] { return numeric(array_dims(ndim, dims), class_id, complexity); });
}

int kclGetLogicalMatrix(array_ref** out, int rows, int cols) {
  return kclGetMatrix(out, rows, cols, kxLOGICAL_CLASS, 0);
}
int kclGetLogicalArray(array_ref** out, int ndim, const int* dims) {
  return kclGetArray(out, ndim, dims, kxLOGICAL_CLASS, 0);
}
int kclGetCharMatrix(array_ref** out, int rows, int cols) {
  return kclGetMatrix(out, rows, cols, kxCHAR_CLASS, 0);
}
int kclGetCharArray(array_ref** out, int ndim, const int* dims) {
  return kclGetArray(out, ndim, dims, kxCHAR_CLASS, 0);
}
int kclGetCellMatrix(array_ref** out, int rows, int cols) {
  return kclGetMatrix(out, rows, cols, kxCELL_CLASS, 0);
}
int kclGetCellArray(array_ref** out, int ndim, const int* dims) {
  return kclGetArray(out, ndim, dims, kxCELL_CLASS, 0);
}

int kclGetStructMatrix(array_ref** out, int rows, int cols, int nfields, const char** names) {
  int dims[2] = {rows, cols};
  return kclGetStructArray(out, 2, dims, nfields, names);
}

int kclGetStructArray(array_ref** out, int ndim, const int* dims, int nfields,
                      const char** names) {
  return create_into(out, [&] {
    Dims shape = array_dims(ndim, dims);
    if (to_size(nfields) > 0) require_input(names);
    return wrap_native(
        factory<struct_array_factory>().create_array(shape.size(), shape.data(), nfields, names));
  });
}

int kclGetMatrix(array_ref** out, int rows, int cols, int class_id, int complexity) {
  return create_into(out, [&] { return of_class(matrix_dims(rows, cols), class_id, complexity); });
}

int kclGetArray(array_ref** out, int ndim, const int* dims, int class_id, int complexity) {
  return create_into(out, [&] { return of_class(array_dims(ndim, dims), class_id, complexity); });
}

int kclGetNumericSparse(array_ref** out, int row_count, const int* rows, int column_count,
                        const int* columns, int value_count, const kxDouble* real,
                        const kxDouble* imag, int m, int n, int nzmax, int class_id,
                        int complexity) {
  return create_into(out, [&] {
    if (class_id != kxDOUBLE_CLASS) throw sparse_not_supported(class_id);
    Triples t = sparse_triples(row_count, rows, column_count, columns, value_count, real, m, n);
    return wrap_native(factory<numeric_array_factory>().create_sparse(
        to_size(m), to_size(n), t.rows.size(), t.rows.data(), t.cols.data(), real,
        complexity ? imag : nullptr, nzmax > 0 ? static_cast<kxSize>(nzmax) : 0));
  });
}

int kclGetLogicalSparse(array_ref** out, int row_count, const int* rows, int column_count,
                        const int* columns, int value_count, const kxLogical* values, int m,
                        int n, int nzmax) {
  return create_into(out, [&] {
    Triples t = sparse_triples(row_count, rows, column_count, columns, value_count, values, m, n);
    return wrap_native(factory<logical_array_factory>().create_sparse(
        to_size(m), to_size(n), t.rows.size(), t.rows.data(), t.cols.data(), values,
        nzmax > 0 ? static_cast<kxSize>(nzmax) : 0));
  });
}

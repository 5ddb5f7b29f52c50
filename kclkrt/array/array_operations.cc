// The queries, copies and conversions every array object shares.
#include <cstring>
#include <memory>
#include <vector>

#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/array_factories.h"
#include "kclkrt/array/array_object.h"
#include "kclkrt/array/char_buffer.h"
#include "kclkrt/array/element_types.h"
#include "kclkrt/array/native_result.h"

namespace kcl {
namespace {

int to_int(std::size_t n) { return static_cast<int>(n); }

// A 1-by-N uint32 array of `count` values.
template <class Value>
array_ref* uint32_row(const Value* values, std::size_t count) {
  kxArray* row = require_array(kxCreateNumericMatrix(1, count, kxUINT32_CLASS, kxREAL));
  auto* out = static_cast<kxUint32*>(kxGetData(row));
  for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<kxUint32>(values[i]);
  return wrap_native(row);
}

const kxArray* require_sparse(const kxArray* a) {
  if (!kxIsSparse(a)) throw cannot_convert(kxGetClassID(a), "sparse");
  return a;
}

// A real array of the class and shape of `a` holding one of its blocks.
array_ref* block_as_array(const kxArray* a, const void* block) {
  int cls = kxGetClassID(a);
  if (!kxIsNumeric(a)) throw cannot_convert(cls, "numeric");
  if (kxIsSparse(a)) {
    std::size_t stored = kxGetNumberOfNonzeros(a);
    std::vector<kxIndex> columns(stored);
    const kxIndex* jc = kxGetJc(a);
    for (std::size_t c = 0; c < kxGetN(a); ++c)
      for (kxIndex k = jc[c]; k < jc[c + 1]; ++k) columns[k] = c;
    return wrap_native(require_array(kxCreateSparseFromTriples(
        kxDOUBLE_CLASS, kxGetM(a), kxGetN(a), stored, kxGetIr(a), columns.data(), block,
        nullptr, kxGetNzmax(a))));
  }
  kxArray* result = require_array(kxCreateNumericArray(
      kxGetNumberOfDimensions(a), kxGetDimensions(a), static_cast<kxClassID>(cls), kxREAL));
  std::size_t bytes = kxGetNumberOfElements(a) * class_element_size(cls);
  if (bytes) std::memcpy(kxGetData(result), block, bytes);
  return wrap_native(result);
}

}  // namespace

int ArrayOperations::classID() {
  return locked_call(-1, [&] { return class_id(); });
}

array_ref* ArrayOperations::deep_copy() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    return wrap_native(require_array(kxDuplicateArray(native.get())));
  });
}

array_ref* ArrayOperations::shared_copy() {
  return locked_call<array_ref*>(nullptr, [&] { return make_shared_copy(); });
}

array_ref* ArrayOperations::serialize() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    kxArray* bytes = kxSerialize(native.get());
    if (!bytes) throw cannot_convert(kxGetClassID(native.get()), kxUINT8_CLASS);
    return wrap_native(bytes);
  });
}

int ArrayOperations::element_size() {
  return locked_call(-1, [&] { return to_int(kxGetElementSize(native_access().get())); });
}

int ArrayOperations::number_of_elements() {
  return locked_call(-1, [&] { return to_int(kxGetNumberOfElements(native_access().get())); });
}

int ArrayOperations::number_of_nonzeros() {
  return locked_call(-1, [&] { return to_int(kxGetNumberOfNonzeros(native_access().get())); });
}

int ArrayOperations::maximum_nonzeros() {
  return locked_call(-1, [&] {
    ArrayAccess native = native_access();
    const kxArray* a = native.get();
    if (!a) return 0;
    return to_int(kxIsSparse(a) ? kxGetNzmax(a) : kxGetNumberOfElements(a));
  });
}

int ArrayOperations::number_of_dimensions() {
  return locked_call(-1, [&] { return to_int(kxGetNumberOfDimensions(native_access().get())); });
}

array_ref* ArrayOperations::get_dimensions() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    return uint32_row(kxGetDimensions(native.get()), kxGetNumberOfDimensions(native.get()));
  });
}

int ArrayOperations::number_of_fields() {
  return locked_call(-1, [&] {
    // Objects have fields of their own, but only a struct array's are counted here.
    ArrayAccess native = native_access();
    return kxGetClassID(native.get()) == kxSTRUCT_CLASS ? kxGetNumberOfFields(native.get()) : 0;
  });
}

char_buffer* ArrayOperations::get_field_name(int field) {
  return locked_call<char_buffer*>(nullptr, [&] {
    ArrayAccess native = native_access();
    int cls = kxGetClassID(native.get());
    if (cls != kxSTRUCT_CLASS && cls != kxOBJECT_CLASS)
      throw FieldIndexingException("Field name indexing not supported for this type");
    if (field < 1 || field > kxGetNumberOfFields(native.get()))
      throw IndexOutOfBoundsException("Invalid field number");
    return new CharBuffer(kxGetFieldNameByNumber(native.get(), field - 1));
  });
}

bool ArrayOperations::is_empty() {
  return locked_call(false, [&] { return kxIsEmpty(native_access().get()); });
}

bool ArrayOperations::is_sparse() {
  return locked_call(false, [&] { return kxIsSparse(native_access().get()); });
}

bool ArrayOperations::is_numeric() {
  return locked_call(false, [&] { return kxIsNumeric(native_access().get()); });
}

bool ArrayOperations::is_complex() {
  return locked_call(false, [&] { return kxIsComplex(native_access().get()); });
}

int ArrayOperations::make_complex() {
  return locked_call(-1, [&] {
    make_native_complex();
    return 0;
  });
}

char_buffer* ArrayOperations::to_string() {
  return locked_call<char_buffer*>(nullptr, [&] {
    ArrayAccess native = native_access();
    std::unique_ptr<char, void (*)(void*)> text(kxArrayToDisplayText(native.get(), nullptr),
                                                kxFree);
    if (!text) throw MemoryException("Memory allocation error");
    return new CharBuffer(text.get());
  });
}

array_ref* ArrayOperations::row_index() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    const kxArray* a = require_sparse(native.get());
    return uint32_row(kxGetIr(a), kxGetNumberOfNonzeros(a));
  });
}

array_ref* ArrayOperations::column_index() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    const kxArray* a = require_sparse(native.get());
    return uint32_row(kxGetJc(a), kxGetN(a) + 1);
  });
}

int ArrayOperations::set(array_ref* value) {
  return locked_call(-1, [&] {
    if (!value) throw NullPointerException("Null Pointer");
    assign(*value);
    return 0;
  });
}

array_ref* ArrayOperations::real() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    return block_as_array(native.get(), kxGetData(native.get()));
  });
}

array_ref* ArrayOperations::imag() {
  return locked_call<array_ref*>(nullptr, [&] {
    ArrayAccess native = native_access();
    const kxArray* a = native.get();
    if (!kxIsNumeric(a)) throw cannot_convert(kxGetClassID(a), "numeric");
    if (!kxIsComplex(a))
      throw ComplexAccessException("Cannot access the imaginary part of a pure-real array");
    return block_as_array(a, kxGetImagData(a));
  });
}

}  // namespace kcl

#include "kclkrt/array/array_object.h"

#include <string>
#include <vector>

#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/element_types.h"
#include "kclkrt/array/native_result.h"
#include "kclkrt/array/subscripts.h"

namespace kcl {
namespace {

bool has_fields(int class_id) { return class_id == kxSTRUCT_CLASS || class_id == kxOBJECT_CLASS; }

// Elements a typed accessor may reach: the stored values of a sparse array.
std::size_t accessible_elements(const kxArray* a) {
  if (!a) return 0;
  return kxIsSparse(a) ? kxGetNumberOfNonzeros(a) : kxGetNumberOfElements(a);
}

// A new 1-by-1 struct (or object) holding copies of the fields of one element.
kxArray* copy_struct_element(const kxArray* container, std::size_t position) {
  if (position >= kxGetNumberOfElements(container))
    throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
  int nfields = kxGetNumberOfFields(container);
  std::vector<const char*> names;
  for (int f = 0; f < nfields; ++f) names.push_back(kxGetFieldNameByNumber(container, f));
  kxSize one[2] = {1, 1};
  kxArray* element =
      kxGetClassID(container) == kxOBJECT_CLASS
          ? kxCreateObjectArray(kxGetObjectClassName(container), 2, one, nfields, names.data())
          : kxCreateStructArray(2, one, nfields, names.data());
  ArrayAccess guard(require_array(element), true);
  for (int f = 0; f < nfields; ++f) {
    const kxArray* value = kxGetFieldByNumber(container, position, f);
    if (value && !kxSetFieldByNumber(element, 0, f, require_array(kxDuplicateArray(value))))
      throw MemoryException("Memory allocation error");
  }
  return guard.take_or_share();
}

}  // namespace

kxArray* unshared_container(kxArray* a) {
  int cls = kxGetClassID(a);
  bool container = cls == kxCELL_CLASS || cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS;
  if (!container || !kxIsDataShared(a)) return a;
  ArrayAccess shared(a, true);
  return require_array(kxDuplicateArray(a));
}

array_data_ref& data_part(array_ref& a) {
  auto* object = dynamic_cast<ArrayOperations*>(&a);
  if (!object) throw IllegalArgumentException("Invalid argument");
  return *object;
}

// ---- ArrayRef ------------------------------------------------------------------------

ArrayRef::ArrayRef(kxArray* native) noexcept : native_(native) {
  kxSetArrayScope(native_, kxPERSISTENT_SCOPE);
}

ArrayRef::~ArrayRef() { kxDestroyArray(native_); }

int ArrayRef::class_id() { return kxGetClassID(native_); }
std::size_t ArrayRef::element_count() { return accessible_elements(native_); }
const void* ArrayRef::real_data() { return kxGetData(native_); }
void* ArrayRef::writable_real_data() { return kxGetData(writable_native()); }
void* ArrayRef::imag_data() { return kxGetImagData(native_); }
ArrayAccess ArrayRef::native_access() { return ArrayAccess(native_, false); }

kxArray* ArrayRef::writable_native() {
  if (is_value_class(kxGetClassID(native_)) && kxIsDataShared(native_))
    replace_native(require_array(kxDuplicateArray(native_)));
  return native_;
}

void ArrayRef::replace_native(kxArray* replacement) {
  kxSetArrayScope(replacement, kxPERSISTENT_SCOPE);
  kxDestroyArray(native_);
  native_ = replacement;
}

array_ref* ArrayRef::make_shared_copy() {
  // Data is copied when first written; a container is copied now, since its elements
  // are assigned in place.
  ArrayAccess element = native_access();
  return new ArrayRef(unshared_container(require_array(element.take_or_share())));
}

void ArrayRef::assign(array_ref& source) {
  ArrayAccess from = data_part(source).native_access();
  replace_native(require_array(kxDuplicateArray(from.get())));
}

void ArrayRef::make_native_complex() {
  if (!kxMakeComplex(writable_native()))
    throw ComplexAccessException("Cannot access the imaginary part of a pure-real array");
}

// ---- CellRef ---------------------------------------------------------------------------

kxArray* CellRef::contained_element() {
  if (kxGetClassID(native_) == kxCELL_CLASS) return kxGetCell(native_, position_);
  if (field_ >= 0) return kxGetFieldByNumber(native_, position_, field_);
  return nullptr;
}

int CellRef::class_id() { return kxGetClassID(native_access().get()); }

std::size_t CellRef::element_count() {
  if (kxArray* element = contained_element()) return accessible_elements(element);
  return field_ < 0 && has_fields(kxGetClassID(native_)) ? 1 : 0;
}

const void* CellRef::real_data() { return kxGetData(contained_element()); }
void* CellRef::writable_real_data() {
  return contained_element() ? kxGetData(writable_native()) : nullptr;
}

kxArray* CellRef::writable_native() {
  kxArray* element = contained_element();
  if (!element) throw ArrayConvertException("Array conversion error");
  if (is_value_class(kxGetClassID(element)) && kxIsDataShared(element)) {
    replace_native(require_array(kxDuplicateArray(element)));
    element = contained_element();
  }
  return element;
}
void* CellRef::imag_data() { return kxGetImagData(contained_element()); }

ArrayAccess CellRef::native_access() {
  if (kxArray* element = contained_element()) return ArrayAccess(element, false);
  if (field_ < 0 && has_fields(kxGetClassID(native_)))
    return ArrayAccess(copy_struct_element(native_, position_), true);
  // An empty place reads as the empty array.
  if (position_ >= kxGetNumberOfElements(native_))
    throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
  return ArrayAccess(require_array(kxCreateEmptyArray(kxDOUBLE_CLASS)), true);
}

void CellRef::replace_native(kxArray* replacement) {
  ArrayAccess guard(replacement, true);
  bool stored = kxGetClassID(native_) == kxCELL_CLASS
                    ? kxSetCell(native_, position_, replacement)
                    : field_ >= 0 && kxSetFieldByNumber(native_, position_, field_, replacement);
  if (!stored) throw cannot_initialize(kxGetClassID(native_), kxGetClassID(replacement));
  guard.take_or_share();  // the container owns it now
}

array_ref* CellRef::element_in_place(const unsigned* subscripts, std::size_t count,
                                     const char* field) {
  if (field_ >= 0 || !has_fields(kxGetClassID(native_))) return nullptr;
  int field_number = -1;
  if (field) {
    field_number = kxGetFieldNumber(native_, field);
    if (field_number < 0) throw IndexOutOfBoundsException("Invalid field name");
  }
  // The subscripts must lead to the one element there is.
  ArrayAccess element = native_access();
  if (element_place(element.get(), subscripts, count).position != 0)
    throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
  kxArray* shared = require_array(kxCreateSharedDataCopy(native_));
  try {
    return new CellRef(shared, position_, field_number);
  } catch (...) {
    kxDestroyArray(shared);
    throw;
  }
}

void CellRef::assign(array_ref& source) {
  ArrayAccess from = data_part(source).native_access();
  int container_class = kxGetClassID(native_);
  if (container_class == kxCELL_CLASS || field_ >= 0) {
    replace_native(unshared_container(require_array(from.take_or_share())));
    return;
  }
  // A whole struct element takes the source's value of each of its fields.
  const kxArray* value = from.get();
  if (!has_fields(kxGetClassID(value)) || kxGetNumberOfElements(value) != 1)
    throw cannot_initialize(container_class, kxGetClassID(value));
  if (position_ >= kxGetNumberOfElements(native_))
    throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
  int nfields = kxGetNumberOfFields(native_);
  if (kxGetNumberOfFields(value) != nfields) throw IndexOutOfBoundsException("Invalid field name");
  std::vector<const kxArray*> values;
  for (int f = 0; f < nfields; ++f) {
    int from_field = kxGetFieldNumber(value, kxGetFieldNameByNumber(native_, f));
    if (from_field < 0) throw IndexOutOfBoundsException("Invalid field name");
    values.push_back(kxGetFieldByNumber(value, 0, from_field));
  }
  for (int f = 0; f < nfields; ++f) {
    kxArray* copy = values[f] ? require_array(kxDuplicateArray(values[f])) : nullptr;
    if (!kxSetFieldByNumber(native_, position_, f, copy)) {
      kxDestroyArray(copy);
      throw MemoryException("Memory allocation error");
    }
  }
}

}  // namespace kcl

#include "kclkrt/array/array_views.h"

#include <cstring>

#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/array_factories.h"
#include "kclkrt/array/element_types.h"
#include "kclkrt/array/native_result.h"
#include "kclkrt/array/sparse_places.h"

namespace kcl {

// ---- ArrayData -----------------------------------------------------------------------

ArrayData::ArrayData(array_data_ref& parent, bool real_only) noexcept
    : parent_(&parent), real_only_(real_only) {
  parent_->object().addref();
}

ArrayData::~ArrayData() { parent_->object().release(); }

void ArrayData::replace_native(kxArray* replacement) {
  kxDestroyArray(replacement);
  throw ArrayConvertException("Array conversion error");
}

array_ref* ArrayData::serialize() {
  ArrayAccess native = native_access();
  return wrap_native(require_array(kxSerialize(native.get())));
}

array_ref* ArrayData::make_shared_copy() { return new ArrayData(*parent_, real_only_); }

void ArrayData::assign(array_ref&) { throw ArrayConvertException("Array conversion error"); }

void ArrayData::make_native_complex() {
  throw ComplexAccessException("Cannot access the imaginary part of a pure-real array");
}

// ---- ScalarData ----------------------------------------------------------------------

void* ScalarData::element_address(const void* block) {
  if (position_ >= parent_->element_count())
    throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
  if (!block) return nullptr;
  std::size_t size = class_element_size(parent_->class_id());
  return static_cast<char*>(const_cast<void*>(block)) + position_ * size;
}

void ScalarData::require_dense_parent() {
  // The parent may have been replaced by a sparse array since the view was made: its
  // value block is no longer laid out by linear position.
  ArrayAccess parent = parent_->native_access();
  if (kxIsSparse(parent.get())) throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
}

const void* ScalarData::real_data() {
  require_dense_parent();
  return element_address(parent_->real_data());
}
void* ScalarData::writable_real_data() {
  require_dense_parent();
  return element_address(parent_->writable_real_data());
}
void* ScalarData::imag_data() {
  if (real_only_) return nullptr;
  require_dense_parent();
  return element_address(parent_->imag_data());
}

ArrayAccess ScalarData::native_access() {
  int cls = class_id();
  if (!is_value_class(cls)) {
    // Functions, opaque values and the like are only ever 1-by-1: the element is all.
    ArrayAccess whole = parent_->native_access();
    if (position_ != 0 || kxGetNumberOfElements(whole.get()) != 1)
      throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
    return ArrayAccess(require_array(kxDuplicateArray(whole.get())), true);
  }
  const void* re = real_data();
  const void* im = imag_data();
  kxArray* element = require_array(cls == kxLOGICAL_CLASS ? kxCreateLogicalMatrix(1, 1)
                          : cls == kxCHAR_CLASS
                              ? kxCreateCharMatrix(1, 1)
                              : kxCreateNumericMatrix(1, 1, static_cast<kxClassID>(cls),
                                                      im ? kxCOMPLEX : kxREAL));
  ArrayAccess result(element, true);
  std::size_t size = class_element_size(cls);
  std::memcpy(kxGetData(element), re, size);
  if (im) std::memcpy(kxGetImagData(element), im, size);
  return result;
}

kxArray* ScalarData::writable_native() { throw ArrayConvertException("Array conversion error"); }

array_ref* ScalarData::make_shared_copy() {
  return new ScalarData(*parent_, real_only_, position_);
}

void ScalarData::assign(array_ref& source) {
  array_data_ref& from = data_part(source);
  int cls = class_id();
  int from_cls = from.class_id();
  if (!is_value_class(from_cls)) throw type_mismatch(cls, from_cls);
  if (from.element_count() < 1) throw IndexOutOfBoundsException("Index out of bounds");
  const void* from_im = from.imag_data();
  void* im = imag_data();
  if (from_im && !im)
    throw ComplexAccessException("Cannot access the imaginary part of a pure-real array");
  // Converted aside first, so that a failure leaves the element as it was.
  alignas(8) unsigned char re_value[8];
  alignas(8) unsigned char im_value[8] = {};
  if (!convert_elements(re_value, cls, from.real_data(), from_cls, 1) ||
      (from_im && !convert_elements(im_value, cls, from_im, from_cls, 1)))
    throw cannot_convert(from_cls, cls);
  std::size_t size = class_element_size(cls);
  std::memcpy(writable_real_data(), re_value, size);
  if (im) std::memcpy(imag_data(), im_value, size);
}

void ScalarData::make_native_complex() {
  throw ComplexAccessException("Cannot access the imaginary part of a pure-real array");
}

// ---- SparseData ------------------------------------------------------------------------

void SparseData::locate() {
  ArrayAccess parent = parent_->native_access();
  const kxArray* a = parent.get();
  // The parent may have been replaced since the view was made, by a dense array or a
  // smaller one: the place must still be there.
  if (!kxIsSparse(a) || row_ > kxGetM(a) || column_ > kxGetN(a))
    throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
  SparsePlace place = find_sparse_place(a, row_ - 1, column_ - 1);
  position_ = place.position;
  stored_ = place.stored;
}

const void* SparseData::real_data() {
  locate();
  return stored_ ? element_address(parent_->real_data()) : zero_;
}

void* SparseData::writable_real_data() {
  locate();
  if (!stored_) {
    position_ = insert_sparse_place(*parent_, row_ - 1, column_ - 1);
    stored_ = true;
  }
  return element_address(parent_->writable_real_data());
}

void* SparseData::imag_data() {
  if (real_only_) return nullptr;
  locate();
  if (stored_) return element_address(parent_->imag_data());
  return parent_->imag_data() ? zero_ : nullptr;
}

ArrayAccess SparseData::native_access() {
  int cls = class_id();
  const void* re = real_data();
  const void* im = imag_data();
  kxIndex zero = 0;
  kxArray* element =
      cls == kxLOGICAL_CLASS
          ? kxCreateSparseFromTriples(kxLOGICAL_CLASS, 1, 1, 1, &zero, &zero, re, nullptr, 1)
          : kxCreateSparseFromTriples(kxDOUBLE_CLASS, 1, 1, 1, &zero, &zero, re, im, 1);
  return ArrayAccess(require_array(element), true);
}

array_ref* SparseData::make_shared_copy() {
  return new SparseData(*parent_, real_only_, position_, stored_, row_, column_);
}

}  // namespace kcl

// The array objects: the operations all of them share, the object that owns a native
// array (ArrayRef) and the one that stands for an element of a cell or struct array
// (CellRef). Element views of other arrays are in array_views.h.
#pragma once

#include <cstddef>

#include "kclkrt/array/array_data_ref.h"
#include "kclkrt/array/ref_count.h"
#include "kclkrt/platform/small_object_allocator.h"
#include "korel/array_ref.h"

namespace kcl {

// The array operations, written once over the data part. Every one holds the global
// mutex and turns a failure into the thread's last error.
class ArrayOperations : public array_ref, public array_data_ref, public SmallObject {
 public:
  int classID() override;
  array_ref* deep_copy() override;
  array_ref* shared_copy() override;
  array_ref* serialize() override;
  int element_size() override;
  int number_of_elements() override;
  int number_of_nonzeros() override;
  int maximum_nonzeros() override;
  int number_of_dimensions() override;
  array_ref* get_dimensions() override;
  int number_of_fields() override;
  char_buffer* get_field_name(int field) override;
  bool is_empty() override;
  bool is_sparse() override;
  bool is_numeric() override;
  bool is_complex() override;
  int make_complex() override;
  bool equals(array_ref* other) override;
  int compare_to(array_ref* other) override;
  int hash_code() override;
  char_buffer* to_string() override;
  array_ref* row_index() override;
  array_ref* column_index() override;
  array_ref* get_int(int count, const int* subscripts) override;
  array_ref* get_const_char(const char* field, int count, const int* subscripts) override;
  array_ref* getV_int(int count, va_list subscripts) override;
  array_ref* getV_const_char(const char* field, int count, va_list subscripts) override;
  int set(array_ref* value) override;
  array_ref* real() override;
  array_ref* imag() override;
  int get_numeric_kxDouble(kxDouble* buffer, int count) override;
  int get_numeric_kxSingle(kxSingle* buffer, int count) override;
  int get_numeric_kxInt8(kxInt8* buffer, int count) override;
  int get_numeric_kxUint8(kxUint8* buffer, int count) override;
  int get_numeric_kxInt16(kxInt16* buffer, int count) override;
  int get_numeric_kxUint16(kxUint16* buffer, int count) override;
  int get_numeric_kxInt32(kxInt32* buffer, int count) override;
  int get_numeric_kxUint32(kxUint32* buffer, int count) override;
  int get_numeric_kxInt64(kxInt64* buffer, int count) override;
  int get_numeric_kxUint64(kxUint64* buffer, int count) override;
  int get_char(kxChar* buffer, int count) override;
  int get_logical(kxLogical* buffer, int count) override;
  int set_numeric_kxDouble(const kxDouble* buffer, int count) override;
  int set_numeric_kxSingle(const kxSingle* buffer, int count) override;
  int set_numeric_kxInt8(const kxInt8* buffer, int count) override;
  int set_numeric_kxUint8(const kxUint8* buffer, int count) override;
  int set_numeric_kxInt16(const kxInt16* buffer, int count) override;
  int set_numeric_kxUint16(const kxUint16* buffer, int count) override;
  int set_numeric_kxInt32(const kxInt32* buffer, int count) override;
  int set_numeric_kxUint32(const kxUint32* buffer, int count) override;
  int set_numeric_kxInt64(const kxInt64* buffer, int count) override;
  int set_numeric_kxUint64(const kxUint64* buffer, int count) override;
  int set_char(const kxChar* buffer, int count) override;
  int set_logical(const kxLogical* buffer, int count) override;

  array_ref& object() override { return *this; }

 protected:
  // What differs between arrays and element views, called with the mutex held.
  virtual array_ref* make_shared_copy() = 0;
  virtual void assign(array_ref& source) = 0;
  virtual void make_native_complex() = 0;
  // An element that must be reached in place rather than through a copy made for this
  // call; null when the usual element will do.
  virtual array_ref* element_in_place(const unsigned*, std::size_t, const char*) {
    return nullptr;
  }

 private:
  // The element at the subscripts (and field, when not null) as a new object.
  array_ref* element(const unsigned* subscripts, std::size_t count, const char* field);
  template <class T, int Class>
  int read(T* buffer, int count);
  template <class T, int Class>
  int write(const T* buffer, int count);
};

// An array object: owns one native array.
class ArrayRef : public ArrayOperations {
 public:
  // Takes `native` over and makes it persistent, so that no call scope reclaims it.
  explicit ArrayRef(kxArray* native) noexcept;
  ~ArrayRef() override;
  ArrayRef(const ArrayRef&) = delete;
  ArrayRef& operator=(const ArrayRef&) = delete;

  int addref() override { return count_.increment(); }
  int release() override { return release_reference(this, count_); }

  int class_id() override;
  // Sparse: the values stored; otherwise the number of elements.
  std::size_t element_count() override;
  const void* real_data() override;
  void* writable_real_data() override;
  void* imag_data() override;
  ArrayAccess native_access() override;
  kxArray* writable_native() override;
  void replace_native(kxArray* replacement) override;

 protected:
  array_ref* make_shared_copy() override;
  void assign(array_ref& source) override;
  void make_native_complex() override;

  kxArray* native_;
  RefCount count_;
};

// One element of a cell or struct array: reads see the element, `set` writes into it.
// It holds a shared data copy of the container, which keeps the element alive and sees
// the container's writes.
class CellRef final : public ArrayRef {
 public:
  // `field` is a field number for one field of a struct element, or -1 for the whole
  // element.
  CellRef(kxArray* shared_container, std::size_t position, int field) noexcept
      : ArrayRef(shared_container), position_(position), field_(field) {}

  int class_id() override;
  std::size_t element_count() override;
  const void* real_data() override;
  void* writable_real_data() override;
  void* imag_data() override;
  ArrayAccess native_access() override;
  kxArray* writable_native() override;
  void replace_native(kxArray* replacement) override;

 protected:
  void assign(array_ref& source) override;
  // A whole struct element is read as a copy; its fields are reached in the container.
  array_ref* element_in_place(const unsigned* subscripts, std::size_t count,
                              const char* field) override;

 private:
  // The element when the container holds it as an array of its own; null otherwise.
  kxArray* contained_element();

  std::size_t position_;
  int field_;
};

// The data part of an array object of this library; `a` must be one.
array_data_ref& data_part(array_ref& a);

// `a` (taken over), or a duplicate of it when it is a cell, struct or object array
// whose storage another array shares: elements are assigned in place, and an array
// that shares the container would see them.
kxArray* unshared_container(kxArray* a);

}  // namespace kcl

// Views into an array held by another array object: writing through a view writes into
// its parent, and a view holds one reference on its parent for as long as it lives.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kclkrt/array/array_object.h"

namespace kcl {

// The common part of every view: the parent and whether the parent was real when the
// view was made (a real-only view never reaches an imaginary block).
class ArrayData : public ArrayOperations {
 public:
  ArrayData(array_data_ref& parent, bool real_only) noexcept;
  ~ArrayData() override;
  ArrayData(const ArrayData&) = delete;
  ArrayData& operator=(const ArrayData&) = delete;

  int addref() override { return count_.increment(); }
  int release() override { return release_reference(this, count_); }

  int class_id() override { return parent_->class_id(); }
  std::size_t element_count() override { return parent_->element_count(); }
  const void* real_data() override { return parent_->real_data(); }
  void* writable_real_data() override { return parent_->writable_real_data(); }
  void* imag_data() override { return real_only_ ? nullptr : parent_->imag_data(); }
  ArrayAccess native_access() override { return parent_->native_access(); }
  kxArray* writable_native() override { return parent_->writable_native(); }
  void replace_native(kxArray* replacement) override;

  // Neither locks nor captures: a failure here reaches the caller as an exception.
  array_ref* serialize() override;

 protected:
  array_ref* make_shared_copy() override;
  // A whole-array view never accepts an assignment.
  void assign(array_ref& source) override;
  void make_native_complex() override;

  array_data_ref* parent_;
  RefCount count_;
  bool real_only_;
};

// One element of a dense parent, by its zero-based linear position.
class ScalarData : public ArrayData {
 public:
  ScalarData(array_data_ref& parent, bool real_only, std::size_t position) noexcept
      : ArrayData(parent, real_only), position_(position) {}

  std::size_t element_count() override { return element_count_; }
  const void* real_data() override;
  void* writable_real_data() override;
  void* imag_data() override;
  // A new 1-by-1 array holding the element.
  ArrayAccess native_access() override;
  // An element has no array of its own: writes go through the parent's blocks.
  kxArray* writable_native() override;

 protected:
  array_ref* make_shared_copy() override;
  // Stores the source's single value, converted to the parent's class.
  void assign(array_ref& source) override;
  void make_native_complex() override;

  // The address of this element in one of the parent's blocks; throws when the parent
  // has shrunk past it since the view was made.
  void* element_address(const void* block);
  // Throws when the parent has become sparse since the view was made.
  void require_dense_parent();

  uint32_t element_count_ = 1;
  std::size_t position_;
};

// One element of a sparse parent, by row and column (one-based). A place where the
// parent stores no value reads as zero; writing to it makes the parent store one.
class SparseData final : public ScalarData {
 public:
  SparseData(array_data_ref& parent, bool real_only, std::size_t position, bool stored,
             std::size_t row, std::size_t column) noexcept
      : ScalarData(parent, real_only, position), stored_(stored), row_(row), column_(column) {}

  const void* real_data() override;
  void* writable_real_data() override;
  void* imag_data() override;
  // A new 1-by-1 sparse array holding the element.
  ArrayAccess native_access() override;

 protected:
  array_ref* make_shared_copy() override;

 private:
  // Finds the place again: writes through other views may have moved the parent's
  // values since this view was made.
  void locate();

  bool stored_;
  std::size_t row_;
  std::size_t column_;
  uint64_t zero_[2] = {0, 0};  // what an unstored place reads as, real or imaginary
};

}  // namespace kcl

// The array families. Each family's factory creates the native arrays of its classes;
// every factory wraps a native array into a new array object that owns it. Factories
// are process-wide, made on first use (under the global mutex, like every array
// operation) and never destroyed.
#pragma once

#include <cstddef>

#include "korel/array_ref.h"
#include "korel/kx.h"

namespace kcl {

class array_factory {
 public:
  virtual ~array_factory() = default;
  // A 0-by-0 array of `class_id` (this family's own class when it has one).
  virtual kxArray* create_empty(int class_id);
  // A new array object, count one, that takes `native` over; a duplicate of it instead
  // when `duplicate` is set; a new empty array of the family when `native` is null.
  array_ref* wrap(kxArray* native, bool duplicate = false);
};

class numeric_array_factory : public array_factory {
 public:
  kxArray* create_empty(int class_id) override;
  kxArray* create_array(std::size_t ndim, const kxSize* dims, int class_id, bool complex);
  // A 1-by-1 array of `class_id` from the bytes of one element of that class.
  kxArray* create_scalar(int class_id, const void* re, const void* im, bool complex);
  // A sparse double array from zero-based triples.
  kxArray* create_sparse(kxSize m, kxSize n, kxSize count, const kxIndex* rows,
                         const kxIndex* cols, const double* re, const double* im, kxSize nzmax);
};

class logical_array_factory : public array_factory {
 public:
  kxArray* create_empty(int class_id) override;
  kxArray* create_array(std::size_t ndim, const kxSize* dims);
  kxArray* create_scalar(kxLogical value);
  kxArray* create_sparse(kxSize m, kxSize n, kxSize count, const kxIndex* rows,
                         const kxIndex* cols, const kxLogical* values, kxSize nzmax);
};

class char_array_factory : public array_factory {
 public:
  kxArray* create_empty(int class_id) override;
  kxArray* create_array(std::size_t ndim, const kxSize* dims);
  kxArray* create_scalar(kxChar value);
  kxArray* create_string(const char* text);
  kxArray* create_from_strings(std::size_t count, const char** strings);
};

class cell_array_factory : public array_factory {
 public:
  kxArray* create_empty(int class_id) override;
  kxArray* create_array(std::size_t ndim, const kxSize* dims);
};

class struct_array_factory : public array_factory {
 public:
  kxArray* create_empty(int class_id) override;
  kxArray* create_array(std::size_t ndim, const kxSize* dims, int nfields, const char** names);
};

// The family's factory, made on first use.
template <class Factory>
Factory& factory() {
  static Factory* instance = new Factory();
  return *instance;
}

// The factory of the family `class_id` belongs to: 1 cell, 2 struct, 3 logical, 4 char,
// 6 to 15 numeric, every other id the generic family.
array_factory& factory_for_class(int class_id);

// A new array object owning `native` (taken over), made by its family's factory.
array_ref* wrap_native(kxArray* native);
// A new, empty array object of the generic family.
array_ref* new_empty_array();

}  // namespace kcl

// The second interface of every array object: typed access to its data and to its
// native array, which operations use on their own object and on their arguments.
#pragma once

#include <cstddef>

#include "kclkrt/array/array_access.h"
#include "korel/array_ref.h"

namespace kcl {

class array_data_ref {
 public:
  virtual int class_id() = 0;
  virtual std::size_t element_count() = 0;
  // The real (or only) block; null when there are no elements or no such block.
  virtual const void* real_data() = 0;
  virtual void* writable_real_data() = 0;
  // The imaginary block; null for a real array.
  virtual void* imag_data() = 0;
  // The native array: lent when the object holds one, made for the caller otherwise.
  virtual ArrayAccess native_access() = 0;
  // The native array about to be written: data shared with another array is first
  // copied, so that nobody else sees the write. Raises for an object without an array
  // of its own to write.
  virtual kxArray* writable_native() = 0;
  // Puts `replacement` (taken over) where the native array was: the object now stands
  // for it. Views cannot.
  virtual void replace_native(kxArray* replacement) = 0;
  // The boundary object this is a part of, for reference counting.
  virtual array_ref& object() = 0;

 protected:
  ~array_data_ref() = default;
};

}  // namespace kcl

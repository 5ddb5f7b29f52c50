// Reading and writing the elements of value-class arrays (logical, char, numeric)
// whatever their class.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "korel/kx.h"
#include "krt/array/value.h"

namespace krt::library {

// Every element of every class converts to this type exactly (64-bit integers included,
// as the x86-64 long double has a 64-bit mantissa).
using Wide = long double;

bool is_value_class(kxClassID cls);
bool is_integer_class(kxClassID cls);
bool is_float_class(kxClassID cls);
bool is_numeric_class(kxClassID cls);

// Calls f with a value of the element type of a value class: kxLogical for logical,
// kxChar for char, double, float, int8_t ... uint64_t.
template <class F>
decltype(auto) with_element_type(kxClassID cls, F&& f) {
  switch (cls) {
    case kxLOGICAL_CLASS: return f(kxLogical{});
    case kxCHAR_CLASS: return f(kxChar{});
    case kxSINGLE_CLASS: return f(float{});
    case kxINT8_CLASS: return f(int8_t{});
    case kxUINT8_CLASS: return f(uint8_t{});
    case kxINT16_CLASS: return f(int16_t{});
    case kxUINT16_CLASS: return f(uint16_t{});
    case kxINT32_CLASS: return f(int32_t{});
    case kxUINT32_CLASS: return f(uint32_t{});
    case kxINT64_CLASS: return f(int64_t{});
    case kxUINT64_CLASS: return f(uint64_t{});
    default: return f(double{});
  }
}

// Bytes per element of a value class.
std::size_t element_size(kxClassID cls);

// The elements of a dense value-class array, read by position whatever the class.
class ElementReader {
 public:
  explicit ElementReader(const kxArray* a);
  kxSize size() const { return count_; }
  kxClassID class_id() const { return cls_; }
  bool complex() const { return imag_ != nullptr; }
  Wide real(kxSize i) const { return read(real_, i); }
  Wide imag(kxSize i) const { return imag_ ? read(imag_, i) : 0; }
  // As double (64-bit integers beyond 2^53 round).
  double real_double(kxSize i) const { return static_cast<double>(real(i)); }
  bool nonzero(kxSize i) const { return real(i) != 0 || imag(i) != 0; }

 private:
  Wide read(const void* block, kxSize i) const;

  kxClassID cls_;
  kxSize count_;
  const void* real_;
  const void* imag_;
};

// Converts `v` for class `cls` and stores it at position i of `block`: integer classes
// and char round halves away from zero and saturate, NaN becoming 0; logical is v != 0.
void store_wide(void* block, kxClassID cls, kxSize i, Wide v);

// A dense array with the elements of `a`: a shared copy of a dense array, a full copy
// of a sparse one.
Value full(const kxArray* a);

// A new real or complex array of class `cls`, zero-filled; raises when it cannot be made.
Value make_numeric(kxClassID cls, std::span<const kxSize> dims, bool complex = false);

// Stores `v` at position i of a cell, or into field `field` of struct element i; the
// container owns it from then on.
void put_cell(kxArray* cell, kxSize i, Value v);
void put_field(kxArray* s, kxSize i, int field, Value v);

}  // namespace krt::library

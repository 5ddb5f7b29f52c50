// Reading and writing the elements of arrays: plain values in a computation type, new
// arrays of a class and shape, and element copies between arrays of one class.
#pragma once

#include <string>
#include <vector>

#include "korel/kx.h"
#include "krt/array/shape.h"
#include "krt/array/value.h"

namespace krt::ops {

// The values of a value-class array as doubles: borrowed when the array is double,
// converted otherwise. im() is null for a real array.
class DoubleValues {
 public:
  explicit DoubleValues(const kxArray* a);
  DoubleValues(const DoubleValues&) = delete;
  DoubleValues& operator=(const DoubleValues&) = delete;

  const double* re() const { return re_; }
  const double* im() const { return im_; }

 private:
  std::vector<double> re_copy_, im_copy_;
  const double* re_ = nullptr;
  const double* im_ = nullptr;
};

// The real parts of a value-class array as long doubles, which hold every 64-bit
// integer exactly.
std::vector<long double> read_long_doubles(const kxArray* a);

// A zero-filled array of a value class.
Value make_values(kxClassID cls, const Shape& shape, bool complex);
// An array of class `cls` (a value class) from double values; `im` may be null. An
// imaginary part that is all zero is dropped.
Value values_from_doubles(kxClassID cls, const Shape& shape, const double* re,
                          const double* im);
// An int64 or uint64 array from long doubles: rounded half away from zero, saturated,
// NaN as 0.
Value values_from_long_doubles(kxClassID cls, const Shape& shape, const long double* re);
// `a` (a value class) converted to `cls`, with an imaginary part when `complex`.
Value convert_values(const kxArray* a, kxClassID cls, bool complex);

std::vector<std::string> field_names(const kxArray* a);
// An empty-placed cell, struct or object array; structs and objects get `fields`,
// objects the class `class_name`.
Value make_container(kxClassID cls, const Shape& shape, const std::vector<std::string>& fields,
                     const std::string& class_name);
// An array of `model`'s class, complexity, fields and object class, with nothing in it.
Value make_blank_like(const kxArray* model, const Shape& shape);

// Stores a shared copy of `value` (null empties the place) into a container, which owns
// it from then on. A value that would make the container part of itself goes in as a
// deep copy.
void put_cell(kxArray* cell, kxSize index, const kxArray* value);
void put_field(kxArray* target, kxSize index, int field, const kxArray* value);

// Copies elements from one array into another of the same class. Values are copied (a
// real source writes zero imaginary parts into a complex target); cells and fields are
// shared. Struct fields are matched by name; target fields the source lacks become
// empty.
class ElementCopier {
 public:
  ElementCopier(const kxArray* from, kxArray* to);

  void operator()(kxSize to, kxSize from) const;
  // `count` elements stored one after another in both arrays.
  void copy_run(kxSize to, kxSize from, kxSize count) const;

 private:
  enum class Kind { Values, Cells, Fields };

  void copy_value(kxSize to, kxSize from) const;
  void copy_container_element(kxSize to, kxSize from) const;

  Kind kind_ = Kind::Values;
  const kxArray* from_;
  kxArray* to_;
  std::size_t size_ = 0;
  const unsigned char* from_re_ = nullptr;
  const unsigned char* from_im_ = nullptr;
  unsigned char* to_re_ = nullptr;
  unsigned char* to_im_ = nullptr;
  std::vector<int> source_field_;  // per target field: the source's field number, or -1
};

}  // namespace krt::ops

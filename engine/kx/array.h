// The native array's representation, shared by the array library's sources.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "kx/block.h"
#include "kx/dims.h"

namespace kx {

class Payload;

class TemporaryScope;

// What shared-data copies share: every value an array holds.
struct Storage {
  Block real;  // dense elements, or sparse values
  Block imag;  // the imaginary parts, as long as `real`, when complex
  Block ir;    // sparse: row index of each value slot
  Block jc;    // sparse: n + 1 column starts
  kxSize capacity = 0;  // value slots: elements when dense, nzmax when sparse
  bool complex = false;

  // Cells: one per element. Structs and objects: element-major, one per field.
  // Each non-null entry belongs to this storage.
  std::vector<kxArray*> elements;
  std::vector<std::string> fields;

  std::string name;  // function name, opaque type name or object class name
  kxNativeFunction native = nullptr;
  // What the engine attaches to a function handle or an object (an anonymous function's
  // code and captured values, a map's entries); copies of the array share it.
  std::shared_ptr<const Payload> payload;
  bool counted_objects = false;  // an object array's storage, reported to the class count

  Storage() = default;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage();
};

// Bytes per element of a class (0 for classes without elements of their own).
std::size_t element_size(int cls);
bool is_numeric_class(int cls);
// Classes whose elements are plain numbers in a real block: logical, char, numeric.
bool is_value_class(int cls);
// Classes whose elements are arrays: cell, struct, object.
bool is_container_class(int cls);

// At least two dimensions, trailing ones past the second dropped.
Dims normalize_dims(kxSize ndim, const kxSize* dims);
// The product of the dimensions; raises Korel:kx:TooLarge on overflow.
kxSize count_elements(const Dims& dims);
// count * size; raises Korel:kx:TooLarge on overflow.
std::size_t checked_bytes(kxSize count, std::size_t size);

}  // namespace kx

struct kxArray_tag {
  kxClassID cls = kxDOUBLE_CLASS;
  bool sparse = false;
  kx::Dims dims{0, 0};
  std::shared_ptr<kx::Storage> data;

  kx::TemporaryScope* scope = nullptr;  // set while temporary
  std::size_t scope_slot = 0;           // position in that scope's list
  bool contained = false;               // belongs to a cell or struct
};

namespace kx {

using ArrayPtr = std::unique_ptr<kxArray>;

// A new array of class `cls` and shape `dims` over fresh storage; value classes get a
// real block (zeroed when asked) and, when complex, an imaginary block.
ArrayPtr make_dense(kxClassID cls, Dims dims, kxComplexity cx, bool zeroed);
// A new array with empty storage and no blocks.
ArrayPtr make_bare(kxClassID cls, Dims dims);
// Hands a new array to the caller: it joins the innermost temporary scope, if any.
kxArray* publish(ArrayPtr a);

// Destroys an array whatever owns it.
void destroy_array(kxArray* a) noexcept;
// Deep copy, not yet published. Elements of containers are copied recursively.
ArrayPtr duplicate(const kxArray& a);

// Whether `a` is the value an empty cell or field place stands for: a real dense
// 0-by-0 double.
bool stands_for_empty_place(const kxArray& a);

// Puts `value` into a container's element slot, destroying what was there.
void store_element(Storage& storage, std::size_t slot, kxArray* value);

// Whether a sparse array's index blocks form a valid structure (callers may have
// written them); functions that walk the structure call this first.
bool sparse_structure_valid(const kxArray& a);

}  // namespace kx

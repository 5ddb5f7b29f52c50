// Reading through subscripts: a(...), a{...}, a.name and the value of `end`.
#include <string>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/operations.h"
#include "krt/array/scalar.h"
#include "krt/array/selection.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

// One element of a value-class array, as loops over arrays read them.
Value element_at(const kxArray* a, kxSize position) {
  if (a->cls == kxDOUBLE_CLASS && !a->data->complex)
    return make_double(a->data->real.as<double>()[position]);
  Value out = make_blank_like(a, {1, 1});
  ElementCopier(a, out.get())(0, position);
  return out;
}

}  // namespace

kxSize end_of(const kxArray* a, std::size_t position, std::size_t count) {
  require_operand(a);
  if (count == 0 || position >= count)
    kx::raise("Korel:ops:Internal", "'end' is outside the subscripts it belongs to.");
  return subscript_extents(shape_of(a), count)[position];
}

Value index(const kxArray* a, Subscripts subs) {
  require_operand(a);
  if (subs.empty()) return Value::share(a);
  require_dense(a);
  kxClassID cls = kxGetClassID(a);
  kxSize position = 0;
  if (is_value_class(cls) && scalar_position(a, subs, position)) return element_at(a, position);
  ReadSelection read = select_for_reading(a, subs);
  if (cls == kxFUNCTION_CLASS || cls == kxOPAQUE_CLASS) {
    // A single handle selected from itself is the handle; there are no arrays of them.
    if (read.selection.count() != 1)
      kx::raise("Korel:functionHandle:Nonscalar",
                "Nonscalar arrays of function handles are not allowed; use cell arrays "
                "instead.");
    return checked(kxDuplicateArray(a));
  }
  if (!is_value_class(cls) && cls != kxCELL_CLASS && cls != kxSTRUCT_CLASS &&
      cls != kxOBJECT_CLASS)
    kx::raise("Korel:badsubscript",
              "Values of type " + type_name(a) + " cannot be indexed with parentheses.");
  return gather(a, read.selection, read.shape);
}

std::vector<Value> brace_index(const kxArray* a, Subscripts subs) {
  require_operand(a);
  if (!kxIsCell(a))
    kx::raise("Korel:cellRefFromNonCell", "Brace indexing is not supported for variables of "
                                          "this type.");
  std::vector<Value> values;
  auto take = [&](kxSize position) {
    const kxArray* element = kxGetCell(a, position);
    values.push_back(element ? Value::share(element) : make_empty_double());
  };
  if (subs.empty()) {
    kxSize count = kxGetNumberOfElements(a);
    for (kxSize i = 0; i < count; ++i) take(i);
    return values;
  }
  ReadSelection read = select_for_reading(a, subs);
  values.reserve(read.selection.count());
  read.selection.for_each([&](kxSize, kxSize position) { take(position); });
  return values;
}

std::vector<Value> field(const kxArray* a, const std::string& name) {
  require_operand(a);
  if (!kxIsStruct(a) && !kxIsObject(a))
    kx::raise("Korel:fieldRefFromNonStruct",
              "Dot indexing is not supported for variables of this type.");
  int number = kxGetFieldNumber(a, name.c_str());
  if (number < 0)
    kx::raise("Korel:undefinedField", "Unrecognized field name \"" + name + "\".");
  std::vector<Value> values;
  kxSize count = kxGetNumberOfElements(a);
  values.reserve(count);
  for (kxSize i = 0; i < count; ++i) {
    const kxArray* value = kxGetFieldByNumber(a, i, number);
    values.push_back(value ? Value::share(value) : make_empty_double());
  }
  return values;
}

}  // namespace krt::ops

// Writing through subscripts: target(...) = rhs, target{...} = rhs, target.name = rhs.
//
// Each assignment first takes its own hold on rhs: rhs may be the target itself or lie
// inside it, and the target may be replaced or written in place below. Holding it also
// makes the target's storage shared in that case, so make_writable() copies it first.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/operations.h"
#include "krt/array/scalar.h"
#include "krt/array/selection.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

[[noreturn]] void raise_conversion(const kxArray* target, const kxArray* rhs) {
  kx::raise("Korel:invalidConversion", "Conversion to " + type_name(target) + " from " +
                                           type_name(rhs) + " is not possible.");
}

// The class the target has after rhs is stored into part of it.
kxClassID assigned_class(const kxArray* target, const kxArray* rhs) {
  kxClassID rhs_cls = kxGetClassID(rhs);
  if (!target || is_empty_matrix(target)) return rhs_cls;
  kxClassID cls = kxGetClassID(target);
  switch (cls) {
    case kxCELL_CLASS:
      if (rhs_cls != kxCELL_CLASS)
        kx::raise("Korel:cellAssign",
                  "Conversion to cell from " + type_name(rhs) + " is not possible.");
      return cls;
    case kxSTRUCT_CLASS:
    case kxOBJECT_CLASS:
    case kxFUNCTION_CLASS:
    case kxOPAQUE_CLASS:
      if (rhs_cls != cls || type_name(rhs) != type_name(target)) raise_conversion(target, rhs);
      return cls;
    default:
      if (!is_value_class(rhs_cls)) raise_conversion(target, rhs);
      return assignment_value_class(cls, rhs_cls);
  }
}

// Calls copy.copy_run for every run of elements an array of shape `from` has along its
// first dimension, placing each where the same subscripts fall in shape `to`.
void copy_into_shape(const Shape& from, const Shape& to, const ElementCopier& copy) {
  std::size_t dims = std::max(from.size(), to.size());
  Shape source = padded(from, dims);
  Shape target = padded(to, dims);
  kxSize run = source[0];
  kxSize runs = run == 0 ? 0 : element_count(source) / run;
  std::vector<kxSize> counter(dims, 0);
  std::vector<kxSize> strides(dims, 1);
  for (std::size_t d = 1; d < dims; ++d) strides[d] = strides[d - 1] * target[d - 1];
  kxSize offset = 0;
  for (kxSize r = 0; r < runs; ++r) {
    copy.copy_run(offset, r * run, run);
    for (std::size_t d = 1; d < dims; ++d) {
      offset += strides[d];
      if (++counter[d] < source[d]) break;
      offset -= strides[d] * source[d];
      counter[d] = 0;
    }
  }
}

// A new target of class `cls` and `shape` holding the old target's elements where they
// were.
Value rebuilt(const kxArray* old, kxClassID cls, bool complex, const Shape& shape,
              const std::vector<std::string>& fields, const kxArray* rhs) {
  Value out;
  if (is_value_class(cls)) {
    out = make_values(cls, shape, complex);
  } else {
    const kxArray* model = old && kxGetClassID(old) == cls ? old : rhs;
    const char* class_name = kxGetObjectClassName(model);
    out = make_container(cls, shape, fields, class_name ? class_name : "");
  }
  if (!old || kxIsEmpty(old)) return out;
  const kxArray* source = old;
  Value converted;
  if (kxGetClassID(old) != cls) {
    converted = convert_values(old, cls, kxIsComplex(old));
    source = converted.get();
  }
  copy_into_shape(shape_of(old), shape, ElementCopier(source, out.get()));
  return out;
}

// The fields a struct target has after rhs goes in: its own, then those only rhs has.
std::vector<std::string> merged_fields(const kxArray* target, const kxArray* rhs) {
  std::vector<std::string> fields;
  if (target && kxGetClassID(target) == kxGetClassID(rhs)) fields = field_names(target);
  for (std::string& name : field_names(rhs))
    if (std::find(fields.begin(), fields.end(), name) == fields.end()) fields.push_back(name);
  return fields;
}

// The single element of a selection.
kxSize only_position(const WriteSelection& write) {
  kxSize position = 0;
  write.selection.for_each([&](kxSize, kxSize p) { position = p; });
  return position;
}

bool is_field_name(const std::string& name) {
  if (name.empty() || !std::isalpha(static_cast<unsigned char>(name[0]))) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  });
}

// target(i, ...) = v for a real scalar v of the target's own real value class, inside
// the target, when nobody else holds its storage: written where it is. False when the
// general path has to decide.
bool assign_in_place(kxArray* target, Subscripts subs, const kxArray* rhs) {
  if (!target || target->cls != rhs->cls || !is_value_class(target->cls) || target->sparse ||
      rhs->sparse || target->data->complex || rhs->data->complex ||
      kxGetNumberOfElements(rhs) != 1 || storage_is_shared(target))
    return false;
  kxSize position = 0;
  if (!scalar_position(target, subs, position)) return false;
  std::size_t size = kxGetElementSize(target);
  // memmove: rhs may be the target itself.
  std::memmove(target->data->real.as<unsigned char>() + position * size, rhs->data->real.data(),
              size);
  return true;
}

}  // namespace

void assign_index(Value& target, Subscripts subs, const kxArray* rhs_in) {
  require_operand(rhs_in);
  if (assign_in_place(target.get(), subs, rhs_in)) return;
  Value rhs_hold = Value::share(rhs_in);
  const kxArray* rhs = rhs_hold.get();
  require_dense(rhs);
  if (target) require_dense(target.get());
  if (subs.empty())
    kx::raise("Korel:badsubscript", "An indexed assignment needs at least one subscript.");
  kxClassID cls = assigned_class(target.get(), rhs);
  Shape old_shape = target ? shape_of(target.get()) : Shape{0, 0};
  Shape rhs_shape = shape_of(rhs);
  WriteSelection write = select_for_writing(old_shape, subs, rhs_shape);
  kxSize count = write.selection.count();
  kxSize given = element_count(rhs_shape);
  if (given != 1 && given != count)
    kx::raise("Korel:subsassignnumelmismatch",
              "Unable to perform assignment because the left and right sides have a different "
              "number of elements.");
  // Nothing is written and nothing grows: the target stays as it is.
  if (target && count == 0 && write.shape == old_shape) return;

  if (cls == kxFUNCTION_CLASS || cls == kxOPAQUE_CLASS) {
    // These have no arrays of themselves: only the one element can be replaced.
    if (count != 1 || write.shape != Shape{1, 1})
      kx::raise("Korel:functionHandle:Nonscalar",
                "Nonscalar arrays of function handles are not allowed; use cell arrays "
                "instead.");
    target = checked(kxDuplicateArray(rhs));
    return;
  }

  bool complex =
      is_value_class(cls) && ((target && kxIsComplex(target.get())) || kxIsComplex(rhs));
  if (complex && !is_float_class(cls))
    raise_complex_unsupported("Storing complex values into integers or text");
  std::vector<std::string> fields;
  bool new_fields = false;
  if (cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS) {
    fields = merged_fields(target.get(), rhs);
    new_fields = target && kxGetClassID(target.get()) == cls &&
                 kxGetNumberOfFields(target.get()) != static_cast<int>(fields.size());
    if (new_fields && cls == kxOBJECT_CLASS)
      kx::raise("Korel:invalidConversion", "Objects of class '" + type_name(rhs) +
                                               "' with different fields cannot be combined.");
  }
  bool rebuild = !target || kxGetClassID(target.get()) != cls || write.shape != old_shape ||
                 new_fields || (is_value_class(cls) && kxIsComplex(target.get()) != complex);
  if (rebuild)
    target = rebuilt(target.get(), cls, complex, write.shape, fields, rhs);
  else
    target.make_writable();

  const kxArray* source = rhs;
  Value converted;
  if (kxGetClassID(rhs) != cls) {
    converted = convert_values(rhs, cls, kxIsComplex(rhs));
    source = converted.get();
  }
  ElementCopier copy(source, target.get());
  write.selection.for_each(
      [&](kxSize k, kxSize position) { copy(position, given == 1 ? 0 : k); });
}

void assign_brace(Value& target, Subscripts subs, const kxArray* rhs_in) {
  require_operand(rhs_in);
  Value rhs = Value::share(rhs_in);
  if (target && !kxIsCell(target.get())) {
    // An empty value (as `x = []` leaves) becomes a cell; anything else is not one.
    if (!kxIsEmpty(target.get()) || !is_value_class(kxGetClassID(target.get())))
      kx::raise("Korel:cellAssignNonCell",
                "Unable to perform assignment because brace indexing is not supported for "
                "variables of this type.");
    target.reset();
  }
  if (subs.empty())
    kx::raise("Korel:braceAssign", "A brace assignment needs at least one subscript.");
  Shape old_shape = target ? shape_of(target.get()) : Shape{0, 0};
  WriteSelection write = select_for_writing(old_shape, subs, {1, 1});
  if (write.selection.count() != 1)
    kx::raise("Korel:braceAssign",
              "A brace assignment must select exactly one cell element; this one selects " +
                  std::to_string(write.selection.count()) + ".");
  if (!target || write.shape != old_shape)
    target = rebuilt(target.get(), kxCELL_CLASS, false, write.shape, {}, nullptr);
  else
    target.make_writable();
  put_cell(target.get(), only_position(write), rhs.get());
}

void assign_field(Value& target, const std::string& name, const kxArray* rhs_in) {
  require_operand(rhs_in);
  Value rhs = Value::share(rhs_in);
  if (!is_field_name(name))
    kx::raise("Korel:invalidFieldName", "Invalid field name \"" + name + "\".");
  if (!target || is_empty_matrix(target.get()))
    target = checked(kxCreateStructMatrix(1, 1, 0, nullptr));
  kxClassID cls = kxGetClassID(target.get());
  if (cls != kxSTRUCT_CLASS && cls != kxOBJECT_CLASS)
    kx::raise("Korel:fieldAssignNonStruct",
              "Unable to perform assignment because dot indexing is not supported for "
              "variables of this type.");
  kxSize count = kxGetNumberOfElements(target.get());
  if (count > 1)
    kx::raise("Korel:fieldAssignMultiple",
              "Scalar structure required for this assignment (this one has " +
                  std::to_string(count) + " elements).");
  if (cls == kxOBJECT_CLASS && kxGetFieldNumber(target.get(), name.c_str()) < 0)
    kx::raise("Korel:undefinedField", "Unrecognized field name \"" + name + "\".");
  if (count == 0) {
    // An empty struct array takes the value as its first and only element.
    const char* class_name = kxGetObjectClassName(target.get());
    target = make_container(cls, {1, 1}, field_names(target.get()),
                            class_name ? class_name : "");
  } else {
    target.make_writable();
  }
  int number = cls == kxSTRUCT_CLASS ? kxAddField(target.get(), name.c_str())
                                     : kxGetFieldNumber(target.get(), name.c_str());
  if (number < 0) checked(nullptr);  // raises the reason kxAddField recorded
  put_field(target.get(), 0, number, rhs.get());
}

}  // namespace krt::ops

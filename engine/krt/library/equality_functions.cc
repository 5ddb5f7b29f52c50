// isequal: equality of values across numeric classes.
#include <algorithm>
#include <string>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"

namespace krt::library::builtin {
namespace {

bool equal_values(const kxArray* a, const kxArray* b);

// Logical, char and numeric arrays are equal when they have the same shape and the
// same numbers (NaN equals nothing), whatever their classes, sparsity or complexity.
bool equal_numbers(const kxArray* a, const kxArray* b) {
  Value full_a = full(a);
  Value full_b = full(b);
  ElementReader x(full_a.get());
  ElementReader y(full_b.get());
  for (kxSize i = 0; i < x.size(); ++i)
    if (x.real(i) != y.real(i) || x.imag(i) != y.imag(i)) return false;
  return true;
}

// Cell elements and field values: an empty place is the empty double array.
bool equal_places(const kxArray* a, const kxArray* b) {
  if (a && b) return equal_values(a, b);
  const kxArray* other = a ? a : b;
  if (!other) return true;
  Value empty = make_empty_double();
  return equal_values(other, empty.get());
}

std::vector<std::string> sorted_field_names(const kxArray* s) {
  std::vector<std::string> names;
  for (int f = 0; f < kxGetNumberOfFields(s); ++f) names.push_back(kxGetFieldNameByNumber(s, f));
  std::sort(names.begin(), names.end());
  return names;
}

// Structs are equal when they have the same fields, in any order, with equal values.
bool equal_structs(const kxArray* a, const kxArray* b) {
  std::vector<std::string> names = sorted_field_names(a);
  if (names != sorted_field_names(b)) return false;
  for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i)
    for (const std::string& name : names)
      if (!equal_places(kxGetField(a, i, name.c_str()), kxGetField(b, i, name.c_str())))
        return false;
  return true;
}

bool equal_values(const kxArray* a, const kxArray* b) {
  if (shape_of(a) != shape_of(b)) return false;
  kxClassID ca = kxGetClassID(a), cb = kxGetClassID(b);
  if (is_value_class(ca) && is_value_class(cb)) return equal_numbers(a, b);
  if (ca != cb) return false;
  switch (ca) {
    case kxCELL_CLASS:
      for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i)
        if (!equal_places(kxGetCell(a, i), kxGetCell(b, i))) return false;
      return true;
    case kxOBJECT_CLASS:
      return std::string(kxGetObjectClassName(a)) == kxGetObjectClassName(b) &&
             equal_structs(a, b);
    case kxSTRUCT_CLASS: return equal_structs(a, b);
    default: return kxIsIdentical(a, b);  // handles and opaque values have no numbers
  }
}

}  // namespace

// isequal(a, b, ...): whether all the values are equal.
void isequal(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isequal", {2, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    bool equal = true;
    for (int k = 1; equal && k < call.input_count(); ++k)
      equal = equal_values(call.input(0), call.input(k));
    call.set_output(0, make_logical(equal));
  });
}

}  // namespace krt::library::builtin

// [a, b] and [a; b]: the class of the result, the parts' shapes, and the copy.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/operations.h"
#include "krt/array/shape.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

// What kind of array the result is; the first that any part calls for wins.
enum class Family { Cell, Struct, Object, Handle, Values };

bool is_zero_by_zero(const kxArray* a) {
  return kxGetNumberOfDimensions(a) == 2 && kxGetM(a) == 0 && kxGetN(a) == 0;
}

Family family_of(std::span<const kxArray* const> parts) {
  bool any_struct = false, any_object = false, any_handle = false;
  for (const kxArray* part : parts) {
    if (!part) continue;
    require_dense(part);
    switch (kxGetClassID(part)) {
      case kxCELL_CLASS: return Family::Cell;
      case kxSTRUCT_CLASS: any_struct = true; break;
      case kxOBJECT_CLASS: any_object = true; break;
      case kxFUNCTION_CLASS:
      case kxOPAQUE_CLASS: any_handle = true; break;
      default:
        if (!is_value_class(kxGetClassID(part)))
          kx::raise("Korel:catenate:unsupportedClass",
                    "Arrays of class '" + type_name(part) + "' cannot be concatenated.");
    }
  }
  if (any_struct && any_object)
    kx::raise("Korel:catenate:classMismatch",
              "Objects cannot be concatenated with structs.");
  if (any_struct) return Family::Struct;
  if (any_object) return Family::Object;
  if (any_handle) return Family::Handle;
  return Family::Values;
}

[[noreturn]] void raise_conversion(const char* to, const kxArray* from) {
  kx::raise("Korel:catenate:conversion",
            std::string("Conversion to ") + to + " from " + type_name(from) + " is not possible.");
}

bool same_field_set(const kxArray* a, const kxArray* b) {
  std::vector<std::string> x = field_names(a), y = field_names(b);
  return std::set<std::string>(x.begin(), x.end()) == std::set<std::string>(y.begin(), y.end());
}

// The arrays that go into the result, in order, all of its class, and what the result
// is made like.
struct Placed {
  std::vector<const kxArray*> arrays;
  std::vector<Value> held;  // arrays made here: wrapped or converted parts
  Value model;              // an empty array of the result's class (and fields)
};

Placed place_values(std::span<const kxArray* const> parts) {
  std::vector<kxClassID> classes;
  bool complex = false;
  for (const kxArray* part : parts) {
    if (!part) continue;
    // [] itself takes no part in deciding the class.
    if (!is_empty_matrix(part)) classes.push_back(kxGetClassID(part));
    complex |= kxIsComplex(part);
  }
  kxClassID cls = concatenation_class(classes);
  if (complex && !is_float_class(cls))
    raise_complex_unsupported("Concatenating complex values into integers or text");
  Placed placed;
  // The result is complex when any part is, even one that takes up no room.
  placed.model = make_values(cls, {0, 0}, complex);
  for (const kxArray* part : parts) {
    if (!part || is_zero_by_zero(part)) continue;
    if (kxGetClassID(part) == cls && kxIsComplex(part) == complex) {
      placed.arrays.push_back(part);
    } else {
      placed.held.push_back(convert_values(part, cls, complex));
      placed.arrays.push_back(placed.held.back().get());
    }
  }
  return placed;
}

Placed place_cells(std::span<const kxArray* const> parts) {
  Placed placed;
  placed.model = checked(kxCreateCellMatrix(0, 0));
  for (const kxArray* part : parts) {
    if (!part || is_zero_by_zero(part)) continue;
    if (kxIsCell(part)) {
      placed.arrays.push_back(part);
      continue;
    }
    Value wrapped = checked(kxCreateCellMatrix(1, 1));
    put_cell(wrapped.get(), 0, part);
    placed.held.push_back(std::move(wrapped));
    placed.arrays.push_back(placed.held.back().get());
  }
  return placed;
}

// Structs, or objects of one class: the same fields in each part, in any order.
Placed place_records(std::span<const kxArray* const> parts, kxClassID cls) {
  Placed placed;
  const kxArray* first = nullptr;
  for (const kxArray* part : parts) {
    if (!part || kxGetClassID(part) != cls) continue;
    if (!first) first = part;
  }
  for (const kxArray* part : parts) {
    if (!part || (is_zero_by_zero(part) && kxGetClassID(part) != cls)) continue;
    if (kxGetClassID(part) != cls) raise_conversion(kxGetClassName(first), part);
    if (cls == kxOBJECT_CLASS && type_name(part) != type_name(first))
      kx::raise("Korel:catenate:classMismatch", "Objects of classes '" + type_name(first) +
                                                    "' and '" + type_name(part) +
                                                    "' cannot be concatenated.");
    if (!same_field_set(part, first))
      kx::raise("Korel:catenate:structFieldBad",
                "Concatenation of structs requires that they have the same field names.");
    if (!is_zero_by_zero(part)) placed.arrays.push_back(part);
  }
  placed.model = make_blank_like(first, {0, 0});
  return placed;
}

Placed place_parts(std::span<const kxArray* const> parts) {
  switch (family_of(parts)) {
    case Family::Cell: return place_cells(parts);
    case Family::Struct: return place_records(parts, kxSTRUCT_CLASS);
    case Family::Object: return place_records(parts, kxOBJECT_CLASS);
    case Family::Values: return place_values(parts);
    case Family::Handle: break;
  }
  // A handle or opaque value concatenated with nothing is itself; two make an array of
  // them, which has no representation.
  const kxArray* only = nullptr;
  for (const kxArray* part : parts) {
    if (!part || is_empty_matrix(part)) continue;
    if (only || kxIsEmpty(part) || !(kxIsFunctionHandle(part) || kxIsOpaque(part)))
      kx::raise("Korel:catenate:functionHandle",
                "Nonscalar arrays of function handles are not allowed; use cell arrays "
                "instead.");
    only = part;
  }
  Placed placed;
  placed.held.push_back(checked(kxDuplicateArray(only)));
  placed.model = Value::share(only);
  placed.arrays.push_back(placed.held.back().get());
  return placed;
}

Value concatenate(std::span<const kxArray* const> parts, std::size_t along) {
  Placed placed = place_parts(parts);
  if (kxIsFunctionHandle(placed.model.get()) || kxIsOpaque(placed.model.get()))
    return std::move(placed.held.front());
  if (placed.arrays.empty()) return std::move(placed.model);

  std::size_t dims = along + 1;
  for (const kxArray* part : placed.arrays) dims = std::max(dims, kxGetNumberOfDimensions(part));
  Shape shape = padded(shape_of(placed.arrays.front()), dims);
  shape[along] = 0;
  for (const kxArray* part : placed.arrays) {
    Shape own = padded(shape_of(part), dims);
    for (std::size_t d = 0; d < dims; ++d) {
      if (d != along && own[d] != shape[d])
        kx::raise("Korel:catenate:dimensionMismatch",
                  "Dimensions of arrays being concatenated are not consistent.");
    }
    shape[along] += own[along];
    element_count(shape);  // raises when the sum no longer fits
  }

  Value out = make_blank_like(placed.model.get(), normalized(shape));
  // Each part contributes one run of elements per slice beyond the joined dimension.
  std::vector<ElementCopier> copiers;
  std::vector<kxSize> runs;
  kxSize slice = 0;
  for (const kxArray* part : placed.arrays) {
    copiers.emplace_back(part, out.get());
    Shape own = padded(shape_of(part), dims);
    kxSize run = 1;
    for (std::size_t d = 0; d <= along; ++d) run *= own[d];
    runs.push_back(run);
    slice += run;
  }
  kxSize slices = 1;
  for (std::size_t d = along + 1; d < dims; ++d) slices *= shape[d];
  for (kxSize s = 0; s < slices; ++s) {
    kxSize to = s * slice;
    for (std::size_t p = 0; p < copiers.size(); ++p) {
      copiers[p].copy_run(to, s * runs[p], runs[p]);
      to += runs[p];
    }
  }
  return out;
}

}  // namespace

Value horzcat(std::span<const kxArray* const> parts) { return concatenate(parts, 1); }

Value vertcat(std::span<const kxArray* const> parts) { return concatenate(parts, 0); }

}  // namespace krt::ops

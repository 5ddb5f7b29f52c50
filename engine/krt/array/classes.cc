#include "krt/array/classes.h"

#include "kx/error.h"

namespace krt::ops {

bool is_value_class(kxClassID cls) {
  return cls == kxLOGICAL_CLASS || cls == kxCHAR_CLASS ||
         (cls >= kxDOUBLE_CLASS && cls <= kxUINT64_CLASS);
}

bool is_integer_class(kxClassID cls) { return cls >= kxINT8_CLASS && cls <= kxUINT64_CLASS; }

bool is_float_class(kxClassID cls) { return cls == kxDOUBLE_CLASS || cls == kxSINGLE_CLASS; }

bool is_wide_integer_class(kxClassID cls) {
  return cls == kxINT64_CLASS || cls == kxUINT64_CLASS;
}

bool is_empty_matrix(const kxArray* a) {
  return kxIsDouble(a) && !kxIsComplex(a) && !kxIsSparse(a) && kxGetNumberOfDimensions(a) == 2 &&
         kxGetM(a) == 0 && kxGetN(a) == 0;
}

std::string type_name(const kxArray* a) {
  switch (kxGetClassID(a)) {
    case kxFUNCTION_CLASS: return "function_handle";
    case kxOBJECT_CLASS: return kxGetObjectClassName(a);
    default: return kxGetClassName(a);
  }
}

void raise_undefined_operator(std::string_view symbol, const kxArray* a) {
  kx::raise("Korel:UndefinedFunction", "Undefined operator '" + std::string(symbol) +
                                           "' for input arguments of type '" + type_name(a) +
                                           "'.");
}

void raise_complex_unsupported(std::string_view operation) {
  kx::raise("Korel:complex:Unsupported",
            std::string(operation) + " is not supported for complex values.");
}

void raise_sparse_unsupported() {
  kx::raise("Korel:sparse:Unsupported", "This operation is not supported for sparse arrays.");
}

void require_operand(const kxArray* a) {
  if (!a) kx::raise("Korel:ops:MissingOperand", "An operand has no value.");
}

void require_dense(const kxArray* a) {
  if (kxIsSparse(a)) raise_sparse_unsupported();
}

void require_values(const kxArray* a, std::string_view symbol) {
  require_operand(a);
  require_dense(a);
  if (!is_value_class(kxGetClassID(a))) raise_undefined_operator(symbol, a);
}

kxClassID arithmetic_class(kxClassID a, kxClassID b) {
  bool integer_a = is_integer_class(a);
  bool integer_b = is_integer_class(b);
  if (integer_a && integer_b && a != b)
    kx::raise("Korel:mixedIntegerClasses",
              "Integers can only be combined with integers of the same class, or scalar "
              "doubles.");
  if (integer_a) return a;
  if (integer_b) return b;
  if (a == kxSINGLE_CLASS || b == kxSINGLE_CLASS) return kxSINGLE_CLASS;
  return kxDOUBLE_CLASS;
}

kxClassID concatenation_class(std::span<const kxClassID> classes) {
  kxClassID first_integer = kxUNKNOWN_CLASS;
  bool any_char = false;
  bool any_single = false;
  bool all_logical = !classes.empty();
  for (kxClassID cls : classes) {
    any_char |= cls == kxCHAR_CLASS;
    any_single |= cls == kxSINGLE_CLASS;
    all_logical &= cls == kxLOGICAL_CLASS;
    if (first_integer == kxUNKNOWN_CLASS && is_integer_class(cls)) first_integer = cls;
  }
  if (any_char) return kxCHAR_CLASS;
  if (first_integer != kxUNKNOWN_CLASS) return first_integer;
  if (any_single) return kxSINGLE_CLASS;
  if (all_logical) return kxLOGICAL_CLASS;
  return kxDOUBLE_CLASS;
}

kxClassID assignment_value_class(kxClassID target, kxClassID rhs) {
  // A numeric target takes text and truth values as the numbers they are.
  bool numeric_target = target >= kxDOUBLE_CLASS && target <= kxUINT64_CLASS;
  if (numeric_target && (rhs == kxCHAR_CLASS || rhs == kxLOGICAL_CLASS)) return target;
  const kxClassID both[] = {target, rhs};
  return concatenation_class(both);
}

}  // namespace krt::ops

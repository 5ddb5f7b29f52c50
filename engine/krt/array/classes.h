// What the operations need to know about classes: which ones hold plain values, which
// class a mixed operation gives, and the errors for operands that do not fit.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "korel/kx.h"

namespace krt::ops {

// Logical, char and the numeric classes: arrays of plain values in a real block.
bool is_value_class(kxClassID cls);
bool is_integer_class(kxClassID cls);
bool is_float_class(kxClassID cls);
// int64 and uint64: a double cannot hold every value they can.
bool is_wide_integer_class(kxClassID cls);

// The class name an error message shows ("function_handle", an object's class).
std::string type_name(const kxArray* a);

[[noreturn]] void raise_undefined_operator(std::string_view symbol, const kxArray* a);
[[noreturn]] void raise_complex_unsupported(std::string_view operation);
[[noreturn]] void raise_sparse_unsupported();
// [] itself: a real 0-by-0 double.
bool is_empty_matrix(const kxArray* a);

// Raises for a missing operand (an engine fault rather than a user's).
void require_operand(const kxArray* a);
// Raises Korel:sparse:Unsupported for a sparse array.
void require_dense(const kxArray* a);
// Raises unless `a` is a dense array of a value class; `symbol` names the operator.
void require_values(const kxArray* a, std::string_view symbol);

// The class of an arithmetic result; different integer classes raise
// Korel:mixedIntegerClasses.
kxClassID arithmetic_class(kxClassID a, kxClassID b);
// The class that concatenating arrays of these value classes gives (double for none).
kxClassID concatenation_class(std::span<const kxClassID> classes);
// The class a value-class target keeps or takes when rhs is stored into part of it.
kxClassID assignment_value_class(kxClassID target, kxClassID rhs);

}  // namespace krt::ops

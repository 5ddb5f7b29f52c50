// The operations behind binary() and unary(), for the operands the fast paths leave.
#pragma once

#include "korel/kx.h"
#include "krt/array/value.h"
#include "krt/lang/ast.h"

namespace krt::ops {

// How error messages write the operator.
using lang::symbol_of;

// + - .* ./ .^ with implicit expansion.
Value arithmetic(lang::BinaryOp op, const kxArray* a, const kxArray* b);
// == ~= < <= > >=
Value comparison(lang::BinaryOp op, const kxArray* a, const kxArray* b);
// & |
Value elementwise_logic(lang::BinaryOp op, const kxArray* a, const kxArray* b);
// && || without short-circuiting: both operands must be logical scalars.
Value scalar_logic(lang::BinaryOp op, const kxArray* a, const kxArray* b);

// * / ^
Value matrix_product(const kxArray* a, const kxArray* b);
Value matrix_divide(const kxArray* a, const kxArray* b);
// a \ b: by a scalar a, element-wise; solving by a matrix is not there yet.
Value matrix_left_divide(const kxArray* a, const kxArray* b);
Value matrix_power(const kxArray* a, const kxArray* b);

Value negate(const kxArray* a);
Value unary_plus(const kxArray* a);
Value logical_not(const kxArray* a);
// ' (conjugate) and .' of 2-D arrays of any class.
Value transpose(const kxArray* a, bool conjugate);

}  // namespace krt::ops

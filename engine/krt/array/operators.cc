// binary() and unary(): a fast path for real double scalars, then the general operations.
#include <cmath>

#include "krt/array/elementwise.h"
#include "krt/array/operations.h"
#include "krt/array/scalar.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

using lang::BinaryOp;
using lang::UnaryOp;

// The result for two real double scalars without building any operand view; an empty
// Value where the general path has to decide (a complex power, NaN in a logical).
Value scalar_binary(BinaryOp op, double x, double y) {
  switch (op) {
    case BinaryOp::Add: return make_double(x + y);
    case BinaryOp::Sub: return make_double(x - y);
    case BinaryOp::MatMul:
    case BinaryOp::ElemMul: return make_double(x * y);
    case BinaryOp::MatDiv:
    case BinaryOp::ElemDiv: return make_double(x / y);
    case BinaryOp::LeftDiv:
    case BinaryOp::ElemLeftDiv: return make_double(y / x);
    case BinaryOp::MatPow:
    case BinaryOp::ElemPow:
      if (x < 0 && std::isfinite(y) && y != std::trunc(y)) return Value();
      return make_double(std::pow(x, y));
    case BinaryOp::Eq: return make_logical(x == y);
    case BinaryOp::Ne: return make_logical(x != y);
    case BinaryOp::Lt: return make_logical(x < y);
    case BinaryOp::Le: return make_logical(x <= y);
    case BinaryOp::Gt: return make_logical(x > y);
    case BinaryOp::Ge: return make_logical(x >= y);
    case BinaryOp::ElemAnd:
    case BinaryOp::AndAnd:
      if (std::isnan(x) || std::isnan(y)) return Value();
      return make_logical(x != 0 && y != 0);
    case BinaryOp::ElemOr:
    case BinaryOp::OrOr:
      if (std::isnan(x) || std::isnan(y)) return Value();
      return make_logical(x != 0 || y != 0);
  }
  return Value();
}

}  // namespace

Value binary(BinaryOp op, const kxArray* a, const kxArray* b) {
  if (is_real_double_scalar(a) && is_real_double_scalar(b)) {
    Value result = scalar_binary(op, scalar_value(a), scalar_value(b));
    if (result) return result;
  }
  switch (op) {
    case BinaryOp::Add:
    case BinaryOp::Sub:
    case BinaryOp::ElemMul:
    case BinaryOp::ElemDiv:
    case BinaryOp::ElemPow: return arithmetic(op, a, b);
    case BinaryOp::MatMul: return matrix_product(a, b);
    case BinaryOp::MatDiv: return matrix_divide(a, b);
    case BinaryOp::LeftDiv: return matrix_left_divide(a, b);
    case BinaryOp::ElemLeftDiv: return arithmetic(BinaryOp::ElemDiv, b, a);
    case BinaryOp::MatPow: return matrix_power(a, b);
    case BinaryOp::Eq:
    case BinaryOp::Ne:
    case BinaryOp::Lt:
    case BinaryOp::Le:
    case BinaryOp::Gt:
    case BinaryOp::Ge: return comparison(op, a, b);
    case BinaryOp::ElemAnd:
    case BinaryOp::ElemOr: return elementwise_logic(op, a, b);
    case BinaryOp::AndAnd:
    case BinaryOp::OrOr: return scalar_logic(op, a, b);
  }
  kx::raise("Korel:ops:Internal", "Unknown binary operator.");
}

Value unary(UnaryOp op, const kxArray* a) {
  if (is_real_double_scalar(a)) {
    double x = scalar_value(a);
    switch (op) {
      case UnaryOp::Negate: return make_double(-x);
      case UnaryOp::Plus:
      case UnaryOp::Transpose:
      case UnaryOp::DotTranspose: return make_double(x);
      case UnaryOp::Not:
        if (!std::isnan(x)) return make_logical(x == 0);
        break;
    }
  }
  switch (op) {
    case UnaryOp::Negate: return negate(a);
    case UnaryOp::Plus: return unary_plus(a);
    case UnaryOp::Not: return logical_not(a);
    case UnaryOp::Transpose: return transpose(a, true);
    case UnaryOp::DotTranspose: return transpose(a, false);
  }
  kx::raise("Korel:ops:Internal", "Unknown unary operator.");
}

}  // namespace krt::ops

// Binary and unary operators on real double scalars: what loops compute most, done
// without making arrays. Anything else goes to the array operations.
#pragma once

#include <cmath>

#include "krt/lang/ast.h"

namespace krt::lang {

// Whether op has a double-scalar form here (everything but the short-circuit operators).
constexpr bool has_scalar_form(BinaryOp op) {
  return op != BinaryOp::AndAnd && op != BinaryOp::OrOr;
}

// Whether op gives a logical result.
constexpr bool is_logical_op(BinaryOp op) {
  switch (op) {
    case BinaryOp::Eq: case BinaryOp::Ne: case BinaryOp::Lt: case BinaryOp::Le:
    case BinaryOp::Gt: case BinaryOp::Ge: case BinaryOp::ElemAnd: case BinaryOp::ElemOr:
    case BinaryOp::AndAnd: case BinaryOp::OrOr:
      return true;
    default: return false;
  }
}

// x^y for real doubles when the result is real; false when it would be complex (a
// negative base with a non-integer exponent), which the array path handles.
inline bool real_power(double x, double y, double& out) {
  if (y == 2) {
    out = x * x;
    return true;
  }
  if (x < 0 && y != std::floor(y) && std::isfinite(y)) return false;
  out = std::pow(x, y);
  return true;
}

// The result of a numeric op on two real doubles; false when the result is not a real
// double (a complex power), so the caller takes the array path.
template <BinaryOp Op>
inline bool scalar_numeric(double a, double b, double& out) {
  if constexpr (Op == BinaryOp::Add) out = a + b;
  else if constexpr (Op == BinaryOp::Sub) out = a - b;
  else if constexpr (Op == BinaryOp::MatMul || Op == BinaryOp::ElemMul) out = a * b;
  else if constexpr (Op == BinaryOp::MatDiv || Op == BinaryOp::ElemDiv) out = a / b;
  else if constexpr (Op == BinaryOp::LeftDiv || Op == BinaryOp::ElemLeftDiv) out = b / a;
  else if constexpr (Op == BinaryOp::MatPow || Op == BinaryOp::ElemPow) return real_power(a, b, out);
  else static_assert(Op == BinaryOp::Add, "not a numeric operator");
  return true;
}

template <BinaryOp Op>
inline bool scalar_logical(double a, double b) {
  if constexpr (Op == BinaryOp::Eq) return a == b;
  else if constexpr (Op == BinaryOp::Ne) return a != b;
  else if constexpr (Op == BinaryOp::Lt) return a < b;
  else if constexpr (Op == BinaryOp::Le) return a <= b;
  else if constexpr (Op == BinaryOp::Gt) return a > b;
  else if constexpr (Op == BinaryOp::Ge) return a >= b;
  else if constexpr (Op == BinaryOp::ElemAnd) return a != 0 && b != 0;
  else if constexpr (Op == BinaryOp::ElemOr) return a != 0 || b != 0;
  else static_assert(Op == BinaryOp::Eq, "not a logical operator");
}

}  // namespace krt::lang

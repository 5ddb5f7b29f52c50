// Relational and logical operators, and the truth of a condition. Results are logical.
#include <cmath>
#include <functional>
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/elementwise.h"
#include "krt/array/operations.h"
#include "krt/array/scalar.h"
#include "krt/array/shape.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

using lang::BinaryOp;

template <class T, class Op>
void compare_with(const Expansion& ex, const T* x, const T* y, kxLogical* out, Op op) {
  ex.for_each([&](kxSize i, kxSize j, kxSize k) { out[i] = op(x[j], y[k]) ? 1 : 0; });
}

template <class T>
void compare_kernel(BinaryOp op, const Expansion& ex, const T* x, const T* y, kxLogical* out) {
  switch (op) {
    case BinaryOp::Eq: compare_with(ex, x, y, out, std::equal_to<T>()); return;
    case BinaryOp::Ne: compare_with(ex, x, y, out, std::not_equal_to<T>()); return;
    case BinaryOp::Lt: compare_with(ex, x, y, out, std::less<T>()); return;
    case BinaryOp::Le: compare_with(ex, x, y, out, std::less_equal<T>()); return;
    case BinaryOp::Gt: compare_with(ex, x, y, out, std::greater<T>()); return;
    case BinaryOp::Ge: compare_with(ex, x, y, out, std::greater_equal<T>()); return;
    default: kx::raise("Korel:ops:Internal", "Not a relational operator.");
  }
}

[[noreturn]] void raise_logical_nan() {
  kx::raise("Korel:logicalNaN", "NaN's cannot be converted to logicals.");
}

void require_no_nan(const kxArray* a, const double* values) {
  if (!is_float_class(kxGetClassID(a))) return;
  kxSize count = kxGetNumberOfElements(a);
  for (kxSize i = 0; i < count; ++i)
    if (std::isnan(values[i])) raise_logical_nan();
}

void require_real(const kxArray* a, const char* symbol) {
  if (kxIsComplex(a)) raise_complex_unsupported(std::string("Operator '") + symbol + "'");
}

}  // namespace

Value comparison(BinaryOp op, const kxArray* a, const kxArray* b) {
  const char* symbol = symbol_of(op);
  require_values(a, symbol);
  require_values(b, symbol);
  Expansion ex(shape_of(a), shape_of(b));
  Value out = make_values(kxLOGICAL_CLASS, ex.shape(), false);
  kxLogical* result = kxGetLogicals(out.get());
  if (kxIsComplex(a) || kxIsComplex(b)) {
    if (op != BinaryOp::Eq && op != BinaryOp::Ne)
      raise_complex_unsupported(std::string("Operator '") + symbol + "'");
    DoubleValues x(a), y(b);
    const double* xi = x.im();
    const double* yi = y.im();
    kxLogical equal = op == BinaryOp::Eq ? 1 : 0;
    ex.for_each([&](kxSize i, kxSize j, kxSize k) {
      bool same = x.re()[j] == y.re()[k] && (xi ? xi[j] : 0.0) == (yi ? yi[k] : 0.0);
      result[i] = same ? equal : 1 - equal;
    });
    return out;
  }
  if (is_wide_integer_class(kxGetClassID(a)) || is_wide_integer_class(kxGetClassID(b))) {
    std::vector<long double> x = read_long_doubles(a);
    std::vector<long double> y = read_long_doubles(b);
    compare_kernel(op, ex, x.data(), y.data(), result);
    return out;
  }
  DoubleValues x(a), y(b);
  compare_kernel(op, ex, x.re(), y.re(), result);
  return out;
}

Value elementwise_logic(BinaryOp op, const kxArray* a, const kxArray* b) {
  const char* symbol = symbol_of(op);
  require_values(a, symbol);
  require_values(b, symbol);
  require_real(a, symbol);
  require_real(b, symbol);
  Expansion ex(shape_of(a), shape_of(b));
  DoubleValues x(a), y(b);
  require_no_nan(a, x.re());
  require_no_nan(b, y.re());
  Value out = make_values(kxLOGICAL_CLASS, ex.shape(), false);
  kxLogical* result = kxGetLogicals(out.get());
  const double* xr = x.re();
  const double* yr = y.re();
  if (op == BinaryOp::ElemAnd)
    ex.for_each([&](kxSize i, kxSize j, kxSize k) { result[i] = xr[j] != 0 && yr[k] != 0; });
  else
    ex.for_each([&](kxSize i, kxSize j, kxSize k) { result[i] = xr[j] != 0 || yr[k] != 0; });
  return out;
}

Value scalar_logic(BinaryOp op, const kxArray* a, const kxArray* b) {
  const char* symbol = symbol_of(op);
  for (const kxArray* operand : {a, b}) {
    require_values(operand, symbol);
    if (kxGetNumberOfElements(operand) != 1)
      kx::raise("Korel:nonLogicalConditional",
                std::string("Operands to the ") + symbol +
                    " operator must be convertible to logical scalar values.");
  }
  bool x = is_true(a);
  bool y = is_true(b);
  return make_logical(op == BinaryOp::AndAnd ? x && y : x || y);
}

Value logical_not(const kxArray* a) {
  require_values(a, "~");
  require_real(a, "~");
  DoubleValues x(a);
  require_no_nan(a, x.re());
  Shape shape = shape_of(a);
  Value out = make_values(kxLOGICAL_CLASS, shape, false);
  kxLogical* result = kxGetLogicals(out.get());
  kxSize count = element_count(shape);
  for (kxSize i = 0; i < count; ++i) result[i] = x.re()[i] == 0;
  return out;
}

bool is_true(const kxArray* a) {
  if (is_real_double_scalar(a)) {
    double v = scalar_value(a);
    if (std::isnan(v)) raise_logical_nan();
    return v != 0;
  }
  require_operand(a);
  require_dense(a);
  if (!is_value_class(kxGetClassID(a)))
    kx::raise("Korel:UndefinedFunction",
              "Conversion to logical from " + type_name(a) + " is not possible.");
  if (kxIsComplex(a)) raise_complex_unsupported("A condition");
  kxSize count = kxGetNumberOfElements(a);
  if (count == 0) return false;
  DoubleValues x(a);
  bool all = true;
  for (kxSize i = 0; i < count; ++i) {
    double v = x.re()[i];
    if (std::isnan(v)) raise_logical_nan();
    all &= v != 0;
  }
  return all;
}

}  // namespace krt::ops

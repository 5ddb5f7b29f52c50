// Matrix operators: the product of 2-D operands, division by a scalar and integer powers
// of square matrices. Products are computed in double.
#include <cmath>
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/elementwise.h"
#include "krt/array/shape.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

using lang::BinaryOp;

// A dense matrix in double; `im` is empty for a real one.
struct Matrix {
  kxSize rows = 0, cols = 0;
  std::vector<double> re, im;

  bool complex() const { return !im.empty(); }
};

Matrix matrix_of(const kxArray* a) {
  Matrix m;
  m.rows = kxGetM(a);
  m.cols = kxGetN(a);
  kxSize count = m.rows * m.cols;
  DoubleValues values(a);
  m.re.assign(values.re(), values.re() + count);
  if (values.im()) m.im.assign(values.im(), values.im() + count);
  return m;
}

Matrix identity(kxSize n) {
  Matrix m;
  m.rows = m.cols = n;
  m.re.assign(n * n, 0.0);
  for (kxSize i = 0; i < n; ++i) m.re[i + i * n] = 1;
  return m;
}

// c += sign * a * b, column by column so that the inner loop runs down columns.
void multiply_add(const std::vector<double>& a, const std::vector<double>& b, double sign,
                  kxSize m, kxSize p, kxSize n, std::vector<double>& c) {
  for (kxSize j = 0; j < n; ++j) {
    double* column = c.data() + j * m;
    for (kxSize k = 0; k < p; ++k) {
      double factor = sign * b[k + j * p];
      const double* a_column = a.data() + k * m;
      for (kxSize i = 0; i < m; ++i) column[i] += a_column[i] * factor;
    }
  }
}

// Real and imaginary parts multiply separately: a real factor adds no Inf*0 terms.
Matrix multiply(const Matrix& a, const Matrix& b) {
  Matrix c;
  c.rows = a.rows;
  c.cols = b.cols;
  kxSize count = element_count({c.rows, c.cols});
  c.re.assign(count, 0.0);
  multiply_add(a.re, b.re, 1, a.rows, a.cols, b.cols, c.re);
  if (a.complex() && b.complex()) multiply_add(a.im, b.im, -1, a.rows, a.cols, b.cols, c.re);
  if (a.complex() || b.complex()) {
    c.im.assign(count, 0.0);
    if (b.complex()) multiply_add(a.re, b.im, 1, a.rows, a.cols, b.cols, c.im);
    if (a.complex()) multiply_add(a.im, b.re, 1, a.rows, a.cols, b.cols, c.im);
  }
  return c;
}

Value value_of(const Matrix& m, kxClassID cls) {
  return values_from_doubles(cls, {m.rows, m.cols}, m.re.data(),
                             m.complex() ? m.im.data() : nullptr);
}

kxClassID matrix_result_class(const kxArray* a, const kxArray* b, const char* symbol) {
  kxClassID cls = arithmetic_class(kxGetClassID(a), kxGetClassID(b));
  if ((kxIsComplex(a) || kxIsComplex(b)) && !is_float_class(cls))
    raise_complex_unsupported(std::string("Operator '") + symbol + "' on integers");
  return cls;
}

}  // namespace

Value matrix_product(const kxArray* a, const kxArray* b) {
  require_values(a, "*");
  require_values(b, "*");
  if (kxGetNumberOfElements(a) == 1 || kxGetNumberOfElements(b) == 1)
    return arithmetic(BinaryOp::ElemMul, a, b);
  if (kxGetNumberOfDimensions(a) > 2 || kxGetNumberOfDimensions(b) > 2)
    kx::raise("Korel:mtimes:NotDefinedForND",
              "Arguments must be 2-D, or at least one argument must be scalar. Use TIMES (.*) "
              "for elementwise multiplication.");
  if (kxGetN(a) != kxGetM(b))
    kx::raise("Korel:innerdim", "Inner matrix dimensions must agree.");
  kxClassID cls = matrix_result_class(a, b, "*");
  return value_of(multiply(matrix_of(a), matrix_of(b)), cls);
}

Value matrix_divide(const kxArray* a, const kxArray* b) {
  require_values(a, "/");
  require_values(b, "/");
  if (kxGetNumberOfElements(b) == 1) return arithmetic(BinaryOp::ElemDiv, a, b);
  kx::raise("Korel:mrdivide:Unsupported",
            "Division by a matrix (solving a linear system) is not supported; divide by a "
            "scalar, or use ./ for element-wise division.");
}

Value matrix_left_divide(const kxArray* a, const kxArray* b) {
  require_values(a, "\\");
  require_values(b, "\\");
  if (kxGetNumberOfElements(a) == 1) return arithmetic(BinaryOp::ElemDiv, b, a);
  kx::raise("Korel:mldivide:Unsupported",
            "Left division by a matrix (solving a linear system) is not supported yet; divide "
            "by a scalar, or use .\\ for element-wise division.");
}

Value matrix_power(const kxArray* a, const kxArray* b) {
  require_values(a, "^");
  require_values(b, "^");
  bool scalar_base = kxGetNumberOfElements(a) == 1;
  bool scalar_exponent = kxGetNumberOfElements(b) == 1;
  if (scalar_base && scalar_exponent) return arithmetic(BinaryOp::ElemPow, a, b);
  bool square = kxGetNumberOfDimensions(a) == 2 && kxGetM(a) == kxGetN(a);
  double n = scalar_exponent && !kxIsComplex(b) ? kxGetScalar(b) : -1;
  if (!square || !(n >= 0) || !std::isfinite(n) || n != std::trunc(n))
    kx::raise("Korel:mpower:Unsupported",
              "Only a square matrix raised to a non-negative integer power is supported; use "
              ".^ for element-wise powers.");
  kxClassID cls = matrix_result_class(a, b, "^");
  Matrix base = matrix_of(a);
  Matrix result = identity(base.rows);
  for (double remaining = n; remaining > 0;) {
    if (std::fmod(remaining, 2) == 1) result = multiply(result, base);
    remaining = std::floor(remaining / 2);
    if (remaining > 0) base = multiply(base, base);
  }
  return value_of(result, cls);
}

}  // namespace krt::ops

// Element-wise arithmetic: + - .* ./ .^, unary minus and plus.
//
// Values are computed in double and converted to the result class, which rounds and
// saturates for the integer classes. int64 and uint64 are computed in long double, which
// holds all their values. Complex values (double and single) are computed in double.
#include <cmath>
#include <complex>
#include <functional>
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/elementwise.h"
#include "krt/array/shape.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

using lang::BinaryOp;
using Complex = std::complex<double>;

template <class T>
bool needs_complex_power(T base, T exponent) {
  return base < 0 && std::isfinite(exponent) && exponent != std::trunc(exponent);
}

template <class T, class Op>
void apply(const Expansion& ex, const T* x, const T* y, T* out, Op op) {
  ex.for_each([&](kxSize i, kxSize j, kxSize k) { out[i] = op(x[j], y[k]); });
}

template <class T>
void real_kernel(BinaryOp op, const Expansion& ex, const T* x, const T* y, T* out) {
  switch (op) {
    case BinaryOp::Add: apply(ex, x, y, out, std::plus<T>()); return;
    case BinaryOp::Sub: apply(ex, x, y, out, std::minus<T>()); return;
    case BinaryOp::ElemMul: apply(ex, x, y, out, std::multiplies<T>()); return;
    case BinaryOp::ElemDiv: apply(ex, x, y, out, std::divides<T>()); return;
    case BinaryOp::ElemPow:
      apply(ex, x, y, out, [](T a, T b) { return std::pow(a, b); });
      return;
    default: kx::raise("Korel:ops:Internal", "Not an element-wise arithmetic operator.");
  }
}

template <class T>
bool any_complex_power(const Expansion& ex, const T* x, const T* y) {
  bool any = false;
  ex.for_each([&](kxSize, kxSize j, kxSize k) { any |= needs_complex_power(x[j], y[k]); });
  return any;
}

// z^n for an integer n by repeated squaring: exact where the products are, unlike exp/log.
Complex integer_power(Complex z, double n) {
  bool invert = n < 0;
  double remaining = std::fabs(n);
  Complex result = 1;
  while (remaining > 0) {
    if (std::fmod(remaining, 2) == 1) result *= z;
    remaining = std::floor(remaining / 2);
    if (remaining > 0) z *= z;
  }
  return invert ? Complex(1) / result : result;
}

Complex complex_power(double ar, double ai, double br, double bi) {
  if (bi == 0 && std::isfinite(br) && br == std::trunc(br) && ai != 0)
    return integer_power(Complex(ar, ai), br);
  if (ai == 0 && bi == 0) {
    if (!needs_complex_power(ar, br)) return std::pow(ar, br);
    return std::pow(Complex(ar), br);
  }
  if (bi == 0) return std::pow(Complex(ar, ai), br);
  return std::pow(Complex(ar, ai), Complex(br, bi));
}

// Operands with a missing imaginary part are real: products and quotients with them are
// taken part by part, so that Inf*0 never appears where no imaginary part was.
Value complex_arithmetic(BinaryOp op, const Expansion& ex, const DoubleValues& x,
                         const DoubleValues& y, kxClassID cls) {
  const double* xr = x.re();
  const double* xi = x.im();
  const double* yr = y.re();
  const double* yi = y.im();
  std::vector<double> re(ex.count()), im(ex.count());
  auto x_im = [&](kxSize j) { return xi ? xi[j] : 0.0; };
  auto y_im = [&](kxSize k) { return yi ? yi[k] : 0.0; };
  switch (op) {
    case BinaryOp::Add:
      ex.for_each([&](kxSize i, kxSize j, kxSize k) {
        re[i] = xr[j] + yr[k];
        im[i] = x_im(j) + y_im(k);
      });
      break;
    case BinaryOp::Sub:
      ex.for_each([&](kxSize i, kxSize j, kxSize k) {
        re[i] = xr[j] - yr[k];
        im[i] = x_im(j) - y_im(k);
      });
      break;
    case BinaryOp::ElemMul:
      ex.for_each([&](kxSize i, kxSize j, kxSize k) {
        if (!xi) {
          re[i] = xr[j] * yr[k];
          im[i] = yi ? xr[j] * yi[k] : 0.0;
        } else if (!yi) {
          re[i] = xr[j] * yr[k];
          im[i] = xi[j] * yr[k];
        } else {
          re[i] = xr[j] * yr[k] - xi[j] * yi[k];
          im[i] = xr[j] * yi[k] + xi[j] * yr[k];
        }
      });
      break;
    case BinaryOp::ElemDiv:
      ex.for_each([&](kxSize i, kxSize j, kxSize k) {
        if (!yi) {
          re[i] = xr[j] / yr[k];
          im[i] = xi ? xi[j] / yr[k] : 0.0;
        } else {
          Complex q = Complex(xr[j], x_im(j)) / Complex(yr[k], yi[k]);
          re[i] = q.real();
          im[i] = q.imag();
        }
      });
      break;
    case BinaryOp::ElemPow:
      ex.for_each([&](kxSize i, kxSize j, kxSize k) {
        Complex p = complex_power(xr[j], x_im(j), yr[k], y_im(k));
        re[i] = p.real();
        im[i] = p.imag();
      });
      break;
    default: kx::raise("Korel:ops:Internal", "Not an element-wise arithmetic operator.");
  }
  return values_from_doubles(cls, ex.shape(), re.data(), im.data());
}

Value real_arithmetic(BinaryOp op, const Expansion& ex, const kxArray* a, const kxArray* b,
                      kxClassID cls) {
  DoubleValues x(a), y(b);
  if (op == BinaryOp::ElemPow && any_complex_power(ex, x.re(), y.re())) {
    if (is_integer_class(cls)) raise_complex_unsupported("An integer power with a complex result");
    return complex_arithmetic(op, ex, x, y, cls);
  }
  if (cls == kxDOUBLE_CLASS) {
    Value out = make_values(kxDOUBLE_CLASS, ex.shape(), false);
    real_kernel(op, ex, x.re(), y.re(), kxGetPr(out.get()));
    return out;
  }
  std::vector<double> out(ex.count());
  real_kernel(op, ex, x.re(), y.re(), out.data());
  return values_from_doubles(cls, ex.shape(), out.data(), nullptr);
}

Value wide_integer_arithmetic(BinaryOp op, const Expansion& ex, const kxArray* a,
                              const kxArray* b, kxClassID cls) {
  std::vector<long double> x = read_long_doubles(a);
  std::vector<long double> y = read_long_doubles(b);
  if (op == BinaryOp::ElemPow && any_complex_power(ex, x.data(), y.data()))
    raise_complex_unsupported("An integer power with a complex result");
  std::vector<long double> out(ex.count());
  real_kernel(op, ex, x.data(), y.data(), out.data());
  return values_from_long_doubles(cls, ex.shape(), out.data());
}

}  // namespace

Value arithmetic(BinaryOp op, const kxArray* a, const kxArray* b) {
  const char* symbol = symbol_of(op);
  require_values(a, symbol);
  require_values(b, symbol);
  kxClassID cls = arithmetic_class(kxGetClassID(a), kxGetClassID(b));
  Expansion ex(shape_of(a), shape_of(b));
  if (kxIsComplex(a) || kxIsComplex(b)) {
    if (!is_float_class(cls))
      raise_complex_unsupported(std::string("Operator '") + symbol + "' on integers");
    DoubleValues x(a), y(b);
    return complex_arithmetic(op, ex, x, y, cls);
  }
  if (is_wide_integer_class(cls)) return wide_integer_arithmetic(op, ex, a, b, cls);
  return real_arithmetic(op, ex, a, b, cls);
}

Value negate(const kxArray* a) {
  require_values(a, "-");
  kxClassID cls = arithmetic_class(kxGetClassID(a), kxDOUBLE_CLASS);
  Shape shape = shape_of(a);
  kxSize count = element_count(shape);
  if (is_wide_integer_class(cls)) {
    std::vector<long double> values = read_long_doubles(a);
    for (long double& v : values) v = -v;
    return values_from_long_doubles(cls, shape, values.data());
  }
  DoubleValues x(a);
  std::vector<double> re(x.re(), x.re() + count);
  for (double& v : re) v = -v;
  if (!x.im()) return values_from_doubles(cls, shape, re.data(), nullptr);
  std::vector<double> im(x.im(), x.im() + count);
  for (double& v : im) v = -v;
  return values_from_doubles(cls, shape, re.data(), im.data());
}

Value unary_plus(const kxArray* a) {
  require_values(a, "+");
  kxClassID cls = kxGetClassID(a);
  if (cls == kxCHAR_CLASS || cls == kxLOGICAL_CLASS)
    return convert_values(a, kxDOUBLE_CLASS, false);
  return checked(kxDuplicateArray(a));
}

}  // namespace krt::ops

// Element-wise arithmetic: abs floor ceil round fix sqrt mod rem.
#include <cmath>
#include <complex>
#include <string>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/elementwise.h"
#include "krt/library/shape.h"

namespace krt::library::builtin {
namespace {

// Logical and char compute as double; other classes keep theirs.
kxClassID result_class(kxClassID cls) {
  return cls == kxLOGICAL_CLASS || cls == kxCHAR_CLASS ? kxDOUBLE_CLASS : cls;
}

// op applied to the real and imaginary parts of every element of input 0.
template <class Op>
Value map_parts(const Call& call, Op op) {
  require_values(call, 0);
  const kxArray* a = call.input(0);
  kxClassID cls = result_class(kxGetClassID(a));
  Value dense = full(a);
  ElementReader r(dense.get());
  Value out = make_numeric(cls, shape_of(a), r.complex());
  void* real = kxGetData(out.get());
  void* imag = kxGetImagData(out.get());
  with_compute_type(cls, [&](auto t) {
    using C = decltype(t);
    for (kxSize i = 0; i < r.size(); ++i) {
      store_wide(real, cls, i, static_cast<Wide>(op(static_cast<C>(r.real(i)))));
      if (imag) store_wide(imag, cls, i, static_cast<Wide>(op(static_cast<C>(r.imag(i)))));
    }
  });
  return out;
}

template <class Op>
void rounding(const char* name, Op, lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run(name, {1, 1, 1}, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, map_parts(call, [](auto x) { return Op{}(x); }));
  });
}

struct Floor {
  template <class C> C operator()(C x) const { return std::floor(x); }
};
struct Ceil {
  template <class C> C operator()(C x) const { return std::ceil(x); }
};
struct Round {  // halves away from zero
  template <class C> C operator()(C x) const { return std::round(x); }
};
struct Fix {
  template <class C> C operator()(C x) const { return std::trunc(x); }
};

// The magnitude of every element; integer classes saturate (abs(int8(-128)) is 127).
Value magnitudes(const Call& call) {
  require_values(call, 0);
  const kxArray* a = call.input(0);
  if (!kxIsComplex(a)) return map_parts(call, [](auto x) { return std::fabs(x); });
  kxClassID cls = result_class(kxGetClassID(a));
  Value dense = full(a);
  ElementReader r(dense.get());
  Value out = make_numeric(cls, shape_of(a));
  void* data = kxGetData(out.get());
  with_compute_type(cls, [&](auto t) {
    using C = decltype(t);
    for (kxSize i = 0; i < r.size(); ++i) {
      C magnitude = std::hypot(static_cast<C>(r.real(i)), static_cast<C>(r.imag(i)));
      store_wide(data, cls, i, static_cast<Wide>(magnitude));
    }
  });
  return out;
}

// Square roots; negative real elements make the whole result complex.
Value square_roots(const Call& call) {
  require_values(call, 0);
  const kxArray* a = call.input(0);
  kxClassID cls = result_class(kxGetClassID(a));
  if (is_integer_class(cls))
    call.fail("badType", "sqrt is not defined for the integer class " +
                             std::string(kxGetClassNameFromID(cls)) +
                             "; convert to double first.");
  Value dense = full(a);
  ElementReader r(dense.get());
  bool complex = r.complex();
  for (kxSize i = 0; !complex && i < r.size(); ++i) complex = r.real(i) < 0;
  Value out = make_numeric(cls, shape_of(a), complex);
  void* real = kxGetData(out.get());
  void* imag = kxGetImagData(out.get());
  with_compute_type(cls, [&](auto t) {
    using C = decltype(t);
    for (kxSize i = 0; i < r.size(); ++i) {
      std::complex<C> root = std::sqrt(
          std::complex<C>(static_cast<C>(r.real(i)), static_cast<C>(r.imag(i))));
      if (!r.complex() && r.real(i) >= 0) root = {std::sqrt(static_cast<C>(r.real(i))), 0};
      store_wide(real, cls, i, static_cast<Wide>(root.real()));
      if (imag) store_wide(imag, cls, i, static_cast<Wide>(root.imag()));
    }
  });
  return out;
}

// mod(x, y) has the sign of y: x - floor(x / y) * y; mod(x, 0) is x.
template <class C>
C modulo(C x, C y) {
  if (y == 0) return x;
  C r = std::fmod(x, y);
  if (r != 0 && (r < 0) != (y < 0)) r += y;
  return r;
}

// rem(x, y) has the sign of x: x - fix(x / y) * y; rem(x, 0) is NaN (0 for integers).
template <class C>
C remainder_of(C x, C y) {
  return std::fmod(x, y);
}

// A real double scalar argument (and another for the two-argument functions), at most one
// output asked: what loops pass, answered without making arrays.
bool scalar_call(int nargout, const lang::ValueList& in, double& x) {
  if (nargout > 1 || in.size() != 1 || !in[0].is_number()) return false;
  x = in[0].number_value();
  return true;
}
bool scalar_pair(int nargout, const lang::ValueList& in, double& x, double& y) {
  if (nargout > 1 || in.size() != 2 || !in[0].is_number() || !in[1].is_number()) return false;
  x = in[0].number_value();
  y = in[1].number_value();
  return true;
}

}  // namespace

void abs(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x; scalar_call(nargout, inputs, x)) return outputs.push_back(Value::number(std::fabs(x)));
  run("abs", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, magnitudes(call)); });
}

void floor(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x; scalar_call(nargout, inputs, x)) return outputs.push_back(Value::number(std::floor(x)));
  rounding("floor", Floor{}, context, nargout, outputs, inputs);
}
void ceil(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x; scalar_call(nargout, inputs, x)) return outputs.push_back(Value::number(std::ceil(x)));
  rounding("ceil", Ceil{}, context, nargout, outputs, inputs);
}
void round(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x; scalar_call(nargout, inputs, x)) return outputs.push_back(Value::number(std::round(x)));
  rounding("round", Round{}, context, nargout, outputs, inputs);
}
void fix(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x; scalar_call(nargout, inputs, x)) return outputs.push_back(Value::number(std::trunc(x)));
  rounding("fix", Fix{}, context, nargout, outputs, inputs);
}

void sqrt(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x; scalar_call(nargout, inputs, x) && !(x < 0)) return outputs.push_back(Value::number(std::sqrt(x)));
  run("sqrt", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, square_roots(call)); });
}

void mod(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x, y; scalar_pair(nargout, inputs, x, y)) return outputs.push_back(Value::number(modulo(x, y)));
  run("mod", {2, 2, 1}, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, combine(call, [](auto x, auto y) { return modulo(x, y); }));
  });
}

void rem(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  if (double x, y; scalar_pair(nargout, inputs, x, y)) return outputs.push_back(Value::number(remainder_of(x, y)));
  run("rem", {2, 2, 1}, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, combine(call, [](auto x, auto y) { return remainder_of(x, y); }));
  });
}

}  // namespace krt::library::builtin

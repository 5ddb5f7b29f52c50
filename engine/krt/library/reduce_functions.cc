// Reductions along a dimension: sum prod any all.
#include <cmath>
#include <complex>
#include <string>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/reduction.h"

namespace krt::library::builtin {
namespace {

// Sums and products: double for double, logical and char; single for single; integer
// classes in their own class, worked out exactly and saturated at the end.
Value accumulate(const Call& call, bool product) {
  require_values(call, 0);
  const kxArray* a = call.input(0);
  kxClassID cls = kxGetClassID(a);
  if (cls == kxLOGICAL_CLASS || cls == kxCHAR_CLASS) cls = kxDOUBLE_CLASS;
  if (kxIsComplex(a) && is_integer_class(cls))
    call.fail("complex", std::string(call.name()) + " of complex integers is not supported.");
  Reduction plan = plan_reduction(call, 1, EmptySlices::kGiveValue);
  Value dense = full(a);
  ElementReader r(dense.get());
  Value out = make_numeric(cls, plan.result, r.complex());
  void* real = kxGetData(out.get());
  void* imag = kxGetImagData(out.get());
  auto reduce_in = [&](auto t) {
    using A = decltype(t);
    for_each_slice(plan.slices, [&](kxSize o, kxSize first, kxSize stride) {
      if (!r.complex()) {
        A total = product ? 1 : 0;
        for (kxSize k = 0; k < plan.slices.along; ++k) {
          A v = static_cast<A>(r.real(first + k * stride));
          total = product ? total * v : total + v;
        }
        store_wide(real, cls, o, total);
        return;
      }
      std::complex<A> total = product ? 1 : 0;
      for (kxSize k = 0; k < plan.slices.along; ++k) {
        kxSize i = first + k * stride;
        std::complex<A> v(static_cast<A>(r.real(i)), static_cast<A>(r.imag(i)));
        total = product ? total * v : total + v;
      }
      store_wide(real, cls, o, total.real());
      store_wide(imag, cls, o, total.imag());
    });
  };
  // Integers in Wide hold every 64-bit value; sums of doubles stay in double so that
  // sum([a b]) is a + b.
  if (is_integer_class(cls)) {
    reduce_in(Wide{});
  } else {
    reduce_in(double{});
  }
  return out;
}

// any: some element is non-zero (NaN does not count); all: every element is non-zero.
Value truth(const Call& call, bool every) {
  require_values(call, 0);
  Reduction plan = plan_reduction(call, 1, EmptySlices::kGiveValue);
  Value dense = full(call.input(0));
  ElementReader r(dense.get());
  Value out = checked(kxCreateLogicalArray(plan.result.size(), plan.result.data()));
  kxLogical* data = kxGetLogicals(out.get());
  for_each_slice(plan.slices, [&](kxSize o, kxSize first, kxSize stride) {
    bool result = every;
    for (kxSize k = 0; k < plan.slices.along; ++k) {
      kxSize i = first + k * stride;
      bool counts = r.nonzero(i) && (every || !std::isnan(r.real(i)));
      if (counts != every) {
        result = !every;
        break;
      }
    }
    data[o] = result;
  });
  return out;
}

}  // namespace

void sum(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("sum", {1, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, accumulate(call, false)); });
}

void prod(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("prod", {1, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, accumulate(call, true)); });
}

void any(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("any", {1, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, truth(call, false)); });
}

void all(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("all", {1, 2, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, truth(call, true)); });
}

}  // namespace krt::library::builtin

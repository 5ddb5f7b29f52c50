// max and min: along a dimension with the positions, or of two arrays element by element.
#include <cmath>
#include <limits>
#include <string>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/elementwise.h"
#include "krt/library/reduction.h"

namespace krt::library::builtin {
namespace {

// Whether v takes the place of the best so far.
bool better(Wide v, Wide best, bool largest) { return largest ? v > best : v < best; }

// [m, i] = max(x) or max(x, [], dim): the extreme of every slice, NaN left out unless
// the slice has nothing else, and the position (from 1) of its first occurrence.
void extremes_along(Call& call, bool largest) {
  require_real_values(call, 0);
  const kxArray* a = call.input(0);
  kxClassID cls = kxGetClassID(a);
  if (cls == kxLOGICAL_CLASS || cls == kxCHAR_CLASS) cls = kxDOUBLE_CLASS;
  Reduction plan = plan_reduction(call, 2, EmptySlices::kGiveNothing);
  Value dense = full(a);
  ElementReader r(dense.get());
  Value values = make_numeric(cls, plan.result);
  Value positions = make_numeric(kxDOUBLE_CLASS, plan.result);
  void* data = kxGetData(values.get());
  double* where = kxGetPr(positions.get());
  if (plan.slices.along > 0) {
    for_each_slice(plan.slices, [&](kxSize o, kxSize first, kxSize stride) {
      Wide best = std::numeric_limits<Wide>::quiet_NaN();
      kxSize at = 0;
      for (kxSize k = 0; k < plan.slices.along; ++k) {
        Wide v = r.real(first + k * stride);
        if (std::isnan(v) || (!std::isnan(best) && !better(v, best, largest))) continue;
        best = v;
        at = k;
      }
      store_wide(data, cls, o, best);
      where[o] = static_cast<double>(at + 1);
    });
  }
  call.set_output(0, std::move(values));
  if (call.output_count() > 1) call.set_output(1, std::move(positions));
}

// max(a, b): the larger of each pair, a NaN giving way to the other value.
void extremes_of_pairs(Call& call, bool largest) {
  if (call.requested_outputs() > 1)
    call.fail("tooManyOutputs", std::string(call.name()) +
                                    " of two arrays gives one output, without positions.");
  call.set_output(0, combine(call, [largest](auto x, auto y) {
                    if (std::isnan(x)) return y;
                    if (std::isnan(y)) return x;
                    return (largest ? y > x : y < x) ? y : x;
                  }));
}

void extremes(Call& call, bool largest) {
  if (call.input_count() == 1) return extremes_along(call, largest);
  if (call.input_count() == 2) return extremes_of_pairs(call, largest);
  if (!kxIsEmpty(call.input(1)) || kxIsCell(call.input(1)))
    call.fail("badArguments", std::string("With a dimension, the second input of ") +
                                  call.name() + " must be [].");
  extremes_along(call, largest);
}

}  // namespace

void max(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("max", {1, 3, 2}, context, nargout, outputs, inputs, [](Call& call) { extremes(call, true); });
}

void min(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("min", {1, 3, 2}, context, nargout, outputs, inputs, [](Call& call) { extremes(call, false); });
}

}  // namespace krt::library::builtin

// Calling Korel functions by name, in each convention hosts and generated code use.
#include <climits>
#include <cstdarg>
#include <cstdlib>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/platform/argument_list.h"
#include "kclkrt/platform/owned_array.h"
#include "kclkrt/platform/owned_array_list.h"
#include "kclkrt/runtime/error_mode_guard.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"

namespace {

using kcl::ArgumentList;
using kcl::OwnedArray;

// The inputs of a compiled-function call: the caller's, where a trailing list
// input is dropped when null and spread out when it is a cell array (its first row's
// elements, as shared copies the list owns). Any other last input stays one input.
class SpreadInputs {
 public:
  SpreadInputs(kxArray** inputs, int count, bool last_is_list)
      : SpreadInputs(inputs, layout(inputs, count, last_is_list)) {}

  int count() const { return static_cast<int>(list_.size()); }
  kxArray** data() { return list_.data(); }

 private:
  struct Layout {
    std::size_t kept = 0;            // caller's inputs passed as they are
    const kxArray* cell = nullptr;   // the list to spread, if any
    std::size_t spread = 0;          // how many of its elements
  };

  static Layout layout(kxArray** inputs, int count, bool last_is_list) {
    Layout l;
    l.kept = static_cast<std::size_t>(count);
    if (!last_is_list || count < 1) return l;
    const kxArray* last = inputs[count - 1];
    if (last && !kxIsCell(last)) return l;
    l.kept = static_cast<std::size_t>(count) - 1;
    if (!last) return l;
    l.cell = last;
    // The list is expected as a row: one input per column, at most one per element.
    kxSize columns = kxGetN(last);
    kxSize elements = kxGetNumberOfElements(last);
    l.spread = columns < elements ? columns : elements;
    return l;
  }

  SpreadInputs(kxArray** inputs, Layout l) : spread_(l.spread), list_(l.kept + l.spread) {
    for (std::size_t i = 0; i < l.kept; ++i) list_[i] = inputs[i];
    for (std::size_t j = 0; j < l.spread; ++j) {
      const kxArray* element = kxGetCell(l.cell, j);
      // An empty place of the cell is an empty array to the function.
      spread_[j].reset(element ? kxCreateSharedDataCopy(element) : kxCreateEmptyArray(kxDOUBLE_CLASS));
      list_[l.kept + j] = spread_[j].get();
    }
  }

  ArgumentList<OwnedArray> spread_;
  ArgumentList<kxArray*> list_;
};

bool compiled_function_call(krtInstance* instance, const char* name, int nargout, int nout, int nin,
                            kxArray** args) {
  if (nout == INT_MIN || nin == INT_MIN) return false;
  const int out_slots = std::abs(nout);
  const int in_count = std::abs(nin);
  if (!args && out_slots + in_count > 0) return false;

  kxArray** caller_inputs = args ? args + out_slots : nullptr;
  SpreadInputs inputs(caller_inputs, in_count, nin < 0);
  // Results not handed on are destroyed with the list.
  kcl::OwnedArrayList results(nargout > 1 ? static_cast<std::size_t>(nargout) : 1);
  const bool ok = kclInternalFeval(instance, name, nargout, results.data(), inputs.count(), inputs.data());
  if (!ok) return false;
  if (nargout < 1 || out_slots < 1) return true;

  OwnedArray packed;
  const bool packing = nout < 0 && nargout >= out_slots;
  if (packing) {
    packed.reset(kclCreateCellArrayFromArrayList(nargout - out_slots + 1, results.data() + out_slots - 1));
    if (!packed) return false;
  }
  const int delivered = out_slots < nargout ? out_slots : nargout;
  for (int i = 0; i < delivered; ++i) {
    OwnedArray value(packing && i == out_slots - 1 ? packed.release() : results.take(i));
    auto slot = reinterpret_cast<kxArray**>(args[i]);
    if (!slot) continue;
    if (*slot) {
      kxDestroyArray(*slot);
      *slot = nullptr;
    }
    *slot = value.release();
  }
  return true;
}

}  // namespace

bool kclInternalFeval(krtInstance* instance, const char* name, int nargout, kxArray** outputs, int nargin,
                      kxArray** inputs) {
  krtInstance* target = instance ? instance : krtInstance::GetKRT();
  if (!target) return false;
  return kcl::guarded_call(false,
                           [&] { return target->CallKorelFunction(name, nargout, outputs, nargin, inputs); });
}

bool kclFeval(krtInstance* instance, const char* name, int nargout, kxArray** outputs, int nargin,
              kxArray** inputs) {
  kcl::ErrorModeGuard error_mode(-1);
  if (nargout != 0) return kclInternalFeval(instance, name, nargout, outputs, nargin, inputs);
  // Nothing was asked for, so whatever the function left is discarded.
  kxArray* discard[1] = {nullptr};
  bool ok = kclInternalFeval(instance, name, 0, discard, nargin, inputs);
  kclFreeArrayList(1, discard);
  return ok;
}

bool kclKexFeval(krtInstance* instance, const char* name, int nargout, kxArray** outputs, int nargin,
                 kxArray** inputs) {
  if (nargin < 1 || !inputs) return kclFeval(instance, name, nargout, outputs, nargin, inputs);
  return kcl::guarded_call(false, [&] {
    ArgumentList<kxArray*> copy(static_cast<std::size_t>(nargin));
    for (int i = 0; i < nargin; ++i) copy[i] = inputs[i];
    return kclFeval(instance, name, nargout, outputs, nargin, copy.data());
  });
}

bool kclKlfVFeval(krtInstance* instance, const char* name, int nargout, int nout, int nin, kxArray** args) {
  return kcl::guarded_call(false, [&] { return compiled_function_call(instance, name, nargout, nout, nin, args); });
}

bool kclKlfFeval(krtInstance* instance, const char* name, int nargout, int nout, int nin, ...) {
  if (nout == INT_MIN || nin == INT_MIN) return false;
  const int out_slots = std::abs(nout);
  const int in_count = std::abs(nin);
  va_list trailing;
  va_start(trailing, nin);
  const bool ok = kcl::guarded_call(false, [&] {
    ArgumentList<kxArray*> args(static_cast<std::size_t>(out_slots) + static_cast<std::size_t>(in_count));
    for (int i = 0; i < out_slots; ++i) args[i] = reinterpret_cast<kxArray*>(va_arg(trailing, kxArray**));
    for (int i = 0; i < in_count; ++i) args[out_slots + i] = va_arg(trailing, kxArray*);
    return compiled_function_call(instance, name, nargout, nout, nin, args.data());
  });
  va_end(trailing);
  return ok;
}

#include "krt/gateway.h"

#include <algorithm>
#include <vector>

#include "kx/array.h"
#include "kx/error.h"
#include "kx/scope.h"

namespace krt {
namespace {

// A returned array the caller cannot own as it stands: an input, an element of a
// container, or an array returned twice.
bool needs_own_copy(kxArray* const* plhs, int i, int nargin, kxArray* const* inputs) {
  kxArray* a = plhs[i];
  if (a->contained) return true;
  if (std::find(inputs, inputs + nargin, a) != inputs + nargin) return true;
  return std::find(plhs, plhs + i, a) != plhs + i;
}

}  // namespace

void call_native(kxNativeFunction fn, std::string_view name, int nargout,
                 kxArray** outputs, int nargin, kxArray* const* inputs) {
  const int slots = std::max(nargout, 1);
  kxArray* local[8] = {};
  std::vector<kxArray*> heap;
  kxArray** plhs = local;
  if (slots > 8) {
    heap.assign(slots, nullptr);
    plhs = heap.data();
  }
  {
    kx::TemporaryScope scope;
    fn(nargout, plhs, nargin, const_cast<kxArray**>(inputs));
    for (int i = 0; i < nargout; ++i)
      if (!plhs[i])
        kx::raise("Korel:unassignedOutputs",
                  "One or more output arguments not assigned during call to '" +
                      std::string(name) + "'.");
    for (int i = 0; i < slots; ++i) {
      if (!plhs[i]) continue;
      if (needs_own_copy(plhs, i, nargin, inputs)) {
        plhs[i] = kxCreateSharedDataCopy(plhs[i]);
        if (!plhs[i]) kx::raise("Korel:kx:OutOfMemory", "Out of memory.");
      }
    }
    // Everything returned leaves the scope before it sweeps the rest.
    for (int i = 0; i < slots; ++i)
      if (plhs[i]) kxSetArrayScope(plhs[i], kxPERSISTENT_SCOPE);
  }
  std::copy(plhs, plhs + slots, outputs);
}

}  // namespace krt

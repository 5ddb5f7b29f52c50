// tic and toc: a stopwatch per instance, or one per id that tic gives.
#include <chrono>
#include <cstdio>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "kx/error.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

// Microseconds on a clock that never goes back: what a tic id holds.
uint64_t now() {
  auto since = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(since).count());
}

void tic(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "tic");
  check_outputs(nargout, 1, "tic");
  const uint64_t start = now();
  if (nargout == 0) {
    instance_of(c).stopwatch = start;
    return;
  }
  Value id = checked(kxCreateNumericMatrix(1, 1, kxUINT64_CLASS, kxREAL));
  *static_cast<uint64_t*>(kxGetData(id.get())) = start;
  out.push_back(std::move(id));
}

void toc(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 1, "toc");
  check_outputs(nargout, 1, "toc");
  uint64_t start = 0;
  if (in.empty()) {
    if (!instance_of(c).stopwatch)
      kx::raise("Korel:toc:callTicFirst",
                "You must call tic without an output argument before calling toc without an "
                "input argument.");
    start = *instance_of(c).stopwatch;
  } else {
    const kxArray* id = in[0].get();
    if (kxGetClassID(id) != kxUINT64_CLASS || kxGetNumberOfElements(id) != 1 || kxIsComplex(id))
      kx::raise("Korel:toc:badId", "The input of toc must be an id that tic returned.");
    start = *static_cast<const uint64_t*>(kxGetData(id));
  }
  const uint64_t end = now();
  const double seconds = end >= start ? static_cast<double>(end - start) / 1e6 : 0.0;
  if (nargout > 0) return out.push_back(make_double(seconds));
  char line[64];
  std::snprintf(line, sizeof line, "Elapsed time is %.6f seconds.\n", seconds);
  instance_of(c).print(line);
}

}  // namespace

const lang::IntrinsicEntry kTimingFunctions[] = {
    {"tic", tic, "Starts a stopwatch; with an output, gives its id (uint64) for toc(id) instead."},
    {"toc", toc,
     "Seconds since tic (or toc(id) since that tic); prints 'Elapsed time is X seconds.' "
     "without an output."},
    {nullptr, nullptr}};

}  // namespace krt::builtins

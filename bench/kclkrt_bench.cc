// Costs of the runtime's small, frequent operations: the last-error hand-over that
// every failed array call makes, path building, and macro lookup.
#include <benchmark/benchmark.h>

#include "kclkrt/paths/path_macros.h"
#include "kclkrt/paths/path_string.h"
#include "korel/kclkrt.h"
#include "korel/ref_count_obj.h"

namespace {

// Anchor: an opaque call that does nothing, for scale.
__attribute__((noinline)) int direct_call(int x) {
  benchmark::DoNotOptimize(x);
  return x;
}

void BM_DirectCall(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(direct_call(1));
}
BENCHMARK(BM_DirectCall);

void BM_LastErrorRoundTrip(benchmark::State& state) {
  for (auto _ : state) {
    kclcppSetLastError("index out of range");
    void* err = nullptr;
    kclcppGetLastError(&err);
    ref_count_obj_release(static_cast<error_info*>(err));
  }
}
BENCHMARK(BM_LastErrorRoundTrip);

void BM_ErrorCheckNothingPending(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(kclcppErrorCheck());
}
BENCHMARK(BM_ErrorCheckNothingPending);

void BM_PathJoin(benchmark::State& state) {
  for (auto _ : state) {
    dsPathString_ p("/home/user/.korel");
    p.join("krt_v10").join("component_key").join(".created.ts");
    benchmark::DoNotOptimize(p.c_str());
  }
}
BENCHMARK(BM_PathJoin);

void BM_CanonicalPath(benchmark::State& state) {
  for (auto _ : state) {
    dsPathString_ p = dsPathString_::canonical("/opt/korel/toolbox/../toolbox/./korel");
    benchmark::DoNotOptimize(p.c_str());
  }
}
BENCHMARK(BM_CanonicalPath);

void BM_MacroExpansion(benchmark::State& state) {
  kclPathMacros macros;
  macros.add("$KRTROOT", "/opt/korel");
  macros.add("$TOOLBOXKORELDIR", "/opt/korel/toolbox/korel");
  macros.add("$RUNTIMELIBDIR", "/opt/korel/bin/linux-x86_64");
  for (auto _ : state) {
    dsPathString_ p("$TOOLBOXKORELDIR/general/private");
    macros.expand_path_macros(p);
    benchmark::DoNotOptimize(p.c_str());
  }
}
BENCHMARK(BM_MacroExpansion);

}  // namespace

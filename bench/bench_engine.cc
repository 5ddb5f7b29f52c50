// The engine's call and evaluation costs.
//
// BM_DirectCall calls a native function through its pointer, as C code would;
// BM_CallByName calls the same function by name through a runtime instance (resolution,
// activation, temporary scope, result ownership). Their difference is the engine's
// overhead per call. BM_ScalarAdditionLoop runs `s = s + 1` 10^6 times in the evaluator.
#include <benchmark/benchmark.h>

#include "korel/kx.h"
#include "krt/function_registry.h"
#include "krt/instance.h"

namespace {

void plus_one(int, kxArray* plhs[], int, kxArray* prhs[]) {
  plhs[0] = kxCreateDoubleScalar(kxGetScalar(prhs[0]) + 1);
}

const krtFunctionTableEntry kTable[] = {{"bench_plus_one", plus_one}, {nullptr, nullptr}};

void BM_DirectCall(benchmark::State& state) {
  kxArray* in = kxCreateDoubleScalar(1);
  for (auto _ : state) {
    kxArray* out = nullptr;
    plus_one(1, &out, 1, &in);
    benchmark::DoNotOptimize(out);
    kxDestroyArray(out);
  }
  kxDestroyArray(in);
}
BENCHMARK(BM_DirectCall);

void BM_CallByName(benchmark::State& state) {
  krt_register_function_table(kTable);
  krtInstance instance{krtOptions{}};
  kxArray* in = kxCreateDoubleScalar(1);
  for (auto _ : state) {
    kxArray* out = nullptr;
    if (!instance.CallKorelFunction("bench_plus_one", 1, &out, 1, &in))
      state.SkipWithError("call failed");
    benchmark::DoNotOptimize(out);
    kxDestroyArray(out);
  }
  kxDestroyArray(in);
}
BENCHMARK(BM_CallByName);

void BM_ScalarAdditionLoop(benchmark::State& state) {
  krtInstance instance{krtOptions{}};
  for (auto _ : state)
    if (!instance.Evaluate("s = 0; for i = 1:1000000, s = s + 1; end"))
      state.SkipWithError(instance.GetLastError());
  state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(BM_ScalarAdditionLoop)->Unit(benchmark::kMillisecond);

}  // namespace

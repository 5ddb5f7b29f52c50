// What the exported calling conventions cost over a direct C call.
//
// Each benchmark calls the same native function, registered by the host: directly
// through its pointer (the anchor), with kclFeval, with kclKlfFeval, and with
// kclKlfFeval spreading a trailing cell of three into further inputs. The differences
// are the runtime's per-call overhead: resolution by name, activation, error-mode guard,
// temporary scope, result ownership and, for the compiled-function form, the argument
// packing. BM_FevalKorelFunction calls a Korel function doing the same sum from a .k
// file on the instance path, so the evaluator's share shows beside the native call.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "korel/kclkrt.h"
#include "korel/kx.h"

namespace {

void sum_plus_one(int, kxArray* plhs[], int nrhs, kxArray* prhs[]) {
  double total = 1;
  for (int i = 0; i < nrhs; ++i) total += kxGetScalar(prhs[i]);
  plhs[0] = kxCreateDoubleScalar(total);
}

// A directory holding sum_plus_one_k.k, removed at exit.
class KorelSourceDirectory {
 public:
  KorelSourceDirectory() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "korel-bench-calls-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    std::ofstream(path_ + "/sum_plus_one_k.k")
        << "function y = sum_plus_one_k(x)\ny = x + 1;\nend\n";
  }
  ~KorelSourceDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

krtInstance* bench_instance() {
  static KorelSourceDirectory sources;
  static krtInstance* instance = [] {
    krtInstance* k = nullptr;
    if (kclInitializeInstance(&k)) {
      kclRegisterExternalFunction(k, "sum_plus_one", sum_plus_one);
      kclAddPath(k, sources.path().c_str());
    }
    return k;
  }();
  return instance;
}

void BM_DirectCall(benchmark::State& state) {
  kxArray* in = kxCreateDoubleScalar(1);
  for (auto _ : state) {
    kxArray* out = nullptr;
    sum_plus_one(1, &out, 1, &in);
    benchmark::DoNotOptimize(out);
    kxDestroyArray(out);
  }
  kxDestroyArray(in);
}
BENCHMARK(BM_DirectCall);

void BM_Feval(benchmark::State& state) {
  krtInstance* k = bench_instance();
  kxArray* in = kxCreateDoubleScalar(1);
  for (auto _ : state) {
    kxArray* out = nullptr;
    if (!kclFeval(k, "sum_plus_one", 1, &out, 1, &in)) state.SkipWithError("call failed");
    benchmark::DoNotOptimize(out);
    kxDestroyArray(out);
  }
  kxDestroyArray(in);
}
BENCHMARK(BM_Feval);

void BM_FevalKorelFunction(benchmark::State& state) {
  krtInstance* k = bench_instance();
  kxArray* in = kxCreateDoubleScalar(1);
  for (auto _ : state) {
    kxArray* out = nullptr;
    if (!kclFeval(k, "sum_plus_one_k", 1, &out, 1, &in)) {
      state.SkipWithError(kclGetLastErrorMessage(k));
      break;
    }
    benchmark::DoNotOptimize(out);
    kxDestroyArray(out);
  }
  kxDestroyArray(in);
}
BENCHMARK(BM_FevalKorelFunction);

void BM_KlfFeval(benchmark::State& state) {
  krtInstance* k = bench_instance();
  kxArray* in = kxCreateDoubleScalar(1);
  kxArray* out = nullptr;
  for (auto _ : state) {
    // The slot keeps the previous result, which the call destroys before refilling.
    if (!kclKlfFeval(k, "sum_plus_one", 1, 1, 1, &out, in)) state.SkipWithError("call failed");
    benchmark::DoNotOptimize(out);
  }
  kxDestroyArray(out);
  kxDestroyArray(in);
}
BENCHMARK(BM_KlfFeval);

void BM_KlfFevalSpreadingACell(benchmark::State& state) {
  krtInstance* k = bench_instance();
  kxArray* in = kxCreateDoubleScalar(1);
  kxArray* rest = kxCreateCellMatrix(1, 3);
  for (kxSize i = 0; i < 3; ++i) kxSetCell(rest, i, kxCreateDoubleScalar(1));
  kxArray* out = nullptr;
  for (auto _ : state) {
    if (!kclKlfFeval(k, "sum_plus_one", 1, 1, -2, &out, in, rest)) state.SkipWithError("call failed");
    benchmark::DoNotOptimize(out);
  }
  kxDestroyArray(out);
  kxDestroyArray(rest);
  kxDestroyArray(in);
}
BENCHMARK(BM_KlfFevalSpreadingACell);

}  // namespace

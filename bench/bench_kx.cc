// Bulk costs of the array library on 10^7 doubles, each beside memcpy of the same
// 80 MB in the same run, so the ratio does not depend on the machine; and the cost of
// one scalar.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "korel/kx.h"

namespace {

constexpr kxSize kCount = 10'000'000;
constexpr int64_t kBytes = kCount * sizeof(double);

struct Destroy {
  void operator()(kxArray* a) const { kxDestroyArray(a); }
};
using Owned = std::unique_ptr<kxArray, Destroy>;

Owned filled_source() {
  Owned a(kxCreateDoubleMatrix(kCount, 1, kxREAL));
  double* pr = kxGetPr(a.get());
  for (kxSize i = 0; i < kCount; ++i) pr[i] = static_cast<double>(i) * 0.5 - 1e6;
  return a;
}

// The reference: the bytes copied into a buffer that is already mapped.
void BM_Memcpy(benchmark::State& state) {
  Owned source = filled_source();
  std::vector<double> target(kCount, 1.0);
  for (auto _ : state) {
    std::memcpy(target.data(), kxGetPr(source.get()), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

// The same into a freshly allocated buffer: what any copy that makes a new array pays
// when the allocator has to map new pages.
void BM_MemcpyIntoNewBuffer(benchmark::State& state) {
  Owned source = filled_source();
  for (auto _ : state) {
    std::unique_ptr<double[]> target(new double[kCount]);
    std::memcpy(target.get(), kxGetPr(source.get()), kBytes);
    benchmark::DoNotOptimize(target.get());
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_MemcpyIntoNewBuffer)->Unit(benchmark::kMillisecond);

void BM_Duplicate(benchmark::State& state) {
  Owned source = filled_source();
  for (auto _ : state) {
    Owned copy(kxDuplicateArray(source.get()));
    benchmark::DoNotOptimize(copy.get());
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_Duplicate)->Unit(benchmark::kMillisecond);

void BM_Serialize(benchmark::State& state) {
  Owned source = filled_source();
  for (auto _ : state) {
    Owned bytes(kxSerialize(source.get()));
    benchmark::DoNotOptimize(bytes.get());
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_Serialize)->Unit(benchmark::kMillisecond);

void BM_Deserialize(benchmark::State& state) {
  Owned source = filled_source();
  Owned bytes(kxSerialize(source.get()));
  if (!bytes) {
    state.SkipWithError("serialize failed");
    return;
  }
  for (auto _ : state) {
    Owned back(kxDeserialize(kxGetData(bytes.get()), kxGetNumberOfElements(bytes.get())));
    benchmark::DoNotOptimize(back.get());
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}
BENCHMARK(BM_Deserialize)->Unit(benchmark::kMillisecond);

// The cost of a small value, which the evaluator pays for every intermediate result.
void BM_ScalarCreateAndDestroy(benchmark::State& state) {
  for (auto _ : state) {
    Owned scalar(kxCreateDoubleScalar(1.5));
    benchmark::DoNotOptimize(scalar.get());
  }
}
BENCHMARK(BM_ScalarCreateAndDestroy);

}  // namespace

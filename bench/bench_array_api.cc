// What the exported array calls cost.
//
// Bulk reads and writes of 10^7 doubles through array_ref_get/set_numeric_kxDouble,
// against memcpy of the same bytes (the floor: both directions are one copy). Each bulk
// iteration also times one memcpy, outside the measured time, between the same-sized
// buffers, so the vs_memcpy counter compares the two under the same cache conditions.
// Then one element by subscript through korel::Array, the price of a view per access.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "korel/array.hpp"

namespace {

constexpr int kCount = 10'000'000;
constexpr std::size_t kBytes = kCount * sizeof(double);

using Clock = std::chrono::steady_clock;

// Runs `call` (the measured part) and one memcpy per iteration; reports bytes and the
// ratio of their times.
template <class Call>
void bulk_against_memcpy(benchmark::State& state, Call&& call) {
  std::vector<double> from(kCount, 1.5), to(kCount, 0.0);
  Clock::duration in_call{}, in_memcpy{};
  for (auto _ : state) {
    Clock::time_point start = Clock::now();
    if (call() != 0) state.SkipWithError("array call failed");
    in_call += Clock::now() - start;
    state.PauseTiming();
    start = Clock::now();
    std::memcpy(to.data(), from.data(), kBytes);
    benchmark::ClobberMemory();
    in_memcpy += Clock::now() - start;
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBytes);
  state.counters["vs_memcpy"] =
      std::chrono::duration<double>(in_call) / std::chrono::duration<double>(in_memcpy);
}

void BM_GetNumericDouble(benchmark::State& state) {
  korel::Array a = korel::Array::matrix(1, kCount);
  std::vector<double> buffer(kCount);
  bulk_against_memcpy(state, [&] {
    int status = array_ref_get_numeric_kxDouble(a.get(), buffer.data(), kCount);
    benchmark::DoNotOptimize(buffer.data());
    return status;
  });
}
BENCHMARK(BM_GetNumericDouble)->Unit(benchmark::kMillisecond);

void BM_SetNumericDouble(benchmark::State& state) {
  korel::Array a = korel::Array::matrix(1, kCount);
  std::vector<double> buffer(kCount, 2.5);
  bulk_against_memcpy(
      state, [&] { return array_ref_set_numeric_kxDouble(a.get(), buffer.data(), kCount); });
}
BENCHMARK(BM_SetNumericDouble)->Unit(benchmark::kMillisecond);

void BM_Memcpy(benchmark::State& state) {
  std::vector<double> from(kCount, 1.5), to(kCount, 0.0);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBytes);
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

// a(2, 3) = v: the copy-on-write check, a view, one converted store, the view released.
void BM_ElementWrite(benchmark::State& state) {
  korel::Array a = korel::Array::matrix(4, 4);
  double v = 0;
  for (auto _ : state) a(2, 3) = v++;
  benchmark::DoNotOptimize(a.get());
}
BENCHMARK(BM_ElementWrite);

// double d = a(2, 3) on a writable Array (which checks for sharing) and on a const one.
void BM_ElementRead(benchmark::State& state) {
  korel::Array a = korel::Array::matrix(4, 4);
  a(2, 3) = 7.0;
  for (auto _ : state) {
    double d = a(2, 3);
    benchmark::DoNotOptimize(d);
  }
}
BENCHMARK(BM_ElementRead);

void BM_ElementReadConst(benchmark::State& state) {
  korel::Array a = korel::Array::matrix(4, 4);
  a(2, 3) = 7.0;
  const korel::Array& view = a;
  for (auto _ : state) {
    double d = view(2, 3);
    benchmark::DoNotOptimize(d);
  }
}
BENCHMARK(BM_ElementReadConst);

}  // namespace

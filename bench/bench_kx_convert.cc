// Element conversion of 10^7 doubles: every case reports the 8 * 10^7 source bytes, so
// its throughput compares directly with BM_Memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "korel/kx.h"

namespace {

constexpr size_t kCount = 10'000'000;
constexpr int64_t kSourceBytes = kCount * sizeof(double);

// Values in every target's range, with fractions and halves, so no lane saturates.
const std::vector<double>& source() {
  static const std::vector<double> values = [] {
    std::vector<double> v(kCount);
    for (size_t i = 0; i < kCount; ++i) v[i] = static_cast<double>(i % 1000) * 0.25 + 0.5;
    return v;
  }();
  return values;
}

void BM_Convert(benchmark::State& state, kxClassID cls, size_t element_size) {
  const std::vector<double>& src = source();
  // Zero-filled, so its pages are in place before timing.
  std::vector<unsigned char> dst(kCount * element_size);
  for (auto _ : state) {
    if (!kxConvertBufferToType(dst.data(), cls, src.data(), kxDOUBLE_CLASS, kCount)) {
      state.SkipWithError("conversion refused");
      break;
    }
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kSourceBytes);
}

BENCHMARK_CAPTURE(BM_Convert, DoubleToDouble, kxDOUBLE_CLASS, 8)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convert, DoubleToSingle, kxSINGLE_CLASS, 4)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convert, DoubleToInt32, kxINT32_CLASS, 4)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Convert, DoubleToUint8, kxUINT8_CLASS, 1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

// start:stop and start:step:stop.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/operations.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

// More elements than any range a program means to build; beyond it the request is an
// error rather than an attempt to find that much memory.
constexpr double kMaxRangeElements = 2147483648.0;  // 2^31

kxClassID range_class(const kxArray* start, const kxArray* step, const kxArray* stop) {
  kxClassID cls = arithmetic_class(kxGetClassID(start), kxGetClassID(stop));
  if (step) cls = arithmetic_class(cls, kxGetClassID(step));
  // 'a':'e' is text; a step of another class does not change that.
  if (cls == kxDOUBLE_CLASS && kxIsChar(start) && kxIsChar(stop)) return kxCHAR_CLASS;
  return cls;
}

// The operand's first element as the range's class holds it (integer classes take every
// operand in their class first), read back as T.
template <class T>
T endpoint(const kxArray* a, kxClassID cls) {
  if (!is_integer_class(cls)) return static_cast<T>(kxGetScalar(a));
  unsigned char held[sizeof(std::uint64_t)] = {};
  kxConvertBufferToType(held, cls, kxGetData(a), kxGetClassID(a), 1);
  if (cls == kxINT64_CLASS || cls == kxUINT64_CLASS) {
    std::int64_t signed_value;
    std::uint64_t unsigned_value;
    std::memcpy(&signed_value, held, sizeof signed_value);
    std::memcpy(&unsigned_value, held, sizeof unsigned_value);
    return cls == kxINT64_CLASS ? static_cast<T>(signed_value) : static_cast<T>(unsigned_value);
  }
  double value = 0;
  kxConvertBufferToType(&value, kxDOUBLE_CLASS, held, cls, 1);
  return static_cast<T>(value);
}

// How many elements start:step:stop has (0 for none), computed in T: long double for
// 64-bit integers, which it holds exactly; double otherwise.
template <class T>
kxSize element_count_of(kxClassID cls, T first, T increment, T last) {
  if (std::isnan(first) || std::isnan(last) || std::isnan(increment) || increment == 0 ||
      (increment > 0 && first > last) || (increment < 0 && first < last))
    return 0;
  if (first == last) return 1;
  T quotient = (last - first) / increment;
  if (!std::isfinite(quotient))
    kx::raise("Korel:range:TooLarge", "The range has too many elements to be held.");
  // Endpoints and steps are often decimal fractions that floating point only approximates
  // (0:0.1:0.3 divides to 2.9999999999999996); allow for their rounding. Integer classes
  // hold theirs exactly.
  T eps = cls == kxSINGLE_CLASS ? FLT_EPSILON : is_integer_class(cls) ? 0 : DBL_EPSILON;
  T tolerance =
      2 * eps * (std::max(std::fabs(first), std::fabs(last)) / std::fabs(increment) + quotient);
  T steps = std::floor(quotient + tolerance);
  if (steps + 1 > kMaxRangeElements)
    kx::raise("Korel:range:TooLarge", "The range has too many elements to be held.");
  return static_cast<kxSize>(steps) + 1;
}

// Fills `out` (a 1-by-n array of class cls) with start + k*step, a block at a time so that
// no second copy of a large range is ever held.
template <class T>
void fill(kxArray* out, kxClassID cls, T first, T increment, T last) {
  constexpr kxSize kBlock = 1024;
  T block[kBlock];
  kxSize count = kxGetNumberOfElements(out);
  auto* data = static_cast<unsigned char*>(kxGetData(out));
  std::size_t size = kxGetElementSize(out);
  for (kxSize begin = 0; begin < count; begin += kBlock) {
    kxSize n = std::min(kBlock, count - begin);
    for (kxSize i = 0; i < n; ++i) {
      T v = first + static_cast<T>(begin + i) * increment;
      // Rounding may carry the last element past the end it is meant to stop at.
      block[i] = increment > 0 ? std::min(v, last) : std::max(v, last);
    }
    if constexpr (std::is_same_v<T, double>) {
      kxConvertBufferToType(data + begin * size, cls, block, kxDOUBLE_CLASS, n);
    } else {
      Value part = values_from_long_doubles(cls, {1, n}, block);
      std::memcpy(data + begin * size, kxGetData(part.get()), n * size);
    }
  }
}

template <class T>
Value make_range(const kxArray* start, const kxArray* step, const kxArray* stop,
                 kxClassID cls) {
  T first = endpoint<T>(start, cls);
  T increment = step ? endpoint<T>(step, cls) : T(1);
  T last = endpoint<T>(stop, cls);
  Value out = make_values(cls, {1, element_count_of(cls, first, increment, last)}, false);
  fill(out.get(), cls, first, increment, last);
  return out;
}

}  // namespace

Value range(const kxArray* start, const kxArray* step, const kxArray* stop) {
  for (const kxArray* operand : {start, step, stop}) {
    if (operand == step && !step) continue;
    require_values(operand, ":");
    if (kxIsComplex(operand)) raise_complex_unsupported("A range of complex values");
  }
  kxClassID cls = range_class(start, step, stop);
  if (kxIsEmpty(start) || kxIsEmpty(stop) || (step && kxIsEmpty(step)))
    return make_values(cls, {1, 0}, false);
  if (is_wide_integer_class(cls)) return make_range<long double>(start, step, stop, cls);
  return make_range<double>(start, step, stop, cls);
}

}  // namespace krt::ops

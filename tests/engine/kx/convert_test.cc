#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "korel/kx.h"

namespace {

constexpr kxClassID L = kxLOGICAL_CLASS, C = kxCHAR_CLASS, D = kxDOUBLE_CLASS,
                    S = kxSINGLE_CLASS, I8 = kxINT8_CLASS, U8 = kxUINT8_CLASS,
                    I16 = kxINT16_CLASS, U16 = kxUINT16_CLASS, I32 = kxINT32_CLASS,
                    U32 = kxUINT32_CLASS, I64 = kxINT64_CLASS, U64 = kxUINT64_CLASS;
constexpr kxClassID kAll[] = {L, C, D, S, I8, U8, I16, U16, I32, U32, I64, U64};
constexpr long double kInf = std::numeric_limits<long double>::infinity();
constexpr long double kNaN = std::numeric_limits<long double>::quiet_NaN();

// Calls f with a value of the storage type of `cls`.
template <class F>
void withType(kxClassID cls, F&& f) {
  switch (cls) {
    case L: return f(kxLogical{});
    case C: return f(kxChar{});
    case D: return f(double{});
    case S: return f(float{});
    case I8: return f(int8_t{});
    case U8: return f(uint8_t{});
    case I16: return f(int16_t{});
    case U16: return f(uint16_t{});
    case I32: return f(int32_t{});
    case U32: return f(uint32_t{});
    case I64: return f(int64_t{});
    case U64: return f(uint64_t{});
    default: FAIL() << "class " << cls;
  }
}

size_t sizeOf(kxClassID cls) {
  size_t size = 0;
  withType(cls, [&](auto t) { size = sizeof t; });
  return size;
}

// Element i of a buffer, as a number (a logical gives its raw byte).
long double get(kxClassID cls, const unsigned char* p, size_t i) {
  long double v = 0;
  withType(cls, [&](auto t) {
    std::memcpy(&t, p + i * sizeof t, sizeof t);
    v = t;
  });
  return v;
}

void put(kxClassID cls, unsigned char* p, size_t i, long double v) {
  withType(cls, [&](auto t) {
    t = static_cast<decltype(t)>(v);
    std::memcpy(p + i * sizeof t, &t, sizeof t);
  });
}

// What element `v` (exact) must become in class `cls`, worked out in long double.
long double expected(kxClassID cls, long double v) {
  if (cls == L) return !std::isnan(v) && v != 0;
  if (cls == D) return static_cast<double>(v);
  if (cls == S) return static_cast<float>(v);
  if (std::isnan(v)) return 0;
  long double lo = 0, hi = 0;
  withType(cls, [&](auto t) {
    lo = std::numeric_limits<decltype(t)>::min();
    hi = std::numeric_limits<decltype(t)>::max();
  });
  return std::clamp(std::roundl(v), lo, hi) + 0;  // + 0: integers have no -0
}

void expectSame(long double want, long double got) {
  if (std::isnan(want)) {
    EXPECT_TRUE(std::isnan(got)) << got;
  } else {
    EXPECT_EQ(want, got);
    EXPECT_EQ(std::signbit(want), std::signbit(got)) << want;
  }
}

// Converts `v` replicated over a buffer long enough for the block loop and a tail;
// every copy must come out the same. Returns the converted value.
long double convert(kxClassID dst, kxClassID src, long double v) {
  constexpr size_t n = 70;
  std::vector<unsigned char> in(8 * n), out(8 * n);
  for (size_t i = 0; i < n; ++i) put(src, in.data(), i, v);
  EXPECT_EQ(kxConvertBufferToType(out.data(), dst, in.data(), src, n), 1);
  for (size_t i = 1; i < n; ++i) expectSame(get(dst, out.data(), 0), get(dst, out.data(), i));
  return get(dst, out.data(), 0);
}

struct Case {
  kxClassID dst, src;
  long double in, out;
};

void check(std::initializer_list<Case> cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.src << " -> " << c.dst << " of " << c.in);
    expectSame(c.out, convert(c.dst, c.src, c.in));
  }
}

TEST(ConvertBuffer, RoundsHalvesAwayFromZero) {
  check({{I32, D, 2.5, 3}, {I32, D, -2.5, -3}, {I32, D, 0.49999999999999994, 0},
         {I32, D, -0.49999999999999994, 0}, {I32, D, 1.4999999999999998, 1},
         {I16, D, -0.5, -1}, {U8, D, 0.5, 1}, {U8, D, 254.5, 255}, {I8, S, -2.5, -3},
         {C, D, 65.5, 66}, {U32, D, 4294967294.5, 4294967295}, {U64, D, 2.5, 3},
         {I64, D, -2.5, -3}, {I64, D, 4503599627370495.5, 4503599627370496}});
}

TEST(ConvertBuffer, SaturatesEveryIntegerTargetAndZeroesNaN) {
  for (kxClassID dst : {C, I8, U8, I16, U16, I32, U32, I64, U64}) {
    long double lo = expected(dst, -kInf), hi = expected(dst, kInf);
    for (kxClassID src : {D, S}) {
      check({{dst, src, kNaN, 0}, {dst, src, kInf, hi}, {dst, src, -kInf, lo},
             {dst, src, 1e30, hi}, {dst, src, -1e30, lo}, {dst, src, -1, lo < 0 ? -1.0L : 0.0L}});
    }
    if (hi < 1e10) check({{dst, D, hi + 0.5, hi}, {dst, D, lo - 0.5, lo}});
  }
  check({{I64, D, 9223372036854775808.0L, INT64_MAX}, {I64, D, 9223372036854775807.0, INT64_MAX},
         {I64, D, 9223372036854774784.0L, 9223372036854774784.0L},
         {I64, D, -9223372036854775808.0L, INT64_MIN}, {I64, D, -9223372036854777856.0L, INT64_MIN},
         {U64, D, 18446744073709551616.0L, UINT64_MAX},
         {U64, D, 18446744073709549568.0L, 18446744073709549568.0L},
         {I32, S, 2147483648.0, INT32_MAX}, {U32, S, 4294967296.0, UINT32_MAX}});
}

TEST(ConvertBuffer, IntegersConvertExactlyOrSaturate) {
  check({{I64, U64, UINT64_MAX, INT64_MAX}, {U64, I64, -1, 0}, {I8, I64, INT64_MIN, -128},
         {U32, I64, INT64_MAX, UINT32_MAX}, {I32, U32, UINT32_MAX, INT32_MAX},
         {I32, I64, -2147483649.0L, INT32_MIN}, {U64, I64, INT64_MAX, INT64_MAX},
         {I64, U64, INT64_MAX, INT64_MAX}, {U64, I8, -128, 0}, {I8, U8, 200, 127},
         {U8, I16, 256, 255}, {U16, I8, -1, 0}, {C, U64, 70000, 65535}, {C, I16, -3, 0},
         {I16, C, 40000, 32767}, {D, C, 65535, 65535}});
}

TEST(ConvertBuffer, FloatingTargetsTakeTheNearestValue) {
  constexpr long double p53 = 9007199254740992.0L, p60 = 1152921504606846976.0L;
  check({{S, D, 1e39, kInf}, {S, D, -1e39, -kInf}, {S, D, kNaN, kNaN}, {D, S, kNaN, kNaN},
         {S, D, 0.1, 0.1f}, {S, D, -0.0, -0.0}, {D, I64, p53 + 1, p53}, {D, I64, p53 + 3, p53 + 4},
         {D, I64, INT64_MIN, INT64_MIN}, {D, U64, UINT64_MAX, 18446744073709551616.0L},
         {S, I32, 16777217, 16777216}, {S, U64, UINT64_MAX, 18446744073709551616.0L},
         // Passing through double would round twice and land on 2^60.
         {S, I64, p60 + 68719476736.0L + 1, p60 + 137438953472.0L}});
}

TEST(ConvertBuffer, LogicalIsAnyNonZeroNumber) {
  for (kxClassID cls : kAll) {
    if (cls == L) continue;
    check({{L, cls, 0, 0}, {L, cls, 1, 1}, {cls, L, 0, 0}, {cls, L, 1, 1}, {cls, L, 2, 1},
           {cls, L, 255, 1}});
  }
  check({{L, D, -0.0, 0}, {L, S, -0.0, 0}, {L, D, kNaN, 0}, {L, S, kNaN, 0}, {L, D, -kInf, 1},
         {L, D, 5e-324, 1}, {L, S, 1e-45, 1}, {L, I8, -128, 1}, {L, U16, 256, 1},
         {L, C, 512, 1}, {L, I64, 4294967296.0L, 1}, {L, U64, 9223372036854775808.0L, 1}});
}

TEST(ConvertBuffer, RejectsBadClassesAndMissingBuffers) {
  double src[2] = {1, 2};
  int32_t dst[2] = {-7, -7};
  for (int bad : {0, 1, 2, 5, 16, 17, 18, 19, 31}) {
    kxClassID cls = static_cast<kxClassID>(bad);
    EXPECT_EQ(kxConvertBufferToType(dst, cls, src, D, 2), 0) << bad;
    EXPECT_EQ(kxConvertBufferToType(dst, I32, src, cls, 2), 0) << bad;
    EXPECT_EQ(kxConvertBufferToType(nullptr, cls, nullptr, D, 0), 0) << bad;
  }
  EXPECT_EQ(kxConvertBufferToType(dst, I32, nullptr, D, 2), 0);
  EXPECT_EQ(kxConvertBufferToType(nullptr, I32, src, D, 2), 0);
  EXPECT_EQ(dst[0], -7);
  EXPECT_EQ(dst[1], -7);
  EXPECT_EQ(kxConvertBufferToType(nullptr, I32, nullptr, D, 0), 1);
  EXPECT_EQ(kxConvertBufferToType(nullptr, D, nullptr, D, 0), 1);
  EXPECT_EQ(kxConvertBufferToType(dst, I32, src, D, 0), 1);
  EXPECT_EQ(dst[0], -7);
}

// Every pair, over values around each class's limits, against the long double rules;
// 150 elements take the block loop twice and the tail once.
TEST(ConvertBuffer, EveryPairMatchesAScalarReference) {
  const long double values[] = {
      0, -0.0, 1, -1, 2, 0.5, -0.5, 2.5, -2.5, 0.49999999999999994, 127, 128, -128, -129,
      255, 256, 32767, 32768, -32768, -32769, 65535, 65536, 70000.4, 2147483647.5,
      2147483647, 2147483648.0L, -2147483648.0L, -2147483649.0L, 4294967295, 4294967296.0L,
      9007199254740993.0L, 9223372036854775807.0L, -9223372036854775807.0L - 1,
      18446744073709551615.0L, 1e30, -1e30, 1e39, 1e-40, kInf, -kInf, kNaN};
  constexpr size_t n = 150;
  for (kxClassID src : kAll) {
    std::vector<long double> usable;
    for (long double v : values) {
      // Integer sources take the values they hold exactly; logical ones, any byte.
      bool fits = src == L ? v == 0 || v == 1 || v == 2 || v == 255
                           : src == D || src == S || expected(src, v) == v;
      if (fits) usable.push_back(v);
    }
    std::vector<unsigned char> in(8 * n), out(8 * n + 8);
    for (size_t i = 0; i < n; ++i) put(src, in.data(), i, usable[i % usable.size()]);
    for (kxClassID dst : kAll) {
      std::fill(out.begin(), out.end(), 0xA5);
      ASSERT_EQ(kxConvertBufferToType(out.data(), dst, in.data(), src, n), 1)
          << src << " -> " << dst;
      for (size_t i = 0; i < n; ++i) {
        long double v = get(src, in.data(), i);
        if (src == L && dst != L) v = v != 0;
        SCOPED_TRACE(testing::Message() << src << " -> " << dst << " of " << v);
        expectSame(dst == src ? v : expected(dst, v), get(dst, out.data(), i));
      }
      EXPECT_EQ(out[n * sizeOf(dst)], 0xA5) << "wrote past the end";
    }
  }
}

}  // namespace

// Element conversion between the classes that hold plain numbers.
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "korel/kx.h"

namespace {

// Element type of each class that has plain numeric elements.
template <int C> struct ElementType;
template <> struct ElementType<kxLOGICAL_CLASS> { using type = kxLogical; };
template <> struct ElementType<kxCHAR_CLASS> { using type = kxChar; };
template <> struct ElementType<kxDOUBLE_CLASS> { using type = kxDouble; };
template <> struct ElementType<kxSINGLE_CLASS> { using type = kxSingle; };
template <> struct ElementType<kxINT8_CLASS> { using type = kxInt8; };
template <> struct ElementType<kxUINT8_CLASS> { using type = kxUint8; };
template <> struct ElementType<kxINT16_CLASS> { using type = kxInt16; };
template <> struct ElementType<kxUINT16_CLASS> { using type = kxUint16; };
template <> struct ElementType<kxINT32_CLASS> { using type = kxInt32; };
template <> struct ElementType<kxUINT32_CLASS> { using type = kxUint32; };
template <> struct ElementType<kxINT64_CLASS> { using type = kxInt64; };
template <> struct ElementType<kxUINT64_CLASS> { using type = kxUint64; };
template <int C> using Elem = typename ElementType<C>::type;

constexpr bool isFloating(int cls) { return cls == kxDOUBLE_CLASS || cls == kxSINGLE_CLASS; }

// Read at run time: the optimizer must not know it is zero. See RoundToInteger.
const volatile double kOpaqueZero = 0.0;

// Rounds half away from zero into the integer type D, saturating; NaN gives 0.
// Clamping first is the same as rounding first (both are monotone and the limits are
// integers), and it keeps every conversion in range.
template <class D>
struct RoundToInteger {
  using Limits = std::numeric_limits<D>;

  // The limits (0 or -2^k; 2^k - 1, used up to 32 bits) are exact doubles. They and
  // the NaN replacement are opaque: with constants, GCC threads the clamped lanes into
  // folded copies, which leaves the float-to-int conversion on a conditional path
  // that -ftrapping-math keeps it from if-converting, and nothing vectorizes.
  double zero = kOpaqueZero;
  double lo = static_cast<double>(Limits::min()) + zero;
  double hi = static_cast<double>(Limits::digits <= 32 ? Limits::max() : 0) + zero;

  D operator()(double x) const {
    if constexpr (Limits::digits <= 32) {
      // Quiet comparisons: they cannot trap, so they stay branch-free.
      double v = x == x ? x : zero;
      v = std::isless(v, lo) ? lo : v;
      v = std::isgreater(v, hi) ? hi : v;
      // Adding just under a half, signed like v, crosses the next integer away from
      // zero exactly when the fraction is at least a half (round to nearest, the
      // default mode), so truncation then rounds. A plain 0.5 would take
      // 0.49999999999999994 to 1. The sum stays within half of [lo, hi].
      constexpr double kJustBelowHalf = 0.5 - std::numeric_limits<double>::epsilon() / 4;
      double r = v + std::copysign(kJustBelowHalf, v);
      // Below 32 bits, go through int32 so that the conversion vectorizes.
      using I = std::conditional_t<(Limits::digits <= 31), int32_t, int64_t>;
      return static_cast<D>(static_cast<I>(r));
    } else {
      // 2^k - 1 has no double; 2^k has, and so has the double just below it.
      constexpr double top = 2.0 * static_cast<double>(Limits::max() / 2 + 1);
      constexpr double belowTop = top - top * (std::numeric_limits<double>::epsilon() / 2);
      bool over = std::isgreaterequal(x, top);
      double v = x == x ? x : 0.0;
      v = std::isless(v, lo) ? lo : v;
      v = std::isgreater(v, belowTop) ? belowTop : v;
      D t = static_cast<D>(v);
      // Only |v| < 2^52 has a fraction, so the step cannot overflow.
      double frac = v - static_cast<double>(t);
      if (std::isgreaterequal(frac, 0.5)) ++t;
      if (std::islessequal(frac, -0.5)) --t;
      return over ? Limits::max() : t;
    }
  }
};

// Integer to integer: exact within the target's range, saturating outside it. Either
// limit of D that lies inside S's range is representable in S, so clamp in S.
template <class D, class S>
inline D saturate(S x) {
  using LD = std::numeric_limits<D>;
  using LS = std::numeric_limits<S>;
  if constexpr (std::cmp_greater(LD::min(), LS::min())) {
    constexpr S lo = static_cast<S>(LD::min());
    x = x < lo ? lo : x;
  }
  if constexpr (std::cmp_less(LD::max(), LS::max())) {
    constexpr S hi = static_cast<S>(LD::max());
    x = x > hi ? hi : x;
  }
  return static_cast<D>(x);
}

// Floating to logical: 1 for anything but NaN and the two zeros.
template <class S>
struct NonZero {
  // Choosing between same-width values keeps the comparison vectorizable; `one` is
  // opaque for the reason given at RoundToInteger.
  S one = S(1) + static_cast<S>(kOpaqueZero);

  kxLogical operator()(S x) const {
    S b = std::islessgreater(x, S(0)) ? one : S(0);
    return static_cast<kxLogical>(static_cast<int32_t>(b));
  }
};

struct NoState {};

// One element of class SC to class DC.
template <int DC, int SC>
struct Converter {
  using D = Elem<DC>;
  using S = Elem<SC>;
  static constexpr bool kFromFloating = isFloating(SC) && !isFloating(DC);

  D operator()(S x) const {
    if constexpr (SC == kxLOGICAL_CLASS) {
      return static_cast<D>(x != 0);  // 0 or 1 fits every target
    } else if constexpr (kFromFloating) {
      return state(x);
    } else if constexpr (DC == kxLOGICAL_CLASS) {
      return static_cast<D>(x != 0);
    } else if constexpr (isFloating(DC)) {
      // One rounding straight from the source; int64 to single must not pass via double.
      return static_cast<D>(x);
    } else {
      return saturate<D>(x);
    }
  }

  using State = std::conditional_t<
      kFromFloating,
      std::conditional_t<DC == kxLOGICAL_CLASS, NonZero<S>, RoundToInteger<D>>, NoState>;
  [[no_unique_address]] State state;
};

// Fixed-size blocks with non-aliasing pointers let -O2's cheap vectorizer take the
// inner loop without runtime checks or a vector epilogue. Kept out of line so that the
// restrict qualifiers stay on real parameters.
template <int DC, int SC>
__attribute__((noinline)) void convertLoop(Elem<DC>* __restrict dst,
                                           const Elem<SC>* __restrict src, size_t count) {
  constexpr size_t kBlock = 64;
  const Converter<DC, SC> convert;
  size_t i = 0;
  for (; count - i >= kBlock; i += kBlock) {
    for (size_t j = 0; j < kBlock; ++j) dst[i + j] = convert(src[i + j]);
  }
  for (; i < count; ++i) dst[i] = convert(src[i]);
}

using ConvertFn = void (*)(void*, const void*, size_t);

template <int DC, int SC>
void convertEntry(void* dst, const void* src, size_t count) {
  if constexpr (DC == SC) {
    std::memcpy(dst, src, count * sizeof(Elem<DC>));
  } else {
    convertLoop<DC, SC>(static_cast<Elem<DC>*>(dst), static_cast<const Elem<SC>*>(src), count);
  }
}

constexpr int kClasses[] = {kxLOGICAL_CLASS, kxCHAR_CLASS,   kxDOUBLE_CLASS, kxSINGLE_CLASS,
                            kxINT8_CLASS,    kxUINT8_CLASS,  kxINT16_CLASS,  kxUINT16_CLASS,
                            kxINT32_CLASS,   kxUINT32_CLASS, kxINT64_CLASS,  kxUINT64_CLASS};
constexpr size_t kClassCount = std::size(kClasses);

// Position in kClasses, or -1 for a class without plain numeric elements.
constexpr int classIndex(int cls) {
  if (cls == kxLOGICAL_CLASS) return 0;
  if (cls == kxCHAR_CLASS) return 1;
  if (cls >= kxDOUBLE_CLASS && cls <= kxUINT64_CLASS) return cls - kxDOUBLE_CLASS + 2;
  return -1;
}

// Entry [dst * kClassCount + src].
template <size_t... I>
constexpr std::array<ConvertFn, sizeof...(I)> makeTable(std::index_sequence<I...>) {
  return {&convertEntry<kClasses[I / kClassCount], kClasses[I % kClassCount]>...};
}
constexpr auto kTable = makeTable(std::make_index_sequence<kClassCount * kClassCount>());

}  // namespace

int kxConvertBufferToType(void* dst, kxClassID dst_cls, const void* src, kxClassID src_cls,
                          size_t count) {
  // Through int: a C caller may pass any value in the enum's place.
  int d = classIndex(static_cast<int>(dst_cls));
  int s = classIndex(static_cast<int>(src_cls));
  if (d < 0 || s < 0) return 0;
  if (count == 0) return 1;
  if (dst == nullptr || src == nullptr) return 0;
  kTable[static_cast<size_t>(d) * kClassCount + static_cast<size_t>(s)](dst, src, count);
  return 1;
}

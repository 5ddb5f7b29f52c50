#include "krt/library/elements.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "kx/error.h"

namespace krt::library {

bool is_integer_class(kxClassID cls) { return cls >= kxINT8_CLASS && cls <= kxUINT64_CLASS; }
bool is_float_class(kxClassID cls) { return cls == kxDOUBLE_CLASS || cls == kxSINGLE_CLASS; }
bool is_numeric_class(kxClassID cls) { return is_float_class(cls) || is_integer_class(cls); }
bool is_value_class(kxClassID cls) {
  return is_numeric_class(cls) || cls == kxLOGICAL_CLASS || cls == kxCHAR_CLASS;
}

std::size_t element_size(kxClassID cls) {
  return with_element_type(cls, [](auto t) { return sizeof t; });
}

ElementReader::ElementReader(const kxArray* a)
    : cls_(kxGetClassID(a)),
      count_(kxGetNumberOfElements(a)),
      real_(kxGetData(a)),
      imag_(kxGetImagData(a)) {
  if (!is_value_class(cls_) || kxIsSparse(a))
    kx::raise("Korel:library:internal", "Elements are read from dense value arrays only.");
}

Wide ElementReader::read(const void* block, kxSize i) const {
  return with_element_type(cls_, [&](auto t) -> Wide {
    using T = decltype(t);
    return static_cast<Wide>(static_cast<const T*>(block)[i]);
  });
}

namespace {

template <class T>
T saturated(Wide v) {
  if (std::isnan(v)) return 0;
  v = std::round(v);
  constexpr Wide lo = static_cast<Wide>(std::numeric_limits<T>::min());
  constexpr Wide hi = static_cast<Wide>(std::numeric_limits<T>::max());
  if (v <= lo) return std::numeric_limits<T>::min();
  if (v >= hi) return std::numeric_limits<T>::max();
  return static_cast<T>(v);
}

}  // namespace

void store_wide(void* block, kxClassID cls, kxSize i, Wide v) {
  with_element_type(cls, [&](auto t) {
    using T = decltype(t);
    T* out = static_cast<T*>(block);
    if (cls == kxLOGICAL_CLASS) {
      out[i] = v != 0;
    } else if constexpr (std::is_floating_point_v<T>) {
      out[i] = static_cast<T>(v);
    } else {
      out[i] = saturated<T>(v);
    }
  });
}

Value full(const kxArray* a) {
  if (!kxIsSparse(a)) return Value::share(a);
  kxSize m = kxGetM(a), n = kxGetN(a);
  bool complex = kxIsComplex(a);
  kxClassID cls = kxGetClassID(a);
  kxSize dims[2] = {m, n};
  Value out = make_numeric(cls, dims, complex);
  const kxIndex* ir = kxGetIr(a);
  const kxIndex* jc = kxGetJc(a);
  // Native code may have written the index blocks; walk them only when they hold.
  bool valid = jc[0] == 0 && jc[n] <= kxGetNzmax(a);
  for (kxSize c = 0; valid && c < n; ++c) valid = jc[c] <= jc[c + 1];
  for (kxSize p = 0; valid && p < jc[n]; ++p) valid = ir[p] < m;
  if (!valid)
    kx::raise("Korel:library:badSparse", "A sparse array's index blocks are not consistent.");
  std::size_t size = kxGetElementSize(a);
  auto* real = static_cast<unsigned char*>(kxGetData(out.get()));
  auto* imag = static_cast<unsigned char*>(kxGetImagData(out.get()));
  const auto* src_real = static_cast<const unsigned char*>(kxGetData(a));
  const auto* src_imag = static_cast<const unsigned char*>(kxGetImagData(a));
  for (kxSize c = 0; c < n; ++c) {
    for (kxIndex p = jc[c]; p < jc[c + 1]; ++p) {
      kxSize at = c * m + ir[p];
      std::memcpy(real + at * size, src_real + p * size, size);
      if (complex) std::memcpy(imag + at * size, src_imag + p * size, size);
    }
  }
  return out;
}

Value make_numeric(kxClassID cls, std::span<const kxSize> dims, bool complex) {
  switch (cls) {
    case kxLOGICAL_CLASS: return checked(kxCreateLogicalArray(dims.size(), dims.data()));
    case kxCHAR_CLASS: return checked(kxCreateCharArray(dims.size(), dims.data()));
    default:
      return checked(
          kxCreateNumericArray(dims.size(), dims.data(), cls, complex ? kxCOMPLEX : kxREAL));
  }
}

void put_cell(kxArray* cell, kxSize i, Value v) {
  if (!kxSetCell(cell, i, v.get()))
    kx::raise("Korel:library:internal", "A value could not be stored into a cell.");
  v.release();
}

void put_field(kxArray* s, kxSize i, int field, Value v) {
  if (!kxSetFieldByNumber(s, i, field, v.get()))
    kx::raise("Korel:library:internal", "A value could not be stored into a struct field.");
  v.release();
}

}  // namespace krt::library

// Deep equality of arrays.
#include <cstring>

#include "kx/array.h"

namespace kx {
namespace {

template <class T>
bool same_value(T x, T y) {
  if constexpr (std::is_floating_point_v<T>) {
    if (x != x) return y != y;  // NaN matches NaN
  }
  return x == y;
}

template <class T>
bool same_values(const void* a, const void* b, std::size_t count) {
  const T* x = static_cast<const T*>(a);
  const T* y = static_cast<const T*>(b);
  for (std::size_t i = 0; i < count; ++i)
    if (!same_value(x[i], y[i])) return false;
  return true;
}

bool same_block(int cls, const void* a, const void* b, std::size_t count) {
  if (count == 0) return true;
  switch (cls) {
    case kxDOUBLE_CLASS: return same_values<double>(a, b, count);
    case kxSINGLE_CLASS: return same_values<float>(a, b, count);
    default: return std::memcmp(a, b, count * element_size(cls)) == 0;
  }
}

// Sparse arrays are equal when they store the same values at the same places.
bool same_sparse(const kxArray& a, const kxArray& b) {
  if (!sparse_structure_valid(a) || !sparse_structure_valid(b)) return false;
  kxSize n = a.dims[1];
  const kxIndex* ja = a.data->jc.as<kxIndex>();
  const kxIndex* jb = b.data->jc.as<kxIndex>();
  if (std::memcmp(ja, jb, (n + 1) * sizeof(kxIndex)) != 0) return false;
  kxSize stored = ja[n];
  if (stored && std::memcmp(a.data->ir.data(), b.data->ir.data(), stored * sizeof(kxIndex)) != 0)
    return false;
  if (!same_block(a.cls, a.data->real.data(), b.data->real.data(), stored)) return false;
  return !a.data->complex ||
         same_block(a.cls, a.data->imag.data(), b.data->imag.data(), stored);
}

bool identical(const kxArray& a, const kxArray& b) {
  if (&a == &b || a.data == b.data) return a.cls == b.cls && a.dims == b.dims;
  if (a.cls != b.cls || a.dims != b.dims || a.sparse != b.sparse ||
      a.data->complex != b.data->complex)
    return false;
  const Storage& x = *a.data;
  const Storage& y = *b.data;
  if (a.sparse) return same_sparse(a, b);
  if (is_value_class(a.cls)) {
    kxSize count = kxGetNumberOfElements(&a);
    return same_block(a.cls, x.real.data(), y.real.data(), count) &&
           (!x.complex || same_block(a.cls, x.imag.data(), y.imag.data(), count));
  }
  if (x.fields != y.fields || x.name != y.name || x.native != y.native) return false;
  if (a.cls == kxOPAQUE_CLASS)
    return x.real.size() == y.real.size() &&
           (x.real.size() == 0 || std::memcmp(x.real.data(), y.real.data(), x.real.size()) == 0);
  if (x.elements.size() != y.elements.size()) return false;
  for (std::size_t i = 0; i < x.elements.size(); ++i) {
    const kxArray* ea = x.elements[i];
    const kxArray* eb = y.elements[i];
    // An empty place and an empty double array are the same value.
    if (!ea || !eb) {
      const kxArray* other = ea ? ea : eb;
      if (other && !stands_for_empty_place(*other)) return false;
      continue;
    }
    if (!identical(*ea, *eb)) return false;
  }
  return true;
}

}  // namespace
}  // namespace kx

extern "C" bool kxIsIdentical(const kxArray* a, const kxArray* b) {
  if (!a || !b) return !a && !b;
  return kx::identical(*a, *b);
}

#include "krt/library/elementwise.h"

#include <algorithm>
#include <string>

namespace krt::library {

kxClassID arithmetic_class(const Call& call, kxClassID a, kxClassID b) {
  if (is_integer_class(a) && is_integer_class(b) && a != b)
    call.fail("mixedIntegers", std::string("Integers of different classes (") +
                                   kxGetClassNameFromID(a) + " and " + kxGetClassNameFromID(b) +
                                   ") cannot be combined.");
  if (is_integer_class(a)) return a;
  if (is_integer_class(b)) return b;
  if (a == kxSINGLE_CLASS || b == kxSINGLE_CLASS) return kxSINGLE_CLASS;
  return kxDOUBLE_CLASS;
}

Shape broadcast_shape(const Call& call, const Shape& a, const Shape& b) {
  std::size_t n = std::max(a.size(), b.size());
  Shape out(n);
  for (std::size_t k = 0; k < n; ++k) {
    kxSize da = k < a.size() ? a[k] : 1, db = k < b.size() ? b[k] : 1;
    if (da != db && da != 1 && db != 1)
      call.fail("sizeMismatch", "The sizes " + dims_text(a) + " and " + dims_text(b) +
                                    " are not compatible for " + call.name() +
                                    ": each dimension must agree or be 1 in one of them.");
    out[k] = da == 1 ? db : da;
  }
  return normalized(out);
}

}  // namespace krt::library

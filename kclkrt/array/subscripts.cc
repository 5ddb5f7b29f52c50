#include "kclkrt/array/subscripts.h"

#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/sparse_places.h"

namespace kcl {
namespace {

std::size_t single_subscript_bound(const kxArray* a) {
  if (!a) return 0;
  std::size_t count = kxGetNumberOfElements(a);
  int cls = kxGetClassID(a);
  if (cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS)
    count *= static_cast<std::size_t>(kxGetNumberOfFields(a));
  return count;
}

}  // namespace

ElementPlace element_place(const kxArray* a, const unsigned* subscripts, std::size_t count) {
  if (count == 0) throw IndexOutOfBoundsException("Incompatible number of dimensions");
  ElementPlace place;
  if (count == 1) {
    std::size_t bound = single_subscript_bound(a);
    if (subscripts[0] < 1 || subscripts[0] > bound) throw index_past_size(subscripts[0], bound);
    place.position = subscripts[0] - 1;
  } else {
    std::size_t ndim = a ? kxGetNumberOfDimensions(a) : 0;
    if (ndim == 0 || kxGetNumberOfElements(a) == 0)
      throw IndexOutOfBoundsException("Attempt to index into an empty array");
    if (count != ndim) throw IndexOutOfBoundsException("Incompatible number of dimensions");
    const kxSize* dims = kxGetDimensions(a);
    std::size_t stride = 1;
    for (std::size_t k = 0; k < count; ++k) {
      if (subscripts[k] < 1 || subscripts[k] > dims[k])
        throw index_past_dimensions(subscripts, count, dims, ndim);
      place.position += (subscripts[k] - 1) * stride;
      stride *= dims[k];
    }
  }
  if (a && kxIsSparse(a)) {
    std::size_t m = kxGetM(a);
    place.row = place.position % m + 1;
    place.column = place.position / m + 1;
    SparsePlace found = find_sparse_place(a, place.row - 1, place.column - 1);
    place.position = found.position;
    place.stored = found.stored;
  }
  return place;
}

}  // namespace kcl

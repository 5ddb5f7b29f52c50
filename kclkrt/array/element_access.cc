// Elements of an array by one-based subscripts, as views that write into it.
#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/array_views.h"
#include "kclkrt/array/idx_buffer.h"
#include "kclkrt/array/native_result.h"
#include "kclkrt/array/subscripts.h"

namespace kcl {
namespace {

using Subscripts = idx_buffer<unsigned int, 4>;

unsigned to_subscript(int s) {
  if (s < 0) throw IndexOutOfBoundsException("Index into matrix is negative");
  return static_cast<unsigned>(s);
}

// Reads `count` subscripts with `next(k)` and gives them to `use`.
template <class Next, class Use>
array_ref* with_subscripts(int count, Next&& next, Use&& use) {
  if (count <= 0) throw IndexOutOfBoundsException("Incompatible number of dimensions");
  Subscripts list(static_cast<std::size_t>(count));
  for (int k = 0; k < count; ++k) list[k] = to_subscript(next(k));
  return use(list.data(), list.size());
}

}  // namespace

array_ref* ArrayOperations::element(const unsigned* subscripts, std::size_t count,
                                    const char* field) {
  if (array_ref* in_place = element_in_place(subscripts, count, field)) return in_place;
  ArrayAccess native = native_access();
  const kxArray* a = native.get();
  int cls = kxGetClassID(a);
  bool container = cls == kxCELL_CLASS || cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS;
  int field_number = -1;
  if (field) {
    if (cls != kxSTRUCT_CLASS && cls != kxOBJECT_CLASS)
      throw FieldIndexingException("Field name indexing not supported for this type");
    field_number = kxGetFieldNumber(a, field);
    if (field_number < 0) throw IndexOutOfBoundsException("Invalid field name");
  }
  ElementPlace place = element_place(a, subscripts, count);
  if (container) {
    if (place.position >= kxGetNumberOfElements(a))
      throw IndexOutOfBoundsException("Index exceeds matrix dimensions");
    kxArray* shared = require_array(kxCreateSharedDataCopy(a));
    try {
      return new CellRef(shared, place.position, field_number);
    } catch (...) {
      kxDestroyArray(shared);
      throw;
    }
  }
  bool real_only = imag_data() == nullptr;
  if (kxIsSparse(a))
    return new SparseData(*this, real_only, place.position, place.stored, place.row, place.column);
  return new ScalarData(*this, real_only, place.position);
}

array_ref* ArrayOperations::get_int(int count, const int* subscripts) {
  return locked_call<array_ref*>(nullptr, [&] {
    if (!subscripts) throw IllegalArgumentException("Invalid argument");
    return with_subscripts(
        count, [&](int k) { return subscripts[k]; },
        [&](const unsigned* list, std::size_t n) { return element(list, n, nullptr); });
  });
}

array_ref* ArrayOperations::get_const_char(const char* field, int count, const int* subscripts) {
  return locked_call<array_ref*>(nullptr, [&] {
    if (!field || !subscripts) throw IllegalArgumentException("Invalid argument");
    return with_subscripts(
        count, [&](int k) { return subscripts[k]; },
        [&](const unsigned* list, std::size_t n) { return element(list, n, field); });
  });
}

array_ref* ArrayOperations::getV_int(int count, va_list subscripts) {
  return locked_call<array_ref*>(nullptr, [&] {
    return with_subscripts(
        count, [&](int) { return va_arg(subscripts, int); },
        [&](const unsigned* list, std::size_t n) { return element(list, n, nullptr); });
  });
}

array_ref* ArrayOperations::getV_const_char(const char* field, int count, va_list subscripts) {
  return locked_call<array_ref*>(nullptr, [&] {
    if (!field) throw IllegalArgumentException("Invalid argument");
    return with_subscripts(
        count, [&](int) { return va_arg(subscripts, int); },
        [&](const unsigned* list, std::size_t n) { return element(list, n, field); });
  });
}

}  // namespace kcl

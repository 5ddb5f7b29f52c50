// Bulk reads and writes of an array's real block through typed buffers.
#include <cstring>

#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/array_object.h"
#include "kclkrt/array/element_types.h"

namespace kcl {
namespace {

// The checks both directions make, in this order.
void check_bulk(array_data_ref& a, const void* buffer, int count) {
  if (!buffer) throw IllegalArgumentException("Illegal argument");
  if (count < 0 || a.element_count() < static_cast<std::size_t>(count))
    throw IndexOutOfBoundsException("Index out of bounds");
  int cls = a.class_id();
  if (cls == kxCELL_CLASS || cls == kxSTRUCT_CLASS) throw cannot_convert(cls, "numeric");
}

}  // namespace

template <class T, int Class>
int ArrayOperations::read(T* buffer, int count) {
  check_bulk(*this, buffer, count);
  if (count == 0) return 0;
  int cls = class_id();
  if (cls == Class) {
    std::memcpy(buffer, real_data(), count * sizeof(T));
  } else if (!kxConvertBufferToType(buffer, static_cast<kxClassID>(Class), real_data(),
                                    static_cast<kxClassID>(cls), count)) {
    throw cannot_convert(cls, Class);
  }
  return 0;
}

template <class T, int Class>
int ArrayOperations::write(const T* buffer, int count) {
  check_bulk(*this, buffer, count);
  if (count == 0) return 0;
  int cls = class_id();
  if (cls == Class) {
    std::memcpy(writable_real_data(), buffer, count * sizeof(T));
  } else if (!is_value_class(cls) ||
             !kxConvertBufferToType(writable_real_data(), static_cast<kxClassID>(cls), buffer,
                                    static_cast<kxClassID>(Class), count)) {
    throw cannot_convert(Class, cls);
  }
  return 0;
}

// The mutex and the failure capture wrap the shared bodies thinly.
#define KCL_TYPED_ACCESS(Suffix, Type, Class)                                          \
  int ArrayOperations::get_##Suffix(Type* buffer, int count) {                          \
    return locked_call(-1, [&] { return read<Type, Class>(buffer, count); });           \
  }                                                                                     \
  int ArrayOperations::set_##Suffix(const Type* buffer, int count) {                    \
    return locked_call(-1, [&] { return write<Type, Class>(buffer, count); });          \
  }
KCL_TYPED_ACCESS(numeric_kxDouble, kxDouble, kxDOUBLE_CLASS)
KCL_TYPED_ACCESS(numeric_kxSingle, kxSingle, kxSINGLE_CLASS)
KCL_TYPED_ACCESS(numeric_kxInt8, kxInt8, kxINT8_CLASS)
KCL_TYPED_ACCESS(numeric_kxUint8, kxUint8, kxUINT8_CLASS)
KCL_TYPED_ACCESS(numeric_kxInt16, kxInt16, kxINT16_CLASS)
KCL_TYPED_ACCESS(numeric_kxUint16, kxUint16, kxUINT16_CLASS)
KCL_TYPED_ACCESS(numeric_kxInt32, kxInt32, kxINT32_CLASS)
KCL_TYPED_ACCESS(numeric_kxUint32, kxUint32, kxUINT32_CLASS)
KCL_TYPED_ACCESS(numeric_kxInt64, kxInt64, kxINT64_CLASS)
KCL_TYPED_ACCESS(numeric_kxUint64, kxUint64, kxUINT64_CLASS)
KCL_TYPED_ACCESS(char, kxChar, kxCHAR_CLASS)
KCL_TYPED_ACCESS(logical, kxLogical, kxLOGICAL_CLASS)
#undef KCL_TYPED_ACCESS

}  // namespace kcl

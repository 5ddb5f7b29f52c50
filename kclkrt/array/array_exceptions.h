// The exceptions of the array interface. Each carries its message in an error record;
// the boundary of every array operation turns it into the thread's last error.
#pragma once

#include <cstddef>
#include <string>

#include "korel/tb_exception.h"

namespace kcl {

// The name of a class id in messages: "double", "cell", ...; "unknown" for 0, 5 and
// every id past 18.
const char* array_class_name(int class_id);

// An exception whose record holds `message`, made through kclcppCreateError.
class ArrayException : public tbException {
 public:
  explicit ArrayException(const char* message);
  explicit ArrayException(const std::string& message) : ArrayException(message.c_str()) {}
};

#define KCL_ARRAY_EXCEPTION(Name)              \
  class Name : public ArrayException {         \
   public:                                     \
    using ArrayException::ArrayException;      \
  };
KCL_ARRAY_EXCEPTION(NullPointerException)
KCL_ARRAY_EXCEPTION(IllegalArgumentException)
KCL_ARRAY_EXCEPTION(IndexOutOfBoundsException)
KCL_ARRAY_EXCEPTION(ArrayConvertException)
KCL_ARRAY_EXCEPTION(TypeMismatchException)
KCL_ARRAY_EXCEPTION(ComplexAccessException)
KCL_ARRAY_EXCEPTION(FieldIndexingException)
KCL_ARRAY_EXCEPTION(SparseNotSupportedException)
KCL_ARRAY_EXCEPTION(ArrayStoreException)
KCL_ARRAY_EXCEPTION(MemoryException)
#undef KCL_ARRAY_EXCEPTION

// The messages composed from names and numbers. Each exception starts with the record
// "Unspecified error" and keeps it if the text cannot be composed.

// "Attempt to access element at index 7  in array of size 6"
IndexOutOfBoundsException index_past_size(long long index, std::size_t size);
// "Attempt to access element at index [3,1] in array of dimensions [2,3]"
IndexOutOfBoundsException index_past_dimensions(const unsigned* subscripts, std::size_t count,
                                                const std::size_t* dims, std::size_t ndim);
// "Cannot convert type: <class> to type: <class or family>" and the reverse.
ArrayConvertException cannot_convert(int from_class, int to_class);
ArrayConvertException cannot_convert(int from_class, const char* to_family);
ArrayConvertException cannot_convert(const char* from_family, int to_class);
// "Attempt to access: <view class> with pointer type: <source class>"
TypeMismatchException type_mismatch(int target_class, int source_class);
// "Sparse not support for type: <class>"
SparseNotSupportedException sparse_not_supported(int class_id);
// "Cannot initialize type: <target> with type: <source>"
ArrayStoreException cannot_initialize(int target_class, int source_class);

}  // namespace kcl

#include "kclkrt/array/array_exceptions.h"

#include <sstream>
#include <utility>

namespace kcl {
namespace {

const char* const kClassNames[] = {
    "unknown", "cell",   "struct", "logical", "char",   "unknown", "double",
    "single",  "int8",   "uint8",  "int16",   "uint16", "int32",   "uint32",
    "int64",   "uint64", "function", "opaque", "object"};

error_info* new_record(const char* message) {
  void* record = nullptr;
  kclcppCreateError(&record, message);
  return static_cast<error_info*>(record);
}

const char* name_or_unspecified(const char* name) { return name ? name : "unspecified"; }

// Builds the exception with the placeholder record, then swaps in the composed text.
template <class Exception, class Compose>
Exception composed(Compose&& compose) {
  struct Composed : Exception {
    Composed() : Exception("Unspecified error") {}
    void replace(const std::string& text) { this->reset_record(new_record(text.c_str())); }
  } e;
  try {
    std::ostringstream text;
    compose(text);
    e.replace(text.str());
  } catch (...) {
  }
  return static_cast<Exception&&>(std::move(e));
}

template <class Number>
void write_list(std::ostream& out, const Number* values, std::size_t count) {
  out << '[';
  for (std::size_t i = 0; i < count; ++i) out << (i ? "," : "") << values[i];
  out << ']';
}

}  // namespace

const char* array_class_name(int class_id) {
  if (class_id < 0 || class_id >= static_cast<int>(std::size(kClassNames))) return "unknown";
  return kClassNames[class_id];
}

ArrayException::ArrayException(const char* message) { reset_record(new_record(message)); }

IndexOutOfBoundsException index_past_size(long long index, std::size_t size) {
  return composed<IndexOutOfBoundsException>([&](std::ostream& out) {
    out << "Attempt to access element at index " << index << "  in array of size " << size;
  });
}

IndexOutOfBoundsException index_past_dimensions(const unsigned* subscripts, std::size_t count,
                                                const std::size_t* dims, std::size_t ndim) {
  return composed<IndexOutOfBoundsException>([&](std::ostream& out) {
    out << "Attempt to access element at index ";
    write_list(out, subscripts, count);
    out << " in array of dimensions ";
    write_list(out, dims, ndim);
  });
}

ArrayConvertException cannot_convert(int from_class, int to_class) {
  return cannot_convert(from_class, array_class_name(to_class));
}

ArrayConvertException cannot_convert(int from_class, const char* to_family) {
  return composed<ArrayConvertException>([&](std::ostream& out) {
    out << "Cannot convert type: " << array_class_name(from_class)
        << " to type: " << name_or_unspecified(to_family);
  });
}

ArrayConvertException cannot_convert(const char* from_family, int to_class) {
  return composed<ArrayConvertException>([&](std::ostream& out) {
    out << "Cannot convert type: " << name_or_unspecified(from_family)
        << " to type: " << array_class_name(to_class);
  });
}

TypeMismatchException type_mismatch(int target_class, int source_class) {
  return composed<TypeMismatchException>([&](std::ostream& out) {
    out << "Attempt to access: " << array_class_name(target_class)
        << " with pointer type: " << array_class_name(source_class);
  });
}

SparseNotSupportedException sparse_not_supported(int class_id) {
  return composed<SparseNotSupportedException>([&](std::ostream& out) {
    out << "Sparse not support for type: " << array_class_name(class_id);
  });
}

ArrayStoreException cannot_initialize(int target_class, int source_class) {
  return composed<ArrayStoreException>([&](std::ostream& out) {
    out << "Cannot initialize type: " << array_class_name(target_class)
        << " with type: " << array_class_name(source_class);
  });
}

}  // namespace kcl
